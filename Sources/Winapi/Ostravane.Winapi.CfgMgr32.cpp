// CfgMgr32's module name and its resolving operation.
#include "Ostravane.Winapi.CfgMgr32.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(CfgMgr32, nullptr)

void* CfgMgr32::Call(const UnicodeString& AProcName) { return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName); }

}  // namespace Ostravane
