// AdvApi32's module name, its resolving operation and the wrappers written out.
#include "Ostravane.Winapi.AdvApi32.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(AdvApi32, nullptr)

void* AdvApi32::Call(const UnicodeString& AProcName) {
  return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName);
}

NTSTATUS AdvApi32::LsaOpenPolicy(PLSA_UNICODE_STRING SystemName, PLSA_OBJECT_ATTRIBUTES ObjectAttributes,
                                 ACCESS_MASK DesiredAccess, PLSA_HANDLE PolicyHandle) {
  if (PolicyHandle) *PolicyHandle = nullptr;
  return TLateBound<C_MODULE, "LsaOpenPolicy", decltype(&::LsaOpenPolicy)>::NtStatus(SystemName, ObjectAttributes,
                                                                                      DesiredAccess, PolicyHandle);
}

LONG AdvApi32::RegDeleteKeyEx(HKEY hKey, TWideArg lpSubKey, REGSAM samDesired, DWORD Reserved) {
  if (samDesired & (KEY_WOW64_32KEY | KEY_WOW64_64KEY)) {
    if (const auto LProc = DllRoutines::GetAs<decltype(&::RegDeleteKeyExW)>(C_MODULE.View(), "RegDeleteKeyExW"))
      return LProc(hKey, lpSubKey, samDesired, Reserved);
  }
  return TLateBound<C_MODULE, "RegDeleteKeyW", decltype(&::RegDeleteKeyW)>::Plain(hKey, lpSubKey);
}

}  // namespace Ostravane
