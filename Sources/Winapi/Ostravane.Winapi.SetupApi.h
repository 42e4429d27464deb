// SetupApi: the one function of the setup library that the library imports at load time.
#pragma once
#include "Ostravane.Winapi.LateBound.h"

namespace Ostravane {

class OVRTL_API SetupApi final {
  OV_STATIC_CLASS
 public:
  SetupApi() = delete;
  static constexpr TModuleName C_MODULE{L"setupapi.dll"};
  // A function of the module; EOSError (the load error, or 1 when it is missing).
  static void* Call(const UnicodeString& AProcName);

  // Whether the calling process's user is a member of the Administrators group. Bound at load time
  // ("setupapi.dll" is one of the library's imports), so it never raises.
  static bool IsUserAdmin() noexcept;
};

}  // namespace Ostravane
