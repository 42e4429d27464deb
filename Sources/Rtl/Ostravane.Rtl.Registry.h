// The runtime's registry base: one open key with its path, the root it starts from, the access mask
// keys are opened with, and the result code of the last call. The library's TRegistry
// (Ostravane.System.Win.Registry) builds every key and value operation on it.
//
// Failure contract: nothing here raises; CheckResult keeps the code and tells whether it is
// ERROR_SUCCESS, and RegistryConnect answers false.
#pragma once
#include "Ostravane.Rtl.Handles.h"
#include "Ostravane.Rtl.SysUtils.h"

namespace Ostravane::Rtl {

OV_DECLARE_EXCEPTION(ERegistryException, Exception)

// The runtime's texts of registry failures; each takes the name of a key or value.
inline constexpr wchar_t SRegGetDataFailed[] = L"Failed to get data for '%0:s'";
inline constexpr wchar_t SRegSetDataFailed[] = L"Failed to set data for '%0:s'";
inline constexpr wchar_t SInvalidRegType[] = L"Invalid data type for '%0:s'";

struct TRegKeyInfo {
  DWORD NumSubKeys;
  DWORD MaxSubKeyLen;  // characters, without the terminator
  DWORD NumValues;
  DWORD MaxValueLen;  // characters, without the terminator
  DWORD MaxDataLen;   // bytes
  FILETIME FileTime;
};

class OVRTL_API TRegistry : public TObject {
  OV_OBJECT_CLASS
 public:
  // RootKey HKEY_CURRENT_USER, Access KEY_ALL_ACCESS.
  TRegistry() = default;
  explicit TRegistry(uint32_t AAccess) noexcept : FAccess(AAccess) {}
  ~TRegistry() override;
  TRegistry(const TRegistry&) = delete;
  TRegistry& operator=(const TRegistry&) = delete;

  // The open key, 0 when none is open.
  HKEY CurrentKey() const noexcept { return FCurrentKey; }
  // The open key's path, without a leading backslash.
  const UnicodeString& CurrentPath() const noexcept { return FCurrentPath; }
  HKEY RootKey() const noexcept { return FRootKey; }
  // Closes the open key; a root that RegistryConnect opened is closed too.
  void SetRootKey(HKEY AValue) noexcept;
  uint32_t Access() const noexcept { return FAccess; }
  void SetAccess(uint32_t AValue) noexcept { FAccess = AValue; }
  // The last code given to CheckResult.
  int32_t LastError() const noexcept { return FLastError; }

  // Closes the open key, if any, and forgets its path.
  void CloseKey() noexcept;
  // Connects RootKey on the machine AUNCName ("\\name" or "name"; empty for this one). False when
  // the system refuses; LastError holds its code.
  bool RegistryConnect(const UnicodeString& AUNCName);

 protected:
  // Makes AKey current without closing the previous key: the caller keeps both.
  void SetCurrentKey(HKEY AKey) noexcept { FCurrentKey = AKey; }
  // Closes the previous key, then makes AKey current with the path APath.
  void ChangeKey(HKEY AKey, const UnicodeString& APath);
  // The key a path starts from: the open key for a relative path, else RootKey.
  HKEY GetBaseKey(bool ARelative) const noexcept {
    return FCurrentKey == nullptr || !ARelative ? FRootKey : FCurrentKey;
  }
  // Keeps ACode as LastError; true for ERROR_SUCCESS.
  bool CheckResult(int32_t ACode) noexcept {
    FLastError = ACode;
    return ACode == ERROR_SUCCESS;
  }

 private:
  HKEY FCurrentKey = nullptr;
  HKEY FRootKey = HKEY_CURRENT_USER;
  TRegKeyOwner FConnectedRoot;
  UnicodeString FCurrentPath;
  uint32_t FAccess = KEY_ALL_ACCESS;
  int32_t FLastError = ERROR_SUCCESS;
};

}  // namespace Ostravane::Rtl
