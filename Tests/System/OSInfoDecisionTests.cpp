// OSInfo's decisions over given version, product and capability values: every row of its tables,
// with no machine involved.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "Ostravane.System.Win.OSInfo.h"

using namespace Ostravane;

namespace {

OSVERSIONINFOEXW Info(DWORD APlatform, DWORD AMajor, DWORD AMinor, BYTE AProductType = VER_NT_WORKSTATION,
                      WORD ASuite = 0, const wchar_t* ACSD = L"", DWORD ABuild = 0) {
  OSVERSIONINFOEXW L{};
  L.dwOSVersionInfoSize = sizeof(L);
  L.dwPlatformId = APlatform;
  L.dwMajorVersion = AMajor;
  L.dwMinorVersion = AMinor;
  L.dwBuildNumber = ABuild;
  L.wProductType = AProductType;
  L.wSuiteMask = ASuite;
  wcsncpy(L.szCSDVersion, ACSD, 127);
  return L;
}

struct TVersionRow {
  OSVERSIONINFOEXW Info;
  bool ServerR2;
  TWindowsVersion Version;
  TWindowsProductType ProductType;
};

constexpr DWORD NT = VER_PLATFORM_WIN32_NT;
constexpr DWORD W9X = VER_PLATFORM_WIN32_WINDOWS;
constexpr BYTE WS = VER_NT_WORKSTATION, SRV = VER_NT_SERVER, DC = VER_NT_DOMAIN_CONTROLLER;

}  // namespace

TEST(OSInfoDecisions, VersionAndProductTypeOfEveryRow) {
  const TVersionRow LRows[] = {
      {Info(VER_PLATFORM_WIN32s, 3, 10), false, wvWin32s, wptWorkStation},
      {Info(W9X, 4, 0), false, wvWin95, wptWorkStation},
      {Info(W9X, 4, 9), false, wvWin95, wptWorkStation},
      {Info(W9X, 4, 10, WS, 0, L" "), false, wvWin98, wptWorkStation},
      {Info(W9X, 4, 10, WS, 0, L" A "), false, wvWin98SE, wptWorkStation},
      {Info(W9X, 4, 10, WS, 0, L" B "), false, wvWin98, wptWorkStation},
      {Info(W9X, 4, 90), false, wvWinME, wptWorkStation},
      {Info(W9X, 5, 0), false, wvUnknown, wptWorkStation},  // only major 4 is known on this platform
      {Info(W9X, 3, 95), false, wvUnknown, wptWorkStation},
      {Info(3, 10, 0), false, wvUnknown, wptWorkStation},  // an unknown platform
      {Info(NT, 4, 0), false, wvWinNT4, wptWorkStation},
      {Info(NT, 4, 0, SRV), false, wvWinNT4, wptServer},
      {Info(NT, 5, 0), false, wvWin2000, wptWorkStation},
      {Info(NT, 5, 0, DC), false, wvWin2000, wptDomainController},
      {Info(NT, 5, 1), false, wvWinXP, wptWorkStation},
      {Info(NT, 5, 2, WS), false, wvWinXP, wptWorkStation},  // 64-bit XP
      {Info(NT, 5, 2, WS, 0x8000), false, wvWinSrvHome, wptWorkStation},
      {Info(NT, 5, 2, SRV, 0x8000), true, wvWinSrvHome, wptServer},
      {Info(NT, 5, 2, SRV), false, wvWinSrv2003, wptServer},
      {Info(NT, 5, 2, SRV), true, wvWinSrv2003R2, wptServer},
      {Info(NT, 5, 2, DC), false, wvWinSrv2003, wptDomainController},
      {Info(NT, 5, 2, WS), true, wvWinXP, wptWorkStation},
      {Info(NT, 6, 0), false, wvWinVista, wptWorkStation},
      {Info(NT, 6, 0, SRV), false, wvWinSrv2008, wptServer},
      {Info(NT, 6, 0, DC), false, wvWinSrv2008, wptDomainController},
      {Info(NT, 6, 1), false, wvWin7, wptWorkStation},
      {Info(NT, 6, 1, SRV), false, wvWinSrv2008R2, wptServer},
      {Info(NT, 6, 1, DC), false, wvWinSrv2008R2, wptDomainController},
      {Info(NT, 6, 2), false, wvWin8, wptWorkStation},
      {Info(NT, 6, 2, SRV), false, wvWinSrv2012, wptServer},
      {Info(NT, 6, 3), false, wvWin8_1, wptWorkStation},
      {Info(NT, 6, 3, DC), false, wvWinSrv2012R2, wptDomainController},
      {Info(NT, 6, 4), false, wvWin10, wptWorkStation},
      {Info(NT, 6, 4, SRV), false, wvWinSrv2014, wptServer},
      {Info(NT, 10, 0, WS, 0, L"", 10240), false, wvWin10, wptWorkStation},
      {Info(NT, 10, 0, WS, 0, L"", 22000), false, wvWin10, wptWorkStation},  // Windows 11
      {Info(NT, 10, 0, WS, 0, L"", 26100), false, wvWin10, wptWorkStation},
      {Info(NT, 10, 0, SRV), false, wvWinSrv2014, wptServer},
      {Info(NT, 10, 0, DC), false, wvWinSrv2014, wptDomainController},
      {Info(NT, 11, 0), false, wvWin10, wptWorkStation},
      {Info(NT, 7, 0), false, wvWinVista, wptWorkStation},  // the rows look at 10 and up, not 7
      {Info(NT, 3, 51), false, wvWinNT4, wptWorkStation},
  };
  for (const TVersionRow& R : LRows) {
    TWindowsVersion LVersion = wvWinMaximum;
    TWindowsProductType LType = wptDomainController;
    OSInfo::DecideVersion(R.Info, R.ServerR2, LVersion, LType);
    SCOPED_TRACE(testing::Message() << "platform " << R.Info.dwPlatformId << ", " << R.Info.dwMajorVersion << "."
                                    << R.Info.dwMinorVersion << ", type " << int(R.Info.wProductType) << ", suite "
                                    << R.Info.wSuiteMask << ", R2 " << R.ServerR2);
    EXPECT_EQ(LVersion, R.Version);
    EXPECT_EQ(LType, R.ProductType);
  }
}

TEST(OSInfoDecisions, ArchitectureAndServicePack) {
  EXPECT_EQ(OSInfo::DecideArchitecture(PROCESSOR_ARCHITECTURE_INTEL), pax32);
  EXPECT_EQ(OSInfo::DecideArchitecture(PROCESSOR_ARCHITECTURE_AMD64), pax64);
  EXPECT_EQ(OSInfo::DecideArchitecture(PROCESSOR_ARCHITECTURE_IA64), paItanuim);
  for (WORD LOther : {WORD(5), WORD(12), WORD(10), WORD(PROCESSOR_ARCHITECTURE_UNKNOWN)})
    EXPECT_EQ(OSInfo::DecideArchitecture(LOther), paUnknown) << LOther;

  const TServicePack LExpected[] = {spNone, sp1, sp2, sp3, sp4, sp5, sp5};
  for (WORD I = 0; I < 7; ++I) EXPECT_EQ(OSInfo::DecideServicePack(I), LExpected[I]) << I;
  EXPECT_EQ(OSInfo::DecideServicePack(0xFFFF), sp5);
}

TEST(OSInfoDecisions, EditionOfEveryProductCode) {
  const TWindowsEdition LExpected[] = {
      weUnknown,         weUltimate,        weHomeBasic,         weHomePremium,       weEnterprise,
      weHomeBasic,       weBusiness,        weStandardEdition,   weServerDatacenter,  weSmallBusiness,
      weServerEnterprise, weStarter,        weServerDatacenter,  weStandardEdition,   weServerEnterprise,
      weServerEnterprise, weBusiness,       weWebServer,         weClusterServer,     weHomeServer,
      weStorageExpress,  weStorageStandard, weStorageWorkgroup,  weStorageEnterprise, weSmallBusiness,
      weSmallBusinessPremium, weHomePremium, weEnterprise,       weUltimate,          weWebServer,
      weUnknown,  // 30 and beyond name no edition here
  };
  for (DWORD I = 0; I < std::size(LExpected); ++I) EXPECT_EQ(OSInfo::EditionOfProductCode(I), LExpected[I]) << I;
  EXPECT_EQ(OSInfo::EditionOfProductCode(0x30), weUnknown);
  EXPECT_EQ(OSInfo::EditionOfProductCode(0xABCDABCD), weUnlicensed);
}

namespace {

// Facts that answer only what a test sets, and count what they were asked.
struct TFakeFacts {
  DWORD ProductCode = 0;
  WORD Suite = 0;
  std::set<DWORD> IsOS;
  std::set<int> Metrics;
  int ProductAsked = 0;
  std::vector<DWORD> IsOSAsked;
  std::vector<int> MetricsAsked;

  TWindowsEdition Decide(TWindowsVersion AVersion) {
    TEditionFacts L;
    L.ProductCode = [this] { return ++ProductAsked, ProductCode; };
    L.SuiteMask = Suite;
    L.IsOS = [this](DWORD A) { return IsOSAsked.push_back(A), IsOS.count(A) != 0; };
    L.SystemMetrics = [this](int A) { return MetricsAsked.push_back(A), Metrics.count(A) ? 1 : 0; };
    return OSInfo::DecideEdition(AVersion, L);
  }
};

TWindowsEdition BySuite(WORD ASuite, TWindowsVersion AVersion = wvWinXP) {
  TFakeFacts F;
  F.Suite = ASuite;
  const TWindowsEdition L = F.Decide(AVersion);
  EXPECT_TRUE(F.IsOSAsked.empty());
  return L;
}

TWindowsEdition ByIsOS(std::set<DWORD> ACodes, TWindowsVersion AVersion = wvWinXP) {
  TFakeFacts F;
  F.IsOS = std::move(ACodes);
  const TWindowsEdition L = F.Decide(AVersion);
  EXPECT_TRUE(F.MetricsAsked.empty());
  return L;
}

TWindowsEdition ByMetrics(std::set<int> AMetrics) {
  TFakeFacts F;
  F.Metrics = std::move(AMetrics);
  return F.Decide(wvWinXP);
}

}  // namespace

TEST(OSInfoDecisions, EditionStagesInTheirOrder) {
  // The product code counts from Vista on, servers included, and ends the search.
  for (TWindowsVersion V : {wvWinVista, wvWinSrv2008, wvWin7, wvWin10, wvWinSrv2014}) {
    TFakeFacts F;
    F.ProductCode = 1;
    F.Suite = VER_SUITE_DATACENTER;
    EXPECT_EQ(F.Decide(V), weUltimate) << int(V);
    EXPECT_EQ(F.ProductAsked, 1);
    EXPECT_TRUE(F.IsOSAsked.empty());
  }
  // Before Vista GetProductInfo isn't asked at all.
  for (TWindowsVersion V : {wvWin2000, wvWinXP, wvWinSrv2003R2, wvWinSrvHome}) {
    TFakeFacts F;
    F.ProductCode = 1;
    EXPECT_EQ(F.Decide(V), weNone) << int(V);
    EXPECT_EQ(F.ProductAsked, 0);
  }
  // GetProductInfo's failure answer is an edition of its own; a code without one goes on.
  {
    TFakeFacts F;
    F.ProductCode = 0xABCDABCD;
    EXPECT_EQ(F.Decide(wvWin7), weUnlicensed);
    TFakeFacts G;
    G.ProductCode = 0x65;
    G.Suite = VER_SUITE_PERSONAL;
    EXPECT_EQ(G.Decide(wvWin7), weHome);
  }

  // Suite bits, the first that fits.
  EXPECT_EQ(BySuite(VER_SUITE_SMALLBUSINESS), weSmallBusiness);
  EXPECT_EQ(BySuite(VER_SUITE_SMALLBUSINESS_RESTRICTED), weSmallBusiness);
  EXPECT_EQ(BySuite(VER_SUITE_ENTERPRISE, wvWin2000), weAdvanced);
  EXPECT_EQ(BySuite(VER_SUITE_ENTERPRISE, wvWinSrv2003), weEnterprise);
  EXPECT_EQ(BySuite(VER_SUITE_DATACENTER), weServerDatacenter);
  EXPECT_EQ(BySuite(VER_SUITE_PERSONAL), weHome);
  EXPECT_EQ(BySuite(VER_SUITE_BLADE), weWebServer);
  EXPECT_EQ(BySuite(VER_SUITE_STORAGE_SERVER), weStorageStandard);
  EXPECT_EQ(BySuite(VER_SUITE_COMPUTE_SERVER), weClusterServer);
  EXPECT_EQ(BySuite(VER_SUITE_EMBEDDEDNT), weEmbedded);
  EXPECT_EQ(BySuite(VER_SUITE_EMBEDDEDNT | VER_SUITE_DATACENTER), weServerDatacenter);
  EXPECT_EQ(BySuite(VER_SUITE_PERSONAL | VER_SUITE_SMALLBUSINESS), weSmallBusiness);
  EXPECT_EQ(BySuite(VER_SUITE_COMPUTE_SERVER | VER_SUITE_BLADE), weWebServer);

  // IsOS codes, the first of the list that answers true.
  const std::pair<DWORD, TWindowsEdition> LSingle[] = {
      {8, weProfessional},      {9, weStandardEdition}, {23, weStandardEdition}, {10, weAdvanced},
      {11, weServerDatacenter}, {21, weServerDatacenter}, {13, weEmbedded},    {32, weSmallBusiness},
      {36, weAppliance},        {31, weWebServer},      {20, weProfessional},    {19, weHome},
      {25, weHome},             {35, weMediaCenter},    {33, weTabletPC},
  };
  for (const auto& [LCode, LEdition] : LSingle) EXPECT_EQ(ByIsOS({LCode}), LEdition) << LCode;
  EXPECT_EQ(ByIsOS({22}, wvWin2000), weAdvanced);
  EXPECT_EQ(ByIsOS({22}, wvWinXP), weEnterprise);
  EXPECT_EQ(ByIsOS({10}, wvWinXP), weAdvanced);  // OS_WIN2000ADVSERVER is Advanced on any version
  EXPECT_EQ(ByIsOS({19, 8}), weProfessional);
  EXPECT_EQ(ByIsOS({33, 35}), weMediaCenter);
  EXPECT_EQ(ByIsOS({20, 22}), weEnterprise);
  EXPECT_EQ(ByIsOS({31, 36}), weAppliance);
  {
    TFakeFacts F;
    F.IsOS = {33};
    F.Decide(wvWinXP);
    EXPECT_EQ(F.IsOSAsked, (std::vector<DWORD>{8, 9, 23, 10, 11, 21, 13, 32, 36, 31, 22, 20, 19, 25, 35, 33}));
  }

  // Metrics last: media center, starter, tablet.
  EXPECT_EQ(ByMetrics({SM_MEDIACENTER}), weMediaCenter);
  EXPECT_EQ(ByMetrics({SM_STARTER}), weStarter);
  EXPECT_EQ(ByMetrics({SM_TABLETPC}), weTabletPC);
  EXPECT_EQ(ByMetrics({SM_TABLETPC, SM_STARTER}), weStarter);
  EXPECT_EQ(ByMetrics({SM_TABLETPC, SM_MEDIACENTER}), weMediaCenter);
  EXPECT_EQ(ByMetrics({}), weNone);
}

TEST(OSInfoDecisions, VersionStringSpacing) {
  EXPECT_EQ(OSInfo::FormatVersionString(wvWin7, pax64, OSInfo::EditionOfProductCode(1), sp1, 7601),
            L"Windows 7 x64 Ultimate Edition Service Pack 1 (build: 7601)");
  EXPECT_EQ(OSInfo::FormatVersionString(wvWin10, pax32, weNone, spNone, 19045), L"Windows 10 x32 (build: 19045)");
  EXPECT_EQ(OSInfo::FormatVersionString(wvWin8_1, paUnknown, weUnknown, spUnknown, 9600),
            L"Windows 8.1 (build: 9600)");
  EXPECT_EQ(OSInfo::FormatVersionString(wvUnknown, paItanuim, weServerEnterprise, sp2, 0),
            L"Unknown Itanuim Enterprise Edition Service Pack 2 (build: 0)");
  EXPECT_EQ(OSInfo::FormatVersionString(wvWinXP, paUnknown, weStarter, spMaximum, 2600),
            L"Windows XP Starter Edition Service Pack Maximum (build: 2600)");
  EXPECT_EQ(OSInfo::FormatVersionString(wvWinSrv2003R2, pax64, weUnlicensed, sp5, 3790),
            L"Windows Server 2003 R2 x64 Unlicensed Service Pack 5 (build: 3790)");
  EXPECT_EQ(OSInfo::FormatVersionString(wvWinMaximum, pax64, weNone, spNone, 4294967295u),
            L"Windows Maximum x64 (build: 4294967295)");
}

TEST(OSInfoDecisions, RangesWithServicePackBounds) {
  auto LIn = [](TWindowsVersion V, TServicePack SP) { return OSInfo::InVersionRange(V, SP, wvWinXP, sp2, wvWinVista, sp1); };
  EXPECT_TRUE(LIn(wvWinXP, sp2));
  EXPECT_TRUE(LIn(wvWinXP, sp3));
  EXPECT_TRUE(LIn(wvWinSrv2003, spNone));
  EXPECT_TRUE(LIn(wvWinVista, sp1));
  EXPECT_TRUE(LIn(wvWinVista, spNone));
  EXPECT_FALSE(LIn(wvWinXP, sp1));
  EXPECT_FALSE(LIn(wvWinXP, spNone));
  EXPECT_FALSE(LIn(wvWinVista, sp2));
  EXPECT_FALSE(LIn(wvWin2000, sp4));
  EXPECT_FALSE(LIn(wvWin7, spNone));
  // One version for both bounds: only the service packs between count.
  EXPECT_TRUE(OSInfo::InVersionRange(wvWin7, sp1, wvWin7, sp1, wvWin7, sp1));
  EXPECT_FALSE(OSInfo::InVersionRange(wvWin7, spNone, wvWin7, sp1, wvWin7, sp1));
  EXPECT_TRUE(OSInfo::InVersionRange(wvWin10, spNone, wvWinVista, spUnknown, wvWinMaximum, spUnknown));
}

TEST(OSInfoDecisions, PowerCapabilities) {
  const TSystemPowerCapabilities LNone{};
  EXPECT_FALSE(OSInfo::ShutdownAllowedBy(LNone));
  EXPECT_FALSE(OSInfo::SleepAllowedBy(LNone));
  EXPECT_FALSE(OSInfo::HibernationAllowedBy(LNone));

  TSystemPowerCapabilities L{};
  L.SystemS5 = TRUE;
  EXPECT_TRUE(OSInfo::ShutdownAllowedBy(L));
  EXPECT_FALSE(OSInfo::SleepAllowedBy(L));
  EXPECT_FALSE(OSInfo::HibernationAllowedBy(L));
  for (BOOLEAN TSystemPowerCapabilities::*LSleep :
       {&TSystemPowerCapabilities::SystemS1, &TSystemPowerCapabilities::SystemS2, &TSystemPowerCapabilities::SystemS3}) {
    TSystemPowerCapabilities S{};
    S.*LSleep = TRUE;
    EXPECT_TRUE(OSInfo::SleepAllowedBy(S));
    EXPECT_FALSE(OSInfo::HibernationAllowedBy(S));
    EXPECT_FALSE(OSInfo::ShutdownAllowedBy(S));
  }
  TSystemPowerCapabilities H{};
  H.SystemS4 = TRUE;
  EXPECT_TRUE(OSInfo::HibernationAllowedBy(H));
  EXPECT_FALSE(OSInfo::SleepAllowedBy(H));
  H = TSystemPowerCapabilities{};
  H.HiberFilePresent = TRUE;
  EXPECT_TRUE(OSInfo::HibernationAllowedBy(H));
  // Fields beside the ones looked at change nothing.
  TSystemPowerCapabilities O{};
  O.PowerButtonPresent = O.SleepButtonPresent = O.SystemBatteriesPresent = O.FullWake = TRUE;
  EXPECT_FALSE(OSInfo::ShutdownAllowedBy(O) || OSInfo::SleepAllowedBy(O) || OSInfo::HibernationAllowedBy(O));
}

TEST(OSInfoDecisions, BrowserCommandCutBehindItsProgram) {
  const std::pair<const wchar_t*, const wchar_t*> LRows[] = {
      {L"\"C:\\windows\\system32\\winebrowser.exe\" \"%1\"", L"\"C:\\windows\\system32\\winebrowser.exe\""},
      {L"C:\\Program Files\\Mozilla Firefox\\firefox.exe -osint -url \"%1\"",
       L"C:\\Program Files\\Mozilla Firefox\\firefox.exe"},
      {L"C:\\Program Files\\Internet Explorer\\iexplore.exe", L"C:\\Program Files\\Internet Explorer\\iexplore.exe"},
      {L"iexplore.exe", L"iexplore.exe"},
      {L"iexplore.exe -nohome", L"iexplore.exe"},
      {L"C:browser.exe --new", L"C:browser.exe"},
      {L"C:\\Tools\\", L"C:\\Tools\\"},
      {L"", L""},
  };
  for (const auto& [LIn, LOut] : LRows) EXPECT_EQ(OSInfo::CutBrowserCommand(LIn), LOut) << LIn;
}

TEST(OSInfoDecisions, InstallDateAndFreshness) {
  EXPECT_DOUBLE_EQ(OSInfo::UnixTimeToDateTime(0), 25569.0);
  EXPECT_DOUBLE_EQ(OSInfo::UnixTimeToDateTime(86400 + 43200), 25570.5);
  EXPECT_DOUBLE_EQ(OSInfo::UnixTimeToDateTime(-86400), 25568.0);
  // 0x4BE5019A: 2010-05-08 06:15:54 UTC.
  EXPECT_NEAR(OSInfo::UnixTimeToDateTime(0x4BE5019A), Rtl::EncodeDateTime(2010, 5, 8, 6, 15, 54, 0), 1e-9);

  const double LNow = Rtl::EncodeDateTime(2024, 3, 10, 12, 0, 0, 0);
  EXPECT_TRUE(OSInfo::IsFreshDate(LNow, LNow));
  EXPECT_TRUE(OSInfo::IsFreshDate(LNow - 7, LNow));
  EXPECT_TRUE(OSInfo::IsFreshDate(LNow - 7.99, LNow));
  EXPECT_FALSE(OSInfo::IsFreshDate(LNow - 8, LNow));
  EXPECT_FALSE(OSInfo::IsFreshDate(LNow - 365, LNow));
  // A millisecond's rounding doesn't push day 8 back to day 7.
  EXPECT_FALSE(OSInfo::IsFreshDate(LNow - 8 + 0.4 / 86400000.0, LNow));
}
