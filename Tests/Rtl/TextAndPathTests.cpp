// Text, path, file and process helpers of Rtl.SysUtils, on the real file system.
#include <gtest/gtest.h>

#include "Ostravane.Rtl.SysUtils.h"
#include "TestSupport.h"

using namespace Ostravane::Rtl;

TEST(RtlText, TrimSameTextAndUtf8) {
  EXPECT_EQ(Trim(L"\t\r\n a b\x01\x1F "), L"a b");
  EXPECT_EQ(Trim(L"   "), L"");
  EXPECT_EQ(Trim(L"\u00A0x\u00A0"), L"\u00A0x\u00A0");  // a no-break space is no blank here

  const struct { const wchar_t *S1, *S2; bool Expected; } LCases[] = {
      // Été, and Greek with an accent
      {L"Hello", L"hELLO", true},  {L"\u00C9t\u00E9", L"\u00E9T\u00C9", true},  {L"e", L"\u00E9", false},
      {L"\u03A9\u03BC\u03AD\u03B3\u03B1", L"\u03A9\u039C\u0388\u0393\u0391", true},  {L"abc", L"abcd", false},
      {L"\u65E5\u672C", L"\u65E5\u6728", false},  {L"\u00DF", L"SS", false},
  };
  for (const auto& C : LCases) EXPECT_EQ(SameText(C.S1, C.S2), C.Expected) << UTF8Encode(C.S1);

  const UnicodeString LText = L"Gr\u00FC\u00DFe \u65E5\u672C\u8A9E \xD83D\xDE00";  // U+1F600 as a surrogate pair
  const std::string LBytes = "Gr\xC3\xBC\xC3\x9F" "e \xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E \xF0\x9F\x98\x80";
  EXPECT_EQ(UTF8Encode(LText), LBytes);
  EXPECT_EQ(UTF8ToString(LBytes), LText);
  EXPECT_STREQ(Exception(L"\u65E5\u672C \u00E9").what(), "\xE6\x97\xA5\xE6\x9C\xAC \xC3\xA9");
}

TEST(RtlPath, NamesFoldersAndExtensions) {
  const struct { const wchar_t *Input, *Name, *Path; } LSplits[] = {
      {L"C:\\dir.v2\\sub\\name.ext", L"name.ext", L"C:\\dir.v2\\sub\\"}, {L"C:name.ext", L"name.ext", L"C:"},
      {L"\\\\server\\share\\f.txt", L"f.txt", L"\\\\server\\share\\"},  {L"name", L"name", L""},
      {L"C:\\dir\\", L"", L"C:\\dir\\"}, {L"C:/a/b.txt", L"b.txt", L"C:/a/"},
  };
  for (const auto& C : LSplits)
    EXPECT_EQ(ExtractFilePath(C.Input) + L"|" + ExtractFileName(C.Input), C.Path + UnicodeString(L"|") + C.Name);
  EXPECT_EQ(ChangeFileExt(L"C:\\dir.v2\\name", L".txt"), L"C:\\dir.v2\\name.txt");
  EXPECT_EQ(ChangeFileExt(L"C:\\dir\\name.tar.gz", L".zip"), L"C:\\dir\\name.tar.zip");
  EXPECT_EQ(ChangeFileExt(L"C:\\dir\\name.ext", L""), L"C:\\dir\\name");
  EXPECT_EQ(IncludeTrailingPathDelimiter(L"C:\\x") + IncludeTrailingPathDelimiter(L"C:\\x\\"), L"C:\\x\\C:\\x\\");
  EXPECT_EQ(IncludeTrailingPathDelimiter(L""), L"\\");
}

TEST(RtlFile, ExistsDeleteAndForceDirectories) {
  OvTest::TTempDir LTemp;
  const UnicodeString LBase = LTemp.Path(), LFile = LBase + L"\u65E5\u672C.txt";
  OvTest::WriteFileBytes(LFile, {'x'});
  EXPECT_TRUE(ForceDirectories(LBase + L"a\\b.c\\d\\"));
  EXPECT_TRUE(DirectoryExists(LBase + L"a\\b.c\\d"));
  EXPECT_TRUE(ForceDirectories(LBase + L"a\\b.c\\d"));  // already there
  EXPECT_TRUE(ForceDirectories(LBase + L"\u65E5\u672C/\u30C7\u30FC\u30BF"));
  EXPECT_TRUE(DirectoryExists(LBase + L"\u65E5\u672C\\\u30C7\u30FC\u30BF"));
  // A regular file is no folder: neither as the target nor as a parent.
  EXPECT_FALSE(ForceDirectories(LFile + L"\\sub"));
  EXPECT_FALSE(ForceDirectories(LFile));

  EXPECT_TRUE(FileExists(LFile));
  EXPECT_FALSE(DirectoryExists(LFile));
  EXPECT_FALSE(FileExists(LBase + L"a"));
  EXPECT_FALSE(DirectoryExists(LBase + L"missing"));
  EXPECT_FALSE(DeleteFile(LBase + L"a"));
  EXPECT_TRUE(DeleteFile(LFile));
  EXPECT_FALSE(DeleteFile(LFile));
}

TEST(RtlProcess, ErrorTextsParamStrAndTheCommandLineOfAChild) {
  // Wine's English text is "Access denied.\r\n".
  EXPECT_EQ(SysErrorMessage(ERROR_ACCESS_DENIED), L"Access denied");
  EXPECT_EQ(SysErrorMessage(0x20000001), L"");  // a code of an application, unknown to the system

  wchar_t LModule[MAX_PATH];
  const DWORD N = GetModuleFileNameW(nullptr, LModule, MAX_PATH);
  EXPECT_EQ(ParamStr(0), UnicodeString(LModule, N));
  EXPECT_EQ(ParamStr(ParamCount() + 1), L"");
  EXPECT_EQ(GetModuleName(HInstance()), OvTest::BinDir() + L"OvComponentsRTL.dll");
  EXPECT_EQ(MainInstance(), GetModuleHandleW(nullptr));

  OvTest::TTempDir LDir;
  const std::wstring LOut = LDir.Path() + L"args.txt";
  const OvTest::TChildResult LResult =
      OvTest::RunChild(L"ChildArgs.exe", L"\"" + LOut + L"\" \"two words\" /Verbose -x a\"b\"c\" d\" 日本");
  ASSERT_FALSE(LResult.TimedOut);
  ASSERT_EQ(LResult.ExitCode, 0u);
  // In a"b"c" d" the quotes only group, and go.
  EXPECT_EQ(OvTest::SplitLines(OvTest::ReadUtf16File(LOut)),
            (std::vector<std::wstring>{L"6", LOut, L"two words", L"/Verbose", L"-x", L"abc d", L"日本", L"11010"}));
}
