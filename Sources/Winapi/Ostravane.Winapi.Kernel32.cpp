// Kernel32's module name, its resolving operation and the wrappers written out.
#include "Ostravane.Winapi.Kernel32.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(Kernel32, nullptr)

void* Kernel32::Call(const UnicodeString& AProcName) {
  return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName);
}

void Kernel32::VER_SET_CONDITION(ULONGLONG& dwlConditionMask, DWORD dwTypeBitMask, BYTE dwConditionMask) {
  dwlConditionMask = VerSetConditionMask(dwlConditionMask, dwTypeBitMask, dwConditionMask);
}

GEOID Kernel32::GetUserGeoID(GEOCLASS AGeoClass) noexcept {
  try {
    return TLateBound<C_MODULE, "GetUserGeoID", decltype(&::GetUserGeoID)>::Plain(AGeoClass);
  } catch (...) {
    return -1;
  }
}

}  // namespace Ostravane
