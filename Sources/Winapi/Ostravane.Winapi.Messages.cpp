// The shared message numbers of a product family.
#include "Ostravane.Winapi.Messages.h"

namespace Ostravane {

using namespace Rtl;

OV_IMPLEMENT_CLASS(ExtMessages, nullptr)

uint32_t ExtMessages::FWMRestoreMainWindow = 0;

void ExtMessages::Init() {
  FWMTaskbarCreated = RegisterWindowMessageW(S_WM_TASKBAR_CREATED);
  FWMTaskbarButtonCreated = RegisterWindowMessageW(S_WM_TASKBAR_BUTTON_CREATED);
  SetWMUninstallCloseIDName(STR_WM_UNINSTALL_CLOSE_ID);
  SetWMLanguageChangeIDName(STR_WM_LANGUAGE_CHANGE_ID);
  SetWMSettingsChangeIDName(STR_WM_SETTINGS_CHANGE_ID);
}

void ExtMessages::Done() noexcept {
  FWMUninstallCloseIDName.clear();
  FWMLanguageChangeIDName.clear();
  FWMSettingsChangeIDName.clear();
}

void ExtMessages::SetIDName(UnicodeString& AIDName, uint32_t& AMessage, const wchar_t* AFormat,
                            const UnicodeString& AValue) {
  if (SameText(AValue, AIDName)) return;
  AIDName = AValue;
  AMessage = RegisterWindowMessageW(Format(AFormat, {AValue}).c_str());
}

void ExtMessages::SetWMUninstallCloseIDName(const UnicodeString& AValue) {
  SetIDName(FWMUninstallCloseIDName, FWMUninstallClose, S_WM_UNINSTALL_CLOSE_FORMAT, AValue);
}

void ExtMessages::SetWMLanguageChangeIDName(const UnicodeString& AValue) {
  SetIDName(FWMLanguageChangeIDName, FWMLanguageChange, S_WM_LANGUAGE_CHANGE_FORMAT, AValue);
}

void ExtMessages::SetWMSettingsChangeIDName(const UnicodeString& AValue) {
  SetIDName(FWMSettingsChangeIDName, FWMSettingsChange, S_WM_SETTINGS_CHANGE_FORMAT, AValue);
}

}  // namespace Ostravane
