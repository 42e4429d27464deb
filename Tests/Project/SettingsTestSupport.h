// What the settings tests share: a product folder of their own (a copy of the library, the runtime
// DLLs and the case program, stamped with a version resource that gives the product a unique
// name), its main.ini, and the product's key, deleted at the end.
#pragma once
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace OvTest {

// The string values of a version resource; an empty text leaves the value out.
struct TVersionStrings {
  std::wstring CompanyName = L"Ostravane Tests";
  std::wstring ProductName;
  std::wstring ProductVersion = L"1.0";
};

// Replaces the version resource of AFileName (language 0x0409, code page 1200) with one that holds
// "FileVersion" and the given values. Throws when the system refuses.
void StampVersionResource(const std::wstring& AFileName, const TVersionStrings& AStrings);

// A folder that a product is installed in: OvComponentsRTL.dll, the GCC runtime DLLs, the case
// program SettingsCases.exe (stamped) and the helper ChildSettings.exe, copied from BinDir.
class TProductFolder {
 public:
  explicit TProductFolder(const TVersionStrings& AStrings);
  ~TProductFolder();
  TProductFolder(const TProductFolder&) = delete;
  TProductFolder& operator=(const TProductFolder&) = delete;

  const std::wstring& Path() const { return FDir.Path(); }
  // Writes a file below the folder (ANSI text), making its folder.
  void WriteText(const std::wstring& ARelativeName, const std::string& AText) const;
  // Copies the case program once more under another name and stamps it.
  void AddStampedCopy(const std::wstring& AName, const TVersionStrings& AStrings) const;
  // Runs SettingsCases.exe for one case; true when it passed.
  bool RunCase(const std::wstring& ACase, DWORD ATimeoutMs = 180000) const;
  // "Software\<company>\<product>" of a version resource's values, as the store names it.
  static std::wstring ProductKey(const TVersionStrings& AStrings);

 private:
  TTempDir FDir;
  std::vector<std::wstring> FProductKeys;
};

inline bool RawKeyExistsHKLM(const std::wstring& APath) {
  HKEY LKey = nullptr;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, APath.c_str(), 0, KEY_READ, &LKey) != ERROR_SUCCESS) return false;
  RegCloseKey(LKey);
  return true;
}

// A product name no other test uses: the test's name and this process.
std::wstring UniqueProductName(const std::wstring& ACase);

}  // namespace OvTest
