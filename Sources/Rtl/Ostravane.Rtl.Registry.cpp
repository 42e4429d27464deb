// The runtime's registry base.
#include "Ostravane.Rtl.Registry.h"

namespace Ostravane::Rtl {

OV_IMPLEMENT_CLASS(ERegistryException, &Exception::ClassRecord)
OV_IMPLEMENT_CLASS(TRegistry, &TObject::ClassRecord)

TRegistry::~TRegistry() { CloseKey(); }

void TRegistry::SetRootKey(HKEY AValue) noexcept {
  if (AValue == FRootKey) return;
  CloseKey();
  FConnectedRoot.reset();
  FRootKey = AValue;
}

void TRegistry::CloseKey() noexcept {
  if (FCurrentKey) {
    const DWORD LLastError = GetLastError();
    RegCloseKey(FCurrentKey);
    SetLastError(LLastError);
  }
  FCurrentKey = nullptr;
  FCurrentPath.clear();
}

void TRegistry::ChangeKey(HKEY AKey, const UnicodeString& APath) {
  CloseKey();
  FCurrentKey = AKey;
  FCurrentPath = APath;
}

bool TRegistry::RegistryConnect(const UnicodeString& AUNCName) {
  HKEY LKey = nullptr;
  if (!CheckResult(RegConnectRegistryW(AUNCName.empty() ? nullptr : AUNCName.c_str(), FRootKey, &LKey))) return false;
  SetRootKey(LKey);
  // The system may hand back the predefined root itself, which is nobody's to close.
  if (reinterpret_cast<uintptr_t>(LKey) < 0x80000000u || reinterpret_cast<uintptr_t>(LKey) > 0x800000FFu)
    FConnectedRoot.reset(LKey);
  return true;
}

}  // namespace Ostravane::Rtl
