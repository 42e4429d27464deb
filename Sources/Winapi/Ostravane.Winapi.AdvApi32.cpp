// AdvApi32's module name, its resolving operation and the wrappers written out.
#include "Ostravane.Winapi.AdvApi32.h"

#include "Ostravane.Rtl.Handles.h"

#include <vector>

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

bool AdvApi32::LsaRetrievePrivateData(LSA_HANDLE PolicyHandle, PLSA_UNICODE_STRING KeyName,
                                      PLSA_UNICODE_STRING& PrivateData) {
  constexpr NTSTATUS C_STATUS_OBJECT_NAME_NOT_FOUND = static_cast<NTSTATUS>(0xC0000034);
  const NTSTATUS LStatus = TLateBound<C_MODULE, "LsaRetrievePrivateData", decltype(&::LsaRetrievePrivateData)>::Plain(
      PolicyHandle, KeyName, &PrivateData);
  if (LStatus == C_STATUS_OBJECT_NAME_NOT_FOUND) return false;
  CheckNtStatus(LStatus);
  return true;
}

UnicodeString AdvApi32::ConvertSidToStringSid(PSID Sid) {
  LPWSTR LText = nullptr;
  TLateBound<C_MODULE, "ConvertSidToStringSidW", decltype(&::ConvertSidToStringSidW)>::RaiseOnFailure(Sid, &LText);
  const Rtl::TLocalMemOwner LOwner(LText);
  return UnicodeString(LText ? LText : L"");
}

void AdvApi32::GetTokenInformation(HANDLE AToken, TOKEN_INFORMATION_CLASS AClass, void*& AInfo, DWORD& ASize) {
  using TGet = TLateBound<C_MODULE, "GetTokenInformation", decltype(&::GetTokenInformation)>;
  AInfo = nullptr;
  ASize = 0;
  TGet::Plain(AToken, AClass, nullptr, 0, &ASize);
  if (ASize == 0) SysUtils::RaiseLastOSError();
  Rtl::TLocalMemOwner LBlock(LocalAlloc(LPTR, ASize));
  if (!LBlock) SysUtils::RaiseLastOSError();
  if (!TGet::Plain(AToken, AClass, LBlock.get(), ASize, &ASize)) SysUtils::RaiseLastOSError();
  AInfo = LBlock.release();
}

bool AdvApi32::LookupAccountSid(const UnicodeString& ASystemName, PSID ASid, UnicodeString& AName,
                                UnicodeString& ADomain, DWORD AUse) {
  using TLookup = TLateBound<C_MODULE, "LookupAccountSidW", decltype(&::LookupAccountSidW), true>;
  DWORD LNameLength = 0, LDomainLength = 0;
  auto LUse = static_cast<SID_NAME_USE>(AUse);
  TLookup::Plain(ASystemName, ASid, nullptr, &LNameLength, nullptr, &LDomainLength, &LUse);
  if (LNameLength == 0) return false;
  AName.assign(LNameLength, L'\0');
  ADomain.assign(LDomainLength, L'\0');
  const bool LResult =
      TLookup::Plain(ASystemName, ASid, AName.data(), &LNameLength, ADomain.data(), &LDomainLength, &LUse) != FALSE;
  CutAtNul(AName);
  CutAtNul(ADomain);
  return LResult;
}

BOOL AdvApi32::CryptGetDefaultProvider(DWORD dwProvType, DWORD* pdwReserved, DWORD dwFlags,
                                       UnicodeString& pszProvName) {
  using TGet = TLateBound<C_MODULE, "CryptGetDefaultProviderW", decltype(&::CryptGetDefaultProviderW)>;
  pszProvName.clear();
  DWORD LSize = 0;
  BOOL LResult = TGet::Plain(dwProvType, pdwReserved, dwFlags, nullptr, &LSize);
  if (!LResult || LSize == 0) return LResult;
  // The size is in bytes: a buffer of as many characters leaves room to spare.
  std::vector<wchar_t> LBuffer(LSize + 1, L'\0');
  LSize *= 2;
  LResult = TGet::Plain(dwProvType, pdwReserved, dwFlags, LBuffer.data(), &LSize);
  if (LResult) pszProvName = LBuffer.data();
  return LResult;
}

LONG AdvApi32::RegDeleteKeyEx(HKEY hKey, TWideArg lpSubKey, REGSAM samDesired, DWORD Reserved) {
  if (samDesired & (KEY_WOW64_32KEY | KEY_WOW64_64KEY)) {
    if (const auto LProc = DllRoutines::GetAs<decltype(&::RegDeleteKeyExW)>(C_MODULE.View(), "RegDeleteKeyExW"))
      return LProc(hKey, lpSubKey, samDesired, Reserved);
  }
  return TLateBound<C_MODULE, "RegDeleteKeyW", decltype(&::RegDeleteKeyW)>::Plain(hKey, lpSubKey);
}

}  // namespace Ostravane
