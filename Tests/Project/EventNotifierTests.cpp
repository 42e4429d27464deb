// The message bus against real windows, a real message loop on the test's thread, other threads
// and a second process: filters, the Result protocol, order of posted delivery, changes of the
// subscriptions during delivery, handler exceptions, broadcasts, and a stress run.
//
// Tests of one program may run side by side in several processes on one desktop, and a broadcast
// reaches them all: a test that broadcasts uses message numbers registered under its process id,
// and recorders keep only the numbers their test asked for.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

#include "Ostravane.Project.EventNotifier.h"
#include "Ostravane.Rtl.Handles.h"
#include "OvComponentsRTL.h"
#include "TestSupport.h"

namespace Ostravane {
class EventNotifierInspector {
 public:
  static uintptr_t Window() { return EventNotifier::FWindowHandle; }
  static uint32_t BroadcastMessage() { return EventNotifier::FBroadcastMessage; }
  static bool HasLists() {
    Rtl::TCSGuard LGuard(EventNotifier::FCSMain);
    return EventNotifier::FHandles && EventNotifier::FWndMethods;
  }
  static std::vector<std::pair<uintptr_t, std::vector<uint32_t>>> Handles() {
    Rtl::TCSGuard LGuard(EventNotifier::FCSMain);
    std::vector<std::pair<uintptr_t, std::vector<uint32_t>>> L;
    for (const auto& I : *EventNotifier::FHandles) L.emplace_back(I->Handle(), I->Messages());
    return L;
  }
  static std::vector<std::vector<uint32_t>> MethodFilters() {
    Rtl::TCSGuard LGuard(EventNotifier::FCSMain);
    std::vector<std::vector<uint32_t>> L;
    for (const auto& I : *EventNotifier::FWndMethods) L.push_back(I->Messages());
    return L;
  }
};
}  // namespace Ostravane

using namespace Ostravane;
using TInspector = EventNotifierInspector;
using OvTest::PumpMessagesUntil;

namespace {

constexpr UINT C_M1 = WM_APP + 1, C_M2 = WM_APP + 2, C_M3 = WM_APP + 3, C_M4 = WM_APP + 4, C_STRESS = WM_APP + 0x100;

// A number of this process's own, so that no other test process's broadcast carries it.
UINT OwnMessage(const std::wstring& AName) {
  const std::wstring LName = L"OvRTL.Test.Notifier." + AName + L"." + std::to_wstring(GetCurrentProcessId());
  return RegisterWindowMessageW(LName.c_str());
}

struct THeard {
  UINT Msg;
  WPARAM WParam;
  LPARAM LParam;
  bool operator==(const THeard&) const = default;
};

void PrintTo(const THeard& H, std::ostream* AOut) {
  *AOut << "{" << H.Msg << ", " << H.WParam << ", " << H.LParam << "}";
}

// Keeps the messages of the numbers it was given, with the Result each arrived with; as a method
// of an object or behind a window of the calling thread.
class TRecorder {
 public:
  explicit TRecorder(std::vector<UINT> AInterest) : FInterest(std::move(AInterest)) {}
  virtual ~TRecorder() { DestroyWindow(FWnd); }

  void Handle(TMessage& Message) {
    if (std::find(FInterest.begin(), FInterest.end(), Message.Msg) == FInterest.end()) return;
    Heard.push_back({Message.Msg, Message.WParam, Message.LParam});
    EntryResults.push_back(Message.Result);
    Threads.push_back(GetCurrentThreadId());
    if (OnMessage) OnMessage(Message);
  }
  TWndObjectMethod Method() { return TWndObjectMethod(this, &TRecorder::Handle); }
  // A message-only window of the calling thread that records and answers with the record's Result.
  uintptr_t Window() {
    if (!FWnd) {
      static const ATOM LClass = [] {
        WNDCLASSW C{};
        C.lpfnWndProc = &WindowProc;
        C.hInstance = GetModuleHandleW(nullptr);
        C.lpszClassName = L"OvRTLTestRecorder";
        return RegisterClassW(&C);
      }();
      FWnd = CreateWindowExW(0, MAKEINTATOM(LClass), L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, this);
    }
    return reinterpret_cast<uintptr_t>(FWnd);
  }
  bool HeardCount(size_t N) const { return Heard.size() >= N; }

  std::vector<THeard> Heard;
  std::vector<LRESULT> EntryResults;
  std::vector<DWORD> Threads;
  std::function<void(TMessage&)> OnMessage;

 private:
  static LRESULT CALLBACK WindowProc(HWND AWnd, UINT AMsg, WPARAM AWParam, LPARAM ALParam) {
    if (AMsg == WM_NCCREATE)
      SetWindowLongPtrW(AWnd, GWLP_USERDATA,
                        reinterpret_cast<LONG_PTR>(reinterpret_cast<CREATESTRUCTW*>(ALParam)->lpCreateParams));
    auto* LSelf = reinterpret_cast<TRecorder*>(GetWindowLongPtrW(AWnd, GWLP_USERDATA));
    if (!LSelf || AMsg < WM_USER) return DefWindowProcW(AWnd, AMsg, AWParam, ALParam);
    TMessage LMessage{AMsg, AWParam, ALParam, 0};
    LSelf->Handle(LMessage);
    return LMessage.Result;
  }

  std::vector<UINT> FInterest;
  HWND FWnd = nullptr;
};

// A plain procedure needs a place of its own to record into.
TRecorder* GProcRecorder = nullptr;
void ProcHandler(TMessage& Message) { GProcRecorder->Handle(Message); }

// One subscription for the length of a scope.
class TSubscription {
 public:
  TSubscription(uintptr_t AWnd, const std::vector<uint32_t>& AMsgs)
      : FUndo([AWnd] { EventNotifier::Unregister(AWnd); }) {
    EventNotifier::Register(AWnd, AMsgs);
  }
  TSubscription(const TWndObjectMethod& AMethod, const std::vector<uint32_t>& AMsgs)
      : FUndo([AMethod] { EventNotifier::Unregister(AMethod); }) {
    EventNotifier::Register(AMethod, AMsgs);
  }
  TSubscription(TWndClassMethod AMethod, const std::vector<uint32_t>& AMsgs)
      : FUndo([AMethod] { EventNotifier::Unregister(AMethod); }) {
    EventNotifier::Register(AMethod, AMsgs);
  }
  ~TSubscription() { FUndo(); }
  TSubscription(const TSubscription&) = delete;
  TSubscription& operator=(const TSubscription&) = delete;

 private:
  std::function<void()> FUndo;
};

std::vector<uint32_t> FilterOf(uintptr_t AWnd) {
  for (const auto& [LHandle, LFilter] : TInspector::Handles())
    if (LHandle == AWnd) return LFilter;
  ADD_FAILURE() << "no item for window " << AWnd;
  return {};
}

std::wstring WindowText(uintptr_t AWnd) {
  wchar_t L[64] = {};
  GetWindowTextW(reinterpret_cast<HWND>(AWnd), L, 64);
  return L;
}

LRESULT SendToHiddenWindow(UINT AMsg, WPARAM AWParam, LPARAM ALParam) {
  return SendMessageW(reinterpret_cast<HWND>(TInspector::Window()), AMsg, AWParam, ALParam);
}

// Runs work on other threads from inside handlers and tells whether each ended within five seconds:
// a lock held across a delivery would keep it waiting. The threads are joined after the delivery.
class TAlongside {
 public:
  ~TAlongside() {
    for (auto& T : FThreads) T.join();
  }
  void Run(const std::function<void()>& AWork) {
    auto LDone = std::make_shared<Rtl::THandleOwner>(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    FThreads.emplace_back([AWork, LDone] {
      AWork();
      SetEvent(LDone->get());
    });
    InTime.push_back(WaitForSingleObject(LDone->get(), 5000) == WAIT_OBJECT_0);
  }
  std::vector<bool> InTime;

 private:
  std::vector<std::thread> FThreads;
};

// ---- Start and stop -----------------------------------------------------------------------------

TEST(EventNotifierTest, TheHiddenWindowIsTopLevelOnTheStartingThreadAndTheFirstSubscriber) {
  const uintptr_t LWnd = TInspector::Window();
  const HWND LHwnd = reinterpret_cast<HWND>(LWnd);
  ASSERT_TRUE(IsWindow(LHwnd));
  EXPECT_EQ(GetAncestor(LHwnd, GA_PARENT), GetDesktopWindow()) << "a broadcast reaches top-level windows only";
  EXPECT_FALSE(IsWindowVisible(LHwnd));
  EXPECT_EQ(GetWindowThreadProcessId(LHwnd, nullptr), GetCurrentThreadId());
  EXPECT_EQ(TInspector::BroadcastMessage(),
            RegisterWindowMessageW(L"EventNotifier_Broadcast_{2F6808B7-FEAC-4A99-A34F-0F34B77E1248}"));
  const auto LHandles = TInspector::Handles();
  ASSERT_FALSE(LHandles.empty());
  EXPECT_EQ(LHandles.front().first, LWnd);
  EXPECT_TRUE(LHandles.front().second.empty());

  // Stopped: the window is gone, and every call finds no lists and does nothing.
  Finalize();
  EXPECT_FALSE(IsWindow(LHwnd));
  EXPECT_FALSE(TInspector::HasLists());
  TRecorder LRecorder({C_M1});
  EventNotifier::Register(LRecorder.Window(), {C_M1});
  EventNotifier::Register(LRecorder.Method(), {});
  EventNotifier::NotifySync(C_M1, 1, 1);
  EventNotifier::Unregister(LRecorder.Window());
  EXPECT_TRUE(LRecorder.Heard.empty());
  EXPECT_FALSE(TInspector::HasLists());

  Initialize();
  EXPECT_TRUE(IsWindow(reinterpret_cast<HWND>(TInspector::Window())));
  EXPECT_EQ(TInspector::Handles().size(), 1u);
  EXPECT_EQ(TInspector::MethodFilters().size(), 0u);
}

// ---- Window subscribers ---------------------------------------------------------------------------

TEST(EventNotifierTest, WindowFiltersMergeWithoutDuplicatesAndSelectTheMessages) {
  const std::vector<UINT> LAll{C_M1, C_M2, C_M3, C_M4, WM_APP + 0x3FF};
  TRecorder LEvery(LAll), LMerged(LAll), LOne(LAll);
  TSubscription S1(LEvery.Window(), {});
  TSubscription S2(LMerged.Window(), {C_M1, C_M2, C_M1});
  EventNotifier::Register(LMerged.Window(), {C_M2, C_M3});
  TSubscription S3(LOne.Window(), {C_M1});
  EXPECT_EQ(FilterOf(LMerged.Window()), (std::vector<uint32_t>{C_M1, C_M2, C_M3}));

  EventNotifier::NotifySync(C_M1, 10, -11);
  EventNotifier::NotifySync(C_M2, 20, 21);
  EventNotifier::NotifySync(C_M3, 30, 31);
  EventNotifier::NotifySync(C_M4, 40, 41);
  EventNotifier::NotifySync(WM_APP + 0x3FF, 50, 51);  // any number reaches an empty filter
  // Sent: everything is there when NotifySync returns, without a message loop.
  const THeard H1{C_M1, 10, -11}, H2{C_M2, 20, 21}, H3{C_M3, 30, 31}, H4{C_M4, 40, 41}, H5{WM_APP + 0x3FF, 50, 51};
  EXPECT_EQ(LEvery.Heard, (std::vector<THeard>{H1, H2, H3, H4, H5}));
  EXPECT_EQ(LMerged.Heard, (std::vector<THeard>{H1, H2, H3}));
  EXPECT_EQ(LOne.Heard, (std::vector<THeard>{H1}));

  // Posted: nothing before the loop runs, then the same selection.
  LEvery.Heard.clear(), LMerged.Heard.clear(), LOne.Heard.clear();
  EventNotifier::NotifyAsync(C_M2, 2, 3);
  EventNotifier::NotifyAsync(C_M4, 4, 5);
  EXPECT_TRUE(LEvery.Heard.empty());
  ASSERT_TRUE(PumpMessagesUntil([&] { return LEvery.HeardCount(2); }));
  PumpMessagesUntil([] { return false; }, 100);  // time for strays
  EXPECT_EQ(LEvery.Heard, (std::vector<THeard>{{C_M2, 2, 3}, {C_M4, 4, 5}}));
  EXPECT_EQ(LMerged.Heard, (std::vector<THeard>{{C_M2, 2, 3}}));
  EXPECT_TRUE(LOne.Heard.empty());

  // A second Register with numbers narrows an empty filter to them.
  EventNotifier::Register(LEvery.Window(), {C_M4});
  EXPECT_EQ(FilterOf(LEvery.Window()), (std::vector<uint32_t>{C_M4}));
  // After Unregister nothing arrives; an unknown target changes nothing.
  EventNotifier::Unregister(LOne.Window());
  const size_t LItems = TInspector::Handles().size();
  EventNotifier::Unregister(0x12345);
  EXPECT_EQ(TInspector::Handles().size(), LItems);
  LEvery.Heard.clear(), LOne.Heard.clear();
  EventNotifier::NotifySync(C_M1, 1, 1);
  EXPECT_TRUE(LEvery.Heard.empty());
  EXPECT_TRUE(LOne.Heard.empty());
}

// ---- Method subscribers -------------------------------------------------------------------------

TEST(EventNotifierTest, MethodSubscribersAreOneItemPerTargetAndSelectByFilter) {
  TRecorder LA({C_M1, C_M2}), LB({C_M1, C_M2}), LProc({C_M1, C_M2});
  GProcRecorder = &LProc;
  const size_t LBefore = TInspector::MethodFilters().size();
  TSubscription S1(LA.Method(), {C_M1});
  EventNotifier::Register(LA.Method(), {C_M2, C_M1});  // the same object and method: one item
  TSubscription S2(LB.Method(), {C_M2});             // the same method of another object: its own item
  TSubscription S3(&ProcHandler, {C_M1});
  EventNotifier::Register(&ProcHandler, {C_M1});
  const auto LFilters = TInspector::MethodFilters();
  ASSERT_EQ(LFilters.size(), LBefore + 3);
  EXPECT_EQ(LFilters[LBefore], (std::vector<uint32_t>{C_M1, C_M2}));
  EXPECT_EQ(LFilters[LBefore + 2], (std::vector<uint32_t>{C_M1}));

  EventNotifier::NotifySync(C_M1, 1, 2);
  EventNotifier::NotifySync(C_M2, 3, 4);
  EXPECT_EQ(LA.Heard, (std::vector<THeard>{{C_M1, 1, 2}, {C_M2, 3, 4}}));
  EXPECT_EQ(LA.EntryResults, (std::vector<LRESULT>{1, 1}));
  EXPECT_EQ(LB.Heard, (std::vector<THeard>{{C_M2, 3, 4}}));
  EXPECT_EQ(LProc.Heard, (std::vector<THeard>{{C_M1, 1, 2}}));

  EventNotifier::Unregister(LA.Method());
  EXPECT_EQ(TInspector::MethodFilters().size(), LBefore + 2);
  EventNotifier::NotifySync(C_M1, 5, 6);
  EXPECT_EQ(LA.Heard.size(), 2u);
  EXPECT_EQ(LProc.Heard.back(), (THeard{C_M1, 5, 6}));

  // From another thread, NotifySync returns once the hidden window's thread has run the methods.
  std::atomic<bool> LSent{false};
  std::atomic<size_t> LHeardWhenReturned{0};
  std::thread LSender([&] {
    EventNotifier::NotifySync(C_M2, 7, 8);
    LHeardWhenReturned = LB.Heard.size();
    LSent = true;
  });
  EXPECT_TRUE(PumpMessagesUntil([&] { return LSent.load(); }));
  LSender.join();
  EXPECT_EQ(LHeardWhenReturned.load(), 2u);
  EXPECT_EQ(LB.Threads.back(), GetCurrentThreadId());
}

TEST(EventNotifierTest, ResultIsOneOnEntryAndOnlyAnUnhandledMessageReachesTheDefaultProcedure) {
  const uintptr_t LWnd = TInspector::Window();
  // No subscriber: the default procedure sets the text and answers TRUE.
  EXPECT_EQ(SendToHiddenWindow(WM_SETTEXT, 0, reinterpret_cast<LPARAM>(L"zero")), TRUE);
  EXPECT_EQ(WindowText(LWnd), L"zero");

  TRecorder LFirst({WM_SETTEXT}), LSecond({WM_SETTEXT});
  TSubscription S1(LFirst.Method(), {WM_SETTEXT});
  TSubscription S2(LSecond.Method(), {WM_SETTEXT});
  struct TCase {
    LRESULT First, Second;  // what each leaves in Result; -1 leaves it as it came
    LRESULT SecondEntry;
    LRESULT Answer;
    bool DefaultRan;
  };
  const TCase LCases[] = {
      {-1, -1, 1, TRUE, true},  // nobody handled it
      {5, -1, 5, TRUE, true},   // 5 is no mark of handling; Result isn't set back between items
      {0, 9, 0, 9, false},      // handled by the first; the second is called all the same
      {-1, 0, 1, 0, false},     // handled by the last
  };
  std::wstring LText = L"zero";
  for (const TCase& C : LCases) {
    const std::wstring LSent = L"case " + std::to_wstring(&C - LCases);
    if (C.DefaultRan) LText = LSent;
    LFirst.EntryResults.clear(), LSecond.EntryResults.clear();
    LFirst.OnMessage = [&](TMessage& M) { if (C.First >= 0) M.Result = C.First; };
    LSecond.OnMessage = [&](TMessage& M) { if (C.Second >= 0) M.Result = C.Second; };
    EXPECT_EQ(SendToHiddenWindow(WM_SETTEXT, 0, reinterpret_cast<LPARAM>(LSent.c_str())), C.Answer) << LSent;
    EXPECT_EQ(WindowText(LWnd), LText) << LSent;
    EXPECT_EQ(LFirst.EntryResults, std::vector<LRESULT>{1}) << LSent;
    EXPECT_EQ(LSecond.EntryResults, std::vector<LRESULT>{C.SecondEntry}) << LSent;
  }
}

TEST(EventNotifierTest, PostedDeliveryArrivesInOrder) {
  TRecorder LMethod({C_M1, C_M2}), LWindow({C_M1, C_M2});
  TSubscription S1(LMethod.Method(), {C_M1, C_M2});
  TSubscription S2(LWindow.Window(), {C_M1, C_M2});
  std::vector<THeard> LExpected;
  for (int I = 0; I < 200; ++I) {
    const THeard H{I % 3 ? C_M1 : C_M2, static_cast<WPARAM>(I), -I};
    EventNotifier::NotifyAsync(H.Msg, H.WParam, H.LParam);
    LExpected.push_back(H);
  }
  EXPECT_TRUE(LMethod.Heard.empty());
  ASSERT_TRUE(PumpMessagesUntil([&] { return LMethod.HeardCount(200) && LWindow.HeardCount(200); }));
  EXPECT_EQ(LMethod.Heard, LExpected);
  EXPECT_EQ(LWindow.Heard, LExpected);
}

// ---- Changes during delivery ----------------------------------------------------------------------

TEST(EventNotifierTest, HandlersMaySubscribeAndUnsubscribeDuringDelivery) {
  TRecorder LA({C_M1, C_M2}), LB({C_M1}), LC({C_M1}), LD({C_M1});
  TSubscription SA(LA.Method(), {C_M1});
  TSubscription SB(LB.Method(), {C_M1});
  TSubscription SC(LC.Method(), {C_M1});
  TSubscription SD(LD.Method(), {C_M1});  // taken out at once; put back by A during a delivery
  EventNotifier::Unregister(LD.Method());
  LB.OnMessage = [&](TMessage&) { EventNotifier::Unregister(LB.Method()); };
  LA.OnMessage = [&](TMessage& M) {
    if (M.WParam == 1) EventNotifier::Register(LD.Method(), {C_M1});
    if (M.WParam == 3) EventNotifier::Unregister(LC.Method());
  };
  EventNotifier::NotifySync(C_M1, 1, 0);  // B leaves inside its own delivery; D comes
  EventNotifier::NotifySync(C_M1, 2, 0);
  EventNotifier::NotifySync(C_M1, 3, 0);  // A takes C out before C's turn
  auto WParams = [](const TRecorder& R) {
    std::vector<WPARAM> L;
    for (const THeard& H : R.Heard) L.push_back(H.WParam);
    return L;
  };
  EXPECT_EQ(WParams(LA), (std::vector<WPARAM>{1, 2, 3}));
  EXPECT_EQ(WParams(LB), (std::vector<WPARAM>{1}));
  EXPECT_EQ(WParams(LC), (std::vector<WPARAM>{1, 2})) << "a method unsubscribed before its turn is not called";
  EXPECT_EQ(WParams(LD), (std::vector<WPARAM>{2, 3})) << "a new subscriber hears from the next message on";

  // No lock is held while a method or a window handles a message: another thread subscribes,
  // unsubscribes and notifies meanwhile.
  TRecorder LOther({C_M2}), LWindow({C_M2});
  auto LChange = [&] {
    EventNotifier::Register(LOther.Method(), {C_M3});
    EventNotifier::Unregister(LOther.Method());
    EventNotifier::NotifyAsync(C_M4, 0, 0);
  };
  TAlongside LAlongside;
  LA.OnMessage = [&](TMessage&) { LAlongside.Run(LChange); };
  LWindow.OnMessage = [&](TMessage&) { LAlongside.Run(LChange); };
  TSubscription SW(LWindow.Window(), {C_M2});
  EventNotifier::Register(LA.Method(), {C_M2});
  EventNotifier::NotifySync(C_M2, 0, 0);
  EXPECT_EQ(LAlongside.InTime, (std::vector<bool>{true, true}));
}

// ---- Exceptions ---------------------------------------------------------------------------------

TEST(EventNotifierTest, AHandlersExceptionStopsTheLaterSubscribersOfThatMessageOnly) {
  TRecorder LThrower({C_M1, WM_SETTEXT}), LLater({C_M1, WM_SETTEXT}), LWindow({C_M1});
  TSubscription S1(LThrower.Method(), {C_M1, WM_SETTEXT});
  TSubscription S2(LLater.Method(), {C_M1, WM_SETTEXT});
  TSubscription S3(LWindow.Window(), {C_M1});  // a window subscriber after the hidden window
  LThrower.OnMessage = [](TMessage& M) {
    if (M.WParam == 666) throw Rtl::Exception(L"handler failed");
  };
  // The exception ends at the hidden window's procedure: the sender goes on with the next window.
  EXPECT_NO_THROW(EventNotifier::NotifySync(C_M1, 666, 1));
  EXPECT_EQ(LThrower.Heard.size(), 1u);
  EXPECT_TRUE(LLater.Heard.empty());
  EXPECT_EQ(LWindow.Heard, (std::vector<THeard>{{C_M1, 666, 1}}));
  // Nor does the default procedure run: the Result at the throw is the answer.
  EXPECT_EQ(SendToHiddenWindow(WM_SETTEXT, 0, reinterpret_cast<LPARAM>(L"before")), TRUE);
  EXPECT_EQ(SendToHiddenWindow(WM_SETTEXT, 666, reinterpret_cast<LPARAM>(L"thrown")), 1);
  EXPECT_EQ(WindowText(TInspector::Window()), L"before");
  // Posted: the loop goes on, and the next message reaches everyone.
  LLater.Heard.clear();
  EventNotifier::NotifyAsync(C_M1, 666, 2);
  EventNotifier::NotifyAsync(C_M1, 7, 3);
  ASSERT_TRUE(PumpMessagesUntil([&] { return LLater.HeardCount(1); }));
  EXPECT_EQ(LLater.Heard, (std::vector<THeard>{{C_M1, 7, 3}}));
  EXPECT_EQ(LThrower.Heard.back(), (THeard{C_M1, 7, 3}));
}

// ---- Broadcasts ---------------------------------------------------------------------------------

TEST(EventNotifierTest, TheSenderHearsItsOwnBroadcastPostedWithLParamZero) {
  const UINT M = OwnMessage(L"Own");
  TRecorder LWindow({M}), LMethod({M});
  TSubscription S1(LWindow.Window(), {M});
  TSubscription S2(LMethod.Method(), {M});
  EventNotifier::NotifyBroadcast(M, 7);
  EXPECT_TRUE(LWindow.Heard.empty());
  ASSERT_TRUE(PumpMessagesUntil([&] { return LWindow.HeardCount(1) && LMethod.HeardCount(1); }));
  // The broadcast message itself, told to the hidden window, turns into posted messages.
  EXPECT_EQ(SendToHiddenWindow(TInspector::BroadcastMessage(), M, 9), 0);
  EXPECT_EQ(LWindow.Heard.size(), 1u);
  ASSERT_TRUE(PumpMessagesUntil([&] { return LWindow.HeardCount(2) && LMethod.HeardCount(2); }));
  EXPECT_FALSE(PumpMessagesUntil([&] { return LWindow.HeardCount(3); }, 200));
  const std::vector<THeard> LExpected{{M, 7, 0}, {M, 9, 0}};
  EXPECT_EQ(LWindow.Heard, LExpected);
  EXPECT_EQ(LMethod.Heard, LExpected);
}

std::vector<std::string> ChildLines(const std::wstring& AFile) {
  std::vector<std::string> L;
  if (GetFileAttributesW(AFile.c_str()) == INVALID_FILE_ATTRIBUTES) return L;
  const std::vector<unsigned char> B = OvTest::ReadFileBytes(AFile);
  std::string S(B.begin(), B.end());
  for (size_t P = 0, E; (E = S.find('\n', P)) != std::string::npos; P = E + 1) L.push_back(S.substr(P, E - P));
  return L;
}

TEST(EventNotifierTest, AnotherProcessHearsABroadcastUntilItUnsubscribes) {
  const UINT M = OwnMessage(L"Cross"), MBack = OwnMessage(L"Back");
  const std::wstring LTag = std::to_wstring(GetCurrentProcessId());
  const std::wstring LUnsubscribe = L"OvRTL.Test.Notifier.Unsubscribe." + LTag;
  const std::wstring LExit = L"OvRTL.Test.Notifier.Exit." + LTag;
  Rtl::THandleOwner LUnsubscribeEvent(CreateEventW(nullptr, TRUE, FALSE, LUnsubscribe.c_str()));
  Rtl::THandleOwner LExitEvent(CreateEventW(nullptr, TRUE, FALSE, LExit.c_str()));
  OvTest::TTempDir LDir;
  const std::wstring LFile = LDir.Path() + L"heard.txt";
  TRecorder LHere({M, MBack});
  TSubscription S(LHere.Window(), {M, MBack});

  // The child subscribes a window by the message's name and answers with a broadcast of its own.
  OvTest::TChildResult LChild;
  std::atomic<bool> LChildEnded{false};
  std::thread LRunner([&] {
    LChild = OvTest::RunChild(L"ChildNotify.exe", L"/out \"" + LFile + L"\" /target window" +
                                                      L" /listen OvRTL.Test.Notifier.Cross." + LTag +
                                                      L" /broadcast " + std::to_wstring(MBack) + L":5" +
                                                      L" /unsubscribe " + LUnsubscribe + L" /exit " + LExit +
                                                      L" /timeout 30000");
    LChildEnded = true;
  });
  auto HasLine = [&](const std::string& ALine) {
    const auto L = ChildLines(LFile);
    return std::find(L.begin(), L.end(), ALine) != L.end();
  };
  const bool LReady = PumpMessagesUntil([&] { return HasLine("ready"); }, 30000);
  if (LReady) {
    EXPECT_TRUE(PumpMessagesUntil([&] { return LHere.HeardCount(1); }));
    EventNotifier::NotifyBroadcast(M, 7);
    EXPECT_TRUE(PumpMessagesUntil([&] { return HasLine(std::to_string(M) + " 7 0"); }));
    SetEvent(LUnsubscribeEvent.get());
    EXPECT_TRUE(PumpMessagesUntil([&] { return HasLine("unsubscribed"); }));
    EventNotifier::NotifyBroadcast(M, 8);
    // Heard here: the broadcast has gone out to every window before the child is told to exit.
    EXPECT_TRUE(PumpMessagesUntil([&] { return LHere.HeardCount(3); }));
  }
  SetEvent(LExitEvent.get());
  PumpMessagesUntil([&] { return LChildEnded.load(); }, 90000);
  LRunner.join();
  ASSERT_TRUE(LReady) << "the child never got ready";
  EXPECT_FALSE(LChild.TimedOut);
  EXPECT_EQ(LChild.ExitCode, 0u);
  EXPECT_EQ(ChildLines(LFile),
            (std::vector<std::string>{"ready", std::to_string(M) + " 7 0", "unsubscribed", "exit"}));
  EXPECT_EQ(LHere.Heard, (std::vector<THeard>{{MBack, 5, 0}, {M, 7, 0}, {M, 8, 0}}));
}

// ---- Stress -------------------------------------------------------------------------------------

TEST(EventNotifierStressTest, EightThreadsSubscribeNotifyAndUnsubscribeAThousandTimes) {
  constexpr int C_THREADS = 8, C_CYCLES = 1000, C_MESSAGES = C_THREADS * C_CYCLES;
  constexpr UINT M = C_STRESS;
  // Counts by message (thread * C_CYCLES + cycle): the two subscribers that stay for the whole run,
  // and the method and the window each thread subscribes and unsubscribes by turns.
  struct TCounter {
    std::vector<int> Counts = std::vector<int>(C_MESSAGES + 1, 0);
    void Handle(TMessage& Message) {
      if (Message.Msg == C_STRESS) ++Counts[std::min<size_t>(Message.WParam, C_MESSAGES)];
    }
  };
  auto LCounters = std::make_unique<TCounter[]>(2 + 2 * C_THREADS);
  TCounter& LStayMethod = LCounters[0];
  TRecorder LStayWindow({M});
  std::vector<int> LStayWindowCounts(C_MESSAGES + 1, 0);
  LStayWindow.OnMessage = [&](TMessage& Msg) { ++LStayWindowCounts[std::min<size_t>(Msg.WParam, C_MESSAGES)]; };
  LStayWindow.Heard.reserve(C_MESSAGES + 1);

  auto Worker = [&](int AThread, int ACycles) {
    TRecorder LOwnWindow({M});
    TCounter& LWindowCounts = LCounters[2 + C_THREADS + AThread];
    LOwnWindow.OnMessage = [&](TMessage& Msg) { LWindowCounts.Handle(Msg); };
    const uintptr_t LWnd = LOwnWindow.Window();
    TCounter& LMethod = LCounters[2 + AThread];
    const TWndObjectMethod LOwnMethod(&LMethod, &TCounter::Handle);
    for (int C = 0; C < ACycles; ++C) {
      const bool LByMethod = C % 2 == 0, LSync = C % 4 < 2;
      if (LByMethod) EventNotifier::Register(LOwnMethod, {M});
      else EventNotifier::Register(LWnd, {M});
      const WPARAM LWParam = static_cast<WPARAM>(AThread * C_CYCLES + C);
      if (LSync) EventNotifier::NotifySync(M, LWParam, AThread);
      else EventNotifier::NotifyAsync(M, LWParam, AThread);
      if (LByMethod) EventNotifier::Unregister(LOwnMethod);
      else EventNotifier::Unregister(LWnd);
      MSG LMsg;
      while (PeekMessageW(&LMsg, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&LMsg);
    }
  };
  auto RunWorkers = [&](int AThreads, int ACycles) {
    std::atomic<int> LFinished{0};
    std::vector<std::thread> LThreads;
    for (int T = 0; T < AThreads; ++T)
      LThreads.emplace_back([&, T] {
        Worker(T, ACycles);
        ++LFinished;
      });
    const bool LDone = PumpMessagesUntil([&] { return LFinished.load() == AThreads; }, 240000);
    for (auto& T : LThreads) T.join();
    return LDone;
  };

  TSubscription S1(TWndObjectMethod(&LStayMethod, &TCounter::Handle), {M});
  TSubscription S2(LStayWindow.Window(), {M});
  // A first short round makes what lives as long as the process: queues, classes, thread data.
  ASSERT_TRUE(RunWorkers(C_THREADS, 4));
  const int LSentinel = C_MESSAGES;
  const auto LSentinelHeard = [&] { return LStayMethod.Counts[LSentinel] == 1 && LStayWindowCounts[LSentinel] == 1; };
  EventNotifier::NotifyAsync(M, LSentinel, 0);
  ASSERT_TRUE(PumpMessagesUntil(LSentinelHeard));
  for (size_t I = 0; I < 2 + 2 * C_THREADS; ++I) LCounters[I].Counts.assign(C_MESSAGES + 1, 0);
  LStayWindowCounts.assign(C_MESSAGES + 1, 0);
  const size_t LHandles = OvTest::CountProcessHandles(), LThreads = OvTest::CountProcessThreads();

  ASSERT_TRUE(RunWorkers(C_THREADS, C_CYCLES)) << "deadlock: the workers didn't finish";
  // Posted messages are served in order: once the sentinel is here, every earlier post is too.
  EventNotifier::NotifyAsync(M, LSentinel, 0);
  ASSERT_TRUE(PumpMessagesUntil(LSentinelHeard));

  int LStayMissed = 0, LOwnMissed = 0, LTwice = 0;
  for (int T = 0; T < C_THREADS; ++T)
    for (int C = 0; C < C_CYCLES; ++C) {
      const int I = T * C_CYCLES + C;
      LStayMissed += (LStayMethod.Counts[I] != 1) + (LStayWindowCounts[I] != 1);
      // A thread's own subscriber stays for the whole of its own synchronous sends.
      if (C % 4 < 2) LOwnMissed += LCounters[2 + (C % 2 ? C_THREADS : 0) + T].Counts[I] != 1;
      for (int K = 2; K < 2 + 2 * C_THREADS; ++K) LTwice += LCounters[K].Counts[I] > 1;
    }
  EXPECT_EQ(LStayMissed, 0);
  EXPECT_EQ(LOwnMissed, 0);
  EXPECT_EQ(LTwice, 0);
  EXPECT_EQ(OvTest::CountProcessHandles(), LHandles);
  EXPECT_EQ(OvTest::CountProcessThreads(), LThreads);
}

}  // namespace
