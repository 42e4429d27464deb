// PowrProf's module name, its resolving operation, and the scheme functions with their fixed root key.
#include "Ostravane.Winapi.PowrProf.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(PowrProf, nullptr)

void* PowrProf::Call(const UnicodeString& AProcName) { return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName); }

DWORD PowrProf::PowerGetActiveScheme(GUID** AActivePolicyGuid) {
  return TLateBound<C_MODULE, "PowerGetActiveScheme", decltype(&::PowerGetActiveScheme)>::Plain(nullptr, AActivePolicyGuid);
}

DWORD PowrProf::PowerReadACValueIndex(const GUID* ASchemeGuid, const GUID* ASubGroupOfPowerSettingsGuid,
                                      const GUID* APowerSettingGuid, LPDWORD AAcValueIndex) {
  return TLateBound<C_MODULE, "PowerReadACValueIndex", decltype(&::PowerReadACValueIndex)>::Plain(
      nullptr, ASchemeGuid, ASubGroupOfPowerSettingsGuid, APowerSettingGuid, AAcValueIndex);
}

DWORD PowrProf::PowerReadDCValueIndex(const GUID* ASchemeGuid, const GUID* ASubGroupOfPowerSettingsGuid,
                                      const GUID* APowerSettingGuid, LPDWORD ADcValueIndex) {
  return TLateBound<C_MODULE, "PowerReadDCValueIndex", decltype(&::PowerReadDCValueIndex)>::Plain(
      nullptr, ASchemeGuid, ASubGroupOfPowerSettingsGuid, APowerSettingGuid, ADcValueIndex);
}

DWORD PowrProf::PowerSetActiveScheme(const GUID* ASchemeGuid) {
  return TLateBound<C_MODULE, "PowerSetActiveScheme", decltype(&::PowerSetActiveScheme)>::Plain(nullptr, ASchemeGuid);
}

DWORD PowrProf::PowerWriteACValueIndex(const GUID* ASchemeGuid, const GUID* ASubGroupOfPowerSettingsGuid,
                                       const GUID* APowerSettingGuid, DWORD AAcValueIndex) {
  return TLateBound<C_MODULE, "PowerWriteACValueIndex", decltype(&::PowerWriteACValueIndex)>::Plain(
      nullptr, ASchemeGuid, ASubGroupOfPowerSettingsGuid, APowerSettingGuid, AAcValueIndex);
}

DWORD PowrProf::PowerWriteDCValueIndex(const GUID* ASchemeGuid, const GUID* ASubGroupOfPowerSettingsGuid,
                                       const GUID* APowerSettingGuid, DWORD ADcValueIndex) {
  return TLateBound<C_MODULE, "PowerWriteDCValueIndex", decltype(&::PowerWriteDCValueIndex)>::Plain(
      nullptr, ASchemeGuid, ASubGroupOfPowerSettingsGuid, APowerSettingGuid, ADcValueIndex);
}

}  // namespace Ostravane
