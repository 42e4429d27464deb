// The log file: registry of instances, buffering, the file and the debugger mirror.
#include "Ostravane.Debug.LogFile.h"

#include <algorithm>

#include "Ostravane.Debug.Common.h"

namespace Ostravane {

using namespace Rtl;

OV_IMPLEMENT_CLASS(TDebugLogFile, &TObject::ClassRecord)

TCriticalSection TDebugLogFile::FCSInstances;

namespace {
constexpr size_t C_CLASS_COLUMN = 26;
constexpr wchar_t C_BLANKS[] = L"                          ";  // C_CLASS_COLUMN blanks
static_assert(sizeof(C_BLANKS) / sizeof(wchar_t) - 1 == C_CLASS_COLUMN);

constexpr double C_MS_PER_DAY = 86400000.0;
constexpr double C_DAYS_1601_TO_1899 = 109205.0;  // 1601-01-01 to 1899-12-30, the clock's origins

const wchar_t* OwnerName(TClass AOwner) noexcept { return AOwner ? AOwner->ClassName : S_UNKNOWN; }
}  // namespace

// ---- The registry of instances ------------------------------------------------------------------

void TDebugLogFile::Init() {
  FIsDebuggerPresent = IsDebuggerPresent() != FALSE;
  TCSGuard LGuard(FCSInstances);
  if (!FInstances) FInstances = new std::vector<TDebugLogFile*>();
}

void TDebugLogFile::Done() {
  TCSGuard LGuard(FCSInstances);
  delete FInstances;
  FInstances = nullptr;
  // With the unit stopped, the next start may be told another folder.
  FLogPathSet.store(false, std::memory_order_release);
  FLogPath.clear();
}

TDebugLogFile* TDebugLogFile::GetLogInstance(const UnicodeString& ALogName) {
  TCSGuard LGuard(FCSInstances);
  if (!FInstances) return nullptr;
  TDebugLogFile* LResult = nullptr;
  for (TDebugLogFile* LLog : *FInstances)
    if (SameText(LLog->FName, ALogName)) {
      LResult = LLog;
      break;
    }
  if (!LResult) {
    auto LNew = std::make_unique<TDebugLogFile>(ALogName);
    FInstances->push_back(LNew.get());
    LResult = LNew.release();
  }
  ++LResult->FInstanceCount;
  return LResult;
}

void TDebugLogFile::FreeLogInstance(TDebugLogFile*& ALog) {
  TCSGuard LGuard(FCSInstances);
  if (!FInstances || !ALog) return;
  const auto LPos = std::find(FInstances->begin(), FInstances->end(), ALog);
  if (LPos == FInstances->end()) return;
  if (--ALog->FInstanceCount < 1) {
    FInstances->erase(LPos);
    delete ALog;
    ALog = nullptr;
  }
}

void TDebugLogFile::SetLogPath(const UnicodeString& APath) {
  TCSGuard LGuard(FCSInstances);
  if (FLogPathSet.load(std::memory_order_acquire) || APath.empty()) return;
  FLogPath = IncludeTrailingPathDelimiter(APath);
  FLogPathSet.store(true, std::memory_order_release);
}

UnicodeString TDebugLogFile::GetLogPath() {
  return FLogPathSet.load(std::memory_order_acquire) ? FLogPath : UnicodeString();
}

// ---- An instance --------------------------------------------------------------------------------

TDebugLogFile::TDebugLogFile(const UnicodeString& AName)
    : FName(AName),
      FFixedNesting(std::char_traits<wchar_t>::length(S_DATA_TIME_FORMAT) + 57, S_SPACE),
      FLineBreak(L"\r\n") {
  if (FindCmdLineSwitch(L"debug", true)) FLogLevel = 0x7fffffff;
}

TDebugLogFile::~TDebugLogFile() {
  try {
    if (FBuffer.Size() > 0) FlushBuffer();
  } catch (...) {
  }
  if (FFileHandle != nullptr && FFileHandle != INVALID_HANDLE_VALUE) CloseHandle(FFileHandle);
}

void TDebugLogFile::SetMaxFileSize(int64_t AValue) {
  TCSGuard LGuard(FCSLog);
  FMaxFileSize = std::max<int64_t>(AValue, 0);
}

TStringList* TDebugLogFile::GetProcList(uint32_t AThreadId) {
  std::unique_ptr<TStringList>& LList = FThreadsProc[AThreadId];
  if (!LList) LList = std::make_unique<TStringList>();
  return LList.get();
}

void TDebugLogFile::BeginProc(int32_t ALogLevel, const UnicodeString& AProcName) {
  if (!Passes(ALogLevel)) return;
  TCSGuard LGuard(FCSLog);
  GetProcList(GetCurrentThreadId())->Add(AProcName);
}

UnicodeString TDebugLogFile::EndProc(int32_t ALogLevel) {
  UnicodeString LResult;
  if (!Passes(ALogLevel)) return LResult;
  TCSGuard LGuard(FCSLog);
  const auto LEntry = FThreadsProc.find(GetCurrentThreadId());
  if (LEntry == FThreadsProc.end()) return LResult;
  TStringList& LList = *LEntry->second;
  if (LList.Count() > 0) {
    LResult = LList[LList.Count() - 1];
    LList.Delete(LList.Count() - 1);
  }
  if (LList.Count() == 0) FThreadsProc.erase(LEntry);
  return LResult;
}

void TDebugLogFile::BeginNesting(int32_t ALogLevel) {
  if (!Passes(ALogLevel)) return;
  TCSGuard LGuard(FCSLog);
  FNesting.append(2, S_SPACE);
}

void TDebugLogFile::EndNesting(int32_t ALogLevel) {
  if (!Passes(ALogLevel)) return;
  TCSGuard LGuard(FCSLog);
  if (FNesting.size() >= 2) FNesting.erase(0, 2);
}

void TDebugLogFile::WriteLog(int32_t ALogLevel, const UnicodeString& AModuleName, const UnicodeString& AStr,
                             TClass AOwner) noexcept {
  if (!Passes(ALogLevel)) return;
  TCSGuard LGuard(FCSLog);
  try {
    if (FIsDebuggerPresent) WriteLogToDebugger(AModuleName, AStr, AOwner);
    WriteLogToFile(AModuleName, AStr, AOwner);
  } catch (...) {
    // A diagnostic log never stops the program: a line that can't be kept (no memory) is dropped.
  }
}

void TDebugLogFile::WriteLogToDebugger(const UnicodeString& AModuleName, const UnicodeString& AStr,
                                       TClass AOwner) {
  const wchar_t* LClassName = OwnerName(AOwner);
  const size_t LClassLength = wcslen(LClassName);
  UnicodeString LLine;
  LLine.reserve(AModuleName.size() + C_CLASS_COLUMN + FNesting.size() + AStr.size() + 4);
  LLine += AModuleName;
  LLine += LClassName;
  if (LClassLength < C_CLASS_COLUMN) LLine.append(C_BLANKS, C_CLASS_COLUMN - LClassLength);
  LLine += FNesting;
  LLine += AStr;
  LLine.append(4, S_SPACE);
  OutputDebugStringW(LLine.c_str());
}

void TDebugLogFile::WriteLogToFile(const UnicodeString& AModuleName, const UnicodeString& AStr, TClass AOwner) {
  const int64_t LNow = LocalMilliseconds();
  if (LNow != FLastDate) {
    FLastDate = LNow;
    FLastDateStr = DateTimeToString(S_DATA_TIME_FORMAT, static_cast<double>(LNow) / C_MS_PER_DAY - C_DAYS_1601_TO_1899);
  }
  const wchar_t* LClassName = OwnerName(AOwner);
  const size_t LClassLength = wcslen(LClassName);
  AppendText(FLastDateStr.data(), FLastDateStr.size());
  AppendText(AModuleName.data(), AModuleName.size());
  AppendText(LClassName, LClassLength);
  if (LClassLength < C_CLASS_COLUMN) AppendText(C_BLANKS, C_CLASS_COLUMN - LClassLength);
  AppendText(FNesting.data(), FNesting.size());

  size_t LBreak = AStr.find(FLineBreak);
  if (LBreak == UnicodeString::npos) {
    AppendText(AStr.data(), AStr.size());
  } else {
    // Continuation lines start under the message of the first one.
    size_t LStart = 0;
    while (LBreak != UnicodeString::npos) {
      AppendText(AStr.data() + LStart, LBreak - LStart);
      AppendText(FLineBreak.data(), FLineBreak.size());
      AppendText(FFixedNesting.data(), FFixedNesting.size());
      AppendText(FNesting.data(), FNesting.size());
      LStart = LBreak + FLineBreak.size();
      LBreak = AStr.find(FLineBreak, LStart);
    }
    AppendText(AStr.data() + LStart, AStr.size() - LStart);
  }
  AppendText(FLineBreak.data(), FLineBreak.size());

  if (GetDirectWrite() || FBuffer.Size() >= static_cast<size_t>(I_BUFFER_SIZE)) FlushBuffer();
}

// The local time as GetLocalTime tells it, at a fraction of its cost: the system time with the
// local offset, which is taken again once a second (it changes with daylight saving).
int64_t TDebugLogFile::LocalMilliseconds() noexcept {
  FILETIME LUtc;
  GetSystemTimeAsFileTime(&LUtc);
  const int64_t LUtc100ns = (static_cast<int64_t>(LUtc.dwHighDateTime) << 32) | LUtc.dwLowDateTime;
  const int64_t LUtcMs = LUtc100ns / 10000;
  if (LUtcMs / 1000 != FBiasSecond) {
    FILETIME LLocal;
    if (FileTimeToLocalFileTime(&LUtc, &LLocal)) {
      const int64_t LLocal100ns = (static_cast<int64_t>(LLocal.dwHighDateTime) << 32) | LLocal.dwLowDateTime;
      FBias = (LLocal100ns - LUtc100ns) / 10000;
    }
    FBiasSecond = LUtcMs / 1000;
  }
  return LUtcMs + FBias;
}

void TDebugLogFile::CheckOpenFile() {
  if (FFileHandle != nullptr) return;
  const UnicodeString LLogPath = GetLogPath();
  if (LLogPath.empty()) return;
  ForceDirectories(LLogPath);
  const UnicodeString LFileName = LLogPath + FName + L".log";
  // Without a limit every process starts its log afresh; with one, it carries on from the old end.
  if (FMaxFileSize == 0 && FileExists(LFileName)) DeleteFile(LFileName);
  FFileHandle = CreateFileW(LFileName.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                            nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (FFileHandle != INVALID_HANDLE_VALUE) SetFilePointer(FFileHandle, 0, nullptr, FILE_END);
}

void TDebugLogFile::FlushBuffer() {
  CheckOpenFile();
  // Without a folder the lines wait for it; with a file that couldn't be opened they would only
  // gather for ever, since the open is never tried again: they are dropped.
  if (FFileHandle == INVALID_HANDLE_VALUE) FBuffer.Clear();
  if (FFileHandle == nullptr || FFileHandle == INVALID_HANDLE_VALUE) return;
  // All 64 bits of the size: a log past 4 GiB is still measured right against its limit.
  LARGE_INTEGER LSize{};
  int64_t LFileSize = GetFileSizeEx(FFileHandle, &LSize) ? LSize.QuadPart : 0;
  if (FMaxFileSize != 0 && static_cast<int64_t>(FBuffer.Size()) + LFileSize > FMaxFileSize) {
    SetFilePointer(FFileHandle, 0, nullptr, FILE_BEGIN);
    SetEndOfFile(FFileHandle);
    LFileSize = 0;
  }
  DWORD LWritten;
  if (LFileSize == 0) {
    const wchar_t LBom = C_UNICODE_CHAR;
    WriteFile(FFileHandle, &LBom, sizeof(LBom), &LWritten, nullptr);
  }
  WriteFile(FFileHandle, FBuffer.Memory(), static_cast<DWORD>(FBuffer.Size()), &LWritten, nullptr);
  FBuffer.Clear();
}

}  // namespace Ostravane
