// The typed log: the exact vocabulary of values, errors and brackets, level clamping, the disabled
// "bds" log, brackets holding the lock, the process list, and the debugger mirror of a child.
#include <atomic>
#include <thread>

#include "LogTestSupport.h"
#include "Ostravane.Rtl.Handles.h"

using namespace Ostravane;
using namespace OvTest;

namespace {

enum class TTestLevel { tlNone, tlError, tlWarning, tlInfo };
}  // namespace
OV_LOG_LEVEL_RANGE(TTestLevel, TTestLevel::tlInfo)

namespace {

using TTypedLogTest = TLogTest;
using L = TTestLevel;

const std::wstring C_MODULE = L"OvComponentsRTL.dll            ";  // padded to 30, then one blank
// A line's columns after the date, for this module and a nil or a TDebugLogFile owner.
std::wstring Nil(const std::wstring& ARest) { return Columns(C_MODULE, L"unknown", ARest); }
std::wstring Own(const std::wstring& ARest) { return Columns(C_MODULE, L"TDebugLogFile", ARest); }

class TTestLog : public TDebugLog<TTestLevel> {
 public:
  explicit TTestLog(const std::wstring& AName) : TDebugLog<TTestLevel>(AName, L"OvComponentsRTL.dll", 0) {
    SetLogLevel(L::tlInfo);
    SetDirectWrite(true);
  }
};

std::wstring Decimal() {
  wchar_t LBuffer[8] = L".";
  GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SDECIMAL, LBuffer, 8);
  return LBuffer;
}

TEST_F(TTypedLogTest, BracketsValuesErrorsAndEveryKindOfValueGiveTheExactLines) {
  UseTempFolder();
  {
    TTestLog LLog(L"Facade");
    EXPECT_EQ(LLog.ModuleName(), C_MODULE);
    EXPECT_TRUE(LLog.GetDirectWrite());
    const TClass O = TDebugLogFile::StaticClass();
    LLog.BeginProc(L::tlInfo, L"Load", {1, L"abc"}, O);
    LLog.LogValue(L::tlInfo, L"Ready", true, O);
    LLog.LogValue(L::tlInfo, L"Count", 4294967295u, O);
    LLog.LogValue(L::tlInfo, L"Delta", -5, O);
    LLog.LogValue(L::tlInfo, L"Name", L"日本", O);
    LLog.LogError(L::tlError, L"Open", 5, O);
    LLog.LogError(L::tlError, L"Call %s", {L"X"}, Rtl::EOSError(L"failed", 2), O);
    LLog.LogError(L::tlError, L"Code of %d", {7}, 2, O);
    LLog.WriteLog(L::tlInfo, L"%0:s=%1:d", {L"n", 42}, O);
    LLog.EndProc(L::tlInfo, L"OK", O);
    LLog.EndProc(L::tlInfo);  // no BeginProc to match
    TDebugLog<TTestLevel> LLong(L"Facade", L"AModuleNameOfThirtyFiveCharactersXY", 0);
    LLong.WriteLog(L::tlInfo, L"long module");
    // LogValues shows every kind.
    TTestLog LKinds(L"Kinds");
    Rtl::TStringList LList;
    const unsigned char LShort[] = "\x05short";
    VARIANT LVariant;
    LVariant.vt = VT_I4;
    LVariant.lVal = 42;
    struct {
      uint32_t Bytes = 8;
      wchar_t Text[5] = L"bstr";
    } LBStr;
    Rtl::TVarRec LStrange(0);
    LStrange.VType = 99;
    const std::string LAnsi = "ansi";
    const std::wstring LUnicode = L"ünï";
    LKinds.LogValues(L::tlInfo, L"V",
                     {-7, true, 'c', 1.5, Rtl::TVarRec::ShortString(LShort), reinterpret_cast<const void*>(0xABCD),
                      "pchar", static_cast<const Rtl::TObject*>(&LList), static_cast<const Rtl::TObject*>(nullptr),
                      TDebugLogFile::StaticClass(), static_cast<TClass>(nullptr), L'ж', L"wide", LAnsi,
                      Rtl::TVarRec::Currency(15000), Rtl::TVarRec::Variant(&LVariant),
                      Rtl::TVarRec::Interface(reinterpret_cast<IUnknown*>(0x1234)), Rtl::TVarRec::WideString(LBStr.Text),
                      int64_t{-9000000000}, LUnicode, LStrange});
    LKinds.LogValues(L::tlInfo, L"E", {L"", L"", 5});
    LKinds.LogValues(L::tlInfo, L"F", {5, L"", 6});
    LKinds.LogValues(L::tlInfo, L"G", {});
  }
  EXPECT_EQ(Bodies(L"Facade"),
            (std::vector<std::wstring>{
                Own(L"*** Load        ***"), Own(L"  Params: 1, abc"), Own(L"  Ready: True"), Own(L"  Count: 4294967295"),
                Own(L"  Delta: -5"), Own(L"  Name: 日本"), Own(L"  Open: (0x00000005) Access denied"),
                Own(L"  Call X: EOSError. failed"), Own(L"  Code of 7: (0x00000002) File not found"), Own(L"  n=42"),
                Own(L"DONE: Load(): OK"), Own(L""), Nil(L"DONE: "), Nil(L""),
                Columns(L"AModuleNameOfThirtyFiveCharactersXY ", L"unknown", L"long module")}));
  const std::wstring D = Decimal();
  EXPECT_EQ(Bodies(L"Kinds"),
            (std::vector<std::wstring>{
                Nil(L"V: -7, True, c, 1" + D + L"5, short, 0000ABCD, pchar, object TStringList, nil object, "
                    L"class TDebugLogFile, nil class, ж, wide, ansi, 1" + D + L"5, 42, interface $00001234, bstr, "
                    L"-9000000000, ünï, unknown"),
                Nil(L"E: 5"), Nil(L"F: 5, , 6"), Nil(L"G: ")}));
}

TEST_F(TTypedLogTest, FilteredCallsChangeNothingButStillFormatLevelsAreClampedAndBdsDisablesTheLog) {
  UseTempFolder();
  {
    TTestLog LLog(L"Filtered");
    LLog.SetLogLevel(L::tlError);
    TDebugLogFile* F = TDebugLogFile::GetLogInstance(L"Filtered");
    LLog.BeginProc(L::tlInfo, L"Hidden", {1});
    EXPECT_EQ(TDebugLogFileInspector::ThreadStacks(*F), 0u);
    EXPECT_EQ(TDebugLogFileInspector::Nesting(*F), L"");
    LLog.EndProc(L::tlInfo, L"R");
    LLog.WriteLog(L::tlWarning, L"hidden");
    LLog.LogProcessList(L::tlWarning);
    LLog.WriteLog(L::tlError, L"shown");
    // The text is made before the filter: a format that doesn't fit its values fails even here.
    EXPECT_THROW(LLog.WriteLog(L::tlInfo, L"%d", {L"text"}), Rtl::EConvertError);
    TDebugLogFile::FreeLogInstance(F);
  }
  EXPECT_EQ(Bodies(L"Filtered"), (std::vector<std::wstring>{Nil(L"shown")}));

  // The level is clamped to the type's range, and a log named bds is disabled.
  TTestLog LLog(L"Clamp");
  TDebugLogFile* F = TDebugLogFile::GetLogInstance(L"Clamp");
  F->SetLogLevel(0x7fffffff);
  EXPECT_EQ(LLog.GetLogLevel(), L::tlInfo);
  F->SetLogLevel(2);
  EXPECT_EQ(LLog.GetLogLevel(), L::tlWarning);
  F->SetLogLevel(-7);
  EXPECT_EQ(LLog.GetLogLevel(), L::tlNone);
  LLog.SetLogLevel(L::tlError);
  EXPECT_EQ(F->GetLogLevel(), 1);
  LLog.SetDirectWrite(true);
  EXPECT_EQ(F->GetDirectWrite(), -1) << "true travels as -1";
  TDebugLogFile::FreeLogInstance(F);

  TDebugLog<int> LUntyped(L"Untyped", L"m", 0);
  EXPECT_THROW(LUntyped.GetLogLevel(), Rtl::EInvalidCast);

  for (const wchar_t* LName : {L"bds", L"BDS", L"Bds"}) {
    TDebugLog<TTestLevel> LBds(LName, L"m", 0);
    EXPECT_FALSE(LBds.Enabled());
    LBds.SetLogLevel(L::tlInfo);
    EXPECT_EQ(LBds.GetLogLevel(), L::tlNone);
    LBds.SetDirectWrite(true);
    EXPECT_FALSE(LBds.GetDirectWrite());
    LBds.BeginProc(L::tlInfo, L"P");
    LBds.WriteLog(L::tlInfo, L"x");
    LBds.EndProc(L::tlInfo);
    LBds.LogProcessList(L::tlInfo);
  }
  TDebugLogFile* LBdsFile = TDebugLogFile::GetLogInstance(L"bds");
  EXPECT_EQ(TDebugLogFileInspector::InstanceCount(*LBdsFile), 1) << "a disabled log holds no instance";
  TDebugLogFile::FreeLogInstance(LBdsFile);
}

TEST_F(TTypedLogTest, BracketsHoldTheLockAcrossTheirLines) {
  UseTempFolder();
  {
    TTestLog LLog(L"Brackets");
    LLog.SetDirectWrite(false);
    std::atomic<bool> LStop{false};
    std::thread LNoise([&] {
      while (!LStop) LLog.WriteLog(L::tlInfo, L"noise");
    });
    for (int I = 0; I < 300; ++I) {
      LLog.BeginProc(L::tlInfo, L"P", {I});
      LLog.EndProc(L::tlInfo, L"R");
    }
    LLog.LogProcessList(L::tlInfo);
    LStop = true;
    LNoise.join();
  }
  const std::vector<std::wstring> B = Bodies(L"Brackets");
  const size_t LColumns = C_MODULE.size() + 26;
  int LBrackets = 0;
  bool LProcessList = false;
  for (size_t I = 0; I + 1 < B.size(); ++I) {
    const std::wstring LText = B[I].substr(LColumns);
    if (LText == L"*** P        ***") {
      ++LBrackets;
      EXPECT_EQ(B[I + 1].substr(LColumns), L"  Params: " + std::to_wstring(LBrackets - 1)) << I;
    } else if (LText == L"DONE: P(): R") {
      EXPECT_EQ(B[I + 1].size(), LColumns) << "the separator follows at once: " << I;
    } else if (LText == L"*** LogProcessList        ***") {
      LProcessList = true;
      size_t J = I + 1;
      bool LSeenSelf = false;
      for (; J < B.size() && B[J].substr(LColumns) != L"DONE: LogProcessList"; ++J) {
        ASSERT_EQ(B[J].substr(LColumns, 2), L"  ") << "a line fell into the process list: " << J;
        LSeenSelf |= Rtl::SameText(B[J].substr(LColumns + 2), L"DebugTests.exe");
      }
      EXPECT_TRUE(LSeenSelf);
      ASSERT_LT(J + 1, B.size());
      EXPECT_EQ(B[J + 1].size(), LColumns);
    }
  }
  EXPECT_EQ(LBrackets, 300);
  EXPECT_TRUE(LProcessList);
}

// ---- Processes of their own ---------------------------------------------------------------------

// Reads a string of the debuggee's OUTPUT_DEBUG_STRING_EVENT.
std::wstring ReadDebugString(HANDLE AProcess, const OUTPUT_DEBUG_STRING_INFO& AInfo) {
  const size_t LUnit = AInfo.fUnicode ? 2 : 1;
  std::vector<char> LBytes(AInfo.nDebugStringLength * LUnit);
  SIZE_T LRead = 0;
  ReadProcessMemory(AProcess, AInfo.lpDebugStringData, LBytes.data(), LBytes.size(), &LRead);
  if (AInfo.fUnicode) return std::wstring(reinterpret_cast<const wchar_t*>(LBytes.data()), wcsnlen(reinterpret_cast<const wchar_t*>(LBytes.data()), LRead / 2));
  return Rtl::AnsiToString(LBytes.data(), strnlen(LBytes.data(), LRead));
}

TEST(TypedLogProcessTest, ADebuggerPresentAtStartHearsEveryLine) {
  const std::wstring LProgram = BinDir() + L"ChildLog.exe";
  std::wstring LCommandLine = L"\"" + LProgram + L"\" -debug";
  STARTUPINFOW LStartup{};
  LStartup.cb = sizeof(LStartup);
  PROCESS_INFORMATION LInfo{};
  ASSERT_TRUE(CreateProcessW(LProgram.c_str(), LCommandLine.data(), nullptr, nullptr, FALSE, DEBUG_ONLY_THIS_PROCESS,
                             nullptr, nullptr, &LStartup, &LInfo));
  Rtl::THandleOwner LProcess(LInfo.hProcess), LThread(LInfo.hThread);
  std::vector<std::wstring> LStrings;
  for (bool LRunning = true; LRunning;) {
    DEBUG_EVENT E;
    ASSERT_TRUE(WaitForDebugEvent(&E, 60000));
    DWORD LContinue = DBG_CONTINUE;
    switch (E.dwDebugEventCode) {
      case OUTPUT_DEBUG_STRING_EVENT: LStrings.push_back(ReadDebugString(LProcess.get(), E.u.DebugString)); break;
      case CREATE_PROCESS_DEBUG_EVENT: Rtl::TFileHandleOwner(E.u.CreateProcessInfo.hFile).reset(); break;
      case LOAD_DLL_DEBUG_EVENT: Rtl::TFileHandleOwner(E.u.LoadDll.hFile).reset(); break;
      case EXCEPTION_DEBUG_EVENT:
        if (E.u.Exception.ExceptionRecord.ExceptionCode != EXCEPTION_BREAKPOINT) LContinue = DBG_EXCEPTION_NOT_HANDLED;
        break;
      case EXIT_PROCESS_DEBUG_EVENT: LRunning = false; break;
    }
    ContinueDebugEvent(E.dwProcessId, E.dwThreadId, LContinue);
  }
  const std::vector<std::wstring> LExpected = {Own(L"child line    "), Nil(L"*** Nested        ***    "),
                                               Nil(L"  inside    "), Nil(L"DONE: Nested    "), Nil(L"    ")};

  std::vector<std::wstring> LOurs;
  for (const std::wstring& S : LStrings)
    if (S.rfind(C_MODULE, 0) == 0) LOurs.push_back(S);
  // The library's own units may log at their start before the child's lines (the settings store
  // loads the version module) and at their stop after them.
  const auto LFirst = std::find(LOurs.begin(), LOurs.end(), LExpected.front());
  ASSERT_NE(LFirst, LOurs.end());
  for (auto I = LOurs.begin(); I != LFirst; ++I) EXPECT_NE(I->find(L"DllRoutines"), std::wstring::npos);
  LOurs.erase(LOurs.begin(), LFirst);
  ASSERT_GE(LOurs.size(), LExpected.size());
  LOurs.resize(LExpected.size());
  EXPECT_EQ(LOurs, LExpected);
}

// A folder as one argument: without its trailing backslash, which would escape the closing quote.
std::wstring FolderArg(const TTempDir& AFolder) {
  return L"\"" + AFolder.Path().substr(0, AFolder.Path().size() - 1) + L"\"";
}

TEST(TypedLogProcessTest, AProgramNamedBdsLogsNothing) {
  TTempDir LFolder;
  // A control first: the same program under its own name writes its file, CJK text included.
  const TChildResult LControl = RunChild(L"ChildLog.exe", FolderArg(LFolder) + L" 日本語のログ -debug");
  EXPECT_EQ(LControl.ExitCode, 1u);
  const std::vector<std::wstring> LLines = SplitLines(ReadUtf16File(LFolder.Path() + L"ChildLog.log"));
  // The first line of the child's own, behind what the library's start logged.
  const auto LLine = std::find_if(LLines.begin(), LLines.end(), [](const std::wstring& S) {
    return S.find(L"DllRoutines") == std::wstring::npos;
  });
  ASSERT_NE(LLine, LLines.end());
  EXPECT_EQ(LLine->substr(24), Columns(C_MODULE, L"TDebugLogFile", L"日本語のログ"));

  // The program under the name BDS.exe, in a folder of its own with the DLLs it needs (the bin
  // folder has a bds.exe of its own, and Wine's file names ignore case).
  TTempDir LBdsFolder, LProgramFolder;
  const std::wstring LBds = LProgramFolder.Path() + L"BDS.exe";
  ASSERT_TRUE(CopyFileW((BinDir() + L"ChildLog.exe").c_str(), LBds.c_str(), FALSE));
  for (const wchar_t* LDll : {L"OvComponentsRTL.dll", L"libgcc_s_dw2-1.dll", L"libstdc++-6.dll", L"libwinpthread-1.dll"})
    ASSERT_TRUE(CopyFileW((BinDir() + LDll).c_str(), (LProgramFolder.Path() + LDll).c_str(), FALSE));
  const TChildResult LResult = RunChild(LBds, FolderArg(LBdsFolder) + L" -debug");
  EXPECT_EQ(LResult.ExitCode, 0u) << "the log of a program named bds is disabled";
  WIN32_FIND_DATAW LData;
  Rtl::TFindHandleOwner LFind(FindFirstFileW((LBdsFolder.Path() + L"*").c_str(), &LData));
  bool LAnyFile = false;
  if (LFind)
    do {
      LAnyFile |= !(LData.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY);
    } while (FindNextFileW(LFind.get(), &LData));
  EXPECT_FALSE(LAnyFile);
}

}  // namespace
