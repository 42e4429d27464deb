// ThreadBenchmark: starting and finishing a pooled TThread against CreateThread + WaitForSingleObject
// of the same work, in the same run, twice: a trivial piece of work (a TThread subclass with its own
// Execute), and the same work inside a single-threaded COM apartment (a TThread procedure, which
// always runs in one; the plain thread enters and leaves one too). Exit code 0 when the goal is met
// in both, 1 when it is missed, 2 when the run failed.
#include "BenchSupport.h"
#include <objbase.h>

#include <cstdio>
#include <memory>

#include "Ostravane.System.Thread.h"
#include "OvComponentsRTL.h"

using namespace Ostravane;

using namespace OvBench;

namespace {

constexpr double C_GOAL_RATIO = 5.0;  // the pooled start at least this much faster
constexpr int C_ROUNDS = 3;

volatile LONG GWork = 0;
DWORD WINAPI PlainWork(void*) {
  InterlockedIncrement(&GWork);
  return 0;
}
DWORD WINAPI PlainComWork(void*) {
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  InterlockedIncrement(&GWork);
  CoUninitialize();
  return 0;
}

class TWorkThread : public TThread {
 public:
  TWorkThread() : TThread(false) {}

 protected:
  void Execute() override { InterlockedIncrement(&GWork); }
};

// Microseconds a start-and-finish of ACount runs of AOne, the best of C_ROUNDS rounds.
template <typename F>
double MicrosecondsEach(int ACount, F AOne) {
  double LBest = 1e300;
  for (int R = 0; R < C_ROUNDS; ++R) {
    const double LStart = Now();
    for (int I = 0; I < ACount; ++I) AOne();
    LBest = std::min(LBest, (Now() - LStart) * 1e6 / ACount);
  }
  return LBest;
}

struct TFigure {
  const char* Name;
  double Pooled, Plain;
  double Ratio() const { return Plain / Pooled; }
};

int Run() {
  TLibraryScope LLibrary;
  constexpr int C_COUNT = 1000;
  const TFigure LFigures[] = {
      {"trivial work",
       MicrosecondsEach(C_COUNT, [] { std::unique_ptr<TWorkThread> L(TThread::New<TWorkThread>()); L->WaitFor(); }),
       MicrosecondsEach(C_COUNT,
                        [] {
                          HANDLE L = CreateThread(nullptr, 0, &PlainWork, nullptr, 0, nullptr);
                          WaitForSingleObject(L, INFINITE);
                          CloseHandle(L);
                        })},
      {"the same in a COM apartment",
       MicrosecondsEach(C_COUNT,
                        [] {
                          std::unique_ptr<TThread> L(TThread::CreateAnonymousThread([] { InterlockedIncrement(&GWork); }));
                          L->WaitFor();
                        }),
       MicrosecondsEach(C_COUNT, [] {
         HANDLE L = CreateThread(nullptr, 0, &PlainComWork, nullptr, 0, nullptr);
         WaitForSingleObject(L, INFINITE);
         CloseHandle(L);
       })},
  };
  if (GWork != 4 * C_ROUNDS * C_COUNT) return 2;
  std::printf("OvRTL thread benchmark: start a thread, run a piece of work, wait for its end, free it.\n");
  std::printf("Best of %d rounds of %d runs each, timed with QueryPerformanceCounter; pool of %d workers.\n", C_ROUNDS,
              C_COUNT, TThread::GetPoolCount());
  bool LMet = true;
  for (const TFigure& F : LFigures) {
    std::printf("%s:\n", F.Name);
    std::printf("  pooled TThread (start, WaitFor, delete)            %8.1f us a run\n", F.Pooled);
    std::printf("  CreateThread + WaitForSingleObject + CloseHandle   %8.1f us a run\n", F.Plain);
    std::printf("  ratio CreateThread / pooled TThread                %8.2fx  (goal >= %.1fx)  %s\n", F.Ratio(),
                C_GOAL_RATIO, F.Ratio() >= C_GOAL_RATIO ? "met" : "MISSED");
    LMet &= F.Ratio() >= C_GOAL_RATIO;
  }
  return LMet ? 0 : 1;
}

}  // namespace

int main() { return RunBenchmark("ThreadBenchmark", &Run); }
