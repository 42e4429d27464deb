// Re-entrant critical sections and the one guard that enters and leaves them.
#pragma once
#include "Ostravane.Rtl.System.h"

namespace Ostravane::Rtl {

// A real CRITICAL_SECTION, re-entrant on the owning thread. Lives as long as its owner; never copied.
class OVRTL_API TCriticalSection {
 public:
  TCriticalSection() noexcept { InitializeCriticalSection(&FSection); }
  // A waiter spins ASpinCount rounds before it sleeps: for sections held only for a moment.
  explicit TCriticalSection(DWORD ASpinCount) noexcept { InitializeCriticalSectionAndSpinCount(&FSection, ASpinCount); }
  ~TCriticalSection() { DeleteCriticalSection(&FSection); }
  TCriticalSection(const TCriticalSection&) = delete;
  TCriticalSection& operator=(const TCriticalSection&) = delete;

  void Enter() noexcept { EnterCriticalSection(&FSection); }
  void Leave() noexcept { LeaveCriticalSection(&FSection); }
  bool TryEnter() noexcept { return TryEnterCriticalSection(&FSection) != FALSE; }

 private:
  CRITICAL_SECTION FSection;
};

// Holds a critical section from construction to the end of the scope, whatever way the scope is left.
class TCSGuard {
 public:
  explicit TCSGuard(TCriticalSection& ASection) noexcept : FSection(ASection) { FSection.Enter(); }
  ~TCSGuard() { FSection.Leave(); }
  TCSGuard(const TCSGuard&) = delete;
  TCSGuard& operator=(const TCSGuard&) = delete;

 private:
  TCriticalSection& FSection;
};

}  // namespace Ostravane::Rtl
