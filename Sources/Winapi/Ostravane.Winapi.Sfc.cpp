// Sfc's module name and its resolving operation.
#include "Ostravane.Winapi.Sfc.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(Sfc, nullptr)

void* Sfc::Call(const UnicodeString& AProcName) { return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName); }

}  // namespace Ostravane
