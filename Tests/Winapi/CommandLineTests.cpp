// Command lines split into program and parameters on real files of a temporary folder, quoting by
// MakeCommand, and the process's search path grown by AddEnvironmentVariablePath.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Ostravane.Rtl.SysUtils.h"
#include "Ostravane.Winapi.Kernel32.h"
#include "Ostravane.Winapi.Shell32.h"
#include "Ostravane.Winapi.ShlwApi.h"
#include "TestSupport.h"
#include "WinapiTestSupport.h"

using namespace Ostravane;
using namespace OvWinapiTest;

namespace {

std::wstring ReplaceAll(std::wstring AText, const std::wstring& AFrom, const std::wstring& ATo) {
  for (size_t LAt = AText.find(AFrom); LAt != std::wstring::npos; LAt = AText.find(AFrom, LAt + ATo.size()))
    AText.replace(LAt, AFrom.size(), ATo);
  return AText;
}

void Touch(const std::wstring& AFileName) { OvTest::WriteFileBytes(AFileName, {'M', 'Z'}); }

// A variable of this process for the life of one test.
class TEnvironmentVariable {
 public:
  TEnvironmentVariable(const wchar_t* AName, const std::wstring& AValue) : FName(AName) {
    wchar_t LOld[32767];
    const DWORD LLength = GetEnvironmentVariableW(AName, LOld, 32767);
    FHadValue = LLength > 0 && LLength < 32767;
    if (FHadValue) FOld.assign(LOld, LLength);
    SetEnvironmentVariableW(AName, AValue.c_str());
  }
  ~TEnvironmentVariable() { SetEnvironmentVariableW(FName, FHadValue ? FOld.c_str() : nullptr); }
  TEnvironmentVariable(const TEnvironmentVariable&) = delete;
  TEnvironmentVariable& operator=(const TEnvironmentVariable&) = delete;

 private:
  const wchar_t* FName;
  std::wstring FOld;
  bool FHadValue = false;
};

struct TSplitCase {
  const wchar_t* Command;  // $D stands for the temporary folder, without its trailing backslash
  const wchar_t* FileName;
  const wchar_t* Params;
};

// Expected values follow the splitting rules: the longest leading part of the trimmed line (cut at
// blanks) that names a file once expanded; otherwise the system's split, whose first element ends
// at the first blank unless quoted; the parameters lose every occurrence of the name, in any case.
const TSplitCase C_SPLIT_CASES[] = {
    // Unquoted paths with blanks, found on disk.
    {L"$D\\My Tools\\run app.exe /x", L"$D\\My Tools\\run app.exe", L"/x"},
    {L"$D\\My Tools\\run app.exe \"a b\" c", L"$D\\My Tools\\run app.exe", L"\"a b\" c"},
    {L"$D\\My Tools\\run app.exe", L"$D\\My Tools\\run app.exe", L""},
    {L"$D\\My Tools\\run other /x", L"$D\\My Tools\\run", L"other /x"},
    {L"$D\\\u0391\u03c1\u03c7\u03b5\u03af\u03bf \u6d4b\u8bd5.exe /\u03bb", L"$D\\\u0391\u03c1\u03c7\u03b5\u03af\u03bf \u6d4b\u8bd5.exe",
     L"/\u03bb"},
    {L"$D\\plain.exe /a /b", L"$D\\plain.exe", L"/a /b"},
    // The same lines with the file missing: the system's split at the first blank.
    {L"$D\\My Tools\\gone app.exe /x", L"$D\\My", L"Tools\\gone app.exe /x"},
    {L"$D\\My Tools /x", L"$D\\My", L"Tools /x"},
    {L"missing-tool.exe", L"missing-tool.exe", L""},
    {L"missing-tool.exe -v --all", L"missing-tool.exe", L"-v --all"},
    // Quoted: straight to the system's split.
    {L"\"$D\\My Tools\\run app.exe\" /x", L"$D\\My Tools\\run app.exe", L"/x"},
    {L"\"$D\\My Tools\\gone app.exe\" -a -b", L"$D\\My Tools\\gone app.exe", L"-a -b"},
    {L"\"$D\\MY TOOLS\\RUN APP.EXE\" /x", L"$D\\MY TOOLS\\RUN APP.EXE", L"/x"},
    {L"\"$D\\plain.exe\"", L"$D\\plain.exe", L""},
    {L"\"$D\\My Tools\\run app.exe /x", L"$D\\My Tools\\run app.exe /x", L"\""},
    {L"\"\" /x", L"", L"/x"},
    // Blanks around and inside.
    {L"   $D\\plain.exe   ", L"$D\\plain.exe", L""},
    {L"\t$D\\plain.exe /t\t", L"$D\\plain.exe", L"/t"},
    {L"$D\\plain.exe\t/t", L"$D\\plain.exe", L"/t"},
    {L"", L"", L""},
    {L"   ", L"", L""},
    // Every occurrence of the name goes, in any case.
    {L"$D\\plain.exe --copy $D\\plain.exe", L"$D\\plain.exe", L"--copy"},
    {L"$D\\plain.exe /in:$D\\PLAIN.EXE", L"$D\\plain.exe", L"/in:"},
    {L"$D\\PLAIN.EXE /y", L"$D\\PLAIN.EXE", L"/y"},
    {L"$D\\plain.exe \"$D\\plain.exe\"", L"$D\\plain.exe", L"\"\""},
    // Environment strings: expanded for the test only, left in the result.
    {L"%OVRTL_CMD_DIR%\\plain.exe /z", L"%OVRTL_CMD_DIR%\\plain.exe", L"/z"},
    {L"%OVRTL_CMD_DIR%\\My Tools\\run app.exe -q", L"%OVRTL_CMD_DIR%\\My Tools\\run app.exe", L"-q"},
    {L"%ovrtl_cmd_dir%\\PLAIN.exe", L"%ovrtl_cmd_dir%\\PLAIN.exe", L""},
    {L"%OVRTL_NO_SUCH_VARIABLE%\\plain.exe /z", L"%OVRTL_NO_SUCH_VARIABLE%\\plain.exe", L"/z"},
    // UNC and prefixed paths.
    {L"\\\\ovrtl-no-server\\share\\tool.exe /a", L"\\\\ovrtl-no-server\\share\\tool.exe", L"/a"},
    {L"\\\\?\\$D\\plain.exe /a", L"\\\\?\\$D\\plain.exe", L"/a"},
    // Forward slashes name the same file; a switch glued to the name is not a blank.
    {L"$F/plain.exe /s", L"$F/plain.exe", L"/s"},
    {L"$D\\plain.exe/s", L"$D\\plain.exe/s", L""},
};

class CommandLineTest : public testing::Test {
 protected:
  void SetUp() override {
    FFolder = Rtl::ExcludeTrailingPathDelimiter(FDir.Path());
    ASSERT_EQ(FFolder.find(L' '), std::wstring::npos) << "the cases count the blanks of their own names";
    CreateDirectoryW((FFolder + L"\\My Tools").c_str(), nullptr);
    Touch(FFolder + L"\\My Tools\\run app.exe");
    Touch(FFolder + L"\\My Tools\\run");
    Touch(FFolder + L"\\plain.exe");
    Touch(FFolder + L"\\\u0391\u03c1\u03c7\u03b5\u03af\u03bf \u6d4b\u8bd5.exe");
  }

  std::wstring Expand(const wchar_t* AText) const {
    return ReplaceAll(ReplaceAll(AText, L"$D", FFolder), L"$F", ReplaceAll(FFolder, L"\\", L"/"));
  }

  OvTest::TTempDir FDir;
  std::wstring FFolder;
};

}  // namespace

TEST_F(CommandLineTest, SplitsATableOfLinesByTheFilesOnDisk) {
  const TEnvironmentVariable LVariable(L"OVRTL_CMD_DIR", FFolder);
  for (const auto& C : C_SPLIT_CASES) {
    const std::wstring LCommand = Expand(C.Command);
    UnicodeString LFileName = L"stale", LParams = L"stale";
    Shell32::CommandLineToArgv(LCommand, LFileName, LParams);
    EXPECT_EQ(LFileName, Expand(C.FileName)) << "line: [" << LCommand << "]";
    EXPECT_EQ(LParams, Expand(C.Params)) << "line: [" << LCommand << "]";
    EXPECT_EQ(ShlwAPI::PathRemoveArgs(LCommand), LFileName);
    EXPECT_EQ(ShlwAPI::PathGetArgs(LCommand), LParams);
  }
  EXPECT_GE(std::size(C_SPLIT_CASES), 30u);
}

TEST_F(CommandLineTest, AShortNameIsFoundAndStaysShortAndTheSystemsSplitDiffersOnPurpose) {
  wchar_t LShort[MAX_PATH]{};
  const std::wstring LLong = FFolder + L"\\My Tools\\run app.exe";
  ASSERT_GT(GetShortPathNameW(LLong.c_str(), LShort, MAX_PATH), 0u);
  ASSERT_EQ(std::wstring(LShort).find(L' '), std::wstring::npos) << LShort;
  UnicodeString LFileName, LParams;
  Shell32::CommandLineToArgv(std::wstring(LShort) + L" /x", LFileName, LParams);
  EXPECT_EQ(LFileName, LShort);
  EXPECT_EQ(LParams, L"/x");

  // The system splits the same unquoted line at its first blank and unquotes arguments.
  int LCount = 0;
  LPWSTR* LArguments = CommandLineToArgvW((LLong + L" \"a b\"").c_str(), &LCount);
  ASSERT_NE(LArguments, nullptr);
  EXPECT_EQ(LCount, 4);
  EXPECT_EQ(std::wstring(LArguments[0]), FFolder + L"\\My");
  LocalFree(LArguments);
  Shell32::CommandLineToArgv(LLong + L" \"a b\"", LFileName, LParams);
  EXPECT_EQ(LFileName, LLong);
  EXPECT_EQ(LParams, L"\"a b\"");
}

TEST_F(CommandLineTest, AQuotedLineNeverReachesTheFileSystemAndAnUnquotedOneDoes) {
  TSeam LSeam;
  UnicodeString LFileName, LParams;
  Shell32::CommandLineToArgv(Expand(L"\"$D\\My Tools\\run app.exe\" /x"), LFileName, LParams);
  EXPECT_EQ(LFileName, Expand(L"$D\\My Tools\\run app.exe"));
  EXPECT_FALSE(TSeam::Asked("ExpandEnvironmentStringsW"));
  EXPECT_FALSE(TSeam::Asked("GetLongPathNameW"));
  EXPECT_TRUE(TSeam::Asked("CommandLineToArgvW"));

  GSeam.Asked.clear();
  Shell32::CommandLineToArgv(Expand(L"$D\\My Tools\\run app.exe /x"), LFileName, LParams);
  EXPECT_TRUE(TSeam::Asked("ExpandEnvironmentStringsW"));
  EXPECT_TRUE(TSeam::Asked("GetLongPathNameW"));
  EXPECT_FALSE(TSeam::Asked("CommandLineToArgvW")) << "a file found needs no system split";

  // The internal split alone: the system's array, the name in double quotes removed when the line
  // starts with it.
  Shell32::CommandLineToArgvInternal(L"\"C:\\No Such\\x.exe\" \"C:\\No Such\\x.exe\" /p", LFileName, LParams);
  EXPECT_EQ(LFileName, L"C:\\No Such\\x.exe");
  EXPECT_EQ(LParams, L"/p");
  Shell32::CommandLineToArgvInternal(L"", LFileName, LParams);
  EXPECT_EQ(LFileName, L"") << "not this program's own path, which the system gives for an empty line";
  EXPECT_EQ(LParams, L"");
}

TEST_F(CommandLineTest, MakeCommandQuotesANameWithBlanksAndTheSplitGivesItBack) {
  EXPECT_EQ(Shell32::MakeCommand(L"", L""), L"");
  EXPECT_EQ(Shell32::MakeCommand(L"  C:\\a b\\x.exe  ", L"  /p  q  "), L"\"C:\\a b\\x.exe\" /p  q");
  EXPECT_EQ(Shell32::MakeCommand(L"C:\\x.exe", L"   "), L"C:\\x.exe");
  EXPECT_EQ(Shell32::MakeCommand(L"C:\\a \"b\" c.exe", L"/x"), L"\"C:\\a \"\"b\"\" c.exe\" /x");
  EXPECT_EQ(Shell32::MakeCommand(L"\"C:\\x.exe\"", L"/x"), L"\"C:\\x.exe\" /x") << "no blank: left as it is";
  EXPECT_EQ(Shell32::MakeCommand(L"", L"/x"), L" /x");
  EXPECT_EQ(Shell32::MakeCommand(L"C:\\\u6d4b \u8bd5.exe", L"\u00e9"), L"\"C:\\\u6d4b \u8bd5.exe\" \u00e9");

  const std::wstring LProgram = FFolder + L"\\My Tools\\run app.exe";
  UnicodeString LFileName, LParams;
  Shell32::CommandLineToArgv(Shell32::MakeCommand(LProgram, L"-a \"b c\""), LFileName, LParams);
  EXPECT_EQ(LFileName, LProgram);
  EXPECT_EQ(LParams, L"-a \"b c\"");
}

TEST(AddEnvironmentVariablePath, AddsOnlyWhatThePathDoesNotHoldHeedingCase) {
  const TEnvironmentVariable LPath(L"PATH", L"C:\\A;C:\\Tools");
  const auto LNow = [] { return Kernel32::GetEnvironmentVariable(L"PATH"); };
  Kernel32::AddEnvironmentVariablePath(L"C:\\Tools\\");
  EXPECT_EQ(LNow(), L"C:\\A;C:\\Tools") << "held without its trailing delimiter";
  Kernel32::AddEnvironmentVariablePath(L"C:\\Too");
  EXPECT_EQ(LNow(), L"C:\\A;C:\\Tools") << "a part of an entry counts";
  Kernel32::AddEnvironmentVariablePath(L"");
  EXPECT_EQ(LNow(), L"C:\\A;C:\\Tools");
  Kernel32::AddEnvironmentVariablePath(L"C:\\tools\\");
  EXPECT_EQ(LNow(), L"C:\\A;C:\\Tools;C:\\tools\\") << "the search heeds case";
  Kernel32::AddEnvironmentVariablePath(L"D:\\\u6d4b\u8bd5");
  EXPECT_EQ(LNow(), L"C:\\A;C:\\Tools;C:\\tools\\;D:\\\u6d4b\u8bd5");

  SetEnvironmentVariableW(L"PATH", nullptr);
  Kernel32::AddEnvironmentVariablePath(L"C:\\Only\\");
  EXPECT_EQ(LNow(), L"C:\\Only\\");
}
