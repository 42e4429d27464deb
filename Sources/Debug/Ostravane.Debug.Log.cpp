// The untyped core of the typed logs: the texts of values, errors and brackets.
#include "Ostravane.Debug.Log.h"

#include <tlhelp32.h>

#include "Ostravane.Debug.Common.h"
#include "Ostravane.Rtl.Handles.h"

namespace Ostravane {

using namespace Rtl;

OV_IMPLEMENT_CLASS(TCustomDebugLog, &TObject::ClassRecord)

namespace {
constexpr size_t C_MODULE_COLUMN = 30;  // the module name is padded to this, then one more blank
}

// A derived class without members of its own: it only opens the file's lock.
class TCustomDebugLog::TDebugLogFileInternal : public TDebugLogFile {
 public:
  using TDebugLogFile::Lock;
  using TDebugLogFile::Unlock;

  // Holds the file's lock across the lines of a bracket, so that no other thread's line falls
  // between them.
  class TGuard {
   public:
    explicit TGuard(TDebugLogFileInternal* AFile) noexcept : FFile(AFile) { FFile->Lock(); }
    ~TGuard() { FFile->Unlock(); }
    TGuard(const TGuard&) = delete;
    TGuard& operator=(const TGuard&) = delete;

   private:
    TDebugLogFileInternal* FFile;
  };
};


TCustomDebugLog::TCustomDebugLog(const UnicodeString& ALogName, const UnicodeString& AModuleName,
                                 int64_t AMaxFileSize)
    : FModuleName(AModuleName), FLogName(ALogName) {
  if (FModuleName.size() < C_MODULE_COLUMN) FModuleName.append(C_MODULE_COLUMN - FModuleName.size(), S_SPACE);
  FModuleName += S_SPACE;
  if (SameText(ALogName, L"bds")) return;  // the log is disabled
  FDebugLogFile = TDebugLogFile::GetLogInstance(ALogName);
  if (FDebugLogFile) FDebugLogFile->SetMaxFileSize(AMaxFileSize);
}

TCustomDebugLog::~TCustomDebugLog() {
  if (FDebugLogFile) TDebugLogFile::FreeLogInstance(FDebugLogFile);
}

TCustomDebugLog::TDebugLogFileInternal* TCustomDebugLog::File() const noexcept {
  // The object is a plain TDebugLogFile; the derived view adds nothing but access to the lock.
  return static_cast<TDebugLogFileInternal*>(FDebugLogFile);
}

void TCustomDebugLog::SetDirectWrite(bool ADirectWrite) noexcept {
  if (FDebugLogFile) FDebugLogFile->SetDirectWrite(ADirectWrite ? -1 : 0);
}

void TCustomDebugLog::WriteLog(int32_t ALogLevel, const UnicodeString& AStr, TClass AOwner) {
  if (FDebugLogFile) FDebugLogFile->WriteLog(ALogLevel, FModuleName, AStr, AOwner);
}

void TCustomDebugLog::WriteLog(int32_t ALogLevel, const UnicodeString& AFormat, TVarRecList AValues,
                               TClass AOwner) {
  if (FDebugLogFile) FDebugLogFile->WriteLog(ALogLevel, FModuleName, Format(AFormat, AValues), AOwner);
}

void TCustomDebugLog::BeginProc(int32_t ALogLevel, const UnicodeString& AProcName, TClass AOwner) {
  if (!FDebugLogFile) return;
  TDebugLogFileInternal::TGuard LLock(File());
  FDebugLogFile->BeginProc(ALogLevel, AProcName);
  FDebugLogFile->WriteLog(ALogLevel, FModuleName, Format(S_BEGIN_PROC, {AProcName}), AOwner);
  FDebugLogFile->BeginNesting(ALogLevel);
}

void TCustomDebugLog::BeginProc(int32_t ALogLevel, const UnicodeString& AProcName, TVarRecList AValues,
                                TClass AOwner) {
  if (!FDebugLogFile) return;
  TDebugLogFileInternal::TGuard LLock(File());
  BeginProc(ALogLevel, AProcName, AOwner);
  LogValues(ALogLevel, S_PARAMS, AValues, AOwner);
}

void TCustomDebugLog::EndProc(int32_t ALogLevel, const UnicodeString& AResult, TClass AOwner) {
  if (!FDebugLogFile) return;
  TDebugLogFileInternal::TGuard LLock(File());
  FDebugLogFile->EndNesting(ALogLevel);
  const UnicodeString LName = FDebugLogFile->EndProc(ALogLevel);
  FDebugLogFile->WriteLog(ALogLevel, FModuleName,
                          AResult.empty() ? Format(S_END_PROC, {LName}) : Format(S_END_METHOD, {LName, AResult}),
                          AOwner);
  FDebugLogFile->WriteLog(ALogLevel, FModuleName, UnicodeString(), AOwner);  // the bracket's separator line
}

void TCustomDebugLog::BeginNesting(int32_t ALogLevel) {
  if (FDebugLogFile) FDebugLogFile->BeginNesting(ALogLevel);
}

void TCustomDebugLog::EndNesting(int32_t ALogLevel) {
  if (FDebugLogFile) FDebugLogFile->EndNesting(ALogLevel);
}

void TCustomDebugLog::LogValue(int32_t ALogLevel, const UnicodeString& AComment, bool AValue, TClass AOwner) {
  if (FDebugLogFile)
    FDebugLogFile->WriteLog(ALogLevel, FModuleName, Format(S_VALUE_STR, {AComment, BOOL_TO_STR[AValue]}), AOwner);
}

void TCustomDebugLog::LogValue(int32_t ALogLevel, const UnicodeString& AComment, uint32_t AValue, TClass AOwner) {
  if (FDebugLogFile)
    FDebugLogFile->WriteLog(ALogLevel, FModuleName, Format(S_VALUE_CARDINAL, {AComment, AValue}), AOwner);
}

void TCustomDebugLog::LogValue(int32_t ALogLevel, const UnicodeString& AComment, int32_t AValue, TClass AOwner) {
  if (FDebugLogFile)
    FDebugLogFile->WriteLog(ALogLevel, FModuleName, Format(S_VALUE_INTEGER, {AComment, AValue}), AOwner);
}

void TCustomDebugLog::LogValue(int32_t ALogLevel, const UnicodeString& AComment, const UnicodeString& AValue,
                               TClass AOwner) {
  if (FDebugLogFile) FDebugLogFile->WriteLog(ALogLevel, FModuleName, Format(S_VALUE_STR, {AComment, AValue}), AOwner);
}

UnicodeString TCustomDebugLog::VarRecToStr(const TVarRec& V) {
  switch (V.VType) {
    case vtInteger: return IntToStr(V.VInteger);
    case vtBoolean: return BOOL_TO_STR[V.VBoolean];
    case vtChar: return AnsiToString(&V.VChar, 1);
    case vtExtended: return FloatToStr(V.VExtended);
    case vtString:
      return V.VString ? AnsiToString(reinterpret_cast<const char*>(V.VString) + 1, V.VString[0]) : UnicodeString();
    case vtPointer: return IntToHex(reinterpret_cast<uintptr_t>(V.VPointer), 8);
    case vtPChar: return V.VPChar ? AnsiToString(V.VPChar, strlen(V.VPChar)) : UnicodeString();
    case vtObject: return V.VObject ? S_OBJECT + V.VObject->ClassName() : UnicodeString(S_NIL_OBJECT);
    case vtClass: return V.VClass ? UnicodeString(S_CLASS) + V.VClass->ClassName : UnicodeString(S_NIL_CLASS);
    case vtWideChar: return UnicodeString(1, V.VWideChar);
    case vtPWideChar: return V.VPWideChar ? UnicodeString(V.VPWideChar) : UnicodeString();
    case vtAnsiString: return AnsiToString(V.VAnsiString->data(), V.VAnsiString->size());
    case vtCurrency: return CurrToStr(V.VCurrency);
    case vtVariant: return VarToUStr(static_cast<const VARIANT*>(V.VVariant));
    case vtInterface: return Format(S_INTERFACE, {V.VInterface});
    case vtWideString: return Format(L"%s", {V});  // Format knows the length of a BSTR
    case vtInt64: return IntToStr(V.VInt64);
    case vtUnicodeString: return *V.VUnicodeString;
    default: return S_UNKNOWN;
  }
}

UnicodeString TCustomDebugLog::ExecutableLogName() { return ChangeFileExt(ExtractFileName(GetModuleName(nullptr)), L""); }

UnicodeString TCustomDebugLog::LibraryModuleName() { return ExtractFileName(GetModuleName(HInstance())); }

UnicodeString TCustomDebugLog::JoinValues(TVarRecList AValues) const {
  UnicodeString LResult;
  for (const TVarRec& V : AValues) {
    if (!LResult.empty()) LResult += S_PARAM_DELIM;  // leading empty texts leave no delimiter
    LResult += VarRecToStr(V);
  }
  return LResult;
}

void TCustomDebugLog::LogValues(int32_t ALogLevel, const UnicodeString& AComment, TVarRecList AValues,
                                TClass AOwner) {
  if (FDebugLogFile)
    FDebugLogFile->WriteLog(ALogLevel, FModuleName, Format(S_VALUE_STR, {AComment, JoinValues(AValues)}), AOwner);
}

void TCustomDebugLog::LogError(int32_t ALogLevel, const UnicodeString& AComment, int32_t AErrorCode,
                               TClass AOwner) {
  if (!FDebugLogFile) return;
  FDebugLogFile->WriteLog(
      ALogLevel, FModuleName,
      Format(S_ERROR, {AComment, IntToHex(static_cast<uint32_t>(AErrorCode), 8), SysErrorMessage(AErrorCode)}), AOwner);
}

void TCustomDebugLog::LogError(int32_t ALogLevel, const UnicodeString& AComment, const Exception& AException,
                               TClass AOwner) {
  if (!FDebugLogFile) return;
  FDebugLogFile->WriteLog(ALogLevel, FModuleName,
                          Format(S_EXCEPTION, {AComment, AException.ClassName(), AException.Message}), AOwner);
}

void TCustomDebugLog::LogProcessList(int32_t ALogLevel) {
  if (!FDebugLogFile || ALogLevel <= 0 || ALogLevel > FDebugLogFile->GetLogLevel()) return;
  TDebugLogFileInternal::TGuard LLock(File());
  FDebugLogFile->WriteLog(ALogLevel, FModuleName, Format(S_BEGIN_PROC, {S_START_LOG_PROCESS}), nullptr);
  FDebugLogFile->BeginNesting(ALogLevel);
  TFileHandleOwner LSnapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  if (LSnapshot) {
    PROCESSENTRY32W LEntry{};
    LEntry.dwSize = sizeof(LEntry);
    for (BOOL LMore = Process32FirstW(LSnapshot.get(), &LEntry); LMore; LMore = Process32NextW(LSnapshot.get(), &LEntry))
      FDebugLogFile->WriteLog(ALogLevel, FModuleName, UnicodeString(LEntry.szExeFile, wcsnlen(LEntry.szExeFile, MAX_PATH)), nullptr);
  }
  FDebugLogFile->EndNesting(ALogLevel);
  FDebugLogFile->WriteLog(ALogLevel, FModuleName, Format(S_END_PROC, {S_START_LOG_PROCESS}), nullptr);
  FDebugLogFile->WriteLog(ALogLevel, FModuleName, UnicodeString(), nullptr);
}

}  // namespace Ostravane
