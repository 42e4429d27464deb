// WinTrust's module name and its resolving operation.
#include "Ostravane.Winapi.WinTrust.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(WinTrust, nullptr)

void* WinTrust::Call(const UnicodeString& AProcName) { return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName); }

}  // namespace Ostravane
