// Sfc: the Windows file protection query, bound late through DllRoutines.
#pragma once
#include "Ostravane.Winapi.LateBound.h"
#include "Ostravane.Winapi.Types.h"

#include <sfc.h>

namespace Ostravane {

// Every wrapper raises EOSError before the system function runs when "sfc.dll" or the function is
// missing (the load error, or 1); otherwise its kind tells (Ostravane.Winapi.LateBound.h).
class OVRTL_API Sfc final {
  OV_STATIC_CLASS
 public:
  Sfc() = delete;
  static constexpr TModuleName C_MODULE{L"sfc.dll"};
  // A function of the module; EOSError (the load error, or 1 when it is missing).
  static void* Call(const UnicodeString& AProcName);

  OV_LATE_BOUND(Boolean, SfcIsFileProtected, "SfcIsFileProtected", ::SfcIsFileProtected)
};

}  // namespace Ostravane
