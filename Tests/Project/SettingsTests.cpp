// The settings store against the real registry. The store's key is fixed by the version resources
// of the library's folder, so each case runs SettingsCases.exe in a product folder of its own whose
// version resource names a unique product; main.ini gives each case a settings message of its own.
// The cases are in Tests/Settings/SettingsCases.cpp; here the folders are laid out.
#include <gtest/gtest.h>

#include "Ostravane.Rtl.SysUtils.h"
#include "SettingsTestSupport.h"

using namespace OvTest;
using Ostravane::Rtl::UTF8Encode;

namespace {

TVersionStrings Product(const std::wstring& ACase) {
  TVersionStrings L;
  L.ProductName = UniqueProductName(ACase);
  return L;
}

// main.ini with the case's own message names, and BaseApp when given.
std::string ConfigText(const std::wstring& AMessage, const std::string& ABaseApp = "") {
  const std::string LMessage = UTF8Encode(AMessage);
  return "; the settings test's deployment\r\n[Common]\r\nMessageSettingsChanged=" + LMessage +
         "\r\nMessageLanguageChanged=" + LMessage + "-language\r\n" +
         (ABaseApp.empty() ? std::string() : "BaseApp=" + ABaseApp + "\r\n") + "[Other]\r\nBaseApp=Wrong.exe\r\n";
}

std::string Expect(const std::map<std::string, std::wstring>& AValues) {
  std::string L;
  for (const auto& [K, V] : AValues) L += K + "=" + UTF8Encode(V) + "\r\n";
  return L;
}

void RunCase(const std::wstring& ACase, const char* AConfigPlace = "Data\\") {
  const TVersionStrings LStrings = Product(ACase);
  TProductFolder LFolder(LStrings);
  LFolder.WriteText(Ostravane::Rtl::UTF8ToString(AConfigPlace) + L"main.ini",
                    ConfigText(LStrings.ProductName, "SettingsCases.exe"));
  EXPECT_TRUE(LFolder.RunCase(ACase)) << UTF8Encode(ACase);
  EXPECT_FALSE(RawKeyExistsHKLM(TProductFolder::ProductKey(LStrings)));
}

}  // namespace

TEST(SettingsStore, TypesRoundTripWithCJK) { RunCase(L"TypesRoundTripWithCJK"); }
TEST(SettingsStore, OnlyDeviationsAreStored) { RunCase(L"OnlyDeviationsAreStored", ""); }
TEST(SettingsStore, NotificationRulesOfBracketsArraysAndStreams) { RunCase(L"NotificationRulesOfBracketsArraysAndStreams"); }
TEST(SettingsStore, UnopenableKeyRaisesAndSendsNothing) { RunCase(L"UnopenableKeyRaisesAndSendsNothing"); }
TEST(SettingsStore, EndToEndRoadOfAChangedSetting) { RunCase(L"EndToEndRoadOfAChangedSetting"); }
TEST(SettingsStore, TwoProcessesFiveHundredChangesEach) { RunCase(L"TwoProcessesFiveHundredChangesEach"); }

// main.ini in "Data" wins over the one in the installation directory, and its BaseApp names an
// existing program whose version resource names the product.
TEST(SettingsStore, StartUpWithConfigInData) {
  TVersionStrings LOwn = Product(L"DataOwn");
  TProductFolder LFolder(LOwn);
  TVersionStrings LBase = Product(L"Data/Base\\Name");
  LBase.CompanyName = L"Ostravane Tests Base";
  LBase.ProductVersion = L"2.5 beta";
  LFolder.AddStampedCopy(L"Base.exe", LBase);
  const std::wstring LMessage = UniqueProductName(L"DataMessage");
  LFolder.WriteText(L"Data\\main.ini", ConfigText(LMessage, "Base.exe"));
  LFolder.WriteText(L"main.ini", ConfigText(L"not this one", "SettingsCases.exe"));
  const std::wstring LProduct = L"OvRTL Settings DataBaseName " + std::to_wstring(GetCurrentProcessId());
  LFolder.WriteText(L"expect.txt", Expect({{"config", L"Data\\main.ini"},
                                           {"baseApp", L"Base.exe"},
                                           {"company", L"Ostravane Tests Base"},
                                           {"product", LBase.ProductName},
                                           {"version", L"2.5 beta"},
                                           {"key", L"\\Software\\Ostravane Tests Base\\" + LProduct + L"\\2.5 beta\\"},
                                           {"settingsMessage", LMessage},
                                           {"languageMessage", LMessage + L"-language"}}));
  EXPECT_TRUE(LFolder.RunCase(L"StartUpFacts"));
  DeleteRegTree(HKEY_LOCAL_MACHINE, L"Software\\Ostravane Tests Base\\" + LProduct, 0);
  RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"Software\\Ostravane Tests Base");
}

// main.ini in the installation directory, with a BaseApp that names a missing file: the running
// program is the base application; a value missing in every resource is "Unknown", in the key too.
TEST(SettingsStore, StartUpWithConfigInInstallationAndMissingBaseApp) {
  TVersionStrings LOwn = Product(L"Install");
  LOwn.CompanyName.clear();
  TProductFolder LFolder(LOwn);
  const std::wstring LMessage = UniqueProductName(L"InstallMessage");
  LFolder.WriteText(L"main.ini", ConfigText(LMessage, "Missing.exe"));
  LFolder.WriteText(L"expect.txt", Expect({{"config", L"main.ini"},
                                           {"baseApp", L"SettingsCases.exe"},
                                           {"company", L"Unknown"},
                                           {"product", LOwn.ProductName},
                                           {"version", L"1.0"},
                                           {"key", L"\\Software\\Unknown\\" + LOwn.ProductName + L"\\1.0\\"},
                                           {"settingsMessage", LMessage},
                                           {"languageMessage", LMessage + L"-language"}}));
  EXPECT_TRUE(LFolder.RunCase(L"StartUpFacts"));
}

// No main.ini: the running program is the base application and the built-in message names stay.
TEST(SettingsStore, StartUpWithoutConfig) {
  TVersionStrings LOwn = Product(L"NoConfig");
  TProductFolder LFolder(LOwn);
  LFolder.WriteText(L"expect.txt", Expect({{"config", L""},
                                           {"baseApp", L"SettingsCases.exe"},
                                           {"company", L"Ostravane Tests"},
                                           {"product", LOwn.ProductName},
                                           {"version", L"1.0"},
                                           {"key", L"\\Software\\Ostravane Tests\\" + LOwn.ProductName + L"\\1.0\\"},
                                           {"settingsMessage", L"30E5C19D-743B-4B8F-898A-121DDC37656D"},
                                           {"languageMessage", L"2B90A6E4-73FA-4F52-9FEE-4889D059C018"}}));
  EXPECT_TRUE(LFolder.RunCase(L"StartUpFacts"));
}
