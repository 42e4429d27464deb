// The object behind every diagnostic log of a process: one UTF-16 file, lines buffered in memory,
// a numeric level filter, the nesting of calls and a per-thread stack of procedure names, and a
// mirror of each line to a debugger attached at start.
//
// Failure contract: nothing here raises to the caller. A file that can't be opened is not tried
// again by the same instance; its lines are dropped from then on. Until the log folder is set, lines
// wait in memory whatever their number.
#pragma once
#include <atomic>
#include <map>
#include <memory>
#include <vector>

#include "Ostravane.Rtl.Classes.h"
#include "Ostravane.Rtl.SyncObjs.h"
#include "Ostravane.Rtl.SysUtils.h"

namespace Ostravane {

using Rtl::TClass;
using Rtl::UnicodeString;

class OVRTL_API TDebugLogFile : public Rtl::TObject {
  OV_OBJECT_CLASS
  friend class TDebugLogFileInspector;  // tests look at the fields

 public:
  explicit TDebugLogFile(const UnicodeString& AName);
  ~TDebugLogFile() override;
  TDebugLogFile(const TDebugLogFile&) = delete;
  TDebugLogFile& operator=(const TDebugLogFile&) = delete;

  static void Init();
  static void Done();
  // The shared instance of a name (compared without regard to case), made on first use; nil once the
  // unit has stopped. Every call is answered by one FreeLogInstance.
  static TDebugLogFile* GetLogInstance(const UnicodeString& ALogName);
  // Gives a holder's share back; the last one destroys the instance and sets ALog to nil.
  static void FreeLogInstance(TDebugLogFile*& ALog);
  // The folder of all log files; only the first call counts.
  static void SetLogPath(const UnicodeString& APath);
  static UnicodeString GetLogPath();

  const UnicodeString& Name() const noexcept { return FName; }
  int64_t GetMaxFileSize() const noexcept { return FMaxFileSize; }
  void SetMaxFileSize(int64_t AValue);
  int32_t GetLogLevel() const noexcept { return FLogLevel.load(std::memory_order_relaxed); }
  void SetLogLevel(int32_t AValue) noexcept { FLogLevel.exchange(AValue); }
  BOOL GetDirectWrite() const noexcept { return FDirectWrite.load(std::memory_order_relaxed); }
  void SetDirectWrite(BOOL AValue) noexcept { FDirectWrite.exchange(AValue); }

  // The stack of procedure names of a thread, made on first use. Call it under the lock.
  Rtl::TStringList* GetProcList(uint32_t AThreadId);
  void BeginProc(int32_t ALogLevel, const UnicodeString& AProcName);
  UnicodeString EndProc(int32_t ALogLevel);
  void BeginNesting(int32_t ALogLevel);
  void EndNesting(int32_t ALogLevel);
  // The one road of a line: filtered by level, mirrored to a debugger, buffered, flushed.
  void WriteLog(int32_t ALogLevel, const UnicodeString& AModuleName, const UnicodeString& AStr,
                TClass AOwner) noexcept;

  // A level passes when it is 1 or more and not above the log's level.
  bool Passes(int32_t ALogLevel) const noexcept { return ALogLevel >= 1 && ALogLevel <= GetLogLevel(); }

 protected:
  void Lock() noexcept { FCSLog.Enter(); }
  void Unlock() noexcept { FCSLog.Leave(); }

 private:
  void CheckOpenFile();
  void FlushBuffer();
  void WriteLogToFile(const UnicodeString& AModuleName, const UnicodeString& AStr, TClass AOwner);
  void WriteLogToDebugger(const UnicodeString& AModuleName, const UnicodeString& AStr, TClass AOwner);
  void AppendText(const wchar_t* AText, size_t ALength) { FBuffer.Append(AText, ALength * sizeof(wchar_t)); }
  int64_t LocalMilliseconds() noexcept;

  Rtl::TCriticalSection FCSLog{4000};  // held for the copy of a line: worth spinning for
  std::map<uint32_t, std::unique_ptr<Rtl::TStringList>> FThreadsProc;
  UnicodeString FName;
  int64_t FMaxFileSize = 0;
  std::atomic<int32_t> FLogLevel{0};
  std::atomic<BOOL> FDirectWrite{FALSE};
  HANDLE FFileHandle = nullptr;  // nullptr: not opened yet; INVALID_HANDLE_VALUE: opening failed
  Rtl::TMemoryStream FBuffer;
  // The clock of the date column, in whole milliseconds of local time since 1601: a clock value
  // compared as an integer, so that equal readings are equal whatever the floating-point registers.
  int64_t FLastDate = -1;
  UnicodeString FLastDateStr;
  int64_t FBiasSecond = -1;  // the UTC second for which FBias was taken
  int64_t FBias = 0;         // local time minus UTC, in milliseconds
  UnicodeString FFixedNesting;
  UnicodeString FNesting;
  UnicodeString FLineBreak;
  int32_t FInstanceCount = 0;

  // The folder is written once and then only read: the flag publishes it to threads that log
  // without FCSInstances.
  static inline UnicodeString FLogPath;
  static inline std::atomic<bool> FLogPathSet{false};
  static inline bool FIsDebuggerPresent = false;
  // Lives as long as the module, so that a lookup after the unit's stop still finds a lock and an
  // empty registry rather than a destroyed section.
  static Rtl::TCriticalSection FCSInstances;
  static inline std::vector<TDebugLogFile*>* FInstances = nullptr;  // a registry, not an owner
};

}  // namespace Ostravane
