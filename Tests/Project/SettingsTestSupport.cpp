// The product folders of the settings tests.
#include "SettingsTestSupport.h"

#include <windows.h>

#include <stdexcept>

#include "Ostravane.Rtl.SysUtils.h"

namespace OvTest {

namespace {

// One node of a version resource: header, key, padding, value, padding, children.
class TVersionNode {
 public:
  TVersionNode(const std::wstring& AKey, WORD AType) : FKey(AKey), FType(AType) {}
  void SetValue(const void* AData, size_t ASize, WORD AValueLength) {
    FValue.assign(static_cast<const BYTE*>(AData), static_cast<const BYTE*>(AData) + ASize);
    FValueLength = AValueLength;
  }
  void SetText(const std::wstring& AText) {
    SetValue(AText.c_str(), (AText.size() + 1) * sizeof(wchar_t), static_cast<WORD>(AText.size() + 1));
  }
  TVersionNode& Add(const std::wstring& AKey, WORD AType) { return FChildren.emplace_back(AKey, AType); }

  std::vector<BYTE> Bytes() const {
    std::vector<BYTE> L(6);
    const auto LPad = [&L] { L.resize((L.size() + 3) & ~size_t(3)); };
    const auto LAppend = [&L](const void* AData, size_t ASize) {
      const size_t LAt = L.size();
      L.resize(LAt + ASize);
      if (ASize) memcpy(L.data() + LAt, AData, ASize);
    };
    LAppend(FKey.c_str(), (FKey.size() + 1) * sizeof(wchar_t));
    LPad();
    LAppend(FValue.data(), FValue.size());
    for (const TVersionNode& C : FChildren) {
      LPad();
      const std::vector<BYTE> LChild = C.Bytes();
      LAppend(LChild.data(), LChild.size());
    }
    const WORD LHeader[3] = {static_cast<WORD>(L.size()), FValueLength, FType};
    memcpy(L.data(), LHeader, sizeof(LHeader));
    return L;
  }

 private:
  std::wstring FKey;
  WORD FType;
  WORD FValueLength = 0;
  std::vector<BYTE> FValue;
  std::vector<TVersionNode> FChildren;
};

void CopyOrThrow(const std::wstring& AFrom, const std::wstring& ATo) {
  if (!CopyFileW(AFrom.c_str(), ATo.c_str(), FALSE)) throw std::runtime_error("can't copy a file into the product folder");
}

}  // namespace

void StampVersionResource(const std::wstring& AFileName, const TVersionStrings& AStrings) {
  TVersionNode LRoot(L"VS_VERSION_INFO", 0);
  VS_FIXEDFILEINFO LFixed{};
  LFixed.dwSignature = VS_FFI_SIGNATURE;
  LFixed.dwStrucVersion = VS_FFI_STRUCVERSION;
  LFixed.dwFileVersionMS = LFixed.dwProductVersionMS = 0x00010000;
  LFixed.dwFileFlagsMask = VS_FFI_FILEFLAGSMASK;
  LFixed.dwFileOS = VOS_NT_WINDOWS32;
  LFixed.dwFileType = VFT_APP;
  LRoot.SetValue(&LFixed, sizeof(LFixed), sizeof(LFixed));
  TVersionNode& LTable = LRoot.Add(L"StringFileInfo", 1).Add(L"040904B0", 1);
  LTable.Add(L"FileVersion", 1).SetText(L"1.0.0.0");
  const std::pair<const wchar_t*, const std::wstring*> LValues[] = {
      {L"CompanyName", &AStrings.CompanyName},
      {L"ProductName", &AStrings.ProductName},
      {L"ProductVersion", &AStrings.ProductVersion}};
  for (const auto& [LName, LText] : LValues)
    if (!LText->empty()) LTable.Add(LName, 1).SetText(*LText);
  const DWORD LTranslation = MAKELONG(0x0409, 1200);
  LRoot.Add(L"VarFileInfo", 1).Add(L"Translation", 0).SetValue(&LTranslation, 4, 4);
  std::vector<BYTE> LBytes = LRoot.Bytes();

  HANDLE LUpdate = BeginUpdateResourceW(AFileName.c_str(), FALSE);
  if (!LUpdate) throw std::runtime_error("BeginUpdateResourceW failed");
  const bool LDone = UpdateResourceW(LUpdate, RT_VERSION, MAKEINTRESOURCEW(VS_VERSION_INFO),
                                     MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), LBytes.data(),
                                     static_cast<DWORD>(LBytes.size()));
  if (!EndUpdateResourceW(LUpdate, !LDone) || !LDone) throw std::runtime_error("UpdateResourceW failed");
}

std::wstring UniqueProductName(const std::wstring& ACase) {
  return L"OvRTL Settings " + ACase + L" " + std::to_wstring(GetCurrentProcessId());
}

std::wstring TProductFolder::ProductKey(const TVersionStrings& AStrings) {
  auto LClean = [](std::wstring S) {
    std::wstring R;
    for (wchar_t C : S)
      if (C != L'\\' && C != L'/') R += C;
    return R.empty() ? std::wstring(L"Unknown") : R;
  };
  return L"Software\\" + LClean(AStrings.CompanyName) + L"\\" + LClean(AStrings.ProductName);
}

TProductFolder::TProductFolder(const TVersionStrings& AStrings) {
  for (const wchar_t* LFile : {L"OvComponentsRTL.dll", L"libgcc_s_dw2-1.dll", L"libstdc++-6.dll",
                               L"libwinpthread-1.dll", L"ChildSettings.exe"})
    CopyOrThrow(BinDir() + LFile, Path() + LFile);
  AddStampedCopy(L"SettingsCases.exe", AStrings);
  FProductKeys.push_back(ProductKey(AStrings));
}

TProductFolder::~TProductFolder() {
  // The case deletes its key; whatever a failed case left goes here.
  for (const std::wstring& LKey : FProductKeys) DeleteRegTree(HKEY_LOCAL_MACHINE, LKey, 0);
}

void TProductFolder::AddStampedCopy(const std::wstring& AName, const TVersionStrings& AStrings) const {
  CopyOrThrow(BinDir() + L"SettingsCases.exe", Path() + AName);
  StampVersionResource(Path() + AName, AStrings);
}

void TProductFolder::WriteText(const std::wstring& ARelativeName, const std::string& AText) const {
  const std::wstring LName = Path() + ARelativeName;
  CreateDirectoryW(LName.substr(0, LName.find_last_of(L'\\')).c_str(), nullptr);
  WriteFileBytes(LName, std::vector<unsigned char>(AText.begin(), AText.end()));
}

bool TProductFolder::RunCase(const std::wstring& ACase, DWORD ATimeoutMs) const {
  const TChildResult L = RunChild(Path() + L"SettingsCases.exe", L"--gtest_filter=Settings." + ACase, ATimeoutMs);
  EXPECT_FALSE(L.TimedOut) << "Settings." << Ostravane::Rtl::UTF8Encode(ACase);
  return !L.TimedOut && L.ExitCode == 0;
}

}  // namespace OvTest
