// CfgMgr32: the configuration manager's device tree functions, bound late through DllRoutines.
#pragma once
#include "Ostravane.Winapi.LateBound.h"
#include "Ostravane.Winapi.Types.h"

#include <cfgmgr32.h>

namespace Ostravane {

// Every wrapper raises EOSError before the system function runs when "CfgMgr32.dll" or the function is
// missing (the load error, or 1); otherwise its kind tells (Ostravane.Winapi.LateBound.h).
class OVRTL_API CfgMgr32 final {
  OV_STATIC_CLASS
 public:
  CfgMgr32() = delete;
  static constexpr TModuleName C_MODULE{L"CfgMgr32.dll"};
  // A function of the module; EOSError (the load error, or 1 when it is missing).
  static void* Call(const UnicodeString& AProcName);

  OV_LATE_BOUND(Plain, CM_Get_Parent, "CM_Get_Parent", ::CM_Get_Parent)
  OV_LATE_BOUND(Plain, CM_Get_Device_ID_Size, "CM_Get_Device_ID_Size", ::CM_Get_Device_ID_Size)
  OV_LATE_BOUND(Plain, CM_Get_Device_IDW, "CM_Get_Device_IDW", ::CM_Get_Device_IDW)
};

}  // namespace Ostravane
