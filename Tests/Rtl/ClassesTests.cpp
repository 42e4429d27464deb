// Streams, string lists, handle owners, critical sections, method pointers, class references and
// the exceptions that cross from the library into its caller.
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "Ostravane.Rtl.Classes.h"
#include "Ostravane.Rtl.Handles.h"
#include "Ostravane.Rtl.SyncObjs.h"
#include "Ostravane.Rtl.SysUtils.h"
#include "Ostravane.System.SysUtils.h"

using namespace Ostravane::Rtl;

TEST(RtlClasses, MemoryStreamReadsWritesSeeksAndResizes) {
  TMemoryStream S;
  char LBuffer[16];
  EXPECT_EQ(S.Write("Hello", 5), 5);
  EXPECT_EQ(S.Seek(-2, TSeekOrigin::soEnd), 3);
  EXPECT_EQ(std::string(LBuffer, S.Read(LBuffer, 10)), "lo");  // only what is left
  EXPECT_EQ(S.Seek(-100, TSeekOrigin::soCurrent), 0);
  EXPECT_EQ(S.Seek(10, TSeekOrigin::soBeginning), 10);
  EXPECT_EQ(S.Read(LBuffer, 4), 0);  // past the end
  EXPECT_EQ(S.Write("z", 1), 1);
  EXPECT_EQ(S.GetSize(), 11);
  S.SetSize(4);
  EXPECT_EQ(S.GetPosition(), 4);
  S.SetPosition(1);
  S.Append("xy", 2);  // at the end, whatever the position
  EXPECT_EQ(std::string(static_cast<const char*>(S.Memory()), S.Size()), "Hellxy");
}

TEST(RtlClasses, StringListFindsDeletesAndRaises) {
  TStringList L;
  L.Add(L"Beta");
  EXPECT_EQ(L.Add(L"\u00E4rger"), 1);
  EXPECT_EQ(L.IndexOf(L"\u00C4RGER"), 1);
  L.CaseSensitive = true;
  EXPECT_EQ(L.IndexOf(L"BETA"), -1);
  L.Delete(0);
  for (int32_t LIndex : {1, -1}) {
    try {
      L.Delete(LIndex);
      ADD_FAILURE() << "no exception for " << LIndex;
    } catch (const Exception& E) {
      EXPECT_EQ(E.Message, L"List index out of bounds (" + std::to_wstring(LIndex) + L")");
    }
  }
  EXPECT_EQ(L[0], L"\u00E4rger");
}

namespace {
std::wstring EventName(wchar_t ALetter) { return L"OvRtlTest-" + std::to_wstring(GetCurrentProcessId()) + ALetter; }
HANDLE NewEvent(wchar_t ALetter) { return CreateEventW(nullptr, TRUE, FALSE, EventName(ALetter).c_str()); }
// True while some handle to the event is open.
bool EventExists(wchar_t ALetter) {
  const HANDLE H = OpenEventW(SYNCHRONIZE, FALSE, EventName(ALetter).c_str());
  return H && CloseHandle(H);
}
struct TCounter { int Total = 0; int Add(int A) { return Total += A; } int Sub(int A) { return Total -= A; } };
}  // namespace

TEST(RtlHandles, OwnerKeepsLastErrorAndClosesOnResetMoveAndScopeEnd) {
  THandleOwner H(NewEvent('A'));
  SetLastError(ERROR_ACCESS_DENIED);
  H.reset();
  EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
  EXPECT_FALSE(EventExists('A'));
  EXPECT_FALSE(H);
  {
    THandleOwner LFirst(NewEvent('A')), LSecond(NewEvent('B'));
    THandleOwner LThird(std::move(LFirst));
    EXPECT_FALSE(LFirst);
    LSecond = std::move(LThird);  // closes B, takes A
    EXPECT_FALSE(EventExists('B'));
    EXPECT_TRUE(EventExists('A'));
    EXPECT_FALSE(LThird);
  }
  EXPECT_FALSE(EventExists('A'));
  H.reset(NewEvent('B'));
  EXPECT_TRUE(CloseHandle(H.release()));  // released, not closed
  EXPECT_FALSE(TFileHandleOwner());  // INVALID_HANDLE_VALUE
}

TEST(RtlSyncObjs, CriticalSectionIsReentrantAndExclusive) {
  TCriticalSection LSection;
  auto LTryFromOtherThread = [&LSection] {
    bool LEntered = false;
    std::thread([&] { if ((LEntered = LSection.TryEnter())) LSection.Leave(); }).join();
    return LEntered;
  };
  {
    TCSGuard LGuard(LSection);
    EXPECT_TRUE(LSection.TryEnter());
    LSection.Leave();
    EXPECT_FALSE(LTryFromOtherThread());
  }
  EXPECT_TRUE(LTryFromOtherThread());
}

TEST(RtlSystem, MethodEqualityAndInvocation) {
  TCounter A, B;
  const TMethod<int(int)> LAddA(&A, &TCounter::Add), LAddA2(&A, &TCounter::Add), LAddB(&B, &TCounter::Add),
      LSubA(&A, &TCounter::Sub), LEmpty;
  EXPECT_TRUE(LAddA == LAddA2);
  EXPECT_FALSE(LAddA == LAddB);
  EXPECT_FALSE(LAddA == LSubA);
  EXPECT_FALSE(LAddA == LEmpty);
  EXPECT_TRUE(LEmpty == TMethod<int(int)>());
  EXPECT_FALSE(LEmpty);
  EXPECT_EQ(LAddA(5), 5);
  EXPECT_EQ(LSubA(1), 4);
}

TEST(RtlSystem, ExceptionsRaisedInTheLibraryReachTheCaller) {
  try {
    Ostravane::SysUtils::RaiseLastOSError(ERROR_ACCESS_DENIED, L"x");
    ADD_FAILURE() << "no exception";
  } catch (const std::exception& AError) {
    EXPECT_STREQ(AError.what(), "System Error. Code: 5. Access denied. x");
    const Exception& E = dynamic_cast<const Exception&>(AError);
    EXPECT_EQ(E.ClassName(), L"EOSError");
    EXPECT_TRUE(E.InheritsFrom(EOSError::StaticClass()) && E.InheritsFrom(Exception::StaticClass()));
    EXPECT_FALSE(E.InheritsFrom(EConvertError::StaticClass()));
    EXPECT_EQ(E.Message, L"System Error. Code: 5. Access denied. x");
    EXPECT_EQ(dynamic_cast<const EOSError&>(E).ErrorCode, 5u);
  }
}
