// CryptUI's module name and its resolving operation.
#include "Ostravane.Winapi.CryptUI.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(CryptUI, nullptr)

void* CryptUI::Call(const UnicodeString& AProcName) { return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName); }

}  // namespace Ostravane
