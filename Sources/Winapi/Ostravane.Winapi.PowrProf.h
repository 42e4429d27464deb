// PowrProf: the power capabilities and power scheme functions, bound late through DllRoutines.
#pragma once
#include "Ostravane.Winapi.LateBound.h"
#include "Ostravane.Winapi.Types.h"

#include <powrprof.h>

namespace Ostravane {

// Every wrapper raises EOSError before the system function runs when "PowrProf.dll" or the function
// is missing (the load error, or 1); otherwise its kind tells (Ostravane.Winapi.LateBound.h).
class OVRTL_API PowrProf final {
  OV_STATIC_CLASS
 public:
  PowrProf() = delete;
  static constexpr TModuleName C_MODULE{L"PowrProf.dll"};
  // A function of the module; EOSError (the load error, or 1 when it is missing).
  static void* Call(const UnicodeString& AProcName);

  // Raises EOSError with GetLastError when the system answers FALSE.
  OV_LATE_BOUND(RaiseOnFailure, GetPwrCapabilities, "GetPwrCapabilities", ::GetPwrCapabilities)
  // The scheme functions pass nil as the root power key (the user's scheme settings); each returns
  // the system error code, 0 for success. PowerGetActiveScheme's GUID is freed with LocalFree.
  static DWORD PowerGetActiveScheme(GUID** AActivePolicyGuid);
  static DWORD PowerReadACValueIndex(const GUID* ASchemeGuid, const GUID* ASubGroupOfPowerSettingsGuid,
                                     const GUID* APowerSettingGuid, LPDWORD AAcValueIndex);
  static DWORD PowerReadDCValueIndex(const GUID* ASchemeGuid, const GUID* ASubGroupOfPowerSettingsGuid,
                                     const GUID* APowerSettingGuid, LPDWORD ADcValueIndex);
  static DWORD PowerSetActiveScheme(const GUID* ASchemeGuid);
  static DWORD PowerWriteACValueIndex(const GUID* ASchemeGuid, const GUID* ASubGroupOfPowerSettingsGuid,
                                      const GUID* APowerSettingGuid, DWORD AAcValueIndex);
  static DWORD PowerWriteDCValueIndex(const GUID* ASchemeGuid, const GUID* ASubGroupOfPowerSettingsGuid,
                                      const GUID* APowerSettingGuid, DWORD ADcValueIndex);
  OV_LATE_BOUND(Boolean, SetSuspendState, "SetSuspendState", ::SetSuspendState)
  OV_LATE_BOUND(Plain, CallNtPowerInformation, "CallNtPowerInformation", ::CallNtPowerInformation)
};

}  // namespace Ostravane
