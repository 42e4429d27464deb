// The late-bound module classes of the second set: Pdh's values instead of exceptions, the raising
// road of a missing module or export, the wrappers that clear their output, pass nil for an empty
// string or fix the root power key (seen through fake exports), and real calls where Wine answers.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "Ostravane.DllRoutines.h"
#include "Ostravane.Winapi.CfgMgr32.h"
#include "Ostravane.Winapi.Crypt32.h"
#include "Ostravane.Winapi.CryptUI.h"
#include "Ostravane.Winapi.IrProps.h"
#include "Ostravane.Winapi.MsSign32.h"
#include "Ostravane.Winapi.Msiquery.h"
#include "Ostravane.Winapi.NetApi32.h"
#include "Ostravane.Winapi.Pdh.h"
#include "Ostravane.Winapi.PowrProf.h"
#include "Ostravane.Winapi.PsAPI.h"
#include "Ostravane.Winapi.SetupApi.h"
#include "Ostravane.Winapi.Sfc.h"
#include "Ostravane.Winapi.SrClient.h"
#include "Ostravane.Winapi.UserEnv.h"
#include "Ostravane.Winapi.WinTrust.h"
#include "Ostravane.Winapi.WtsApi32.h"
#include "TestSupport.h"

using namespace Ostravane;
using Rtl::EOSError;

namespace {

const PDH_STATUS C_PDH_FAILED = static_cast<PDH_STATUS>(0xC0000BD3u);

// The loader seen by DllRoutines while a TLoaderSeam lives: libraries named in FailingLibraries fail
// to load with ERROR_MOD_NOT_FOUND, exports named in MissingExports are missing, exports named in
// FakeExports answer with the test's function; everything else is the system's.
std::set<std::wstring> GFailingLibraries;
std::set<std::string> GMissingExports;
std::map<std::string, FARPROC> GFakeExports;
std::map<std::wstring, int> GLoadAttempts;

std::wstring LowerFileName(LPCWSTR APath) {
  std::wstring LName(APath);
  const size_t LSlash = LName.find_last_of(L"\\/");
  if (LSlash != std::wstring::npos) LName.erase(0, LSlash + 1);
  for (auto& LChar : LName) LChar = static_cast<wchar_t>(towlower(LChar));
  return LName;
}

HMODULE WINAPI SeamLoadLibraryExW(LPCWSTR AFileName, HANDLE AFile, DWORD AFlags) {
  const std::wstring LName = LowerFileName(AFileName);
  ++GLoadAttempts[LName];
  if (GFailingLibraries.count(LName)) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  return ::LoadLibraryExW(AFileName, AFile, AFlags);
}

FARPROC WINAPI SeamGetProcAddress(HMODULE AModule, LPCSTR AProcName) {
  if (!IS_INTRESOURCE(AProcName)) {
    if (GMissingExports.count(AProcName)) {
      SetLastError(ERROR_PROC_NOT_FOUND);
      return nullptr;
    }
    const auto LFake = GFakeExports.find(AProcName);
    if (LFake != GFakeExports.end()) return LFake->second;
  }
  return ::GetProcAddress(AModule, AProcName);
}

template <typename TProc>
FARPROC AsFarProc(TProc AProc) {
  return reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(AProc));
}

// Unloads ALibName's item completely, so that the next call loads it again under the seam.
void ForgetLibrary(const wchar_t* ALibName) {
  while (TLibraryItem* LItem = DllRoutines::GetItemByName(ALibName)) {
    if (LItem->LoadCounter() <= 0) break;
    DllRoutines::FreeLibrary(UnicodeString(ALibName));
  }
  DllRoutines::FreeUnusedLibraries();
}

// Installs the seam and restores the previous hook at its end; a failed load sticks in DllRoutines'
// registry, so the failed items are removed after the restore.
class TLoaderSeam {
 public:
  TLoaderSeam() {
    GFailingLibraries.clear();
    GMissingExports.clear();
    GFakeExports.clear();
    GLoadAttempts.clear();
    TDllResolverHook LHook;
    LHook.LoadLibraryExW = &SeamLoadLibraryExW;
    LHook.GetProcAddress = &SeamGetProcAddress;
    FPrevious = DllRoutines::SetResolverHook(LHook);
  }
  ~TLoaderSeam() {
    DllRoutines::SetResolverHook(FPrevious);
    for (const auto& LName : GFailingLibraries) ForgetLibrary(LName.c_str());
    DllRoutines::FreeUnusedLibraries();
    GFailingLibraries.clear();
    GMissingExports.clear();
    GFakeExports.clear();
  }
  TLoaderSeam(const TLoaderSeam&) = delete;
  TLoaderSeam& operator=(const TLoaderSeam&) = delete;

  void FailLibrary(const wchar_t* AName) {
    ForgetLibrary(AName);
    GFailingLibraries.insert(LowerFileName(AName));
  }
  void MissExport(const char* AName) { GMissingExports.insert(AName); }
  template <typename TProc>
  void Fake(const char* AName, TProc AProc) {
    GFakeExports[AName] = AsFarProc(AProc);
  }

 private:
  TDllResolverHook FPrevious;
};

template <typename TFunc>
uint32_t RaisedCode(TFunc AFunc) {
  try {
    AFunc();
  } catch (const EOSError& E) {
    return E.ErrorCode;
  }
  ADD_FAILURE() << "no EOSError was raised";
  return 0;
}

// What the fake exports saw.
struct TSeen {
  int Calls = 0;
  const void* Pointer1 = reinterpret_cast<const void*>(1);
  const void* Pointer2 = reinterpret_cast<const void*>(1);
  DWORD Value = 0;
};
TSeen GSeen;
HRESULT GFakeHResult = S_OK;
BOOL GFakeBool = TRUE;

// ---------------------------------------------------------------------------------------------------
// Pdh: no exceptions

TEST(LateBoundModulesPdh, EveryWrapperGivesTheFailureStatusWhenTheModuleDoesNotLoad) {
  TLoaderSeam LSeam;
  LSeam.FailLibrary(L"pdh.dll");
  PDH_HQUERY LQuery = nullptr;
  PDH_HCOUNTER LCounter = nullptr;
  DWORD LSize = 0, LIndex = 0, LStatus = 0, LSize2 = 0;
  wchar_t LBuffer[8]{};
  EXPECT_NO_THROW({
    EXPECT_EQ(Pdh::PdhConnectMachine(UnicodeString()), C_PDH_FAILED);
    EXPECT_EQ(Pdh::PdhLookupPerfNameByIndex(UnicodeString(), 6, LBuffer, &LSize), C_PDH_FAILED);
    EXPECT_EQ(Pdh::PdhLookupPerfIndexByName(UnicodeString(), UnicodeString(L"Processor"), &LIndex), C_PDH_FAILED);
    EXPECT_EQ(Pdh::PdhOpenQuery(nullptr, 0, &LQuery), C_PDH_FAILED);
    EXPECT_EQ(Pdh::PdhValidatePath(UnicodeString(L"\\Processor(_Total)\\% Processor Time")), C_PDH_FAILED);
    EXPECT_EQ(Pdh::PdhAddCounter(LQuery, UnicodeString(L"\\Processor(_Total)\\% Processor Time"), 0, &LCounter),
              C_PDH_FAILED);
    EXPECT_EQ(Pdh::PdhCollectQueryData(LQuery), C_PDH_FAILED);
    EXPECT_EQ(Pdh::PdhCollectQueryDataEx(LQuery, 1, nullptr), C_PDH_FAILED);
    EXPECT_EQ(Pdh::PdhVbGetDoubleCounterValue(LCounter, &LStatus), 3221228499.0);
    EXPECT_EQ(Pdh::PdhEnumObjectItemsH(nullptr, UnicodeString(), UnicodeString(L"Processor"), nullptr, &LSize, nullptr,
                                       &LSize2, PERF_DETAIL_WIZARD, 0),
              C_PDH_FAILED);
    EXPECT_EQ(Pdh::PdhEnumObjectsH(nullptr, UnicodeString(), nullptr, &LSize, PERF_DETAIL_WIZARD, FALSE), C_PDH_FAILED);
    EXPECT_EQ(Pdh::PdhRemoveCounter(LCounter), C_PDH_FAILED);
    EXPECT_EQ(Pdh::PdhCloseQuery(LQuery), C_PDH_FAILED);
  });
  EXPECT_EQ(LQuery, nullptr);
  EXPECT_EQ(LStatus, 0u);
  EXPECT_EQ(GLoadAttempts[L"pdh.dll"], 1) << "a failed load sticks: one attempt for thirteen calls";
  EXPECT_EQ(RaisedCode([] { Pdh::Call(L"PdhOpenQueryW"); }), static_cast<uint32_t>(ERROR_MOD_NOT_FOUND));
}

TEST(LateBoundModulesPdh, AMissingExportGivesTheFailureStatus) {
  TLoaderSeam LSeam;
  LSeam.MissExport("PdhOpenQueryW");
  LSeam.MissExport("PdhVbGetDoubleCounterValue");
  PDH_HQUERY LQuery = nullptr;
  DWORD LStatus = 7;
  EXPECT_EQ(Pdh::PdhOpenQuery(nullptr, 0, &LQuery), C_PDH_FAILED);
  EXPECT_EQ(Pdh::PdhVbGetDoubleCounterValue(nullptr, &LStatus), 3221228499.0);
  EXPECT_EQ(LStatus, 7u) << "the system function never ran";
}

TEST(LateBoundModulesPdh, AnEmptyMachineNameGoesToTheSystemAsNil) {
  TLoaderSeam LSeam;
  GSeen = {};
  LSeam.Fake("PdhConnectMachineW", +[](LPCWSTR AMachine) -> PDH_STATUS WINAPI {
    ++GSeen.Calls;
    GSeen.Pointer1 = AMachine;
    return 0;
  });
  EXPECT_EQ(Pdh::PdhConnectMachine(UnicodeString()), 0);
  EXPECT_EQ(GSeen.Pointer1, nullptr);
  const UnicodeString LName(L"HOST");
  EXPECT_EQ(Pdh::PdhConnectMachine(LName), 0);
  EXPECT_EQ(GSeen.Pointer1, LName.c_str());
  EXPECT_EQ(GSeen.Calls, 2);
}

TEST(LateBoundModulesPdh, WineOpensAndClosesARealTimeQuery) {
  PDH_HQUERY LQuery = nullptr;
  ASSERT_EQ(Pdh::PdhOpenQuery(nullptr, 0, &LQuery), 0);
  EXPECT_NE(LQuery, nullptr);
  EXPECT_EQ(Pdh::PdhCloseQuery(LQuery), 0);
}

// ---------------------------------------------------------------------------------------------------
// The raising road of the other modules

using TCallProc = void* (*)(const UnicodeString&);
struct TModuleCase {
  const wchar_t* Module;
  TCallProc Call;
  const char* Export;  // one export Wine has
};
const TModuleCase C_MODULES[] = {
    {L"netapi32.dll", &NetApi32::Call, "NetApiBufferFree"},
    {L"PowrProf.dll", &PowrProf::Call, "GetPwrCapabilities"},
    {L"pdh.dll", &Pdh::Call, "PdhOpenQueryW"},
    {L"psapi.dll", &PsAPI::Call, "GetPerformanceInfo"},
    {L"userenv.dll", &UserEnv::Call, "GetProfilesDirectoryW"},
    {L"msi.dll", &MsiQuery::Call, "MsiCloseHandle"},
    {L"wtsapi32.dll", &WtsApi32::Call, "WTSFreeMemory"},
    {L"crypt32.dll", &Crypt32::Call, "CryptMsgClose"},
    {L"cryptui.dll", &CryptUI::Call, "CryptUIWizDigitalSign"},
    {L"mssign32.dll", &MsSign32::Call, "SignerFreeSignerContext"},
    {L"sfc.dll", &Sfc::Call, "SfcIsFileProtected"},
    {L"wintrust.dll", &WinTrust::Call, "WinVerifyTrust"},
    {L"srclient.dll", &SrClient::Call, "SRRemoveRestorePoint"},
    {L"CfgMgr32.dll", &CfgMgr32::Call, "CM_Get_Parent"},
    {L"irprops.cpl", &IrProps::Call, "BluetoothFindFirstRadio"},
    {L"setupapi.dll", &SetupApi::Call, "IsUserAdmin"},
};

TEST(LateBoundModulesCall, EachModuleLoadsAndResolvesByNameAndAMissingNameRaisesCode1) {
  for (const auto& LCase : C_MODULES) {
    SCOPED_TRACE(std::string(LCase.Export));
    void* LProc = nullptr;
    EXPECT_NO_THROW(LProc = LCase.Call(UnicodeString(std::wstring(LCase.Export, LCase.Export + strlen(LCase.Export)))));
    const HMODULE LModule = GetModuleHandleW(LCase.Module);
    ASSERT_NE(LModule, nullptr);
    EXPECT_EQ(LProc, reinterpret_cast<void*>(::GetProcAddress(LModule, LCase.Export)));
    EXPECT_EQ(RaisedCode([&] { LCase.Call(L"NoSuchExportOfTheModule"); }), 1u);
    const TLibraryItem* LItem = DllRoutines::GetItemByName(LCase.Module);
    ASSERT_NE(LItem, nullptr);
    EXPECT_EQ(LItem->LoadCounter(), 1);
  }
}

TEST(LateBoundModulesCall, AMissingExportRaisesCode1BeforeTheSystemFunctionRuns) {
  TLoaderSeam LSeam;
  LSeam.MissExport("GetPerformanceInfo");
  LSeam.MissExport("PowerGetActiveScheme");
  LSeam.MissExport("CryptMsgClose");
  LSeam.MissExport("SignerFreeSignerContext");
  LSeam.MissExport("WTSFreeMemory");
  PERFORMANCE_INFORMATION LInfo;
  memset(&LInfo, 0xAB, sizeof(LInfo));
  EXPECT_EQ(RaisedCode([&] { PsAPI::GetPerformanceInfo(&LInfo, sizeof(LInfo)); }), 1u);
  EXPECT_EQ(LInfo.cb, 0xABABABABu);
  GUID* LScheme = reinterpret_cast<GUID*>(0x1234);
  EXPECT_EQ(RaisedCode([&] { PowrProf::PowerGetActiveScheme(&LScheme); }), 1u);
  EXPECT_EQ(LScheme, reinterpret_cast<GUID*>(0x1234));
  // The outputs that the wrappers clear stay as they were.
  HCRYPTMSG LMsg = reinterpret_cast<HCRYPTMSG>(0x5678);
  EXPECT_EQ(RaisedCode([&] { Crypt32::CryptMsgClose(LMsg); }), 1u);
  EXPECT_EQ(LMsg, reinterpret_cast<HCRYPTMSG>(0x5678));
  SIGNER_CONTEXT* LContext = reinterpret_cast<SIGNER_CONTEXT*>(0x9ABC);
  EXPECT_EQ(RaisedCode([&] { MsSign32::SignerFreeSignerContext(LContext); }), 1u);
  EXPECT_EQ(LContext, reinterpret_cast<SIGNER_CONTEXT*>(0x9ABC));
  WTS_PROCESS_INFOW* LProcesses = reinterpret_cast<WTS_PROCESS_INFOW*>(0xDEF0);
  EXPECT_EQ(RaisedCode([&] { WtsApi32::WTSFreeMemory(LProcesses); }), 1u);
  EXPECT_EQ(LProcesses, reinterpret_cast<WTS_PROCESS_INFOW*>(0xDEF0));
}

TEST(LateBoundModulesCall, AModuleThatDoesNotLoadRaisesItsLoadErrorEachTime) {
  TLoaderSeam LSeam;
  LSeam.FailLibrary(L"psapi.dll");
  PERFORMANCE_INFORMATION LInfo{};
  EXPECT_EQ(RaisedCode([&] { PsAPI::GetPerformanceInfo(&LInfo, sizeof(LInfo)); }), static_cast<uint32_t>(ERROR_MOD_NOT_FOUND));
  wchar_t LName[MAX_PATH]{};
  EXPECT_EQ(RaisedCode([&] { PsAPI::GetModuleFileNameEx(GetCurrentProcess(), nullptr, LName, MAX_PATH); }),
            static_cast<uint32_t>(ERROR_MOD_NOT_FOUND));
  EXPECT_EQ(GLoadAttempts[L"psapi.dll"], 1);
  EXPECT_EQ(LInfo.cb, 0u);
}

// ---------------------------------------------------------------------------------------------------
// Output cleared, empty string as nil, fixed root power key (fake exports)

TEST(LateBoundModulesKinds, CryptMsgCloseClearsTheHandleOnlyWhenTheSystemSucceeded) {
  TLoaderSeam LSeam;
  LSeam.Fake("CryptMsgClose", +[](HCRYPTMSG AMsg) -> BOOL WINAPI {
    GSeen.Pointer1 = AMsg;
    return GFakeBool;
  });
  HCRYPTMSG LMsg = reinterpret_cast<HCRYPTMSG>(0x1000);
  GFakeBool = FALSE;
  EXPECT_FALSE(Crypt32::CryptMsgClose(LMsg));
  EXPECT_EQ(LMsg, reinterpret_cast<HCRYPTMSG>(0x1000));
  GFakeBool = TRUE;
  EXPECT_TRUE(Crypt32::CryptMsgClose(LMsg));
  EXPECT_EQ(GSeen.Pointer1, reinterpret_cast<const void*>(0x1000));
  EXPECT_EQ(LMsg, nullptr);
}

TEST(LateBoundModulesKinds, SignerFreeSignerContextClearsThePointerOnlyWhenTheSystemSucceeded) {
  TLoaderSeam LSeam;
  LSeam.Fake("SignerFreeSignerContext", +[](SIGNER_CONTEXT* AContext) -> HRESULT WINAPI {
    GSeen.Pointer1 = AContext;
    return GFakeHResult;
  });
  SIGNER_CONTEXT* LContext = reinterpret_cast<SIGNER_CONTEXT*>(0x2000);
  GFakeHResult = E_INVALIDARG;
  EXPECT_EQ(MsSign32::SignerFreeSignerContext(LContext), E_INVALIDARG);
  EXPECT_EQ(LContext, reinterpret_cast<SIGNER_CONTEXT*>(0x2000));
  GFakeHResult = S_OK;
  EXPECT_EQ(MsSign32::SignerFreeSignerContext(LContext), S_OK);
  EXPECT_EQ(GSeen.Pointer1, reinterpret_cast<const void*>(0x2000));
  EXPECT_EQ(LContext, nullptr);
}

TEST(LateBoundModulesKinds, MsSign32PassesAnEmptyTimeStampAddressAsNil) {
  TLoaderSeam LSeam;
  LSeam.Fake("SignerTimeStamp",
             +[](SIGNER_SUBJECT_INFO*, LPCWSTR AUrl, PCRYPT_ATTRIBUTES, LPVOID) -> HRESULT WINAPI {
               GSeen.Pointer1 = AUrl;
               return S_OK;
             });
  EXPECT_EQ(MsSign32::SignerTimeStamp(nullptr, UnicodeString(), nullptr, nullptr), S_OK);
  EXPECT_EQ(GSeen.Pointer1, nullptr);
  const UnicodeString LUrl(L"http://timestamp.example");
  EXPECT_EQ(MsSign32::SignerTimeStamp(nullptr, LUrl, nullptr, nullptr), S_OK);
  EXPECT_EQ(GSeen.Pointer1, LUrl.c_str());
}

TEST(LateBoundModulesKinds, NetApi32PassesAnEmptyServerNameAsNil) {
  TLoaderSeam LSeam;
  LSeam.Fake("NetUserEnum", +[](LPCWSTR AServer, DWORD ALevel, DWORD, LPBYTE*, DWORD, LPDWORD, LPDWORD,
                                PDWORD) -> NET_API_STATUS WINAPI {
    GSeen.Pointer1 = AServer;
    GSeen.Value = ALevel;
    return NERR_Success;
  });
  LSeam.Fake("NetQueryDisplayInformation",
             +[](LPCWSTR AServer, DWORD, DWORD, DWORD, DWORD, LPDWORD, PVOID*) -> NET_API_STATUS WINAPI {
               GSeen.Pointer2 = AServer;
               return ERROR_MORE_DATA;
             });
  LPBYTE LBuffer = nullptr;
  DWORD LRead = 0, LTotal = 0;
  EXPECT_EQ(NetApi32::NetUserEnum(UnicodeString(), 1, 0, &LBuffer, MAX_PREFERRED_LENGTH, &LRead, &LTotal, nullptr),
            static_cast<NET_API_STATUS>(NERR_Success));
  EXPECT_EQ(GSeen.Pointer1, nullptr);
  EXPECT_EQ(GSeen.Value, 1u);
  PVOID LDisplay = nullptr;
  const UnicodeString LServer(L"\\\\SERVER");
  EXPECT_EQ(NetApi32::NetQueryDisplayInformation(LServer, 1, 0, 100, MAX_PREFERRED_LENGTH, &LRead, &LDisplay),
            static_cast<NET_API_STATUS>(ERROR_MORE_DATA));
  EXPECT_EQ(GSeen.Pointer2, LServer.c_str());
}

TEST(LateBoundModulesKinds, ThePowerSchemeFunctionsPassNilAsRootPowerKey) {
  TLoaderSeam LSeam;
  GSeen = {};
  LSeam.Fake("PowerSetActiveScheme", +[](HKEY ARoot, const GUID* AScheme) -> DWORD WINAPI {
    ++GSeen.Calls;
    GSeen.Pointer1 = ARoot;
    GSeen.Pointer2 = AScheme;
    return ERROR_ACCESS_DENIED;
  });
  LSeam.Fake("PowerWriteDCValueIndex",
             +[](HKEY ARoot, const GUID*, const GUID*, const GUID* ASetting, DWORD AIndex) -> DWORD WINAPI {
               ++GSeen.Calls;
               GSeen.Pointer1 = ARoot;
               GSeen.Pointer2 = ASetting;
               GSeen.Value = AIndex;
               return ERROR_SUCCESS;
             });
  const GUID LScheme{0x381b4222, 0xf694, 0x41f0, {0x96, 0x85, 0xff, 0x5b, 0xb2, 0x60, 0xdf, 0x2e}};
  EXPECT_EQ(PowrProf::PowerSetActiveScheme(&LScheme), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  EXPECT_EQ(GSeen.Pointer1, nullptr);
  EXPECT_EQ(GSeen.Pointer2, &LScheme);
  GSeen.Pointer1 = &LScheme;
  EXPECT_EQ(PowrProf::PowerWriteDCValueIndex(&LScheme, &LScheme, &LScheme, 42), 0u);
  EXPECT_EQ(GSeen.Pointer1, nullptr);
  EXPECT_EQ(GSeen.Pointer2, &LScheme);
  EXPECT_EQ(GSeen.Value, 42u);
  EXPECT_EQ(GSeen.Calls, 2);
}

// ---------------------------------------------------------------------------------------------------
// Real calls where Wine answers

TEST(LateBoundModulesPsAPI, GetPerformanceInfoIsTrueWithAPageSizeOf4096) {
  PERFORMANCE_INFORMATION LInfo{};
  EXPECT_TRUE(PsAPI::GetPerformanceInfo(&LInfo, sizeof(LInfo)));
  EXPECT_EQ(LInfo.cb, sizeof(LInfo));
  EXPECT_EQ(LInfo.PageSize, 4096u);
  EXPECT_GT(LInfo.PhysicalTotal, 0u);
  EXPECT_GT(LInfo.ProcessCount, 0u);
}

TEST(LateBoundModulesPsAPI, GetModuleFileNameExNamesThisProgram) {
  wchar_t LExpected[MAX_PATH]{};
  const DWORD LExpectedLength = GetModuleFileNameW(nullptr, LExpected, MAX_PATH);
  wchar_t LName[MAX_PATH]{};
  const DWORD LLength = PsAPI::GetModuleFileNameEx(GetCurrentProcess(), nullptr, LName, MAX_PATH);
  EXPECT_EQ(LLength, LExpectedLength);
  EXPECT_EQ(std::wstring(LName), std::wstring(LExpected));
  EXPECT_TRUE(std::wstring(LName).ends_with(L"\\WinapiTests.exe"));
}

TEST(LateBoundModulesPsAPI, GetModuleFileNameExRaisesTheSystemErrorForAnInvalidProcess) {
  wchar_t LName[MAX_PATH]{};
  EXPECT_EQ(RaisedCode([&] { PsAPI::GetModuleFileNameEx(nullptr, nullptr, LName, MAX_PATH); }),
            static_cast<uint32_t>(ERROR_INVALID_HANDLE));
  EXPECT_EQ(LName[0], L'\0');
}

TEST(LateBoundModulesPsAPI, GetProcessImageFileNameGivesTheDevicePathOfThisProgram) {
  wchar_t LName[MAX_PATH]{};
  const DWORD LLength = PsAPI::GetProcessImageFileName(GetCurrentProcess(), LName, MAX_PATH);
  EXPECT_EQ(LLength, wcslen(LName));
  EXPECT_TRUE(std::wstring(LName).starts_with(L"\\Device\\")) << LName;
  EXPECT_TRUE(std::wstring(LName).ends_with(L"\\WinapiTests.exe")) << LName;
  EXPECT_EQ(RaisedCode([&] { PsAPI::GetProcessImageFileName(nullptr, LName, MAX_PATH); }),
            static_cast<uint32_t>(ERROR_INVALID_HANDLE));
}

TEST(LateBoundModulesUserEnv, GetProfilesDirectoryGivesARealFolderAfterTheSizeQuery) {
  DWORD LSize = 0;
  SetLastError(0);
  EXPECT_FALSE(UserEnv::GetProfilesDirectory(nullptr, &LSize));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  // Wine's GetProfilesDirectoryW counts the characters without the terminating nul (Windows with it).
  ASSERT_EQ(LSize, 8u);
  std::wstring LFolder(LSize + 1, L'\0');
  LSize = static_cast<DWORD>(LFolder.size());
  ASSERT_TRUE(UserEnv::GetProfilesDirectory(LFolder.data(), &LSize));
  LFolder.resize(wcslen(LFolder.c_str()));
  EXPECT_EQ(LFolder, L"C:\\users");
  EXPECT_EQ(LSize, 8u);
  const DWORD LAttributes = GetFileAttributesW(LFolder.c_str());
  ASSERT_NE(LAttributes, INVALID_FILE_ATTRIBUTES);
  EXPECT_TRUE(LAttributes & FILE_ATTRIBUTE_DIRECTORY);
}

TEST(LateBoundModulesUserEnv, WineStubsTheAllUsersAndDefaultUserFolders) {
  // Wine's GetAllUsersProfileDirectoryW and GetDefaultUserProfileDirectoryW are stubs: FALSE, the
  // last error untouched, the size untouched.
  for (const auto LGet : {UserEnv::GetAllUsersProfileDirectory, UserEnv::GetDefaultUserProfileDirectory}) {
    wchar_t LBuffer[MAX_PATH]{};
    DWORD LSize = MAX_PATH;
    SetLastError(0);
    EXPECT_FALSE(LGet(LBuffer, &LSize));
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(LSize, static_cast<DWORD>(MAX_PATH));
    EXPECT_EQ(LBuffer[0], L'\0');
  }
}

TEST(LateBoundModulesWtsApi32, WTSFreeMemoryClearsThePointer) {
  WTS_PROCESS_INFOW* LProcesses = nullptr;
  DWORD LCount = 0;
  ASSERT_TRUE(WtsApi32::WTSEnumerateProcesses(WTS_CURRENT_SERVER_HANDLE, 0, 1, &LProcesses, &LCount));
  ASSERT_NE(LProcesses, nullptr);
  bool LFound = false;
  for (DWORD I = 0; I < LCount; ++I) LFound = LFound || LProcesses[I].ProcessId == GetCurrentProcessId();
  EXPECT_TRUE(LFound) << "this process among " << LCount;
  WtsApi32::WTSFreeMemory(LProcesses);
  EXPECT_EQ(LProcesses, nullptr);
}

TEST(LateBoundModulesPowrProf, GetPwrCapabilitiesIsTrueWithWinesFixedAnswer) {
  SYSTEM_POWER_CAPABILITIES LCapabilities;
  memset(&LCapabilities, 0xFF, sizeof(LCapabilities));
  EXPECT_TRUE(PowrProf::GetPwrCapabilities(&LCapabilities));
  // Wine's NtPowerInformation(SystemPowerCapabilities) answers a fixed record.
  EXPECT_EQ(LCapabilities.PowerButtonPresent, TRUE);
  EXPECT_EQ(LCapabilities.SleepButtonPresent, FALSE);
  EXPECT_EQ(LCapabilities.SystemS1, TRUE);
  EXPECT_EQ(LCapabilities.SystemS3, FALSE);
  EXPECT_EQ(LCapabilities.SystemS4, TRUE);
  EXPECT_EQ(LCapabilities.SystemS5, TRUE);
  EXPECT_EQ(LCapabilities.ProcessorMinThrottle, 100);
  EXPECT_EQ(LCapabilities.ProcessorMaxThrottle, 100);
}

TEST(LateBoundModulesPowrProf, GetPwrCapabilitiesRaisesTheLastErrorWhenTheSystemFails) {
  TLoaderSeam LSeam;
  LSeam.Fake("GetPwrCapabilities", +[](PSYSTEM_POWER_CAPABILITIES) -> BOOLEAN WINAPI {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
  });
  SYSTEM_POWER_CAPABILITIES LCapabilities{};
  EXPECT_EQ(RaisedCode([&] { PowrProf::GetPwrCapabilities(&LCapabilities); }), static_cast<uint32_t>(ERROR_ACCESS_DENIED));
}

TEST(LateBoundModulesPowrProf, WineStubsPowerGetActiveScheme) {
  // Wine's PowerGetActiveScheme answers ERROR_CALL_NOT_IMPLEMENTED and no scheme.
  GUID* LScheme = nullptr;
  EXPECT_EQ(PowrProf::PowerGetActiveScheme(&LScheme), static_cast<DWORD>(ERROR_CALL_NOT_IMPLEMENTED));
  EXPECT_EQ(LScheme, nullptr);
}

TEST(LateBoundModulesCrypt32, CryptMsgCloseOfARealMessageClearsItsHandle) {
  const auto LOpen = DllRoutines::CallAs<decltype(&::CryptMsgOpenToDecode)>(L"crypt32.dll", "CryptMsgOpenToDecode");
  HCRYPTMSG LMsg = LOpen(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0, 0, 0, nullptr, nullptr);
  ASSERT_NE(LMsg, nullptr);
  EXPECT_TRUE(Crypt32::CryptMsgClose(LMsg));
  EXPECT_EQ(LMsg, nullptr);
}

TEST(LateBoundModulesCrypt32, PFXIsPFXBlobIsFalseForBytesThatAreNoPFX) {
  BYTE LBytes[] = {1, 2, 3, 4};
  CRYPT_DATA_BLOB LBlob{sizeof(LBytes), LBytes};
  EXPECT_FALSE(Crypt32::PFXIsPFXBlob(&LBlob));
}

TEST(LateBoundModulesSetupApi, IsUserAdminIsTrueForWinesUser) { EXPECT_TRUE(SetupApi::IsUserAdmin()); }

}  // namespace
