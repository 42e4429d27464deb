// The late-bound module classes of the second set: Pdh's values instead of exceptions, the raising
// road of a missing module or export, the wrappers that clear their output, pass nil for an empty
// string or fix the root power key (seen through fake exports), and real calls where Wine answers.
#include <gtest/gtest.h>


#include <string>
#include <vector>

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

#include <softpub.h>
#include "WinapiTestSupport.h"

using namespace Ostravane;
using namespace OvWinapiTest;

namespace {

const PDH_STATUS C_PDH_FAILED = static_cast<PDH_STATUS>(0xC0000BD3u);

// What the fake exports saw, and what they answer.
struct TSeen {
  int Calls = 0;
  const void* Pointer1 = reinterpret_cast<const void*>(1);
  const void* Pointer2 = reinterpret_cast<const void*>(1);
  DWORD Value = 0;
  HRESULT HResult = S_OK;
  BOOL Bool = TRUE;
};
TSeen GSeen;

TEST(LateBoundModulesPdh, EveryWrapperGivesTheFailureStatusAndPsApiRaisesWhenTheModuleDoesNotLoad) {
  TSeam LSeam;
  TSeam::Fail(L"pdh.dll");
  TSeam::Fail(L"psapi.dll");
  PDH_HQUERY LQuery = nullptr;
  PDH_HCOUNTER LCounter = nullptr;
  DWORD LSize = 0, LIndex = 0, LStatus = 0, LSize2 = 0;
  wchar_t LBuffer[8]{};
  const UnicodeString LPath(L"\\Processor(_Total)\\% Processor Time");
  EXPECT_NO_THROW({
    EXPECT_EQ(Pdh::PdhConnectMachine(UnicodeString()), C_PDH_FAILED);
    EXPECT_EQ(Pdh::PdhLookupPerfNameByIndex(UnicodeString(), 6, LBuffer, &LSize), C_PDH_FAILED);
    EXPECT_EQ(Pdh::PdhLookupPerfIndexByName(UnicodeString(), UnicodeString(L"Processor"), &LIndex), C_PDH_FAILED);
    EXPECT_EQ(Pdh::PdhOpenQuery(nullptr, 0, &LQuery), C_PDH_FAILED);
    EXPECT_EQ(Pdh::PdhValidatePath(LPath), C_PDH_FAILED);
    EXPECT_EQ(Pdh::PdhAddCounter(LQuery, LPath, 0, &LCounter), C_PDH_FAILED);
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
  EXPECT_EQ(GSeam.Loads[L"pdh.dll"], 1) << "a failed load sticks: one attempt for thirteen calls";
  EXPECT_EQ(OSErrorCode([] { Pdh::Call(L"PdhOpenQueryW"); }), ERROR_MOD_NOT_FOUND);

  PERFORMANCE_INFORMATION LInfo{};
  EXPECT_EQ(OSErrorCode([&] { PsAPI::GetPerformanceInfo(&LInfo, sizeof(LInfo)); }), ERROR_MOD_NOT_FOUND);
  EXPECT_EQ(OSErrorCode([&] { PsAPI::GetModuleFileNameEx(GetCurrentProcess(), nullptr); }), ERROR_MOD_NOT_FOUND);
  EXPECT_EQ(GSeam.Loads[L"psapi.dll"], 1);
  EXPECT_EQ(LInfo.cb, 0u);
}

TEST(LateBoundModulesPdh, ARealQueryAMissingExportAndAnEmptyMachineNameAsNil) {
  PDH_HQUERY LQuery = nullptr;
  ASSERT_EQ(Pdh::PdhOpenQuery(nullptr, 0, &LQuery), 0);
  EXPECT_NE(LQuery, nullptr);
  EXPECT_EQ(Pdh::PdhCloseQuery(LQuery), 0);

  TSeam LSeam;
  GSeam.Missing = {"PdhOpenQueryW", "PdhVbGetDoubleCounterValue"};
  DWORD LStatus = 7;
  EXPECT_EQ(Pdh::PdhOpenQuery(nullptr, 0, &LQuery), C_PDH_FAILED);
  EXPECT_EQ(Pdh::PdhVbGetDoubleCounterValue(nullptr, &LStatus), 3221228499.0);
  EXPECT_EQ(LStatus, 7u) << "the system function never ran";

  GSeen = {};
  TSeam::Fake("PdhConnectMachineW", +[](LPCWSTR A) -> PDH_STATUS WINAPI { return ++GSeen.Calls, GSeen.Pointer1 = A, 0; });
  EXPECT_EQ(Pdh::PdhConnectMachine(UnicodeString()), 0);
  EXPECT_EQ(GSeen.Pointer1, nullptr);
  const UnicodeString LName(L"HOST");
  EXPECT_EQ(Pdh::PdhConnectMachine(LName), 0);
  EXPECT_EQ(GSeen.Pointer1, LName.c_str());
  EXPECT_EQ(GSeen.Calls, 2);
}

// Each module with one export Wine has.
const struct {
  const wchar_t* Module;
  void* (*Call)(const UnicodeString&);
  const char* Export;
} C_MODULES[] = {
    {L"netapi32.dll", &NetApi32::Call, "NetApiBufferFree"},   {L"PowrProf.dll", &PowrProf::Call, "GetPwrCapabilities"},
    {L"pdh.dll", &Pdh::Call, "PdhOpenQueryW"},                {L"psapi.dll", &PsAPI::Call, "GetPerformanceInfo"},
    {L"userenv.dll", &UserEnv::Call, "GetProfilesDirectoryW"}, {L"msi.dll", &MsiQuery::Call, "MsiCloseHandle"},
    {L"wtsapi32.dll", &WtsApi32::Call, "WTSFreeMemory"},      {L"crypt32.dll", &Crypt32::Call, "CryptMsgClose"},
    {L"cryptui.dll", &CryptUI::Call, "CryptUIWizDigitalSign"}, {L"mssign32.dll", &MsSign32::Call, "SignerFreeSignerContext"},
    {L"sfc.dll", &Sfc::Call, "SfcIsFileProtected"},           {L"wintrust.dll", &WinTrust::Call, "WinVerifyTrust"},
    {L"srclient.dll", &SrClient::Call, "SRRemoveRestorePoint"}, {L"CfgMgr32.dll", &CfgMgr32::Call, "CM_Get_Parent"},
    {L"irprops.cpl", &IrProps::Call, "BluetoothFindFirstRadio"}, {L"setupapi.dll", &SetupApi::Call, "IsUserAdmin"},
};

TEST(LateBoundModulesCall, EachModuleLoadsAndResolvesByNameAndAMissingNameRaisesCode1) {
  for (const auto& LCase : C_MODULES) {
    SCOPED_TRACE(std::string(LCase.Export));
    void* LProc = nullptr;
    EXPECT_NO_THROW(LProc = LCase.Call(UnicodeString(std::wstring(LCase.Export, LCase.Export + strlen(LCase.Export)))));
    const HMODULE LModule = GetModuleHandleW(LCase.Module);
    ASSERT_NE(LModule, nullptr);
    EXPECT_EQ(LProc, reinterpret_cast<void*>(::GetProcAddress(LModule, LCase.Export)));
    EXPECT_EQ(OSErrorCode([&] { LCase.Call(L"NoSuchExportOfTheModule"); }), 1);
    const TLibraryItem* LItem = DllRoutines::GetItemByName(LCase.Module);
    ASSERT_NE(LItem, nullptr);
    EXPECT_EQ(LItem->LoadCounter(), 1);
  }
}

TEST(LateBoundModulesCall, AMissingExportRaisesCode1BeforeTheSystemFunctionRunsOrAnOutputIsCleared) {
  TSeam LSeam;
  GSeam.Missing = {"GetPerformanceInfo", "PowerGetActiveScheme", "CryptMsgClose", "SignerFreeSignerContext",
                   "WTSFreeMemory"};
  PERFORMANCE_INFORMATION LInfo;
  memset(&LInfo, 0xAB, sizeof(LInfo));
  EXPECT_EQ(OSErrorCode([&] { PsAPI::GetPerformanceInfo(&LInfo, sizeof(LInfo)); }), 1);
  EXPECT_EQ(LInfo.cb, 0xABABABABu);
  GUID* LScheme = reinterpret_cast<GUID*>(0x1234);
  EXPECT_EQ(OSErrorCode([&] { PowrProf::PowerGetActiveScheme(&LScheme); }), 1);
  EXPECT_EQ(LScheme, reinterpret_cast<GUID*>(0x1234));
  HCRYPTMSG LMsg = reinterpret_cast<HCRYPTMSG>(0x5678);
  EXPECT_EQ(OSErrorCode([&] { Crypt32::CryptMsgClose(LMsg); }), 1);
  EXPECT_EQ(LMsg, reinterpret_cast<HCRYPTMSG>(0x5678));
  SIGNER_CONTEXT* LContext = reinterpret_cast<SIGNER_CONTEXT*>(0x9ABC);
  EXPECT_EQ(OSErrorCode([&] { MsSign32::SignerFreeSignerContext(LContext); }), 1);
  EXPECT_EQ(LContext, reinterpret_cast<SIGNER_CONTEXT*>(0x9ABC));
  WTS_PROCESS_INFOW* LProcesses = reinterpret_cast<WTS_PROCESS_INFOW*>(0xDEF0);
  EXPECT_EQ(OSErrorCode([&] { WtsApi32::WTSFreeMemory(LProcesses); }), 1);
  EXPECT_EQ(LProcesses, reinterpret_cast<WTS_PROCESS_INFOW*>(0xDEF0));
}

TEST(LateBoundModulesKinds, CryptMsgCloseAndSignerFreeSignerContextClearOnlyWhenTheSystemSucceeded) {
  TSeam LSeam;
  TSeam::Fake("CryptMsgClose", +[](HCRYPTMSG A) -> BOOL WINAPI { return GSeen.Pointer1 = A, GSeen.Bool; });
  TSeam::Fake("SignerFreeSignerContext",
              +[](SIGNER_CONTEXT* A) -> HRESULT WINAPI { return GSeen.Pointer2 = A, GSeen.HResult; });
  GSeen = {};
  HCRYPTMSG LMsg = reinterpret_cast<HCRYPTMSG>(0x1000);
  GSeen.Bool = FALSE;
  EXPECT_FALSE(Crypt32::CryptMsgClose(LMsg));
  EXPECT_EQ(LMsg, reinterpret_cast<HCRYPTMSG>(0x1000));
  GSeen.Bool = TRUE;
  EXPECT_TRUE(Crypt32::CryptMsgClose(LMsg));
  EXPECT_EQ(GSeen.Pointer1, reinterpret_cast<const void*>(0x1000));
  EXPECT_EQ(LMsg, nullptr);

  SIGNER_CONTEXT* LContext = reinterpret_cast<SIGNER_CONTEXT*>(0x2000);
  GSeen.HResult = E_INVALIDARG;
  EXPECT_EQ(MsSign32::SignerFreeSignerContext(LContext), E_INVALIDARG);
  EXPECT_EQ(LContext, reinterpret_cast<SIGNER_CONTEXT*>(0x2000));
  GSeen.HResult = S_OK;
  EXPECT_EQ(MsSign32::SignerFreeSignerContext(LContext), S_OK);
  EXPECT_EQ(GSeen.Pointer2, reinterpret_cast<const void*>(0x2000));
  EXPECT_EQ(LContext, nullptr);
}

TEST(LateBoundModulesKinds, EmptyStringsAndTheRootPowerKeyGoToTheSystemAsNil) {
  TSeam LSeam;
  GSeen = {};
  TSeam::Fake("SignerTimeStamp", +[](SIGNER_SUBJECT_INFO*, LPCWSTR AUrl, PCRYPT_ATTRIBUTES, LPVOID) -> HRESULT WINAPI {
    return GSeen.Pointer1 = AUrl, S_OK;
  });
  EXPECT_EQ(MsSign32::SignerTimeStamp(nullptr, UnicodeString(), nullptr, nullptr), S_OK);
  EXPECT_EQ(GSeen.Pointer1, nullptr);
  const UnicodeString LUrl(L"http://timestamp.example");
  EXPECT_EQ(MsSign32::SignerTimeStamp(nullptr, LUrl, nullptr, nullptr), S_OK);
  EXPECT_EQ(GSeen.Pointer1, LUrl.c_str());

  TSeam::Fake("NetUserEnum", +[](LPCWSTR AServer, DWORD ALevel, DWORD, LPBYTE*, DWORD, LPDWORD, LPDWORD,
                                 PDWORD) -> NET_API_STATUS WINAPI {
    return GSeen.Pointer1 = AServer, GSeen.Value = ALevel, NERR_Success;
  });
  TSeam::Fake("NetQueryDisplayInformation",
              +[](LPCWSTR AServer, DWORD, DWORD, DWORD, DWORD, LPDWORD, PVOID*) -> NET_API_STATUS WINAPI {
                return GSeen.Pointer2 = AServer, ERROR_MORE_DATA;
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

  GSeen = {};
  TSeam::Fake("PowerSetActiveScheme", +[](HKEY ARoot, const GUID* AScheme) -> DWORD WINAPI {
    return ++GSeen.Calls, GSeen.Pointer1 = ARoot, GSeen.Pointer2 = AScheme, ERROR_ACCESS_DENIED;
  });
  TSeam::Fake("PowerWriteDCValueIndex", +[](HKEY ARoot, const GUID*, const GUID*, const GUID* ASetting, DWORD AIndex)
                                            -> DWORD WINAPI {
    return ++GSeen.Calls, GSeen.Pointer1 = ARoot, GSeen.Pointer2 = ASetting, GSeen.Value = AIndex, ERROR_SUCCESS;
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

TEST(LateBoundModulesPsAPI, PerformanceInfoAndTheNamesOfThisProgram) {
  PERFORMANCE_INFORMATION LInfo{};
  EXPECT_TRUE(PsAPI::GetPerformanceInfo(&LInfo, sizeof(LInfo)));
  EXPECT_EQ(LInfo.cb, sizeof(LInfo));
  EXPECT_EQ(LInfo.PageSize, 4096u);
  EXPECT_GT(LInfo.PhysicalTotal, 0u);
  EXPECT_GT(LInfo.ProcessCount, 0u);

  wchar_t LExpected[MAX_PATH]{};
  GetModuleFileNameW(nullptr, LExpected, MAX_PATH);
  EXPECT_EQ(PsAPI::GetModuleFileNameEx(GetCurrentProcess(), nullptr), std::wstring(LExpected));
  EXPECT_TRUE(PsAPI::GetModuleFileNameEx(GetCurrentProcess(), nullptr).ends_with(L"\\WinapiTests.exe"));
  EXPECT_EQ(OSErrorCode([&] { PsAPI::GetModuleFileNameEx(nullptr, nullptr); }), ERROR_INVALID_HANDLE);

  const std::wstring LImage = PsAPI::GetProcessImageFileName(GetCurrentProcess());
  EXPECT_TRUE(LImage.starts_with(L"\\Device\\")) << LImage;
  EXPECT_TRUE(LImage.ends_with(L"\\WinapiTests.exe")) << LImage;
  EXPECT_EQ(OSErrorCode([&] { PsAPI::GetProcessImageFileName(nullptr); }), ERROR_INVALID_HANDLE);
}

TEST(LateBoundModulesUserEnv, ProfilesDirectoryAfterTheSizeQueryAndEmptyForWinesStubs) {
  // Wine's GetProfilesDirectoryW counts the characters without the terminating nul (Windows with
  // it): the folder comes whole either way.
  DWORD LSize = 0;
  reinterpret_cast<decltype(&::GetProfilesDirectoryW)>(UserEnv::Call(L"GetProfilesDirectoryW"))(nullptr, &LSize);
  EXPECT_EQ(LSize, 8u);
  const std::wstring LFolder = UserEnv::GetProfilesDirectory();
  EXPECT_EQ(LFolder, L"C:\\users");
  const DWORD LAttributes = GetFileAttributesW(LFolder.c_str());
  ASSERT_NE(LAttributes, INVALID_FILE_ATTRIBUTES);
  EXPECT_TRUE(LAttributes & FILE_ATTRIBUTE_DIRECTORY);

  // Wine's GetAllUsersProfileDirectoryW and GetDefaultUserProfileDirectoryW are stubs that answer
  // FALSE without a size: the empty string, nothing raised.
  EXPECT_EQ(UserEnv::GetAllUsersProfileDirectory(), L"");
  EXPECT_EQ(UserEnv::GetDefaultUserProfileDirectory(), L"");
}

TEST(LateBoundModulesPowrProf, WinesFixedCapabilitiesAndStubbedSchemeAndTheLastErrorOfAFailure) {
  SYSTEM_POWER_CAPABILITIES LCaps;
  memset(&LCaps, 0xFF, sizeof(LCaps));
  EXPECT_TRUE(PowrProf::GetPwrCapabilities(&LCaps));
  EXPECT_EQ((std::vector<int>{LCaps.PowerButtonPresent, LCaps.SleepButtonPresent, LCaps.SystemS1, LCaps.SystemS3,
                               LCaps.SystemS4, LCaps.SystemS5, LCaps.ProcessorMinThrottle, LCaps.ProcessorMaxThrottle}),
            (std::vector<int>{TRUE, FALSE, TRUE, FALSE, TRUE, TRUE, 100, 100}));
  GUID* LScheme = nullptr;
  EXPECT_EQ(PowrProf::PowerGetActiveScheme(&LScheme), static_cast<DWORD>(ERROR_CALL_NOT_IMPLEMENTED));
  EXPECT_EQ(LScheme, nullptr);

  TSeam LSeam;
  TSeam::Fake("GetPwrCapabilities",
              +[](PSYSTEM_POWER_CAPABILITIES) -> BOOLEAN WINAPI { return SetLastError(ERROR_ACCESS_DENIED), FALSE; });
  EXPECT_EQ(OSErrorCode([&] { PowrProf::GetPwrCapabilities(&LCaps); }), ERROR_ACCESS_DENIED);
}

TEST(LateBoundModulesOthers, CryptMsgClosePFXIsPFXBlobIsUserAdminAndWTSFreeMemoryOfRealData) {
  const auto LOpen = DllRoutines::CallAs<decltype(&::CryptMsgOpenToDecode)>(L"crypt32.dll", "CryptMsgOpenToDecode");
  HCRYPTMSG LMsg = LOpen(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0, 0, 0, nullptr, nullptr);
  ASSERT_NE(LMsg, nullptr);
  EXPECT_TRUE(Crypt32::CryptMsgClose(LMsg));
  EXPECT_EQ(LMsg, nullptr);
  BYTE LBytes[] = {1, 2, 3, 4};
  CRYPT_DATA_BLOB LBlob{sizeof(LBytes), LBytes};
  EXPECT_FALSE(Crypt32::PFXIsPFXBlob(&LBlob));
  EXPECT_TRUE(SetupApi::IsUserAdmin());

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

// Wine's answers, each the system's own result handed on by the wrapper's kind. (Wine's srclient
// exports SRRemoveRestorePoint, DisableSR and EnableSR as unimplemented stubs that end the process
// when called: they are only resolved, in the test above.)
TEST(LateBoundModulesOthers, RealCallsOfTheRemainingModulesGiveTheSystemsAnswers) {
  SetLastError(0);
  EXPECT_FALSE(Sfc::SfcIsFileProtected(nullptr, L"C:\\windows\\system32\\kernel32.dll"));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));

  // Wine's BluetoothFindFirstRadio is a stub: no search, ERROR_CALL_NOT_IMPLEMENTED.
  BLUETOOTH_FIND_RADIO_PARAMS LRadioParams{sizeof(LRadioParams)};
  HANDLE LRadio = nullptr;
  SetLastError(0);
  EXPECT_EQ(IrProps::BluetoothFindFirstRadio(&LRadioParams, &LRadio), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_CALL_NOT_IMPLEMENTED));

  EXPECT_EQ(MsiQuery::MsiQueryProductState(L"{00000000-0000-0000-0000-000000000000}"), INSTALLSTATE_UNKNOWN);
  wchar_t LProduct[39]{};
  EXPECT_EQ(MsiQuery::MsiEnumProducts(0, LProduct), static_cast<UINT>(ERROR_NO_MORE_ITEMS));
  MSIHANDLE LDatabase = 0;
  EXPECT_EQ(MsiQuery::MsiOpenDatabase(L"C:\\OvNoSuch\u6d4b.msi", MSIDBOPEN_READONLY, &LDatabase),
            static_cast<UINT>(ERROR_FUNCTION_FAILED));
  EXPECT_EQ(LDatabase, 0u);

  RESTOREPOINTINFOW LPoint{};
  LPoint.dwEventType = BEGIN_SYSTEM_CHANGE;
  LPoint.dwRestorePtType = APPLICATION_INSTALL;
  wcscpy(LPoint.szDescription, L"OvRTL test");
  STATEMGRSTATUS LStatus{};
  LStatus.nStatus = 1234;
  EXPECT_FALSE(SrClient::SRSetRestorePoint(&LPoint, &LStatus)) << "Wine keeps no restore points";
  EXPECT_EQ(LStatus.nStatus, 0u);

  // A catalog hash of a plain file is its SHA-1; no catalog knows it; the program is not signed.
  OvTest::TTempDir LDir;
  const std::wstring LText = LDir.Path() + L"abc.txt";
  OvTest::WriteFileBytes(LText, {'a', 'b', 'c'});
  HCATADMIN LAdmin = nullptr;
  ASSERT_TRUE(WinTrust::CryptCATAdminAcquireContext(&LAdmin, nullptr, 0));
  const HANDLE LFile = CreateFileW(LText.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(LFile, INVALID_HANDLE_VALUE);
  BYTE LHash[20]{};
  DWORD LHashSize = 0;
  WinTrust::CryptCATAdminCalcHashFromFileHandle(LFile, &LHashSize, nullptr, 0);  // the size only
  EXPECT_EQ(LHashSize, 20u);
  EXPECT_TRUE(WinTrust::CryptCATAdminCalcHashFromFileHandle(LFile, &LHashSize, LHash, 0));
  CloseHandle(LFile);
  const BYTE C_SHA1_ABC[20] = {0xa9, 0x99, 0x3e, 0x36, 0x47, 0x06, 0x81, 0x6a, 0xba, 0x3e,
                               0x25, 0x71, 0x78, 0x50, 0xc2, 0x6c, 0x9c, 0xd0, 0xd8, 0x9d};
  EXPECT_EQ(memcmp(LHash, C_SHA1_ABC, 20), 0);
  EXPECT_EQ(WinTrust::CryptCATAdminEnumCatalogFromHash(LAdmin, LHash, LHashSize, 0, nullptr), nullptr);
  EXPECT_TRUE(WinTrust::CryptCATAdminReleaseContext(LAdmin, 0));
  const std::wstring LSelf = OvTest::BinDir() + L"WinapiTests.exe";
  WINTRUST_FILE_INFO LFileInfo{sizeof(LFileInfo), LSelf.c_str(), nullptr, nullptr};
  WINTRUST_DATA LData{};
  LData.cbStruct = sizeof(LData);
  LData.dwUIChoice = WTD_UI_NONE;
  LData.fdwRevocationChecks = WTD_REVOKE_NONE;
  LData.dwUnionChoice = WTD_CHOICE_FILE;
  LData.pFile = &LFileInfo;
  LData.dwStateAction = WTD_STATEACTION_IGNORE;
  GUID LAction = WINTRUST_ACTION_GENERIC_VERIFY_V2;
  EXPECT_EQ(WinTrust::WinVerifyTrust(static_cast<HWND>(INVALID_HANDLE_VALUE), &LAction, &LData), TRUST_E_NOSIGNATURE);

  DEVINST LParent = 0;
  EXPECT_EQ(CfgMgr32::CM_Get_Parent(&LParent, 0x7FFF, 0), static_cast<CONFIGRET>(CR_NO_SUCH_DEVINST));
  ULONG LLength = 0;
  EXPECT_EQ(CfgMgr32::CM_Get_Device_ID_Size(&LLength, 0x7FFF, 0), static_cast<CONFIGRET>(CR_NO_SUCH_DEVINST));

  // The local accounts hold the user this test runs as.
  LPBYTE LBuffer = nullptr;
  DWORD LRead = 0, LTotal = 0;
  ASSERT_EQ(NetApi32::NetUserEnum(UnicodeString(), 0, FILTER_NORMAL_ACCOUNT, &LBuffer, MAX_PREFERRED_LENGTH, &LRead,
                                  &LTotal, nullptr),
            static_cast<NET_API_STATUS>(NERR_Success));
  wchar_t LUser[256]{};
  DWORD LUserSize = 256;
  ASSERT_TRUE(GetUserNameW(LUser, &LUserSize));
  bool LFound = false;
  for (DWORD I = 0; I < LRead; ++I)
    LFound = LFound || _wcsicmp(reinterpret_cast<USER_INFO_0*>(LBuffer)[I].usri0_name, LUser) == 0;
  EXPECT_TRUE(LFound) << LUser;
  EXPECT_EQ(NetApi32::NetApiBufferFree(LBuffer), static_cast<NET_API_STATUS>(NERR_Success));
}

}  // namespace
