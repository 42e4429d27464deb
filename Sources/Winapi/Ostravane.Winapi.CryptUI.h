// CryptUI: the certificate user interface (the signing wizard), bound late through DllRoutines.
#pragma once
#include "Ostravane.Winapi.LateBound.h"
#include "Ostravane.Winapi.Types.h"

#include <wincrypt.h>
#include <prsht.h>
#include <cryptuiapi.h>

namespace Ostravane {

// Every wrapper raises EOSError before the system function runs when "cryptui.dll" or the function is
// missing (the load error, or 1); otherwise its kind tells (Ostravane.Winapi.LateBound.h).
class OVRTL_API CryptUI final {
  OV_STATIC_CLASS
 public:
  CryptUI() = delete;
  static constexpr TModuleName C_MODULE{L"cryptui.dll"};
  // A function of the module; EOSError (the load error, or 1 when it is missing).
  static void* Call(const UnicodeString& AProcName);

  OV_LATE_BOUND(Boolean, CryptUIWizDigitalSign, "CryptUIWizDigitalSign", ::CryptUIWizDigitalSign)
};

}  // namespace Ostravane
