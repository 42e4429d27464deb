// LateBoundBenchmark: the road of a late-bound system call (DllRoutines resolves "GetProductInfo" of
// "kernel32.dll" under its lock, then the function runs) against GetProcAddress on a held module
// handle followed by the call, and against the direct call, in the same run. Two forms of the road:
// the typed helper with the 8-bit export name (what the late-bound layer uses) and Call with wide
// names. The registry holds the modules the late-bound layer binds, in the order of its units
// (kernel32 third), as a running product's does; the search is linear, so the same road with
// kernel32 behind all of them is shown too. Goal: each road at most C_GOAL_RATIO times
// GetProcAddress + call, kernel32 third. Exit code 0 when the goal is met, 1 when it is missed, 2
// when the run failed.
#include "BenchSupport.h"
#include <cstdio>

#include "Ostravane.DllRoutines.h"
#include "Ostravane.Winapi.Kernel32.h"
#include "OvComponentsRTL.h"

using namespace Ostravane;

using namespace OvBench;

namespace {

constexpr double C_GOAL_RATIO = 1.3;
constexpr int C_ROUNDS = 7;
constexpr int C_COUNT = 200000;

using TGetProductInfo = decltype(&::GetProductInfo);

volatile DWORD GSink = 0;

// Nanoseconds a call of AOne, the best of C_ROUNDS rounds of C_COUNT calls.
template <typename F>
double NanosecondsEach(F AOne) {
  double LBest = 1e300;
  for (int R = 0; R < C_ROUNDS; ++R) {
    const double LStart = Now();
    for (int I = 0; I < C_COUNT; ++I) AOne();
    LBest = std::min(LBest, (Now() - LStart) * 1e9 / C_COUNT);
  }
  return LBest;
}

void Consume(TGetProductInfo AProc) {
  DWORD LType = 0;
  AProc(6, 1, 0, 0, &LType);
  GSink = GSink + LType;
}

// Modules of the late-bound layer that every Windows has, in the order of its units.
const wchar_t* const C_MODULES[] = {L"ntdll.dll",   L"advapi32.dll", L"kernel32.dll", L"netapi32.dll",
                                    L"shell32.dll", L"shlwapi.dll",  L"PowrProf.dll", L"user32.dll",
                                    L"pdh.dll",     L"psapi.dll",    L"userenv.dll",  L"version.dll",
                                    L"wtsapi32.dll", L"crypt32.dll", L"wintrust.dll", L"ws2_32.dll"};

struct TRoads {
  double Wrapper, Typed, Wide;
};

TRoads MeasureRoads(const UnicodeString& AModuleName, const UnicodeString& AProcName) {
  return {NanosecondsEach([] {
            DWORD LType = 0;
            Kernel32::GetProductInfo(6, 1, 0, 0, LType);
            GSink = GSink + LType;
          }),
          NanosecondsEach([] { Consume(DllRoutines::CallAs<TGetProductInfo>(L"kernel32.dll", "GetProductInfo")); }),
          NanosecondsEach([&] {
            Consume(reinterpret_cast<TGetProductInfo>(
                reinterpret_cast<void (*)()>(DllRoutines::Call(AModuleName, AProcName))));
          })};
}

int Run() {
  TLibraryScope LLibrary;
  DllRoutines::FreeAllLibraries();
  for (const wchar_t* LModule : C_MODULES)
    if (DllRoutines::LoadLibrary(LModule, 0)->ErrorCode() != 0) return 2;
  const HMODULE LKernel32 = GetModuleHandleW(L"kernel32.dll");
  const UnicodeString LModuleName = L"kernel32.dll";
  const UnicodeString LProcName = L"GetProductInfo";
  // The same function on every road, or the figures compare nothing.
  const auto LPlain = reinterpret_cast<TGetProductInfo>(
      reinterpret_cast<void (*)()>(GetProcAddress(LKernel32, "GetProductInfo")));
  if (!LPlain || DllRoutines::CallAs<TGetProductInfo>(L"kernel32.dll", "GetProductInfo") != LPlain ||
      DllRoutines::Call(LModuleName, LProcName) != reinterpret_cast<void*>(LPlain))
    return 2;

  const double LDirect = NanosecondsEach([] { Consume(&::GetProductInfo); });
  const double LGetProc = NanosecondsEach([LKernel32] {
    Consume(reinterpret_cast<TGetProductInfo>(reinterpret_cast<void (*)()>(GetProcAddress(LKernel32, "GetProductInfo"))));
  });
  const TRoads LThird = MeasureRoads(LModuleName, LProcName);
  // The same with kernel32 last: the search passes every other module first.
  DllRoutines::FreeLibrary(L"kernel32.dll");
  DllRoutines::FreeUnusedLibraries();
  if (DllRoutines::Get(L"kernel32.dll", "GetProductInfo") != reinterpret_cast<void*>(LPlain)) return 2;
  const TRoads LLast = MeasureRoads(LModuleName, LProcName);
  const size_t LCount = DllRoutines::Libraries().size();

  std::printf("OvRTL late-bound call benchmark: GetProductInfo of kernel32.dll, resolved and called.\n");
  std::printf("Best of %d rounds of %d calls each, timed with QueryPerformanceCounter; %zu libraries in the registry.\n",
              C_ROUNDS, C_COUNT, LCount);
  std::printf("  direct call (bound at load time)                          %8.1f ns a call\n", LDirect);
  std::printf("  GetProcAddress(held handle) + call                        %8.1f ns a call\n", LGetProc);
  std::printf("  kernel32 third in the registry:\n");
  std::printf("    Kernel32::GetProductInfo (the wrapper)                  %8.1f ns a call\n", LThird.Wrapper);
  std::printf("    DllRoutines::CallAs<...>(L\"kernel32.dll\", \"...\") + call %8.1f ns a call\n", LThird.Typed);
  std::printf("    DllRoutines::Call(UnicodeString, UnicodeString) + call  %8.1f ns a call\n", LThird.Wide);
  std::printf("  kernel32 last of %zu:\n", LCount);
  std::printf("    Kernel32::GetProductInfo (the wrapper)                  %8.1f ns a call  (%.2fx)\n", LLast.Wrapper,
              LLast.Wrapper / LGetProc);
  std::printf("    DllRoutines::CallAs<...>(L\"kernel32.dll\", \"...\") + call %8.1f ns a call  (%.2fx)\n", LLast.Typed,
              LLast.Typed / LGetProc);
  std::printf("    DllRoutines::Call(UnicodeString, UnicodeString) + call  %8.1f ns a call  (%.2fx)\n", LLast.Wide,
              LLast.Wide / LGetProc);
  bool LMet = true;
  for (const auto& [LName, LValue] : {std::pair{"wrapper", LThird.Wrapper}, std::pair{"CallAs ", LThird.Typed},
                                     std::pair{"Call   ", LThird.Wide}}) {
    const double LRatio = LValue / LGetProc;
    std::printf("  ratio %s / GetProcAddress + call, kernel32 third      %8.2fx  (goal <= %.1fx)  %s\n", LName, LRatio,
                C_GOAL_RATIO, LRatio <= C_GOAL_RATIO ? "met" : "MISSED");
    LMet &= LRatio <= C_GOAL_RATIO;
  }
  std::printf("  ratio wrapper / direct call, kernel32 third               %8.2fx\n", LThird.Wrapper / LDirect);
  return LMet ? 0 : 1;
}

}  // namespace

int main() { return RunBenchmark("LateBoundBenchmark", &Run); }
