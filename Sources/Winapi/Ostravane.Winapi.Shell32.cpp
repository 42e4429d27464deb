// Shell32's module name, its resolving operations and the wrappers written out.
#include "Ostravane.Winapi.Shell32.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(Shell32, nullptr)

void* Shell32::Call(const UnicodeString& AProcName) {
  return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName);
}

void* Shell32::Call(uint16_t AProcIndex) { return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcIndex); }

bool Shell32::SHRestartDialog(HWND AWinParent, TWideArgOrNil APrompt, DWORD AFlags, DWORD AReasonCode) {
  return TLateBoundOrdinal<C_MODULE, C_RESTART_DIALOG_EX, TRestartDialogEx, true>::Plain(AWinParent, APrompt, AFlags,
                                                                                   AReasonCode) == IDOK;
}

HRESULT Shell32::SHGetPropertyStoreForWindow(HWND hwnd, REFIID riid, void** ppv) {
  if (ppv) *ppv = nullptr;
  return TLateBound<C_MODULE, "SHGetPropertyStoreForWindow", decltype(&::SHGetPropertyStoreForWindow)>::Plain(hwnd, riid,
                                                                                                              ppv);
}

}  // namespace Ostravane
