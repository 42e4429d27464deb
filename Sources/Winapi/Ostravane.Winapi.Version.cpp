// Version's wrappers: the newer function, else the older one.
#include "Ostravane.Winapi.Version.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(Version, nullptr)

DWORD Version::GetFileVersionInfoSizeEx(DWORD dwFlags, TWideArg lptstrFilename, LPDWORD lpdwHandle) {
  if (const auto LProc =
          DllRoutines::GetAs<decltype(&::GetFileVersionInfoSizeExW)>(C_MODULE.View(), "GetFileVersionInfoSizeExW"))
    return LProc(dwFlags, lptstrFilename, lpdwHandle);
  return TLateBound<C_MODULE, "GetFileVersionInfoSizeW", decltype(&::GetFileVersionInfoSizeW)>::Plain(lptstrFilename,
                                                                                                      lpdwHandle);
}

bool Version::GetFileVersionInfoEx(DWORD dwFlags, TWideArg lptstrFilename, DWORD dwHandle, DWORD dwLen,
                                   LPVOID lpData) {
  if (const auto LProc = DllRoutines::GetAs<decltype(&::GetFileVersionInfoExW)>(C_MODULE.View(), "GetFileVersionInfoExW"))
    return LProc(dwFlags, lptstrFilename, dwHandle, dwLen, lpData) != 0;
  return TLateBound<C_MODULE, "GetFileVersionInfoW", decltype(&::GetFileVersionInfoW)>::Boolean(lptstrFilename, dwHandle,
                                                                                                dwLen, lpData);
}

}  // namespace Ostravane
