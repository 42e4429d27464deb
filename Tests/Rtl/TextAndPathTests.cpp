// Text, path, file and process helpers of Rtl.SysUtils, on the real file system.
#include <gtest/gtest.h>

#include "Ostravane.Rtl.SysUtils.h"
#include "TestSupport.h"

using namespace Ostravane::Rtl;

TEST(RtlText, TrimRemovesBlanksAndControlCharacters) {
  const struct {
    const wchar_t* Input;
    const wchar_t* Expected;
  } LCases[] = {
      {L"  a b  ", L"a b"}, {L"\t\r\n x\x01\x1F", L"x"}, {L"", L""}, {L"   ", L""},
      {L"x", L"x"},         {L"\u00A0x\u00A0", L"\u00A0x\u00A0"},  // a no-break space is no blank here
  };
  for (const auto& C : LCases) EXPECT_EQ(Trim(C.Input), C.Expected) << UTF8Encode(C.Input);
}

TEST(RtlText, SameTextIgnoresCaseBeyondAscii) {
  const struct {
    const wchar_t* S1;
    const wchar_t* S2;
    bool Expected;
  } LCases[] = {
      {L"Hello", L"hELLO", true},
      {L"\u00C9t\u00E9", L"\u00E9T\u00C9", true},                            // Été
      {L"\u00C4rger", L"\u00E4RGER", true},                                  // Ärger
      {L"\u03A9\u03BC\u03AD\u03B3\u03B1", L"\u03A9\u039C\u0388\u0393\u0391", true},  // Greek with accent
      {L"\u65E5\u672C", L"\u65E5\u6728", false},
      {L"abc", L"abcd", false},
      {L"\u00DF", L"SS", false},
      {L"e", L"\u00E9", false},
  };
  for (const auto& C : LCases) EXPECT_EQ(SameText(C.S1, C.S2), C.Expected) << UTF8Encode(C.S1) << " / " << UTF8Encode(C.S2);
}

TEST(RtlText, Utf8RoundTripsAccentsCjkAndSurrogatePairs) {
  const UnicodeString LText = L"Gr\u00FC\u00DFe \u65E5\u672C\u8A9E \xD83D\xDE00";  // U+1F600 as a surrogate pair
  const std::string LBytes =
      "Gr\xC3\xBC\xC3\x9F"
      "e \xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E \xF0\x9F\x98\x80";
  EXPECT_EQ(UTF8Encode(LText), LBytes);
  EXPECT_EQ(UTF8ToString(LBytes), LText);
  EXPECT_EQ(UTF8ToString(UTF8Encode(LText)), LText);
  EXPECT_EQ(UTF8ToString(""), L"");

  const Exception LError(L"\u65E5\u672C \u00E9");
  EXPECT_STREQ(LError.what(), "\xE6\x97\xA5\xE6\x9C\xAC \xC3\xA9");
}

TEST(RtlPath, NamesFoldersAndExtensions) {
  const struct {
    const wchar_t* Input;
    const wchar_t* Name;
    const wchar_t* Path;
  } LSplits[] = {
      {L"C:\\dir.v2\\sub\\name.ext", L"name.ext", L"C:\\dir.v2\\sub\\"},
      {L"C:name.ext", L"name.ext", L"C:"},
      {L"name", L"name", L""},
      {L"C:\\dir\\", L"", L"C:\\dir\\"},
      {L"\\\\server\\share\\f.txt", L"f.txt", L"\\\\server\\share\\"},
      {L"C:/a/b.txt", L"b.txt", L"C:/a/"},
  };
  for (const auto& C : LSplits) {
    EXPECT_EQ(ExtractFileName(C.Input), C.Name) << UTF8Encode(C.Input);
    EXPECT_EQ(ExtractFilePath(C.Input), C.Path) << UTF8Encode(C.Input);
  }

  const struct {
    const wchar_t* Input;
    const wchar_t* Extension;
    const wchar_t* Expected;
  } LChanges[] = {
      {L"C:\\dir.v2\\name", L".txt", L"C:\\dir.v2\\name.txt"},
      {L"C:\\dir\\name.tar.gz", L".zip", L"C:\\dir\\name.tar.zip"},
      {L"C:\\dir\\name.ext", L"", L"C:\\dir\\name"},
      {L"C:\\a.b\\", L".x", L"C:\\a.b\\.x"},
      {L"name.", L".c", L"name.c"},
  };
  for (const auto& C : LChanges) EXPECT_EQ(ChangeFileExt(C.Input, C.Extension), C.Expected) << UTF8Encode(C.Input);

  EXPECT_EQ(IncludeTrailingPathDelimiter(L"C:\\x"), L"C:\\x\\");
  EXPECT_EQ(IncludeTrailingPathDelimiter(L"C:\\x\\"), L"C:\\x\\");
  EXPECT_EQ(IncludeTrailingPathDelimiter(L""), L"\\");
}

TEST(RtlFile, ExistsAndDeleteOnRealFiles) {
  OvTest::TTempDir LTemp;
  const UnicodeString LFile = LTemp.Path() + L"\u65E5\u672C.txt";
  const UnicodeString LFolder = LTemp.Path() + L"folder";
  OvTest::WriteFileBytes(LFile, {'x'});
  ASSERT_TRUE(CreateDirectoryW(LFolder.c_str(), nullptr));

  EXPECT_TRUE(FileExists(LFile));
  EXPECT_FALSE(DirectoryExists(LFile));
  EXPECT_TRUE(DirectoryExists(LFolder));
  EXPECT_FALSE(FileExists(LFolder));
  EXPECT_FALSE(FileExists(LTemp.Path() + L"missing"));
  EXPECT_FALSE(DirectoryExists(LTemp.Path() + L"missing"));

  EXPECT_FALSE(DeleteFile(LFolder));
  EXPECT_TRUE(DirectoryExists(LFolder));
  EXPECT_TRUE(DeleteFile(LFile));
  EXPECT_FALSE(FileExists(LFile));
  EXPECT_FALSE(DeleteFile(LFile));
}

TEST(RtlFile, ForceDirectoriesMakesEveryMissingParent) {
  OvTest::TTempDir LTemp;
  const UnicodeString LBase = LTemp.Path();
  EXPECT_TRUE(ForceDirectories(LBase + L"a\\b.c\\d\\"));
  EXPECT_TRUE(DirectoryExists(LBase + L"a\\b.c"));
  EXPECT_TRUE(DirectoryExists(LBase + L"a\\b.c\\d"));
  EXPECT_TRUE(ForceDirectories(LBase + L"a\\b.c\\d"));  // already there
  EXPECT_TRUE(ForceDirectories(LBase + L"\u65E5\u672C/\u30C7\u30FC\u30BF"));
  EXPECT_TRUE(DirectoryExists(LBase + L"\u65E5\u672C\\\u30C7\u30FC\u30BF"));

  // A regular file is no folder: neither as the target nor as a parent.
  OvTest::WriteFileBytes(LBase + L"file.txt", {'x'});
  EXPECT_FALSE(ForceDirectories(LBase + L"file.txt\\sub"));
  EXPECT_FALSE(DirectoryExists(LBase + L"file.txt\\sub"));
  EXPECT_FALSE(ForceDirectories(LBase + L"file.txt"));
  EXPECT_TRUE(FileExists(LBase + L"file.txt"));
}

TEST(RtlProcess, SysErrorMessageWithoutTrailingFullStop) {
  // Wine's English texts: "Access denied.\r\n" and "File not found.\r\n".
  EXPECT_EQ(SysErrorMessage(ERROR_ACCESS_DENIED), L"Access denied");
  EXPECT_EQ(SysErrorMessage(ERROR_FILE_NOT_FOUND), L"File not found");
  EXPECT_EQ(SysErrorMessage(0x20000001), L"");  // a code of an application, unknown to the system
}

TEST(RtlProcess, ParamStrZeroNamesTheProgram) {
  wchar_t LModule[MAX_PATH];
  const DWORD N = GetModuleFileNameW(nullptr, LModule, MAX_PATH);
  EXPECT_EQ(ParamStr(0), UnicodeString(LModule, N));
  EXPECT_TRUE(SameText(ExtractFileName(ParamStr(0)), L"RtlTests.exe"));
  EXPECT_EQ(ParamStr(ParamCount() + 1), L"");
  EXPECT_EQ(ParamStr(-1), L"");
  EXPECT_EQ(GetModuleName(HInstance()), OvTest::BinDir() + L"OvComponentsRTL.dll");
  EXPECT_EQ(MainInstance(), GetModuleHandleW(nullptr));
}

TEST(RtlProcess, CommandLineSplitsQuotesAndSwitches) {
  OvTest::TTempDir LDir;
  const std::wstring LOut = LDir.Path() + L"args.txt";
  const OvTest::TChildResult LResult =
      OvTest::RunChild(L"ChildArgs.exe", L"\"" + LOut + L"\" \"two words\" /Verbose -x a\"b\"c\" d\" 日本");
  ASSERT_FALSE(LResult.TimedOut);
  ASSERT_EQ(LResult.ExitCode, 0u);
  EXPECT_EQ(OvTest::SplitLines(OvTest::ReadUtf16File(LOut)),
            (std::vector<std::wstring>{L"6", LOut, L"two words", L"/Verbose", L"-x",
                                       L"abc d",  // quotes only group, and go
                                       L"日本", L"11010"}));
}
