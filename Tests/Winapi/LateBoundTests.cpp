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
#include "WinapiTestSupport.h"

using namespace Ostravane;
using namespace OvWinapiTest;

namespace {

HANDLE NewFile(const std::wstring& APath, DWORD ASize) {
  const HANDLE LFile = CreateFileW(APath.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  const std::string LData(ASize, 'x');
  DWORD LWritten = 0;
  if (LFile != INVALID_HANDLE_VALUE) WriteFile(LFile, LData.data(), ASize, &LWritten, nullptr);
  return LFile;
}

std::wstring SystemFile(const wchar_t* AName) {
  wchar_t LDir[MAX_PATH]{};
  GetSystemDirectoryW(LDir, MAX_PATH);
  return std::wstring(LDir) + L"\\" + AName;
}

}  // namespace

TEST(LateBoundKernel32, FileWrappersAndExactBooleans) {
  static_assert(std::is_same_v<decltype(Kernel32::SetFilePointerEx(nullptr, {}, nullptr, 0)), bool>);
  static_assert(std::is_same_v<decltype(Kernel32::IsProcessorFeaturePresent(0)), bool>);
  OvTest::TTempDir LDir;
  const HANDLE LFile = NewFile(LDir.Path() + L"size.bin", 12345);
  ASSERT_NE(LFile, INVALID_HANDLE_VALUE);
  LARGE_INTEGER LSize{}, LTo{}, LNew{};
  EXPECT_TRUE(Kernel32::GetFileSizeEx(LFile, &LSize));
  EXPECT_EQ(LSize.QuadPart, 12345);
  EXPECT_EQ(OSErrorCode([&] { Kernel32::GetFileSizeEx(INVALID_HANDLE_VALUE, &LSize); }), ERROR_INVALID_HANDLE);
  LTo.QuadPart = 40;
  EXPECT_EQ(Kernel32::SetFilePointerEx(LFile, LTo, &LNew, FILE_BEGIN), true);
  EXPECT_EQ(LNew.QuadPart, 40);
  EXPECT_EQ(Kernel32::SetFilePointerEx(INVALID_HANDLE_VALUE, LTo, &LNew, FILE_BEGIN), false);
  CloseHandle(LFile);
}

TEST(LateBoundKernel32, ProcessSystemAndJobWrappers) {
  BOOL LWow64 = FALSE;
  EXPECT_TRUE(Kernel32::IsWow64Process(GetCurrentProcess(), &LWow64));
  EXPECT_EQ(LWow64, TRUE);
  SYSTEM_INFO LInfo{};
  Kernel32::GetNativeSystemInfo(&LInfo);
  EXPECT_EQ(LInfo.wProcessorArchitecture, PROCESSOR_ARCHITECTURE_AMD64);
  IO_COUNTERS LCounters{};
  EXPECT_TRUE(Kernel32::GetProcessIoCounters(GetCurrentProcess(), &LCounters));
  EXPECT_EQ(OSErrorCode([&] { Kernel32::GetProcessIoCounters(nullptr, &LCounters); }), ERROR_INVALID_HANDLE);
  ULONGLONG LMask = 0;
  Kernel32::VER_SET_CONDITION(LMask, VER_MAJORVERSION, VER_GREATER_EQUAL);
  EXPECT_EQ(LMask, ::VerSetConditionMask(0, VER_MAJORVERSION, VER_GREATER_EQUAL));
  EXPECT_NE(LMask, 0u);

  HANDLE LJob = Kernel32::CreateJobObject(nullptr, UnicodeString());
  ASSERT_NE(LJob, nullptr);
  JOBOBJECT_BASIC_ACCOUNTING_INFORMATION LAccounting{};
  EXPECT_TRUE(Kernel32::QueryInformationJobObject(LJob, JobObjectBasicAccountingInformation, &LAccounting,
                                                  sizeof(LAccounting), nullptr));
  EXPECT_EQ(LAccounting.TotalProcesses, 0u);
  EXPECT_EQ(OSErrorCode([&] {
              Kernel32::QueryInformationJobObject(LJob, JobObjectBasicAccountingInformation, &LAccounting,
                                                  sizeof(LAccounting) - 1, nullptr);
            }),
            ERROR_BAD_LENGTH);
  CloseHandle(LJob);
}

TEST(LateBoundMissing, AMissingExportRaisesCode1ClearsOutputsAndTheFunctionNeverRuns) {
  EXPECT_NE(Shell32::Call(uint16_t{Shell32::C_SH_RUN_DIALOG}), nullptr);
  EXPECT_EQ(OSErrorCode([] { Shell32::Call(L"OvNoSuchExport"); }), 1);
  EXPECT_NO_THROW(Kernel32::GetUserGeoID(GEOCLASS_NATION));
  TSeam LSeam;
  GSeam.Missing = {"GetFileSizeEx", "#61", "GetUserGeoID", "SHGetPropertyStoreForWindow", "LsaOpenPolicy"};
  LARGE_INTEGER LSize;
  LSize.QuadPart = 777;
  EXPECT_EQ(OSErrorCode([&] { Kernel32::GetFileSizeEx(INVALID_HANDLE_VALUE, &LSize); }), 1);  // not 6
  EXPECT_EQ(LSize.QuadPart, 777);
  EXPECT_TRUE(TSeam::Asked("GetFileSizeEx"));
  EXPECT_EQ(OSErrorCode([] { Kernel32::Call(L"GetFileSizeEx"); }), 1);
  EXPECT_EQ(OSErrorCode([] { Shell32::SHRunDialog(nullptr, nullptr, L"", L"", L"", 0); }), 1);
  EXPECT_TRUE(TSeam::Asked("#61"));
  EXPECT_EQ(Kernel32::GetUserGeoID(GEOCLASS_NATION), -1);

  void* LStore = reinterpret_cast<void*>(0x1234);
  EXPECT_EQ(OSErrorCode([&] { Shell32::SHGetPropertyStoreForWindow(nullptr, IID_IUnknown, &LStore); }), 1);
  EXPECT_EQ(LStore, nullptr);
  LSA_HANDLE LPolicy = reinterpret_cast<LSA_HANDLE>(0x1234);
  LSA_OBJECT_ATTRIBUTES LAttributes{};
  EXPECT_EQ(OSErrorCode([&] { AdvApi32::LsaOpenPolicy(nullptr, &LAttributes, POLICY_LOOKUP_NAMES, &LPolicy); }), 1);
  EXPECT_EQ(LPolicy, nullptr);
}

TEST(LateBoundMissing, AfterAFailedModuleLoadEveryWrapperRaisesTheSameCodeWithoutANewLoad) {
  TSeam LSeam;
  TSeam::Fail(L"shell32.dll");
  void* LList = reinterpret_cast<void*>(1);
  EXPECT_EQ(OSErrorCode([&] { Shell32::SHGetImageList(0, IID_IUnknown, &LList); }), ERROR_MOD_NOT_FOUND);
  EXPECT_EQ(OSErrorCode([] { Shell32::SHRunDialog(nullptr, nullptr, L"", L"", L"", 0); }), ERROR_MOD_NOT_FOUND);
  EXPECT_EQ(OSErrorCode([] { Shell32::SHOpenWith(nullptr, nullptr, L"", SW_SHOW); }), ERROR_MOD_NOT_FOUND);
  EXPECT_EQ(OSErrorCode([] { Shell32::SHFindFiles(nullptr, nullptr); }), ERROR_MOD_NOT_FOUND);
  EXPECT_EQ(OSErrorCode([] { Shell32::SHRestartDialog(nullptr, L"", 0, 0); }), ERROR_MOD_NOT_FOUND);
  EXPECT_EQ(OSErrorCode([] { Shell32::SHGetSpecialFolderPath(CSIDL_APPDATA, false); }), ERROR_MOD_NOT_FOUND);
  EXPECT_EQ(OSErrorCode([] { Shell32::Call(uint16_t{62}); }), ERROR_MOD_NOT_FOUND);
  EXPECT_EQ(GSeam.Loads[L"shell32.dll"], 1);
  EXPECT_EQ(LList, reinterpret_cast<void*>(1)) << "the system function never ran";
  EXPECT_TRUE(GSeam.Asked.empty());
}

TEST(LateBoundAdvApi32, LsaAndConvertSidToStringSid) {
  LSA_HANDLE LPolicy = nullptr;
  LSA_OBJECT_ATTRIBUTES LAttributes{};
  EXPECT_EQ(AdvApi32::LsaOpenPolicy(nullptr, &LAttributes, POLICY_LOOKUP_NAMES, &LPolicy), 0);
  EXPECT_NE(LPolicy, nullptr);
  EXPECT_EQ(AdvApi32::LsaClose(LPolicy), 0);
  EXPECT_EQ(AdvApi32::LsaNtStatusToWinError(static_cast<NTSTATUS>(0xC0000008)), ERROR_INVALID_HANDLE);

  alignas(8) BYTE LSid[SECURITY_MAX_SID_SIZE]{};
  DWORD LSize = sizeof(LSid);
  ASSERT_TRUE(CreateWellKnownSid(WinLocalSystemSid, nullptr, LSid, &LSize));
  EXPECT_EQ(AdvApi32::ConvertSidToStringSid(LSid), L"S-1-5-18");
  alignas(8) BYTE LInvalid[SECURITY_MAX_SID_SIZE]{};  // revision 0: not a SID
  EXPECT_EQ(OSErrorCode([&] { AdvApi32::ConvertSidToStringSid(LInvalid); }), ERROR_INVALID_SID);
}

TEST(LateBoundAdvApi32, RegDeleteKeyExUsesTheNewerFunctionOnlyForAViewAndFallsBackWithoutIt) {
  const std::wstring LSubKey = L"Software\\OvRTLLateBoundTest" + std::to_wstring(GetCurrentProcessId());
  const auto LExists = [&](REGSAM AView) {
    HKEY LKey = nullptr;
    const LONG LResult = RegOpenKeyExW(HKEY_CURRENT_USER, LSubKey.c_str(), 0, KEY_READ | AView, &LKey);
    if (LKey) RegCloseKey(LKey);
    return LResult == ERROR_SUCCESS;
  };
  struct {
    REGSAM View, Sam;
    const char* Missing;
    bool AskedEx, AskedOld;
  } const LCases[] = {{0, KEY_ALL_ACCESS, "", false, true},
                      {KEY_WOW64_64KEY, KEY_WOW64_64KEY, "", true, false},
                      {0, KEY_WOW64_64KEY, "RegDeleteKeyExW", true, true}};
  for (const auto& C : LCases) {
    SCOPED_TRACE(C.Sam);
    HKEY LKey = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, LSubKey.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | C.View, nullptr,
                              &LKey, nullptr),
              ERROR_SUCCESS);
    RegCloseKey(LKey);
    TSeam LSeam;
    GSeam.Missing = {C.Missing};
    EXPECT_EQ(AdvApi32::RegDeleteKeyEx(HKEY_CURRENT_USER, UnicodeString(LSubKey), C.Sam, 0), ERROR_SUCCESS);
    EXPECT_FALSE(LExists(C.View));
    EXPECT_EQ(TSeam::Asked("RegDeleteKeyExW"), C.AskedEx);
    EXPECT_EQ(TSeam::Asked("RegDeleteKeyW"), C.AskedOld);
    if (LExists(C.View)) RegDeleteKeyW(HKEY_CURRENT_USER, LSubKey.c_str());
  }
  TSeam LSeam;
  EXPECT_EQ(AdvApi32::RegDeleteKeyEx(HKEY_CURRENT_USER, UnicodeString(LSubKey), 0, 0), ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(TSeam::Asked("RegDeleteKeyExW"));
}

TEST(LateBoundShlwAPI, IsOSByOrdinalAndFalseWithoutIt) {
  constexpr DWORD C_OS_NT = 1, C_OS_WOW6432 = 30;
  EXPECT_EQ(ShlwAPI::IsOS(C_OS_NT), true);
  EXPECT_EQ(ShlwAPI::IsOS(C_OS_WOW6432), true);
  TSeam LSeam;
  GSeam.Missing = {"#437"};
  EXPECT_EQ(ShlwAPI::IsOS(C_OS_NT), false);
  EXPECT_TRUE(TSeam::Asked("#437"));
}

TEST(LateBoundVersion, TheNewerFunctionsWhenPresentAndTheOlderOnesWithoutThem) {
  const std::wstring LFile = SystemFile(L"kernel32.dll");
  DWORD LHandle = 0;
  const DWORD LSize = Version::GetFileVersionInfoSizeEx(0, UnicodeString(LFile), &LHandle);
  ASSERT_GT(LSize, 0u);
  std::vector<BYTE> LData(LSize);
  {
    TSeam LSeam;
    EXPECT_EQ(Version::GetFileVersionInfoEx(0, UnicodeString(LFile), 0, LSize, LData.data()), true);
    EXPECT_TRUE(TSeam::Asked("GetFileVersionInfoExW"));
    EXPECT_FALSE(TSeam::Asked("GetFileVersionInfoW"));
  }
  const auto LSizeProc = DllRoutines::CallAs<decltype(&::GetFileVersionInfoSizeW)>(L"version.dll", "GetFileVersionInfoSizeW");
  const auto LInfoProc = DllRoutines::CallAs<decltype(&::GetFileVersionInfoW)>(L"version.dll", "GetFileVersionInfoW");
  const DWORD LExpectedSize = LSizeProc(LFile.c_str(), &LHandle);
  ASSERT_GT(LExpectedSize, 0u);
  std::vector<BYTE> LExpected(LExpectedSize), LActual(LExpectedSize);
  ASSERT_TRUE(LInfoProc(LFile.c_str(), 0, LExpectedSize, LExpected.data()));

  TSeam LSeam;
  GSeam.Missing = {"GetFileVersionInfoSizeExW", "GetFileVersionInfoExW"};
  constexpr DWORD C_FLAGS = 0x3;  // FILE_VER_GET_LOCALISED | FILE_VER_GET_NEUTRAL: ignored by the older ones
  EXPECT_EQ(Version::GetFileVersionInfoSizeEx(C_FLAGS, UnicodeString(LFile), &LHandle), LExpectedSize);
  EXPECT_EQ(Version::GetFileVersionInfoEx(C_FLAGS, UnicodeString(LFile), 0, LExpectedSize, LActual.data()), true);
  EXPECT_EQ(std::memcmp(LActual.data(), LExpected.data(), LExpectedSize), 0);
  EXPECT_TRUE(TSeam::Asked("GetFileVersionInfoSizeW"));
  EXPECT_TRUE(TSeam::Asked("GetFileVersionInfoW"));
  EXPECT_EQ(Version::GetFileVersionInfoEx(C_FLAGS, L"C:\\OvNoSuchFile.dll", 0, LExpectedSize, LActual.data()), false);
}

TEST(LateBoundUser32, GetWindowTextAndChangeWindowMessageFilterExFallingBackQuietly) {
  HWND LWnd = CreateWindowExW(0, L"STATIC", L"\u6d4b\u8bd5 text", 0, 0, 0, 10, 10, nullptr, nullptr, nullptr, nullptr);
  ASSERT_NE(LWnd, nullptr);
  EXPECT_EQ(User32::GetWindowText(LWnd), L"\u6d4b\u8bd5 text");
  SetWindowTextW(LWnd, L"");
  EXPECT_EQ(User32::GetWindowText(LWnd), L"");
  DestroyWindow(LWnd);
  EXPECT_EQ(User32::GetWindowText(LWnd), L"") << "a window that is gone has no text";

  TSeam LSeam;
  GSeam.Missing = {"ChangeWindowMessageFilterEx"};
  EXPECT_NO_THROW(User32::ChangeWindowMessageFilterEx(nullptr, WM_COPYDATA, MSGFLT_ALLOW));
  EXPECT_TRUE(TSeam::Asked("ChangeWindowMessageFilter"));
  GSeam.Asked.clear();
  GSeam.Missing.insert("ChangeWindowMessageFilter");
  EXPECT_EQ(User32::ChangeWindowMessageFilterEx(nullptr, WM_COPYDATA, MSGFLT_ALLOW), false);
  EXPECT_TRUE(TSeam::Asked("ChangeWindowMessageFilterEx"));
  EXPECT_TRUE(TSeam::Asked("ChangeWindowMessageFilter"));
}

