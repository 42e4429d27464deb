// The typed facade of the log: each unit declares a level enumeration (member 0 means none) and a
// TDebugLog over it, which turns values, errors and procedure brackets into the log's one vocabulary
// and passes them to the shared TDebugLogFile with the unit's module name.
//
// The level range of an enumeration is fixed in one place by OV_LOG_LEVEL_RANGE(TLevel, HighMember).
// A level type that isn't an enumeration raises EInvalidCast as soon as its range is needed.
//
// Failure contract: every operation does nothing without a file (the log name "bds" disables a log).
// Text is formatted before the level filter runs, so a misused format raises EConvertError to its
// caller even for a filtered line; nothing else raises.
#pragma once
#include <algorithm>

#include "Ostravane.Debug.LogFile.h"

namespace Ostravane {

// The highest member of a level enumeration; the lowest is always ordinal 0.
template <typename TLevel>
struct TLogLevelRange;

#define OV_LOG_LEVEL_RANGE(ALevelType, AHighMember)                   \
  template <>                                                          \
  struct Ostravane::TLogLevelRange<ALevelType> {                       \
    static constexpr int32_t High = static_cast<int32_t>(AHighMember); \
  };

// The untyped core of every typed log; levels are ordinals here.
class OVRTL_API TCustomDebugLog : public Rtl::TObject {
  OV_OBJECT_CLASS
 public:
  TCustomDebugLog(const UnicodeString& ALogName, const UnicodeString& AModuleName, int64_t AMaxFileSize);
  ~TCustomDebugLog() override;
  TCustomDebugLog(const TCustomDebugLog&) = delete;
  TCustomDebugLog& operator=(const TCustomDebugLog&) = delete;

  const UnicodeString& LogName() const noexcept { return FLogName; }
  const UnicodeString& ModuleName() const noexcept { return FModuleName; }
  bool Enabled() const noexcept { return FDebugLogFile != nullptr; }
  // True when a line of this level would be written.
  bool Passes(int32_t ALogLevel) const noexcept { return FDebugLogFile && FDebugLogFile->Passes(ALogLevel); }
  bool GetDirectWrite() const noexcept { return FDebugLogFile && FDebugLogFile->GetDirectWrite() != FALSE; }
  void SetDirectWrite(bool ADirectWrite) noexcept;

  void WriteLog(int32_t ALogLevel, const UnicodeString& AStr, TClass AOwner);
  void WriteLog(int32_t ALogLevel, const UnicodeString& AFormat, Rtl::TVarRecList AValues, TClass AOwner);
  void BeginProc(int32_t ALogLevel, const UnicodeString& AProcName, TClass AOwner);
  void BeginProc(int32_t ALogLevel, const UnicodeString& AProcName, Rtl::TVarRecList AValues, TClass AOwner);
  void EndProc(int32_t ALogLevel, const UnicodeString& AResult, TClass AOwner);
  void BeginNesting(int32_t ALogLevel);
  void EndNesting(int32_t ALogLevel);
  void LogValue(int32_t ALogLevel, const UnicodeString& AComment, bool AValue, TClass AOwner);
  void LogValue(int32_t ALogLevel, const UnicodeString& AComment, uint32_t AValue, TClass AOwner);
  void LogValue(int32_t ALogLevel, const UnicodeString& AComment, int32_t AValue, TClass AOwner);
  void LogValue(int32_t ALogLevel, const UnicodeString& AComment, const UnicodeString& AValue, TClass AOwner);
  void LogValues(int32_t ALogLevel, const UnicodeString& AComment, Rtl::TVarRecList AValues, TClass AOwner);
  void LogError(int32_t ALogLevel, const UnicodeString& AComment, int32_t AErrorCode, TClass AOwner);
  void LogError(int32_t ALogLevel, const UnicodeString& AComment, const Rtl::Exception& AException, TClass AOwner);
  // The process list, when ALogLevel lies above the lowest level and within the log's level.
  void LogProcessList(int32_t ALogLevel);

  // The text of one element of a value list.
  static UnicodeString VarRecToStr(const Rtl::TVarRec& AValue);
  // The names a unit's log takes: the running executable's file name without extension as the log
  // name (one file a process), this library's file name as the module column.
  static UnicodeString ExecutableLogName();
  static UnicodeString LibraryModuleName();

 protected:
  int32_t FileLevel() const noexcept { return FDebugLogFile ? FDebugLogFile->GetLogLevel() : 0; }
  void SetFileLevel(int32_t ALogLevel) noexcept {
    if (FDebugLogFile) FDebugLogFile->SetLogLevel(ALogLevel);
  }

 private:
  class TDebugLogFileInternal;  // opens the file's lock to the brackets
  TDebugLogFileInternal* File() const noexcept;
  UnicodeString JoinValues(Rtl::TVarRecList AValues) const;

  UnicodeString FModuleName;
  TDebugLogFile* FDebugLogFile = nullptr;
  UnicodeString FLogName;
};

template <typename TLevel>
class TDebugLog : public TCustomDebugLog {
 public:
  using TCustomDebugLog::TCustomDebugLog;

  // The file's level clamped to the range of TLevel; the lowest member without a file.
  TLevel GetLogLevel() const {
    if constexpr (!std::is_enum_v<TLevel>) {
      throw Rtl::EInvalidCast(L"Invalid class typecast");
    } else {
      if (!Enabled()) return static_cast<TLevel>(0);
      return static_cast<TLevel>(std::min(TLogLevelRange<TLevel>::High, std::max(0, FileLevel())));
    }
  }
  void SetLogLevel(TLevel ALogLevel) noexcept { SetFileLevel(static_cast<int32_t>(ALogLevel)); }

  void WriteLog(TLevel L, const UnicodeString& AStr, TClass AOwner = nullptr) {
    TCustomDebugLog::WriteLog(Ord(L), AStr, AOwner);
  }
  // A literal becomes a string only when its line passes: a filtered call costs one comparison.
  void WriteLog(TLevel L, const wchar_t* AStr, TClass AOwner = nullptr) {
    if (Passes(Ord(L))) TCustomDebugLog::WriteLog(Ord(L), UnicodeString(AStr ? AStr : L""), AOwner);
  }
  void WriteLog(TLevel L, const UnicodeString& AFormat, Rtl::TVarRecList AValues, TClass AOwner = nullptr) {
    TCustomDebugLog::WriteLog(Ord(L), AFormat, AValues, AOwner);
  }
  void BeginProc(TLevel L, const UnicodeString& AProcName, TClass AOwner = nullptr) {
    TCustomDebugLog::BeginProc(Ord(L), AProcName, AOwner);
  }
  void BeginProc(TLevel L, const UnicodeString& AProcName, Rtl::TVarRecList AValues, TClass AOwner = nullptr) {
    TCustomDebugLog::BeginProc(Ord(L), AProcName, AValues, AOwner);
  }
  void EndProc(TLevel L, const UnicodeString& AResult = UnicodeString(), TClass AOwner = nullptr) {
    TCustomDebugLog::EndProc(Ord(L), AResult, AOwner);
  }
  void BeginNesting(TLevel L) { TCustomDebugLog::BeginNesting(Ord(L)); }
  void EndNesting(TLevel L) { TCustomDebugLog::EndNesting(Ord(L)); }

  void LogValue(TLevel L, const UnicodeString& AComment, bool AValue, TClass AOwner = nullptr) {
    TCustomDebugLog::LogValue(Ord(L), AComment, AValue, AOwner);
  }
  void LogValue(TLevel L, const UnicodeString& AComment, const UnicodeString& AValue, TClass AOwner = nullptr) {
    TCustomDebugLog::LogValue(Ord(L), AComment, AValue, AOwner);
  }
  void LogValue(TLevel L, const UnicodeString& AComment, const wchar_t* AValue, TClass AOwner = nullptr) {
    TCustomDebugLog::LogValue(Ord(L), AComment, UnicodeString(AValue ? AValue : L""), AOwner);
  }
  // Integers: unsigned ones are logged as Cardinal ("%u"), signed ones as Integer ("%d").
  template <typename T, std::enable_if_t<std::is_integral_v<T> && !std::is_same_v<T, bool>, int> = 0>
  void LogValue(TLevel L, const UnicodeString& AComment, T AValue, TClass AOwner = nullptr) {
    if constexpr (std::is_unsigned_v<T>)
      TCustomDebugLog::LogValue(Ord(L), AComment, static_cast<uint32_t>(AValue), AOwner);
    else
      TCustomDebugLog::LogValue(Ord(L), AComment, static_cast<int32_t>(AValue), AOwner);
  }
  void LogValues(TLevel L, const UnicodeString& AComment, Rtl::TVarRecList AValues, TClass AOwner = nullptr) {
    TCustomDebugLog::LogValues(Ord(L), AComment, AValues, AOwner);
  }
  void LogError(TLevel L, const UnicodeString& AComment, int32_t AErrorCode, TClass AOwner = nullptr) {
    TCustomDebugLog::LogError(Ord(L), AComment, AErrorCode, AOwner);
  }
  void LogError(TLevel L, const UnicodeString& AComment, const Rtl::Exception& AException, TClass AOwner = nullptr) {
    TCustomDebugLog::LogError(Ord(L), AComment, AException, AOwner);
  }
  // AComment is a format here, filled from AValues.
  void LogError(TLevel L, const UnicodeString& AComment, Rtl::TVarRecList AValues, int32_t AErrorCode,
                TClass AOwner = nullptr) {
    TCustomDebugLog::LogError(Ord(L), Rtl::Format(AComment, AValues), AErrorCode, AOwner);
  }
  void LogError(TLevel L, const UnicodeString& AComment, Rtl::TVarRecList AValues,
                const Rtl::Exception& AException, TClass AOwner = nullptr) {
    TCustomDebugLog::LogError(Ord(L), Rtl::Format(AComment, AValues), AException, AOwner);
  }
  void LogProcessList(TLevel L) {
    (void)GetLogLevel();  // the range of TLevel is needed here
    TCustomDebugLog::LogProcessList(Ord(L));
  }

 private:
  static int32_t Ord(TLevel L) noexcept { return static_cast<int32_t>(L); }
};

}  // namespace Ostravane
