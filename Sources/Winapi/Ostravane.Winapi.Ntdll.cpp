// Ntdll's module name and its resolving operation.
#include "Ostravane.Winapi.Ntdll.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(Ntdll, nullptr)

void* Ntdll::Call(const UnicodeString& AProcName) { return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName); }

}  // namespace Ostravane
