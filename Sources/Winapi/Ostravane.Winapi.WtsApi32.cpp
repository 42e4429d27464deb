// WtsApi32's module name and its resolving operation.
#include "Ostravane.Winapi.WtsApi32.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(WtsApi32, nullptr)

void* WtsApi32::Call(const UnicodeString& AProcName) { return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName); }

}  // namespace Ostravane
