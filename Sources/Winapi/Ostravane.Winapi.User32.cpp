// User32's module name, its resolving operation and the wrappers written out.
#include "Ostravane.Winapi.User32.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(User32, nullptr)

void* User32::Call(const UnicodeString& AProcName) {
  return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName);
}

bool User32::ChangeWindowMessageFilterEx(HWND AWnd, UINT AMsg, DWORD AAction) noexcept {
  if (const auto LProc =
          DllRoutines::GetAs<decltype(&::ChangeWindowMessageFilterEx)>(C_MODULE.View(), "ChangeWindowMessageFilterEx")) {
    CHANGEFILTERSTRUCT LFilter{};
    LFilter.cbSize = sizeof(LFilter);
    return LProc(AWnd, AMsg, AAction, &LFilter) != 0;
  }
  if (const auto LProc =
          DllRoutines::GetAs<decltype(&::ChangeWindowMessageFilter)>(C_MODULE.View(), "ChangeWindowMessageFilter"))
    return LProc(AMsg, AAction) != 0;
  return false;
}

}  // namespace Ostravane
