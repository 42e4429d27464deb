// OSInfo: the decisions over given values first, then the thin layer that asks the machine.
#include "Ostravane.System.Win.OSInfo.h"

#include <shlwapi.h>

#include <cmath>
#include <iterator>
#include <vector>

#include "Ostravane.System.Win.Registry.h"
#include "Ostravane.Winapi.AdvApi32.h"
#include "Ostravane.Winapi.Kernel32.h"
#include "Ostravane.Winapi.PowrProf.h"
#include "Ostravane.Winapi.Shell32.h"
#include "Ostravane.Winapi.ShlwApi.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(OSInfo, nullptr)

namespace {

constexpr WORD C_SUITE_WH_SERVER = 0x8000;
constexpr int C_SM_SERVERR2 = 89;
constexpr DWORD C_OS_WOW6432 = 30;
constexpr DWORD C_ANY_VERSION = 255;
constexpr DWORD C_EXIT_LOGOFF = EWX_LOGOFF | EWX_FORCEIFHUNG;   // 16
constexpr DWORD C_EXIT_REBOOT = EWX_REBOOT | EWX_FORCEIFHUNG;   // 18
constexpr DWORD C_EXIT_POWEROFF = EWX_SHUTDOWN | EWX_POWEROFF | EWX_FORCEIFHUNG;  // 25
constexpr double C_UNIX_EPOCH = 25569.0;  // 1970-01-01 as a TDateTime

constexpr wchar_t C_POLICIES_SYSTEM[] = L"\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Policies\\System";
constexpr wchar_t C_WINLOGON[] = L"\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Winlogon";
constexpr wchar_t C_CURRENT_VERSION[] = L"\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
constexpr wchar_t C_HTTP_OPEN_COMMAND[] = L"http\\shell\\open\\command";

// GetProductInfo's codes that name an edition, 1 to 29.
constexpr TWindowsEdition C_PRODUCT_EDITIONS[] = {
    weUltimate,       weHomeBasic,         weHomePremium,       weEnterprise,           weHomeBasic,
    weBusiness,       weStandardEdition,   weServerDatacenter,  weSmallBusiness,        weServerEnterprise,
    weStarter,        weServerDatacenter,  weStandardEdition,   weServerEnterprise,     weServerEnterprise,
    weBusiness,       weWebServer,         weClusterServer,     weHomeServer,           weStorageExpress,
    weStorageStandard, weStorageWorkgroup, weStorageEnterprise, weSmallBusiness,        weSmallBusinessPremium,
    weHomePremium,    weEnterprise,        weUltimate,          weWebServer,
};

struct TFlagEdition {
  DWORD Flag;
  TWindowsEdition Edition;  // weAdvanced stands for "Advanced on Windows 2000, else Enterprise"
};

// First bit that fits.
constexpr TFlagEdition C_SUITE_EDITIONS[] = {
    {VER_SUITE_SMALLBUSINESS | VER_SUITE_SMALLBUSINESS_RESTRICTED, weSmallBusiness},
    {VER_SUITE_ENTERPRISE, weAdvanced},
    {VER_SUITE_DATACENTER, weServerDatacenter},
    {VER_SUITE_PERSONAL, weHome},
    {VER_SUITE_BLADE, weWebServer},
    {VER_SUITE_STORAGE_SERVER, weStorageStandard},
    {VER_SUITE_COMPUTE_SERVER, weClusterServer},
    {VER_SUITE_EMBEDDEDNT, weEmbedded},
};

// First IsOS code that answers true, in the order that tells the more special kinds first.
constexpr DWORD C_OS_ADVSERVER = 22;  // Advanced on Windows 2000, Enterprise later
constexpr TFlagEdition C_IS_OS_EDITIONS[] = {
    {8, weProfessional},      // OS_WIN2000PRO
    {9, weStandardEdition},   // OS_WIN2000SERVER
    {23, weStandardEdition},  // OS_SERVER
    {10, weAdvanced},         // OS_WIN2000ADVSERVER
    {11, weServerDatacenter}, // OS_WIN2000DATACENTER
    {21, weServerDatacenter}, // OS_DATACENTER
    {13, weEmbedded},         // OS_EMBEDDED
    {32, weSmallBusiness},    // OS_SMALLBUSINESSSERVER
    {36, weAppliance},        // OS_APPLIANCE
    {31, weWebServer},        // OS_WEBSERVER
    {C_OS_ADVSERVER, weAdvanced},
    {20, weProfessional},     // OS_PROFESSIONAL
    {19, weHome},             // OS_HOME
    {25, weHome},             // OS_PERSONALTERMINALSERVER
    {35, weMediaCenter},      // OS_MEDIACENTER
    {33, weTabletPC},         // OS_TABLETPC
};

// First metric that answers non-zero.
constexpr struct {
  int Metric;
  TWindowsEdition Edition;
} C_METRIC_EDITIONS[] = {{SM_MEDIACENTER, weMediaCenter}, {SM_STARTER, weStarter}, {SM_TABLETPC, weTabletPC}};

// Advanced Server was Windows 2000's name for what later versions call Enterprise.
TWindowsEdition AdvancedOf(TWindowsEdition AEdition, TWindowsVersion AVersion) noexcept {
  return AEdition == weAdvanced && AVersion != wvWin2000 ? weEnterprise : AEdition;
}

OSVERSIONINFOEXW ReadVersionEx() noexcept {
  OSVERSIONINFOEXW LInfo{};
  LInfo.dwOSVersionInfoSize = sizeof(LInfo);
  if (!::GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&LInfo))) {
    LInfo = OSVERSIONINFOEXW{};
    LInfo.dwPlatformId = 0xFFFFFFFF;  // no platform: the version stays unknown
  }
  return LInfo;
}

}  // namespace

// ---- Decisions ------------------------------------------------------------------------------------

void OSInfo::DecideVersion(const OSVERSIONINFOEXW& AInfo, bool AServerR2, TWindowsVersion& AVersion,
                           TWindowsProductType& AProductType) noexcept {
  AVersion = wvUnknown;
  AProductType = wptWorkStation;
  const DWORD LMajor = AInfo.dwMajorVersion;
  const DWORD LMinor = AInfo.dwMinorVersion;
  switch (AInfo.dwPlatformId) {
    case VER_PLATFORM_WIN32s:
      AVersion = wvWin32s;
      return;
    case VER_PLATFORM_WIN32_WINDOWS:
      if (LMajor != 4) return;
      if (LMinor >= 90) AVersion = wvWinME;
      else if (LMinor < 10) AVersion = wvWin95;
      else AVersion = AInfo.szCSDVersion[1] == L'A' ? wvWin98SE : wvWin98;
      return;
    case VER_PLATFORM_WIN32_NT:
      break;
    default:
      return;
  }
  if (AInfo.wProductType == VER_NT_DOMAIN_CONTROLLER) AProductType = wptDomainController;
  else if (AInfo.wProductType == VER_NT_SERVER) AProductType = wptServer;
  const bool LServer = AInfo.wProductType == VER_NT_DOMAIN_CONTROLLER || AInfo.wProductType == VER_NT_SERVER;
  if (LMajor >= 6) {
    if ((LMinor >= 4) || LMajor >= 10) AVersion = LServer ? wvWinSrv2014 : wvWin10;
    else if (LMinor >= 3) AVersion = LServer ? wvWinSrv2012R2 : wvWin8_1;
    else if (LMinor >= 2) AVersion = LServer ? wvWinSrv2012 : wvWin8;
    else if (LMinor >= 1) AVersion = LServer ? wvWinSrv2008R2 : wvWin7;
    else AVersion = LServer ? wvWinSrv2008 : wvWinVista;
  } else if (LMajor >= 5 && LMinor >= 2) {
    if (AInfo.wSuiteMask & C_SUITE_WH_SERVER) AVersion = wvWinSrvHome;
    else if (AInfo.wProductType == VER_NT_WORKSTATION) AVersion = wvWinXP;
    else AVersion = AServerR2 ? wvWinSrv2003R2 : wvWinSrv2003;
  } else if (LMajor >= 5 && LMinor >= 1) {
    AVersion = wvWinXP;
  } else if (LMajor >= 5) {
    AVersion = wvWin2000;
  } else {
    AVersion = wvWinNT4;
  }
}

TProcessorArchitecture OSInfo::DecideArchitecture(WORD AProcessorArchitecture) noexcept {
  switch (AProcessorArchitecture) {
    case PROCESSOR_ARCHITECTURE_INTEL:
      return pax32;
    case PROCESSOR_ARCHITECTURE_AMD64:
      return pax64;
    case PROCESSOR_ARCHITECTURE_IA64:
      return paItanuim;
    default:
      return paUnknown;
  }
}

TServicePack OSInfo::DecideServicePack(WORD AServicePackMajor) noexcept {
  return AServicePackMajor <= 4 ? static_cast<TServicePack>(spNone + AServicePackMajor) : sp5;
}

TWindowsEdition OSInfo::EditionOfProductCode(DWORD AProductCode) noexcept {
  if (AProductCode == Kernel32::C_PRODUCT_UNKNOWN_ANSWER) return weUnlicensed;
  if (AProductCode >= 1 && AProductCode <= std::size(C_PRODUCT_EDITIONS)) return C_PRODUCT_EDITIONS[AProductCode - 1];
  return weUnknown;
}

TWindowsEdition OSInfo::DecideEdition(TWindowsVersion AVersion, const TEditionFacts& AFacts) {
  if (AVersion >= wvWinVista && AFacts.ProductCode) {
    if (const TWindowsEdition L = EditionOfProductCode(AFacts.ProductCode()); L != weUnknown) return L;
  }
  for (const TFlagEdition& L : C_SUITE_EDITIONS)
    if (AFacts.SuiteMask & L.Flag) return AdvancedOf(L.Edition, AVersion);
  if (AFacts.IsOS) {
    for (const TFlagEdition& L : C_IS_OS_EDITIONS) {
      if (!AFacts.IsOS(L.Flag)) continue;
      return L.Flag == C_OS_ADVSERVER ? AdvancedOf(L.Edition, AVersion) : L.Edition;
    }
  }
  if (AFacts.SystemMetrics) {
    for (const auto& L : C_METRIC_EDITIONS)
      if (AFacts.SystemMetrics(L.Metric) != 0) return L.Edition;
  }
  return weNone;
}

UnicodeString OSInfo::FormatVersionString(TWindowsVersion AVersion, TProcessorArchitecture AArchitecture,
                                          TWindowsEdition AEdition, TServicePack AServicePack,
                                          uint32_t ABuildNumber) {
  UnicodeString LResult = STR_WINDOWS_VERSION[AVersion];
  if (AArchitecture != paUnknown) LResult += UnicodeString(L" ") + STR_PROCESSOR_ARCHITECTURE[AArchitecture];
  if (AEdition >= weStarter) LResult += UnicodeString(L" ") + STR_WINDOWS_EDITION[AEdition];
  if (AServicePack >= sp1) LResult += UnicodeString(L" ") + STR_SERVICE_PACK[AServicePack];
  return LResult + L" (build: " + std::to_wstring(ABuildNumber) + L")";
}

bool OSInfo::InVersionRange(TWindowsVersion AVersion, TServicePack AServicePack, TWindowsVersion AMinVersion,
                            TServicePack AMinServicePack, TWindowsVersion AMaxVersion,
                            TServicePack AMaxServicePack) noexcept {
  if (AVersion < AMinVersion || AVersion > AMaxVersion) return false;
  if (AVersion == AMinVersion && AServicePack < AMinServicePack) return false;
  if (AVersion == AMaxVersion && AServicePack > AMaxServicePack) return false;
  return true;
}

bool OSInfo::ShutdownAllowedBy(const TSystemPowerCapabilities& ACapabilities) noexcept {
  return ACapabilities.SystemS5;
}

bool OSInfo::SleepAllowedBy(const TSystemPowerCapabilities& ACapabilities) noexcept {
  return ACapabilities.SystemS1 || ACapabilities.SystemS2 || ACapabilities.SystemS3;
}

bool OSInfo::HibernationAllowedBy(const TSystemPowerCapabilities& ACapabilities) noexcept {
  return ACapabilities.SystemS4 || ACapabilities.HiberFilePresent;
}

UnicodeString OSInfo::CutBrowserCommand(const UnicodeString& ACommand) {
  const size_t LSplit = ACommand.find_last_of(L"\\:");
  const size_t LStart = LSplit == UnicodeString::npos ? 0 : LSplit + 1;
  UnicodeString LName = ACommand.substr(LStart);
  if (const size_t LBlank = LName.find(L' '); LBlank != UnicodeString::npos) LName.resize(LBlank);
  return ACommand.substr(0, LStart) + LName;
}

TDateTime OSInfo::UnixTimeToDateTime(int32_t ASeconds) noexcept { return C_UNIX_EPOCH + ASeconds / 86400.0; }

bool OSInfo::IsFreshDate(TDateTime AInstallDate, TDateTime ANow) noexcept {
  // Whole days, as the runtime counts them: half a millisecond short of a day still counts whole.
  constexpr double C_HALF_MILLISECOND = 0.5 / 86400000.0;
  return std::floor(std::fabs(ANow - AInstallDate) + C_HALF_MILLISECOND) <= 7;
}

// ---- Start and stop ---------------------------------------------------------------------------------

void OSInfo::Init() {
  FCSOSInfo = new Rtl::TCriticalSection();
  FWindowsVersion = wvUnknown;
  FWindowsProductType = wptWorkStation;
  FBuildNumber = 0;
  FProcessorArchitecture = paUnknown;
  FServicePack = spUnknown;
  FWindowsEdition = weUnknown;
  FMemorySize = 0;
}

void OSInfo::Done() {
  delete FCSOSInfo;
  FCSOSInfo = nullptr;
}

// ---- The machine ------------------------------------------------------------------------------------

void OSInfo::ReadVersionInfo() {
  if (FWindowsVersion != wvUnknown) return;
  const OSVERSIONINFOEXW LInfo = ReadVersionEx();
  FBuildNumber = LInfo.dwBuildNumber;
  const bool LServerR2 = LInfo.dwPlatformId == VER_PLATFORM_WIN32_NT && LInfo.dwMajorVersion == 5 &&
                         ::GetSystemMetrics(C_SM_SERVERR2) != 0;
  DecideVersion(LInfo, LServerR2, FWindowsVersion, FWindowsProductType);
}

void OSInfo::ReadArchitectureInfo() {
  if (FProcessorArchitecture != paUnknown) return;
  SYSTEM_INFO LInfo{};
  GetSystemInfo(LInfo);
  FProcessorArchitecture = DecideArchitecture(LInfo.wProcessorArchitecture);
}

void OSInfo::ReadServicePackInfo() {
  if (FServicePack != spUnknown) return;
  FServicePack = DecideServicePack(ReadVersionEx().wServicePackMajor);
}

void OSInfo::ReadEditionInfo() {
  if (FWindowsEdition != weUnknown) return;
  TEditionFacts LFacts;
  LFacts.ProductCode = [] {
    DWORD LCode = 0;
    Kernel32::GetProductInfo(C_ANY_VERSION, C_ANY_VERSION, C_ANY_VERSION, C_ANY_VERSION, LCode);
    return LCode;
  };
  LFacts.SuiteMask = ReadVersionEx().wSuiteMask;
  LFacts.IsOS = [](DWORD ACode) { return ShlwAPI::IsOS(ACode); };
  LFacts.SystemMetrics = [](int AIndex) { return ::GetSystemMetrics(AIndex); };
  FWindowsEdition = DecideEdition(WindowsVersion(), LFacts);
}

TWindowsVersion OSInfo::WindowsVersion() {
  ReadVersionInfo();
  return FWindowsVersion;
}

TWindowsProductType OSInfo::WindowsProductType() {
  ReadVersionInfo();
  return FWindowsProductType;
}

uint32_t OSInfo::BuildNumber() {
  ReadVersionInfo();
  return FBuildNumber;
}

TProcessorArchitecture OSInfo::ProcessorArchitecture() {
  ReadArchitectureInfo();
  return FProcessorArchitecture;
}

TServicePack OSInfo::ServicePack() {
  ReadServicePackInfo();
  return FServicePack;
}

TWindowsEdition OSInfo::WindowsEdition() {
  ReadEditionInfo();
  return FWindowsEdition;
}

UnicodeString OSInfo::WindowsVersionString() {
  const TWindowsVersion LVersion = WindowsVersion();
  return FormatVersionString(LVersion, ProcessorArchitecture(), WindowsEdition(), ServicePack(), FBuildNumber);
}

bool OSInfo::IsWindows(TWindowsVersion AMin, TWindowsVersion AMax) {
  const TWindowsVersion LVersion = WindowsVersion();
  return LVersion >= AMin && LVersion <= AMax;
}

bool OSInfo::IsWindows(TWindowsVersion AMinVersion, TServicePack AMinServicePack, TWindowsVersion AMaxVersion,
                       TServicePack AMaxServicePack) {
  return InVersionRange(WindowsVersion(), ServicePack(), AMinVersion, AMinServicePack, AMaxVersion, AMaxServicePack);
}

bool OSInfo::IsWow64() {
  try {
    BOOL LWow64 = FALSE;
    Kernel32::IsWow64Process(GetCurrentProcess(), &LWow64);
    return LWow64 != FALSE;
  } catch (const Rtl::Exception&) {
    return ShlwAPI::IsOS(C_OS_WOW6432);
  }
}

void OSInfo::GetSystemInfo(SYSTEM_INFO& lpSystemInfo) {
  if (IsWow64()) Kernel32::GetNativeSystemInfo(&lpSystemInfo);
  else ::GetSystemInfo(&lpSystemInfo);
}

int64_t OSInfo::MemorySize() {
  if (FMemorySize > 0) return FMemorySize;
  MEMORYSTATUSEX LStatus{};
  LStatus.dwLength = sizeof(LStatus);
  if (::GlobalMemoryStatusEx(&LStatus)) FMemorySize = static_cast<int64_t>(LStatus.ullTotalPhys);
  return FMemorySize;
}

bool OSInfo::IsUACEnabled() {
  if (!IsWindows(wvWinVista, wvWinMaximum)) return false;
  TRegistry LRegistry(KEY_READ);
  LRegistry.SetRootKey(HKEY_LOCAL_MACHINE);
  if (!LRegistry.OpenKey(C_POLICIES_SYSTEM, false)) return false;
  return LRegistry.ReadBoolDef(L"EnableLUA", false);
}

// ---- Power --------------------------------------------------------------------------------------------

bool OSInfo::LogOffCurrentUser() { return ::ExitWindowsEx(C_EXIT_LOGOFF, C_SHUTDOWN_REASON) != FALSE; }

bool OSInfo::RebootSystem() { return ::ExitWindowsEx(C_EXIT_REBOOT, C_SHUTDOWN_REASON) != FALSE; }

bool OSInfo::RebootSystem(uint32_t AWinParent, const UnicodeString& APrompt) {
  return Shell32::SHRestartDialog(reinterpret_cast<HWND>(static_cast<uintptr_t>(AWinParent)), APrompt, C_EXIT_REBOOT,
                                  C_SHUTDOWN_REASON);
}

bool OSInfo::ShutdownSystem() {
  return AdvApi32::InitiateSystemShutdownEx(nullptr, nullptr, 0, TRUE, FALSE, C_SHUTDOWN_REASON);
}

bool OSInfo::ShutdownSystem(uint32_t AWinParent, const UnicodeString& APrompt) {
  return Shell32::SHRestartDialog(reinterpret_cast<HWND>(static_cast<uintptr_t>(AWinParent)), APrompt,
                                  C_EXIT_POWEROFF, C_SHUTDOWN_REASON);
}

bool OSInfo::SleepSystem() { return PowrProf::SetSuspendState(FALSE, FALSE, FALSE); }

bool OSInfo::HibernationSystem() { return PowrProf::SetSuspendState(TRUE, FALSE, FALSE); }

bool OSInfo::GetPowerCapabilities(TSystemPowerCapabilities& ACapabilities) noexcept {
  ACapabilities = TSystemPowerCapabilities{};
  try {
    PowrProf::GetPwrCapabilities(&ACapabilities);
    return true;
  } catch (...) {
    return false;
  }
}

bool OSInfo::IsShutdownAllowed() {
  TSystemPowerCapabilities L;
  return GetPowerCapabilities(L) && ShutdownAllowedBy(L);
}

bool OSInfo::IsSleepAllowed() {
  TSystemPowerCapabilities L;
  return GetPowerCapabilities(L) && SleepAllowedBy(L);
}

bool OSInfo::IsHibernationAllowed() {
  TSystemPowerCapabilities L;
  return GetPowerCapabilities(L) && HibernationAllowedBy(L);
}

// ---- Programs -----------------------------------------------------------------------------------------

UnicodeString OSInfo::WebBrowserAppPath() {
  UnicodeString LResult;
  DWORD LLength = 0;
  if (::AssocQueryStringW(0, ASSOCSTR_EXECUTABLE, L"http", L"open", nullptr, &LLength) == S_FALSE && LLength > 0) {
    std::vector<wchar_t> LBuffer(LLength);
    if (::AssocQueryStringW(0, ASSOCSTR_EXECUTABLE, L"http", L"open", LBuffer.data(), &LLength) == S_OK)
      LResult.assign(LBuffer.data());
  }
  if (LResult.empty()) {
    TRegistry LRegistry(KEY_READ);
    LRegistry.SetRootKey(HKEY_CLASSES_ROOT);
    if (LRegistry.OpenKeyReadOnly(C_HTTP_OPEN_COMMAND) && LRegistry.ValueExists(L"") &&
        LRegistry.GetDataType(L"") == rdString)
      LResult = LRegistry.ReadString(L"");
  }
  if (LResult.empty()) LResult = L"iexplore.exe";
  return CutBrowserCommand(LResult);
}

UnicodeString OSInfo::OSShellAppPath() {
  UnicodeString LResult;
  {
    TRegistry LRegistry(KEY_READ);
    LRegistry.SetRootKey(HKEY_LOCAL_MACHINE);
    if (LRegistry.OpenKey(C_WINLOGON, false)) LResult = LRegistry.ReadStringDef(L"Shell", L"");
  }
  if (LResult.empty()) LResult = L"%WINDIR%\\explorer.exe";
  return Kernel32::ExpandEnvironmentStrings(LResult);
}

// ---- Install date -------------------------------------------------------------------------------------

TDateTime OSInfo::UTCTimeToLocalTime(TDateTime UTC) {
  TIME_ZONE_INFORMATION LZone{};
  if (::GetTimeZoneInformation(&LZone) == TIME_ZONE_ID_INVALID) return UTC;
  SYSTEMTIME LUtc{}, LLocal{};
  Rtl::DecodeDateTime(UTC, LUtc.wYear, LUtc.wMonth, LUtc.wDay, LUtc.wHour, LUtc.wMinute, LUtc.wSecond,
                      LUtc.wMilliseconds);
  if (!::SystemTimeToTzSpecificLocalTime(&LZone, &LUtc, &LLocal)) return UTC;
  return Rtl::EncodeDateTime(LLocal.wYear, LLocal.wMonth, LLocal.wDay, LLocal.wHour, LLocal.wMinute, LLocal.wSecond,
                             LLocal.wMilliseconds);
}

bool OSInfo::GetWindowsInstallDate(TDateTime& AInstallDate) {
  AInstallDate = 0;
  TRegistry LRegistry(KEY_READ | (IsWow64() ? KEY_WOW64_64KEY : 0));
  LRegistry.SetRootKey(HKEY_LOCAL_MACHINE);
  if (!LRegistry.OpenKey(C_CURRENT_VERSION, true)) return false;
  try {
    if (!LRegistry.ValueExists(L"InstallDate") || LRegistry.GetDataType(L"InstallDate") != rdInteger) return false;
    AInstallDate = UTCTimeToLocalTime(UnixTimeToDateTime(LRegistry.ReadInteger(L"InstallDate")));
    return true;
  } catch (const Rtl::Exception&) {
    return false;
  }
}

bool OSInfo::IsFreshInstallation() {
  TDateTime LInstallDate;
  return GetWindowsInstallDate(LInstallDate) && IsFreshDate(LInstallDate, Rtl::Now());
}

}  // namespace Ostravane
