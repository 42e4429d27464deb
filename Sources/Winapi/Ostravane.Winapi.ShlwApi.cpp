// ShlwAPI's wrappers.
#include "Ostravane.Winapi.ShlwApi.h"

#include "Ostravane.Winapi.Shell32.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(ShlwAPI, nullptr)

bool ShlwAPI::IsOS(DWORD dwOS) noexcept {
  const auto LProc = DllRoutines::GetAs<TIsOS>(UnicodeString(C_MODULE.View()), C_IS_OS_ORDINAL);
  return LProc && LProc(dwOS) != 0;
}

UnicodeString ShlwAPI::PathRemoveArgs(const UnicodeString& ACommand) {
  UnicodeString LFileName, LParams;
  Shell32::CommandLineToArgv(ACommand, LFileName, LParams);
  return LFileName;
}

UnicodeString ShlwAPI::PathGetArgs(const UnicodeString& ACommand) {
  UnicodeString LFileName, LParams;
  Shell32::CommandLineToArgv(ACommand, LFileName, LParams);
  return LParams;
}

}  // namespace Ostravane
