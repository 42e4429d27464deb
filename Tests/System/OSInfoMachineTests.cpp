// OSInfo on the machine: a 32-bit program on Wine's 64-bit prefix, Wine set per program to several
// Windows versions, programs with and without the compatibility manifest, and the registry values
// behind UAC, the shell and the install date.
#include <gtest/gtest.h>

#include <map>
#include <optional>

#include "Ostravane.System.Win.OSInfo.h"
#include "RegistryTestSupport.h"
#include "TestSupport.h"

using namespace Ostravane;
using namespace OvTest;

namespace {

// A registry value as it stands now, put back (or deleted again) at the end of the scope.
class TSavedRegValue {
 public:
  TSavedRegValue(HKEY ARoot, std::wstring APath, std::wstring AName, REGSAM AView = 0)
      : FRoot(ARoot), FPath(std::move(APath)), FName(std::move(AName)), FView(AView),
        FSaved(RawRead(ARoot, FPath, FName, AView)) {}
  ~TSavedRegValue() {
    HKEY LKey = nullptr;
    if (RegCreateKeyExW(FRoot, FPath.c_str(), 0, nullptr, 0, KEY_SET_VALUE | FView, nullptr, &LKey, nullptr) != 0)
      return;
    if (FSaved.Code == ERROR_SUCCESS)
      RegSetValueExW(LKey, FName.c_str(), 0, FSaved.Type, FSaved.Data.data(), static_cast<DWORD>(FSaved.Data.size()));
    else
      RegDeleteValueW(LKey, FName.c_str());
    RegCloseKey(LKey);
  }
  TSavedRegValue(const TSavedRegValue&) = delete;
  TSavedRegValue& operator=(const TSavedRegValue&) = delete;

  void Set(DWORD AType, const void* AData, DWORD ASize) {
    HKEY LKey = nullptr;
    ASSERT_EQ(RegCreateKeyExW(FRoot, FPath.c_str(), 0, nullptr, 0, KEY_SET_VALUE | FView, nullptr, &LKey, nullptr), 0);
    EXPECT_EQ(RegSetValueExW(LKey, FName.c_str(), 0, AType, static_cast<const BYTE*>(AData), ASize), 0);
    RegCloseKey(LKey);
  }
  void SetDword(DWORD AValue) { Set(REG_DWORD, &AValue, sizeof(AValue)); }
  void SetString(const std::wstring& AValue) {
    Set(REG_SZ, AValue.c_str(), static_cast<DWORD>((AValue.size() + 1) * sizeof(wchar_t)));
  }
  void Delete() {
    HKEY LKey = nullptr;
    if (RegOpenKeyExW(FRoot, FPath.c_str(), 0, KEY_SET_VALUE | FView, &LKey) != 0) return;
    RegDeleteValueW(LKey, FName.c_str());
    RegCloseKey(LKey);
  }

 private:
  HKEY FRoot;
  std::wstring FPath, FName;
  REGSAM FView;
  TRawValue FSaved;
};

// What the helper program saw, by name.
std::map<std::wstring, std::wstring> RunOSInfoChild(const std::wstring& AProgram) {
  TTempDir LDir;
  const std::wstring LOut = LDir.Path() + L"osinfo.txt";
  const TChildResult LResult = RunChild(AProgram, L"\"" + LOut + L"\"");
  EXPECT_EQ(LResult.ExitCode, 0u) << AProgram;
  std::map<std::wstring, std::wstring> LFacts;
  const std::vector<unsigned char> LBytes = ReadFileBytes(LOut);
  const std::wstring LText = Rtl::UTF8ToString(std::string(LBytes.begin(), LBytes.end()));
  for (size_t P = 0; P < LText.size();) {
    const size_t LEnd = LText.find(L'\n', P);
    const std::wstring LLine = LText.substr(P, LEnd - P);
    if (const size_t LEq = LLine.find(L'='); LEq != std::wstring::npos)
      LFacts[LLine.substr(0, LEq)] = LLine.substr(LEq + 1);
    P = LEnd == std::wstring::npos ? LText.size() : LEnd + 1;
  }
  return LFacts;
}

// Wine tells one program the Windows version named under AppDefaults for its file name.
class TWineVersionFor {
 public:
  TWineVersionFor(const std::wstring& AProgram, const std::wstring& AVersion)
      : FPath(L"Software\\Wine\\AppDefaults\\" + AProgram) {
    HKEY LKey = nullptr;
    RegCreateKeyExW(HKEY_CURRENT_USER, FPath.c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr, &LKey, nullptr);
    RegSetValueExW(LKey, L"Version", 0, REG_SZ, reinterpret_cast<const BYTE*>(AVersion.c_str()),
                   static_cast<DWORD>((AVersion.size() + 1) * sizeof(wchar_t)));
    RegCloseKey(LKey);
  }
  ~TWineVersionFor() { DeleteRegTree(HKEY_CURRENT_USER, FPath, 0); }
  TWineVersionFor(const TWineVersionFor&) = delete;
  TWineVersionFor& operator=(const TWineVersionFor&) = delete;

 private:
  std::wstring FPath;
};

std::wstring N(int AValue) { return std::to_wstring(AValue); }

}  // namespace

// This test program carries the manifest, on the prefix's own default: Windows 7 SP1, a workstation.
TEST(OSInfoMachine, ThisProgramSeesThePrefixWindows) {
  using TRtlGetVersion = LONG(WINAPI*)(OSVERSIONINFOEXW*);
  OSVERSIONINFOEXW LTrue{};
  LTrue.dwOSVersionInfoSize = sizeof(LTrue);
  reinterpret_cast<TRtlGetVersion>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlGetVersion"))(&LTrue);
  ASSERT_EQ(LTrue.dwMajorVersion, 6u);
  ASSERT_EQ(LTrue.dwMinorVersion, 1u);

  EXPECT_EQ(OSInfo::WindowsVersion(), wvWin7);
  EXPECT_EQ(OSInfo::WindowsProductType(), wptWorkStation);
  EXPECT_EQ(OSInfo::BuildNumber(), LTrue.dwBuildNumber);
  EXPECT_EQ(OSInfo::ServicePack(), sp1);
  EXPECT_EQ(OSInfo::ProcessorArchitecture(), pax64);  // the native system, not the 32-bit view
  EXPECT_TRUE(OSInfo::IsWow64());
  // Wine's GetProductInfo answers PRODUCT_ULTIMATE for a workstation.
  EXPECT_EQ(OSInfo::WindowsEdition(), weUltimate);
  EXPECT_EQ(OSInfo::WindowsVersionString(), L"Windows 7 x64 Ultimate Edition Service Pack 1 (build: 7601)");
  EXPECT_TRUE(OSInfo::IsWindows(wvWin7, wvWin7));
  EXPECT_TRUE(OSInfo::IsWindows(wvWinVista, wvWinMaximum));
  EXPECT_FALSE(OSInfo::IsWindows(wvWin8, wvWinMaximum));
  EXPECT_TRUE(OSInfo::IsWindows(wvWin7, sp1, wvWin7, sp1));
  EXPECT_FALSE(OSInfo::IsWindows(wvWin7, sp2, wvWinMaximum, spNone));
  EXPECT_FALSE(OSInfo::IsWindows(wvWinXP, spNone, wvWin7, spNone));

  SYSTEM_INFO LNative{}, LOwn{};
  GetNativeSystemInfo(&LNative);
  ::GetSystemInfo(&LOwn);
  SYSTEM_INFO LInfo{};
  OSInfo::GetSystemInfo(LInfo);
  EXPECT_EQ(LInfo.wProcessorArchitecture, PROCESSOR_ARCHITECTURE_AMD64);
  EXPECT_EQ(LOwn.wProcessorArchitecture, PROCESSOR_ARCHITECTURE_INTEL);
  EXPECT_EQ(LInfo.lpMaximumApplicationAddress, LNative.lpMaximumApplicationAddress);

  MEMORYSTATUSEX LMemory{};
  LMemory.dwLength = sizeof(LMemory);
  ASSERT_TRUE(GlobalMemoryStatusEx(&LMemory));
  EXPECT_EQ(OSInfo::MemorySize(), static_cast<int64_t>(LMemory.ullTotalPhys));
  EXPECT_GT(OSInfo::MemorySize(), 0);
}

// Wine per program: the manifest makes GetVersionExW tell the truth; without it Windows 8.1 and 10
// look like Windows 8 (6.2 build 9200), as Windows shows them to such programs. Wine 8's "win7"
// setting reports a server (product type 3), so it comes out as Server 2008 R2, and "win2008r2" as
// the Windows 7 workstation. Every run is a 32-bit process on the 64-bit prefix.
TEST(OSInfoMachine, ProgramsSeeTheWindowsWineIsSetTo) {
  struct TRow {
    const wchar_t* Program;
    const wchar_t* WineVersion;
    TWindowsVersion Version;
    TWindowsProductType ProductType;
    const wchar_t* Build;
    TServicePack ServicePack;
    const wchar_t* Text;
  };
  const TRow LRows[] = {
      {L"ChildOSInfo.exe", L"win10", wvWin10, wptWorkStation, L"18362", spNone,
       L"Windows 10 x64 Ultimate Edition (build: 18362)"},
      {L"ChildOSInfo.exe", L"win81", wvWin8_1, wptWorkStation, L"9600", spNone,
       L"Windows 8.1 x64 Ultimate Edition (build: 9600)"},
      {L"ChildOSInfo.exe", L"win7", wvWinSrv2008R2, wptServer, L"7601", sp1,
       L"Windows Server 2008 R2 x64 Standard Edition Service Pack 1 (build: 7601)"},
      {L"ChildOSInfo.exe", L"win2008r2", wvWin7, wptWorkStation, L"7601", sp1,
       L"Windows 7 x64 Ultimate Edition Service Pack 1 (build: 7601)"},
      {L"ChildOSInfoBare.exe", L"win10", wvWin8, wptWorkStation, L"9200", spNone,
       L"Windows 8 x64 Ultimate Edition (build: 9200)"},
      {L"ChildOSInfoBare.exe", L"win81", wvWin8, wptWorkStation, L"9200", spNone,
       L"Windows 8 x64 Ultimate Edition (build: 9200)"},
      {L"ChildOSInfoBare.exe", L"win2008r2", wvWin7, wptWorkStation, L"7601", sp1,
       L"Windows 7 x64 Ultimate Edition Service Pack 1 (build: 7601)"},
  };
  for (const TRow& R : LRows) {
    SCOPED_TRACE(testing::Message() << R.Program << " as " << Rtl::UTF8Encode(R.WineVersion));
    TWineVersionFor LSetting(R.Program, R.WineVersion);
    auto LFacts = RunOSInfoChild(R.Program);
    EXPECT_EQ(LFacts[L"version"], N(R.Version));
    EXPECT_EQ(LFacts[L"productType"], N(R.ProductType));
    EXPECT_EQ(LFacts[L"build"], R.Build);
    EXPECT_EQ(LFacts[L"servicePack"], N(R.ServicePack));
    EXPECT_EQ(LFacts[L"architecture"], N(pax64));
    EXPECT_EQ(LFacts[L"wow64"], L"1");
    EXPECT_EQ(LFacts[L"text"], R.Text);
  }
}

// The power operations are never called; their checks read GetPwrCapabilities, whose answer on Wine
// has S1 to S5.
TEST(OSInfoMachine, PowerCapabilityChecks) {
  SYSTEM_POWER_CAPABILITIES LRaw{};
  using TGetPwrCapabilities = BOOLEAN(WINAPI*)(SYSTEM_POWER_CAPABILITIES*);
  HMODULE LPowrProf = LoadLibraryW(L"powrprof.dll");
  ASSERT_NE(LPowrProf, nullptr);
  ASSERT_TRUE(reinterpret_cast<TGetPwrCapabilities>(GetProcAddress(LPowrProf, "GetPwrCapabilities"))(&LRaw));
  FreeLibrary(LPowrProf);
  EXPECT_EQ(OSInfo::IsShutdownAllowed(), OSInfo::ShutdownAllowedBy(LRaw));
  EXPECT_EQ(OSInfo::IsSleepAllowed(), OSInfo::SleepAllowedBy(LRaw));
  EXPECT_EQ(OSInfo::IsHibernationAllowed(), OSInfo::HibernationAllowedBy(LRaw));
  EXPECT_TRUE(OSInfo::IsShutdownAllowed());

  auto LWith = RunOSInfoChild(L"ChildOSInfo.exe");
  EXPECT_EQ(LWith[L"shutdownAllowed"], L"1");
  EXPECT_EQ(LWith[L"sleepAllowed"], N(OSInfo::SleepAllowedBy(LRaw)));
  EXPECT_EQ(LWith[L"hibernationAllowed"], N(OSInfo::HibernationAllowedBy(LRaw)));

}

// UAC, the shell and the install date come from HKEY_LOCAL_MACHINE; each value is put back.
TEST(OSInfoMachine, RegistryFacts) {
  {
    TSavedRegValue LLua(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Policies\\System",
                        L"EnableLUA");
    LLua.SetDword(1);
    EXPECT_TRUE(OSInfo::IsUACEnabled());
    LLua.SetDword(0);
    EXPECT_FALSE(OSInfo::IsUACEnabled());
    LLua.SetString(L"1");  // another type reads as the default
    EXPECT_FALSE(OSInfo::IsUACEnabled());
    LLua.Delete();
    EXPECT_FALSE(OSInfo::IsUACEnabled());
  }
  {
    TSavedRegValue LShell(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Winlogon", L"Shell");
    EXPECT_EQ(OSInfo::OSShellAppPath(), L"explorer.exe");  // Wine's own value
    LShell.SetString(L"%SystemRoot%\\system32\\cmd.exe");
    EXPECT_TRUE(Rtl::SameText(OSInfo::OSShellAppPath(), L"C:\\windows\\system32\\cmd.exe"));
    LShell.Delete();
    EXPECT_TRUE(Rtl::SameText(OSInfo::OSShellAppPath(), L"C:\\windows\\explorer.exe"));
  }
  // Wine answers "http" with its own browser; the arguments are cut away, the quotes stay.
  EXPECT_TRUE(Rtl::SameText(OSInfo::WebBrowserAppPath(), L"\"C:\\windows\\system32\\winebrowser.exe\"") ||
              Rtl::SameText(OSInfo::WebBrowserAppPath(), L"C:\\windows\\system32\\winebrowser.exe"))
      << Rtl::UTF8Encode(OSInfo::WebBrowserAppPath());
  {
    const std::wstring LKey = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
    TSavedRegValue L64(HKEY_LOCAL_MACHINE, LKey, L"InstallDate", KEY_WOW64_64KEY);
    TSavedRegValue L32(HKEY_LOCAL_MACHINE, LKey, L"InstallDate", KEY_WOW64_32KEY);
    // Under WOW64 the 64-bit view counts.
    L64.SetDword(0x4BE5019A);
    L32.SetDword(0x12345678);
    TDateTime LDate = -1;
    ASSERT_TRUE(OSInfo::GetWindowsInstallDate(LDate));
    FILETIME LUtc{};
    const ULONGLONG LTicks = (0x4BE5019AULL + 11644473600ULL) * 10000000ULL;
    LUtc.dwLowDateTime = static_cast<DWORD>(LTicks);
    LUtc.dwHighDateTime = static_cast<DWORD>(LTicks >> 32);
    SYSTEMTIME LUtcTime{}, LLocalTime{};
    FileTimeToSystemTime(&LUtc, &LUtcTime);
    SystemTimeToTzSpecificLocalTime(nullptr, &LUtcTime, &LLocalTime);
    EXPECT_NEAR(LDate,
                Rtl::EncodeDateTime(LLocalTime.wYear, LLocalTime.wMonth, LLocalTime.wDay, LLocalTime.wHour,
                                    LLocalTime.wMinute, LLocalTime.wSecond, 0),
                1e-8);
    EXPECT_FALSE(OSInfo::IsFreshInstallation());

    const DWORD LNowUnix = static_cast<DWORD>(time(nullptr));
    L64.SetDword(LNowUnix - 7 * 86400 + 3600);
    EXPECT_TRUE(OSInfo::IsFreshInstallation());
    L64.SetDword(LNowUnix - 8 * 86400 - 3600);
    EXPECT_FALSE(OSInfo::IsFreshInstallation());

    L64.SetString(L"1273299354");  // not a DWORD
    EXPECT_FALSE(OSInfo::GetWindowsInstallDate(LDate));
    EXPECT_EQ(LDate, 0.0);
    L64.Delete();
    EXPECT_FALSE(OSInfo::GetWindowsInstallDate(LDate));
    EXPECT_FALSE(OSInfo::IsFreshInstallation());
  }
}

// Runs only in the test entry that starts this program with WINEDLLOVERRIDES "powrprof=d": Wine then
// refuses to load PowrProf.dll (126), the capability checks answer false, and the operations that
// need the module raise before any system function runs, so they are safe to call here.
TEST(OSInfoNoPowrProf, CapabilityChecksTakeTheMissingModuleRoad) {
  HMODULE LPowrProf = LoadLibraryW(L"powrprof.dll");
  const DWORD LError = GetLastError();
  ASSERT_EQ(LPowrProf, nullptr) << "this case needs WINEDLLOVERRIDES=powrprof=d";
  EXPECT_EQ(LError, static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
  EXPECT_FALSE(OSInfo::IsShutdownAllowed());
  EXPECT_FALSE(OSInfo::IsSleepAllowed());
  EXPECT_FALSE(OSInfo::IsHibernationAllowed());
  for (bool (*LOperation)() : {&OSInfo::SleepSystem, &OSInfo::HibernationSystem}) {
    try {
      LOperation();
      ADD_FAILURE() << "no exception without PowrProf.dll";
    } catch (const Rtl::EOSError& E) {
      EXPECT_EQ(E.ErrorCode, static_cast<uint32_t>(ERROR_MOD_NOT_FOUND));
    }
  }
  // The rest of OSInfo doesn't need the module.
  EXPECT_EQ(OSInfo::WindowsVersion(), wvWin7);
  EXPECT_EQ(OSInfo::ProcessorArchitecture(), pax64);
}
