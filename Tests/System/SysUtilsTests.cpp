// OS errors with their exact texts, counter arithmetic at its wrap limits, multi-strings, and hidden
// windows against real windows and threads.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "Ostravane.System.SysUtils.h"
#include "TestSupport.h"

using namespace Ostravane;
using Rtl::EOSError;

namespace {

EOSError Raised(int32_t ACode, const std::wstring& AMsg) {
  try {
    SysUtils::RaiseLastOSError(ACode, AMsg);
  } catch (const EOSError& E) {
    return E;
  }
  throw std::runtime_error("RaiseLastOSError returned");
}

TEST(SysUtilsTest, RaiseLastOSErrorGivesExactTexts) {
  // The exception is made inside the library and caught here: the shared runtime carries it across.
  EOSError E = Raised(0, L"");
  EXPECT_EQ(E.Message, L"A call to an OS function failed.");
  EXPECT_EQ(E.ErrorCode, 0u);
  EXPECT_EQ(Raised(0, L"Reading a key").Message, L"A call to an OS function failed. Reading a key");
  EXPECT_EQ(Raised(0, L"  padded  ").Message, L"A call to an OS function failed.   padded");  // only the ends are trimmed

  E = Raised(5, L"");
  EXPECT_EQ(E.Message, L"System Error. Code: 5. Access denied.");
  EXPECT_EQ(E.ErrorCode, 5u);
  EXPECT_STREQ(E.what(), "System Error. Code: 5. Access denied.");
  EXPECT_EQ(Raised(2, L"Opening C:\\x").Message, L"System Error. Code: 2. File not found. Opening C:\\x");
  EXPECT_EQ(Raised(5, L"日本語").Message, L"System Error. Code: 5. Access denied. 日本語");
  // A code the system has no text for still gives the code.
  E = Raised(0x2000FFFF, L"x");
  EXPECT_EQ(E.Message, L"System Error. Code: 536936447. . x");
  // A code above 0x7FFFFFFF is shown as the signed number it is passed as.
  E = Raised(static_cast<int32_t>(0x80004005), L"");
  EXPECT_EQ(E.ErrorCode, 0x80004005u);
  EXPECT_EQ(E.Message.rfind(L"System Error. Code: -2147467259. ", 0), 0u) << E.Message;

  // The one-argument form takes the thread's last error.
  SetLastError(ERROR_INVALID_HANDLE);
  try {
    SysUtils::RaiseLastOSError(L"Closing");
    FAIL() << "no exception";
  } catch (const Rtl::Exception& E2) {
    ASSERT_TRUE(E2.InheritsFrom(EOSError::StaticClass()));
    EXPECT_EQ(E2.ClassName(), L"EOSError");
    EXPECT_EQ(static_cast<const EOSError&>(E2).ErrorCode, 6u);
    EXPECT_EQ(E2.Message, L"System Error. Code: 6. Invalid handle. Closing");
  }
}

TEST(SysUtilsTest, CounterArithmeticAtItsWrapLimits) {
  struct TAdd { uint32_t A, B, R; };
  for (const TAdd& C : {TAdd{5, 7, 12}, TAdd{0xFFFFFFFF, 1, 1}, TAdd{0xFFFFFFFE, 1, 0}, TAdd{0, 0, 0},
                        TAdd{0xFFFFFFFF, 0, 0}, TAdd{0xFFFFFFF0, 0x20, 0x11}, TAdd{0x80000000, 0x80000000, 1},
                        TAdd{1, 0xFFFFFFFD, 0xFFFFFFFE}})
    EXPECT_EQ(SysUtils::Add(C.A, C.B), C.R) << std::hex << C.A << " + " << C.B;

  struct TSub { uint32_t New, Old, R; };
  for (const TSub& C : {TSub{10, 10, 0}, TSub{20, 10, 10}, TSub{5, 0xFFFFFFF0, 20}, TSub{5, 0x20000000, 0x1FFFFFFB},
                        TSub{0x33333332, 0x33333334, 0xFFFFFFFD}, TSub{0x33333333, 0x40000000, 0x0CCCCCCD},
                        TSub{0, 0xFFFFFFFF, 0}, TSub{0x40000000, 0x50000000, 0x10000000}})
    EXPECT_EQ(SysUtils::Sub(C.New, C.Old), C.R) << std::hex << C.New << " - " << C.Old;

  struct TSub64 { int64_t New, Old, R; };
  for (const TSub64& C : {TSub64{5, 0x7FFFFFFFFFFFFFF0LL, 20}, TSub64{7, 7, 0}, TSub64{-5, -10, 5},
                          TSub64{5, 0x1000000000000000LL, 0x0FFFFFFFFFFFFFFBLL},
                          TSub64{0x1999999999999998LL, 0x199999999999999ALL, 0x7FFFFFFFFFFFFFFDLL},
                          TSub64{0x2000000000000000LL, 0x3000000000000000LL, 0x1000000000000000LL}})
    EXPECT_EQ(SysUtils::Sub(C.New, C.Old), C.R) << std::hex << C.New << " - " << C.Old;
}

TEST(SysUtilsTest, ParseMultiStrStopsAtTheFirstEmptyString) {
  EXPECT_TRUE(SysUtils::ParseMultiStr(L"\0\0").empty());
  EXPECT_TRUE(SysUtils::ParseMultiStr(nullptr).empty());
  const wchar_t LList[] = L"one\0two words\0\0ignored\0\0";
  EXPECT_EQ(SysUtils::ParseMultiStr(LList), (std::vector<std::wstring>{L"one", L"two words"}));
  const wchar_t LCjk[] = L"日本\0Příliš\0";
  EXPECT_EQ(SysUtils::ParseMultiStr(LCjk), (std::vector<std::wstring>{L"日本", L"Příliš"}));
}

// ---- Hidden windows -------------------------------------------------------------------------------

std::atomic<DWORD> GHandlerThread{0};
std::vector<UINT> GSeen;
uintptr_t GWnd = 0;  // a handler is told the message only, so it keeps its window's handle
constexpr UINT C_ASK = WM_APP + 7;

void RecordingHandler(TMessage& Message) {
  GSeen.push_back(Message.Msg);
  if (Message.Msg == C_ASK) {
    GHandlerThread = GetCurrentThreadId();
    Message.Result = static_cast<LRESULT>(Message.WParam * 2 + Message.LParam);
  } else if (Message.Msg != WM_SETTEXT) {
    SysUtils::DefWindowProc(GWnd, Message);
  }
}

TEST(SysUtilsTest, SentMessagesReachTheHandlerOnTheCreatingThread) {
  GSeen.clear();
  const uintptr_t LWnd = SysUtils::AllocateHWnd(&RecordingHandler);
  ASSERT_NE(LWnd, 0u);
  GWnd = LWnd;
  const HWND LHwnd = reinterpret_cast<HWND>(LWnd);
  EXPECT_FALSE(IsWindowVisible(LHwnd));
  EXPECT_EQ(GetParent(LHwnd), nullptr);  // top-level: broadcasts reach it
  EXPECT_EQ(GetWindowLongPtrW(LHwnd, GWLP_WNDPROC), reinterpret_cast<LONG_PTR>(&SysUtils::StdWndProc));

  std::atomic<LRESULT> LAnswer{-1};
  std::atomic<bool> LDone{false};
  std::thread LSender([&] {
    LAnswer = SendMessageW(LHwnd, C_ASK, 20, 2);
    LDone = true;
  });
  EXPECT_TRUE(OvTest::PumpMessagesUntil([&] { return LDone.load(); }));
  LSender.join();
  EXPECT_EQ(LAnswer.load(), 42);
  EXPECT_EQ(GHandlerThread.load(), GetCurrentThreadId());

  // Posted messages arrive in order through the creating thread's loop.
  GSeen.clear();
  PostMessageW(LHwnd, C_ASK, 1, 0);
  PostMessageW(LHwnd, WM_APP + 8, 0, 0);
  EXPECT_TRUE(OvTest::PumpMessagesUntil([] { return GSeen.size() >= 2; }));
  EXPECT_EQ(GSeen, (std::vector<UINT>{C_ASK, WM_APP + 8}));

  // Once the user data is cleared, StdWndProc passes messages to the default procedure.
  SetWindowLongPtrW(LHwnd, GWLP_USERDATA, 0);
  GSeen.clear();
  SendMessageW(LHwnd, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(L"default"));
  EXPECT_TRUE(GSeen.empty());
  wchar_t LText[16] = {};
  GetWindowTextW(LHwnd, LText, 16);
  EXPECT_STREQ(LText, L"default");
  SetWindowLongPtrW(LHwnd, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&RecordingHandler));

  // DeallocateHWnd takes the handler off before destroying: the handler hears no WM_DESTROY.
  GSeen.clear();
  SysUtils::DeallocateHWnd(LWnd);
  EXPECT_FALSE(IsWindow(LHwnd));
  EXPECT_TRUE(GSeen.empty()) << "first message seen: " << (GSeen.empty() ? 0 : GSeen.front());
  SetLastError(1234);
  SysUtils::DeallocateHWnd(0);
  EXPECT_EQ(GetLastError(), 1234u);
}

TEST(SysUtilsTest, AWindowWithoutMethodKeepsTheDefaultProcedure) {
  const uintptr_t LWnd = SysUtils::AllocateHWnd(nullptr);
  const HWND LHwnd = reinterpret_cast<HWND>(LWnd);
  EXPECT_NE(GetWindowLongPtrW(LHwnd, GWLP_WNDPROC), reinterpret_cast<LONG_PTR>(&SysUtils::StdWndProc));
  EXPECT_EQ(GetWindowLongPtrW(LHwnd, GWLP_USERDATA), 0);
  SendMessageW(LHwnd, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(L"plain"));
  EXPECT_EQ(SendMessageW(LHwnd, WM_GETTEXTLENGTH, 0, 0), 5);
  SysUtils::DeallocateHWnd(LWnd);
  EXPECT_FALSE(IsWindow(LHwnd));
}

TEST(SysUtilsTest, WindowCyclesLeakNoHandles) {
  // Warm up: the class is registered and the thread's message queue made by the first window.
  SysUtils::DeallocateHWnd(SysUtils::AllocateHWnd(&RecordingHandler));
  const size_t LBefore = OvTest::CountProcessHandles();
  for (int I = 0; I < 1000; ++I) {
    const uintptr_t LWnd = SysUtils::AllocateHWnd(I % 2 ? &RecordingHandler : nullptr);
    GWnd = LWnd;
    SendMessageW(reinterpret_cast<HWND>(LWnd), WM_NULL, 0, 0);
    SysUtils::DeallocateHWnd(LWnd);
  }
  EXPECT_EQ(OvTest::CountProcessHandles(), LBefore);
}

}  // namespace
