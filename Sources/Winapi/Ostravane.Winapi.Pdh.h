// Pdh: the performance data functions, bound late through DllRoutines and never raising.
#pragma once
#include "Ostravane.Winapi.LateBound.h"
#include "Ostravane.Winapi.Types.h"

#include <pdh.h>

namespace Ostravane {

// A wrapper that turns any exception (a missing module or function included) into AValue.
template <TModuleName AModule, TExportName AExport, typename TProc, auto AValue, bool AEmptyIsNil = false>
struct TLateBoundNoThrow;

template <TModuleName AModule, TExportName AExport, typename R, typename... A, auto AValue, bool AEmptyIsNil>
struct TLateBoundNoThrow<AModule, AExport, R(WINAPI*)(A...), AValue, AEmptyIsNil> {
  static R NoThrow(typename TWrapperArg<A, AEmptyIsNil>::Type... AArgs) noexcept {
    try {
      return TLateBound<AModule, AExport, R(WINAPI*)(A...), AEmptyIsNil>::Resolve()(AArgs...);
    } catch (...) {
      return static_cast<R>(AValue);
    }
  }
};

// Every wrapper returns the system's status (0 for success); when "pdh.dll" or the function is
// missing, or anything else raises, the status PDH_NOT_IMPLEMENTED (0xC0000BD3), and
// PdhVbGetDoubleCounterValue the same number as a double (3221228499.0). Nothing raises.
// An empty machine or object name goes to the system as nil (the local machine).
class OVRTL_API Pdh final {
  OV_STATIC_CLASS
 public:
  Pdh() = delete;
  static constexpr TModuleName C_MODULE{L"pdh.dll"};
  static constexpr DWORD C_FAILED_STATUS = 0xC0000BD3;
  static constexpr double C_FAILED_VALUE = 3221228499.0;
  // A function of the module; EOSError (the load error, or 1 when it is missing).
  static void* Call(const UnicodeString& AProcName);

#define OV_PDH(AName, AExport, AProcType, AValue, ANil) \
  static constexpr auto AName = &::Ostravane::TLateBoundNoThrow<C_MODULE, AExport, AProcType, AValue, ANil>::NoThrow;
  OV_PDH(PdhConnectMachine, "PdhConnectMachineW", decltype(&::PdhConnectMachineW), C_FAILED_STATUS, true)
  OV_PDH(PdhLookupPerfNameByIndex, "PdhLookupPerfNameByIndexW", decltype(&::PdhLookupPerfNameByIndexW), C_FAILED_STATUS, true)
  OV_PDH(PdhLookupPerfIndexByName, "PdhLookupPerfIndexByNameW", decltype(&::PdhLookupPerfIndexByNameW), C_FAILED_STATUS, true)
  OV_PDH(PdhOpenQuery, "PdhOpenQueryW", decltype(&::PdhOpenQueryW), C_FAILED_STATUS, false)
  OV_PDH(PdhValidatePath, "PdhValidatePathW", decltype(&::PdhValidatePathW), C_FAILED_STATUS, false)
  OV_PDH(PdhAddCounter, "PdhAddCounterW", decltype(&::PdhAddCounterW), C_FAILED_STATUS, false)
  OV_PDH(PdhCollectQueryData, "PdhCollectQueryData", decltype(&::PdhCollectQueryData), C_FAILED_STATUS, false)
  OV_PDH(PdhCollectQueryDataEx, "PdhCollectQueryDataEx", decltype(&::PdhCollectQueryDataEx), C_FAILED_STATUS, false)
  OV_PDH(PdhVbGetDoubleCounterValue, "PdhVbGetDoubleCounterValue", TPdhVbGetDoubleCounterValue, C_FAILED_VALUE, false)
  OV_PDH(PdhEnumObjectItemsH, "PdhEnumObjectItemsHW", decltype(&::PdhEnumObjectItemsHW), C_FAILED_STATUS, true)
  OV_PDH(PdhEnumObjectsH, "PdhEnumObjectsHW", decltype(&::PdhEnumObjectsHW), C_FAILED_STATUS, true)
  OV_PDH(PdhRemoveCounter, "PdhRemoveCounter", decltype(&::PdhRemoveCounter), C_FAILED_STATUS, false)
  OV_PDH(PdhCloseQuery, "PdhCloseQuery", decltype(&::PdhCloseQuery), C_FAILED_STATUS, false)
#undef OV_PDH
};

}  // namespace Ostravane
