// What the benchmark programs share: the clock they time with, and their output.
#pragma once
#include "Ostravane.Rtl.System.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <exception>

namespace OvBench {

// Ticks of the performance counter, and their length in seconds.
inline int64_t Ticks() {
  LARGE_INTEGER T;
  QueryPerformanceCounter(&T);
  return T.QuadPart;
}

inline double Seconds(int64_t ATicks) {
  static const double LFrequency = [] {
    LARGE_INTEGER F;
    QueryPerformanceFrequency(&F);
    return static_cast<double>(F.QuadPart);
  }();
  return static_cast<double>(ATicks) / LFrequency;
}

// Now in seconds, on the performance counter.
inline double Now() { return Seconds(Ticks()); }

// printf to stdout, flushed at once: a long run shows its figures as they come.
inline void Print(const char* AFormat, ...) __attribute__((format(gnu_printf, 1, 2)));
inline void Print(const char* AFormat, ...) {
  va_list LArgs;
  va_start(LArgs, AFormat);
  std::vfprintf(stdout, AFormat, LArgs);
  va_end(LArgs);
  std::fflush(stdout);
}

inline const char* Verdict(bool AMet) { return AMet ? "met" : "MISSED"; }

// A benchmark's exit code: ARun's own (0 every goal met, 1 one missed), or 2 when the run failed.
// The library's exceptions give their message as UTF-8 through what().
inline int RunBenchmark(const char* AName, int (*ARun)()) {
  try {
    return ARun();
  } catch (const std::exception& E) {
    std::fprintf(stderr, "%s: %s\n", AName, E.what());
    return 2;
  }
}

}  // namespace OvBench
