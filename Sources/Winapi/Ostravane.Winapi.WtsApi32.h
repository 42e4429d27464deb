// WtsApi32: the terminal services process list, bound late through DllRoutines.
#pragma once
#include "Ostravane.Winapi.LateBound.h"
#include "Ostravane.Winapi.Types.h"

#include <wtsapi32.h>

namespace Ostravane {

// Every wrapper raises EOSError before the system function runs when "wtsapi32.dll" or the function is
// missing (the load error, or 1); otherwise its kind tells (Ostravane.Winapi.LateBound.h).
class OVRTL_API WtsApi32 final {
  OV_STATIC_CLASS
 public:
  WtsApi32() = delete;
  static constexpr TModuleName C_MODULE{L"wtsapi32.dll"};
  // A function of the module; EOSError (the load error, or 1 when it is missing).
  static void* Call(const UnicodeString& AProcName);

  OV_LATE_BOUND(Boolean, WTSEnumerateProcesses, "WTSEnumerateProcessesW", ::WTSEnumerateProcessesW)
  // Frees memory of the module and sets AMemory to nil after the call (also when it was nil).
  template <typename T>
  static void WTSFreeMemory(T*& AMemory) {
    TLateBound<C_MODULE, "WTSFreeMemory", decltype(&::WTSFreeMemory)>::Plain(const_cast<void*>(static_cast<const void*>(AMemory)));
    AMemory = nullptr;
  }
};

}  // namespace Ostravane
