// SrClient's module name and its resolving operation.
#include "Ostravane.Winapi.SrClient.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(SrClient, nullptr)

void* SrClient::Call(const UnicodeString& AProcName) { return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName); }

}  // namespace Ostravane
