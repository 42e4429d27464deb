// MsSign32: the Authenticode signing and time stamping functions, bound late through DllRoutines.
#pragma once
#include "Ostravane.Winapi.LateBound.h"
#include "Ostravane.Winapi.Types.h"

#include <wincrypt.h>

namespace Ostravane {

// Every wrapper raises EOSError before the system function runs when "mssign32.dll" or the function is
// missing (the load error, or 1); otherwise its kind tells (Ostravane.Winapi.LateBound.h).
class OVRTL_API MsSign32 final {
  OV_STATIC_CLASS
 public:
  MsSign32() = delete;
  static constexpr TModuleName C_MODULE{L"mssign32.dll"};
  // A function of the module; EOSError (the load error, or 1 when it is missing).
  static void* Call(const UnicodeString& AProcName);

  // An empty time stamp address or algorithm name goes to the system as nil.
  static constexpr auto SignerSign = &::Ostravane::TLateBound<C_MODULE, "SignerSign", TSignerSign, true>::Plain;
  static constexpr auto SignerSignEx = &::Ostravane::TLateBound<C_MODULE, "SignerSignEx", TSignerSignEx, true>::Plain;
  static constexpr auto SignerSignEx2 = &::Ostravane::TLateBound<C_MODULE, "SignerSignEx2", TSignerSignEx2, true>::Plain;
  static constexpr auto SignerTimeStamp = &::Ostravane::TLateBound<C_MODULE, "SignerTimeStamp", TSignerTimeStamp, true>::Plain;
  static constexpr auto SignerTimeStampEx = &::Ostravane::TLateBound<C_MODULE, "SignerTimeStampEx", TSignerTimeStampEx, true>::Plain;
  static constexpr auto SignerTimeStampEx2 = &::Ostravane::TLateBound<C_MODULE, "SignerTimeStampEx2", TSignerTimeStampEx2, true>::Plain;
  static constexpr auto SignerTimeStampEx3 = &::Ostravane::TLateBound<C_MODULE, "SignerTimeStampEx3", TSignerTimeStampEx3, true>::Plain;
  // Frees the context; when the system succeeded (a non-negative result), AContext becomes nil.
  static HRESULT SignerFreeSignerContext(SIGNER_CONTEXT*& AContext);
};

}  // namespace Ostravane
