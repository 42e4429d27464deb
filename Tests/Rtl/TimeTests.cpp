// TDateTime: encoding, decoding, formatting and the clock.
#include <gtest/gtest.h>

#include "Ostravane.Rtl.SysUtils.h"

using namespace Ostravane::Rtl;

namespace {
// AValue as "yyyy-mm-dd hh:nn:ss.zzz", through DecodeDateTime.
std::string Decoded(TDateTime AValue) {
  uint16_t Y, M, D, H, N, S, Z;
  DecodeDateTime(AValue, Y, M, D, H, N, S, Z);
  char LBuffer[32];
  std::snprintf(LBuffer, sizeof LBuffer, "%04u-%02u-%02u %02u:%02u:%02u.%03u", Y, M, D, H, N, S, Z);
  return LBuffer;
}

// Days since 1899-12-30 counted by hand: 2009-01-01 is day 39814 (2000-01-01 is 36526, then 3 leap
// years and 6 common ones); 2009-03-05 lies 31 + 28 + 4 days later. The time 07:08:09.012 is
// 25689012 ms of 86400000.
const TDateTime GSample = 39877 + 25689012.0 / 86400000;
}  // namespace

// Before 1899-12-30 the integral part counts the days back and the fraction still the time of day
// forward: 1899-12-29 06:00 is -1.25.
TEST(RtlTime, EncodeAndDecodeAtExactValues) {
  const struct { const char* Text; TDateTime Value; } LCases[] = {
      {"1899-12-30 00:00:00.000", 0.0},  {"1900-01-01 18:00:00.000", 2.75},  {"2009-03-05 07:08:09.012", GSample},
      // 1900 and 2100 are no leap years, 2000 is one.
      {"1900-02-28 00:00:00.000", 60},  {"1900-03-01 00:00:00.000", 61},  {"2000-02-29 12:00:00.000", 36585.5},
      {"2100-03-01 00:00:00.000", 73110},  {"9999-12-31 00:00:00.000", 2958465},  {"0001-01-01 00:00:00.000", -693593},
      {"2000-01-01 23:59:59.999", 36526 + 86399999.0 / 86400000},
      {"1899-12-29 06:00:00.000", -1.25},  {"1800-01-01 12:00:00.000", -36522.5},
  };
  for (const auto& C : LCases) {
    unsigned Y, M, D, H, N, S, Z;
    std::sscanf(C.Text, "%u-%u-%u %u:%u:%u.%u", &Y, &M, &D, &H, &N, &S, &Z);
    EXPECT_DOUBLE_EQ(EncodeDateTime(Y, M, D, H, N, S, Z), C.Value) << C.Text;
    EXPECT_EQ(Decoded(C.Value), C.Text) << C.Value;
  }
  // A hair before midnight rounds to the next day, not to 24:00.
  EXPECT_EQ(Decoded(36527 - 1e-10), "2000-01-02 00:00:00.000");
}

TEST(RtlTime, DateTimeToStringPatterns) {
  const struct { const wchar_t *Format, *Expected; } LCases[] = {
      {L"dd.mm.yyyy hh:mm:ss.zzz ", L"05.03.2009 07:08:09.012 "},  {L"d/m/yy", L"5/3/09"},
      {L"h:n:s.z", L"7:8:9.12"},  {L"HH:MM", L"07:08"},  {L"mm", L"03"},  {L"'dd' dd", L"dd 05"},
      {L"hh mm, mm", L"07 08, 03"},  // only the first "mm" follows the hour
      {L"yyyy-mm-dd\"T\"hh:nn:ss", L"2009-03-05T07:08:09"},
  };
  for (const auto& C : LCases) EXPECT_EQ(DateTimeToString(C.Format, GSample), C.Expected) << UTF8Encode(C.Format);
  EXPECT_EQ(DateTimeToString(L"yyyy-mm-dd hh:nn:ss.zzz", 36585 + 86399999.0 / 86400000), L"2000-02-29 23:59:59.999");
}

TEST(RtlTime, NowFollowsTheLocalClock) {
  // The local clock as days since 1899-12-30, through FILETIME: 109205 days lie between 1601-01-01
  // and 1899-12-30.
  SYSTEMTIME T;
  GetLocalTime(&T);
  FILETIME F;
  SystemTimeToFileTime(&T, &F);
  const uint64_t LMilliSeconds = ((uint64_t{F.dwHighDateTime} << 32) | F.dwLowDateTime) / 10000;
  EXPECT_NEAR(Now(), LMilliSeconds / 86400000.0 - 109205, 1.0 / 86400);
}
