// IrProps's module name and its resolving operation.
#include "Ostravane.Winapi.IrProps.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(IrProps, nullptr)

void* IrProps::Call(const UnicodeString& AProcName) { return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName); }

}  // namespace Ostravane
