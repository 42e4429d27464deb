// The late-bound module classes: the system's own results through the wrappers of each kind, and
// the roads of a missing module or function, made through the resolver hook of DllRoutines.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "Ostravane.Winapi.AdvApi32.h"
#include "Ostravane.Winapi.Kernel32.h"
#include "Ostravane.Winapi.Shell32.h"
#include "Ostravane.Winapi.ShlwApi.h"
#include "Ostravane.Winapi.User32.h"
#include "Ostravane.Winapi.Version.h"
#include "TestSupport.h"

using namespace Ostravane;

namespace {

// What the hook below reports missing and what it was asked for. The hook is process-wide.
struct THookState {
  std::vector<std::string> AskedNames;    // names asked of GetProcAddress (ordinals as "#N")
  std::vector<std::string> MissingNames;  // names (or "#N") answered as missing
  std::wstring FailingModule;             // a module whose load fails with FailingCode
  DWORD FailingCode = ERROR_MOD_NOT_FOUND;
  int FailedLoads = 0;
};
THookState GHook;

std::string ProcKey(LPCSTR AProcName) {
  if (reinterpret_cast<uintptr_t>(AProcName) >> 16 == 0)
    return "#" + std::to_string(reinterpret_cast<uintptr_t>(AProcName));
  return AProcName;
}

FARPROC WINAPI HookGetProcAddress(HMODULE AModule, LPCSTR AProcName) {
  const std::string LKey = ProcKey(AProcName);
  GHook.AskedNames.push_back(LKey);
  for (const auto& LName : GHook.MissingNames)
    if (LName == LKey) {
      SetLastError(ERROR_PROC_NOT_FOUND);
      return nullptr;
    }
  return ::GetProcAddress(AModule, AProcName);
}

bool EndsWithNoCase(const std::wstring& AText, const std::wstring& AEnd) {
  return AText.size() >= AEnd.size() &&
         _wcsicmp(AText.c_str() + (AText.size() - AEnd.size()), AEnd.c_str()) == 0;
}

HMODULE WINAPI HookLoadLibraryExW(LPCWSTR AName, HANDLE AFile, DWORD AFlags) {
  if (!GHook.FailingModule.empty() && AName && EndsWithNoCase(AName, GHook.FailingModule)) {
    ++GHook.FailedLoads;
    SetLastError(GHook.FailingCode);
    return nullptr;
  }
  return ::LoadLibraryExW(AName, AFile, AFlags);
}

// Puts the hook in for its lifetime and restores the one it replaced; the registry forgets the
// module items that a failed load left behind.
class THookScope {
 public:
  THookScope() {
    GHook = THookState();
    TDllResolverHook LHook;
    LHook.GetProcAddress = &HookGetProcAddress;
    LHook.LoadLibraryExW = &HookLoadLibraryExW;
    FPrevious = DllRoutines::SetResolverHook(LHook);
  }
  ~THookScope() {
    DllRoutines::SetResolverHook(FPrevious);
    if (!GHook.FailingModule.empty()) Forget(GHook.FailingModule);
    GHook = THookState();
  }
  THookScope(const THookScope&) = delete;
  THookScope& operator=(const THookScope&) = delete;

  // Gives back every load of the module's item and drops it, so that the next use loads again.
  static void Forget(const std::wstring& AModule) {
    for (TLibraryItem* LItem = DllRoutines::GetItemByName(AModule); LItem && LItem->LoadCounter() > 0;
         LItem = DllRoutines::GetItemByName(AModule))
      DllRoutines::FreeLibrary(LItem);
    DllRoutines::FreeUnusedLibraries();
  }

  static bool Asked(const std::string& AName) {
    for (const auto& LName : GHook.AskedNames)
      if (LName == AName) return true;
    return false;
  }

 private:
  TDllResolverHook FPrevious;
};

// The code of the EOSError that AAction raises; -1 for no exception, -2 for another one.
template <typename TAction>
int64_t OSErrorCode(TAction AAction) {
  try {
    AAction();
  } catch (const Rtl::EOSError& E) {
    return E.ErrorCode;
  } catch (...) {
    return -2;
  }
  return -1;
}

// A file of ASize bytes; its handle closed at the end.
class TFile {
 public:
  TFile(const std::wstring& APath, DWORD ASize) {
    FHandle = CreateFileW(APath.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    std::vector<char> LData(ASize, 'x');
    DWORD LWritten = 0;
    if (FHandle != INVALID_HANDLE_VALUE && ASize) WriteFile(FHandle, LData.data(), ASize, &LWritten, nullptr);
  }
  ~TFile() {
    if (FHandle != INVALID_HANDLE_VALUE) CloseHandle(FHandle);
  }
  TFile(const TFile&) = delete;
  TFile& operator=(const TFile&) = delete;
  HANDLE Handle() const { return FHandle; }

 private:
  HANDLE FHandle;
};

// A key below HKCU, deleted at the end if still there.
class TTempKey {
 public:
  explicit TTempKey(REGSAM AView = 0)
      : FSubKey(L"Software\\OvRTLLateBoundTest" + std::to_wstring(GetCurrentProcessId())), FView(AView) {
    HKEY LKey = nullptr;
    FCreated = RegCreateKeyExW(HKEY_CURRENT_USER, FSubKey.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | FView, nullptr, &LKey,
                               nullptr) == ERROR_SUCCESS;
    if (LKey) RegCloseKey(LKey);
  }
  ~TTempKey() {
    if (Exists()) RegDeleteKeyW(HKEY_CURRENT_USER, FSubKey.c_str());
  }
  TTempKey(const TTempKey&) = delete;
  TTempKey& operator=(const TTempKey&) = delete;
  bool Created() const { return FCreated; }
  const std::wstring& SubKey() const { return FSubKey; }
  bool Exists() const {
    HKEY LKey = nullptr;
    const LONG LResult = RegOpenKeyExW(HKEY_CURRENT_USER, FSubKey.c_str(), 0, KEY_READ | FView, &LKey);
    if (LKey) RegCloseKey(LKey);
    return LResult == ERROR_SUCCESS;
  }

 private:
  std::wstring FSubKey;
  REGSAM FView;
  bool FCreated = false;
};

std::wstring SystemFile(const wchar_t* AName) {
  wchar_t LDir[MAX_PATH]{};
  GetSystemDirectoryW(LDir, MAX_PATH);
  return std::wstring(LDir) + L"\\" + AName;
}

}  // namespace

// ---- Kernel32: the system's own results ----

TEST(LateBoundKernel32, GetFileSizeExGivesTheSizeOfARealFile) {
  OvTest::TTempDir LDir;
  TFile LFile(LDir.Path() + L"size.bin", 12345);
  ASSERT_NE(LFile.Handle(), INVALID_HANDLE_VALUE);
  LARGE_INTEGER LSize{};
  EXPECT_TRUE(Kernel32::GetFileSizeEx(LFile.Handle(), &LSize));
  EXPECT_EQ(LSize.QuadPart, 12345);
}

TEST(LateBoundKernel32, GetFileSizeExOnAnInvalidHandleRaisesCode6) {
  LARGE_INTEGER LSize{};
  EXPECT_EQ(OSErrorCode([&] { Kernel32::GetFileSizeEx(INVALID_HANDLE_VALUE, &LSize); }), ERROR_INVALID_HANDLE);
}

TEST(LateBoundKernel32, IsWow64ProcessIsTrueInThisPrefix) {
  BOOL LWow64 = FALSE;
  EXPECT_TRUE(Kernel32::IsWow64Process(GetCurrentProcess(), &LWow64));
  EXPECT_EQ(LWow64, TRUE);
}

TEST(LateBoundKernel32, GetNativeSystemInfoSeesTheHostsArchitecture) {
  SYSTEM_INFO LInfo{};
  Kernel32::GetNativeSystemInfo(&LInfo);
  EXPECT_EQ(LInfo.wProcessorArchitecture, PROCESSOR_ARCHITECTURE_AMD64);
}

TEST(LateBoundKernel32, GetProcessIoCountersOfThisProcess) {
  IO_COUNTERS LCounters{};
  EXPECT_TRUE(Kernel32::GetProcessIoCounters(GetCurrentProcess(), &LCounters));
  EXPECT_EQ(OSErrorCode([&] { Kernel32::GetProcessIoCounters(nullptr, &LCounters); }), ERROR_INVALID_HANDLE);
}

TEST(LateBoundKernel32, BooleanWrappersGiveExactlyTrueOrFalse) {
  static_assert(std::is_same_v<decltype(Kernel32::SetFilePointerEx(nullptr, {}, nullptr, 0)), bool>);
  static_assert(std::is_same_v<decltype(Kernel32::IsProcessorFeaturePresent(0)), bool>);
  OvTest::TTempDir LDir;
  TFile LFile(LDir.Path() + L"seek.bin", 100);
  LARGE_INTEGER LTo{}, LNew{};
  LTo.QuadPart = 40;
  EXPECT_EQ(Kernel32::SetFilePointerEx(LFile.Handle(), LTo, &LNew, FILE_BEGIN), true);
  EXPECT_EQ(LNew.QuadPart, 40);
  EXPECT_EQ(Kernel32::SetFilePointerEx(INVALID_HANDLE_VALUE, LTo, &LNew, FILE_BEGIN), false);
  EXPECT_EQ(Kernel32::SetEnvironmentVariable(L"OVRTL_LATEBOUND_TEST", UnicodeString(L"1")), true);
  EXPECT_EQ(Kernel32::SetEnvironmentVariable(L"", L"1"), false);
  SetEnvironmentVariableW(L"OVRTL_LATEBOUND_TEST", nullptr);
}

TEST(LateBoundKernel32, GetLongPathNameTakesAUnicodeStringWithCjkText) {
  OvTest::TTempDir LDir;
  const UnicodeString LPath = LDir.Path() + L"\u6d4b\u8bd5\u6587\u4ef6 \u30c6\u30b9\u30c8.txt";
  TFile LFile(LPath, 1);
  ASSERT_NE(LFile.Handle(), INVALID_HANDLE_VALUE);
  wchar_t LBuffer[MAX_PATH]{};
  const DWORD LLength = Kernel32::GetLongPathName(LPath, LBuffer, MAX_PATH);
  EXPECT_EQ(LLength, LPath.size());
  EXPECT_EQ(_wcsicmp(LBuffer, LPath.c_str()), 0);
  EXPECT_EQ(Kernel32::GetLongPathName(LDir.Path() + L"\u6d4b-missing.txt", LBuffer, MAX_PATH), 0u);
}

TEST(LateBoundKernel32, VerSetConditionReplacesTheMask) {
  ULONGLONG LMask = 0;
  Kernel32::VER_SET_CONDITION(LMask, VER_MAJORVERSION, VER_GREATER_EQUAL);
  EXPECT_EQ(LMask, ::VerSetConditionMask(0, VER_MAJORVERSION, VER_GREATER_EQUAL));
  EXPECT_NE(LMask, 0u);
}

TEST(LateBoundKernel32, JobObjectWrappers) {
  HANDLE LJob = Kernel32::CreateJobObject(nullptr, UnicodeString());
  ASSERT_NE(LJob, nullptr);
  JOBOBJECT_BASIC_ACCOUNTING_INFORMATION LInfo{};
  EXPECT_TRUE(Kernel32::QueryInformationJobObject(LJob, JobObjectBasicAccountingInformation, &LInfo, sizeof(LInfo), nullptr));
  EXPECT_EQ(LInfo.TotalProcesses, 0u);
  // A failed result raises with the system's code: here a buffer of the wrong length.
  EXPECT_EQ(OSErrorCode([&] {
              Kernel32::QueryInformationJobObject(LJob, JobObjectBasicAccountingInformation, &LInfo, sizeof(LInfo) - 1, nullptr);
            }),
            ERROR_BAD_LENGTH);
  CloseHandle(LJob);
}

// ---- The roads of a missing function or module ----

TEST(LateBoundMissing, AMissingExportRaisesCode1AndTheFunctionNeverRuns) {
  THookScope LScope;
  GHook.MissingNames = {"GetFileSizeEx"};
  LARGE_INTEGER LSize;
  LSize.QuadPart = 777;
  // The function would fail with code 6 on this handle; it is never reached.
  EXPECT_EQ(OSErrorCode([&] { Kernel32::GetFileSizeEx(INVALID_HANDLE_VALUE, &LSize); }), 1);
  EXPECT_EQ(LSize.QuadPart, 777);
  EXPECT_TRUE(THookScope::Asked("GetFileSizeEx"));
  EXPECT_EQ(OSErrorCode([] { Kernel32::Call(L"GetFileSizeEx"); }), 1);
}

TEST(LateBoundMissing, OrdinalAndNameOfShell32) {
  EXPECT_NE(Shell32::Call(uint16_t{Shell32::C_SH_RUN_DIALOG}), nullptr);
  EXPECT_EQ(OSErrorCode([] { Shell32::Call(L"OvNoSuchExport"); }), 1);
  THookScope LScope;
  GHook.MissingNames = {"#61"};
  EXPECT_EQ(OSErrorCode([] { Shell32::SHRunDialog(nullptr, nullptr, L"", L"", L"", 0); }), 1);
  EXPECT_TRUE(THookScope::Asked("#61"));
}

TEST(LateBoundMissing, AfterAFailedModuleLoadEveryWrapperRaisesTheSameCodeWithoutANewLoad) {
  THookScope::Forget(L"shell32.dll");
  THookScope LScope;
  GHook.FailingModule = L"shell32.dll";
  GHook.FailingCode = ERROR_MOD_NOT_FOUND;
  void* LList = reinterpret_cast<void*>(1);
  EXPECT_EQ(OSErrorCode([&] { Shell32::SHGetImageList(0, IID_IUnknown, &LList); }), ERROR_MOD_NOT_FOUND);
  EXPECT_EQ(OSErrorCode([] { Shell32::SHRunDialog(nullptr, nullptr, L"", L"", L"", 0); }), ERROR_MOD_NOT_FOUND);
  EXPECT_EQ(OSErrorCode([] { Shell32::SHOpenWith(nullptr, nullptr, L"", SW_SHOW); }), ERROR_MOD_NOT_FOUND);
  EXPECT_EQ(OSErrorCode([] { Shell32::SHFindFiles(nullptr, nullptr); }), ERROR_MOD_NOT_FOUND);
  EXPECT_EQ(OSErrorCode([] { Shell32::SHRestartDialog(nullptr, L"", 0, 0); }), ERROR_MOD_NOT_FOUND);
  wchar_t LPath[MAX_PATH]{};
  EXPECT_EQ(OSErrorCode([&] { Shell32::SHGetSpecialFolderPath(nullptr, LPath, CSIDL_APPDATA, FALSE); }),
            ERROR_MOD_NOT_FOUND);
  EXPECT_EQ(OSErrorCode([] { Shell32::Call(uint16_t{62}); }), ERROR_MOD_NOT_FOUND);
  EXPECT_EQ(GHook.FailedLoads, 1);
  EXPECT_EQ(LList, reinterpret_cast<void*>(1)) << "the system function never ran";
  EXPECT_TRUE(GHook.AskedNames.empty());
}

TEST(LateBoundMissing, GetUserGeoIDGivesMinus1WhenMissing) {
  EXPECT_NO_THROW(Kernel32::GetUserGeoID(GEOCLASS_NATION));
  THookScope LScope;
  GHook.MissingNames = {"GetUserGeoID"};
  EXPECT_EQ(Kernel32::GetUserGeoID(GEOCLASS_NATION), -1);
}

TEST(LateBoundMissing, OutputsAreClearedBeforeTheCall) {
  THookScope LScope;
  GHook.MissingNames = {"SHGetPropertyStoreForWindow", "LsaOpenPolicy"};
  void* LStore = reinterpret_cast<void*>(0x1234);
  EXPECT_EQ(OSErrorCode([&] { Shell32::SHGetPropertyStoreForWindow(nullptr, IID_IUnknown, &LStore); }), 1);
  EXPECT_EQ(LStore, nullptr);
  LSA_HANDLE LPolicy = reinterpret_cast<LSA_HANDLE>(0x1234);
  LSA_OBJECT_ATTRIBUTES LAttributes{};
  EXPECT_EQ(OSErrorCode([&] { AdvApi32::LsaOpenPolicy(nullptr, &LAttributes, POLICY_LOOKUP_NAMES, &LPolicy); }), 1);
  EXPECT_EQ(LPolicy, nullptr);
}

// ---- AdvApi32 ----

TEST(LateBoundAdvApi32, LsaOpenPolicyAndClose) {
  LSA_HANDLE LPolicy = nullptr;
  LSA_OBJECT_ATTRIBUTES LAttributes{};
  EXPECT_EQ(AdvApi32::LsaOpenPolicy(nullptr, &LAttributes, POLICY_LOOKUP_NAMES, &LPolicy), 0);
  EXPECT_NE(LPolicy, nullptr);
  EXPECT_EQ(AdvApi32::LsaClose(LPolicy), 0);
  EXPECT_EQ(AdvApi32::LsaNtStatusToWinError(static_cast<NTSTATUS>(0xC0000008)), ERROR_INVALID_HANDLE);
}

TEST(LateBoundAdvApi32, ConvertSidToStringSidRaisesOnFailure) {
  alignas(8) BYTE LSid[SECURITY_MAX_SID_SIZE]{};
  DWORD LSize = sizeof(LSid);
  ASSERT_TRUE(CreateWellKnownSid(WinLocalSystemSid, nullptr, LSid, &LSize));
  LPWSTR LText = nullptr;
  EXPECT_TRUE(AdvApi32::ConvertSidToStringSid(LSid, &LText));
  ASSERT_NE(LText, nullptr);
  EXPECT_STREQ(LText, L"S-1-5-18");
  LocalFree(LText);
  alignas(8) BYTE LInvalid[SECURITY_MAX_SID_SIZE]{};  // revision 0: not a SID
  EXPECT_EQ(OSErrorCode([&] { AdvApi32::ConvertSidToStringSid(LInvalid, &LText); }), ERROR_INVALID_SID);
}

TEST(LateBoundAdvApi32, RegDeleteKeyExWithoutAViewNeverLooksForTheNewerFunction) {
  TTempKey LKey;
  ASSERT_TRUE(LKey.Created());
  THookScope LScope;
  EXPECT_EQ(AdvApi32::RegDeleteKeyEx(HKEY_CURRENT_USER, UnicodeString(LKey.SubKey()), KEY_ALL_ACCESS, 0), ERROR_SUCCESS);
  EXPECT_FALSE(LKey.Exists());
  EXPECT_TRUE(THookScope::Asked("RegDeleteKeyW"));
  EXPECT_FALSE(THookScope::Asked("RegDeleteKeyExW"));
  EXPECT_EQ(AdvApi32::RegDeleteKeyEx(HKEY_CURRENT_USER, UnicodeString(LKey.SubKey()), 0, 0), ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(THookScope::Asked("RegDeleteKeyExW"));
}

TEST(LateBoundAdvApi32, RegDeleteKeyExWithAViewUsesTheNewerFunction) {
  TTempKey LKey(KEY_WOW64_64KEY);
  ASSERT_TRUE(LKey.Created());
  THookScope LScope;
  EXPECT_EQ(AdvApi32::RegDeleteKeyEx(HKEY_CURRENT_USER, UnicodeString(LKey.SubKey()), KEY_WOW64_64KEY, 0), ERROR_SUCCESS);
  EXPECT_FALSE(LKey.Exists());
  EXPECT_TRUE(THookScope::Asked("RegDeleteKeyExW"));
  EXPECT_FALSE(THookScope::Asked("RegDeleteKeyW"));
}

TEST(LateBoundAdvApi32, RegDeleteKeyExWithAViewFallsBackWhenTheNewerFunctionIsMissing) {
  TTempKey LKey;
  ASSERT_TRUE(LKey.Created());
  THookScope LScope;
  GHook.MissingNames = {"RegDeleteKeyExW"};
  EXPECT_EQ(AdvApi32::RegDeleteKeyEx(HKEY_CURRENT_USER, UnicodeString(LKey.SubKey()), KEY_WOW64_64KEY, 0), ERROR_SUCCESS);
  EXPECT_FALSE(LKey.Exists());
  EXPECT_TRUE(THookScope::Asked("RegDeleteKeyExW"));
  EXPECT_TRUE(THookScope::Asked("RegDeleteKeyW"));
}

// ---- ShlwAPI, Version, User32 ----

TEST(LateBoundShlwAPI, IsOSByOrdinalAndFalseWithoutIt) {
  constexpr DWORD C_OS_NT = 1;
  EXPECT_EQ(ShlwAPI::IsOS(C_OS_NT), true);
  constexpr DWORD C_OS_WOW6432 = 30;
  EXPECT_EQ(ShlwAPI::IsOS(C_OS_WOW6432), true);
  THookScope LScope;
  GHook.MissingNames = {"#437"};
  EXPECT_EQ(ShlwAPI::IsOS(C_OS_NT), false);
  EXPECT_TRUE(THookScope::Asked("#437"));
}

TEST(LateBoundVersion, WithoutTheNewerFunctionsTheOlderOnesGiveTheirResult) {
  const std::wstring LFile = SystemFile(L"kernel32.dll");
  DWORD LHandle = 0;
  // The older functions called directly, for the expected values.
  const auto LSizeProc = DllRoutines::CallAs<decltype(&::GetFileVersionInfoSizeW)>(L"version.dll", "GetFileVersionInfoSizeW");
  const auto LInfoProc = DllRoutines::CallAs<decltype(&::GetFileVersionInfoW)>(L"version.dll", "GetFileVersionInfoW");
  const DWORD LExpectedSize = LSizeProc(LFile.c_str(), &LHandle);
  ASSERT_GT(LExpectedSize, 0u);
  std::vector<BYTE> LExpected(LExpectedSize), LActual(LExpectedSize);
  ASSERT_TRUE(LInfoProc(LFile.c_str(), 0, LExpectedSize, LExpected.data()));

  THookScope LScope;
  GHook.MissingNames = {"GetFileVersionInfoSizeExW", "GetFileVersionInfoExW"};
  constexpr DWORD C_FLAGS = 0x3;  // FILE_VER_GET_LOCALISED | FILE_VER_GET_NEUTRAL: ignored by the older ones
  EXPECT_EQ(Version::GetFileVersionInfoSizeEx(C_FLAGS, UnicodeString(LFile), &LHandle), LExpectedSize);
  EXPECT_EQ(Version::GetFileVersionInfoEx(C_FLAGS, UnicodeString(LFile), 0, LExpectedSize, LActual.data()), true);
  EXPECT_EQ(std::memcmp(LActual.data(), LExpected.data(), LExpectedSize), 0);
  EXPECT_TRUE(THookScope::Asked("GetFileVersionInfoSizeW"));
  EXPECT_TRUE(THookScope::Asked("GetFileVersionInfoW"));
  EXPECT_EQ(Version::GetFileVersionInfoEx(C_FLAGS, L"C:\\OvNoSuchFile.dll", 0, LExpectedSize, LActual.data()), false);
}

TEST(LateBoundVersion, TheNewerFunctionsWhenPresent) {
  const std::wstring LFile = SystemFile(L"kernel32.dll");
  DWORD LHandle = 0;
  const DWORD LSize = Version::GetFileVersionInfoSizeEx(0, UnicodeString(LFile), &LHandle);
  ASSERT_GT(LSize, 0u);
  std::vector<BYTE> LData(LSize);
  THookScope LScope;
  EXPECT_EQ(Version::GetFileVersionInfoEx(0, UnicodeString(LFile), 0, LSize, LData.data()), true);
  EXPECT_TRUE(THookScope::Asked("GetFileVersionInfoExW"));
  EXPECT_FALSE(THookScope::Asked("GetFileVersionInfoW"));
}

TEST(LateBoundUser32, ChangeWindowMessageFilterExFallsBackAndIsQuietWithoutEither) {
  THookScope LScope;
  GHook.MissingNames = {"ChangeWindowMessageFilterEx"};
  EXPECT_NO_THROW(User32::ChangeWindowMessageFilterEx(nullptr, WM_COPYDATA, MSGFLT_ALLOW));
  EXPECT_TRUE(THookScope::Asked("ChangeWindowMessageFilter"));
  GHook.AskedNames.clear();
  GHook.MissingNames = {"ChangeWindowMessageFilterEx", "ChangeWindowMessageFilter"};
  EXPECT_EQ(User32::ChangeWindowMessageFilterEx(nullptr, WM_COPYDATA, MSGFLT_ALLOW), false);
  EXPECT_TRUE(THookScope::Asked("ChangeWindowMessageFilterEx"));
  EXPECT_TRUE(THookScope::Asked("ChangeWindowMessageFilter"));
}

TEST(LateBoundUser32, GetWindowTextOfAWindow) {
  HWND LWnd = CreateWindowExW(0, L"STATIC", L"\u6d4b\u8bd5 text", 0, 0, 0, 10, 10, nullptr, nullptr, nullptr, nullptr);
  ASSERT_NE(LWnd, nullptr);
  wchar_t LText[64]{};
  EXPECT_EQ(User32::GetWindowText(LWnd, LText, 64), 7);
  EXPECT_STREQ(LText, L"\u6d4b\u8bd5 text");
  DestroyWindow(LWnd);
}

TEST(LateBoundShell32, SHGetSpecialFolderPathGivesAFolderThatExists) {
  wchar_t LPath[MAX_PATH + 1]{};
  EXPECT_EQ(Shell32::SHGetSpecialFolderPath(nullptr, LPath, CSIDL_WINDOWS, FALSE), true);
  const DWORD LAttributes = GetFileAttributesW(LPath);
  ASSERT_NE(LAttributes, INVALID_FILE_ATTRIBUTES);
  EXPECT_NE(LAttributes & FILE_ATTRIBUTE_DIRECTORY, 0u);
}
