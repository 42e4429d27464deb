// Crypt32's module name and its resolving operation, and its written-out wrappers.
#include "Ostravane.Winapi.Crypt32.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(Crypt32, nullptr)

void* Crypt32::Call(const UnicodeString& AProcName) { return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName); }

bool Crypt32::CryptMsgClose(HCRYPTMSG& AMsg) {
  const bool LResult = TLateBound<C_MODULE, "CryptMsgClose", decltype(&::CryptMsgClose)>::Boolean(AMsg);
  if (LResult) AMsg = nullptr;
  return LResult;
}

}  // namespace Ostravane
