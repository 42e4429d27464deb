// MsiQuery's module name and its resolving operation.
#include "Ostravane.Winapi.Msiquery.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(MsiQuery, nullptr)

void* MsiQuery::Call(const UnicodeString& AProcName) { return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName); }

}  // namespace Ostravane
