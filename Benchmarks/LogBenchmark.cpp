// LogBenchmark: how fast the diagnostic log keeps lines, against writing the same bytes by hand.
// Every figure is measured in this one run and printed with the peer's figure and their ratio:
//   - lines per second through TDebugLog to a real file, on 1 and on 2 threads (one shared log);
//   - the peer "WriteFile per line": the same UTF-16 line, one WriteFile call each;
//   - the peer "buffered loop": the same lines gathered in a 64 KiB buffer, one WriteFile per full buffer;
//   - the cost of a call whose level is filtered out, plain and with format arguments;
//   - the pieces of one logged line, to show where the time goes, and the log's own steps done by
//     hand with other clocks and another lock, to show what a change would gain.
// Exit code 0 when every goal is met, 1 when one is missed, 2 when the run itself failed.
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

double Seconds(int64_t ATicks) {
  static const double LFrequency = [] {
    LARGE_INTEGER F;
    QueryPerformanceFrequency(&F);
    return static_cast<double>(F.QuadPart);
  }();
  return static_cast<double>(ATicks) / LFrequency;
}

int64_t Ticks() {
  LARGE_INTEGER T;
  QueryPerformanceCounter(&T);
  return T.QuadPart;
}

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

void Print(const char* AFormat, ...) __attribute__((format(gnu_printf, 1, 2)));
void Print(const char* AFormat, ...) {
  va_list LArgs;
  va_start(LArgs, AFormat);
  std::vfprintf(stdout, AFormat, LArgs);
  va_end(LArgs);
  std::fflush(stdout);
}

const char* Verdict(bool AMet) { return AMet ? "met" : "MISSED"; }

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

// Starts the library for the length of the run and stops it on every way out.
class TLibrarySession {
 public:
  TLibrarySession() { Initialize(); }
  ~TLibrarySession() { Finalize(); }
  TLibrarySession(const TLibrarySession&) = delete;
  TLibrarySession& operator=(const TLibrarySession&) = delete;
};

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

  // The same with a literal: the call site builds a string before the log is reached.
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

// ---- The pieces of one line ---------------------------------------------------------------------

// Nanoseconds per call of AStep, over enough calls to last about a fifth of a second.
double NsPerCall(const std::function<void(uint64_t)>& AStep) {
  uint64_t LCount = 1000;
  while (true) {
    const int64_t LStart = Ticks();
    AStep(LCount);
    const double LSeconds = Seconds(Ticks() - LStart);
    if (LSeconds >= 0.2) return LSeconds * 1e9 / static_cast<double>(LCount);
    LCount *= LSeconds < 0.02 ? 10 : 2;
  }
}

// How a replica of the log reads the clock and decides that the date text must be built again.
enum class TClockKind {
  ckAsLog,       // Rtl::Now(), compared straight with the last value, as TDebugLogFile does
  ckRounded,     // Rtl::Now(), rounded to a stored double before the compare
  ckSystemTime,  // GetSystemTimeAsFileTime in whole milliseconds, the local-time bias taken once a second
};

// A critical section that spins a while before it waits, for the replica of the log on two threads.
class TSpinSection {
 public:
  explicit TSpinSection(DWORD ASpinCount) noexcept { InitializeCriticalSectionAndSpinCount(&FSection, ASpinCount); }
  ~TSpinSection() { DeleteCriticalSection(&FSection); }
  TSpinSection(const TSpinSection&) = delete;
  TSpinSection& operator=(const TSpinSection&) = delete;

  void Enter() noexcept { EnterCriticalSection(&FSection); }
  void Leave() noexcept { LeaveCriticalSection(&FSection); }

 private:
  CRITICAL_SECTION FSection;
};

class TSpinGuard {
 public:
  explicit TSpinGuard(TSpinSection& ASection) noexcept : FSection(ASection) { FSection.Enter(); }
  ~TSpinGuard() { FSection.Leave(); }
  TSpinGuard(const TSpinGuard&) = delete;
  TSpinGuard& operator=(const TSpinGuard&) = delete;

 private:
  TSpinSection& FSection;
};

// The log's own steps for one line, done by hand as TDebugLogFile does them, with the flush of a
// full buffer replaced by clearing it: what a line costs before any of its bytes reaches a file.
class TOwnSteps {
 public:
  TOwnSteps(const UnicodeString& ALine, TClockKind AClock, DWORD ASpinCount = 0) : FClock(AClock), FLock(ASpinCount) {
    FModule = ALine.substr(24, C_MODULE_COLUMN);
    FMessage = C_MESSAGE;
  }

  // The share of lines for which the date text was built.
  double DateTextShare() const { return FLines ? static_cast<double>(FDateTexts) / static_cast<double>(FLines) : 0; }

  void Line() {
    TSpinGuard LGuard(FLock);
    ++FLines;
    switch (FClock) {
      case TClockKind::ckAsLog: {
        const Rtl::TDateTime LNow = Rtl::Now();
        if (LNow != FLastDate) {
          FLastDate = LNow;
          BuildDate(LNow);
        }
        break;
      }
      case TClockKind::ckRounded: {
        // The store drops the x87 register's extra precision, as a double in memory has it.
        volatile Rtl::TDateTime LStored = Rtl::Now();
        const Rtl::TDateTime LNow = LStored;
        if (LNow != FLastDate) {
          FLastDate = LNow;
          BuildDate(LNow);
        }
        break;
      }
      case TClockKind::ckSystemTime: {
        FILETIME LUtc;
        GetSystemTimeAsFileTime(&LUtc);
        const int64_t LMs = static_cast<int64_t>(ToTicks(LUtc) / 10000);
        if (LMs != FLastMs) {
          FLastMs = LMs;
          if (LMs - FBiasTaken >= 1000 || LMs < FBiasTaken) {
            FILETIME LLocal;
            FileTimeToLocalFileTime(&LUtc, &LLocal);
            FBiasMs = LMs - static_cast<int64_t>(ToTicks(LLocal) / 10000);
            FBiasTaken = LMs;
          }
          const uint64_t LLocalTicks = static_cast<uint64_t>(LMs - FBiasMs) * 10000;
          const FILETIME LLocal{static_cast<DWORD>(LLocalTicks), static_cast<DWORD>(LLocalTicks >> 32)};
          SYSTEMTIME T;
          FileTimeToSystemTime(&LLocal, &T);
          BuildDate(Rtl::EncodeDateTime(T.wYear, T.wMonth, T.wDay, T.wHour, T.wMinute, T.wSecond, T.wMilliseconds));
        }
        break;
      }
    }
    const size_t LOwnerLength = wcslen(C_NO_OWNER);
    Append(FDate.data(), FDate.size());
    Append(FModule.data(), FModule.size());
    Append(C_NO_OWNER, LOwnerLength);
    Append(C_BLANKS, C_CLASS_COLUMN - LOwnerLength);
    Append(FNesting.data(), FNesting.size());
    if (FMessage.find(FLineBreak) == UnicodeString::npos) Append(FMessage.data(), FMessage.size());
    Append(FLineBreak.data(), FLineBreak.size());
    if (FBuffer.Size() >= static_cast<size_t>(I_BUFFER_SIZE)) FBuffer.Clear();
  }

 private:
  static constexpr wchar_t C_BLANKS[] = L"                          ";
  static uint64_t ToTicks(const FILETIME& ATime) noexcept {
    return static_cast<uint64_t>(ATime.dwHighDateTime) << 32 | ATime.dwLowDateTime;
  }
  void BuildDate(Rtl::TDateTime ATime) {
    FDate = Rtl::DateTimeToString(S_DATA_TIME_FORMAT, ATime);
    ++FDateTexts;
  }
  void Append(const wchar_t* AText, size_t ALength) { FBuffer.Append(AText, ALength * sizeof(wchar_t)); }

  TClockKind FClock;
  TSpinSection FLock;  // without a spin count, the log's TCriticalSection
  Rtl::TMemoryStream FBuffer;
  UnicodeString FModule;
  UnicodeString FMessage;
  UnicodeString FNesting;
  UnicodeString FLineBreak = L"\r\n";
  UnicodeString FDate;
  Rtl::TDateTime FLastDate = 0;
  int64_t FLastMs = 0;
  int64_t FBiasMs = 0;
  int64_t FBiasTaken = 0;
  uint64_t FLines = 0;
  uint64_t FDateTexts = 0;
};

struct TPieces {
  double GetLocalTimeNs;
  double NowNs;
  double SystemTimeNs;
  double QpcNs;
  double TickCountNs;
  double TickCountStepMs;  // how far GetTickCount moves at once
  double RdtscNs;
  double DateStringNs;
  double AppendNs;
  double LockNs;
  double OwnStepsNs;          // the log's steps as the log takes them, 1 thread
  double OwnStepsDateShare;   // the share of their lines that built the date text
  double RoundedNs;           // the same with the clock's value rounded before the compare
  double RoundedDateShare;
  double SystemTimeStepsNs;   // the same with the system time in whole milliseconds
  double SystemTimeDateShare;
  double OwnSteps2Ns;         // the log's steps on 2 threads under one lock, a line of the two
  double Rounded2Ns;          // the same with the clock's value rounded before the compare
  double SystemTime2Ns;       // the same with the system time in whole milliseconds
  double SystemTime2SpinNs;   // the same, the lock spinning before it waits
};

TPieces MeasurePieces(const UnicodeString& ALine) {
  TPieces P{};
  volatile WORD LSink = 0;
  P.GetLocalTimeNs = NsPerCall([&](uint64_t N) {
    SYSTEMTIME T;
    for (uint64_t I = 0; I < N; ++I) {
      GetLocalTime(&T);
      LSink = T.wMilliseconds;
    }
  });
  volatile double LTime = 0;
  P.NowNs = NsPerCall([&](uint64_t N) {
    for (uint64_t I = 0; I < N; ++I) LTime = Rtl::Now();
  });
  P.SystemTimeNs = NsPerCall([&](uint64_t N) {
    FILETIME T;
    for (uint64_t I = 0; I < N; ++I) {
      GetSystemTimeAsFileTime(&T);
      LSink = static_cast<WORD>(T.dwLowDateTime);
    }
  });
  P.QpcNs = NsPerCall([&](uint64_t N) {
    for (uint64_t I = 0; I < N; ++I) LSink = static_cast<WORD>(Ticks());
  });
  P.TickCountNs = NsPerCall([&](uint64_t N) {
    for (uint64_t I = 0; I < N; ++I) LSink = static_cast<WORD>(GetTickCount());
  });
  {
    const DWORD LFirst = GetTickCount();
    DWORD LLast = LFirst;
    int LSteps = 0;
    const int64_t LUntil = Ticks() + static_cast<int64_t>(0.2 / Seconds(1));
    while (Ticks() < LUntil) {
      const DWORD LTick = GetTickCount();
      if (LTick != LLast) ++LSteps;
      LLast = LTick;
    }
    P.TickCountStepMs = LSteps ? static_cast<double>(LLast - LFirst) / LSteps : 0;
  }
  P.RdtscNs = NsPerCall([&](uint64_t N) {
    for (uint64_t I = 0; I < N; ++I) LSink = static_cast<WORD>(__rdtsc());
  });
  const UnicodeString LFormat = S_DATA_TIME_FORMAT;
  const Rtl::TDateTime LNow = Rtl::Now();
  P.DateStringNs = NsPerCall([&](uint64_t N) {
    for (uint64_t I = 0; I < N; ++I) LSink = static_cast<WORD>(Rtl::DateTimeToString(LFormat, LNow).size());
  });

  // The appends of one line to a memory stream, cleared at the log's buffer size.
  const UnicodeString LDate = ALine.substr(0, 24);
  const UnicodeString LModule = ALine.substr(24, C_MODULE_COLUMN);
  const UnicodeString LMessage = C_MESSAGE;
  const UnicodeString LBreak = L"\r\n";
  const UnicodeString LNesting;
  const wchar_t LBlanks[] = L"                          ";
  Rtl::TMemoryStream LBuffer;
  P.AppendNs = NsPerCall([&](uint64_t N) {
    for (uint64_t I = 0; I < N; ++I) {
      const size_t LOwnerLength = wcslen(C_NO_OWNER);
      LBuffer.Append(LDate.data(), LDate.size() * sizeof(wchar_t));
      LBuffer.Append(LModule.data(), LModule.size() * sizeof(wchar_t));
      LBuffer.Append(C_NO_OWNER, LOwnerLength * sizeof(wchar_t));
      LBuffer.Append(LBlanks, (C_CLASS_COLUMN - LOwnerLength) * sizeof(wchar_t));
      LBuffer.Append(LNesting.data(), LNesting.size() * sizeof(wchar_t));
      LSink = static_cast<WORD>(LMessage.find(LBreak));
      LBuffer.Append(LMessage.data(), LMessage.size() * sizeof(wchar_t));
      LBuffer.Append(LBreak.data(), LBreak.size() * sizeof(wchar_t));
      if (LBuffer.Size() >= static_cast<size_t>(I_BUFFER_SIZE)) LBuffer.Clear();
    }
  });
  Rtl::TCriticalSection LLock;
  P.LockNs = NsPerCall([&](uint64_t N) {
    for (uint64_t I = 0; I < N; ++I) {
      Rtl::TCSGuard LGuard(LLock);
      LSink = static_cast<WORD>(I);
    }
  });

  const auto LStepsNs = [&](TClockKind AClock, double& AShare) {
    TOwnSteps LSteps(ALine, AClock);
    const double LNs = NsPerCall([&](uint64_t N) {
      for (uint64_t I = 0; I < N; ++I) LSteps.Line();
    });
    AShare = LSteps.DateTextShare();
    return LNs;
  };
  P.OwnStepsNs = LStepsNs(TClockKind::ckAsLog, P.OwnStepsDateShare);
  P.RoundedNs = LStepsNs(TClockKind::ckRounded, P.RoundedDateShare);
  P.SystemTimeStepsNs = LStepsNs(TClockKind::ckSystemTime, P.SystemTimeDateShare);
  const auto LSharedStepsNs = [&](TClockKind AClock, DWORD ASpinCount = 0) {
    TOwnSteps LSteps(ALine, AClock, ASpinCount);
    return NsPerCall([&](uint64_t N) {
      RunThreads(2, [&](int) {
        for (uint64_t I = 0; I < N / 2; ++I) LSteps.Line();
      });
    });
  };
  P.OwnSteps2Ns = LSharedStepsNs(TClockKind::ckAsLog);
  P.Rounded2Ns = LSharedStepsNs(TClockKind::ckRounded);
  P.SystemTime2Ns = LSharedStepsNs(TClockKind::ckSystemTime);
  P.SystemTime2SpinNs = LSharedStepsNs(TClockKind::ckSystemTime, 4000);
  return P;
}

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
  TLibrarySession LSession;
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
  Print("  WriteLog(level, L\"...80 chars...\")  %8.1f ns  (%llu calls; the literal becomes a string first)\n",
        LLiteralNs, static_cast<unsigned long long>(LCalls));
  const double LFormatNs = 1e9 / Rate([&](uint64_t N) { return LBenchmark.FilteredFormat(N); }, 100000, &LCalls);
  Print("  WriteLog(level, L\"%%s %%d\", {S, 5})   %8.1f ns  (%llu calls; formatted before the filter)\n", LFormatNs,
        static_cast<unsigned long long>(LCalls));
  Print("  ratio with format / plain           %8.1fx\n\n", LFormatNs / LPlainNs);

  const double LLineNs = 1e9 / LFigures[0].Library.Median();
  const double LLine2Ns = 1e9 / LFigures[1].Library.Median();
  const double LPerLineNs = 1e9 / LFigures[0].PerLine.Median();
  const double LBufferedNs = 1e9 / LFigures[0].Buffered.Median();
  const TPieces P = MeasurePieces(LBenchmark.Line());
  Print("Where the time of one logged line goes (1 thread, %.0f ns a line in the log):\n", LLineNs);
  Print("  Rtl::Now()                          %8.1f ns  (GetLocalTime alone %.1f ns)\n", P.NowNs, P.GetLocalTimeNs);
  Print("  date text, DateTimeToString         %8.1f ns  a call\n", P.DateStringNs);
  Print("  appending the pieces to the buffer  %8.1f ns\n", P.AppendNs);
  Print("  critical section, enter and leave   %8.1f ns\n", P.LockNs);
  Print("  the log's steps by hand, no file    %8.1f ns  (the date text built for %.1f%% of the lines)\n",
        P.OwnStepsNs, 100 * P.OwnStepsDateShare);
  Print("  the bytes to the file               %8.1f ns  (the buffered loop's time a line)\n", LBufferedNs);
  Print("  steps + bytes                       %8.1f ns  (%.0f%% of the measured line)\n", P.OwnStepsNs + LBufferedNs,
        100 * (P.OwnStepsNs + LBufferedNs) / LLineNs);
  if (P.OwnStepsDateShare > 0.5)
    Print("  The date text is built for every line, not once a millisecond: Rtl::Now() answers in the x87\n"
          "  register, wider than the double it is compared with, so the two never compare equal.\n");
  Print("The same steps with other clocks (no file):\n");
  Print("  Rtl::Now() rounded to a double before the compare  %8.1f ns  (date text for %.2f%% of the lines)\n",
        P.RoundedNs, 100 * P.RoundedDateShare);
  Print("  GetSystemTimeAsFileTime (%.1f ns) in whole ms,\n", P.SystemTimeNs);
  Print("    local-time bias taken once a second             %8.1f ns  (date text for %.2f%% of the lines)\n",
        P.SystemTimeStepsNs, 100 * P.SystemTimeDateShare);
  Print("  (other clocks here: QueryPerformanceCounter %.1f ns, GetTickCount %.1f ns moving %.1f ms at once,\n"
        "  the processor's time stamp counter %.1f ns)\n", P.QpcNs, P.TickCountNs, P.TickCountStepMs, P.RdtscNs);
  Print("  a line would cost about %.0f ns and %.0f ns: OvRTL / WriteFile per line about %.2fx and %.2fx\n",
        P.RoundedNs + LBufferedNs, P.SystemTimeStepsNs + LBufferedNs, LPerLineNs / (P.RoundedNs + LBufferedNs),
        LPerLineNs / (P.SystemTimeStepsNs + LBufferedNs));
  Print("Two threads: %.0f ns a line in the log (1 thread: %.0f ns); the log's steps by hand on 2 threads\n",
        LLine2Ns, LLineNs);
  Print("  under one lock, no file: %.1f ns a line (1 thread: %.1f ns); with the clock's value rounded:\n",
        P.OwnSteps2Ns, P.OwnStepsNs);
  Print("  %.1f ns a line (1 thread: %.1f ns); with the system time in whole ms: %.1f ns (1 thread: %.1f ns),\n",
        P.Rounded2Ns, P.RoundedNs, P.SystemTime2Ns, P.SystemTimeStepsNs);
  Print("  and with a lock that spins 4000 times before it waits: %.1f ns\n\n", P.SystemTime2SpinNs);

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

int main() {
  try {
    return Run();
  } catch (const Rtl::Exception& E) {
    std::fprintf(stderr, "LogBenchmark: %s\n", Rtl::UTF8Encode(E.Message).c_str());
  } catch (const std::exception& E) {
    std::fprintf(stderr, "LogBenchmark: %s\n", E.what());
  }
  return 2;
}
