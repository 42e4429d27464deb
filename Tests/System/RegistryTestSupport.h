// What the registry tests share: raw reads and writes through the system alone, to check the library
// against, key security for the roads of refused access, privileges for hives, and a dump of a
// whole subtree for comparisons.
#pragma once
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "Ostravane.Rtl.Handles.h"
#include "Ostravane.System.Win.Registry.h"
#include "TestSupport.h"

#include <sddl.h>

namespace OvTest {

using Bytes = std::vector<uint8_t>;

struct TRawValue {
  LONG Code = ERROR_FILE_NOT_FOUND;
  DWORD Type = REG_NONE;
  Bytes Data;
};

inline TRawValue RawRead(HKEY ARoot, const std::wstring& APath, const std::wstring& AName, REGSAM AView = 0) {
  TRawValue L;
  HKEY LKey = nullptr;
  L.Code = RegOpenKeyExW(ARoot, APath.c_str(), 0, KEY_QUERY_VALUE | AView, &LKey);
  if (L.Code != ERROR_SUCCESS) return L;
  DWORD LSize = 0;
  L.Code = RegQueryValueExW(LKey, AName.c_str(), nullptr, &L.Type, nullptr, &LSize);
  if (L.Code == ERROR_SUCCESS) {
    L.Data.resize(LSize);
    L.Code = RegQueryValueExW(LKey, AName.c_str(), nullptr, &L.Type, L.Data.data(), &LSize);
    L.Data.resize(LSize);
  }
  RegCloseKey(LKey);
  return L;
}

inline void RawWrite(HKEY ARoot, const std::wstring& APath, const std::wstring& AName, DWORD AType, const Bytes& AData,
                     REGSAM AView = 0) {
  HKEY LKey = nullptr;
  ASSERT_EQ(RegCreateKeyExW(ARoot, APath.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | AView, nullptr, &LKey, nullptr), 0);
  EXPECT_EQ(RegSetValueExW(LKey, AName.c_str(), 0, AType, AData.data(), static_cast<DWORD>(AData.size())), 0);
  RegCloseKey(LKey);
}

inline bool RawKeyExists(HKEY ARoot, const std::wstring& APath, REGSAM AView = 0) {
  HKEY LKey = nullptr;
  if (RegOpenKeyExW(ARoot, APath.c_str(), 0, KEY_QUERY_VALUE | AView, &LKey) != ERROR_SUCCESS) return false;
  RegCloseKey(LKey);
  return true;
}

inline Bytes TextBytes(const std::wstring& AText, bool ATerminator = true) {
  Bytes L(reinterpret_cast<const uint8_t*>(AText.data()),
          reinterpret_cast<const uint8_t*>(AText.data() + AText.size()));
  if (ATerminator) L.insert(L.end(), {0, 0});
  return L;
}

template <typename T>
Bytes ValueBytes(const T& AValue) {
  const auto* P = reinterpret_cast<const uint8_t*>(&AValue);
  return Bytes(P, P + sizeof(T));
}

// True under Wine, whose registry differs from Windows in a few calls the tests name.
inline bool IsWine() { return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr; }

// Gives a key the DACL of an SDDL text for its lifetime, then one that allows everything again.
class TKeyDacl {
 public:
  TKeyDacl(HKEY ARoot, const std::wstring& APath, const wchar_t* ASddl, REGSAM AView = 0)
      : FRoot(ARoot), FPath(APath), FView(AView) {
    Set(ASddl);
  }
  ~TKeyDacl() { Set(L"D:(A;;KA;;;WD)"); }
  TKeyDacl(const TKeyDacl&) = delete;
  TKeyDacl& operator=(const TKeyDacl&) = delete;

 private:
  void Set(const wchar_t* ASddl) {
    PSECURITY_DESCRIPTOR LSd = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(ASddl, SDDL_REVISION_1, &LSd, nullptr)) {
      ADD_FAILURE() << "bad SDDL";
      return;
    }
    Ostravane::Rtl::TLocalMemOwner LOwner(LSd);
    HKEY LKey = nullptr;
    ASSERT_EQ(RegOpenKeyExW(FRoot, FPath.c_str(), 0, WRITE_DAC | FView, &LKey), 0);
    EXPECT_EQ(RegSetKeySecurity(LKey, DACL_SECURITY_INFORMATION, LSd), 0);
    RegCloseKey(LKey);
  }
  HKEY FRoot;
  std::wstring FPath;
  REGSAM FView;
};

// Enables a privilege of the process token; true when it is held.
inline bool EnableTokenPrivilege(const wchar_t* AName) {
  HANDLE LToken = nullptr;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &LToken)) return false;
  Ostravane::Rtl::THandleOwner LOwner(LToken);
  TOKEN_PRIVILEGES LPrivileges{};
  LPrivileges.PrivilegeCount = 1;
  LPrivileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  if (!LookupPrivilegeValueW(nullptr, AName, &LPrivileges.Privileges[0].Luid)) return false;
  return AdjustTokenPrivileges(LToken, FALSE, &LPrivileges, 0, nullptr, nullptr) && GetLastError() == ERROR_SUCCESS;
}

// Every value of a subtree, by the path below its top: "sub\\key|name" -> type and data.
using TTreeDump = std::map<std::wstring, std::pair<DWORD, Bytes>>;

inline void DumpTree(HKEY AKey, const std::wstring& APrefix, TTreeDump& ADump) {
  wchar_t LName[512];
  for (DWORD I = 0;; ++I) {
    DWORD LLength = 512, LType = 0, LSize = 0;
    if (RegEnumValueW(AKey, I, LName, &LLength, nullptr, &LType, nullptr, &LSize) != ERROR_SUCCESS) break;
    Bytes LData(LSize);
    LLength = 512;
    RegEnumValueW(AKey, I, LName, &LLength, nullptr, &LType, LData.data(), &LSize);
    ADump[APrefix + L"|" + LName] = {LType, LData};
  }
  for (DWORD I = 0;; ++I) {
    DWORD LLength = 512;
    if (RegEnumKeyExW(AKey, I, LName, &LLength, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
    ADump[APrefix + L"\\" + LName] = {0xFFFFFFFF, {}};  // the key itself, also when it has no values
    HKEY LChild = nullptr;
    if (RegOpenKeyExW(AKey, LName, 0, KEY_READ, &LChild) != ERROR_SUCCESS) continue;
    DumpTree(LChild, APrefix + L"\\" + LName, ADump);
    RegCloseKey(LChild);
  }
}

inline TTreeDump DumpTree(HKEY ARoot, const std::wstring& APath, REGSAM AView = 0) {
  TTreeDump L;
  HKEY LKey = nullptr;
  if (RegOpenKeyExW(ARoot, APath.c_str(), 0, KEY_READ | AView, &LKey) != ERROR_SUCCESS) return L;
  DumpTree(LKey, L"", L);
  RegCloseKey(LKey);
  return L;
}

// The message of the exception that AAction raises, with its class name in front; "none" when it
// raises nothing.
template <typename F>
std::wstring Raised(F AAction) {
  try {
    AAction();
  } catch (const Ostravane::Rtl::Exception& E) {
    return E.ClassName() + L": " + E.Message;
  }
  return L"none";
}

}  // namespace OvTest
