// The key string: roots by name and handle, the parser on a table of strings (marks in any case,
// short and long roots, missing parts, value names with backslashes, unknown roots) and the builder,
// with parameters the parser must leave as the caller had them.
#include <gtest/gtest.h>

#include "Ostravane.System.Win.Registry.h"

using namespace Ostravane;

namespace {

HKEY Root(uintptr_t AValue) { return reinterpret_cast<HKEY>(AValue); }

const HKEY C_NO_ROOT = Root(0xFFFFFFFF);
constexpr uint32_t C_UNSET_FLAG = 0xDEADBEEF;
const wchar_t* const C_UNSET_NAME = L"<unset>";

TEST(RegistryKeyStringTest, RootNamesBothWays) {
  const struct {
    uintptr_t Handle;
    const wchar_t* Long;
    const wchar_t* Short;
  } LRoots[] = {
      {0x80000000, L"HKEY_CLASSES_ROOT", L"HKCR"},        {0x80000001, L"HKEY_CURRENT_USER", L"HKCU"},
      {0x80000002, L"HKEY_LOCAL_MACHINE", L"HKLM"},       {0x80000003, L"HKEY_USERS", L"HKU"},
      {0x80000004, L"HKEY_PERFORMANCE_DATA", L"HKPD"},    {0x80000005, L"HKEY_CURRENT_CONFIG", L"HKCC"},
      {0x80000006, L"HKEY_DYN_DATA", L"HKDD"},
  };
  for (const auto& R : LRoots) {
    EXPECT_EQ(TRegistry::RegistryRootToStr(Root(R.Handle)), R.Long);
    EXPECT_EQ(TRegistry::StrToRegistryRoot(R.Long), Root(R.Handle)) << R.Long;
    EXPECT_EQ(TRegistry::StrToRegistryRoot(R.Short), Root(R.Handle)) << R.Short;
    std::wstring LLower = R.Long;
    for (wchar_t& C : LLower) C = towlower(C);
    EXPECT_EQ(TRegistry::StrToRegistryRoot(LLower), Root(R.Handle)) << LLower;
  }
  EXPECT_EQ(TRegistry::STR_HKEY_LOCAL_MACHINE[0], std::wstring(L"HKEY_LOCAL_MACHINE"));
  EXPECT_EQ(TRegistry::STR_HKEY_LOCAL_MACHINE[1], std::wstring(L"HKLM"));
  EXPECT_EQ(TRegistry::STR_X32X64[0], std::wstring(L"(x32)"));
  EXPECT_EQ(TRegistry::STR_X32X64[1], std::wstring(L"(x64)"));
  // Handles outside the table have no name; names outside it give the all-ones handle, never an exception.
  for (uintptr_t LHandle : {uintptr_t{0}, uintptr_t{0x80000007}, uintptr_t{0x80000050}, uintptr_t{0xFFFFFFFF}, uintptr_t{0x1234}})
    EXPECT_EQ(TRegistry::RegistryRootToStr(Root(LHandle)), L"") << LHandle;
  for (const wchar_t* LName : {L"", L"HKEY_CURRENT_USER_LOCAL_SETTINGS", L"HKC", L"HKLM ", L" HKLM", L"HKEY_LOCAL_MACHINE\\"})
    EXPECT_EQ(TRegistry::StrToRegistryRoot(LName), C_NO_ROOT) << LName;
}

struct TParseCase {
  const wchar_t* Text;
  uint32_t Flag;
  uintptr_t Root;
  const wchar_t* Key;
  const wchar_t* Name;
};

// C_UNSET_FLAG and C_UNSET_NAME: the parser must not write that parameter.
const TParseCase C_PARSE_CASES[] = {
    {L"(x64)HKEY_LOCAL_MACHINE\\Software\\Foo\\\\Name", 0x100, 0x80000002, L"\\Software\\Foo\\", L"Name"},
    {L"(x32)HKEY_LOCAL_MACHINE\\Software\\Foo\\\\Name", 0x200, 0x80000002, L"\\Software\\Foo\\", L"Name"},
    {L"(X64)hklm\\Software\\\\N", 0x100, 0x80000002, L"\\Software\\", L"N"},
    {L"(X32)HKLM\\A", 0x200, 0x80000002, L"\\A", C_UNSET_NAME},
    {L"(x64)HkCu\\A\\B", 0x100, 0x80000001, L"\\A\\B", C_UNSET_NAME},
    {L"hklm\\software\\foo", C_UNSET_FLAG, 0x80000002, L"\\software\\foo", C_UNSET_NAME},
    {L"HKCU\\A\\\\B\\\\C", C_UNSET_FLAG, 0x80000001, L"\\A\\", L"B\\\\C"},
    {L"HKLM\\A\\\\B\\C", C_UNSET_FLAG, 0x80000002, L"\\A\\", L"B\\C"},
    {L"HKLM\\A\\\\\\B", C_UNSET_FLAG, 0x80000002, L"\\A\\", L"\\B"},
    {L"HKLM\\A\\\\\\\\B", C_UNSET_FLAG, 0x80000002, L"\\A\\", L"\\\\B"},
    {L"Foo", C_UNSET_FLAG, 0x80000001, L"Foo", C_UNSET_NAME},
    {L"Foo\\Bar", C_UNSET_FLAG, 0xFFFFFFFF, L"\\Bar", C_UNSET_NAME},
    {L"(X64)Foo", 0x100, 0x80000001, L"Foo", C_UNSET_NAME},
    {L"HKLM", C_UNSET_FLAG, 0x80000001, L"HKLM", C_UNSET_NAME},
    {L"", C_UNSET_FLAG, 0x80000001, L"", C_UNSET_NAME},
    {L"(x64)", 0x100, 0x80000001, L"", C_UNSET_NAME},
    {L"HKLM\\", C_UNSET_FLAG, 0x80000002, L"\\", C_UNSET_NAME},
    {L"HKLM\\\\Name", C_UNSET_FLAG, 0x80000002, L"\\", L"Name"},
    {L"HKLM\\\\", C_UNSET_FLAG, 0x80000002, L"\\", L""},
    {L"HKEY_CLASSES_ROOT\\CLSID\\\\", C_UNSET_FLAG, 0x80000000, L"\\CLSID\\", L""},
    {L"HKCR\\.txt", C_UNSET_FLAG, 0x80000000, L"\\.txt", C_UNSET_NAME},
    {L"HKU\\.DEFAULT\\\\X", C_UNSET_FLAG, 0x80000003, L"\\.DEFAULT\\", L"X"},
    {L"HKEY_USERS\\S-1-5-18", C_UNSET_FLAG, 0x80000003, L"\\S-1-5-18", C_UNSET_NAME},
    {L"HKPD\\Counter", C_UNSET_FLAG, 0x80000004, L"\\Counter", C_UNSET_NAME},
    {L"HKEY_PERFORMANCE_DATA\\x\\\\y", C_UNSET_FLAG, 0x80000004, L"\\x\\", L"y"},
    {L"HKCC\\System", C_UNSET_FLAG, 0x80000005, L"\\System", C_UNSET_NAME},
    {L"(x32)HKEY_CURRENT_CONFIG\\Software\\\\V", 0x200, 0x80000005, L"\\Software\\", L"V"},
    {L"HKDD\\PerfStats", C_UNSET_FLAG, 0x80000006, L"\\PerfStats", C_UNSET_NAME},
    {L"hkey_dyn_data\\A\\\\", C_UNSET_FLAG, 0x80000006, L"\\A\\", L""},
    {L"hKeY_LoCaL_MaChInE\\x", C_UNSET_FLAG, 0x80000002, L"\\x", C_UNSET_NAME},
    {L"\\\\Name", C_UNSET_FLAG, 0xFFFFFFFF, L"\\", L"Name"},
    {L"\\Software\\X", C_UNSET_FLAG, 0xFFFFFFFF, L"\\Software\\X", C_UNSET_NAME},
    {L"(x86)HKLM\\A", C_UNSET_FLAG, 0xFFFFFFFF, L"\\A", C_UNSET_NAME},
    {L"(x64) HKLM\\A", 0x100, 0xFFFFFFFF, L"\\A", C_UNSET_NAME},
    {L"x64)HKLM\\A", C_UNSET_FLAG, 0xFFFFFFFF, L"\\A", C_UNSET_NAME},
    {L"(x64)(x32)HKLM\\A", 0x100, 0xFFFFFFFF, L"\\A", C_UNSET_NAME},
    {L"HKEY_CURRENT_USERX\\A", C_UNSET_FLAG, 0xFFFFFFFF, L"\\A", C_UNSET_NAME},
    {L"HKC\\A", C_UNSET_FLAG, 0xFFFFFFFF, L"\\A", C_UNSET_NAME},
    {L"HKLM\\A\\", C_UNSET_FLAG, 0x80000002, L"\\A\\", C_UNSET_NAME},
    {L"HKCU\\A\\B\\C\\D\\E\\\\V", C_UNSET_FLAG, 0x80000001, L"\\A\\B\\C\\D\\E\\", L"V"},
    {L"(x32)HKLM\\Software\\Wow\\\\Name with spaces", 0x200, 0x80000002, L"\\Software\\Wow\\", L"Name with spaces"},
    {L"(x64)HKLM\\Software\\日本語\\\\値", 0x100, 0x80000002, L"\\Software\\日本語\\", L"値"},
    {L"HKCU\\Příliš\\žluťoučký\\\\kůň", C_UNSET_FLAG, 0x80000001, L"\\Příliš\\žluťoučký\\", L"kůň"},
};

TEST(RegistryKeyStringTest, ExtractKeyParamsOnATable) {
  static_assert(std::size(C_PARSE_CASES) >= 40);
  for (const TParseCase& C : C_PARSE_CASES) {
    uint32_t LFlag = C_UNSET_FLAG;
    HKEY LRoot = Root(0x4242);
    UnicodeString LKey = L"<key>", LName = C_UNSET_NAME;
    TRegistry::ExtractKeyParams(C.Text, LFlag, LRoot, LKey, LName);
    const std::string LText = Rtl::UTF8Encode(C.Text);
    EXPECT_EQ(LFlag, C.Flag) << LText;
    EXPECT_EQ(LRoot, Root(C.Root)) << LText;
    EXPECT_EQ(LKey, C.Key) << LText;
    EXPECT_EQ(LName, C.Name) << LText;
  }
}

TEST(RegistryKeyStringTest, RegistryKeyToStrWritesTheLongFormWithAMark) {
  const struct {
    uint32_t Flag;
    uintptr_t Root;
    const wchar_t* Key;
    const wchar_t* Name;
    const wchar_t* Expected;
  } LCases[] = {
      {0x100, 0x80000002, L"\\Software\\Foo", L"Name", L"(x64)HKEY_LOCAL_MACHINE\\Software\\Foo\\\\Name"},
      {0x100, 0x80000002, L"Software\\Foo", L"Name", L"(x64)HKEY_LOCAL_MACHINE\\Software\\Foo\\\\Name"},
      {0x100, 0x80000002, L"Software\\Foo\\", L"Name", L"(x64)HKEY_LOCAL_MACHINE\\Software\\Foo\\\\Name"},
      {0x200, 0x80000002, L"Software\\Foo", L"Name", L"(x32)HKEY_LOCAL_MACHINE\\Software\\Foo\\\\Name"},
      // A mask with neither view bit is written as the 32-bit view; both bits as the 64-bit one.
      {0, 0x80000001, L"A", L"", L"(x32)HKEY_CURRENT_USER\\A\\\\"},
      {KEY_ALL_ACCESS, 0x80000001, L"A", L"V", L"(x32)HKEY_CURRENT_USER\\A\\\\V"},
      {KEY_ALL_ACCESS | 0x100, 0x80000001, L"A", L"V", L"(x64)HKEY_CURRENT_USER\\A\\\\V"},
      {0x300, 0x80000001, L"A", L"V", L"(x64)HKEY_CURRENT_USER\\A\\\\V"},
      {0, 0x80000000, L"", L"V", L"(x32)HKEY_CLASSES_ROOT\\\\V"},
      {0, 0x80000003, L"\\", L"", L"(x32)HKEY_USERS\\\\"},
      {0, 0x1234, L"A", L"V", L"(x32)\\A\\\\V"},
      {0x100, 0xFFFFFFFF, L"\\A", L"", L"(x64)\\A\\\\"},
      {0, 0x80000004, L"Counter", L"B\\C", L"(x32)HKEY_PERFORMANCE_DATA\\Counter\\\\B\\C"},
      {0, 0x80000005, L"S", L"", L"(x32)HKEY_CURRENT_CONFIG\\S\\\\"},
      {0, 0x80000006, L"S", L"", L"(x32)HKEY_DYN_DATA\\S\\\\"},
      {0x100, 0x80000002, L"Software\\日本語", L"値", L"(x64)HKEY_LOCAL_MACHINE\\Software\\日本語\\\\値"},
  };
  for (const auto& C : LCases) {
    const UnicodeString LText = TRegistry::RegistryKeyToStr(C.Flag, Root(C.Root), C.Key, C.Name);
    EXPECT_EQ(LText, C.Expected) << Rtl::UTF8Encode(C.Expected);
    // What the builder writes, the parser takes back apart: the mark's view bit, the root, the path with
    // a leading and a trailing backslash, and the name.
    uint32_t LFlag = C_UNSET_FLAG;
    HKEY LRoot = nullptr;
    UnicodeString LKey, LName = C_UNSET_NAME;
    TRegistry::ExtractKeyParams(LText, LFlag, LRoot, LKey, LName);
    EXPECT_EQ(LFlag, (C.Flag & 0x100) ? 0x100u : 0x200u);
    EXPECT_EQ(LName, C.Name);
    if (!TRegistry::RegistryRootToStr(Root(C.Root)).empty()) {
      EXPECT_EQ(LRoot, Root(C.Root));
    }
    EXPECT_EQ(LKey.front(), L'\\');
    EXPECT_EQ(LKey.back(), L'\\');
  }
}

}  // namespace
