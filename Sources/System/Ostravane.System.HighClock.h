// THighClock: a stopwatch in milliseconds over the system's performance counter. Without a counter
// it exists but reads 0, and IsExists says so.
#pragma once
#include "Ostravane.Rtl.System.h"

namespace Ostravane {

class OVRTL_API THighClock : public Rtl::TObject {
  OV_OBJECT_CLASS
 public:
  THighClock();
  // The zero point is now. Not to race with readers.
  void ResetClock() noexcept;
  // Milliseconds since the zero point; 0 without a counter.
  double GetTickCountAsDouble() const noexcept;
  // The same rounded half to even, cut to 32 bits: it wraps after about 49.7 days.
  uint32_t GetTickCountAsLongWord() const noexcept;
  // One tick of the counter, in milliseconds; 0 without a counter.
  double GetMinimumResolution() const noexcept;
  bool IsExists() const noexcept { return FIsExists; }

 protected:
  // A counter of a given frequency, and a clock without one, for tests of the arithmetic.
  THighClock(bool AIsExists, int64_t AClockRate) noexcept;

 private:
  int64_t FClockRate = 0;
  int64_t FResetClock = 0;
  bool FIsExists = false;
};

}  // namespace Ostravane
