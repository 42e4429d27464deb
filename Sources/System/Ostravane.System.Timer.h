// Timer: window-style timers (SetTimer/KillTimer) that need no window of the caller. One polling
// thread of high priority looks at the armed timers every 10 ms against THighClock; a window target
// gets a posted message, a procedure or method target is called on the thread that started the
// library (its message loop must run). A timer is known by its target and number: arming it again
// replaces it.
//
// Locking: FCSMain guards the lists; callbacks run outside it, so a callback may arm and kill
// timers. Nothing waits for the polling thread while FCSMain is held: when the last timer goes, the
// thread is ended once the outermost hold of the lock is left (or, on the polling thread itself, it
// ends its own run).
#pragma once
#include <memory>
#include <vector>

#include "Ostravane.Debug.Log.h"
#include "Ostravane.System.HighClock.h"
#include "Ostravane.System.SysUtils.h"
#include "Ostravane.System.Thread.h"

namespace Ostravane {

// The record of a timer message: TimerID stands where WParam does.
struct TWMProjectTimer {
  UINT Msg;
  int32_t TimerID;
  int32_t Unused;
  int32_t Result;
};

class OVRTL_API Timer final {
  OV_STATIC_CLASS
 public:
  enum class TTimerLogLevel { tllNone, tllError, tllWarning, tllInfo };

  // An armed timer, or a copy of one on its way to the hidden window.
  class OVRTL_API TTimerItem : public Rtl::TObject {
    OV_OBJECT_CLASS
   public:
    HWND WndHandle = nullptr;
    TWndClassMethod WndClassMethod = nullptr;
    TWndObjectMethod WndObjectMethod;
    int32_t ID = 0;
    uint32_t NextEvent = 0;
    uint32_t Interval = 0;
    bool OnceTimer = false;
  };

  Timer() = delete;

  // Arms a repeating timer; arming a timer of the same target and number again replaces it.
  static void SetTimer(HWND AWndHandle, int32_t AID, uint32_t AInterval);
  static void SetTimer(TWndClassMethod AMethod, int32_t AID, uint32_t AInterval);
  static void SetTimer(TWndObjectMethod AMethod, int32_t AID, uint32_t AInterval);
  // Arms a timer that fires once.
  static void SetOnceTimer(HWND AWndHandle, int32_t AID, uint32_t AInterval);
  static void SetOnceTimer(TWndClassMethod AMethod, int32_t AID, uint32_t AInterval);
  static void SetOnceTimer(TWndObjectMethod AMethod, int32_t AID, uint32_t AInterval);
  // Disarms; a timer that isn't armed is no failure.
  static void KillTimer(HWND AWndHandle, int32_t AID);
  static void KillTimer(TWndClassMethod AMethod, int32_t AID);
  static void KillTimer(TWndObjectMethod AMethod, int32_t AID);
  static bool IsValidTimer(HWND AWndHandle, int32_t AID);
  static bool IsValidTimer(TWndClassMethod AMethod, int32_t AID);
  static bool IsValidTimer(TWndObjectMethod AMethod, int32_t AID);
  // For window procedures: the service's message for AID, whose timer is still armed.
  static bool IsValidTimerMessage(const TMessage& AMessage, HWND AWndHandle, int32_t AID);
  // The service's clock in milliseconds.
  static uint32_t GetTickCount();
  // The registered message number of timer messages.
  static UINT WMProjectTimer() noexcept { return FWM_PROJECT_TIMER; }
  // Whether the polling thread exists now (it does only while a timer is armed).
  static bool IsPolling();

  static void Init();
  static void Done();

 private:
  class TMainLock;
  using TItems = std::vector<std::unique_ptr<TTimerItem>>;

  static TTimerItem* GetItemByParams(HWND AWndHandle, int32_t AID);
  static TTimerItem* GetItemByParams(TWndClassMethod AMethod, int32_t AID);
  static TTimerItem* GetItemByParams(TWndObjectMethod AMethod, int32_t AID);
  static void SetTimerInternal(HWND AWndHandle, TWndClassMethod AWndClassMethod, TWndObjectMethod AWndObjectMethod,
                               int32_t AID, uint32_t AInterval, bool AOnce);
  static void KillTimerInternal(HWND AWndHandle, TWndClassMethod AWndClassMethod, TWndObjectMethod AWndObjectMethod,
                                int32_t AID);
  static void RemoveItem(TItems& AItems, const TTimerItem* AItem);
  static void WndProc(TMessage& Message);
  static void WMProjectTimer(TMessage& Message);
  static void FireEvent(TTimerItem* AItem);
  static void UpdateNextTime(uint32_t ATick, TTimerItem* AItem);
  static void CheckTimer(TThread* AThread);
  static void StopCheckThread(TThread* AThread);

  static inline UINT FWM_PROJECT_TIMER = 0;
  static inline TDebugLog<TTimerLogLevel>* FDebugLog = nullptr;
  static inline TItems* FItems = nullptr;
  static inline TItems* FFireItems = nullptr;
  static inline TThread* FCheckThread = nullptr;
  static Rtl::TCriticalSection FCSMain;
  static inline int32_t FLockDepth = 0;        // holds of FCSMain on its owning thread
  static inline bool FStopPending = false;     // the last timer went while the lock was held
  static inline uintptr_t FWindowHandle = 0;
  static inline THighClock* FHighClock = nullptr;
};

}  // namespace Ostravane

OV_LOG_LEVEL_RANGE(Ostravane::Timer::TTimerLogLevel, Ostravane::Timer::TTimerLogLevel::tllInfo)
