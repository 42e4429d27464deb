// Streams, string lists, handle owners, critical sections, method pointers, class references and
// the exceptions that cross from the library into its caller.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>

#include "Ostravane.Rtl.Classes.h"
#include "Ostravane.Rtl.Handles.h"
#include "Ostravane.Rtl.SyncObjs.h"
#include "Ostravane.Rtl.SysUtils.h"
#include "Ostravane.System.SysUtils.h"

using namespace Ostravane::Rtl;

namespace {
std::string Bytes(const TMemoryStream& AStream) {
  return std::string(static_cast<const char*>(AStream.Memory()), AStream.Size());
}
}  // namespace

TEST(RtlClasses, MemoryStreamReadsWritesSeeksAndResizes) {
  TMemoryStream S;
  EXPECT_EQ(S.Write("Hello", 5), 5);
  EXPECT_EQ(S.GetPosition(), 5);
  EXPECT_EQ(S.GetSize(), 5);
  EXPECT_EQ(S.Seek(0, TSeekOrigin::soBeginning), 0);
  char LBuffer[16] = {};
  EXPECT_EQ(S.Read(LBuffer, 3), 3);
  EXPECT_EQ(std::string(LBuffer, 3), "Hel");
  EXPECT_EQ(S.Read(LBuffer, 10), 2);  // only what is left
  EXPECT_EQ(std::string(LBuffer, 2), "lo");
  EXPECT_EQ(S.Read(LBuffer, 10), 0);

  EXPECT_EQ(S.Seek(-2, TSeekOrigin::soEnd), 3);
  EXPECT_EQ(S.Write("LO!", 3), 3);  // overwrites two bytes and grows by one
  EXPECT_EQ(Bytes(S), "HelLO!");
  EXPECT_EQ(S.Seek(-100, TSeekOrigin::soCurrent), 0);
  EXPECT_EQ(S.Seek(10, TSeekOrigin::soBeginning), 10);
  EXPECT_EQ(S.Read(LBuffer, 4), 0);  // past the end
  EXPECT_EQ(S.Write("z", 1), 1);
  EXPECT_EQ(S.GetSize(), 11);

  S.SetSize(4);
  EXPECT_EQ(Bytes(S), "HelL");
  EXPECT_EQ(S.GetPosition(), 4);
  S.SetSize(2);
  S.SetPosition(0);
  S.Append("xy", 2);  // at the end, whatever the position
  EXPECT_EQ(Bytes(S), "Hexy");
  EXPECT_EQ(S.GetPosition(), 4);

  S.Clear();
  EXPECT_EQ(S.GetSize(), 0);
  EXPECT_EQ(S.GetPosition(), 0);
}

TEST(RtlClasses, StringListFindsDeletesAndRaises) {
  TStringList L;
  EXPECT_EQ(L.Add(L"alpha"), 0);
  EXPECT_EQ(L.Add(L"Beta"), 1);
  EXPECT_EQ(L.Add(L"\u00E4rger"), 2);
  EXPECT_EQ(L.Add(L"gamma"), 3);
  EXPECT_EQ(L.Count(), 4);
  EXPECT_EQ(L.IndexOf(L"BETA"), 1);
  EXPECT_EQ(L.IndexOf(L"\u00C4RGER"), 2);
  L.CaseSensitive = true;
  EXPECT_EQ(L.IndexOf(L"BETA"), -1);
  EXPECT_EQ(L.IndexOf(L"Beta"), 1);

  L.Delete(1);
  EXPECT_EQ(L.Count(), 3);
  EXPECT_EQ(L[1], L"\u00E4rger");
  for (int32_t LIndex : {3, -1}) {
    try {
      L.Delete(LIndex);
      ADD_FAILURE() << "no exception for " << LIndex;
    } catch (const Exception& E) {
      EXPECT_EQ(E.Message, L"List index out of bounds (" + std::to_wstring(LIndex) + L")");
    }
  }
  EXPECT_EQ(L.Count(), 3);
}

namespace {
// True while an event of this name exists, that is while some handle to it is open.
bool EventExists(const std::wstring& AName) {
  HANDLE H = OpenEventW(SYNCHRONIZE, FALSE, AName.c_str());
  if (H) CloseHandle(H);
  return H != nullptr;
}
std::wstring EventName(const wchar_t* ASuffix) {
  return L"OvRtlTest-" + std::to_wstring(GetCurrentProcessId()) + L"-" + ASuffix;
}
}  // namespace

TEST(RtlHandles, OwnerClosesKeepsLastErrorReleasesAndMoves) {
  const std::wstring A = EventName(L"A"), B = EventName(L"B");
  {
    THandleOwner H(CreateEventW(nullptr, TRUE, FALSE, A.c_str()));
    ASSERT_TRUE(H);
    EXPECT_TRUE(EventExists(A));
  }
  EXPECT_FALSE(EventExists(A));

  THandleOwner H(CreateEventW(nullptr, TRUE, FALSE, A.c_str()));
  SetLastError(ERROR_ACCESS_DENIED);
  H.reset();
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_FALSE(EventExists(A));
  EXPECT_EQ(H.get(), nullptr);

  H.reset(CreateEventW(nullptr, TRUE, FALSE, B.c_str()));

  const HANDLE LRaw = H.release();
  EXPECT_FALSE(H);
  EXPECT_TRUE(EventExists(B));
  CloseHandle(LRaw);
  EXPECT_FALSE(EventExists(B));

  THandleOwner LFirst(CreateEventW(nullptr, TRUE, FALSE, A.c_str()));
  THandleOwner LSecond(std::move(LFirst));
  EXPECT_FALSE(LFirst);
  EXPECT_TRUE(EventExists(A));
  THandleOwner LThird(CreateEventW(nullptr, TRUE, FALSE, B.c_str()));
  LThird = std::move(LSecond);  // closes B, takes A
  EXPECT_FALSE(EventExists(B));
  EXPECT_TRUE(EventExists(A));
  EXPECT_FALSE(LSecond);
  EXPECT_FALSE(TFileHandleOwner());  // INVALID_HANDLE_VALUE
}

TEST(RtlSyncObjs, CriticalSectionIsReentrantAndExclusive) {
  TCriticalSection LSection;
  auto LTryFromOtherThread = [&LSection] {
    bool LEntered = false;
    std::thread([&] {
      LEntered = LSection.TryEnter();
      if (LEntered) LSection.Leave();
    }).join();
    return LEntered;
  };
  LSection.Enter();
  LSection.Enter();
  EXPECT_TRUE(LSection.TryEnter());
  EXPECT_FALSE(LTryFromOtherThread());
  LSection.Leave();
  LSection.Leave();
  EXPECT_FALSE(LTryFromOtherThread());
  LSection.Leave();
  EXPECT_TRUE(LTryFromOtherThread());

  try {
    TCSGuard LGuard(LSection);
    throw 1;
  } catch (int) {
  }
  EXPECT_TRUE(LTryFromOtherThread());

  // Two threads update one counter in two steps with a pause between; only the lock keeps it exact.
  int LCounter = 0;
  auto LWork = [&] {
    for (int I = 0; I < 20000; ++I) {
      TCSGuard LGuard(LSection);
      const int LValue = LCounter;
      if (I % 64 == 0) Sleep(0);
      LCounter = LValue + 1;
    }
  };
  std::thread T1(LWork), T2(LWork);
  T1.join();
  T2.join();
  EXPECT_EQ(LCounter, 40000);
}

namespace {
struct TCounter {
  int Total = 0;
  int Add(int A) { return Total += A; }
  int Sub(int A) { return Total -= A; }
};
struct TShape {
  virtual ~TShape() = default;
  virtual int Corners() { return 0; }
};
struct TSquare : TShape {
  int Corners() override { return 4; }
};
struct TDoubler {
  void Apply(int& AValue) { AValue *= 2; }
};
}  // namespace

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
  EXPECT_EQ(LAddA.Data(), &A);

  EXPECT_EQ(LAddA(5), 5);
  EXPECT_EQ(LAddA2(2), 7);
  EXPECT_EQ(LSubA(1), 6);
  EXPECT_EQ(LAddB(3), 3);

  TSquare LSquare;
  const TMethod<int()> LVirtual(static_cast<TShape*>(&LSquare), &TShape::Corners);
  EXPECT_EQ(LVirtual(), 4);  // dispatched to the override

  TDoubler LDoubler;
  int LValue = 21;
  TMethod<void(int&)>(&LDoubler, &TDoubler::Apply)(LValue);
  EXPECT_EQ(LValue, 42);  // the reference reached the method
}

TEST(RtlSystem, ClassReferencesNameAndInherit) {
  TMemoryStream LStream;
  const TObject& LObject = LStream;
  EXPECT_EQ(LObject.ClassName(), L"TMemoryStream");
  EXPECT_TRUE(LObject.InheritsFrom(TStream::StaticClass()));
  EXPECT_TRUE(LObject.InheritsFrom(TObject::StaticClass()));
  EXPECT_FALSE(LObject.InheritsFrom(TStringList::StaticClass()));
  EXPECT_EQ(LObject.ClassType()->ClassParent, TStream::StaticClass());
  EXPECT_EQ(TStringList().ClassName(), L"TStringList");

  const EOSError LError(L"m", 5);
  EXPECT_EQ(LError.ClassName(), L"EOSError");
  EXPECT_TRUE(LError.InheritsFrom(Exception::StaticClass()));
  EXPECT_FALSE(LError.InheritsFrom(EConvertError::StaticClass()));
  EXPECT_EQ(EConvertError(L"m").ClassType()->ClassParent, Exception::StaticClass());
}

TEST(RtlSystem, ExceptionsRaisedInTheLibraryReachTheCaller) {
  try {
    Ostravane::SysUtils::RaiseLastOSError(ERROR_ACCESS_DENIED, L"x");
  } catch (const Exception& E) {
    EXPECT_EQ(E.ClassName(), L"EOSError");
    EXPECT_TRUE(E.InheritsFrom(EOSError::StaticClass()));
    EXPECT_EQ(E.Message, L"System Error. Code: 5. Access denied. x");
    EXPECT_STREQ(E.what(), "System Error. Code: 5. Access denied. x");
    const auto* LOSError = dynamic_cast<const EOSError*>(&E);
    ASSERT_NE(LOSError, nullptr);
    EXPECT_EQ(LOSError->ErrorCode, 5u);
  }
  try {
    Format(L"%d", {L"text"});
    ADD_FAILURE() << "no exception";
  } catch (const std::exception& E) {
    EXPECT_STREQ(E.what(), "Format '%d' invalid or incompatible with argument");
  }
}
