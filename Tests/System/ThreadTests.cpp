// TThread on real workers and a real message loop. The same tests run twice: in SystemTests.exe,
// where the library keeps its pool of workers, and in bds.exe, which gets none (and whose logs are
// disabled, the rule for a program of that name).
#include <gtest/gtest.h>

#include <objbase.h>

#include <atomic>
#include <memory>

#include "Ostravane.System.Thread.h"
#include "TestSupport.h"

using namespace Ostravane;

namespace {

const bool GPoolExpected =
    !Rtl::SameText(Rtl::ExtractFileName(Rtl::GetModuleName(nullptr)), L"bds.exe");

using TThreadPtr = std::unique_ptr<TThread>;

// Exceptions that reached ShowException, by message.
std::vector<std::wstring> GShown;
void RecordShown(const std::exception& AException, const void*) {
  const auto* E = dynamic_cast<const Rtl::Exception*>(&AException);
  GShown.push_back(E ? E->Message : L"?");
}

TEST(ThreadTest, PoolWorkersAreBorrowedAndReused) {
  EXPECT_EQ(TThread::IsNeedUsePool(), GPoolExpected);
  EXPECT_EQ(TThread::GetPoolCount(), GPoolExpected ? 50 : 0);
  const size_t LBefore = OvTest::CountProcessThreads();
  HANDLE LGo = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  std::atomic<DWORD> LRanOn{0};
  TThreadPtr LFirst(TThread::CreateAnonymousThread([&] {
    LRanOn = GetCurrentThreadId();
    WaitForSingleObject(LGo, 10000);
  }));
  EXPECT_FALSE(LFirst->GetFreeOnTerminate());
  ASSERT_TRUE(OvTest::PumpMessagesUntil([&] { return LRanOn != 0; }));
  EXPECT_EQ(LRanOn.load(), LFirst->ThreadID());
  EXPECT_NE(LFirst->Handle(), nullptr);
  EXPECT_EQ(OvTest::CountProcessThreads(), LBefore + (GPoolExpected ? 0 : 1)) << "a pooled run makes no thread";
  EXPECT_EQ(TThread::GetActiveThreadCount(), GPoolExpected ? 1 : 0);
  SetEvent(LGo);
  LFirst->WaitFor();
  const DWORD LFirstWorker = LRanOn;
  LFirst.reset();
  EXPECT_EQ(TThread::GetActiveThreadCount(), 0);

  LRanOn = 0;
  TThreadPtr LSecond(TThread::CreateAnonymousThread([&] { LRanOn = GetCurrentThreadId(); }));
  LSecond->WaitFor();
  if (GPoolExpected) {
    EXPECT_EQ(LRanOn.load(), LFirstWorker) << "the idle worker serves the next thread";
  }
  LSecond.reset();
  EXPECT_EQ(OvTest::CountProcessThreads(), LBefore);
  CloseHandle(LGo);
}

TEST(ThreadTest, ThePoolGrowsForMoreThreadsThanIdleWorkersAndKeepsThem) {
  OvTest::TLogCapture LLog;
  HANDLE LGo = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  std::vector<TThreadPtr> LThreads;
  for (int I = 0; I < 52; ++I) LThreads.emplace_back(TThread::CreateAnonymousThread([&] { WaitForSingleObject(LGo, 10000); }));
  EXPECT_EQ(TThread::GetPoolCount(), GPoolExpected ? 52 : 0);
  EXPECT_EQ(TThread::GetActiveThreadCount(), GPoolExpected ? 52 : 0);
  SetEvent(LGo);
  LThreads.clear();
  EXPECT_EQ(TThread::GetPoolCount(), GPoolExpected ? 52 : 0);
  EXPECT_EQ(TThread::GetActiveThreadCount(), 0);
  int LAdded = 0;
  for (const std::wstring& L : LLog.NewLines())
    if (L.find(L"Add new thread to pool. Handle: 0x") != std::wstring::npos) {
      ++LAdded;
      EXPECT_NE(L.find(L". Count: 5"), std::wstring::npos) << testing::PrintToString(L);
    }
  EXPECT_EQ(LAdded, GPoolExpected ? 2 : 0);
  CloseHandle(LGo);
}

TEST(ThreadTest, TerminateEndsASleepAtOnce) {
  std::atomic<int> LSlept{-1};
  TThreadPtr LThread(TThread::Create(
      [&](TThread* T) {
        const DWORD LStart = GetTickCount();
        T->SleepBy(60000);
        LSlept = static_cast<int>(GetTickCount() - LStart);
        T->SleepByAndCheck(60000);  // terminated: leaves with the silent EAbort
        LSlept = -2;
      },
      false));
  Sleep(50);
  GShown.clear();
  const auto LOldHook = Rtl::SetShowExceptionHook(&RecordShown);
  LThread->Terminate();
  LThread->WaitFor();
  Rtl::SetShowExceptionHook(LOldHook);
  EXPECT_GE(LSlept.load(), 0);
  EXPECT_LT(LSlept.load(), 1000);
  EXPECT_TRUE(GShown.empty()) << "EAbort is silent";
  EXPECT_EQ(LThread->FatalException(), nullptr);
  EXPECT_TRUE(LThread->Finished());
}

class TFailingThread : public TThread {
  OV_OBJECT_CLASS
 public:
  TFailingThread() : TThread(false) {}
  std::atomic<int> FTerminateCalls{0};
  void OnTerminate(Rtl::TObject*) { FTerminateCalls += GetCurrentThreadId() == Rtl::MainThreadID() ? 1 : 100; }

 protected:
  void Execute() override { throw Rtl::EOSError(L"boom", 5); }
};
OV_IMPLEMENT_CLASS(TFailingThread, &TThread::ClassRecord)

TEST(ThreadTest, ExceptionsOfExecuteAreStoredAndThoseOfProceduresShown) {
  OvTest::TLogCapture LLog;
  TFailingThread* LRaw = new TFailingThread();  // started below, once OnTerminate is set
  TThreadPtr LThread(LRaw);
  LRaw->SetOnTerminate(TThread::TNotifyEvent(LRaw, &TFailingThread::OnTerminate));
  LRaw->Start();
  LThread->WaitFor();
  ASSERT_NE(LThread->FatalException(), nullptr);
  try {
    std::rethrow_exception(LThread->FatalException());
  } catch (const Rtl::EOSError& E) {
    EXPECT_EQ(E.Message, L"boom");
    EXPECT_EQ(E.ErrorCode, 5u);
  }
  EXPECT_EQ(LRaw->FTerminateCalls.load(), 1) << "OnTerminate runs once, on the loading thread";
  EXPECT_EQ(LLog.Logged(L"TFailingThread            Fatal exception in thread: EOSError. boom"), GPoolExpected);

  GShown.clear();
  const auto LOldHook = Rtl::SetShowExceptionHook(&RecordShown);
  TThreadPtr LProc(TThread::CreateAnonymousThread([] { throw Rtl::EConvertError(L"shown"); }));
  LProc->WaitFor();
  Rtl::SetShowExceptionHook(LOldHook);
  EXPECT_EQ(LProc->FatalException(), nullptr);
  EXPECT_EQ(GShown, std::vector<std::wstring>{L"shown"});
  EXPECT_FALSE(LLog.Logged(L"shown"));
}

TEST(ThreadTest, SynchronizeRunsOnTheLoadingThreadWhileItPumpsOrWaits) {
  std::atomic<DWORD> LRanOn{0};
  std::atomic<bool> LBack{false};
  TThreadPtr LPumped(TThread::Create(
      [&](TThread* T) {
        T->Synchronize([&] { LRanOn = GetCurrentThreadId(); });
        LBack = true;
      },
      false));
  EXPECT_TRUE(OvTest::PumpMessagesUntil([&] { return LBack.load(); }));  // a plain message loop serves it
  EXPECT_EQ(LRanOn.load(), GetCurrentThreadId());

  LRanOn = 0;
  std::wstring LCaught;
  TThreadPtr LWaited(TThread::Create(
      [&](TThread* T) {
        T->Synchronize([&] { LRanOn = GetCurrentThreadId(); });
        try {
          T->Synchronize([] { throw Rtl::EConvertError(L"back to the worker"); });
        } catch (const Rtl::EConvertError& E) {
          LCaught = E.Message;
        }
        T->SetReturnValue(7);
      },
      false));
  EXPECT_EQ(LWaited->WaitFor(), 7);  // no loop here: WaitFor itself serves the worker
  EXPECT_EQ(LRanOn.load(), GetCurrentThreadId());
  EXPECT_EQ(LCaught, L"back to the worker");
}

// Counts the runs of queued methods.
struct TQueued {
  std::atomic<int> A{0}, B{0};
  void RunA() { ++A; }
  void RunB() { ++B; }
};

TEST(ThreadTest, RemoveQueuedEventsRemovesExactlyTheNamedCalls) {
  TQueued LQueued;
  std::atomic<int> LClosures{0};
  HANDLE LQueuedAll = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  TThreadPtr LWorker(TThread::Create(
      [&](TThread* T) {
        T->Queue(Rtl::TThreadMethod(&LQueued, &TQueued::RunA));
        T->Queue(Rtl::TThreadMethod(&LQueued, &TQueued::RunA));
        T->Queue(Rtl::TThreadMethod(&LQueued, &TQueued::RunB));
        T->Queue([&] { ++LClosures; });
        SetEvent(LQueuedAll);
      },
      false));
  TThreadPtr LOther(TThread::Create([&](TThread* T) { T->Queue(Rtl::TThreadMethod(&LQueued, &TQueued::RunB)); }, false));
  ASSERT_EQ(WaitForSingleObject(LQueuedAll, 10000), WAIT_OBJECT_0);
  // Nothing has run yet: this thread hasn't looked at its messages.
  TThread::RemoveQueuedEvents(LWorker.get(), Rtl::TThreadMethod(&LQueued, &TQueued::RunA));
  OvTest::PumpMessagesUntil([&] { return LQueued.B == 2 && LClosures == 1; }, 5000);
  EXPECT_EQ(LQueued.A.load(), 0);
  EXPECT_EQ(LQueued.B.load(), 2) << "the same method of another thread stays";
  EXPECT_EQ(LClosures.load(), 1);

  // By method alone, across threads; and by thread alone, closures too.
  ResetEvent(LQueuedAll);
  TThreadPtr LThird(TThread::Create(
      [&](TThread* T) {
        T->Queue(Rtl::TThreadMethod(&LQueued, &TQueued::RunB));
        T->Queue(Rtl::TThreadMethod(&LQueued, &TQueued::RunA));
        T->Queue([&] { ++LClosures; });
        SetEvent(LQueuedAll);
        Sleep(200);  // still its thread while the test removes its calls
      },
      false));
  ASSERT_EQ(WaitForSingleObject(LQueuedAll, 10000), WAIT_OBJECT_0);
  TThread::RemoveQueuedEvents(Rtl::TThreadMethod(&LQueued, &TQueued::RunB));
  TThread::RemoveQueuedEvents(LThird.get());
  OvTest::PumpMessagesUntil([] { return false; }, 300);
  EXPECT_EQ(LQueued.A.load(), 0);
  EXPECT_EQ(LQueued.B.load(), 2);
  EXPECT_EQ(LClosures.load(), 1);
  CloseHandle(LQueuedAll);
}

TEST(ThreadTest, ProceduresRunInTheirComApartment) {
  struct TCase {
    int32_t CoFlag;
    DWORD Other;  // the model that must then be refused
  };
  for (const TCase& C : {TCase{COINIT_APARTMENTTHREADED, COINIT_MULTITHREADED}, TCase{-1, COINIT_MULTITHREADED},
                         TCase{COINIT_MULTITHREADED, COINIT_APARTMENTTHREADED}}) {
    std::atomic<HRESULT> LResult{S_OK};
    TThreadPtr LThread(TThread::Create(
        [&] {
          LResult = CoInitializeEx(nullptr, C.Other);
          if (SUCCEEDED(LResult.load())) CoUninitialize();
        },
        false, C.CoFlag));
    LThread->WaitFor();
    EXPECT_EQ(LResult.load(), RPC_E_CHANGED_MODE) << "flag " << C.CoFlag;
  }
}

TEST(ThreadTest, ThreadsThatNeverStartNeverRunAndNothingHangs) {
  std::atomic<int> LRuns{0};
  TThreadPtr LSuspended(TThread::Create([&] { ++LRuns; }, true));
  EXPECT_TRUE(LSuspended->Suspended());
  EXPECT_EQ(TThread::GetActiveThreadCount(), GPoolExpected ? 1 : 0);
  LSuspended.reset();  // freed without a start: no wait
  EXPECT_EQ(TThread::GetActiveThreadCount(), 0);

  TThreadPtr LTerminated(TThread::Create([&] { ++LRuns; }, true));
  LTerminated->Terminate();
  LTerminated->Start();
  EXPECT_TRUE(LTerminated->Suspended()) << "Start of a terminated thread does nothing";
  LTerminated.reset();
  Sleep(50);
  EXPECT_EQ(LRuns.load(), 0);
  EXPECT_EQ(TThread::GetActiveThreadCount(), 0);
}

class TCountedThread : public TThread {
 public:
  explicit TCountedThread(std::atomic<int>& AAlive) : TThread(false), FAlive(AAlive) { ++FAlive; }
  ~TCountedThread() override { --FAlive; }

 protected:
  void Execute() override { SetReturnValue(42); }

 private:
  std::atomic<int>& FAlive;
};

TEST(ThreadTest, FreeOnTerminateFreesTheObjectAndReleasesTheWorker) {
  std::atomic<int> LAlive{0};
  TCountedThread* LThread = new TCountedThread(LAlive);
  LThread->SetFreeOnTerminate(true);
  LThread->Start();
  EXPECT_TRUE(OvTest::PumpMessagesUntil([&] { return LAlive == 0; }));
  EXPECT_TRUE(OvTest::PumpMessagesUntil([] { return TThread::GetActiveThreadCount() == 0; }));

  // New<T> starts a subclass once it is whole; after its release the object has no worker.
  std::unique_ptr<TCountedThread> LOwned(TThread::New<TCountedThread>(LAlive));
  EXPECT_EQ(LOwned->WaitFor(), 42);
  EXPECT_EQ(LOwned->GetPriority(), TThreadPriority::tpNormal);
  LOwned->SetPriority(TThreadPriority::tpHighest);
  EXPECT_EQ(LOwned->GetPriority(), TThreadPriority::tpHighest);
  EXPECT_EQ(LAlive.load(), 1);
  LOwned.reset();
  EXPECT_EQ(LAlive.load(), 0);
}

TEST(ThreadTest, CyclesLeakNoHandlesAndNoThreads) {
  TThreadPtr(TThread::CreateAnonymousThread([] {}))->WaitFor();
  const size_t LHandles = OvTest::CountProcessHandles();
  const size_t LThreads = OvTest::CountProcessThreads();
  for (int I = 0; I < 200; ++I) {
    TThreadPtr LThread(TThread::CreateAnonymousThread([] {}));
    LThread->WaitFor();
  }
  EXPECT_EQ(OvTest::CountProcessHandles(), LHandles);
  EXPECT_EQ(OvTest::CountProcessThreads(), LThreads);
}

}  // namespace
