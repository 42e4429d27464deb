// UserEnv's module name and its resolving operation.
#include "Ostravane.Winapi.UserEnv.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(UserEnv, nullptr)

void* UserEnv::Call(const UnicodeString& AProcName) { return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName); }

}  // namespace Ostravane
