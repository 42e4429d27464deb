// Crypt32: the certificate and message functions, bound late through DllRoutines.
#pragma once
#include "Ostravane.Winapi.LateBound.h"
#include "Ostravane.Winapi.Types.h"

#include <wincrypt.h>

namespace Ostravane {

// Every wrapper raises EOSError before the system function runs when "crypt32.dll" or the function is
// missing (the load error, or 1); otherwise its kind tells (Ostravane.Winapi.LateBound.h).
class OVRTL_API Crypt32 final {
  OV_STATIC_CLASS
 public:
  Crypt32() = delete;
  static constexpr TModuleName C_MODULE{L"crypt32.dll"};
  // A function of the module; EOSError (the load error, or 1 when it is missing).
  static void* Call(const UnicodeString& AProcName);

  OV_LATE_BOUND(Plain, PFXImportCertStore, "PFXImportCertStore", ::PFXImportCertStore)
  OV_LATE_BOUND(Boolean, PFXIsPFXBlob, "PFXIsPFXBlob", ::PFXIsPFXBlob)
  OV_LATE_BOUND(Boolean, PFXVerifyPassword, "PFXVerifyPassword", ::PFXVerifyPassword)
  OV_LATE_BOUND(Boolean, CertCloseStore, "CertCloseStore", ::CertCloseStore)
  OV_LATE_BOUND(Plain, CertEnumCertificatesInStore, "CertEnumCertificatesInStore", ::CertEnumCertificatesInStore)
  OV_LATE_BOUND(Boolean, CertFreeCertificateContext, "CertFreeCertificateContext", ::CertFreeCertificateContext)
  OV_LATE_BOUND(Boolean, CertGetCertificateContextProperty, "CertGetCertificateContextProperty", ::CertGetCertificateContextProperty)
  OV_LATE_BOUND(Boolean, CryptQueryObject, "CryptQueryObject", ::CryptQueryObject)
  OV_LATE_BOUND(Boolean, CryptMsgGetParam, "CryptMsgGetParam", ::CryptMsgGetParam)
  // Closes the message; when the system succeeded, AMsg becomes nil (else it is left as it was).
  static bool CryptMsgClose(HCRYPTMSG& AMsg);
  OV_LATE_BOUND(Boolean, CryptDecodeObject, "CryptDecodeObject", ::CryptDecodeObject)
  OV_LATE_BOUND(Plain, CertFindCertificateInStore, "CertFindCertificateInStore", ::CertFindCertificateInStore)
  OV_LATE_BOUND(Plain, CertGetNameString, "CertGetNameStringW", ::CertGetNameStringW)
};

}  // namespace Ostravane
