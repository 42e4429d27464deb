// OS errors, hidden windows, counter arithmetic and multi-strings.
#include "Ostravane.System.SysUtils.h"

namespace Ostravane {

using namespace Rtl;

OV_IMPLEMENT_CLASS(EOstravaneException, &Exception::ClassRecord)
OV_IMPLEMENT_CLASS(EOstravaneInitException, &Exception::ClassRecord)
OV_IMPLEMENT_CLASS(SysUtils, nullptr)

namespace {
constexpr wchar_t C_UTIL_WINDOW_CLASS[] = L"OstravaneUtilWindow";
}

void SysUtils::RaiseLastOSError(const UnicodeString& AMsg) {
  RaiseLastOSError(static_cast<int32_t>(GetLastError()), AMsg);
}

void SysUtils::RaiseLastOSError(int32_t ALastError, const UnicodeString& AMsg) {
  const UnicodeString LMessage =
      ALastError != 0
          ? Format(L"System Error. Code: %0:d. %1:s. %2:s", {ALastError, SysErrorMessage(ALastError), AMsg})
          : Format(L"A call to an OS function failed. %0:s", {AMsg});
  throw EOSError(Trim(LMessage), static_cast<uint32_t>(ALastError));
}

uintptr_t SysUtils::AllocateHWnd(TWndClassMethod AMethod) {
  // The class keeps the default procedure: a window made without a method never runs through ours.
  WNDCLASSW LClass{};
  if (!GetClassInfoW(HInstance(), C_UTIL_WINDOW_CLASS, &LClass)) {
    LClass.lpfnWndProc = ::DefWindowProcW;
    LClass.hInstance = HInstance();
    LClass.lpszClassName = C_UTIL_WINDOW_CLASS;
    if (!RegisterClassW(&LClass) && GetLastError() != ERROR_CLASS_ALREADY_EXISTS) RaiseLastOSError(L"");
  }
  const HWND LWnd = CreateWindowExW(WS_EX_TOOLWINDOW, C_UTIL_WINDOW_CLASS, L"", WS_POPUP, 0, 0, 0, 0, nullptr,
                                    nullptr, HInstance(), nullptr);
  if (!LWnd) RaiseLastOSError(L"");
  if (AMethod) {
    SetWindowLongPtrW(LWnd, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(AMethod));
    SetWindowLongPtrW(LWnd, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&StdWndProc));
  }
  return reinterpret_cast<uintptr_t>(LWnd);
}

LRESULT CALLBACK SysUtils::StdWndProc(HWND AWnd, UINT AMsg, WPARAM AWParam, LPARAM ALParam) {
  TMessage LMessage{AMsg, AWParam, ALParam, 0};
  try {
    const auto LMethod = reinterpret_cast<TWndClassMethod>(GetWindowLongPtrW(AWnd, GWLP_USERDATA));
    if (LMethod) LMethod(LMessage);
    else DefWindowProc(reinterpret_cast<uintptr_t>(AWnd), LMessage);
  } catch (const std::exception& E) {
    // An exception can't unwind through the system's dispatcher; it ends here, told to a debugger.
    OutputDebugStringW((L"Exception in a window handler: " + UTF8ToString(E.what())).c_str());
  } catch (...) {
    OutputDebugStringW(L"Exception in a window handler");
  }
  return LMessage.Result;
}

void SysUtils::DefWindowProc(uintptr_t AWnd, TMessage& Message) {
  Message.Result = ::DefWindowProcW(reinterpret_cast<HWND>(AWnd), Message.Msg, Message.WParam, Message.LParam);
}

void SysUtils::DeallocateHWnd(uintptr_t AWnd) {
  if (AWnd == 0) return;
  const HWND LWnd = reinterpret_cast<HWND>(AWnd);
  SetWindowLongPtrW(LWnd, GWLP_USERDATA, 0);
  SetWindowLongPtrW(LWnd, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&::DefWindowProcW));
  DestroyWindow(LWnd);
}

uint32_t SysUtils::Add(uint32_t AValue1, uint32_t AValue2) noexcept {
  const uint32_t L = 0xFFFFFFFFu - AValue2;
  if (AValue1 < L) return AValue1 + AValue2;
  return AValue1 + AValue2 - 0xFFFFFFFFu;  // modulo 2^32
}

uint32_t SysUtils::Sub(uint32_t ANewValue, uint32_t AOldValue) noexcept {
  constexpr uint32_t LLimit = 0x33333333u;  // a fifth of the range
  if (AOldValue <= ANewValue) return ANewValue - AOldValue;
  if (ANewValue < LLimit && AOldValue > LLimit) return ANewValue + (0xFFFFFFFFu - AOldValue);
  return AOldValue - ANewValue;
}

int64_t SysUtils::Sub(int64_t ANewValue, int64_t AOldValue) noexcept {
  constexpr int64_t LLimit = 0x1999999999999999LL;  // a fifth of the positive range
  // Unsigned arithmetic: the differences are meant modulo 2^64, never as signed overflow.
  const auto N = static_cast<uint64_t>(ANewValue), O = static_cast<uint64_t>(AOldValue);
  if (ANewValue >= AOldValue) return static_cast<int64_t>(N - O);
  if (ANewValue < LLimit && AOldValue > LLimit) return static_cast<int64_t>(0x7FFFFFFFFFFFFFFFULL - O + N);
  return static_cast<int64_t>(O - N);
}

std::vector<UnicodeString> SysUtils::ParseMultiStr(const wchar_t* AStr) {
  std::vector<UnicodeString> LResult;
  if (!AStr) return LResult;
  for (const wchar_t* P = AStr; *P; P += wcslen(P) + 1) LResult.emplace_back(P);
  return LResult;
}

}  // namespace Ostravane
