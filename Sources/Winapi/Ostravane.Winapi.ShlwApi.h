// ShlwAPI: the light shell helpers of shlwapi, bound late through DllRoutines.
#pragma once
#include "Ostravane.Winapi.LateBound.h"
#include "Ostravane.Winapi.Types.h"

namespace Ostravane {

class OVRTL_API ShlwAPI final {
  OV_STATIC_CLASS
 public:
  ShlwAPI() = delete;
  static constexpr TModuleName C_MODULE{L"shlwapi.dll"};
  static constexpr uint16_t C_IS_OS_ORDINAL = 437;

  // Whether the system is of the kind dwOS (OS_WOW6432, OS_NT, ...), by the export of ordinal 437;
  // false when the module or the function is missing. Never raises.
  static bool IsOS(DWORD dwOS) noexcept;
  // The program and the parameters of a command line, as Shell32.CommandLineToArgv splits it.
  static UnicodeString PathRemoveArgs(const UnicodeString& ACommand);
  static UnicodeString PathGetArgs(const UnicodeString& ACommand);
};

}  // namespace Ostravane
