// The library's own exceptions, and the small helpers everything leans on: OS errors raised with
// their exact texts, hidden windows that deliver messages to a plain function, arithmetic on
// counters that wrap, and multi-string parsing.
#pragma once
#include <vector>

#include "Ostravane.Rtl.SysUtils.h"

namespace Ostravane {

using Rtl::UnicodeString;

// A failure of the library's own logic.
class OVRTL_API EOstravaneException : public Rtl::Exception {
  OV_OBJECT_CLASS
 public:
  using Exception::Exception;
};

// A component library that can't be loaded or gives no instance.
class OVRTL_API EOstravaneInitException : public Rtl::Exception {
  OV_OBJECT_CLASS
 public:
  using Exception::Exception;
};

// A window message as one record; a handler answers by setting Result.
struct TMessage {
  UINT Msg;
  WPARAM WParam;
  LPARAM LParam;
  LRESULT Result;
};

using TWndClassMethod = void (*)(TMessage& Message);
using TWndObjectMethod = Rtl::TMethod<void(TMessage&)>;

class OVRTL_API SysUtils final {
  OV_STATIC_CLASS
 public:
  SysUtils() = delete;

  // Raises EOSError with ErrorCode = ALastError (or GetLastError) and the message, trimmed:
  // "System Error. Code: %0:d. %1:s. %2:s" for a code, "A call to an OS function failed. %0:s" for 0.
  [[noreturn]] static void RaiseLastOSError(const UnicodeString& AMsg = UnicodeString());
  [[noreturn]] static void RaiseLastOSError(int32_t ALastError, const UnicodeString& AMsg);

  // A hidden top-level window whose messages arrive on the calling thread. With AMethod, StdWndProc
  // hands every message to it; without, the window keeps the default procedure. Never returns 0:
  // a failure raises EOSError.
  static uintptr_t AllocateHWnd(TWndClassMethod AMethod);
  static LRESULT CALLBACK StdWndProc(HWND AWnd, UINT AMsg, WPARAM AWParam, LPARAM ALParam);
  // Message.Result = DefWindowProcW of the message.
  static void DefWindowProc(uintptr_t AWnd, TMessage& Message);
  // Clears the handler, puts the default procedure back, then destroys the window. 0 does nothing.
  static void DeallocateHWnd(uintptr_t AWnd);

  // Counter arithmetic. The 32-bit forms wrap at 0xFFFFFFFF, not at 2^32.
  static uint32_t Add(uint32_t AValue1, uint32_t AValue2) noexcept;
  static uint32_t Sub(uint32_t ANewValue, uint32_t AOldValue) noexcept;
  static int64_t Sub(int64_t ANewValue, int64_t AOldValue) noexcept;

  // The strings of a list of NUL-terminated strings that ends at an empty one (REG_MULTI_SZ).
  static std::vector<UnicodeString> ParseMultiStr(const wchar_t* AStr);
};

}  // namespace Ostravane
