// Pdh's module name and its resolving operation.
#include "Ostravane.Winapi.Pdh.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(Pdh, nullptr)

void* Pdh::Call(const UnicodeString& AProcName) { return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName); }

}  // namespace Ostravane
