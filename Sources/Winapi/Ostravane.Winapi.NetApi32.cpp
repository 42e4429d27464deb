// NetApi32's module name and its resolving operation.
#include "Ostravane.Winapi.NetApi32.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(NetApi32, nullptr)

void* NetApi32::Call(const UnicodeString& AProcName) { return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName); }

}  // namespace Ostravane
