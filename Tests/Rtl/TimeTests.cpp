// TDateTime: encoding, decoding, formatting and the clock.
#include <gtest/gtest.h>

#include "Ostravane.Rtl.SysUtils.h"

using namespace Ostravane::Rtl;

namespace {
struct TParts {
  uint16_t Year, Month, Day, Hour, Minute, Second, MilliSecond;
  bool operator==(const TParts&) const = default;
};

std::string Show(const TParts& P) {
  char LBuffer[64];
  std::snprintf(LBuffer, sizeof LBuffer, "%04u-%02u-%02u %02u:%02u:%02u.%03u", P.Year, P.Month, P.Day, P.Hour,
                P.Minute, P.Second, P.MilliSecond);
  return LBuffer;
}

TParts Decode(TDateTime AValue) {
  TParts P{};
  DecodeDateTime(AValue, P.Year, P.Month, P.Day, P.Hour, P.Minute, P.Second, P.MilliSecond);
  return P;
}

// Days since 1899-12-30 counted by hand: 2009-01-01 is day 39814 (2000-01-01 is 36526, then 3 leap
// years and 6 common ones); 2009-03-05 lies 31 + 28 + 4 days later. The time 07:08:09.012 is
// 25689012 ms of 86400000.
const TDateTime GSample = 39877 + 25689012.0 / 86400000;
}  // namespace

TEST(RtlTime, EncodeAndDecodeAtExactValues) {
  const struct {
    TParts Parts;
    TDateTime Value;
  } LCases[] = {
      {{1899, 12, 30, 0, 0, 0, 0}, 0.0},
      {{1899, 12, 31, 0, 0, 0, 0}, 1.0},
      {{1900, 1, 1, 18, 0, 0, 0}, 2.75},
      {{1900, 2, 28, 0, 0, 0, 0}, 60},  // 1900 is no leap year
      {{1900, 3, 1, 0, 0, 0, 0}, 61},
      {{1970, 1, 1, 0, 0, 0, 0}, 25569},
      {{2000, 1, 1, 6, 0, 0, 0}, 36526.25},
      {{2000, 2, 29, 12, 0, 0, 0}, 36585.5},  // 2000 is one
      {{2000, 3, 1, 0, 0, 0, 0}, 36586},
      {{2000, 1, 1, 23, 59, 59, 999}, 36526 + 86399999.0 / 86400000},
      {{2004, 2, 29, 0, 0, 0, 0}, 38046},
      {{2009, 3, 5, 7, 8, 9, 12}, GSample},
      {{2100, 3, 1, 0, 0, 0, 0}, 73110},  // 2100-02-28 is followed by March
      {{9999, 12, 31, 0, 0, 0, 0}, 2958465},
      {{1800, 1, 1, 0, 0, 0, 0}, -36522},
      {{1, 1, 1, 0, 0, 0, 0}, -693593},
  };
  for (const auto& C : LCases) {
    const TParts& P = C.Parts;
    EXPECT_DOUBLE_EQ(EncodeDateTime(P.Year, P.Month, P.Day, P.Hour, P.Minute, P.Second, P.MilliSecond), C.Value)
        << Show(P);
    EXPECT_EQ(Show(Decode(C.Value)), Show(P)) << C.Value;
  }
  // A hair before midnight rounds to the next day, not to 24:00.
  EXPECT_EQ(Show(Decode(36527 - 1e-10)), "2000-01-02 00:00:00.000");
}

// Before 1899-12-30 the integral part counts the days back and the fraction still the time of day
// forward: 1899-12-29 06:00 is -1.25, and -0.75 is no day before the epoch at all.
TEST(RtlTime, TimesBeforeTheEpochCountTheFractionForward) {
  EXPECT_EQ(Show(Decode(-1.25)), "1899-12-29 06:00:00.000");
  EXPECT_DOUBLE_EQ(EncodeDateTime(1899, 12, 29, 6, 0, 0, 0), -1.25);
  EXPECT_DOUBLE_EQ(EncodeDateTime(1800, 1, 1, 12, 0, 0, 0), -36522.5);
  const TParts LParts = Decode(EncodeDateTime(1899, 12, 29, 18, 30, 0, 0));
  EXPECT_EQ(Show(LParts), "1899-12-29 18:30:00.000");
}

TEST(RtlTime, DateTimeToStringPatterns) {
  const struct {
    const wchar_t* Format;
    const wchar_t* Expected;
  } LCases[] = {
      {L"dd.mm.yyyy hh:mm:ss.zzz ", L"05.03.2009 07:08:09.012 "},
      {L"yy", L"09"},
      {L"d/m/yy", L"5/3/09"},
      {L"d.m.yyyy", L"5.3.2009"},
      {L"h:n:s.z", L"7:8:9.12"},
      {L"hh:nn", L"07:08"},
      {L"hh:mm", L"07:08"},
      {L"HH:MM", L"07:08"},
      {L"mm", L"03"},
      {L"hh mm, mm", L"07 08, 03"},  // only the first "mm" follows the hour
      {L"'dd' dd", L"dd 05"},
      {L"\"hh:mm\" hh", L"hh:mm 07"},
      {L"yyyy-mm-dd\"T\"hh:nn:ss", L"2009-03-05T07:08:09"},
      {L"[yyyy]", L"[2009]"},
  };
  for (const auto& C : LCases)
    EXPECT_EQ(DateTimeToString(C.Format, GSample), C.Expected) << UTF8Encode(C.Format);
  EXPECT_EQ(DateTimeToString(L"yyyy-mm-dd hh:nn:ss.zzz", 36585 + 86399999.0 / 86400000),
            L"2000-02-29 23:59:59.999");
}

TEST(RtlTime, NowFollowsTheLocalClock) {
  // The local clock as days since 1899-12-30, through FILETIME: 109205 days lie between 1601-01-01
  // and 1899-12-30.
  auto LLocalNow = [] {
    SYSTEMTIME T;
    GetLocalTime(&T);
    FILETIME F;
    SystemTimeToFileTime(&T, &F);
    const uint64_t LTicks = (static_cast<uint64_t>(F.dwHighDateTime) << 32) | F.dwLowDateTime;
    return static_cast<double>(LTicks / 10000) / 86400000.0 - 109205;
  };
  const double LBefore = LLocalNow();
  const TDateTime LNow = Now();
  const double LAfter = LLocalNow();
  const double LSecond = 1.0 / 86400;
  EXPECT_GE(LNow, LBefore - LSecond);
  EXPECT_LE(LNow, LAfter + LSecond);
}
