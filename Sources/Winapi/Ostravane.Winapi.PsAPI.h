// PsAPI: the process status functions, bound late through DllRoutines.
#pragma once
#include "Ostravane.Winapi.LateBound.h"
#include "Ostravane.Winapi.Types.h"

#include <psapi.h>

namespace Ostravane {

// Every wrapper raises EOSError before the system function runs when "psapi.dll" or the function is
// missing (the load error, or 1); otherwise its kind tells (Ostravane.Winapi.LateBound.h).
class OVRTL_API PsAPI final {
  OV_STATIC_CLASS
 public:
  PsAPI() = delete;
  static constexpr TModuleName C_MODULE{L"psapi.dll"};
  // A function of the module; EOSError (the load error, or 1 when it is missing).
  static void* Call(const UnicodeString& AProcName);

  // The process's image in the device form ("\Device\HarddiskVolume1\..."), and a module's file
  // name (hModule 0: the program's); both raise EOSError with GetLastError when the system answers
  // 0 characters. Up to 4096 characters.
  static UnicodeString GetProcessImageFileName(HANDLE hProcess);
  static UnicodeString GetModuleFileNameEx(HANDLE hProcess, HMODULE hModule);
  static constexpr DWORD C_NAME_CAPACITY = 4096;
  OV_LATE_BOUND(Boolean, GetPerformanceInfo, "GetPerformanceInfo", ::GetPerformanceInfo)
};

}  // namespace Ostravane
