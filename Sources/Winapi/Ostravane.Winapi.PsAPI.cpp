// PsAPI's module name, its resolving operation and the name queries written out.
#include "Ostravane.Winapi.PsAPI.h"

#include <vector>

namespace Ostravane {

OV_IMPLEMENT_CLASS(PsAPI, nullptr)

void* PsAPI::Call(const UnicodeString& AProcName) { return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName); }

UnicodeString PsAPI::GetProcessImageFileName(HANDLE hProcess) {
  std::vector<wchar_t> LBuffer(C_NAME_CAPACITY, L'\0');
  const DWORD LLength =
      TLateBound<C_MODULE, "GetProcessImageFileNameW", decltype(&::GetProcessImageFileNameW)>::RaiseOnFailure(
          hProcess, LBuffer.data(), C_NAME_CAPACITY);
  return UnicodeString(LBuffer.data(), std::min(LLength, C_NAME_CAPACITY));
}

UnicodeString PsAPI::GetModuleFileNameEx(HANDLE hProcess, HMODULE hModule) {
  std::vector<wchar_t> LBuffer(C_NAME_CAPACITY, L'\0');
  const DWORD LLength = TLateBound<C_MODULE, "GetModuleFileNameExW", decltype(&::GetModuleFileNameExW)>::RaiseOnFailure(
      hProcess, hModule, LBuffer.data(), C_NAME_CAPACITY);
  return UnicodeString(LBuffer.data(), std::min(LLength, C_NAME_CAPACITY));
}

}  // namespace Ostravane
