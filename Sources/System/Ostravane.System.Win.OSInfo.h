// OSInfo: which Windows this is (version, product type, edition, service pack, architecture, build),
// its memory, install date and UAC state, the power operations with their capability checks, and
// where the default web browser and the shell lie.
//
// Probing stands apart from deciding: the Decide... functions map given version, product and
// capability values to the enumerations and never touch the machine; the reading layer asks the
// system once and keeps the answers in the class fields for the life of the process (the version
// and the architecture are asked again while they are still unknown).
//
// Versions are told by major and minor number only; the build number is stored, not interpreted,
// so a Windows 11 build (10.0.22000 and up) is wvWin10. A program without a compatibility manifest
// that names Windows 8.1 and 10 is told 6.2 build 9200 by GetVersionExW, as on Windows itself, and
// this class reports what the program is told.
//
// Failure contract: the facts never raise for a missing optional answer (unknown members, false,
// 0, the empty string); the power capability checks answer false on any failure; the power
// operations answer the system's result and enable no privilege.
#pragma once
#include <functional>

#include "Ostravane.Rtl.SyncObjs.h"
#include "Ostravane.Rtl.SysUtils.h"

namespace Ostravane {

using Rtl::TDateTime;
using Rtl::UnicodeString;

enum TWindowsVersion : uint8_t {
  wvUnknown,
  wvWin32s,
  wvWin95,
  wvWinNT4,
  wvWin98,
  wvWin98SE,
  wvWinME,
  wvWin2000,       // 5.0
  wvWinXP,         // 5.1, and 5.2 on a workstation (64-bit XP)
  wvWinSrv2003,    // 5.2
  wvWinSrv2003R2,  // 5.2 with SM_SERVERR2
  wvWinSrvHome,    // 5.2 with VER_SUITE_WH_SERVER
  wvWinVista,      // 6.0
  wvWinSrv2008,    // 6.0 server
  wvWinSrv2008R2,  // 6.1 server
  wvWin7,          // 6.1
  wvWin8,          // 6.2
  wvWinSrv2012,    // 6.2 server
  wvWin8_1,        // 6.3
  wvWinSrv2012R2,  // 6.3 server
  wvWin10,         // 6.4 and 10.x, Windows 11 builds included
  wvWinSrv2014,    // the same on a server
  wvWinMaximum,    // never detected: the open upper end of a range
};

enum TWindowsProductType : uint8_t { wptWorkStation, wptServer, wptDomainController };

enum TProcessorArchitecture : uint8_t { paUnknown, pax32, pax64, paItanuim };

enum TServicePack : uint8_t { spUnknown, spNone, sp1, sp2, sp3, sp4, sp5, spMaximum };

enum TWindowsEdition : uint8_t {
  weUnknown,
  weNone,
  weStarter,
  weHomeBasic,
  weHome,
  weHomePremium,
  weHomeServer,
  weBusiness,
  weClusterServer,
  weServerDatacenter,
  weEnterprise,
  weAdvanced,
  weProfessional,
  weServerEnterprise,
  weSmallBusiness,
  weSmallBusinessPremium,
  weStandardEdition,
  weStorageEnterprise,
  weStorageExpress,
  weStorageStandard,
  weStorageWorkgroup,
  weWebServer,
  weMediaCenter,
  weUltimate,
  weTabletPC,
  weAppliance,
  weEmbedded,
  weUnlicensed,
};

// The texts of the enumerations, by ordinal.
inline constexpr const wchar_t* STR_WINDOWS_VERSION[wvWinMaximum + 1] = {
    L"Unknown",
    L"Win32s",
    L"Windows 95",
    L"Windows NT",
    L"Windows 98",
    L"Windows 98 SE",
    L"Windows Millennium",
    L"Windows 2000",
    L"Windows XP",
    L"Windows Server 2003",
    L"Windows Server 2003 R2",
    L"Windows Home Server",
    L"Windows Vista",
    L"Windows Server 2008",
    L"Windows Server 2008 R2",
    L"Windows 7",
    L"Windows 8",
    L"Windows Server 2012",
    L"Windows 8.1",
    L"Windows Server 2012 R2",
    L"Windows 10",
    L"Windows Server 2014",
    L"Windows Maximum",
};
inline constexpr const wchar_t* STR_PROCESSOR_ARCHITECTURE[paItanuim + 1] = {L"Unknown", L"x32", L"x64", L"Itanuim"};
inline constexpr const wchar_t* STR_SERVICE_PACK[spMaximum + 1] = {
    L"Unknown",        L"",
    L"Service Pack 1", L"Service Pack 2",
    L"Service Pack 3", L"Service Pack 4",
    L"Service Pack 5", L"Service Pack Maximum",
};
inline constexpr const wchar_t* STR_WINDOWS_EDITION[weUnlicensed + 1] = {
    L"Unknown Edition",
    L"",
    L"Starter Edition",
    L"Home Basic Edition",
    L"Home Edition",
    L"Home Premium Edition",
    L"Home Server Edition",
    L"Business Edition",
    L"Cluster Server Edition",
    L"Datacenter Edition",
    L"Enterprise Edition",
    L"Advanced Edition",
    L"Professional Edition",
    L"Enterprise Edition",
    L"Small Business Edition",
    L"Small Business Premium Edition",
    L"Standard Edition",
    L"Storage Enterprise Edition",
    L"Storage Express Edition",
    L"Storage Standard Edition",
    L"Storage Workgroup Edition",
    L"Web Server Edition",
    L"Media Center Edition",
    L"Ultimate Edition",
    L"Tablet PC Edition",
    L"Appliance Edition",
    L"Embedded Edition",
    L"Unlicensed",
};

// The platform's SYSTEM_POWER_CAPABILITIES, field for field.
using TSystemPowerCapabilities = SYSTEM_POWER_CAPABILITIES;

// What the edition stages ask of the machine, each asked only when the stages before it found
// nothing: the product code of GetProductInfo (asked from Vista on), the suite mask of
// GetVersionExW, shlwapi's IsOS, and GetSystemMetrics.
struct TEditionFacts {
  std::function<DWORD()> ProductCode;
  WORD SuiteMask = 0;
  std::function<bool(DWORD)> IsOS;
  std::function<int(int)> SystemMetrics;
};

class OVRTL_API OSInfo final {
  OV_STATIC_CLASS
 public:
  OSInfo() = delete;

  // The reason code of every power operation: planned, operating system, reconfiguration.
  static constexpr DWORD C_SHUTDOWN_REASON = 0x84030004;

  // ---- The facts of this machine, read on first use ----

  static TWindowsVersion WindowsVersion();
  static TWindowsProductType WindowsProductType();
  static TProcessorArchitecture ProcessorArchitecture();
  static TServicePack ServicePack();
  static TWindowsEdition WindowsEdition();
  static uint32_t BuildNumber();
  // "Windows 7 x64 Ultimate Edition Service Pack 1 (build: 7601)": the parts that are unknown or
  // none stay out, with their blanks.
  static UnicodeString WindowsVersionString();
  // The version lies in the closed range.
  static bool IsWindows(TWindowsVersion AMin, TWindowsVersion AMax);
  // (version, service pack) lies in the closed range, ordered by version first: a service pack
  // bound counts only where the version equals that bound's version.
  static bool IsWindows(TWindowsVersion AMinVersion, TServicePack AMinServicePack, TWindowsVersion AMaxVersion,
                        TServicePack AMaxServicePack);
  // The native system's information under WOW64 (IsWow64Process, else IsOS(OS_WOW6432)), else the
  // process's own.
  static void GetSystemInfo(SYSTEM_INFO& lpSystemInfo);
  // True for a 32-bit process on a 64-bit Windows: IsWow64Process, or IsOS(OS_WOW6432) when that
  // function is missing or fails.
  static bool IsWow64();
  // Physical memory in bytes; 0 when the system doesn't tell.
  static int64_t MemorySize();
  // False before Vista, or when the policy key can't be opened or has no EnableLUA.
  static bool IsUACEnabled();

  // ---- Power operations: never called by the library itself ----

  static bool LogOffCurrentUser();
  static bool RebootSystem();
  // The shell's restart dialog; an empty prompt goes as nil; true when the user confirmed.
  static bool RebootSystem(uint32_t AWinParent, const UnicodeString& APrompt);
  static bool ShutdownSystem();
  static bool ShutdownSystem(uint32_t AWinParent, const UnicodeString& APrompt);
  static bool SleepSystem();
  static bool HibernationSystem();
  // By GetPwrCapabilities; false when it fails or PowrProf.dll is missing.
  static bool IsShutdownAllowed();
  static bool IsSleepAllowed();
  static bool IsHibernationAllowed();

  // ---- Programs ----

  // The program that opens "http" links, without its arguments; "iexplore.exe" when nothing tells.
  static UnicodeString WebBrowserAppPath();
  // The Winlogon shell, environment variables expanded; "%WINDIR%\explorer.exe" when it isn't set.
  static UnicodeString OSShellAppPath();

  // ---- Install date ----

  // The local time of the installation from "InstallDate" (64-bit view under WOW64); false, with a
  // zero date, when the value is missing or isn't a DWORD.
  static bool GetWindowsInstallDate(TDateTime& AInstallDate);
  // Installed 7 whole days ago or less.
  static bool IsFreshInstallation();

  // ---- Decisions over given values: no machine involved ----

  // The version and the product type of GetVersionExW's answer; AServerR2 is GetSystemMetrics(89).
  static void DecideVersion(const OSVERSIONINFOEXW& AInfo, bool AServerR2, TWindowsVersion& AVersion,
                            TWindowsProductType& AProductType) noexcept;
  static TProcessorArchitecture DecideArchitecture(WORD AProcessorArchitecture) noexcept;
  static TServicePack DecideServicePack(WORD AServicePackMajor) noexcept;
  // The edition of a GetProductInfo code; weUnknown for a code without one.
  static TWindowsEdition EditionOfProductCode(DWORD AProductCode) noexcept;
  // The stages in turn; weNone when none of them knows the edition.
  static TWindowsEdition DecideEdition(TWindowsVersion AVersion, const TEditionFacts& AFacts);
  static UnicodeString FormatVersionString(TWindowsVersion AVersion, TProcessorArchitecture AArchitecture,
                                           TWindowsEdition AEdition, TServicePack AServicePack, uint32_t ABuildNumber);
  static bool InVersionRange(TWindowsVersion AVersion, TServicePack AServicePack, TWindowsVersion AMinVersion,
                             TServicePack AMinServicePack, TWindowsVersion AMaxVersion,
                             TServicePack AMaxServicePack) noexcept;
  static bool ShutdownAllowedBy(const TSystemPowerCapabilities& ACapabilities) noexcept;
  static bool SleepAllowedBy(const TSystemPowerCapabilities& ACapabilities) noexcept;
  static bool HibernationAllowedBy(const TSystemPowerCapabilities& ACapabilities) noexcept;
  // A command of the "http" association cut behind its program: the part after the last backslash
  // or colon loses everything from its first blank; quotes stay where they are.
  static UnicodeString CutBrowserCommand(const UnicodeString& ACommand);
  // InstallDate's seconds since 1970-01-01 as a TDateTime (UTC).
  static TDateTime UnixTimeToDateTime(int32_t ASeconds) noexcept;
  // Whole days from AInstallDate to ANow are 7 or fewer.
  static bool IsFreshDate(TDateTime AInstallDate, TDateTime ANow) noexcept;

  // The unit's start and stop.
  static void Init();
  static void Done();

 protected:
  static void ReadVersionInfo();
  static void ReadArchitectureInfo();
  static void ReadServicePackInfo();
  static void ReadEditionInfo();
  static TDateTime UTCTimeToLocalTime(TDateTime UTC);

 private:
  static bool GetPowerCapabilities(TSystemPowerCapabilities& ACapabilities) noexcept;

  // Guards the .NET Framework cache only.
  static inline Rtl::TCriticalSection* FCSOSInfo = nullptr;
  static inline TWindowsVersion FWindowsVersion = wvUnknown;
  static inline TWindowsProductType FWindowsProductType = wptWorkStation;
  static inline uint32_t FBuildNumber = 0;
  static inline TProcessorArchitecture FProcessorArchitecture = paUnknown;
  static inline TServicePack FServicePack = spUnknown;
  static inline TWindowsEdition FWindowsEdition = weUnknown;
  static inline int64_t FMemorySize = 0;
};

}  // namespace Ostravane
