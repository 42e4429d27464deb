// The registry of libraries loaded on demand, and the road of every late-bound call.
#include "Ostravane.DllRoutines.h"

#include <shlwapi.h>

#include <cstring>

namespace Ostravane {

using namespace Rtl;

OV_IMPLEMENT_CLASS(DllRoutines, nullptr)
OV_IMPLEMENT_CLASS(TLibraryItem, &TObject::ClassRecord)

// Held for a list search and a name lookup on every late-bound call: worth spinning for.
TCriticalSection DllRoutines::FCSMain{4000};
TDllResolverHook DllRoutines::FLoader{&::LoadLibraryExW, &::FreeLibrary, &::GetProcAddress, &::LoadStringW};

namespace {

constexpr uint32_t C_NO_LIST = 8;            // the registry is gone
constexpr uint32_t C_NO_LAST_ERROR = 1006;   // a failed load that left no code
constexpr HRESULT C_PROC_MISSING = 1;
constexpr HRESULT C_NO_HANDLE = 6;
constexpr uint32_t C_AS_IMAGE_RESOURCE = 32;  // LOAD_LIBRARY_AS_IMAGE_RESOURCE
constexpr int C_RESOURCE_BUFFER = 260;
constexpr uint32_t C_EXCEPTION_CODE = 2;     // what GetInstance reports for an exception on the way
static_assert(sizeof(DLLVERSIONINFO2) == 32 && sizeof(DLLVERSIONINFO) == 20, "the system's version records");

constexpr wchar_t S_TRY_LOAD[] = L"Try load library \"%0:s\".";
constexpr wchar_t S_LOADED[] = L"Loaded library \"%0:s\".";
constexpr wchar_t S_LOAD_ERROR[] = L"Error loading library \"%0:s\".";
constexpr wchar_t S_TRY_UNLOAD[] = L"Try unload library \"%0:s\".";
constexpr wchar_t S_UNLOADED[] = L"Unloaded library \"%0:s\".";
constexpr wchar_t S_UNLOAD_ERROR[] = L"Error unloading library \"%0:s\".";
constexpr wchar_t S_COUNTER_LEFT[] = L"For library \"%0:s\" load counter = %1:s.";
constexpr wchar_t S_INIT_ERROR[] =
    L"An error occurred while loading library \"%s\".\r\n\r\nError code: 0x%s\r\nError message: %s\r\n\r\n"
    L"It may have been removed. Please reinstall the application. If the problem persists, contact technical "
    L"support.";

// Names compare as CompareStringOrdinal without regard to case does. Every late-bound call compares
// its module's name with the registry's, so equal characters are taken two at a time and only a
// differing pair is folded: a pair of ASCII characters here, anything else by the system.
bool SameName(std::wstring_view A, std::wstring_view B) noexcept {
  const size_t N = A.size();
  if (N != B.size()) return false;
  const wchar_t* LA = A.data();
  const wchar_t* LB = B.data();
  for (size_t I = 0; I < N; I += 2) {
    if (I + 1 < N) {
      uint32_t LPairA, LPairB;
      std::memcpy(&LPairA, LA + I, sizeof(LPairA));
      std::memcpy(&LPairB, LB + I, sizeof(LPairB));
      if (LPairA == LPairB) continue;
    }
    for (size_t J = I; J < I + 2 && J < N; ++J) {
      wchar_t CA = LA[J], CB = LB[J];
      if (CA == CB) continue;
      if ((CA | CB) >= 0x80)
        return CompareStringOrdinal(LA, static_cast<int>(N), LB, static_cast<int>(N), TRUE) == CSTR_EQUAL;
      if (CA >= L'A' && CA <= L'Z') CA += L'a' - L'A';
      if (CB >= L'A' && CB <= L'Z') CB += L'a' - L'A';
      if (CA != CB) return false;
    }
  }
  return true;
}

// The first four characters of a name with the ASCII case bit set, packed: names that are equal
// without regard to case have equal keys, so a differing key rejects a name in one comparison. 0
// when the name is shorter or one of them isn't ASCII (whose case the system decides): no rejection.
uint64_t NameKey(std::wstring_view AName) noexcept {
  if (AName.size() < 4) return 0;
  uint32_t LLow, LHigh;
  std::memcpy(&LLow, AName.data(), sizeof(LLow));
  std::memcpy(&LHigh, AName.data() + 2, sizeof(LHigh));
  if ((LLow | LHigh) & 0xFF80FF80u) return 0;
  return static_cast<uint64_t>(LHigh | 0x00200020u) << 32 | (LLow | 0x00200020u);
}

// The 8-bit form of a function name, in the system's code page. A short ASCII name (every export
// name in practice) is narrowed into the caller's stack buffer; only another name takes the system's
// conversion and a string.
constexpr size_t C_SHORT_NAME = 128;

bool NarrowAscii(const UnicodeString& AName, char (&ABuffer)[C_SHORT_NAME]) noexcept {
  const size_t N = AName.size();
  if (N >= C_SHORT_NAME) return false;
  for (size_t I = 0; I < N; ++I) {
    if (AName[I] >= 0x80) return false;
    ABuffer[I] = static_cast<char>(AName[I]);
  }
  ABuffer[N] = '\0';
  return true;
}

AnsiString ToAnsi(const UnicodeString& AName) {
  const int N = WideCharToMultiByte(CP_ACP, 0, AName.c_str(), static_cast<int>(AName.size()), nullptr, 0, nullptr,
                                    nullptr);
  AnsiString LResult(N > 0 ? static_cast<size_t>(N) : 0, '\0');
  if (N > 0)
    WideCharToMultiByte(CP_ACP, 0, AName.c_str(), static_cast<int>(AName.size()), LResult.data(), N, nullptr, nullptr);
  return LResult;
}

// A system reference of its own to the module that holds AAddress, for the length of a scope.
class TModulePin {
 public:
  explicit TModulePin(const void* AAddress) noexcept {
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, static_cast<LPCWSTR>(AAddress), &FModule))
      FModule = nullptr;
  }
  ~TModulePin() {
    if (FModule) ::FreeLibrary(FModule);
  }
  TModulePin(const TModulePin&) = delete;
  TModulePin& operator=(const TModulePin&) = delete;

 private:
  HMODULE FModule = nullptr;
};

}  // namespace

// ---- Log lines ----------------------------------------------------------------------------------
// The texts are formatted only for a line that passes the level: a load costs no formatting while
// the log is silent.

namespace {

void LogInfo(TDebugLog<TDllLogLevel>* ALog, const wchar_t* AFormat, const UnicodeString& AName) {
  if (ALog && ALog->Passes(static_cast<int32_t>(TDllLogLevel::dllInfo)))
    ALog->WriteLog(TDllLogLevel::dllInfo, AFormat, {AName}, DllRoutines::StaticClass());
}

void LogError(TDebugLog<TDllLogLevel>* ALog, const wchar_t* AFormat, TVarRecList AValues, uint32_t AErrorCode) {
  if (ALog && ALog->Passes(static_cast<int32_t>(TDllLogLevel::dllError)))
    ALog->LogError(TDllLogLevel::dllError, AFormat, AValues, static_cast<int32_t>(AErrorCode),
                   DllRoutines::StaticClass());
}

}  // namespace

// ---- TLibraryItem -------------------------------------------------------------------------------

TLibraryItem::TLibraryItem(const UnicodeString& AName, uint32_t AFlag)
    : FLoadFlag(AFlag), FName(AName), FNameKey(NameKey(AName)) {}

TLibraryItem::~TLibraryItem() {
  try {
    FreeLibrary();
    const int32_t LCounter = FLoadCounter.load();
    if (LCounter != 0)
      LogError(DllRoutines::FDebugLog, S_COUNTER_LEFT, {FName, IntToStr(LCounter)}, ERROR_INVALID_HANDLE);
  } catch (...) {
    // A destructor gives the module back whatever a log line did.
  }
  if (FHandle != 0) DllRoutines::FLoader.FreeLibrary(reinterpret_cast<HMODULE>(FHandle));
  FLoadCounter.store(0);
  FHandle = 0;
}

void TLibraryItem::LoadLibrary(uint32_t AFlag) {
  LogInfo(DllRoutines::FDebugLog, S_TRY_LOAD, FName);
  if (FHandle == 0 && FErrorCode == 0) {
    SetLastError(0);
    const HMODULE LModule = DllRoutines::FLoader.LoadLibraryExW(FName.c_str(), nullptr, AFlag);
    const uintptr_t LHandle = reinterpret_cast<uintptr_t>(LModule);
    if (LHandle == 0 || LHandle == 0xFFFFFFFF) {
      FHandle = 0;
      FErrorCode = GetLastError();
      if (FErrorCode == 0) FErrorCode = C_NO_LAST_ERROR;
    } else {
      FHandle = LHandle;
    }
  }
  if (FErrorCode == 0) {
    FLoadCounter.fetch_add(1);
    LogInfo(DllRoutines::FDebugLog, S_LOADED, FName);
  } else {
    LogError(DllRoutines::FDebugLog, S_LOAD_ERROR, {FName}, FErrorCode);
  }
}

void TLibraryItem::FreeLibrary() {
  if (FHandle == 0) return;
  LogInfo(DllRoutines::FDebugLog, S_TRY_UNLOAD, FName);
  uint32_t LError = 0;
  if (FLoadCounter.load() < 2) {
    // Cleared right before the call (not before the log line, whose file writes may set it), so
    // that a failure without a code of its own reads as 6.
    SetLastError(0);
    if (DllRoutines::FLoader.FreeLibrary(reinterpret_cast<HMODULE>(FHandle))) {
      FHandle = 0;
      FErrorCode = 0;
      FGetInstanceProc = nullptr;
      FDllCanUnloadNowProc = nullptr;
    } else {
      LError = GetLastError();
      if (LError == 0) LError = ERROR_INVALID_HANDLE;
    }
  }
  if (LError == 0) {
    FLoadCounter.fetch_sub(1);
    LogInfo(DllRoutines::FDebugLog, S_UNLOADED, FName);
  } else {
    LogError(DllRoutines::FDebugLog, S_UNLOAD_ERROR, {FName}, LError);
  }
}

HRESULT TLibraryItem::GetProcAddr(const char* AProcName, void*& AProc) {
  AProc = nullptr;
  if (FHandle == 0) return C_NO_HANDLE;
  AProc = reinterpret_cast<void*>(DllRoutines::FLoader.GetProcAddress(reinterpret_cast<HMODULE>(FHandle), AProcName));
  return AProc ? S_OK : C_PROC_MISSING;
}

HRESULT TLibraryItem::GetProcAddr(const UnicodeString& AProcName, void*& AProc) {
  AProc = nullptr;
  if (FHandle == 0) return C_NO_HANDLE;
  char LShort[C_SHORT_NAME];
  return GetProcAddr(NarrowAscii(AProcName, LShort) ? LShort : ToAnsi(AProcName).c_str(), AProc);
}

HRESULT TLibraryItem::GetProcAddr(uint16_t AProcIndex, void*& AProc) {
  return GetProcAddr(MAKEINTRESOURCEA(AProcIndex), AProc);
}

bool TLibraryItem::GetIsCanUnload() {
  if (FHandle == 0) return true;
  if (FDllCanUnloadNowProc) return FDllCanUnloadNowProc() == S_OK;
  return FLoadCounter.load() < 1;
}

HRESULT TLibraryItem::InitInterfaceRoutines() {
  FGetInstanceProc = nullptr;
  FDllCanUnloadNowProc = nullptr;
  void* LProc = nullptr;
  if (GetProcAddr("DllGetInstance", LProc) != S_OK && GetProcAddr("GetInstance", LProc) != S_OK) return E_NOTIMPL;
  FGetInstanceProc = reinterpret_cast<TGetInstanceProc>(reinterpret_cast<void (*)()>(LProc));
  if (GetProcAddr("DllCanUnloadNow", LProc) == S_OK)
    FDllCanUnloadNowProc = reinterpret_cast<TDllCanUnloadNowProc>(reinterpret_cast<void (*)()>(LProc));
  return S_OK;
}

HRESULT TLibraryItem::GetInstance(const GUID& AGUID, void** AObj) {
  if (!FGetInstanceProc) return E_NOINTERFACE;
  return FGetInstanceProc(AGUID, AObj);
}

HRESULT TLibraryItem::GetVersion(DLLVERSIONINFO2& AInfo) {
  void* LProc = nullptr;
  const HRESULT LFound = GetProcAddr("DllGetVersion", LProc);
  if (LFound != S_OK) return LFound;
  const auto LGetVersion = reinterpret_cast<TDllGetVersionProc>(reinterpret_cast<void (*)()>(LProc));
  std::memset(&AInfo, 0, sizeof(DLLVERSIONINFO2));
  AInfo.info1.cbSize = sizeof(DLLVERSIONINFO2);
  HRESULT LResult = LGetVersion(&AInfo);
  if (LResult != S_OK) {
    // A library that knows only the first part of the record.
    std::memset(&AInfo, 0, sizeof(DLLVERSIONINFO2));
    AInfo.info1.cbSize = sizeof(DLLVERSIONINFO);
    LResult = LGetVersion(&AInfo);
  }
  return LResult;
}

UnicodeString TLibraryItem::GetResourceString(uint32_t AResId) {
  if (FHandle == 0) return {};
  const UINT LId = static_cast<int32_t>(AResId) < 0 ? 0u - AResId : AResId;
  wchar_t LBuffer[C_RESOURCE_BUFFER];
  const int N = DllRoutines::FLoader.LoadStringW(reinterpret_cast<HINSTANCE>(FHandle), LId, LBuffer, C_RESOURCE_BUFFER);
  return N > 0 ? UnicodeString(LBuffer, static_cast<size_t>(N)) : UnicodeString();
}

// ---- Start and stop -----------------------------------------------------------------------------

void DllRoutines::Init() {
  FDebugLog = new TDebugLog<TDllLogLevel>(TCustomDebugLog::ExecutableLogName(), TCustomDebugLog::LibraryModuleName(), 0);
  TCSGuard LLock(FCSMain);
  FLibrarys = new TItems();
}

void DllRoutines::Done() {
  FreeAllLibraries();
  {
    TCSGuard LLock(FCSMain);
    delete FLibrarys;
    FLibrarys = nullptr;
  }
  delete FDebugLog;
  FDebugLog = nullptr;
}

// ---- The registry -------------------------------------------------------------------------------

inline TLibraryItem* DllRoutines::FindItem(std::wstring_view AName) noexcept {
  if (!FLibrarys) return nullptr;
  // Every late-bound call searches: a name of another length or another key is passed over without
  // comparing characters.
  const uint64_t LKey = NameKey(AName);
  for (const auto& LItem : *FLibrarys) {
    if (LItem->FName.size() != AName.size()) continue;
    if (LKey != LItem->FNameKey && LKey != 0 && LItem->FNameKey != 0) continue;
    if (SameName(LItem->FName, AName)) return LItem.get();
  }
  return nullptr;
}

uint32_t DllRoutines::GetLibrary(bool ALoad, std::wstring_view ALibName, uint32_t AFlag, TLibraryItem*& AItem) {
  if (!FLibrarys) return C_NO_LIST;
  AItem = FindItem(ALibName);
  if (!AItem) {
    auto LItem = std::make_unique<TLibraryItem>(UnicodeString(ALibName), AFlag);
    AItem = LItem.get();
    FLibrarys->push_back(std::move(LItem));
  }
  // The item is held by address: a load that re-enters and adds items moves only the list's slots.
  if (ALoad || (AItem->FLoadCounter.load() < 1 && AItem->FErrorCode == 0)) AItem->LoadLibrary(AFlag);
  return AItem->FErrorCode;
}

void DllRoutines::DeleteItem(size_t AIndex) {
  std::unique_ptr<TLibraryItem> LItem = std::move((*FLibrarys)[AIndex]);
  FLibrarys->erase(FLibrarys->begin() + static_cast<ptrdiff_t>(AIndex));
  LItem.reset();
}

TLibraryItem* DllRoutines::LoadLibrary(const UnicodeString& ALibName, uint32_t AFlag) {
  TCSGuard LLock(FCSMain);
  TLibraryItem* LItem = nullptr;
  GetLibrary(true, ALibName, AFlag, LItem);
  return LItem;
}

void DllRoutines::FreeLibrary(TLibraryItem* ALibItem) {
  TCSGuard LLock(FCSMain);
  if (!FLibrarys || !ALibItem) return;
  for (const auto& LItem : *FLibrarys)
    if (LItem.get() == ALibItem) {
      ALibItem->FreeLibrary();
      return;
    }
}

void DllRoutines::FreeLibrary(const UnicodeString& ALibName) {
  TCSGuard LLock(FCSMain);
  if (TLibraryItem* LItem = FindItem(ALibName)) LItem->FreeLibrary();
}

void DllRoutines::FreeLibrary(uintptr_t AHandle) {
  TCSGuard LLock(FCSMain);
  if (TLibraryItem* LItem = GetItemByHandle(AHandle)) LItem->FreeLibrary();
}

void DllRoutines::FreeUnusedLibraries() {
  TCSGuard LLock(FCSMain);
  if (!FLibrarys) return;
  // Freeing one library can let another go: pass again while a pass removed something. A library's
  // stop code may change the list, so each step checks the index against the list as it is now.
  bool LDeleted = true;
  while (LDeleted && FLibrarys) {
    LDeleted = false;
    for (size_t I = FLibrarys->size(); I-- > 0;) {
      if (!FLibrarys || I >= FLibrarys->size()) break;
      if ((*FLibrarys)[I]->GetIsCanUnload()) {
        DeleteItem(I);
        LDeleted = true;
      }
    }
  }
}

void DllRoutines::FreeAllLibraries() {
  FreeUnusedLibraries();
  // Under the lock, unlike a bare walk: safe also where other threads load meanwhile.
  TCSGuard LLock(FCSMain);
  while (FLibrarys && !FLibrarys->empty()) DeleteItem(FLibrarys->size() - 1);
}

TLibraryItem* DllRoutines::GetItemByName(const UnicodeString& AName) {
  TCSGuard LLock(FCSMain);
  return FindItem(AName);
}

TLibraryItem* DllRoutines::GetItemByHandle(uintptr_t AHandle) {
  TCSGuard LLock(FCSMain);
  if (!FLibrarys) return nullptr;
  for (const auto& LItem : *FLibrarys)
    if (LItem->FHandle == AHandle) return LItem.get();
  return nullptr;
}

std::vector<TLibraryInfo> DllRoutines::Libraries() {
  TCSGuard LLock(FCSMain);
  std::vector<TLibraryInfo> LResult;
  if (!FLibrarys) return LResult;
  for (const auto& I : *FLibrarys)
    LResult.push_back({I->FName, I->FLoadCounter.load(), I->FLoadFlag, I->FHandle, I->FErrorCode});
  return LResult;
}

// ---- Resolving ----------------------------------------------------------------------------------

uint32_t DllRoutines::Resolve(std::wstring_view ALibName, const char* AProcName, void*& AProc) {
  AProc = nullptr;
  TCSGuard LLock(FCSMain);
  TLibraryItem* LItem = FindItem(ALibName);
  // A library with a load counted has a handle and no error: GetLibrary would do nothing more for
  // it, so the usual call goes straight to the lookup. Anything else takes GetLibrary's way.
  if (!LItem || LItem->FLoadCounter.load() < 1) {
    const uint32_t LError = GetLibrary(false, ALibName, 0, LItem);
    if (LError != 0) return LError;
  }
  return static_cast<uint32_t>(LItem->GetProcAddr(AProcName, AProc));
}

void* DllRoutines::Call(std::wstring_view ALibName, const char* AProcName) {
  void* LProc;
  const uint32_t LError = Resolve(ALibName, AProcName, LProc);
  if (LError != 0 || !LProc) SysUtils::RaiseLastOSError(static_cast<int32_t>(LError ? LError : C_PROC_MISSING), L"");
  return LProc;
}

void* DllRoutines::Call(const UnicodeString& ALibName, const UnicodeString& AProcName) {
  char LShort[C_SHORT_NAME];
  if (NarrowAscii(AProcName, LShort)) return Call(std::wstring_view(ALibName), LShort);
  return Call(std::wstring_view(ALibName), ToAnsi(AProcName).c_str());
}

void* DllRoutines::Call(const UnicodeString& ALibName, uint16_t AProcIndex) {
  return Call(std::wstring_view(ALibName), MAKEINTRESOURCEA(AProcIndex));
}

void* DllRoutines::Get(std::wstring_view ALibName, const char* AProcName) noexcept {
  try {
    void* LProc;
    return Resolve(ALibName, AProcName, LProc) == 0 ? LProc : nullptr;
  } catch (...) {
    return nullptr;
  }
}

void* DllRoutines::Get(const UnicodeString& ALibName, const UnicodeString& AProcName) noexcept {
  char LShort[C_SHORT_NAME];
  if (NarrowAscii(AProcName, LShort)) return Get(std::wstring_view(ALibName), LShort);
  try {
    return Get(std::wstring_view(ALibName), ToAnsi(AProcName).c_str());
  } catch (...) {
    return nullptr;
  }
}

void* DllRoutines::Get(const UnicodeString& ALibName, uint16_t AProcIndex) noexcept {
  return Get(std::wstring_view(ALibName), MAKEINTRESOURCEA(AProcIndex));
}

// ---- Components ---------------------------------------------------------------------------------

HRESULT DllRoutines::GetInstanceInternal(const UnicodeString& ALibName, const GUID& AGUID, void** AObj) {
  TGetInstanceProc LFactory;
  {
    TCSGuard LLock(FCSMain);
    if (!AObj) return E_POINTER;
    *AObj = nullptr;
    TLibraryItem* LItem = nullptr;
    const uint32_t LError = GetLibrary(false, ALibName, 0, LItem);
    if (LError != 0) return static_cast<HRESULT>(LError);
    const HRESULT LResult = LItem->InitInterfaceRoutines();
    if (LResult != S_OK) return LResult;
    LFactory = LItem->FGetInstanceProc;
  }
  // Outside the lock: a factory may wait for threads that use DllRoutines themselves.
  TModulePin LPin(reinterpret_cast<const void*>(LFactory));
  return LFactory(AGUID, AObj);
}

void DllRoutines::GetInstance(const UnicodeString& ALibName, const GUID& AGUID, void** AObj) {
  uint32_t LCode;
  try {
    LCode = static_cast<uint32_t>(GetInstanceInternal(ALibName, AGUID, AObj));
  } catch (...) {
    LCode = C_EXCEPTION_CODE;
  }
  if (LCode != 0)
    throw EOstravaneInitException(Format(S_INIT_ERROR, {ALibName, IntToHex(LCode, 8), SysErrorMessage(LCode)}));
}

HRESULT DllRoutines::TryGetInstance(const UnicodeString& ALibName, const GUID& AGUID, void** AObj) noexcept {
  try {
    return GetInstanceInternal(ALibName, AGUID, AObj);
  } catch (...) {
    return E_UNEXPECTED;
  }
}

bool DllRoutines::GetVersion(const UnicodeString& ALibName, DLLVERSIONINFO2& AInfo) noexcept {
  bool LResult = false;
  try {
    TCSGuard LLock(FCSMain);
    std::memset(&AInfo, 0, sizeof(DLLVERSIONINFO2));
    TLibraryItem* LItem = nullptr;
    GetLibrary(true, ALibName, 0, LItem);
    if (LItem) {
      LResult = LItem->GetVersion(AInfo) == S_OK;
      LItem->FreeLibrary();
    }
  } catch (...) {
    // A refusal of any kind is "no version".
  }
  return LResult;
}

bool DllRoutines::IsVersion(const UnicodeString& ALibName, uint16_t AMinMajor, uint16_t AMinMinor, uint16_t AMaxMajor,
                            uint16_t AMaxMinor) noexcept {
  DLLVERSIONINFO2 LInfo;
  if (!GetVersion(ALibName, LInfo)) return false;
  const uint32_t LVersion = LInfo.info1.dwMajorVersion * 65536u + LInfo.info1.dwMinorVersion;
  return LVersion >= AMinMajor * 65536u + AMinMinor && LVersion <= AMaxMajor * 65536u + AMaxMinor;
}

UnicodeString DllRoutines::GetResourceString(const UnicodeString& ALibName, uint32_t AResId) noexcept {
  try {
    TCSGuard LLock(FCSMain);
    TLibraryItem* LItem = nullptr;
    GetLibrary(true, ALibName, C_AS_IMAGE_RESOURCE, LItem);
    if (!LItem) return {};
    UnicodeString LResult = LItem->GetResourceString(AResId);
    LItem->FreeLibrary();
    return LResult;
  } catch (...) {
    return {};
  }
}

TDllResolverHook DllRoutines::SetResolverHook(const TDllResolverHook& AHook) noexcept {
  TCSGuard LLock(FCSMain);
  const TDllResolverHook LPrevious = FHook;
  FHook = AHook;
  FLoader.LoadLibraryExW = AHook.LoadLibraryExW ? AHook.LoadLibraryExW : &::LoadLibraryExW;
  FLoader.FreeLibrary = AHook.FreeLibrary ? AHook.FreeLibrary : &::FreeLibrary;
  FLoader.GetProcAddress = AHook.GetProcAddress ? AHook.GetProcAddress : &::GetProcAddress;
  FLoader.LoadStringW = AHook.LoadStringW ? AHook.LoadStringW : &::LoadStringW;
  return LPrevious;
}

}  // namespace Ostravane
