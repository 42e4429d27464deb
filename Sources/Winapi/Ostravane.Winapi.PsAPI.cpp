// PsAPI's module name and its resolving operation.
#include "Ostravane.Winapi.PsAPI.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(PsAPI, nullptr)

void* PsAPI::Call(const UnicodeString& AProcName) { return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName); }

}  // namespace Ostravane
