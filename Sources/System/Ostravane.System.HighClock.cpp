// The stopwatch over the performance counter.
#include "Ostravane.System.HighClock.h"

#include <cmath>

namespace Ostravane {

OV_IMPLEMENT_CLASS(THighClock, &Rtl::TObject::ClassRecord)

THighClock::THighClock() {
  LARGE_INTEGER LFrequency;
  FIsExists = QueryPerformanceFrequency(&LFrequency) && LFrequency.QuadPart > 0;
  if (FIsExists) {
    FClockRate = LFrequency.QuadPart;
    ResetClock();
  }
}

THighClock::THighClock(bool AIsExists, int64_t AClockRate) noexcept : FClockRate(AClockRate), FIsExists(AIsExists) {
  ResetClock();
}

void THighClock::ResetClock() noexcept {
  if (!FIsExists) return;
  LARGE_INTEGER LCounter;
  QueryPerformanceCounter(&LCounter);
  FResetClock = LCounter.QuadPart;
}

double THighClock::GetTickCountAsDouble() const noexcept {
  if (!FIsExists) return 0.0;
  LARGE_INTEGER LCounter;
  QueryPerformanceCounter(&LCounter);
  // In the widest type at hand: the tick count times 1000 overflows no 64-bit mantissa here.
  const long double LMs = static_cast<long double>(LCounter.QuadPart - FResetClock) * 1000.0L / FClockRate;
  return static_cast<double>(LMs);
}

uint32_t THighClock::GetTickCountAsLongWord() const noexcept {
  // nearbyint rounds half to even in the default rounding mode.
  return static_cast<uint32_t>(static_cast<uint64_t>(static_cast<int64_t>(std::nearbyint(GetTickCountAsDouble()))));
}

double THighClock::GetMinimumResolution() const noexcept { return FIsExists ? 1000.0 / FClockRate : 0.0; }

}  // namespace Ostravane
