// The clock and the timer service against real windows, the polling thread and the loading
// thread's message loop.
#include <gtest/gtest.h>

#include "Ostravane.System.Timer.h"
#include "OvComponentsRTL.h"
#include "TestSupport.h"

using namespace Ostravane;

namespace {

// ---- The clock ------------------------------------------------------------------------------------

class TTestClock : public THighClock {
 public:
  TTestClock(bool AIsExists, int64_t AClockRate) : THighClock(AIsExists, AClockRate) {}
};

TEST(HighClockTest, ReadsMillisecondsAndNothingWithoutACounter) {
  THighClock LClock;
  ASSERT_TRUE(LClock.IsExists());
  LARGE_INTEGER LFrequency;
  QueryPerformanceFrequency(&LFrequency);
  EXPECT_DOUBLE_EQ(LClock.GetMinimumResolution(), 1000.0 / LFrequency.QuadPart);
  LClock.ResetClock();
  EXPECT_EQ(LClock.GetTickCountAsLongWord(), 0u);
  Sleep(100);
  EXPECT_GE(LClock.GetTickCountAsDouble(), 99.0);
  EXPECT_LT(LClock.GetTickCountAsDouble(), 1000.0);

  EXPECT_DOUBLE_EQ(TTestClock(true, 10000000).GetMinimumResolution(), 0.0001);
  TTestClock LNone(false, 0);
  LNone.ResetClock();
  EXPECT_FALSE(LNone.IsExists());
  EXPECT_EQ(LNone.GetTickCountAsDouble(), 0.0);
  EXPECT_EQ(LNone.GetTickCountAsLongWord(), 0u);
  EXPECT_EQ(LNone.GetMinimumResolution(), 0.0);
}

// ---- Timers ---------------------------------------------------------------------------------------

// What the procedure targets saw.
struct TCalls {
  int Count = 0;
  bool OffThread = false;
  std::vector<int32_t> Ids;
};
TCalls GCalls;

void Record(TMessage& Message) {
  ++GCalls.Count;
  GCalls.Ids.push_back(static_cast<int32_t>(Message.WParam));
  GCalls.OffThread |= GetCurrentThreadId() != Rtl::MainThreadID();
  GCalls.OffThread |= Message.Msg != Timer::WMProjectTimer() || Message.LParam != 0 || Message.Result != 0;
}

void Pump(DWORD AMilliseconds) {
  OvTest::PumpMessagesUntil([] { return false; }, AMilliseconds);
}

class TTimerTest : public testing::Test {
 protected:
  void SetUp() override { GCalls = TCalls(); }
  void TearDown() override { EXPECT_FALSE(GCalls.OffThread) << "a target ran off the loading thread or saw a bad message"; }
};

TEST_F(TTimerTest, ARepeatingTimerFiresAtItsInterval) {
  Timer::SetTimer(&Record, 1, 50);
  const DWORD LStart = GetTickCount();
  OvTest::PumpMessagesUntil([&] { return GetTickCount() - LStart >= 1000; }, 2000);
  Timer::KillTimer(&Record, 1);
  EXPECT_GE(GCalls.Count, 18);
  EXPECT_LE(GCalls.Count, 21);
  EXPECT_FALSE(Timer::IsValidTimer(&Record, 1));
}

TEST_F(TTimerTest, AOnceTimerCallsItsTargetOnceThoughCopiesWereQueued) {
  Timer::SetOnceTimer(&Record, 2, 1);
  Sleep(100);  // no loop: every poll posts one more copy
  EXPECT_TRUE(Timer::IsValidTimer(&Record, 2)) << "armed until its first delivery";
  Pump(100);
  EXPECT_EQ(GCalls.Count, 1);
  EXPECT_FALSE(Timer::IsValidTimer(&Record, 2));

  // A killed timer's queued copies call nobody.
  Timer::SetTimer(&Record, 3, 1);
  Sleep(60);
  Timer::KillTimer(&Record, 3);
  Pump(60);
  EXPECT_EQ(GCalls.Count, 1);
}

// A window target: posted messages, told apart by IsValidTimerMessage.
std::vector<TMessage> GWindowMessages;
void WindowHandler(TMessage& Message) {
  if (Message.Msg == Timer::WMProjectTimer()) GWindowMessages.push_back(Message);
}

TEST_F(TTimerTest, WindowTargetsGetPostedMessages) {
  GWindowMessages.clear();
  const uintptr_t LWnd = SysUtils::AllocateHWnd(&WindowHandler);
  const HWND H = reinterpret_cast<HWND>(LWnd);
  Timer::SetOnceTimer(H, 7, 1);
  Timer::SetTimer(&Record, 7, 1000);  // the same number on another target is another timer
  Sleep(60);
  EXPECT_FALSE(Timer::IsValidTimer(H, 7)) << "a once timer of a window goes when it fires";
  EXPECT_TRUE(Timer::IsValidTimer(&Record, 7));
  Pump(60);
  ASSERT_EQ(GWindowMessages.size(), 1u);
  EXPECT_EQ(GWindowMessages[0].WParam, 7u);
  EXPECT_EQ(GWindowMessages[0].LParam, 0);
  EXPECT_FALSE(Timer::IsValidTimerMessage(GWindowMessages[0], H, 7));

  GWindowMessages.clear();
  Timer::SetTimer(H, 8, 1);
  Sleep(30);
  EXPECT_TRUE(Timer::IsValidTimerMessage({Timer::WMProjectTimer(), 8, 0, 0}, H, 8));
  Timer::KillTimer(H, 8);
  Pump(30);
  ASSERT_FALSE(GWindowMessages.empty()) << "messages queued before the kill still arrive";
  EXPECT_FALSE(Timer::IsValidTimerMessage(GWindowMessages[0], H, 8)) << "but are known as stale";
  Timer::KillTimer(&Record, 7);
  SysUtils::DeallocateHWnd(LWnd);
}

// Targets that change their own timer from inside their delivery.
void ReArm(TMessage& Message) {
  Record(Message);
  Timer::SetTimer(&ReArm, 9, 20);
}
void KillSelf(TMessage& Message) {
  Record(Message);
  Timer::KillTimer(&KillSelf, 10);
}
void OnceArmsAgain(TMessage& Message) {
  Record(Message);
  Timer::SetTimer(&OnceArmsAgain, 11, 20);
}

TEST_F(TTimerTest, TargetsMayArmAndKillTheirOwnTimerFromTheirDelivery) {
  Timer::SetTimer(&ReArm, 9, 20);  // the only timer, re-armed by every delivery
  OvTest::PumpMessagesUntil([] { return GCalls.Count >= 3; }, 2000);
  EXPECT_GE(GCalls.Count, 3);
  Timer::KillTimer(&ReArm, 9);
  EXPECT_FALSE(Timer::IsPolling());

  GCalls = TCalls();
  Timer::SetOnceTimer(&KillSelf, 10, 20);
  Pump(200);
  EXPECT_EQ(GCalls.Count, 1);
  EXPECT_FALSE(Timer::IsValidTimer(&KillSelf, 10));

  // A once timer armed again by its own call is gone when the call returns: the kill goes by identity.
  GCalls = TCalls();
  Timer::SetOnceTimer(&OnceArmsAgain, 11, 20);
  Pump(200);
  EXPECT_EQ(GCalls.Count, 1);
  EXPECT_FALSE(Timer::IsValidTimer(&OnceArmsAgain, 11));
  Pump(50);
  EXPECT_FALSE(Timer::IsPolling());
}

struct TMethodTarget {
  int Calls = 0;
  DWORD Thread = 0;
  void OnTimer(TMessage& Message) {
    ++Calls;
    Thread = GetCurrentThreadId();
    EXPECT_EQ(Message.WParam, 12u);
  }
};

TEST_F(TTimerTest, MethodTargetsAndTheLifeOfThePollingThread) {
  EXPECT_FALSE(Timer::IsPolling());
  const int32_t LActive = TThread::GetActiveThreadCount();
  TMethodTarget A, B;
  const TWndObjectMethod LA(&A, &TMethodTarget::OnTimer), LB(&B, &TMethodTarget::OnTimer);
  Timer::SetTimer(LA, 12, 5000);
  Timer::SetTimer(LA, 12, 20);  // replaces: one timer, the second interval
  Timer::SetTimer(LB, 12, 10000);
  EXPECT_TRUE(Timer::IsPolling());
  EXPECT_EQ(TThread::GetActiveThreadCount(), LActive + 1) << "the polling thread is a pooled TThread";
  OvTest::PumpMessagesUntil([&] { return A.Calls >= 2; }, 2000);
  EXPECT_GE(A.Calls, 2);
  EXPECT_EQ(A.Thread, GetCurrentThreadId());
  EXPECT_EQ(B.Calls, 0);
  Timer::KillTimer(LA, 12);
  EXPECT_FALSE(Timer::IsValidTimer(LA, 12)) << "one kill: there was one timer";
  EXPECT_TRUE(Timer::IsPolling());
  Timer::KillTimer(LB, 12);
  EXPECT_FALSE(Timer::IsPolling());
  EXPECT_EQ(TThread::GetActiveThreadCount(), LActive);

  // The polling thread also goes when the last timer fired itself away, and comes back when needed.
  const uintptr_t LWnd = SysUtils::AllocateHWnd(nullptr);
  Timer::SetOnceTimer(reinterpret_cast<HWND>(LWnd), 13, 1);
  OvTest::PumpMessagesUntil([&] { return TThread::GetActiveThreadCount() == LActive; }, 2000);
  EXPECT_FALSE(Timer::IsPolling());
  EXPECT_EQ(TThread::GetActiveThreadCount(), LActive);
  Timer::SetTimer(&Record, 14, 10);
  EXPECT_TRUE(Timer::IsPolling());
  OvTest::PumpMessagesUntil([] { return GCalls.Count > 0; }, 2000);
  Timer::KillTimer(&Record, 14);
  EXPECT_GT(GCalls.Count, 0);
  SysUtils::DeallocateHWnd(LWnd);
}

TEST_F(TTimerTest, ATimerLeftArmedIsReportedAtStop) {
  OvTest::TLogCapture LLog;
  Timer::SetTimer(&Record, 15, 60000);
  Finalize();  // the test program's start: this stops every unit
  Initialize();
  EXPECT_TRUE(LLog.Logged(L"Timer                     Timer not killed: ID - 15; WndHandle: False; "
                          L"WndClassMethod: True; WndObjectMethod: False;."));
  EXPECT_FALSE(Timer::IsValidTimer(&Record, 15));
}

}  // namespace
