// User32: the window manager's functions that not every system version has, bound late through
// DllRoutines.
#pragma once
#include "Ostravane.Winapi.LateBound.h"
#include "Ostravane.Winapi.Types.h"

namespace Ostravane {

// Every wrapper raises EOSError (the load error, or 1) when its function is missing, before the
// function runs. Plain: the system's result; Boolean: a non-zero result as true. String parameters
// also take a UnicodeString.
class OVRTL_API User32 final {
  OV_STATIC_CLASS
 public:
  User32() = delete;
  static constexpr TModuleName C_MODULE{L"user32.dll"};
  // A function of the module; EOSError (the load error, or 1 when it is missing).
  static void* Call(const UnicodeString& AProcName);

  OV_LATE_BOUND(Plain, GetShellWindow, "GetShellWindow", ::GetShellWindow)
  OV_LATE_BOUND(Plain, PrivateExtractIcons, "PrivateExtractIconsW", ::PrivateExtractIconsW)
  // The window's text; empty for a window without one.
  static UnicodeString GetWindowText(HWND AWnd);
  OV_LATE_BOUND(Plain, DisableProcessWindowsGhosting, "DisableProcessWindowsGhosting", ::DisableProcessWindowsGhosting)
  // Lets AMsg through (AAction: MSGFLT_ALLOW, ...) with "ChangeWindowMessageFilterEx" for AWnd (a
  // CHANGEFILTERSTRUCT of size 8); without it, with "ChangeWindowMessageFilter" for the process
  // (which has no window, MSGFLT_ADD 1 or MSGFLT_REMOVE 2); without either, nothing happens and the
  // result is false. Never raises.
  static bool ChangeWindowMessageFilterEx(HWND AWnd, UINT AMsg, DWORD AAction) noexcept;
  OV_LATE_BOUND(Plain, RegisterPowerSettingNotification, "RegisterPowerSettingNotification", ::RegisterPowerSettingNotification)
  OV_LATE_BOUND(Boolean, UnregisterPowerSettingNotification, "UnregisterPowerSettingNotification", ::UnregisterPowerSettingNotification)
};

}  // namespace Ostravane
