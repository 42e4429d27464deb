// WinTrust: the trust verification and catalog functions, bound late through DllRoutines.
#pragma once
#include "Ostravane.Winapi.LateBound.h"
#include "Ostravane.Winapi.Types.h"

#include <wincrypt.h>
#include <wintrust.h>
#include <mscat.h>

namespace Ostravane {

// Every wrapper raises EOSError before the system function runs when "wintrust.dll" or the function is
// missing (the load error, or 1); otherwise its kind tells (Ostravane.Winapi.LateBound.h).
class OVRTL_API WinTrust final {
  OV_STATIC_CLASS
 public:
  WinTrust() = delete;
  static constexpr TModuleName C_MODULE{L"wintrust.dll"};
  // A function of the module; EOSError (the load error, or 1 when it is missing).
  static void* Call(const UnicodeString& AProcName);

  OV_LATE_BOUND(Boolean, CryptCATAdminAcquireContext, "CryptCATAdminAcquireContext", ::CryptCATAdminAcquireContext)
  OV_LATE_BOUND(Boolean, CryptCATAdminCalcHashFromFileHandle, "CryptCATAdminCalcHashFromFileHandle", ::CryptCATAdminCalcHashFromFileHandle)
  OV_LATE_BOUND(Plain, CryptCATAdminEnumCatalogFromHash, "CryptCATAdminEnumCatalogFromHash", ::CryptCATAdminEnumCatalogFromHash)
  OV_LATE_BOUND(Boolean, CryptCATAdminReleaseCatalogContext, "CryptCATAdminReleaseCatalogContext", ::CryptCATAdminReleaseCatalogContext)
  OV_LATE_BOUND(Boolean, CryptCATAdminReleaseContext, "CryptCATAdminReleaseContext", ::CryptCATAdminReleaseContext)
  OV_LATE_BOUND(Boolean, CryptCATCatalogInfoFromContext, "CryptCATCatalogInfoFromContext", ::CryptCATCatalogInfoFromContext)
  OV_LATE_BOUND(Plain, WinVerifyTrust, "WinVerifyTrust", ::WinVerifyTrust)
  OV_LATE_BOUND(Plain, WinVerifyTrustEx, "WinVerifyTrustEx", ::WinVerifyTrustEx)
  OV_LATE_BOUND(Plain, WTHelperProvDataFromStateData, "WTHelperProvDataFromStateData", ::WTHelperProvDataFromStateData)
  OV_LATE_BOUND(Plain, WTHelperGetProvSignerFromChain, "WTHelperGetProvSignerFromChain", ::WTHelperGetProvSignerFromChain)
};

}  // namespace Ostravane
