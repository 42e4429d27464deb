// Version: the file version resource functions of version.dll, the newer forms with flags where the
// system has them, bound late through DllRoutines.
#pragma once
#include "Ostravane.Winapi.LateBound.h"
#include "Ostravane.Winapi.Types.h"

#include <winver.h>

namespace Ostravane {

// Each wrapper takes the newer function when the system has it, and otherwise the older one, which
// ignores dwFlags. The system's result; EOSError (the load error, or 1) only when the older function
// is needed and missing.
class OVRTL_API Version final {
  OV_STATIC_CLASS
 public:
  Version() = delete;
  static constexpr TModuleName C_MODULE{L"version.dll"};

  // "GetFileVersionInfoSizeExW", else "GetFileVersionInfoSizeW".
  static DWORD GetFileVersionInfoSizeEx(DWORD dwFlags, TWideArg lptstrFilename, LPDWORD lpdwHandle);
  // "GetFileVersionInfoExW", else "GetFileVersionInfoW"; a non-zero result as true.
  static bool GetFileVersionInfoEx(DWORD dwFlags, TWideArg lptstrFilename, DWORD dwHandle, DWORD dwLen, LPVOID lpData);
};

}  // namespace Ostravane
