// NetApi32: the network management functions (users, display information), bound late through DllRoutines.
#pragma once
#include "Ostravane.Winapi.LateBound.h"
#include "Ostravane.Winapi.Types.h"

#include <lm.h>

namespace Ostravane {

// Every wrapper raises EOSError before the system function runs when "netapi32.dll" or the function is
// missing (the load error, or 1); otherwise its kind tells (Ostravane.Winapi.LateBound.h).
class OVRTL_API NetApi32 final {
  OV_STATIC_CLASS
 public:
  NetApi32() = delete;
  static constexpr TModuleName C_MODULE{L"netapi32.dll"};
  // A function of the module; EOSError (the load error, or 1 when it is missing).
  static void* Call(const UnicodeString& AProcName);

  // An empty server name means the local machine.
  OV_LATE_BOUND_NIL(Plain, NetQueryDisplayInformation, "NetQueryDisplayInformation", ::NetQueryDisplayInformation)
  OV_LATE_BOUND_NIL(Plain, NetUserEnum, "NetUserEnum", ::NetUserEnum)
  OV_LATE_BOUND(Plain, NetApiBufferFree, "NetApiBufferFree", ::NetApiBufferFree)
};

}  // namespace Ostravane
