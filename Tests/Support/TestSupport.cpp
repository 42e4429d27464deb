// Helpers shared by all tests.
#include "TestSupport.h"

#include <algorithm>
#include <stdexcept>

#include <tlhelp32.h>

#include "Ostravane.Debug.Log.h"
#include "Ostravane.Rtl.Handles.h"

namespace OvTest {

using Ostravane::Rtl::TFileHandleOwner;
using Ostravane::Rtl::TFindHandleOwner;
using Ostravane::Rtl::THandleOwner;

TTempDir::TTempDir() {
  wchar_t LBase[MAX_PATH + 1];
  GetTempPathW(MAX_PATH, LBase);
  static LONG GCounter = 0;
  for (int LTry = 0;; ++LTry) {
    FPath = std::wstring(LBase) + L"ovrtl-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
            std::to_wstring(InterlockedIncrement(&GCounter)) + L"-" + std::to_wstring(GetTickCount()) + L"\\";
    if (CreateDirectoryW(FPath.c_str(), nullptr)) return;
    if (LTry > 100) throw std::runtime_error("can't make a temporary folder");
  }
}

TTempDir::~TTempDir() { DeleteTree(FPath); }

void DeleteTree(const std::wstring& APath) {
  std::wstring LDir = APath;
  if (!LDir.empty() && LDir.back() == L'\\') LDir.pop_back();
  WIN32_FIND_DATAW LData;
  TFindHandleOwner LFind(FindFirstFileW((LDir + L"\\*").c_str(), &LData));
  if (LFind) {
    do {
      const std::wstring LName = LData.cFileName;
      if (LName == L"." || LName == L"..") continue;
      const std::wstring LFull = LDir + L"\\" + LName;
      if (LData.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
        DeleteTree(LFull);
      } else {
        SetFileAttributesW(LFull.c_str(), FILE_ATTRIBUTE_NORMAL);
        DeleteFileW(LFull.c_str());
      }
    } while (FindNextFileW(LFind.get(), &LData));
  }
  LFind.reset();
  RemoveDirectoryW(LDir.c_str());
}

namespace {
constexpr wchar_t C_TEMP_KEY_PREFIX[] = L"OvRTLTest-";

// Keys of test processes that ended without their clean-up (killed at a time-out, say).
void DeleteStaleRegKeys(HKEY ARoot, REGSAM AView) {
  HKEY LSoftware = nullptr;
  if (RegOpenKeyExW(ARoot, L"Software", 0, KEY_READ | AView, &LSoftware) != ERROR_SUCCESS) return;
  std::vector<std::wstring> LStale;
  wchar_t LName[256];
  for (DWORD I = 0;; ++I) {
    DWORD LLength = 256;
    if (RegEnumKeyExW(LSoftware, I, LName, &LLength, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
    const std::wstring S(LName, LLength);
    if (S.rfind(C_TEMP_KEY_PREFIX, 0) != 0) continue;
    const DWORD LPid = wcstoul(S.c_str() + wcslen(C_TEMP_KEY_PREFIX), nullptr, 10);
    THandleOwner LProcess(OpenProcess(SYNCHRONIZE, FALSE, LPid));
    if (!LProcess || WaitForSingleObject(LProcess.get(), 0) == WAIT_OBJECT_0) LStale.push_back(S);
  }
  RegCloseKey(LSoftware);
  for (const std::wstring& S : LStale) DeleteRegTree(ARoot, L"Software\\" + S, AView);
}
}  // namespace

std::wstring TTempRegKey::UniqueName() {
  static LONG GCounter = 0;
  return C_TEMP_KEY_PREFIX + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(InterlockedIncrement(&GCounter)) +
         L"-" + std::to_wstring(GetTickCount());
}

TTempRegKey::TTempRegKey(HKEY ARoot, REGSAM AView, const std::wstring& AName)
    : FRoot(ARoot), FView(AView), FPath(L"Software\\" + AName) {
  static bool GCleaned = false;
  if (!GCleaned) {
    GCleaned = true;
    for (HKEY LRoot : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE})
      for (REGSAM LView : {KEY_WOW64_32KEY, KEY_WOW64_64KEY}) DeleteStaleRegKeys(LRoot, LView);
  }
  HKEY LKey = nullptr;
  if (RegCreateKeyExW(FRoot, FPath.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | FView, nullptr, &LKey, nullptr) != ERROR_SUCCESS)
    throw std::runtime_error("can't make a temporary registry key");
  RegCloseKey(LKey);
}

TTempRegKey::~TTempRegKey() { DeleteRegTree(FRoot, FPath, FView); }

bool DeleteRegTree(HKEY ARoot, const std::wstring& APath, REGSAM AView) {
  HKEY LKey = nullptr;
  if (RegOpenKeyExW(ARoot, APath.c_str(), 0, KEY_ALL_ACCESS | AView, &LKey) == ERROR_SUCCESS) {
    RegDeleteTreeW(LKey, nullptr);
    RegCloseKey(LKey);
  }
  const LONG LCode = AView ? RegDeleteKeyExW(ARoot, APath.c_str(), AView, 0) : RegDeleteKeyW(ARoot, APath.c_str());
  return LCode == ERROR_SUCCESS || LCode == ERROR_FILE_NOT_FOUND;
}

namespace {
// The log folder of a process whose tests didn't set one: removed when the process ends.
const std::wstring& ProcessLogFolder() {
  static const TTempDir LFolder;
  return LFolder.Path();
}

size_t FileSizeOf(const std::wstring& AFileName) {
  WIN32_FILE_ATTRIBUTE_DATA LData;
  if (!GetFileAttributesExW(AFileName.c_str(), GetFileExInfoStandard, &LData)) return 0;
  return LData.nFileSizeLow;
}
}  // namespace

TLogCapture::TLogCapture() {
  using Ostravane::TDebugLogFile;
  const std::wstring LName = Ostravane::TCustomDebugLog::ExecutableLogName();
  TDebugLogFile* LLog = TDebugLogFile::GetLogInstance(LName);
  if (!LLog) throw std::runtime_error("the library isn't started");
  FLog = LLog;
  if (TDebugLogFile::GetLogPath().empty()) TDebugLogFile::SetLogPath(ProcessLogFolder());
  FOldLevel = LLog->GetLogLevel();
  FOldDirectWrite = LLog->GetDirectWrite();
  LLog->SetLogLevel(0x7fffffff);
  LLog->SetDirectWrite(TRUE);
  LLog->WriteLog(1, L"", L"-- capture --", nullptr);  // flushes what waited and opens the file
  FFileName = TDebugLogFile::GetLogPath() + LName + L".log";
  FStart = FileSizeOf(FFileName);
}

TLogCapture::~TLogCapture() {
  auto* LLog = static_cast<Ostravane::TDebugLogFile*>(FLog);
  LLog->SetLogLevel(FOldLevel);
  LLog->SetDirectWrite(FOldDirectWrite);
  Ostravane::TDebugLogFile::FreeLogInstance(LLog);
}

std::vector<std::wstring> TLogCapture::NewLines() const {
  const std::vector<unsigned char> LBytes = ReadFileBytes(FFileName);
  if (LBytes.size() <= FStart) return {};
  std::wstring LText((LBytes.size() - FStart) / 2, L'\0');
  std::memcpy(LText.data(), LBytes.data() + FStart, LText.size() * 2);
  std::vector<std::wstring> LLines;
  for (const std::wstring& L : SplitLines(LText)) LLines.push_back(L.size() > 24 ? L.substr(24) : L);
  return LLines;
}

bool TLogCapture::Logged(const std::wstring& AText) const {
  for (const std::wstring& L : NewLines())
    if (L.find(AText) != std::wstring::npos) return true;
  return false;
}

namespace {
size_t ReadProcessHandleCount();
}  // namespace

size_t CountProcessHandles() {
  // Threads that are still starting (the library's pool, right after its start) open handles of
  // their own for a moment: the count is taken once three readings in a row agree.
  size_t LLast = ReadProcessHandleCount(), LSame = 1;
  for (int LRound = 0; LSame < 3 && LRound < 150; ++LRound) {
    Sleep(20);
    const size_t LNow = ReadProcessHandleCount();
    LSame = LNow == LLast ? LSame + 1 : 1;
    LLast = LNow;
  }
  return LLast;
}

namespace {
size_t ReadProcessHandleCount() {
  struct THandleEntry {  // SYSTEM_HANDLE_TABLE_ENTRY_INFO as Wine fills it
    ULONG OwnerPid;
    BYTE ObjectType;
    BYTE HandleFlags;
    USHORT HandleValue;
    PVOID ObjectPointer;
    ULONG AccessMask;
  };
  struct THandleInfo {
    ULONG Count;
    THandleEntry Handles[1];
  };
  using TNtQuerySystemInformation = LONG(WINAPI*)(ULONG, PVOID, ULONG, PULONG);
  static const auto LQuery = reinterpret_cast<TNtQuerySystemInformation>(
      reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
  if (!LQuery) throw std::runtime_error("NtQuerySystemInformation is missing");
  constexpr LONG C_STATUS_INFO_LENGTH_MISMATCH = static_cast<LONG>(0xC0000004);
  std::vector<unsigned char> LBuffer(1 << 16);
  LONG LStatus;
  ULONG LNeeded = 0;
  while ((LStatus = LQuery(16, LBuffer.data(), static_cast<ULONG>(LBuffer.size()), &LNeeded)) ==
         C_STATUS_INFO_LENGTH_MISMATCH)
    LBuffer.resize(LBuffer.size() * 2);
  if (LStatus < 0) throw std::runtime_error("NtQuerySystemInformation(SystemHandleInformation) failed");
  const auto* LInfo = reinterpret_cast<const THandleInfo*>(LBuffer.data());
  const ULONG LPid = GetCurrentProcessId();
  size_t LCount = 0;
  for (ULONG I = 0; I < LInfo->Count; ++I)
    if (LInfo->Handles[I].OwnerPid == LPid) ++LCount;
  return LCount;
}
}  // namespace

size_t CountBackTo(size_t (*ACount)(), size_t AExpected, DWORD ATimeoutMs) {
  const ULONGLONG LEnd = GetTickCount64() + ATimeoutMs;
  size_t LCount = ACount();
  while (LCount != AExpected && GetTickCount64() < LEnd) {
    Sleep(100);
    LCount = ACount();
  }
  return LCount;
}

size_t CountProcessThreads() {
  TFileHandleOwner LSnapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
  if (!LSnapshot) throw std::runtime_error("CreateToolhelp32Snapshot failed");
  THREADENTRY32 LEntry{};
  LEntry.dwSize = sizeof(LEntry);
  size_t LCount = 0;
  for (BOOL LMore = Thread32First(LSnapshot.get(), &LEntry); LMore; LMore = Thread32Next(LSnapshot.get(), &LEntry))
    if (LEntry.th32OwnerProcessID == GetCurrentProcessId()) ++LCount;
  return LCount;
}

std::wstring BinDir() {
  wchar_t LPath[MAX_PATH];
  const DWORD N = GetModuleFileNameW(nullptr, LPath, MAX_PATH);
  std::wstring S(LPath, N);
  return S.substr(0, S.rfind(L'\\') + 1);
}

TChildResult RunChild(const std::wstring& AProgram, const std::wstring& AArguments, DWORD ATimeoutMs) {
  const std::wstring LProgram = AProgram.find(L'\\') == std::wstring::npos ? BinDir() + AProgram : AProgram;
  std::wstring LCommandLine = L"\"" + LProgram + L"\" " + AArguments;
  STARTUPINFOW LStartup{};
  LStartup.cb = sizeof(LStartup);
  PROCESS_INFORMATION LInfo{};
  if (!CreateProcessW(LProgram.c_str(), LCommandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                      &LStartup, &LInfo))
    throw std::runtime_error("can't start a child program");
  THandleOwner LProcess(LInfo.hProcess), LThread(LInfo.hThread);
  TChildResult LResult;
  if (WaitForSingleObject(LProcess.get(), ATimeoutMs) != WAIT_OBJECT_0) {
    TerminateProcess(LProcess.get(), 255);
    LResult.TimedOut = true;
  }
  GetExitCodeProcess(LProcess.get(), &LResult.ExitCode);
  return LResult;
}

bool PumpMessagesUntil(const std::function<bool()>& ADone, DWORD ATimeoutMs) {
  const DWORD LStart = GetTickCount();
  while (!ADone()) {
    const DWORD LElapsed = GetTickCount() - LStart;
    if (LElapsed >= ATimeoutMs) return false;
    // Short slices: ADone may turn true on another thread without a message to wake this one.
    MsgWaitForMultipleObjectsEx(0, nullptr, std::min<DWORD>(ATimeoutMs - LElapsed, 10), QS_ALLINPUT,
                                MWMO_INPUTAVAILABLE);
    MSG LMsg;
    while (PeekMessageW(&LMsg, nullptr, 0, 0, PM_REMOVE)) {
      TranslateMessage(&LMsg);
      DispatchMessageW(&LMsg);
    }
  }
  return true;
}

std::vector<unsigned char> ReadFileBytes(const std::wstring& AFileName) {
  TFileHandleOwner LFile(CreateFileW(AFileName.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                     nullptr, OPEN_EXISTING, 0, nullptr));
  if (!LFile) throw std::runtime_error("can't open a file to read it");
  LARGE_INTEGER LSize;
  GetFileSizeEx(LFile.get(), &LSize);
  std::vector<unsigned char> LBytes(static_cast<size_t>(LSize.QuadPart));
  DWORD LRead = 0;
  if (!LBytes.empty()) ReadFile(LFile.get(), LBytes.data(), static_cast<DWORD>(LBytes.size()), &LRead, nullptr);
  LBytes.resize(LRead);
  return LBytes;
}

void WriteFileBytes(const std::wstring& AFileName, const std::vector<unsigned char>& ABytes) {
  TFileHandleOwner LFile(CreateFileW(AFileName.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
  if (!LFile) throw std::runtime_error("can't create a file");
  DWORD LWritten;
  WriteFile(LFile.get(), ABytes.data(), static_cast<DWORD>(ABytes.size()), &LWritten, nullptr);
}

std::vector<unsigned char> Utf16Bytes(const std::wstring& AText) {
  const auto* P = reinterpret_cast<const unsigned char*>(AText.data());
  return std::vector<unsigned char>(P, P + AText.size() * sizeof(wchar_t));
}

std::wstring ReadUtf16File(const std::wstring& AFileName) {
  const std::vector<unsigned char> LBytes = ReadFileBytes(AFileName);
  if (LBytes.size() < 2 || LBytes[0] != 0xFF || LBytes[1] != 0xFE) throw std::runtime_error("no UTF-16 byte order mark");
  std::wstring LText((LBytes.size() - 2) / 2, L'\0');
  std::memcpy(LText.data(), LBytes.data() + 2, LText.size() * 2);
  return LText;
}

std::vector<std::wstring> SplitLines(const std::wstring& AText) {
  std::vector<std::wstring> LLines;
  size_t LStart = 0;
  while (LStart < AText.size()) {
    const size_t LEnd = AText.find(L"\r\n", LStart);
    if (LEnd == std::wstring::npos) {
      LLines.push_back(AText.substr(LStart));
      break;
    }
    LLines.push_back(AText.substr(LStart, LEnd - LStart));
    LStart = LEnd + 2;
  }
  return LLines;
}

}  // namespace OvTest
