// LogBenchmark: how fast the diagnostic log keeps lines, against writing the same bytes by hand.
// Every figure is measured in this one run and printed with the peer's figure and their ratio:
//   - lines per second through TDebugLog to a real file, on 1 and on 2 threads (one shared log);
//   - the peer "WriteFile per line": the same UTF-16 line, one WriteFile call each;
//   - the peer "buffered loop": the same lines gathered in a 64 KiB buffer, one WriteFile per full buffer;
//   - the cost of a call whose level is filtered out, plain and with format arguments.
// Exit code 0 when every goal is met, 1 when one is missed, 2 when the run itself failed.
#include "BenchSupport.h"
#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <x86intrin.h>

#include "Ostravane.Debug.Common.h"
#include "Ostravane.Debug.Log.h"
#include "Ostravane.Rtl.Handles.h"
#include "OvComponentsRTL.h"

using namespace Ostravane;
using Rtl::UnicodeString;

using namespace OvBench;

namespace {

enum class TBenchLogLevel { blNone, blError, blInfo, blVerbose };
}  // namespace
OV_LOG_LEVEL_RANGE(TBenchLogLevel, TBenchLogLevel::blVerbose)
namespace {

constexpr wchar_t C_MODULE_NAME[] = L"LogBenchmark.exe";
constexpr size_t C_MODULE_COLUMN = 31;  // the log pads a module name to 30 and adds a blank
constexpr size_t C_CLASS_COLUMN = 26;
constexpr wchar_t C_NO_OWNER[] = L"unknown";  // the class column of a line without an owner
// 80 characters of message, a line the size of a typical one.
constexpr wchar_t C_MESSAGE[] = L"TJobQueue.Dispatch: job 000123 queued for worker 3, queue length 17, wait 10 ms.";
static_assert(sizeof(C_MESSAGE) / sizeof(wchar_t) - 1 == 80);

constexpr double C_FIGURE_SECONDS = 1.0;  // the length of one measured figure
constexpr int C_ROUNDS = 3;  // rounds of the file figures, taken in turn; the median counts
constexpr double C_PROBE_SECONDS = 0.15;  // the least length of the probe that sizes it

// Goals of the log.
constexpr double C_GOAL_PER_LINE_RATIO = 4.0;   // library / WriteFile per line, one thread, at least
constexpr double C_GOAL_BUFFERED_RATIO = 0.3;   // library / buffered loop, one thread, at least
constexpr double C_GOAL_FILTERED_NS = 100.0;    // a filtered plain call, at most

// ---- Time ---------------------------------------------------------------------------------------

// The count for which one run of ARun(ACount) lasts about ASeconds: grown until a run lasts the
// probe's length, then scaled.
uint64_t SizeRun(const std::function<double(uint64_t)>& ARun, uint64_t AFirstCount, double ASeconds) {
  uint64_t LCount = AFirstCount;
  double LSeconds = ARun(LCount);
  while (LSeconds < C_PROBE_SECONDS) {
    LCount *= LSeconds < C_PROBE_SECONDS / 8 ? 8 : 2;
    LSeconds = ARun(LCount);
  }
  LCount = static_cast<uint64_t>(static_cast<double>(LCount) * ASeconds / LSeconds);
  return LCount + (LCount & 1);  // two threads share it evenly
}

// Units per second of one run sized to C_FIGURE_SECONDS; ACount answers the count.
double Rate(const std::function<double(uint64_t)>& ARun, uint64_t AFirstCount, uint64_t* ACount = nullptr) {
  const uint64_t LCount = SizeRun(ARun, AFirstCount, C_FIGURE_SECONDS);
  if (ACount) *ACount = LCount;
  return static_cast<double>(LCount) / ARun(LCount);
}

// The figures of several rounds of one measurement.
struct TSamples {
  std::vector<double> Values;
  double Median() const {
    std::vector<double> V = Values;
    std::sort(V.begin(), V.end());
    return V.empty() ? 0 : V.size() % 2 ? V[V.size() / 2] : (V[V.size() / 2 - 1] + V[V.size() / 2]) / 2;
  }
  double Min() const { return Values.empty() ? 0 : *std::min_element(Values.begin(), Values.end()); }
  double Max() const { return Values.empty() ? 0 : *std::max_element(Values.begin(), Values.end()); }
};

// Runs AWork(AIndex) on AThreads threads started together; answers the seconds from the start of
// the first to the end of the last.
double RunThreads(int AThreads, const std::function<void(int)>& AWork) {
  std::atomic<bool> LGo{false};
  std::atomic<int> LReady{0};
  int64_t LStart = 0;
  {
    std::vector<std::jthread> LThreads;
    for (int I = 0; I < AThreads; ++I)
      LThreads.emplace_back([&, I] {
        ++LReady;
        while (!LGo.load(std::memory_order_acquire)) std::this_thread::yield();
        AWork(I);
      });
    while (LReady.load() < AThreads) std::this_thread::yield();
    LStart = Ticks();
    LGo.store(true, std::memory_order_release);
  }  // the threads are joined here
  return Seconds(Ticks() - LStart);
}

// ---- Output -------------------------------------------------------------------------------------

std::string Narrow(const UnicodeString& S) { return Rtl::UTF8Encode(S); }

// ---- Files --------------------------------------------------------------------------------------

// A folder of the run's own under the temporary folder, deleted with all its files at the end.
class TTempFolder {
 public:
  TTempFolder() {
    wchar_t LBase[MAX_PATH + 1] = {};
    GetTempPathW(MAX_PATH, LBase);
    FPath = Rtl::IncludeTrailingPathDelimiter(LBase) + L"OvRTL-LogBenchmark-" +
            std::to_wstring(GetCurrentProcessId()) + L"\\";
    if (!Rtl::ForceDirectories(FPath)) throw Rtl::Exception(L"Can't make the folder " + FPath);
  }
  ~TTempFolder() {
    Clear();
    RemoveDirectoryW(FPath.c_str());
  }
  TTempFolder(const TTempFolder&) = delete;
  TTempFolder& operator=(const TTempFolder&) = delete;

  const UnicodeString& Path() const noexcept { return FPath; }
  void Clear() const {
    WIN32_FIND_DATAW LData;
    Rtl::TFindHandleOwner LFind(FindFirstFileW((FPath + L"*").c_str(), &LData));
    if (!LFind) return;
    do {
      if (!(LData.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) DeleteFileW((FPath + LData.cFileName).c_str());
    } while (FindNextFileW(LFind.get(), &LData));
  }

 private:
  UnicodeString FPath;
};

int64_t FileSize(const UnicodeString& AFileName) {
  WIN32_FILE_ATTRIBUTE_DATA LData;
  if (!GetFileAttributesExW(AFileName.c_str(), GetFileExInfoStandard, &LData)) return -1;
  return (static_cast<int64_t>(LData.nFileSizeHigh) << 32) | LData.nFileSizeLow;
}

Rtl::TFileHandleOwner CreateOutput(const UnicodeString& AFileName) {
  Rtl::TFileHandleOwner LFile(CreateFileW(AFileName.c_str(), GENERIC_READ | GENERIC_WRITE,
                                          FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, CREATE_ALWAYS,
                                          FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!LFile) throw Rtl::Exception(L"Can't create " + AFileName);
  return LFile;
}


// ---- The measurements ---------------------------------------------------------------------------

class TLogBenchmark {
 public:
  explicit TLogBenchmark(const TTempFolder& AFolder) : FFolder(AFolder) {
    FMessage = C_MESSAGE;
    // The same line the log writes for FMessage: date, module column, class column, message, CR LF.
    UnicodeString LModule = C_MODULE_NAME;
    LModule.append(C_MODULE_COLUMN - LModule.size(), L' ');
    UnicodeString LClass = C_NO_OWNER;
    LClass.append(C_CLASS_COLUMN - LClass.size(), L' ');
    FLine = Rtl::DateTimeToString(S_DATA_TIME_FORMAT, Rtl::Now()) + LModule + LClass + FMessage + L"\r\n";
  }

  size_t LineBytes() const noexcept { return FLine.size() * sizeof(wchar_t); }
  const UnicodeString& Line() const noexcept { return FLine; }

  // ALines lines through one TDebugLog on AThreads threads; the last partial buffer is flushed
  // inside the time. With ASize, answers the size of the file the log left.
  double Library(int AThreads, uint64_t ALines, int64_t* ASize = nullptr) {
    const UnicodeString LLogName = L"LibraryLog" + std::to_wstring(++FRunNumber);
    double LSeconds;
    {
      TDebugLog<TBenchLogLevel> LLog(LLogName, C_MODULE_NAME, 0);
      LLog.SetLogLevel(TBenchLogLevel::blVerbose);
      const uint64_t LPerThread = (ALines - 1) / AThreads;
      const int64_t LStart = Ticks();
      RunThreads(AThreads, [&](int) {
        for (uint64_t I = 0; I < LPerThread; ++I) LLog.WriteLog(TBenchLogLevel::blInfo, FMessage);
      });
      // One more line written through at once takes the rest of the buffer with it.
      LLog.SetDirectWrite(true);
      for (uint64_t I = LPerThread * AThreads; I < ALines; ++I) LLog.WriteLog(TBenchLogLevel::blInfo, FMessage);
      LSeconds = Seconds(Ticks() - LStart);
    }  // the last holder of the log closes its file
    if (ASize) *ASize = FileSize(FFolder.Path() + LLogName + L".log");
    FFolder.Clear();
    return LSeconds;
  }

  // The peer: one WriteFile per line. With two threads both write to one file under one lock, as
  // the log does.
  double WriteFilePerLine(int AThreads, uint64_t ALines, int64_t* ASize = nullptr) {
    const UnicodeString LFileName = FFolder.Path() + L"PerLine" + std::to_wstring(++FRunNumber) + L".log";
    double LSeconds;
    {
      Rtl::TFileHandleOwner LFile = CreateOutput(LFileName);
      Rtl::TCriticalSection LLock;
      const DWORD LBytes = static_cast<DWORD>(LineBytes());
      const uint64_t LPerThread = ALines / AThreads;
      const int64_t LStart = Ticks();
      DWORD LWritten;
      const wchar_t LBom = C_UNICODE_CHAR;
      WriteFile(LFile.get(), &LBom, sizeof(LBom), &LWritten, nullptr);
      RunThreads(AThreads, [&](int) {
        DWORD LDone;
        for (uint64_t I = 0; I < LPerThread; ++I) {
          Rtl::TCSGuard LGuard(LLock);
          WriteFile(LFile.get(), FLine.data(), LBytes, &LDone, nullptr);
        }
      });
      LSeconds = Seconds(Ticks() - LStart);
    }
    if (ASize) *ASize = FileSize(LFileName);
    FFolder.Clear();
    return LSeconds;
  }

  // The peer: lines gathered in a buffer of the log's size, one WriteFile per full buffer and one
  // for the rest. With two threads they share the buffer and the file under one lock.
  double BufferedLoop(int AThreads, uint64_t ALines, int64_t* ASize = nullptr) {
    const UnicodeString LFileName = FFolder.Path() + L"Buffered" + std::to_wstring(++FRunNumber) + L".log";
    double LSeconds;
    {
      Rtl::TFileHandleOwner LFile = CreateOutput(LFileName);
      Rtl::TCriticalSection LLock;
      std::vector<unsigned char> LBuffer(I_BUFFER_SIZE);
      size_t LUsed = 0;
      const auto* LLine = reinterpret_cast<const unsigned char*>(FLine.data());
      const size_t LBytes = LineBytes();
      const uint64_t LPerThread = ALines / AThreads;
      const int64_t LStart = Ticks();
      DWORD LWritten;
      const wchar_t LBom = C_UNICODE_CHAR;
      WriteFile(LFile.get(), &LBom, sizeof(LBom), &LWritten, nullptr);
      RunThreads(AThreads, [&](int) {
        DWORD LDone;
        for (uint64_t I = 0; I < LPerThread; ++I) {
          Rtl::TCSGuard LGuard(LLock);
          size_t LFrom = 0;
          while (LFrom < LBytes) {
            const size_t N = std::min(LBytes - LFrom, LBuffer.size() - LUsed);
            std::memcpy(LBuffer.data() + LUsed, LLine + LFrom, N);
            LUsed += N;
            LFrom += N;
            if (LUsed == LBuffer.size()) {
              WriteFile(LFile.get(), LBuffer.data(), static_cast<DWORD>(LUsed), &LDone, nullptr);
              LUsed = 0;
            }
          }
        }
      });
      if (LUsed > 0) WriteFile(LFile.get(), LBuffer.data(), static_cast<DWORD>(LUsed), &LWritten, nullptr);
      LSeconds = Seconds(Ticks() - LStart);
    }
    if (ASize) *ASize = FileSize(LFileName);
    FFolder.Clear();
    return LSeconds;
  }

  // ACalls calls of the plain WriteLog with a level the log filters out.
  double FilteredPlain(uint64_t ACalls) {
    TDebugLog<TBenchLogLevel> LLog(L"FilteredLog", C_MODULE_NAME, 0);
    LLog.SetLogLevel(TBenchLogLevel::blNone);
    const int64_t LStart = Ticks();
    for (uint64_t I = 0; I < ACalls; ++I) LLog.WriteLog(TBenchLogLevel::blInfo, FMessage);
    return Seconds(Ticks() - LStart);
  }

  // The same with a literal, the common call: it is made a string only when its line passes.
  double FilteredLiteral(uint64_t ACalls) {
    TDebugLog<TBenchLogLevel> LLog(L"FilteredLog", C_MODULE_NAME, 0);
    LLog.SetLogLevel(TBenchLogLevel::blNone);
    const int64_t LStart = Ticks();
    for (uint64_t I = 0; I < ACalls; ++I)
      LLog.WriteLog(TBenchLogLevel::blInfo,
                    L"TJobQueue.Dispatch: job 000123 queued for worker 3, queue length 17, wait 10 ms.");
    return Seconds(Ticks() - LStart);
  }

  // The same with format arguments: the text is formatted before the level is looked at.
  double FilteredFormat(uint64_t ACalls) {
    TDebugLog<TBenchLogLevel> LLog(L"FilteredLog", C_MODULE_NAME, 0);
    LLog.SetLogLevel(TBenchLogLevel::blNone);
    const UnicodeString S = L"TJobQueue.Dispatch";
    const int64_t LStart = Ticks();
    for (uint64_t I = 0; I < ACalls; ++I) LLog.WriteLog(TBenchLogLevel::blInfo, L"%s %d", {S, 5});
    return Seconds(Ticks() - LStart);
  }

 private:
  const TTempFolder& FFolder;
  UnicodeString FMessage;
  UnicodeString FLine;
  int FRunNumber = 0;
};

// ---- The run ------------------------------------------------------------------------------------

struct TFigures {
  TSamples Library;
  TSamples PerLine;
  TSamples Buffered;
};

void PrintFigure(const char* AName, const TSamples& ASamples, size_t ALineBytes, uint64_t ACount) {
  Print("  %-19s %10.0f lines/s  %7.1f MB/s  (rounds %.0f..%.0f, %llu lines each)\n", AName, ASamples.Median(),
        ASamples.Median() * static_cast<double>(ALineBytes) / 1e6, ASamples.Min(), ASamples.Max(),
        static_cast<unsigned long long>(ACount));
}

int Run() {
  TTempFolder LFolder;
  TLibraryScope LSession;
  TDebugLogFile::SetLogPath(LFolder.Path());
  TLogBenchmark LBenchmark(LFolder);
  const size_t LLineBytes = LBenchmark.LineBytes();

  Print("OvRTL log benchmark: TDebugLog<TLevel>::WriteLog(level, message) to a log file, against writing\n");
  Print("the same bytes by hand. Figures of this run, timed with QueryPerformanceCounter.\n");
  Print("  line: %zu characters, %zu bytes in the file (24 date + 31 module + 26 class + %zu message + CR LF)\n",
        LBenchmark.Line().size(), LLineBytes, wcslen(C_MESSAGE));
  Print("  log folder: %s\n", Narrow(LFolder.Path()).c_str());
  Print("  the peers write a line built once (no clock reading); with 2 threads the peers, like the log,\n");
  Print("  write to one file under one lock (a critical section). Each file figure is the median of %d\n", C_ROUNDS);
  Print("  rounds of about %.0f s, the three measurements taken in turn.\n\n", C_FIGURE_SECONDS);

  // The log and the peers must leave the same bytes behind.
  {
    constexpr uint64_t C_CHECK_LINES = 1001;
    int64_t LLibrarySize = 0, LPerLineSize = 0, LBufferedSize = 0;
    LBenchmark.Library(1, C_CHECK_LINES, &LLibrarySize);
    LBenchmark.WriteFilePerLine(1, C_CHECK_LINES, &LPerLineSize);
    LBenchmark.BufferedLoop(1, C_CHECK_LINES, &LBufferedSize);
    const int64_t LExpected = 2 + static_cast<int64_t>(C_CHECK_LINES * LLineBytes);
    const bool LSame = LLibrarySize == LExpected && LPerLineSize == LExpected && LBufferedSize == LExpected;
    Print("Check, %llu lines: log file %lld bytes, WriteFile per line %lld, buffered loop %lld, expected %lld: %s\n\n",
          static_cast<unsigned long long>(C_CHECK_LINES), static_cast<long long>(LLibrarySize),
          static_cast<long long>(LPerLineSize), static_cast<long long>(LBufferedSize),
          static_cast<long long>(LExpected), LSame ? "same" : "DIFFERENT");
    if (!LSame) return 2;
  }

  TFigures LFigures[2];
  for (int LThreads = 1; LThreads <= 2; ++LThreads) {
    TFigures& F = LFigures[LThreads - 1];
    const auto LPerLineRun = [&](uint64_t N) { return LBenchmark.WriteFilePerLine(LThreads, N); };
    const auto LBufferedRun = [&](uint64_t N) { return LBenchmark.BufferedLoop(LThreads, N); };
    const auto LLibraryRun = [&](uint64_t N) { return LBenchmark.Library(LThreads, N); };
    const uint64_t LPerLineCount = SizeRun(LPerLineRun, 2000, C_FIGURE_SECONDS);
    const uint64_t LBufferedCount = SizeRun(LBufferedRun, 20000, C_FIGURE_SECONDS);
    const uint64_t LLibraryCount = SizeRun(LLibraryRun, 2000, C_FIGURE_SECONDS);
    for (int R = 0; R < C_ROUNDS; ++R) {
      F.PerLine.Values.push_back(static_cast<double>(LPerLineCount) / LPerLineRun(LPerLineCount));
      F.Buffered.Values.push_back(static_cast<double>(LBufferedCount) / LBufferedRun(LBufferedCount));
      F.Library.Values.push_back(static_cast<double>(LLibraryCount) / LLibraryRun(LLibraryCount));
    }
    Print("%d thread%s%s:\n", LThreads, LThreads > 1 ? "s" : "",
          LThreads > 1 ? " (the log: both threads write to one shared TDebugLog; peers: one file, one lock)" : "");
    PrintFigure("WriteFile per line", F.PerLine, LLineBytes, LPerLineCount);
    PrintFigure("buffered loop", F.Buffered, LLineBytes, LBufferedCount);
    PrintFigure("OvRTL TDebugLog", F.Library, LLineBytes, LLibraryCount);
    Print("  ratio OvRTL / WriteFile per line  %6.2fx\n", F.Library.Median() / F.PerLine.Median());
    Print("  ratio OvRTL / buffered loop       %6.2fx\n", F.Library.Median() / F.Buffered.Median());
    Print("  ratio buffered loop / WriteFile per line  %6.2fx  (the most any buffering log can reach here)\n\n",
          F.Buffered.Median() / F.PerLine.Median());
  }

  Print("A call filtered out by level (the log's level is blNone), averaged over the calls:\n");
  uint64_t LCalls = 0;
  const double LPlainNs = 1e9 / Rate([&](uint64_t N) { return LBenchmark.FilteredPlain(N); }, 1000000, &LCalls);
  Print("  WriteLog(level, S)                  %8.1f ns  (%llu calls; S a prebuilt string)\n", LPlainNs,
        static_cast<unsigned long long>(LCalls));
  const double LLiteralNs = 1e9 / Rate([&](uint64_t N) { return LBenchmark.FilteredLiteral(N); }, 100000, &LCalls);
  Print("  WriteLog(level, L\"...80 chars...\")  %8.1f ns  (%llu calls; a literal becomes a string only for a line that passes)\n",
        LLiteralNs, static_cast<unsigned long long>(LCalls));
  const double LFormatNs = 1e9 / Rate([&](uint64_t N) { return LBenchmark.FilteredFormat(N); }, 100000, &LCalls);
  Print("  WriteLog(level, L\"%%s %%d\", {S, 5})   %8.1f ns  (%llu calls; formatted before the filter)\n", LFormatNs,
        static_cast<unsigned long long>(LCalls));
  Print("  ratio with format / plain           %8.1fx\n\n", LFormatNs / LPlainNs);

  const double LPerLineNs = 1e9 / LFigures[0].PerLine.Median();
  const double LBufferedNs = 1e9 / LFigures[0].Buffered.Median();
  const double LPerLineRatio = LFigures[0].Library.Median() / LFigures[0].PerLine.Median();
  const double LBufferedRatio = LFigures[0].Library.Median() / LFigures[0].Buffered.Median();
  const bool LGoal1 = LPerLineRatio >= C_GOAL_PER_LINE_RATIO;
  const bool LGoal2 = LBufferedRatio >= C_GOAL_BUFFERED_RATIO;
  const bool LGoal3 = LPlainNs < C_GOAL_FILTERED_NS;
  Print("Goals:\n");
  Print("  OvRTL / WriteFile per line, 1 thread  %6.2fx  (goal >= %.1fx)  %s\n", LPerLineRatio, C_GOAL_PER_LINE_RATIO,
        Verdict(LGoal1));
  if (!LGoal1)
    Print("    (the buffered loop, a log with no cost but its bytes, reaches %.2fx here; a line of the log may\n"
          "    cost %.0f ns for %.1fx, of which the bytes to the file take %.0f ns)\n",
          LPerLineNs / LBufferedNs, LPerLineNs / C_GOAL_PER_LINE_RATIO, C_GOAL_PER_LINE_RATIO, LBufferedNs);
  Print("  OvRTL / buffered loop, 1 thread       %6.2fx  (goal >= %.1fx)  %s\n", LBufferedRatio, C_GOAL_BUFFERED_RATIO,
        Verdict(LGoal2));
  Print("  filtered plain WriteLog               %6.1f ns (goal < %.0f ns)  %s\n", LPlainNs, C_GOAL_FILTERED_NS,
        Verdict(LGoal3));
  return LGoal1 && LGoal2 && LGoal3 ? 0 : 1;
}

}  // namespace

int main() { return RunBenchmark("LogBenchmark", &Run); }
