// TVersionValue's forms and TFileVersionInfo on files built with their own version resources
// (Support/Versions), on a file without one, and on blocks written into a copy by the resource
// update functions.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "Ostravane.System.FileVersionInfo.h"
#include "TestSupport.h"

using namespace Ostravane;
using OvTest::BinDir;

namespace {

std::wstring Text(const TVersionValue& V) { return V.AsString(); }

constexpr uint32_t Lcid(uint16_t ALanguage, uint16_t ACodePage) { return ALanguage | uint32_t{ACodePage} << 16; }

struct TDottedCase {
  const wchar_t* Input;
  const wchar_t* Expected;
};

TEST(VersionValue, DottedTextTable) {
  const TDottedCase C_CASES[] = {
      {L"1.2.3.4", L"1.2.3.4"},
      {L"1.2", L"1.2.0.0"},                // missing parts are 0
      {L"1.x.3", L"1.0.3.0"},              // a part that isn't a number counts 0
      {L"", L"0.0.0.0"},
      {L"70000.1.2.3", L"4464.1.2.3"},     // the low 16 bits of 70000
      {L"1.2.3.70000", L"1.2.3.4464"},
      {L"99999", L"34463.0.0.0"},
      {L"65535.65535.65535.65535", L"65535.65535.65535.65535"},
      {L"65536.1", L"0.1.0.0"},
      {L"1.2.3.4.5", L"1.2.3.4"},          // parts beyond the fourth are ignored
      {L"1..3", L"1.0.3.0"},
      {L".", L"0.0.0.0"},
      {L"....", L"0.0.0.0"},
      {L" 1. 2. 3. 4", L"1.2.3.4"},        // leading blanks convert
      {L"1 .2 .3", L"0.0.3.0"},            // trailing ones don't
      {L"1.2.3.4 ", L"1.2.3.0"},
      {L"   ", L"0.0.0.0"},
      {L"-1.0.0.0", L"65535.0.0.0"},       // -1 cut to 16 bits
      {L"+7.8", L"7.8.0.0"},
      {L"$10.0x1F", L"16.31.0.0"},         // the runtime's hexadecimal forms
      {L"2147483647.1", L"65535.1.0.0"},
      {L"2147483648.1", L"0.1.0.0"},       // beyond Integer: no conversion
      {L"-2147483648.2", L"0.2.0.0"},
      {L"abc", L"0.0.0.0"},
      {L"1,2,3,4", L"0.0.0.0"},
      {L"10.0.19041.1", L"10.0.19041.1"},
      {L"6.1.7601.23403", L"6.1.7601.23403"},
      {L"\xFF11.2", L"0.2.0.0"},           // a full-width digit is no digit
      {L"1.2.3.4.\x65E5\x672C", L"1.2.3.4"},
  };
  for (const TDottedCase& C : C_CASES) {
    EXPECT_EQ(Text(TVersionValue(Rtl::UnicodeString(C.Input))), C.Expected) << testing::PrintToString(C.Input);
    EXPECT_EQ(Text(TVersionValue(C.Input)), C.Expected) << testing::PrintToString(C.Input);
  }
  EXPECT_EQ(Text(TVersionValue(static_cast<const wchar_t*>(nullptr))), L"0.0.0.0");
  const TVersionValue L70000(L"70000");
  EXPECT_EQ(L70000.Major, 4464);
}

TEST(VersionValue, CardinalBytesAndFields) {
  const TVersionValue V(0x01020304u);
  EXPECT_EQ(V.Major, 1);
  EXPECT_EQ(V.Minor, 2);
  EXPECT_EQ(V.Release, 3);
  EXPECT_EQ(V.Build, 4);
  EXPECT_EQ(V.AsLongWord(), 0x01020304u);
  EXPECT_EQ(Text(TVersionValue(0xFFFFFFFFu)), L"255.255.255.255");
  EXPECT_EQ(Text(TVersionValue(0)), L"0.0.0.0");
  EXPECT_EQ(Text(TVersionValue(-1)), L"255.255.255.255");  // taken as a Cardinal
  EXPECT_EQ(TVersionValue(0x80FF7F01u).AsLongWord(), 0x80FF7F01u);
  // Fields above 255 lose their high byte.
  EXPECT_EQ(TVersionValue(256, 1, 0x1234, 0xFFFF).AsLongWord(), 0x000134FFu);
  EXPECT_EQ(TVersionValue(65535, 0, 1, 65534).AsString(), L"65535.0.1.65534");
}

TEST(VersionValue, FloatForm) {
  EXPECT_EQ(TVersionValue(2, 5, 0, 0).AsFloat(), 2.0L + 5.0L / 100000.0L);
  EXPECT_NEAR(static_cast<double>(TVersionValue(2, 5, 0, 0).AsFloat()), 2.00005, 1e-15);
  EXPECT_EQ(TVersionValue(1, 2, 3, 4).AsFloat(), 1.0L + 2.0L / 1e5L + 3.0L / 1e5L / 1e5L + 4.0L / 1e5L / 1e5L / 1e5L);
  EXPECT_EQ(TVersionValue().AsFloat(), 0.0L);
  // Binary fractions survive the steps exactly.
  EXPECT_EQ(Text(TVersionValue(3.0L)), L"3.0.0.0");
  EXPECT_EQ(Text(TVersionValue(7.5L)), L"7.50000.0.0");
  EXPECT_EQ(Text(TVersionValue(1.25)), L"1.25000.0.0");
  EXPECT_EQ(Text(TVersionValue(0.0L)), L"0.0.0.0");
  // Back from AsFloat as far as rounding allows: Major and Minor come back exactly.
  const TVersionValue LBack(TVersionValue(6, 1, 7601, 0).AsFloat());
  EXPECT_EQ(LBack.Major, 6);
  EXPECT_EQ(LBack.Minor, 1);
  EXPECT_TRUE(LBack.Release == 7601 || LBack.Release == 7600) << LBack.Release;
  // Values no field can hold give 0 there, never a crash.
  EXPECT_EQ(Text(TVersionValue(std::numeric_limits<long double>::quiet_NaN())), L"0.0.0.0");
  EXPECT_EQ(Text(TVersionValue(std::numeric_limits<long double>::infinity())), L"0.0.0.0");
  EXPECT_EQ(TVersionValue(1e30L).Major, 0);
  EXPECT_EQ(TVersionValue(70000.0L).Major, 4464);
}

TEST(VersionValue, OrderIsFieldByField) {
  EXPECT_LT(TVersionValue(L"1.2.3.4"), TVersionValue(L"1.2.4.0"));
  EXPECT_LT(TVersionValue(L"1.65535.65535.65535"), TVersionValue(L"2"));
  EXPECT_EQ(TVersionValue(L"6.1"), TVersionValue(6, 1, 0, 0));
  EXPECT_GT(TVersionValue(L"10.0.19041.1"), TVersionValue(L"10.0.18363.1500"));
}

TEST(FileVersionInfo, ValuePathHasUpperCaseDigits) {
  EXPECT_EQ(TFileVersionInfo::ValuePath(L"FileVersion", 0x04B00409), L"\\StringFileInfo\\040904B0\\FileVersion");
  EXPECT_EQ(TFileVersionInfo::ValuePath(L"X", 0x03A4000A), L"\\StringFileInfo\\000A03A4\\X");
}

// Three string tables, one without "FileVersion"; the table names German first and US English twice.
TEST(FileVersionInfo, SeveralTranslations) {
  for (const bool LNeutral : {false, true}) {
    // Wine has no MUI files and ignores the neutral flag: both reads see the file's own block.
    const TFileVersionInfo V(BinDir() + L"VersionMulti.dll", LNeutral);
    ASSERT_TRUE(V.IsAviable());
    EXPECT_EQ(V.FileName(), BinDir() + L"VersionMulti.dll");
    EXPECT_EQ(Text(V.FileVersion()), L"1.2.3.4");
    EXPECT_EQ(Text(V.ProductVersion()), L"5.6.7.8");
    const VS_FIXEDFILEINFO* F = V.VSFixedInfo();
    ASSERT_NE(F, nullptr);
    EXPECT_EQ(F->dwSignature, 0xFEEF04BDu);
    EXPECT_EQ(F->dwFileVersionMS, 0x00010002u);
    EXPECT_EQ(F->dwFileVersionLS, 0x00030004u);
    EXPECT_EQ(F->dwFileFlagsMask, 0x3Fu);
    EXPECT_EQ(F->dwFileFlags, static_cast<DWORD>(VS_FF_PRERELEASE));
    EXPECT_EQ(F->dwFileOS, static_cast<DWORD>(VOS_NT_WINDOWS32));
    EXPECT_EQ(F->dwFileType, static_cast<DWORD>(VFT_DLL));
    EXPECT_EQ(V.Translation(), (std::vector<uint32_t>{Lcid(0x0409, 1200), Lcid(0x0405, 1200)}));

    EXPECT_EQ(V.GetValue(L"CompanyName"), L"Ostrava Test Works");  // the first listed translation
    EXPECT_EQ(V.GetValue(L"FileVersion"), L"1.2.3.4");
    EXPECT_EQ(V.GetValue(L"ProductName"), L"Version test");
    EXPECT_EQ(V.GetValue(L"ProductVersion"), L"5.6.7.8");
    EXPECT_EQ(V.GetValue(L"FileDescription"), L"Padded description");  // blanks and the tab trimmed
    EXPECT_EQ(V.GetValue(L"Special"), L"before");  // windres ends the text at its NUL
    EXPECT_EQ(V.GetValue(L"Empty"), L"");
    EXPECT_EQ(V.GetValue(L"Comments"), L"\x65E5\x672C\x8A9E\x306E\x8AAC\x660E");  // only the Czech table has it
    EXPECT_EQ(V.GetValue(L"CompanyName", Lcid(0x0405, 1200)),
              L"P\x0159\x00EDli\x0161 \x017Elu\x0165ou\x010Dk\x00FD k\x016F\x0148, s.r.o.");
    EXPECT_EQ(V.GetValue(L"FileVersion", Lcid(0x0405, 1200)), L"1.2.3.4 cs");
    // A table that isn't listed is still read by its own number.
    EXPECT_EQ(V.GetValue(L"CompanyName", Lcid(0x0407, 1200)), L"Ohne Version");
    EXPECT_TRUE(V.IsValueExist(L"CompanyName", Lcid(0x0407, 1200)));
    EXPECT_FALSE(V.IsValueExist(L"FileVersion", Lcid(0x0407, 1200)));
    EXPECT_FALSE(V.IsValueExist(L"CompanyName", Lcid(0x0409, 1252)));
    EXPECT_EQ(V.GetValue(L"CompanyName", Lcid(0x0409, 1252)), L"");
    EXPECT_TRUE(V.IsValueExist(L"Comments"));
    EXPECT_TRUE(V.IsValueExist(L"companyname"));  // the system compares names without case
    EXPECT_FALSE(V.IsValueExist(L"NoSuchValue"));
    EXPECT_EQ(V.GetValue(L"NoSuchValue"), L"");
  }
}

// Entries naming 1200 where the strings lie under 1252 and the reverse find them under the other.
TEST(FileVersionInfo, CodePageFallback) {
  const TFileVersionInfo V(BinDir() + L"VersionCodePage.dll");
  ASSERT_TRUE(V.IsAviable());
  EXPECT_EQ(Text(V.FileVersion()), L"2.5.0.0");
  EXPECT_EQ(V.FileVersion().AsFloat(), 2.0L + 5.0L / 100000.0L);
  EXPECT_EQ(V.Translation(), (std::vector<uint32_t>{Lcid(0x0409, 1252), Lcid(0x0419, 1200), Lcid(0x0411, 932)}));
  EXPECT_EQ(V.GetValue(L"FileVersion"), L"2.5 Western");
  EXPECT_EQ(V.GetValue(L"CompanyName", Lcid(0x0419, 1200)), L"\x041E\x0441\x0442\x0440\x0430\x0432\x0430");
  EXPECT_EQ(V.GetValue(L"CompanyName", Lcid(0x0411, 932)), L"\x30AA\x30B9\x30C8\x30E9\x30D0");
  // The table's own numbers have no strings.
  EXPECT_FALSE(V.IsValueExist(L"FileVersion", Lcid(0x0409, 1200)));
  EXPECT_EQ(V.GetValue(L"CompanyName", Lcid(0x0419, 1252)), L"");
}

TEST(FileVersionInfo, ProgramAtTheBoundsOfSixteenBits) {
  const TFileVersionInfo V(BinDir() + L"VersionApp.exe");
  ASSERT_TRUE(V.IsAviable());
  EXPECT_EQ(Text(V.FileVersion()), L"65535.0.1.65534");
  EXPECT_EQ(Text(V.ProductVersion()), L"3.0.0.255");
  EXPECT_EQ(V.VSFixedInfo()->dwFileType, static_cast<DWORD>(VFT_APP));
  EXPECT_EQ(V.VSFixedInfo()->dwFileFlags, static_cast<DWORD>(VS_FF_DEBUG | VS_FF_PATCHED));
  EXPECT_EQ(V.Translation(), std::vector<uint32_t>{Lcid(0x0409, 1252)});
  EXPECT_EQ(V.GetValue(L"FileVersion"), L"65535.0.1.65534");
  EXPECT_EQ(V.GetValue(L"OriginalFilename"), L"VersionApp.exe");
  EXPECT_EQ(V.GetValue(L"LegalCopyright"), L"Copyright \x00A9 Ostrava Test Works");
  EXPECT_EQ(TVersionValue(V.GetValue(L"FileVersion")), V.FileVersion());
}

TEST(FileVersionInfo, FixedInformationWithoutStrings) {
  const TFileVersionInfo V(BinDir() + L"VersionFixedOnly.dll");
  ASSERT_TRUE(V.IsAviable());
  EXPECT_EQ(Text(V.FileVersion()), L"10.0.19041.1");
  EXPECT_EQ(Text(V.ProductVersion()), L"10.0.19041.1");
  EXPECT_TRUE(V.Translation().empty());  // its one entry has no "FileVersion"
  EXPECT_EQ(V.GetValue(L"FileVersion"), L"");
  EXPECT_EQ(V.GetValue(L"FileVersion", Lcid(0x0409, 1200)), L"");
  EXPECT_FALSE(V.IsValueExist(L"FileVersion"));
}

void ExpectNotAvailable(const TFileVersionInfo& V) {
  EXPECT_FALSE(V.IsAviable());
  EXPECT_EQ(V.VSFixedInfo(), nullptr);
  EXPECT_TRUE(V.Translation().empty());
  EXPECT_EQ(V.FileVersion(), TVersionValue());
  EXPECT_EQ(V.ProductVersion(), TVersionValue());
  EXPECT_EQ(V.GetValue(L"FileVersion"), L"");
  EXPECT_EQ(V.GetValue(L"FileVersion", Lcid(0x0409, 1200)), L"");
  EXPECT_FALSE(V.IsValueExist(L"FileVersion", Lcid(0x0409, 1200)));
  EXPECT_FALSE(V.IsValueExist(L"FileVersion"));
}

TEST(FileVersionInfo, NoVersionDataRaisesNothing) {
  ExpectNotAvailable(TFileVersionInfo(BinDir() + L"VersionNone.dll"));
  ExpectNotAvailable(TFileVersionInfo(BinDir() + L"VersionNone.dll", true));
  ExpectNotAvailable(TFileVersionInfo(BinDir() + L"NoSuchFile-8f3a.dll"));
  ExpectNotAvailable(TFileVersionInfo(L""));
  OvTest::TTempDir LTemp;
  ExpectNotAvailable(TFileVersionInfo(LTemp.Path()));
  const std::wstring LText = LTemp.Path() + L"plain.txt";
  OvTest::WriteFileBytes(LText, {'n', 'o', ' ', 'P', 'E'});
  ExpectNotAvailable(TFileVersionInfo(LText));
}

// A node of a version block laid out by hand: header, key, padding to 32 bits, the value,
// padding, the children. AValueLength is wValueLength as given (characters for a text node).
std::vector<unsigned char> VersionNode(const std::wstring& AKey, uint16_t AType, const std::vector<unsigned char>& AValue,
                                       uint16_t AValueLength, const std::vector<std::vector<unsigned char>>& AChildren = {}) {
  std::vector<unsigned char> B(6);
  for (const wchar_t C : AKey + L'\0') {
    B.push_back(static_cast<unsigned char>(C & 0xFF));
    B.push_back(static_cast<unsigned char>(C >> 8));
  }
  while (B.size() % 4) B.push_back(0);
  B.insert(B.end(), AValue.begin(), AValue.end());
  for (const std::vector<unsigned char>& LChild : AChildren) {
    while (B.size() % 4) B.push_back(0);
    B.insert(B.end(), LChild.begin(), LChild.end());
  }
  const auto LLength = static_cast<uint16_t>(B.size());
  B[0] = LLength & 0xFF;
  B[1] = LLength >> 8;
  B[2] = AValueLength & 0xFF;
  B[3] = AValueLength >> 8;
  B[4] = static_cast<unsigned char>(AType);
  return B;
}

std::vector<unsigned char> VersionBlock(const std::vector<unsigned char>& AFixed,
                                        const std::vector<std::vector<unsigned char>>& AChildren = {}) {
  return VersionNode(L"VS_VERSION_INFO", 0, AFixed, static_cast<uint16_t>(AFixed.size()), AChildren);
}

// A text value node; AValueLength counts characters.
std::vector<unsigned char> TextNode(const std::wstring& AKey, const std::wstring& AText, uint16_t AValueLength) {
  return VersionNode(AKey, 1, OvTest::Utf16Bytes(AText), AValueLength);
}

// A copy of VersionNone.dll that carries ABlock as its version resource.
std::wstring WithVersionResource(const OvTest::TTempDir& ATemp, const std::wstring& AName,
                                 std::vector<unsigned char> ABlock) {
  const std::wstring LFile = ATemp.Path() + AName;
  EXPECT_TRUE(CopyFileW((BinDir() + L"VersionNone.dll").c_str(), LFile.c_str(), FALSE));
  HANDLE LUpdate = BeginUpdateResourceW(LFile.c_str(), FALSE);
  EXPECT_NE(LUpdate, nullptr) << GetLastError();
  EXPECT_TRUE(UpdateResourceW(LUpdate, RT_VERSION, MAKEINTRESOURCEW(1), MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US),
                              ABlock.data(), static_cast<DWORD>(ABlock.size())));
  EXPECT_TRUE(EndUpdateResourceW(LUpdate, FALSE)) << GetLastError();
  return LFile;
}

TEST(FileVersionInfo, MalformedBlocks) {
  OvTest::TTempDir LTemp;
  VS_FIXEDFILEINFO LFixed{};
  LFixed.dwSignature = 0xFEEF04BD;
  LFixed.dwStrucVersion = 0x00010000;
  LFixed.dwFileVersionMS = 0x00070008;
  LFixed.dwFileVersionLS = 0x0009000A;
  std::vector<unsigned char> LValue(reinterpret_cast<unsigned char*>(&LFixed),
                                    reinterpret_cast<unsigned char*>(&LFixed) + sizeof(LFixed));
  // The hand-made block is read at all: with the full 52 bytes it gives its version.
  const TFileVersionInfo LWhole(WithVersionResource(LTemp, L"Whole.dll", VersionBlock(LValue)));
  ASSERT_TRUE(LWhole.IsAviable());
  EXPECT_EQ(Text(LWhole.FileVersion()), L"7.8.9.10");
  EXPECT_TRUE(LWhole.Translation().empty());
  // Fixed information of 48 bytes isn't the system's form.
  LValue.resize(48);
  ExpectNotAvailable(TFileVersionInfo(WithVersionResource(LTemp, L"Short.dll", VersionBlock(LValue))));
  // Fixed information of 56 bytes neither.
  LValue.resize(56);
  ExpectNotAvailable(TFileVersionInfo(WithVersionResource(LTemp, L"Long.dll", VersionBlock(LValue))));
  // A text holding a NUL, and one whose reported length is shorter than its text.
  LValue.resize(52);
  const std::vector<unsigned char> LStrings = VersionNode(
      L"StringFileInfo", 1, {}, 0,
      {VersionNode(L"040904B0", 1, {}, 0,
                   {TextNode(L"FileVersion", std::wstring(L"7.8 hand", 9), 9),
                    TextNode(L"Special", std::wstring(L"before\0after\0", 13), 13),
                    TextNode(L"Short", std::wstring(L"  abcdef\0", 9), 5)})});
  const std::vector<unsigned char> LTable = VersionNode(
      L"VarFileInfo", 1, {}, 0, {VersionNode(L"Translation", 0, {0x09, 0x04, 0xB0, 0x04}, 4)});
  const TFileVersionInfo LTexts(WithVersionResource(LTemp, L"Texts.dll", VersionBlock(LValue, {LStrings, LTable})));
  ASSERT_TRUE(LTexts.IsAviable());
  EXPECT_EQ(LTexts.Translation(), std::vector<uint32_t>{Lcid(0x0409, 1200)});
  EXPECT_EQ(LTexts.GetValue(L"FileVersion"), L"7.8 hand");
  EXPECT_EQ(LTexts.GetValue(L"Special"), L"before");  // up to the first NUL
  EXPECT_EQ(LTexts.GetValue(L"Short"), L"abc");       // at most the length reported
  // A block whose length claims more than the resource holds.
  ExpectNotAvailable(TFileVersionInfo(WithVersionResource(LTemp, L"Garbage.dll", std::vector<unsigned char>(24, 0xFF))));
}

}  // namespace
