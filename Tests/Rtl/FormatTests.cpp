// Format with its mixed value lists, and the number-to-text helpers.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "Ostravane.Rtl.SysUtils.h"

using namespace Ostravane::Rtl;

namespace {

// AText written with ',' for thousands and '.' for decimals, in the user's locale.
UnicodeString Localized(UnicodeString AText) {
  wchar_t LDecimal[8], LThousand[8];
  if (GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SDECIMAL, LDecimal, 8) < 2) LDecimal[0] = L'.';
  if (GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_STHOUSAND, LThousand, 8) < 2) LThousand[0] = L',';
  for (wchar_t& C : AText) C = C == L',' ? LThousand[0] : C == L'.' ? LDecimal[0] : C;
  return AText;
}

// The value list keeps pointers to its texts, so these outlive the tables.
const UnicodeString GJapanese = L"\u65E5\u672C\u8A9E", GEmpty;
constexpr int64_t GInt64Min = std::numeric_limits<int64_t>::min();

struct TFormatCase {
  const wchar_t* Format;
  std::vector<TVarRec> Args;
  const wchar_t* Expected;
};
UnicodeString Formatted(const TFormatCase& C) { return Format(C.Format, C.Args.data(), C.Args.size()); }

}  // namespace

TEST(RtlFormat, ConversionsWidthPrecisionIndexStarAndThousands) {
  const TFormatCase LCases[] = {
      {L"%6.4d", {-42}, L" -0042"},  {L"%-5d|", {42}, L"42   |"},  {L"%D|%S", {7, L"up"}, L"7|up"},
      {L"%u|%x", {-1, -1}, L"4294967295|FFFFFFFF"},  {L"%d", {DWORD{3000000000u}}, L"3000000000"},
      {L"%d", {GInt64Min}, L"-9223372036854775808"},  {L"%x", {int64_t{0x123456789A}}, L"123456789A"},
      {L"%u", {std::numeric_limits<uint64_t>::max()}, L"18446744073709551615"},
      {L"%d %d", {int16_t{-7}, uint16_t{65535}}, L"-7 65535"},  {L"%s%s", {'A', L'\u00E9'}, L"A\u00E9"},
      {L"[%s][%s]", {GJapanese, GEmpty}, L"[\u65E5\u672C\u8A9E][]"},
      {L"%8.3s|%2s", {L"abcdef", L"abcdef"}, L"     abc|abcdef"},  {L"%0:-8.3s|", {L"abcdef"}, L"abc     |"},
      {L"%0:s %1:s %0:s", {L"a", L"b"}, L"a b a"},  {L"%1:s %s", {L"a", L"b", L"c"}, L"b c"},
      {L"%*.*d", {6, 3, 7}, L"   007"},  {L"%%%d%%", {5}, L"%5%"},
      // %n groups thousands.
      {L"%n", {1234567.891}, L"1,234,567.89"},      {L"%n", {-1234.5}, L"-1,234.50"},
      {L"%n", {999.999}, L"1,000.00"},              {L"%.0n", {1234567.4}, L"1,234,567"},
      {L"%14n|", {1e6}, L"  1,000,000.00|"},        {L"%.3n", {TVarRec::Currency(12345678)}, L"1,234.568"},
      {L"%n", {TVarRec::Currency(-9876543210000)}, L"-987,654,321.00"},
  };
  for (const auto& C : LCases) EXPECT_EQ(Formatted(C), Localized(C.Expected)) << "format " << UTF8Encode(C.Format);
}

TEST(RtlFormat, RaisesConvertErrorWithTheRuntimesTexts) {
  const TFormatCase LCases[] = {
      {L"%d", {true}, L"invalid"}, {L"%d", {1.5}, L"invalid"},      {L"%s", {42}, L"invalid"},
      {L"%x", {L"s"}, L"invalid"}, {L"%n", {42}, L"invalid"},       {L"%q", {1}, L"invalid"},
      {L"abc%", {1}, L"invalid"},  {L"%*d", {L"x", 1}, L"invalid"}, {L"%u", {L'c'}, L"invalid"},
      {L"%d %d", {1}, L"missing"}, {L"%2:s", {L"a", L"b"}, L"missing"}, {L"%*d", {5}, L"missing"},
  };
  for (const TFormatCase& C : LCases) {
    const UnicodeString LFormat = C.Format;
    UnicodeString LMessage = L"<no exception>";
    try {
      Formatted(C);
    } catch (const EConvertError& E) {
      LMessage = E.ClassName() + L": " + E.Message;
    }
    EXPECT_EQ(LMessage, C.Expected[0] == L'i'
                            ? L"EConvertError: Format '" + LFormat + L"' invalid or incompatible with argument"
                            : L"EConvertError: No argument for format '" + LFormat + L"'");
  }
}

TEST(RtlFormat, AnsiTextComesThroughTheAnsiCodePage) {
  if (GetACP() != 1252) GTEST_SKIP() << "the expectations are written for code page 1252";
  const std::string LAnsi = "Caf\xE9 \x80";  // 0x80 is the euro sign in 1252
  EXPECT_EQ(Format(L"%s|%s|%.3s", {LAnsi, "na\xEFve", LAnsi}), L"Caf\u00E9 \u20AC|na\u00EFve|Caf");
  EXPECT_EQ(AnsiToString("\xC4rger", 5), L"\u00C4rger");
}

// A BSTR is read by its own length and may hold a NUL inside.
TEST(RtlFormat, WideStringIsReadByItsOwnLength) {
  BSTR LText = SysAllocStringLen(L"B\u00E9\u65E5", 3), LWithNul = SysAllocStringLen(L"a\0b", 3);
  EXPECT_EQ(Format(L"%s", {TVarRec::WideString(LWithNul)}), UnicodeString(L"a\0b", 3));
  EXPECT_EQ(Format(L"%5.2s|", {TVarRec::WideString(LText)}), L"   B\u00E9|");
  EXPECT_EQ(Format(L"<%s>", {TVarRec::WideString(nullptr)}), L"<>");
  VARIANT LVariant{};
  LVariant.vt = VT_BSTR;
  LVariant.bstrVal = LText;
  EXPECT_EQ(Format(L"%s", {TVarRec::Variant(&LVariant)}), L"B\u00E9\u65E5");
  EXPECT_EQ(VarToUStr(&LVariant), L"B\u00E9\u65E5");
  SysFreeString(LText);
  SysFreeString(LWithNul);
}

// Fifteen significant digits; scientific from 1E15 up and below 0.0001 (one decade earlier than the
// runtime's help text says).
TEST(RtlFormat, FloatCurrencyHexAndIntegerText) {
  const struct { long double Value; const wchar_t* Expected; } LFloats[] = {
      {100, L"100"},  {-0.25, L"-0.25"},  {0, L"0"},  {1.0 / 3, L"0.333333333333333"},  {1e15, L"1E15"},
      {-1e-10, L"-1E-10"},  {0.0001, L"0.0001"},  {NAN, L"NAN"},  {-INFINITY, L"-INF"},
      {123456789012345.0, L"123456789012345"}, {1234567890123456.0, L"1.23456789012346E15"},
      {0.000442615029219009, L"0.000442615029219009"}, {0.0000442615029219009, L"4.42615029219009E-5"},
  };
  for (const auto& C : LFloats) EXPECT_EQ(FloatToStr(C.Value), Localized(C.Expected)) << static_cast<double>(C.Value);

  const struct { int64_t Value; const wchar_t* Expected; } LCurrencies[] = {
      {12345, L"1.2345"}, {-50000, L"-5"}, {-1, L"-0.0001"}, {GInt64Min, L"-922337203685477.5808"}};
  for (const auto& C : LCurrencies) EXPECT_EQ(CurrToStr(C.Value), Localized(C.Expected)) << C.Value;

  EXPECT_EQ(IntToHex(255, 4) + L"|" + IntToHex(0, 0) + L"|" + IntToHex(0x1234, 2), L"00FF|0|1234");
  EXPECT_EQ(IntToHex(UINT64_MAX, 1), L"FFFFFFFFFFFFFFFF");
  EXPECT_EQ(IntToStr(GInt64Min), L"-9223372036854775808");
}
