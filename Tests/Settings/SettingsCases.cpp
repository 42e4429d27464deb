// The settings cases. Each runs in a product folder of its own (SettingsTests copies this program
// there with the library and stamps it with a version resource that names a unique product), so
// each case has a product key of its own below HKEY_LOCAL_MACHINE, which it deletes at the end.
// main.ini of the folder names a settings message of the case's own, so that cases running side by
// side don't hear each other.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <thread>

#include "Ostravane.Project.EventNotifier.h"
#include "Ostravane.Project.Settings.h"
#include "Ostravane.Rtl.Handles.h"
#include "Ostravane.Winapi.Messages.h"
#include "TestSupport.h"
#include "../System/RegistryTestSupport.h"

using namespace Ostravane;
using namespace OvTest;
using Rtl::UnicodeString;

namespace {

// Opens the store's protected operations to the cases.
class TSettingsAccess : public CommonSettings {
 public:
  using CommonSettings::PrepareInternalName;
  static bool LockIsFree() {
    bool LFree = false;
    std::thread([&LFree] {
      LFree = FCSMain->TryEnter();
      if (LFree) FCSMain->Leave();
    }).join();
    return LFree;
  }
};

// "Software\<company>\<product>" without the leading backslash.
std::wstring ProductKey() {
  const std::wstring LKey = CommonSettings::RegistryKey().substr(1);
  return LKey.substr(0, LKey.find_last_of(L'\\', LKey.size() - 2));
}

std::wstring SettingsKey() { return CommonSettings::RegistryKeySettings().substr(1); }

std::map<std::wstring, std::wstring> ReadExpectations() {
  std::map<std::wstring, std::wstring> L;
  const std::wstring LFile = CommonSettings::InstallationPath() + L"expect.txt";
  if (GetFileAttributesW(LFile.c_str()) == INVALID_FILE_ATTRIBUTES) return L;
  const std::vector<unsigned char> LBytes = ReadFileBytes(LFile);
  const std::wstring LText = Rtl::UTF8ToString(std::string(LBytes.begin(), LBytes.end()));
  for (const std::wstring& LLine : SplitLines(LText))
    if (const size_t LEq = LLine.find(L'='); LEq != std::wstring::npos) L[LLine.substr(0, LEq)] = LLine.substr(LEq + 1);
  return L;
}

}  // namespace

class Settings : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(CommonSettings::RegistryKey().empty());
    DeleteRegTree(HKEY_LOCAL_MACHINE, ProductKey(), 0);
    GHeard = 0;
    GSentinelHeard = false;
    GSentinel = RegisterWindowMessageW((L"OvRTL settings sentinel " + std::to_wstring(GetCurrentProcessId())).c_str());
    EventNotifier::Register(&Heard, {ExtMessages::FWMSettingsChange, GSentinel});
  }
  void TearDown() override {
    EventNotifier::Unregister(&Heard);
    const std::wstring LProduct = ProductKey();
    EXPECT_TRUE(DeleteRegTree(HKEY_LOCAL_MACHINE, LProduct, 0));
    // The company's key goes too when no other product of it is left.
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, LProduct.substr(0, LProduct.find_last_of(L'\\')).c_str());
    EXPECT_FALSE(RawKeyExists(HKEY_LOCAL_MACHINE, LProduct));
  }

  // The settings messages that arrived since the last call: a sentinel broadcast after them comes
  // back last, since one thread's posts to one window keep their order.
  static int Drain() {
    GSentinelHeard = false;
    EventNotifier::NotifyBroadcast(GSentinel, 0);
    EXPECT_TRUE(PumpMessagesUntil([] { return GSentinelHeard; }, 10000));
    const int L = GHeard;
    GHeard = 0;
    return L;
  }

  static void Heard(TMessage& Message) {
    if (Message.Msg == GSentinel) GSentinelHeard = true;
    else ++GHeard;
  }
  static inline int GHeard = 0;
  static inline bool GSentinelHeard = false;
  static inline UINT GSentinel = 0;
};

TEST_F(Settings, TypesRoundTripWithCJK) {
  const std::wstring LKey = SettingsKey();
  const UnicodeString LText = L"東京 – Ωmega ☃ 𝄞 ü";
  const UnicodeString LName = L"一般.言語";

  CommonSettings::SetBool(L"Flag", true);
  CommonSettings::SetInteger(L"Int", -123456789);
  CommonSettings::SetInt64(L"Big", std::numeric_limits<int64_t>::min());
  CommonSettings::SetDouble(L"Pi", 3.141592653589793);
  CommonSettings::SetString(LName, LText);
  CommonSettings::SetArrayStrings(L"List", {L"甲", L"", L"乙 丙"});
  Rtl::TMemoryStream LStream;
  const std::string LBytes("\x00\x01\xFE\xFF" "data", 8);
  LStream.Write(LBytes.data(), static_cast<int32_t>(LBytes.size()));
  CommonSettings::SetStream(L"Blob", &LStream);
  EXPECT_EQ(Drain(), 7);

  EXPECT_TRUE(CommonSettings::GetBool(L"Flag"));
  EXPECT_EQ(CommonSettings::GetInteger(L"Int"), -123456789);
  EXPECT_EQ(CommonSettings::GetInt64(L"Big"), std::numeric_limits<int64_t>::min());
  EXPECT_EQ(CommonSettings::GetDouble(L"Pi"), 3.141592653589793);
  EXPECT_EQ(CommonSettings::GetString(LName), LText);
  // The list ends at its first empty string, as a multi-string does.
  EXPECT_EQ(CommonSettings::GetArrayStrings(L"List"), (std::vector<UnicodeString>{L"甲"}));
  Rtl::TMemoryStream LBack;
  CommonSettings::GetStream(L"Blob", &LBack);
  EXPECT_EQ(LBack.GetSize(), static_cast<int64_t>(LBytes.size()));
  EXPECT_EQ(LBack.GetPosition(), static_cast<int64_t>(LBytes.size()));
  EXPECT_EQ(memcmp(LBack.Memory(), LBytes.data(), LBytes.size()), 0);

  // The registry types and bytes, read without the library.
  const TRawValue LFlag = RawRead(HKEY_LOCAL_MACHINE, LKey, L"Flag");
  EXPECT_EQ(LFlag.Type, static_cast<DWORD>(REG_DWORD));
  EXPECT_EQ(LFlag.Data, (Bytes{1, 0, 0, 0}));
  EXPECT_EQ(RawRead(HKEY_LOCAL_MACHINE, LKey, L"Int").Type, static_cast<DWORD>(REG_DWORD));
  const TRawValue LBig = RawRead(HKEY_LOCAL_MACHINE, LKey, L"Big");
  EXPECT_EQ(LBig.Type, static_cast<DWORD>(REG_QWORD));
  EXPECT_EQ(LBig.Data, (Bytes{0, 0, 0, 0, 0, 0, 0, 0x80}));
  const TRawValue LPi = RawRead(HKEY_LOCAL_MACHINE, LKey, L"Pi");
  EXPECT_EQ(LPi.Type, static_cast<DWORD>(REG_BINARY));
  double LPiBack = 0;
  ASSERT_EQ(LPi.Data.size(), 8u);
  memcpy(&LPiBack, LPi.Data.data(), 8);
  EXPECT_EQ(LPiBack, 3.141592653589793);
  const TRawValue LString = RawRead(HKEY_LOCAL_MACHINE, LKey, LName);
  EXPECT_EQ(LString.Type, static_cast<DWORD>(REG_SZ));
  EXPECT_EQ(LString.Data, TextBytes(LText));
  EXPECT_EQ(RawRead(HKEY_LOCAL_MACHINE, LKey, L"List").Type, static_cast<DWORD>(REG_MULTI_SZ));
  const TRawValue LBlob = RawRead(HKEY_LOCAL_MACHINE, LKey, L"Blob");
  EXPECT_EQ(LBlob.Type, static_cast<DWORD>(REG_BINARY));
  EXPECT_EQ(LBlob.Data, Bytes(LBytes.begin(), LBytes.end()));

  // REG_EXPAND_SZ is read as a string too; the name of a value is found without regard to case.
  RawWrite(HKEY_LOCAL_MACHINE, LKey, L"Expand", REG_EXPAND_SZ, TextBytes(L"%WINDIR%\\東"));
  EXPECT_EQ(CommonSettings::GetString(L"EXPAND"), L"%WINDIR%\\東");
}

TEST_F(Settings, OnlyDeviationsAreStored) {
  const std::wstring LKey = SettingsKey();
  CommonSettings::SetDefaultBool(L"On", true);
  CommonSettings::SetDefaultInteger(L"Count", 1);
  CommonSettings::SetDefaultDouble(L"Ratio", 0.1);
  CommonSettings::SetDefaultString(L"Name", L"Straße");
  CommonSettings::SetDefaultInt64(L"Size", 1LL << 40);

  // The default once more: no write, no message.
  CommonSettings::SetBool(L"On", true);
  EXPECT_FALSE(RawRead(HKEY_LOCAL_MACHINE, LKey, L"On").Code == ERROR_SUCCESS);
  EXPECT_EQ(Drain(), 0);

  CommonSettings::SetInteger(L"Count", 5);
  EXPECT_EQ(RawRead(HKEY_LOCAL_MACHINE, LKey, L"Count").Data, (Bytes{5, 0, 0, 0}));
  EXPECT_EQ(Drain(), 1);
  CommonSettings::SetInteger(L"Count", 5);  // already in effect
  EXPECT_EQ(Drain(), 0);
  CommonSettings::SetInteger(L"Count", 1);  // back to the default: deleted
  EXPECT_NE(RawRead(HKEY_LOCAL_MACHINE, LKey, L"Count").Code, ERROR_SUCCESS);
  EXPECT_EQ(Drain(), 1);
  CommonSettings::SetInteger(L"Count", 1);
  EXPECT_EQ(Drain(), 0);

  // A value never stored follows a later change of its default; a stored one doesn't.
  EXPECT_EQ(CommonSettings::GetInteger(L"Count"), 1);
  CommonSettings::SetDefaultInteger(L"Count", 9);
  EXPECT_EQ(CommonSettings::GetInteger(L"Count"), 9);
  CommonSettings::SetInt64(L"Size", 7);
  CommonSettings::SetDefaultInt64(L"Size", 8);
  EXPECT_EQ(CommonSettings::GetInt64(L"Size"), 7);

  // No default: the zero default of the type.
  EXPECT_EQ(CommonSettings::GetDefaultAsString(L"Free"), L"");
  CommonSettings::SetString(L"Free", L"x");
  CommonSettings::SetString(L"Free", L"");
  EXPECT_NE(RawRead(HKEY_LOCAL_MACHINE, LKey, L"Free").Code, ERROR_SUCCESS);
  EXPECT_EQ(Drain(), 3);  // Size, Free written, Free deleted

  // Doubles compare exactly, strings with regard to case.
  CommonSettings::SetDouble(L"Ratio", std::nextafter(0.1, 1.0));
  EXPECT_EQ(RawRead(HKEY_LOCAL_MACHINE, LKey, L"Ratio").Code, ERROR_SUCCESS);
  EXPECT_EQ(CommonSettings::GetDouble(L"Ratio"), std::nextafter(0.1, 1.0));
  CommonSettings::SetString(L"Name", L"STRASSE");
  CommonSettings::SetString(L"Name", L"straße");
  EXPECT_EQ(CommonSettings::GetString(L"Name"), L"straße");
  EXPECT_EQ(Drain(), 3);

  // A stored value of another type reads as the default; the typed write replaces it.
  RawWrite(HKEY_LOCAL_MACHINE, LKey, L"Count", REG_SZ, TextBytes(L"5"));
  EXPECT_EQ(CommonSettings::GetInteger(L"Count"), 9);
  RawWrite(HKEY_LOCAL_MACHINE, LKey, L"On", REG_BINARY, Bytes{0});
  EXPECT_TRUE(CommonSettings::GetBool(L"On"));
  RawWrite(HKEY_LOCAL_MACHINE, LKey, L"Ratio", REG_BINARY, Bytes{1, 2, 3, 4});
  EXPECT_EQ(CommonSettings::GetDouble(L"Ratio"), 0.1);
  RawWrite(HKEY_LOCAL_MACHINE, LKey, L"Size", REG_DWORD, Bytes{1, 0, 0, 0});
  EXPECT_EQ(CommonSettings::GetInt64(L"Size"), 8);
  RawWrite(HKEY_LOCAL_MACHINE, LKey, L"Name", REG_DWORD, Bytes{1, 0, 0, 0});
  EXPECT_EQ(CommonSettings::GetString(L"Name"), L"Straße");
  CommonSettings::SetInteger(L"Count", 4);
  EXPECT_EQ(RawRead(HKEY_LOCAL_MACHINE, LKey, L"Count").Type, static_cast<DWORD>(REG_DWORD));
  EXPECT_EQ(CommonSettings::GetInteger(L"Count"), 4);
  EXPECT_EQ(Drain(), 1);

  // Reset notifies only when it deleted something.
  CommonSettings::Reset(L"Count");
  EXPECT_EQ(CommonSettings::GetInteger(L"Count"), 9);
  EXPECT_EQ(Drain(), 1);
  CommonSettings::Reset(L"Count");
  EXPECT_EQ(Drain(), 0);
}

TEST_F(Settings, NotificationRulesOfBracketsArraysAndStreams) {
  const std::wstring LKey = SettingsKey();
  CommonSettings::BeginUpdate();
  CommonSettings::BeginUpdate();
  CommonSettings::SetBool(L"B", true);
  CommonSettings::EndUpdate();
  EXPECT_EQ(Drain(), 0);
  CommonSettings::EndUpdate();
  EXPECT_EQ(Drain(), 1);
  CommonSettings::BeginUpdate();
  CommonSettings::EndUpdate();
  EXPECT_EQ(Drain(), 1);

  // Arrays and streams notify on every call.
  CommonSettings::SetArrayStrings(L"Empty", {});
  EXPECT_NE(RawRead(HKEY_LOCAL_MACHINE, LKey, L"Empty").Code, ERROR_SUCCESS);
  EXPECT_EQ(Drain(), 1);
  CommonSettings::SetArrayStrings(L"L", {L"a"});
  CommonSettings::SetArrayStrings(L"L", {L"a"});
  EXPECT_EQ(Drain(), 2);
  CommonSettings::SetArrayStrings(L"L", {});
  EXPECT_NE(RawRead(HKEY_LOCAL_MACHINE, LKey, L"L").Code, ERROR_SUCCESS);
  EXPECT_TRUE(CommonSettings::GetArrayStrings(L"L").empty());
  EXPECT_EQ(Drain(), 1);

  // A stream at its end is stored whole; an empty one deletes the value.
  Rtl::TMemoryStream LStream;
  LStream.Write("abc", 3);
  ASSERT_EQ(LStream.GetPosition(), 3);
  CommonSettings::SetStream(L"S", &LStream);
  EXPECT_EQ(RawRead(HKEY_LOCAL_MACHINE, LKey, L"S").Data, (Bytes{'a', 'b', 'c'}));
  // GetStream writes at the beginning and doesn't truncate.
  Rtl::TMemoryStream LBack;
  LBack.Write("12345", 5);
  CommonSettings::GetStream(L"S", &LBack);
  EXPECT_EQ(LBack.GetSize(), 5);
  EXPECT_EQ(LBack.GetPosition(), 3);
  EXPECT_EQ(memcmp(LBack.Memory(), "abc45", 5), 0);
  Rtl::TMemoryStream LEmpty;
  CommonSettings::SetStream(L"S", &LEmpty);
  EXPECT_NE(RawRead(HKEY_LOCAL_MACHINE, LKey, L"S").Code, ERROR_SUCCESS);
  EXPECT_EQ(Drain(), 2);
  // A value of another type gives GetStream nothing.
  RawWrite(HKEY_LOCAL_MACHINE, LKey, L"S", REG_SZ, TextBytes(L"x"));
  Rtl::TMemoryStream LNothing;
  CommonSettings::GetStream(L"S", &LNothing);
  EXPECT_EQ(LNothing.GetSize(), 0);

  // A null stream: error 13, the lock left, and SetStream still notifies.
  for (bool LSet : {true, false}) {
    try {
      if (LSet) CommonSettings::SetStream(L"S", nullptr);
      else CommonSettings::GetStream(L"S", nullptr);
      ADD_FAILURE() << "no exception";
    } catch (const Rtl::EOSError& E) {
      EXPECT_EQ(E.ErrorCode, static_cast<uint32_t>(ERROR_INVALID_DATA));
    }
    EXPECT_TRUE(TSettingsAccess::LockIsFree());
  }
  EXPECT_EQ(Drain(), 1);
}

TEST_F(Settings, UnopenableKeyRaisesAndSendsNothing) {
  const std::wstring LKey = SettingsKey();
  HKEY LCreated = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, LKey.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &LCreated, nullptr), 0);
  RegCloseKey(LCreated);
  {
    TKeyDacl LDenied(HKEY_LOCAL_MACHINE, LKey, L"D:(D;;KA;;;WD)");
    for (int LOperation = 0; LOperation < 3; ++LOperation) {
      try {
        if (LOperation == 0) CommonSettings::SetInteger(L"X", 5);
        else if (LOperation == 1) CommonSettings::Reset(L"X");
        else CommonSettings::GetInteger(L"X");
        ADD_FAILURE() << "no exception from operation " << LOperation;
      } catch (const Rtl::EOSError& E) {
        EXPECT_EQ(E.ErrorCode, static_cast<uint32_t>(ERROR_ACCESS_DENIED));
        EXPECT_NE(E.Message.find(CommonSettings::RegistryKeySettings()), UnicodeString::npos)
            << Rtl::UTF8Encode(E.Message);
        EXPECT_EQ(E.Message.rfind(L"System Error. Code: 5. ", 0), 0u) << Rtl::UTF8Encode(E.Message);
      }
      EXPECT_TRUE(TSettingsAccess::LockIsFree());
    }
    EXPECT_EQ(Drain(), 0);
  }
  CommonSettings::SetInteger(L"X", 5);
  EXPECT_EQ(CommonSettings::GetInteger(L"X"), 5);
  EXPECT_EQ(Drain(), 1);
}

// What start-up found, against expect.txt of the folder.
TEST_F(Settings, StartUpFacts) {
  const auto LExpect = ReadExpectations();
  ASSERT_FALSE(LExpect.empty());
  const std::wstring LInstall = CommonSettings::InstallationPath();
  EXPECT_EQ(LInstall.back(), L'\\');
  EXPECT_TRUE(Rtl::SameText(LInstall + L"OvComponentsRTL.dll", Rtl::GetModuleName(GetModuleHandleW(L"OvComponentsRTL.dll"))));
  const std::wstring LConfig = LExpect.at(L"config");
  EXPECT_TRUE(Rtl::SameText(CommonSettings::ConfigFileName(), LConfig.empty() ? L"" : LInstall + LConfig))
      << Rtl::UTF8Encode(CommonSettings::ConfigFileName());
  EXPECT_EQ(CommonSettings::BaseApplicationFile(), LExpect.at(L"baseApp"));
  EXPECT_EQ(CommonSettings::CompanyName(), LExpect.at(L"company"));
  EXPECT_EQ(CommonSettings::Name(), LExpect.at(L"product"));
  EXPECT_EQ(CommonSettings::VersionStr(), LExpect.at(L"version"));
  EXPECT_EQ(CommonSettings::RegistryRoot(), HKEY_LOCAL_MACHINE);
  EXPECT_EQ(CommonSettings::RegistryKey(), LExpect.at(L"key"));
  EXPECT_EQ(CommonSettings::RegistryKeySettings(), LExpect.at(L"key") + L"Settings\\");
  EXPECT_EQ(ExtMessages::FWMSettingsChangeIDName, LExpect.at(L"settingsMessage"));
  EXPECT_EQ(ExtMessages::FWMSettingsChange, RegisterWindowMessageW((L"WM_SETTINGS_CHANGE-" + LExpect.at(L"settingsMessage")).c_str()));
  EXPECT_EQ(ExtMessages::FWMLanguageChangeIDName, LExpect.at(L"languageMessage"));
  // The key is one level a name, made on first use.
  CommonSettings::SetInteger(L"Probe", 1);
  EXPECT_TRUE(RawKeyExists(HKEY_LOCAL_MACHINE, SettingsKey()));

  EXPECT_EQ(TSettingsAccess::PrepareInternalName(L"A/B\\C D-E_F", false), L"ABC D-E_F");
  EXPECT_EQ(TSettingsAccess::PrepareInternalName(L"A/B\\C D-E_F", true), L"ABCDEF");
  EXPECT_EQ(TSettingsAccess::PrepareInternalName(L"\\\\//", true), L"");
}

namespace {

struct TChild {
  Rtl::THandleOwner Process;
  std::wstring OutFile;
};

TChild StartChild(const std::wstring& AArguments, const std::wstring& AOutFile) {
  const std::wstring LProgram = CommonSettings::InstallationPath() + L"ChildSettings.exe";
  std::wstring LCommand = L"\"" + LProgram + L"\" /out \"" + AOutFile + L"\" " + AArguments;
  STARTUPINFOW LStartup{};
  LStartup.cb = sizeof(LStartup);
  PROCESS_INFORMATION LInfo{};
  if (!CreateProcessW(LProgram.c_str(), LCommand.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &LStartup, &LInfo))
    throw std::runtime_error("can't start ChildSettings");
  CloseHandle(LInfo.hThread);
  return TChild{Rtl::THandleOwner(LInfo.hProcess), AOutFile};
}

std::vector<std::wstring> ChildLines(const TChild& AChild) {
  if (GetFileAttributesW(AChild.OutFile.c_str()) == INVALID_FILE_ATTRIBUTES) return {};
  const std::vector<unsigned char> LBytes = ReadFileBytes(AChild.OutFile);
  std::wstring LText = Rtl::UTF8ToString(std::string(LBytes.begin(), LBytes.end()));
  std::vector<std::wstring> L;
  for (size_t P = 0; P < LText.size();) {
    const size_t LEnd = LText.find(L'\n', P);
    if (LEnd == std::wstring::npos) break;
    L.push_back(LText.substr(P, LEnd - P));
    P = LEnd + 1;
  }
  return L;
}

bool ChildSaid(const TChild& AChild, const std::wstring& ALine) {
  for (const std::wstring& L : ChildLines(AChild))
    if (L == ALine) return true;
  return false;
}

}  // namespace

// The road of a changed setting: the helper subscribes to the settings message, this program sets
// "General.Language", the helper hears the broadcast and reads the new value from the registry.
TEST_F(Settings, EndToEndRoadOfAChangedSetting) {
  TTempDir LDir;
  const std::wstring LExit = L"OvRTL settings exit " + std::to_wstring(GetCurrentProcessId());
  Rtl::THandleOwner LExitEvent(CreateEventW(nullptr, TRUE, FALSE, LExit.c_str()));
  TChild LChild = StartChild(L"/watch General.Language /exit \"" + LExit + L"\"", LDir.Path() + L"child.txt");
  ASSERT_TRUE(PumpMessagesUntil([&] { return ChildSaid(LChild, L"ready"); }, 30000));

  CommonSettings::SetDefaultString(L"General.Language", L"English");
  CommonSettings::SetString(L"General.Language", L"日本語");
  EXPECT_TRUE(PumpMessagesUntil([&] { return ChildSaid(LChild, L"heard General.Language=日本語"); }, 20000));
  CommonSettings::SetString(L"General.Language", L"English");  // the default: deleted, still news
  EXPECT_TRUE(PumpMessagesUntil([&] { return ChildSaid(LChild, L"heard General.Language="); }, 20000));
  SetEvent(LExitEvent.get());
  ASSERT_EQ(WaitForSingleObject(LChild.Process.get(), 30000), WAIT_OBJECT_0);
  DWORD LCode = 99;
  GetExitCodeProcess(LChild.Process.get(), &LCode);
  EXPECT_EQ(LCode, 0u);
  EXPECT_EQ(Drain(), 2);
}

// Two processes make 500 changes each: each hears all 1,000 broadcasts, its own included, and the
// registry holds every last value.
TEST_F(Settings, TwoProcessesFiveHundredChangesEach) {
  TTempDir LDir;
  const std::wstring LStart = L"OvRTL settings start " + std::to_wstring(GetCurrentProcessId());
  Rtl::THandleOwner LStartEvent(CreateEventW(nullptr, TRUE, FALSE, LStart.c_str()));
  std::vector<TChild> LChildren;
  for (const wchar_t* LPrefix : {L"A", L"B"})
    LChildren.push_back(StartChild(std::wstring(L"/changes 500 /prefix ") + LPrefix + L" /expect 1000 /start \"" +
                                       LStart + L"\"",
                                   LDir.Path() + LPrefix + L".txt"));
  for (const TChild& C : LChildren)
    ASSERT_TRUE(PumpMessagesUntil([&] { return ChildSaid(C, L"ready"); }, 30000));
  SetEvent(LStartEvent.get());
  for (const TChild& C : LChildren) {
    ASSERT_TRUE(PumpMessagesUntil([&] { return WaitForSingleObject(C.Process.get(), 0) == WAIT_OBJECT_0; }, 150000));
    DWORD LCode = 99;
    GetExitCodeProcess(C.Process.get(), &LCode);
    EXPECT_EQ(LCode, 0u);
    EXPECT_TRUE(ChildSaid(C, L"heard 1000")) << Rtl::UTF8Encode(ChildLines(C).empty() ? L"" : ChildLines(C).back());
  }
  // Change I of a process set "<prefix>.Item<I mod 10>" to "<prefix> <I>".
  for (const wchar_t* LPrefix : {L"A", L"B"})
    for (int I = 0; I < 10; ++I)
      EXPECT_EQ(CommonSettings::GetString(std::wstring(LPrefix) + L".Item" + std::to_wstring(I)),
                std::wstring(LPrefix) + L" " + std::to_wstring(I == 0 ? 500 : 490 + I));
  EXPECT_EQ(Drain(), 1000);
}
