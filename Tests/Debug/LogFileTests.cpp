// The log file against real files: exact bytes of lines, buffering until the folder is known, the
// size limit, sharing, names, levels, failures, threads and handles.
#include <memory>
#include <thread>

#include "LogTestSupport.h"

using namespace Ostravane;
using namespace OvTest;

namespace {

using TLogFileTest = TLogTest;

// A log instance for the length of a test, given back on every way out.
struct TFree {
  void operator()(TDebugLogFile* F) const { TDebugLogFile::FreeLogInstance(F); }
};
std::unique_ptr<TDebugLogFile, TFree> Hold(const std::wstring& AName, int64_t AMaxFileSize = 0, bool ADirectWrite = true) {
  std::unique_ptr<TDebugLogFile, TFree> L(TDebugLogFile::GetLogInstance(AName));
  L->SetLogLevel(0x7fffffff);
  L->SetMaxFileSize(AMaxFileSize);
  L->SetDirectWrite(ADirectWrite);
  return L;
}

// The body of a line of an empty module and a nil owner.
std::wstring Plain(const std::wstring& AText) { return Columns(L"", L"unknown", AText); }

// The bytes of a file, checked to begin with the UTF-16 LE mark.
std::vector<unsigned char> MarkedBytes(const std::wstring& AFile) {
  const std::vector<unsigned char> B = ReadFileBytes(AFile);
  EXPECT_TRUE(B.size() >= 2 && B[0] == 0xFF && B[1] == 0xFE) << "no byte-order mark";
  return B;
}

const std::wstring C_FIXED(81, L' ');

TEST_F(TLogFileTest, LinesHaveExactColumns) {
  UseTempFolder();
  SYSTEMTIME LBefore, LAfter;
  GetLocalTime(&LBefore);
  {
    auto L = Hold(L"Columns", 0, false);
    const Rtl::TClassRecord LLongClass{L"TAClassNameOfTwentySixChars", nullptr};
    L->WriteLog(1, L"Module ", L"Hello", TDebugLogFile::StaticClass());
    L->WriteLog(1, L"M ", L"", nullptr);
    L->WriteLog(1, L"M ", L"x", &LLongClass);
    L->BeginNesting(1);
    L->BeginNesting(1);
    EXPECT_EQ(TDebugLogFileInspector::Nesting(*L), L"    ");
    L->WriteLog(1, L"M ", L"Deep", nullptr);
    L->EndNesting(1);
    L->WriteLog(1, L"M ", L"a\r\nb\r\nc", nullptr);
    L->WriteLog(1, L"M ", L"end\r\n", nullptr);
    L->EndNesting(1);
    L->EndNesting(1);  // nothing left to take away
    EXPECT_EQ(TDebugLogFileInspector::Nesting(*L), L"");
    L->WriteLog(1, L"M ", L"日本語テキスト 𝄞 Příliš žluťoučký", nullptr);
  }
  GetLocalTime(&LAfter);

  MarkedBytes(LogFile(L"Columns"));
  const std::vector<std::wstring> LExpected = {
      Columns(L"Module ", L"TDebugLogFile", L"Hello"),
      Columns(L"M ", L"unknown", L""),
      L"M TAClassNameOfTwentySixCharsx",
      Columns(L"M ", L"unknown", L"    Deep"),
      Columns(L"M ", L"unknown", L"  a"),
      C_FIXED + L"  b",
      C_FIXED + L"  c",
      Columns(L"M ", L"unknown", L"  end"),
      C_FIXED + L"  ",
      Columns(L"M ", L"unknown", L"日本語テキスト 𝄞 Příliš žluťoučký"),
  };
  std::vector<std::wstring> LLines = Lines(L"Columns");
  ASSERT_FALSE(LLines.empty());
  const std::wstring D = LLines[0];
  for (std::wstring& S : LLines)
    if (S.rfind(C_FIXED, 0) != 0) {
      EXPECT_TRUE(IsDateColumn(S.substr(0, 24))) << testing::PrintToString(S);
      S.erase(0, 24);
    }
  EXPECT_EQ(LLines, LExpected);
  // The date column is the local time of the line.
  SYSTEMTIME LLine{};
  ASSERT_EQ(swscanf(D.c_str(), L"%hu.%hu.%hu %hu:%hu:%hu.%hu", &LLine.wDay, &LLine.wMonth, &LLine.wYear, &LLine.wHour,
                    &LLine.wMinute, &LLine.wSecond, &LLine.wMilliseconds), 7);
  auto Ticks = [](const SYSTEMTIME& T) {
    FILETIME F;
    SystemTimeToFileTime(&T, &F);
    return (static_cast<uint64_t>(F.dwHighDateTime) << 32) | F.dwLowDateTime;
  };
  EXPECT_LE(Ticks(LBefore), Ticks(LLine));
  EXPECT_LE(Ticks(LLine), Ticks(LAfter));
}

TEST_F(TLogFileTest, LevelsAndProcedureStacks) {
  UseTempFolder();
  {
    auto L = Hold(L"Levels");
    L->WriteLog(0, L"", L"level 0", nullptr);
    L->WriteLog(-1, L"", L"level -1", nullptr);
    L->WriteLog(0x7fffffff, L"", L"highest", nullptr);
    L->SetLogLevel(2);
    EXPECT_EQ(L->GetLogLevel(), 2);
    L->WriteLog(3, L"", L"filtered", nullptr);
    L->WriteLog(2, L"", L"passes", nullptr);

    L->BeginProc(3, L"Filtered");
    L->BeginNesting(3);
    EXPECT_EQ(TDebugLogFileInspector::ThreadStacks(*L), 0u);
    EXPECT_EQ(TDebugLogFileInspector::Nesting(*L), L"");
    EXPECT_EQ(L->EndProc(2), L"");  // no stack on this thread
    EXPECT_EQ(TDebugLogFileInspector::ThreadStacks(*L), 0u);
    L->BeginProc(1, L"Outer");
    L->BeginProc(2, L"Inner");
    EXPECT_EQ(L->EndProc(3), L"") << "a filtered EndProc pops nothing";
    EXPECT_EQ(L->EndProc(2), L"Inner");
    EXPECT_EQ(TDebugLogFileInspector::ThreadStacks(*L), 1u);
    std::thread([&] {
      L->BeginProc(1, L"OtherThread");
      EXPECT_EQ(TDebugLogFileInspector::ThreadStacks(*L), 2u);
      EXPECT_EQ(L->EndProc(1), L"OtherThread");
    }).join();
    EXPECT_EQ(L->EndProc(1), L"Outer");
    EXPECT_EQ(TDebugLogFileInspector::ThreadStacks(*L), 0u) << "an emptied stack leaves no entry";

    L->SetMaxFileSize(-5);
    EXPECT_EQ(L->GetMaxFileSize(), 0);
  }
  EXPECT_EQ(Bodies(L"Levels"), (std::vector<std::wstring>{Plain(L"highest"), Plain(L"passes")}));
}

TEST_F(TLogFileTest, LinesWaitInMemoryUntilTheFolderIsSet) {
  auto L = Hold(L"Early");
  for (int I = 0; I < 3; ++I) L->WriteLog(1, L"", L"before " + std::to_wstring(I), nullptr);
  EXPECT_EQ(TDebugLogFileInspector::FileHandle(*L), nullptr) << "direct writes wait for the folder too";
  EXPECT_GT(TDebugLogFileInspector::Buffered(*L), 0u);
  EXPECT_FALSE(Rtl::FileExists(LogFile(L"Early")));

  UseTempFolder();
  TTempDir LOther;
  TDebugLogFile::SetLogPath(LOther.Path());
  EXPECT_EQ(TDebugLogFile::GetLogPath(), FTemp.Path()) << "the first folder wins";
  L->WriteLog(1, L"", L"after", nullptr);
  EXPECT_EQ(TDebugLogFileInspector::Buffered(*L), 0u);
  EXPECT_EQ(Bodies(L"Early"),
            (std::vector<std::wstring>{Plain(L"before 0"), Plain(L"before 1"), Plain(L"before 2"), Plain(L"after")}));
  EXPECT_FALSE(Rtl::FileExists(LOther.Path() + L"Early.log"));
}

TEST_F(TLogFileTest, BuffersUntil64KiBWithoutDirectWrite) {
  UseTempFolder();
  auto L = Hold(L"Buffered", 0, false);
  const std::wstring LMessage(100, L'x');  // 2 * (24 + 26 + 100 + 2) = 304 bytes a line
  int LLines = 0;
  while (TDebugLogFileInspector::FileHandle(*L) == nullptr) {
    L->WriteLog(1, L"", LMessage, nullptr);
    ++LLines;
    ASSERT_LT(LLines, 1000);
  }
  EXPECT_EQ(LLines, 65536 / 304 + 1) << "the first flush comes when 64 KiB have gathered";
  EXPECT_EQ(ReadFileBytes(LogFile(L"Buffered")).size(), 2u + 304u * LLines);
}

TEST_F(TLogFileTest, SizeLimitCutsTheFileAndWritesTheMarkAgainAndOldFilesStayOnlyUnderALimit) {
  UseTempFolder();
  // A line of an empty module and a nil owner takes 2 * (24 + 26 + k + 2) = 104 + 2k bytes.
  const std::wstring LFirst(395, L'a');  // 2 (mark) + 894 = 896 bytes
  {
    auto L = Hold(L"Limit1000", 1000);
    L->WriteLog(1, L"", LFirst, nullptr);
    EXPECT_EQ(ReadFileBytes(LogFile(L"Limit1000")).size(), 896u);
    L->WriteLog(1, L"", L"", nullptr);  // 896 + 104 = 1000: still within the limit
    EXPECT_EQ(ReadFileBytes(LogFile(L"Limit1000")).size(), 1000u);
    L->WriteLog(1, L"", L"", nullptr);  // one line more: the file starts again
    EXPECT_EQ(MarkedBytes(LogFile(L"Limit1000")).size(), 106u);
  }
  {
    auto L = Hold(L"Limit999", 999);
    L->WriteLog(1, L"", LFirst, nullptr);
    L->WriteLog(1, L"", L"last", nullptr);  // 896 + 112 > 999
    EXPECT_EQ(Bodies(L"Limit999"), (std::vector<std::wstring>{Plain(L"last")}));
  }
  // Old files are deleted at the first open only without a limit.
  const std::vector<unsigned char> LOld = Utf16Bytes(L"\xFEFFold line\r\n");
  WriteFileBytes(LogFile(L"Fresh"), LOld);
  WriteFileBytes(LogFile(L"Kept"), LOld);
  {
    auto L = Hold(L"Fresh");
    L->WriteLog(1, L"", L"one", nullptr);
    L->WriteLog(1, L"", L"two", nullptr);
  }
  EXPECT_EQ(Bodies(L"Fresh"), (std::vector<std::wstring>{Plain(L"one"), Plain(L"two")}));
  {
    auto L = Hold(L"Kept", 1 << 20);
    L->WriteLog(1, L"", L"three", nullptr);
  }
  const std::vector<std::wstring> LKept = Lines(L"Kept");
  ASSERT_EQ(LKept.size(), 2u);
  EXPECT_EQ(LKept[0], L"old line") << "a log with a limit carries on, with no second mark";
  EXPECT_EQ(LKept[1].substr(24), Plain(L"three"));
}

TEST_F(TLogFileTest, TheFileIsSharedWhileItGrows) {
  UseTempFolder();
  auto L = Hold(L"Shared");
  L->WriteLog(1, L"", L"first", nullptr);
  Rtl::TFileHandleOwner LReader(CreateFileW(LogFile(L"Shared").c_str(), GENERIC_READ | GENERIC_WRITE,
                                            FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(LReader) << GetLastError();
  LARGE_INTEGER LSize1, LSize2;
  GetFileSizeEx(LReader.get(), &LSize1);
  L->WriteLog(1, L"", L"second", nullptr);
  GetFileSizeEx(LReader.get(), &LSize2);
  EXPECT_EQ(LSize2.QuadPart, LSize1.QuadPart + 2 * (24 + 26 + 6 + 2));
  // Someone who won't share writing can't open it: the log holds it open for writing.
  Rtl::TFileHandleOwner LExclusive(CreateFileW(LogFile(L"Shared").c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                               OPEN_EXISTING, 0, nullptr));
  EXPECT_FALSE(LExclusive);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
}

TEST_F(TLogFileTest, NamesCompareWithoutCaseAndHoldersShareOneInstance) {
  UseTempFolder();
  TDebugLogFile* A = TDebugLogFile::GetLogInstance(L"App");
  TDebugLogFile* B = TDebugLogFile::GetLogInstance(L"APP");
  ASSERT_EQ(A, B);
  EXPECT_EQ(TDebugLogFileInspector::InstanceCount(*A), 2);
  EXPECT_EQ(A->Name(), L"App");
  A->SetLogLevel(1);
  A->SetDirectWrite(TRUE);
  A->WriteLog(1, L"", L"x", nullptr);
  WIN32_FIND_DATAW LData;
  Rtl::TFindHandleOwner LFind(FindFirstFileW((FTemp.Path() + L"*.log").c_str(), &LData));
  ASSERT_TRUE(LFind);
  EXPECT_STREQ(LData.cFileName, L"App.log");

  TDebugLogFile LStranger(L"Stranger");  // not in the registry: giving it back does nothing
  TDebugLogFile* LStrangerPtr = &LStranger;
  TDebugLogFile::FreeLogInstance(LStrangerPtr);
  EXPECT_EQ(LStrangerPtr, &LStranger);
  TDebugLogFile* LNil = nullptr;
  TDebugLogFile::FreeLogInstance(LNil);

  TDebugLogFile::FreeLogInstance(A);
  EXPECT_EQ(A, B) << "another holder remains";
  EXPECT_EQ(TDebugLogFileInspector::InstanceCount(*B), 1);
  TDebugLogFile::FreeLogInstance(B);
  EXPECT_EQ(B, nullptr);
}

TEST_F(TLogFileTest, AFileThatCantBeOpenedIsNotTriedAgain) {
  // The process runs elevated, so a folder below a regular file makes the open fail.
  WriteFileBytes(FTemp.Path() + L"blocker", {1, 2, 3});
  TDebugLogFile::SetLogPath(FTemp.Path() + L"blocker\\logs");
  auto L = Hold(L"Blocked");
  L->WriteLog(1, L"", L"lost", nullptr);
  EXPECT_EQ(TDebugLogFileInspector::FileHandle(*L), INVALID_HANDLE_VALUE);
  EXPECT_EQ(TDebugLogFileInspector::Buffered(*L), 0u) << "lines that can never reach a file aren't kept";
  ASSERT_TRUE(DeleteFileW((FTemp.Path() + L"blocker").c_str()));
  L->WriteLog(1, L"", L"still lost", nullptr);
  EXPECT_EQ(TDebugLogFileInspector::FileHandle(*L), INVALID_HANDLE_VALUE);
  EXPECT_FALSE(Rtl::DirectoryExists(FTemp.Path() + L"blocker")) << "the open was tried again";
}

TEST_F(TLogFileTest, TwoThreadsLoseNoLineAndTearNone) {
  UseTempFolder();
  constexpr int C_LINES = 10000;
  {
    auto L = Hold(L"Threads", 0, false);
    auto Writer = [&](wchar_t AThread) {
      for (int I = 0; I < C_LINES; ++I)
        L->WriteLog(1, L"Mod ", std::wstring(1, AThread) + L" " + std::to_wstring(I) + L" payload of the line", nullptr);
    };
    std::thread T1(Writer, L'A'), T2(Writer, L'B');
    T1.join();
    T2.join();
  }
  const std::vector<std::wstring> LBodies = Bodies(L"Threads");
  ASSERT_EQ(LBodies.size(), 2u * C_LINES);
  int LNext[2] = {0, 0};
  const std::wstring LPrefix = Columns(L"Mod ", L"unknown", L"");
  for (const std::wstring& B : LBodies) {
    ASSERT_EQ(B.rfind(LPrefix, 0), 0u) << testing::PrintToString(B);
    const std::wstring LMessage = B.substr(LPrefix.size());
    const int T = LMessage[0] == L'A' ? 0 : 1;
    ASSERT_EQ(LMessage, std::wstring(1, LMessage[0]) + L" " + std::to_wstring(LNext[T]) + L" payload of the line");
    ++LNext[T];
  }
  EXPECT_EQ(LNext[0], C_LINES);
  EXPECT_EQ(LNext[1], C_LINES);
}

TEST_F(TLogFileTest, OpenCloseCyclesLeakNoHandles) {
  UseTempFolder();
  auto Cycle = [] {
    auto L = Hold(L"Cycle");
    L->WriteLog(1, L"", L"open, write, close", nullptr);
  };
  Cycle();
  const size_t LBefore = CountProcessHandles();
  for (int I = 0; I < 1000; ++I) Cycle();
  EXPECT_EQ(CountProcessHandles(), LBefore);
  EXPECT_EQ(Bodies(L"Cycle").size(), 1u) << "each first open without a limit starts afresh";
}

}  // namespace
