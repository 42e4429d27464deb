// SrClient: the System Restore functions, bound late through DllRoutines.
#pragma once
#include "Ostravane.Winapi.LateBound.h"
#include "Ostravane.Winapi.Types.h"

#include <srrestoreptapi.h>

namespace Ostravane {

// Every wrapper raises EOSError before the system function runs when "srclient.dll" or the function is
// missing (the load error, or 1); otherwise its kind tells (Ostravane.Winapi.LateBound.h).
class OVRTL_API SrClient final {
  OV_STATIC_CLASS
 public:
  SrClient() = delete;
  static constexpr TModuleName C_MODULE{L"srclient.dll"};
  // A function of the module; EOSError (the load error, or 1 when it is missing).
  static void* Call(const UnicodeString& AProcName);

  OV_LATE_BOUND(Boolean, SRSetRestorePoint, "SRSetRestorePointW", ::SRSetRestorePointW)
  OV_LATE_BOUND(Plain, SRRemoveRestorePoint, "SRRemoveRestorePoint", ::SRRemoveRestorePoint)
  OV_LATE_BOUND_T(Plain, DisableSR, "DisableSR", TDisableSR)
  OV_LATE_BOUND_T(Plain, EnableSR, "EnableSR", TEnableSR)
};

}  // namespace Ostravane
