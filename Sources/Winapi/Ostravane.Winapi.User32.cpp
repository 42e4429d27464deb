// User32's module name, its resolving operation and the wrappers written out.
#include "Ostravane.Winapi.User32.h"

#include <algorithm>

namespace Ostravane {

OV_IMPLEMENT_CLASS(User32, nullptr)

void* User32::Call(const UnicodeString& AProcName) {
  return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName);
}

UnicodeString User32::GetWindowText(HWND AWnd) {
  const int LLength = TLateBound<C_MODULE, "GetWindowTextLengthW", decltype(&::GetWindowTextLengthW)>::Plain(AWnd);
  if (LLength <= 0) return {};
  UnicodeString LText(static_cast<size_t>(LLength) + 1, L'\0');
  const int LCopied =
      TLateBound<C_MODULE, "GetWindowTextW", decltype(&::GetWindowTextW)>::Plain(AWnd, LText.data(), LLength + 1);
  if (LCopied <= 0) return {};
  LText.resize(std::min(LCopied, LLength));
  return LText;
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
