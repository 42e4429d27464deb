// The shared message numbers: the exact registered names, the setters' case rule, a new text that
// moves a message away from its old subscribers, the unit's place in the start order, and the texts
// cleared at the unit's stop.
#include <gtest/gtest.h>

#include <algorithm>

#include "Ostravane.Project.EventNotifier.h"
#include "Ostravane.Winapi.Messages.h"
#include "OvComponentsRTL.h"
#include "TestSupport.h"

using namespace Ostravane;

namespace {

UINT Registered(const wchar_t* AName) { return RegisterWindowMessageW(AName); }

struct TShared {
  uint32_t& Message;
  UnicodeString& IDName;
  void (*Set)(const UnicodeString&);
  const wchar_t* BuiltIn;
  const wchar_t* Prefix;
};

const TShared C_SHARED[] = {
    {ExtMessages::FWMUninstallClose, ExtMessages::FWMUninstallCloseIDName, &ExtMessages::SetWMUninstallCloseIDName,
     L"6212C713-B56F-4634-B8EF-8885951BC7A1", L"WM_UNINSTALL_CLOSE-"},
    {ExtMessages::FWMLanguageChange, ExtMessages::FWMLanguageChangeIDName, &ExtMessages::SetWMLanguageChangeIDName,
     L"2B90A6E4-73FA-4F52-9FEE-4889D059C018", L"WM_LANGUAGE_CHANGE-"},
    {ExtMessages::FWMSettingsChange, ExtMessages::FWMSettingsChangeIDName, &ExtMessages::SetWMSettingsChangeIDName,
     L"30E5C19D-743B-4B8F-898A-121DDC37656D", L"WM_SETTINGS_CHANGE-"},
};

TEST(ExtMessagesTest, TheStartRegistersTheExactNames) {
  EXPECT_EQ(ExtMessages::FWMTaskbarCreated, Registered(L"TaskbarCreated"));
  EXPECT_EQ(ExtMessages::FWMTaskbarButtonCreated, Registered(L"TaskbarButtonCreated"));
  EXPECT_EQ(ExtMessages::FWMUninstallClose, Registered(L"WM_UNINSTALL_CLOSE-6212C713-B56F-4634-B8EF-8885951BC7A1"));
  EXPECT_EQ(ExtMessages::FWMLanguageChange, Registered(L"WM_LANGUAGE_CHANGE-2B90A6E4-73FA-4F52-9FEE-4889D059C018"));
  EXPECT_EQ(ExtMessages::FWMSettingsChange, Registered(L"WM_SETTINGS_CHANGE-30E5C19D-743B-4B8F-898A-121DDC37656D"));
  for (const TShared& S : C_SHARED) {
    EXPECT_GE(S.Message, 0xC000u) << S.Prefix;  // the range of registered messages
    EXPECT_EQ(S.IDName, S.BuiltIn);
  }
  EXPECT_EQ(ExtMessages::FWMRestoreMainWindow, 0u) << "the product layer sets it";
}

TEST(ExtMessagesTest, ASetterIgnoresTheSameTextInOtherCaseAndMovesTheMessageForANewOne) {
  for (const TShared& S : C_SHARED) {
    const uint32_t LOld = S.Message;
    std::wstring LLower = S.BuiltIn;
    for (wchar_t& C : LLower) C = towlower(C);
    S.Set(LLower);
    EXPECT_EQ(S.IDName, S.BuiltIn) << "the text keeps its first spelling";
    EXPECT_EQ(S.Message, LOld);

    const std::wstring LNew = L"OvRTL-Test-" + std::to_wstring(GetCurrentProcessId());
    S.Set(LNew);
    EXPECT_EQ(S.IDName, LNew);
    EXPECT_EQ(S.Message, Registered((S.Prefix + LNew).c_str()));
    EXPECT_NE(S.Message, LOld);
    S.Set(S.BuiltIn);
    EXPECT_EQ(S.Message, LOld);
  }
  // Only the message of its own setter moves.
  const uint32_t LUninstall = ExtMessages::FWMUninstallClose, LLanguage = ExtMessages::FWMLanguageChange;
  ExtMessages::SetWMSettingsChangeIDName(L"OvRTL-Other");
  EXPECT_EQ(ExtMessages::FWMUninstallClose, LUninstall);
  EXPECT_EQ(ExtMessages::FWMLanguageChange, LLanguage);
  // A name longer than the system keeps (255 characters) gives no message.
  ExtMessages::SetWMSettingsChangeIDName(std::wstring(250, L'x'));
  EXPECT_EQ(ExtMessages::FWMSettingsChange, 0u);
  ExtMessages::SetWMSettingsChangeIDName(C_SHARED[2].BuiltIn);
}

TEST(ExtMessagesTest, AWindowThatKeptTheOldNumberNoLongerHearsTheMessage) {
  const uint32_t LOld = ExtMessages::FWMSettingsChange;
  std::vector<UINT> LHeard;
  static std::vector<UINT>* GHeard = nullptr;
  GHeard = &LHeard;
  const uintptr_t LWnd = SysUtils::AllocateHWnd([](TMessage& M) {
    if (M.Msg >= 0xC000) GHeard->push_back(M.Msg);
  });
  EventNotifier::Register(LWnd, {LOld});
  EventNotifier::NotifySync(ExtMessages::FWMSettingsChange, 0, 0);
  ExtMessages::SetWMSettingsChangeIDName(L"OvRTL-Test-Moved-" + std::to_wstring(GetCurrentProcessId()));
  EventNotifier::NotifySync(ExtMessages::FWMSettingsChange, 0, 0);
  EventNotifier::Unregister(LWnd);
  SysUtils::DeallocateHWnd(LWnd);
  const uint32_t LNew = ExtMessages::FWMSettingsChange;
  ExtMessages::SetWMSettingsChangeIDName(C_SHARED[2].BuiltIn);
  // A top-level window hears other programs' broadcasts too: only the two numbers count.
  std::erase_if(LHeard, [&](UINT M) { return M != LOld && M != LNew; });
  EXPECT_EQ(LHeard, std::vector<UINT>{LOld});
}

TEST(ExtMessagesTest, TheUnitStartsAfterTheLogAndBeforeTheUnitsThatUseItsNumbers) {
  const TPackageInfoTable* LTable = GetPackageInfoTable();
  std::vector<std::wstring> LNames;
  for (int32_t I = 0; I < LTable->UnitCount; ++I) LNames.push_back(LTable->UnitInfo[I].UnitName);
  const auto Position = [&](const wchar_t* AName) {
    return std::find(LNames.begin(), LNames.end(), AName) - LNames.begin();
  };
  const auto LMessages = Position(L"Ostravane.Winapi.Messages");
  ASSERT_LT(LMessages, LTable->UnitCount);
  EXPECT_GT(LMessages, Position(L"Ostravane.Debug.Log"));
  for (const wchar_t* LUser : {L"Ostravane.System.Thread", L"Ostravane.System.Timer", L"Ostravane.Project.EventNotifier"})
    EXPECT_LT(LMessages, Position(LUser)) << LUser;
  const TPackageUnitEntry& LUnit = LTable->UnitInfo[LMessages];
  EXPECT_EQ(LUnit.Init, &ExtMessages::Init);
  EXPECT_EQ(LUnit.FInit, &ExtMessages::Done);
  EXPECT_STREQ(LUnit.StartText, L"ExtMessages.Init");
  EXPECT_STREQ(LUnit.StopText, L"clears its names");
}

TEST(ExtMessagesTest, TheStopClearsTheTextsAndTheNextStartRegistersAgain) {
  const uint32_t LSettings = ExtMessages::FWMSettingsChange;
  ExtMessages::SetWMSettingsChangeIDName(L"OvRTL-Test-Stop");
  Finalize();
  for (const TShared& S : C_SHARED) EXPECT_EQ(S.IDName, L"") << S.Prefix;
  Initialize();
  for (const TShared& S : C_SHARED) EXPECT_EQ(S.IDName, S.BuiltIn) << S.Prefix;
  EXPECT_EQ(ExtMessages::FWMSettingsChange, LSettings);
}

}  // namespace
