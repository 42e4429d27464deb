// MsSign32's module name and its resolving operation, and its written-out wrappers.
#include "Ostravane.Winapi.MsSign32.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(MsSign32, nullptr)

void* MsSign32::Call(const UnicodeString& AProcName) { return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName); }

HRESULT MsSign32::SignerFreeSignerContext(SIGNER_CONTEXT*& AContext) {
  const HRESULT LResult = TLateBound<C_MODULE, "SignerFreeSignerContext", TSignerFreeSignerContext>::Plain(AContext);
  if (SUCCEEDED(LResult)) AContext = nullptr;
  return LResult;
}

}  // namespace Ostravane
