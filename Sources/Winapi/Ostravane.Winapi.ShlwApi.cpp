// ShlwAPI's wrappers.
#include "Ostravane.Winapi.ShlwApi.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(ShlwAPI, nullptr)

bool ShlwAPI::IsOS(DWORD dwOS) noexcept {
  const auto LProc = DllRoutines::GetAs<TIsOS>(UnicodeString(C_MODULE.View()), C_IS_OS_ORDINAL);
  return LProc && LProc(dwOS) != 0;
}

}  // namespace Ostravane
