// AdvApi32: the security, registry, tracing and cryptography functions of advapi32, bound late
// through DllRoutines.
#pragma once
#include "Ostravane.Winapi.LateBound.h"
#include "Ostravane.Winapi.Types.h"

#include <wincrypt.h>
#include <ntsecapi.h>
#include <sddl.h>
#include <wincred.h>
#include <aclapi.h>
#include <evntrace.h>

namespace Ostravane {

// Every wrapper raises EOSError (the load error, or 1) when its function is missing, before the
// function runs. Plain: the system's result; Boolean: a non-zero result as true; RaiseOnFailure: a
// zero result raises EOSError with GetLastError; NtStatus (the Lsa functions but
// LsaNtStatusToWinError): a status other than 0 is turned into a system error code, set as the last
// error and raised as EOSError. String parameters also take a UnicodeString; those of
// CreateProcessWithToken and CreateProcessAsUser go as nil when empty.
class OVRTL_API AdvApi32 final {
  OV_STATIC_CLASS
 public:
  AdvApi32() = delete;
  static constexpr TModuleName C_MODULE{L"advapi32.dll"};
  // A function of the module; EOSError (the load error, or 1 when it is missing).
  static void* Call(const UnicodeString& AProcName);

  OV_LATE_BOUND(Plain, LsaNtStatusToWinError, "LsaNtStatusToWinError", ::LsaNtStatusToWinError)
  // PolicyHandle is cleared before the call; NtStatus kind.
  static NTSTATUS LsaOpenPolicy(PLSA_UNICODE_STRING SystemName, PLSA_OBJECT_ATTRIBUTES ObjectAttributes,
                                ACCESS_MASK DesiredAccess, PLSA_HANDLE PolicyHandle);
  OV_LATE_BOUND(NtStatus, LsaClose, "LsaClose", ::LsaClose)
  OV_LATE_BOUND(NtStatus, LsaFreeMemory, "LsaFreeMemory", ::LsaFreeMemory)
  OV_LATE_BOUND(NtStatus, LsaStorePrivateData, "LsaStorePrivateData", ::LsaStorePrivateData)
  // True for a value read, false without an exception for a key that holds none
  // (STATUS_OBJECT_NAME_NOT_FOUND); any other status raises as the NtStatus kind.
  static bool LsaRetrievePrivateData(LSA_HANDLE PolicyHandle, PLSA_UNICODE_STRING KeyName,
                                     PLSA_UNICODE_STRING& PrivateData);
  // The SID in its text form ("S-1-5-18"); EOSError with GetLastError when the system refuses it.
  static UnicodeString ConvertSidToStringSid(PSID Sid);
  OV_LATE_BOUND(Boolean, ConvertStringSidToSid, "ConvertStringSidToSidW", ::ConvertStringSidToSidW)
  // "RegDeleteKeyExW" when samDesired asks for a registry view (KEY_WOW64_32KEY or KEY_WOW64_64KEY)
  // and the system has it; otherwise, and without it, "RegDeleteKeyW" (which ignores samDesired and
  // Reserved). The system's result; EOSError only when the function that runs is missing.
  static LONG RegDeleteKeyEx(HKEY hKey, TWideArg lpSubKey, REGSAM samDesired, DWORD Reserved);
  // The token's information of class AClass in a block made for it (AInfo, ASize bytes), which the
  // caller frees with LocalFree. EOSError with GetLastError when the size can't be had or the query
  // fails; then nothing is left allocated.
  static void GetTokenInformation(HANDLE AToken, TOKEN_INFORMATION_CLASS AClass, void*& AInfo, DWORD& ASize);
  OV_LATE_BOUND_NIL(Boolean, CreateProcessWithToken, "CreateProcessWithTokenW", ::CreateProcessWithTokenW)
  OV_LATE_BOUND_NIL(Boolean, CreateProcessAsUser, "CreateProcessAsUserW", ::CreateProcessAsUserW)
  OV_LATE_BOUND(Boolean, InitiateSystemShutdownEx, "InitiateSystemShutdownExW", ::InitiateSystemShutdownExW)
  OV_LATE_BOUND(Boolean, ConvertStringSecurityDescriptorToSecurityDescriptor,
                "ConvertStringSecurityDescriptorToSecurityDescriptorW", ::ConvertStringSecurityDescriptorToSecurityDescriptorW)
  // The account's name and domain (an empty ASystemName: this machine); false when the system
  // knows no name for ASid. AUse takes the account's kind for the time of the call only.
  static bool LookupAccountSid(const UnicodeString& ASystemName, PSID ASid, UnicodeString& AName,
                               UnicodeString& ADomain, DWORD AUse);
  OV_LATE_BOUND(Boolean, CredEnumerate, "CredEnumerateW", ::CredEnumerateW)
  OV_LATE_BOUND(Boolean, CredDelete, "CredDeleteW", ::CredDeleteW)
  OV_LATE_BOUND(Plain, GetNamedSecurityInfo, "GetNamedSecurityInfoW", ::GetNamedSecurityInfoW)
  OV_LATE_BOUND(Plain, GetSecurityInfo, "GetSecurityInfo", ::GetSecurityInfo)
  OV_LATE_BOUND(Plain, SetNamedSecurityInfo, "SetNamedSecurityInfoW", ::SetNamedSecurityInfoW)
  OV_LATE_BOUND(Plain, SetSecurityInfo, "SetSecurityInfo", ::SetSecurityInfo)
  OV_LATE_BOUND(Plain, OpenTrace, "OpenTraceW", ::OpenTraceW)
  OV_LATE_BOUND(Plain, StartTrace, "StartTraceW", ::StartTraceW)
  OV_LATE_BOUND(Plain, ProcessTrace, "ProcessTrace", ::ProcessTrace)
  OV_LATE_BOUND(Plain, CloseTrace, "CloseTrace", ::CloseTrace)
  OV_LATE_BOUND(Plain, StopTrace, "StopTraceW", ::StopTraceW)
  OV_LATE_BOUND(Boolean, CryptAcquireContext, "CryptAcquireContextW", ::CryptAcquireContextW)
  OV_LATE_BOUND(Boolean, CryptGenKey, "CryptGenKey", ::CryptGenKey)
  OV_LATE_BOUND(Boolean, CryptDeriveKey, "CryptDeriveKey", ::CryptDeriveKey)
  OV_LATE_BOUND(Boolean, CryptDestroyKey, "CryptDestroyKey", ::CryptDestroyKey)
  OV_LATE_BOUND(Boolean, CryptExportKey, "CryptExportKey", ::CryptExportKey)
  OV_LATE_BOUND(Boolean, CryptImportKey, "CryptImportKey", ::CryptImportKey)
  OV_LATE_BOUND(Boolean, CryptEncrypt, "CryptEncrypt", ::CryptEncrypt)
  OV_LATE_BOUND(Boolean, CryptDecrypt, "CryptDecrypt", ::CryptDecrypt)
  OV_LATE_BOUND(Boolean, CryptCreateHash, "CryptCreateHash", ::CryptCreateHash)
  OV_LATE_BOUND(Boolean, CryptDestroyHash, "CryptDestroyHash", ::CryptDestroyHash)
  OV_LATE_BOUND(Boolean, CryptReleaseContext, "CryptReleaseContext", ::CryptReleaseContext)
  OV_LATE_BOUND(Boolean, CryptHashData, "CryptHashData", ::CryptHashData)
  OV_LATE_BOUND(Boolean, CryptGetUserKey, "CryptGetUserKey", ::CryptGetUserKey)
  OV_LATE_BOUND(Boolean, CryptGetHashParam, "CryptGetHashParam", ::CryptGetHashParam)
  OV_LATE_BOUND(Boolean, CryptSetKeyParam, "CryptSetKeyParam", ::CryptSetKeyParam)
  OV_LATE_BOUND(Boolean, CryptGetKeyParam, "CryptGetKeyParam", ::CryptGetKeyParam)
  OV_LATE_BOUND(Boolean, CryptSetProvider, "CryptSetProviderW", ::CryptSetProviderW)
  // The default provider's name of a provider type; pszProvName empty when there is none.
  static BOOL CryptGetDefaultProvider(DWORD dwProvType, DWORD* pdwReserved, DWORD dwFlags,
                                      UnicodeString& pszProvName);
};

}  // namespace Ostravane
