// The timer service: the armed timers, the polling thread and the hidden window.
#include "Ostravane.System.Timer.h"

#include <algorithm>

#include "Ostravane.Debug.Common.h"

namespace Ostravane {

using Rtl::TCriticalSection;

OV_IMPLEMENT_CLASS(Timer, nullptr)
OV_IMPLEMENT_CLASS(Timer::TTimerItem, &Rtl::TObject::ClassRecord)

TCriticalSection Timer::FCSMain;

namespace {
constexpr wchar_t C_WM_PROJECT_TIMER[] = L"WM_PROJECT_TIMER_B03E8A35-4501-4A39-8C27-8C0A93F97908";
constexpr uint32_t C_POLL_INTERVAL = 10;
}  // namespace

// Holds FCSMain. Leaving the outermost hold ends the polling thread when the last timer has gone
// meanwhile: only then, since the thread takes the lock on each poll and could never be awaited
// while it is held.
class Timer::TMainLock {
 public:
  TMainLock() noexcept {
    FCSMain.Enter();
    ++FLockDepth;
  }
  ~TMainLock() {
    TThread* LStop = nullptr;
    if (--FLockDepth == 0 && FStopPending) {
      FStopPending = false;
      if (FItems && FItems->empty()) std::swap(LStop, FCheckThread);
    }
    FCSMain.Leave();
    if (LStop) StopCheckThread(LStop);
  }
  TMainLock(const TMainLock&) = delete;
  TMainLock& operator=(const TMainLock&) = delete;
};

void Timer::StopCheckThread(TThread* AThread) {
  if (AThread->ThreadID() == GetCurrentThreadId()) {
    // The polling thread itself let the last timer go: it ends its run and frees itself.
    AThread->SetFreeOnTerminate(true);
    AThread->Terminate();
  } else {
    delete AThread;
  }
}

// ---- Start and stop -----------------------------------------------------------------------------

void Timer::Init() {
  FDebugLog = new TDebugLog<TTimerLogLevel>(TCustomDebugLog::ExecutableLogName(), TCustomDebugLog::LibraryModuleName(), 0);
  FWM_PROJECT_TIMER = RegisterWindowMessageW(C_WM_PROJECT_TIMER);
  FHighClock = new THighClock();
  if (!FHighClock->IsExists()) {
    delete FHighClock;
    FHighClock = nullptr;
  }
  FItems = new TItems();
  FFireItems = new TItems();
  FWindowHandle = SysUtils::AllocateHWnd(&WndProc);
}

void Timer::Done() {
  TThread* LCheckThread;
  {
    TMainLock LLock;
    LCheckThread = FCheckThread;
    FCheckThread = nullptr;
  }
  delete LCheckThread;
  for (const auto& LItem : *FItems)
    FDebugLog->WriteLog(TTimerLogLevel::tllError,
                        L"Timer not killed: ID - %0:s; WndHandle: %1:s; WndClassMethod: %2:s; WndObjectMethod: %3:s;.",
                        {Rtl::IntToStr(LItem->ID), BOOL_TO_STR[LItem->WndHandle != nullptr],
                         BOOL_TO_STR[LItem->WndClassMethod != nullptr], BOOL_TO_STR[static_cast<bool>(LItem->WndObjectMethod)]},
                        StaticClass());
  if (FWindowHandle != 0 && FWindowHandle != ~uintptr_t{0}) SysUtils::DeallocateHWnd(FWindowHandle);
  FWindowHandle = 0;
  {
    TMainLock LLock;
    delete FFireItems;
    FFireItems = nullptr;
    delete FItems;
    FItems = nullptr;
  }
  delete FHighClock;
  FHighClock = nullptr;
  delete FDebugLog;
  FDebugLog = nullptr;
}

// ---- Arming and disarming -----------------------------------------------------------------------

void Timer::SetTimer(HWND AWndHandle, int32_t AID, uint32_t AInterval) {
  SetTimerInternal(AWndHandle, nullptr, {}, AID, AInterval, false);
}
void Timer::SetTimer(TWndClassMethod AMethod, int32_t AID, uint32_t AInterval) {
  SetTimerInternal(nullptr, AMethod, {}, AID, AInterval, false);
}
void Timer::SetTimer(TWndObjectMethod AMethod, int32_t AID, uint32_t AInterval) {
  SetTimerInternal(nullptr, nullptr, AMethod, AID, AInterval, false);
}
void Timer::SetOnceTimer(HWND AWndHandle, int32_t AID, uint32_t AInterval) {
  SetTimerInternal(AWndHandle, nullptr, {}, AID, AInterval, true);
}
void Timer::SetOnceTimer(TWndClassMethod AMethod, int32_t AID, uint32_t AInterval) {
  SetTimerInternal(nullptr, AMethod, {}, AID, AInterval, true);
}
void Timer::SetOnceTimer(TWndObjectMethod AMethod, int32_t AID, uint32_t AInterval) {
  SetTimerInternal(nullptr, nullptr, AMethod, AID, AInterval, true);
}
void Timer::KillTimer(HWND AWndHandle, int32_t AID) { KillTimerInternal(AWndHandle, nullptr, {}, AID); }
void Timer::KillTimer(TWndClassMethod AMethod, int32_t AID) { KillTimerInternal(nullptr, AMethod, {}, AID); }
void Timer::KillTimer(TWndObjectMethod AMethod, int32_t AID) { KillTimerInternal(nullptr, nullptr, AMethod, AID); }

bool Timer::IsValidTimer(HWND AWndHandle, int32_t AID) {
  TMainLock LLock;
  return GetItemByParams(AWndHandle, AID) != nullptr;
}
bool Timer::IsValidTimer(TWndClassMethod AMethod, int32_t AID) {
  TMainLock LLock;
  return GetItemByParams(AMethod, AID) != nullptr;
}
bool Timer::IsValidTimer(TWndObjectMethod AMethod, int32_t AID) {
  TMainLock LLock;
  return GetItemByParams(AMethod, AID) != nullptr;
}

bool Timer::IsValidTimerMessage(const TMessage& AMessage, HWND AWndHandle, int32_t AID) {
  return AMessage.Msg == FWM_PROJECT_TIMER && static_cast<int32_t>(AMessage.WParam) == AID &&
         IsValidTimer(AWndHandle, AID);
}

uint32_t Timer::GetTickCount() { return FHighClock ? FHighClock->GetTickCountAsLongWord() : ::GetTickCount(); }

bool Timer::IsPolling() {
  TMainLock LLock;
  return FCheckThread != nullptr;
}

namespace {
// The first armed timer of a target and number.
template <typename TItems, typename TTarget>
Timer::TTimerItem* FindTimer(const TItems* AItems, TTarget Timer::TTimerItem::*AField, const TTarget& ATarget,
                             int32_t AID) {
  if (!AItems) return nullptr;
  for (const auto& I : *AItems)
    if ((*I).*AField == ATarget && I->ID == AID) return I.get();
  return nullptr;
}
}  // namespace

Timer::TTimerItem* Timer::GetItemByParams(HWND AWndHandle, int32_t AID) {
  return FindTimer(FItems, &TTimerItem::WndHandle, AWndHandle, AID);
}

Timer::TTimerItem* Timer::GetItemByParams(TWndClassMethod AMethod, int32_t AID) {
  return FindTimer(FItems, &TTimerItem::WndClassMethod, AMethod, AID);
}

Timer::TTimerItem* Timer::GetItemByParams(TWndObjectMethod AMethod, int32_t AID) {
  return FindTimer(FItems, &TTimerItem::WndObjectMethod, AMethod, AID);
}

void Timer::RemoveItem(TItems& AItems, const TTimerItem* AItem) {
  std::erase_if(AItems, [AItem](const std::unique_ptr<TTimerItem>& I) { return I.get() == AItem; });
  if (&AItems == FItems && AItems.empty()) FStopPending = true;
}

void Timer::SetTimerInternal(HWND AWndHandle, TWndClassMethod AWndClassMethod, TWndObjectMethod AWndObjectMethod,
                             int32_t AID, uint32_t AInterval, bool AOnce) {
  TMainLock LLock;
  if (!FItems) return;  // the unit has stopped
  KillTimerInternal(AWndHandle, AWndClassMethod, AWndObjectMethod, AID);
  if (!FCheckThread) {
    FCheckThread = TThread::Create(&CheckTimer, true, COINIT_APARTMENTTHREADED);
    FCheckThread->SetPriority(TThreadPriority::tpHighest);
    FCheckThread->Start();
  }
  auto LItem = std::make_unique<TTimerItem>();
  LItem->WndHandle = AWndHandle;
  LItem->WndClassMethod = AWndClassMethod;
  LItem->WndObjectMethod = AWndObjectMethod;
  LItem->ID = AID;
  LItem->Interval = AInterval;
  LItem->OnceTimer = AOnce;
  LItem->NextEvent = SysUtils::Add(GetTickCount(), AInterval);
  FItems->push_back(std::move(LItem));
}

void Timer::KillTimerInternal(HWND AWndHandle, TWndClassMethod AWndClassMethod, TWndObjectMethod AWndObjectMethod,
                              int32_t AID) {
  TMainLock LLock;
  if (!FItems) return;
  TTimerItem* LItem = AWndHandle        ? GetItemByParams(AWndHandle, AID)
                      : AWndClassMethod ? GetItemByParams(AWndClassMethod, AID)
                      : AWndObjectMethod ? GetItemByParams(AWndObjectMethod, AID)
                                         : nullptr;
  if (LItem) RemoveItem(*FItems, LItem);
}

// ---- Polling and delivery -----------------------------------------------------------------------

void Timer::CheckTimer(TThread* AThread) {
  while (!AThread->Terminated()) {
    AThread->SleepBy(C_POLL_INTERVAL);
    if (AThread->Terminated()) break;
    TMainLock LLock;
    if (!FItems) break;
    const uint32_t LTick = GetTickCount();
    // From the last to the first: a once timer may leave the list on the way.
    for (size_t I = FItems->size(); I-- > 0;) {
      TTimerItem* LItem = (*FItems)[I].get();
      if (LItem->NextEvent <= LTick) {
        UpdateNextTime(LTick, LItem);
        FireEvent(LItem);
      }
    }
  }
}

void Timer::UpdateNextTime(uint32_t ATick, TTimerItem* AItem) {
  if (0xFFFFFFFFu - AItem->Interval <= AItem->NextEvent) {
    AItem->NextEvent = AItem->Interval - (0xFFFFFFFFu - AItem->NextEvent);
    return;
  }
  AItem->NextEvent += AItem->Interval;
  // A timer that fell behind fires at the next poll, without a burst for the missed intervals.
  if (ATick > AItem->NextEvent) AItem->NextEvent = ATick;
}

void Timer::FireEvent(TTimerItem* AItem) {
  if (AItem->WndHandle) {
    PostMessageW(AItem->WndHandle, FWM_PROJECT_TIMER, static_cast<WPARAM>(AItem->ID), 0);
    if (AItem->OnceTimer) RemoveItem(*FItems, AItem);
  } else if (FWindowHandle) {
    // The message carries a copy, never the armed item: killing the timer leaves nothing dangling.
    auto LCopy = std::make_unique<TTimerItem>();
    LCopy->WndClassMethod = AItem->WndClassMethod;
    LCopy->WndObjectMethod = AItem->WndObjectMethod;
    LCopy->OnceTimer = AItem->OnceTimer;
    LCopy->ID = AItem->ID;
    const auto LAddress = reinterpret_cast<WPARAM>(LCopy.get());
    FFireItems->push_back(std::move(LCopy));
    PostMessageW(reinterpret_cast<HWND>(FWindowHandle), FWM_PROJECT_TIMER, LAddress, 0);
  }
}

void Timer::WndProc(TMessage& Message) {
  if (Message.Msg == FWM_PROJECT_TIMER) WMProjectTimer(Message);
  else SysUtils::DefWindowProc(FWindowHandle, Message);
}

void Timer::WMProjectTimer(TMessage& Message) {
  Message.Result = 0;
  const auto* LCopy = reinterpret_cast<const TTimerItem*>(Message.WParam);
  if (!LCopy) return;
  {
    // Only a copy still in flight is touched: a message that outlived a stop of the unit is not.
    TMainLock LLock;
    if (!FFireItems || std::none_of(FFireItems->begin(), FFireItems->end(), [&](auto& I) { return I.get() == LCopy; }))
      return;
  }
  // Only WMProjectTimer frees a copy, so it stays valid across the call.
  auto LFinish = [LCopy] {
    TMainLock LLock;
    if (LCopy->OnceTimer) KillTimerInternal(nullptr, LCopy->WndClassMethod, LCopy->WndObjectMethod, LCopy->ID);
    if (FFireItems) RemoveItem(*FFireItems, LCopy);
  };
  TMessage LTimerMessage{FWM_PROJECT_TIMER, static_cast<WPARAM>(LCopy->ID), 0, 0};
  try {
    if (LCopy->WndClassMethod) {
      if (IsValidTimer(LCopy->WndClassMethod, LCopy->ID)) LCopy->WndClassMethod(LTimerMessage);
    } else if (LCopy->WndObjectMethod) {
      if (IsValidTimer(LCopy->WndObjectMethod, LCopy->ID)) LCopy->WndObjectMethod(LTimerMessage);
    }
  } catch (...) {
    LFinish();
    throw;
  }
  LFinish();
}

}  // namespace Ostravane
