// TRegistry: key strings, keys in both registry views, typed values, and the copy of whole keys.
#include "Ostravane.System.Win.Registry.h"

#include <algorithm>
#include <iterator>

#include "Ostravane.System.SysUtils.h"
#include "Ostravane.Winapi.AdvApi32.h"

namespace Ostravane {

using Rtl::Format;
using Rtl::IntToHex;
using Rtl::IntToStr;
using Rtl::SameText;
using Rtl::SInvalidRegType;
using Rtl::SOSError;
using Rtl::SRegGetDataFailed;
using Rtl::SRegSetDataFailed;
using Rtl::SysErrorMessage;
using Rtl::TRegKeyOwner;
using Rtl::TStringList;
using Rtl::Trim;

OV_IMPLEMENT_CLASS(ESmallBufferRegistryException, &ERegistryException::ClassRecord)
OV_IMPLEMENT_CLASS(TRegistry, &Rtl::TRegistry::ClassRecord)

const wchar_t* const TRegistry::STR_HKEY_CLASSES_ROOT[2] = {L"HKEY_CLASSES_ROOT", L"HKCR"};
const wchar_t* const TRegistry::STR_HKEY_CURRENT_USER[2] = {L"HKEY_CURRENT_USER", L"HKCU"};
const wchar_t* const TRegistry::STR_HKEY_LOCAL_MACHINE[2] = {L"HKEY_LOCAL_MACHINE", L"HKLM"};
const wchar_t* const TRegistry::STR_HKEY_USERS[2] = {L"HKEY_USERS", L"HKU"};
const wchar_t* const TRegistry::STR_HKEY_PERFORMANCE_DATA[2] = {L"HKEY_PERFORMANCE_DATA", L"HKPD"};
const wchar_t* const TRegistry::STR_HKEY_CURRENT_CONFIG[2] = {L"HKEY_CURRENT_CONFIG", L"HKCC"};
const wchar_t* const TRegistry::STR_HKEY_DYN_DATA[2] = {L"HKEY_DYN_DATA", L"HKDD"};
const wchar_t* const TRegistry::STR_X32X64[2] = {L"(x32)", L"(x64)"};

namespace {

constexpr uint32_t C_VIEW_BITS = KEY_WOW64_64KEY | KEY_WOW64_32KEY;
constexpr uint32_t C_KEY_READ_LISTING = STANDARD_RIGHTS_READ | KEY_QUERY_VALUE | KEY_ENUMERATE_SUB_KEYS;  // 0x20009
// ReadString and ReadMultiString offer this many bytes first: most texts then take one query.
constexpr size_t C_OFFERED_TEXT_BYTES = 512;

struct TRootName {
  HKEY Root;
  const wchar_t* const* Names;
};

// In the order of the handles: a name is looked up in this order too.
const TRootName C_ROOTS[] = {
    {HKEY_CLASSES_ROOT, TRegistry::STR_HKEY_CLASSES_ROOT},
    {HKEY_CURRENT_USER, TRegistry::STR_HKEY_CURRENT_USER},
    {HKEY_LOCAL_MACHINE, TRegistry::STR_HKEY_LOCAL_MACHINE},
    {HKEY_USERS, TRegistry::STR_HKEY_USERS},
    {HKEY_PERFORMANCE_DATA, TRegistry::STR_HKEY_PERFORMANCE_DATA},
    {HKEY_CURRENT_CONFIG, TRegistry::STR_HKEY_CURRENT_CONFIG},
    {HKEY_DYN_DATA, TRegistry::STR_HKEY_DYN_DATA},
};

const HKEY C_NO_ROOT = reinterpret_cast<HKEY>(static_cast<uintptr_t>(0xFFFFFFFFu));

struct TTypeCode {
  TRegDataType RegData;
  int32_t Code;
};
const TTypeCode C_TYPE_CODES[] = {
    {rdUnknown, REG_NONE},     {rdString, REG_SZ},  {rdExpandString, REG_EXPAND_SZ}, {rdMultiString, REG_MULTI_SZ},
    {rdInteger, REG_DWORD},    {rdInt64, REG_QWORD}, {rdBinary, REG_BINARY},
};

bool StartsWithText(const UnicodeString& S, const wchar_t* APrefix) {
  const size_t N = wcslen(APrefix);
  return S.size() >= N && SameText(S.substr(0, N), APrefix);
}

UnicodeString WithoutLeadingBackslash(const UnicodeString& AKey) {
  return !AKey.empty() && AKey[0] == L'\\' ? AKey.substr(1) : AKey;
}

// A subkey or value name of an enumeration: buffers of the largest length the key reported.
class TNameBuffer {
 public:
  explicit TNameBuffer(uint32_t AMaxLength) : FText(static_cast<size_t>(AMaxLength) + 1) {}
  // Cleared for the next index; the length to give the system.
  DWORD* Reset() {
    std::fill(FText.begin(), FText.end(), L'\0');
    FLength = static_cast<DWORD>(FText.size());
    return &FLength;
  }
  wchar_t* Data() { return FText.data(); }
  // The name the system wrote (up to the NUL when it reported no length).
  UnicodeString Text() const { return UnicodeString(FText.data()); }

 private:
  std::vector<wchar_t> FText;
  DWORD FLength = 0;
};

}  // namespace

// Makes another key current for nested work and puts the saved one back on every way out.
class TRegistry::TKeySwap {
 public:
  TKeySwap(TRegistry& ARegistry, HKEY AKey) noexcept : FRegistry(ARegistry), FSaved(ARegistry.CurrentKey()) {
    FRegistry.SetCurrentKey(AKey);
  }
  ~TKeySwap() { FRegistry.SetCurrentKey(FSaved); }
  TKeySwap(const TKeySwap&) = delete;
  TKeySwap& operator=(const TKeySwap&) = delete;
  void Use(HKEY AKey) noexcept { FRegistry.SetCurrentKey(AKey); }

 private:
  TRegistry& FRegistry;
  HKEY FSaved;
};

// ---- Key strings ----------------------------------------------------------------------------------

UnicodeString TRegistry::RegistryRootToStr(HKEY ARoot) {
  for (const TRootName& R : C_ROOTS)
    if (R.Root == ARoot) return R.Names[0];
  return {};
}

HKEY TRegistry::StrToRegistryRoot(const UnicodeString& ARoot) {
  for (const TRootName& R : C_ROOTS)
    if (SameText(ARoot, R.Names[0]) || SameText(ARoot, R.Names[1])) return R.Root;
  return C_NO_ROOT;
}

UnicodeString TRegistry::RegistryKeyToStr(uint32_t AFlag, HKEY ARoot, const UnicodeString& AKey,
                                          const UnicodeString& AName) {
  UnicodeString LResult = (AFlag & KEY_WOW64_64KEY) ? STR_X32X64[1] : STR_X32X64[0];
  LResult += RegistryRootToStr(ARoot);
  if (AKey.empty() || AKey[0] != L'\\') LResult += L'\\';
  LResult += AKey;
  if (LResult.back() != L'\\') LResult += L'\\';
  LResult += L'\\';
  LResult += AName;
  return LResult;
}

void TRegistry::ExtractKeyParams(const UnicodeString& AValue, uint32_t& AFlag, HKEY& ARoot, UnicodeString& AKey,
                                 UnicodeString& AName) {
  UnicodeString S = AValue;
  if (StartsWithText(S, STR_X32X64[0])) {
    AFlag = KEY_WOW64_32KEY;
    S.erase(0, wcslen(STR_X32X64[0]));
  } else if (StartsWithText(S, STR_X32X64[1])) {
    AFlag = KEY_WOW64_64KEY;
    S.erase(0, wcslen(STR_X32X64[1]));
  }
  const size_t LValueAt = S.find(L"\\\\");
  if (LValueAt != UnicodeString::npos) {
    AName = S.substr(LValueAt + 2);
    S.erase(LValueAt + 1);
  }
  const size_t LRootEnd = S.find(L'\\');
  if (LRootEnd != UnicodeString::npos) {
    ARoot = StrToRegistryRoot(S.substr(0, LRootEnd));
    S.erase(0, LRootEnd);
  } else {
    ARoot = HKEY_CURRENT_USER;
  }
  AKey = S;
}

UnicodeString TRegistry::RegistryKeyToStr(const UnicodeString& AName) const {
  return RegistryKeyToStr(Access(), RootKey(), CurrentPath(), AName);
}

// ---- Error state ----------------------------------------------------------------------------------

bool TRegistry::CheckResult(int32_t ACode) noexcept {
  Rtl::TRegistry::CheckResult(ACode);
  if (ACode != ERROR_SUCCESS) SetLastError(static_cast<DWORD>(ACode));
  return ACode == ERROR_SUCCESS;
}

UnicodeString TRegistry::GetLastErrorMsg() const {
  if (LastError() == ERROR_SUCCESS) return {};
  return Format(SOSError, {LastError(), SysErrorMessage(static_cast<uint32_t>(LastError()))}) + L".";
}

bool TRegistry::RegistryConnect(const UnicodeString& AUNCName) {
  if (Rtl::TRegistry::RegistryConnect(AUNCName)) return true;
  CheckResult(LastError());
  return false;
}

void TRegistry::RaiseFailure(const wchar_t* AFormat, const UnicodeString& AName, bool ASmallBuffer) const {
  const UnicodeString LMessage = Format(AFormat, {AName}) + L" " + GetLastErrorMsg();
  // Building the message may have touched the thread's last error: it is set again last of all.
  if (ASmallBuffer) {
    ESmallBufferRegistryException E(LMessage);
    SetLastError(static_cast<DWORD>(LastError()));
    throw E;
  }
  ERegistryException E(LMessage);
  SetLastError(static_cast<DWORD>(LastError()));
  throw E;
}

void TRegistry::RaiseInvalidType(const UnicodeString& AName) { throw ERegistryException(Format(SInvalidRegType, {AName})); }

// ---- Keys -----------------------------------------------------------------------------------------

bool TRegistry::OpenKey(const UnicodeString& AKey, bool ACanCreate) {
  const bool LRelative = IsRelative(AKey);
  UnicodeString S = WithoutLeadingBackslash(AKey);
  HKEY LKey = nullptr;
  const LONG LCode = ACanCreate && !S.empty()
                         ? RegCreateKeyExW(GetBaseKey(LRelative), S.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                           Access(), nullptr, &LKey, nullptr)
                         : RegOpenKeyExW(GetBaseKey(LRelative), S.c_str(), 0, Access(), &LKey);
  if (!CheckResult(LCode)) return false;
  if (CurrentKey() && LRelative) S = CurrentPath() + L"\\" + S;
  ChangeKey(LKey, S);
  return true;
}

bool TRegistry::OpenKeyReadOnly(const UnicodeString& AKey) {
  const uint32_t LSaved = Access();
  for (const uint32_t LMask : {static_cast<uint32_t>(KEY_READ), C_KEY_READ_LISTING, static_cast<uint32_t>(KEY_QUERY_VALUE)}) {
    SetAccess(LMask | (LSaved & C_VIEW_BITS));
    if (OpenKey(AKey, false)) return true;
  }
  SetAccess(LSaved);
  return false;
}

bool TRegistry::CreateKey(const UnicodeString& AKey) {
  HKEY LKey = nullptr;
  if (!CheckResult(RegCreateKeyExW(GetBaseKey(IsRelative(AKey)), WithoutLeadingBackslash(AKey).c_str(), 0, nullptr,
                                   REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS | (Access() & C_VIEW_BITS), nullptr, &LKey,
                                   nullptr)))
    return false;
  TRegKeyOwner LOwner(LKey);
  return true;
}

HKEY TRegistry::GetKey(const UnicodeString& AKey) {
  HKEY LKey = nullptr;
  if (!CheckResult(RegOpenKeyExW(GetBaseKey(IsRelative(AKey)), WithoutLeadingBackslash(AKey).c_str(), 0, Access(), &LKey)))
    return nullptr;
  return LKey;
}

bool TRegistry::KeyExists(const UnicodeString& AKey) {
  const uint32_t LSaved = Access();
  SetAccess(C_KEY_READ_LISTING | (LSaved & C_VIEW_BITS));
  TRegKeyOwner LKey(GetKey(AKey));
  SetAccess(LSaved);
  return LKey.is_valid();
}

bool TRegistry::DeleteKey(const UnicodeString& AKey) {
  const bool LRelative = IsRelative(AKey);
  if (TRegKeyOwner LKey{GetKey(AKey)}) {
    TKeySwap LSwap(*this, LKey.get());
    TRegKeyInfo LInfo;
    GetKeyInfo(LInfo);
    TNameBuffer LName(LInfo.MaxSubKeyLen);
    for (int64_t I = static_cast<int64_t>(LInfo.NumSubKeys) - 1; I >= 0; --I) {
      if (RegEnumKeyExW(LKey.get(), static_cast<DWORD>(I), LName.Data(), LName.Reset(), nullptr, nullptr, nullptr,
                        nullptr) != ERROR_SUCCESS)
        continue;
      if (!DeleteKey(LName.Text())) return false;
    }
  }
  return CheckResult(AdvApi32::RegDeleteKeyEx(GetBaseKey(LRelative), WithoutLeadingBackslash(AKey), Access() & C_VIEW_BITS, 0));
}

bool TRegistry::GetKeyInfo(TRegKeyInfo& AValue) {
  AValue = TRegKeyInfo{};
  const bool LResult = CheckResult(RegQueryInfoKeyW(CurrentKey(), nullptr, nullptr, nullptr, &AValue.NumSubKeys,
                                                    &AValue.MaxSubKeyLen, nullptr, &AValue.NumValues,
                                                    &AValue.MaxValueLen, &AValue.MaxDataLen, nullptr, &AValue.FileTime));
  // Far East systems have reported lengths in bytes of a double-byte code page.
  if (GetSystemMetrics(SM_DBCSENABLED)) {
    AValue.MaxSubKeyLen *= 2;
    AValue.MaxValueLen *= 2;
  }
  return LResult;
}

bool TRegistry::HasSubKeys() {
  TRegKeyInfo LInfo;
  return GetKeyInfo(LInfo) && LInfo.NumSubKeys > 0;
}

void TRegistry::GetKeyNames(TStringList& AStrings) {
  AStrings.Clear();
  TRegKeyInfo LInfo;
  if (!GetKeyInfo(LInfo)) RaiseFailure(SRegGetDataFailed, CurrentPath());
  AStrings.SetCapacity(static_cast<int32_t>(LInfo.NumSubKeys));
  TNameBuffer LName(LInfo.MaxSubKeyLen);
  for (DWORD I = 0;; ++I) {
    const LONG LCode = RegEnumKeyExW(CurrentKey(), I, LName.Data(), LName.Reset(), nullptr, nullptr, nullptr, nullptr);
    if (LCode == ERROR_NO_MORE_ITEMS) break;
    if (!CheckResult(LCode)) RaiseFailure(SRegGetDataFailed, CurrentPath());
    AStrings.Add(LName.Text());
  }
  CheckResult(ERROR_SUCCESS);
}

void TRegistry::GetValueNames(TStringList& AStrings) {
  AStrings.Clear();
  TRegKeyInfo LInfo;
  if (!GetKeyInfo(LInfo)) RaiseFailure(SRegGetDataFailed, CurrentPath());
  AStrings.SetCapacity(static_cast<int32_t>(LInfo.NumValues));
  TNameBuffer LName(LInfo.MaxValueLen);
  for (DWORD I = 0; I < LInfo.NumValues; ++I) {
    if (RegEnumValueW(CurrentKey(), I, LName.Data(), LName.Reset(), nullptr, nullptr, nullptr, nullptr) ==
        ERROR_NO_MORE_ITEMS) {
      CheckResult(ERROR_SUCCESS);
      break;
    }
    AStrings.Add(LName.Text());
  }
}

bool TRegistry::LoadKey(const UnicodeString& AKey, const UnicodeString& AFileName) {
  return CheckResult(RegLoadKeyW(RootKey(), WithoutLeadingBackslash(AKey).c_str(), AFileName.c_str()));
}

bool TRegistry::UnLoadKey(const UnicodeString& AKey) {
  return CheckResult(RegUnLoadKeyW(RootKey(), WithoutLeadingBackslash(AKey).c_str()));
}

bool TRegistry::RestoreKey(const UnicodeString& AKey, const UnicodeString& AFileName) {
  TRegKeyOwner LKey(GetKey(AKey));
  return LKey && CheckResult(RegRestoreKeyW(LKey.get(), AFileName.c_str(), 0));
}

bool TRegistry::ReplaceKey(const UnicodeString& AKey, const UnicodeString& AFileName,
                           const UnicodeString& ABackUpFileName) {
  return CheckResult(RegReplaceKeyW(GetBaseKey(IsRelative(AKey)), WithoutLeadingBackslash(AKey).c_str(),
                                    AFileName.c_str(), ABackUpFileName.c_str()));
}

bool TRegistry::SaveKey(const UnicodeString& AKey, const UnicodeString& AFileName) {
  TRegKeyOwner LKey(GetKey(AKey));
  return LKey && CheckResult(RegSaveKeyW(LKey.get(), AFileName.c_str(), nullptr));
}

// ---- Value information ----------------------------------------------------------------------------

int32_t TRegistry::RegDataToDataType(TRegDataType AValue) noexcept {
  for (const TTypeCode& T : C_TYPE_CODES)
    if (T.RegData == AValue) return T.Code;
  return REG_NONE;
}

TRegDataType TRegistry::DataTypeToRegData(int32_t AValue) noexcept {
  for (const TTypeCode& T : C_TYPE_CODES)
    if (T.Code == AValue) return T.RegData;
  return rdUnknown;
}

UnicodeString TRegistry::BinaryToHexString(const uint8_t* AData, int32_t AHigh, const UnicodeString& APrefix) {
  static constexpr wchar_t C_DIGITS[] = L"0123456789ABCDEF";
  UnicodeString LResult = APrefix;
  if (AHigh < 0) return LResult;
  LResult.reserve(APrefix.size() + 3 * (static_cast<size_t>(AHigh) + 1));
  for (int32_t I = 0; I <= AHigh; ++I) {
    if (I > 0) LResult += L',';
    LResult += C_DIGITS[AData[I] >> 4];
    LResult += C_DIGITS[AData[I] & 15];
  }
  return LResult;
}

LONG TRegistry::QueryValue(const UnicodeString& AName, DWORD& AType, void* ABuffer, DWORD& ASize) {
  const LONG LCode = RegQueryValueExW(CurrentKey(), AName.c_str(), nullptr, &AType, static_cast<BYTE*>(ABuffer), &ASize);
  CheckResult(LCode);
  return LCode;
}

bool TRegistry::GetDataInfo(const UnicodeString& AValueName, TRegDataInfo& AValue) {
  AValue = TRegDataInfo{};
  DWORD LType = REG_NONE, LSize = 0;
  const LONG LCode = QueryValue(AValueName, LType, nullptr, LSize);
  if (LCode != ERROR_SUCCESS && LCode != ERROR_MORE_DATA) return false;
  AValue.RegData = DataTypeToRegData(static_cast<int32_t>(LType));
  AValue.DataSize = static_cast<int32_t>(LSize);
  return true;
}

int32_t TRegistry::GetDataSize(const UnicodeString& AValueName) {
  TRegDataInfo LInfo;
  return GetDataInfo(AValueName, LInfo) ? LInfo.DataSize : 0;
}

TRegDataType TRegistry::GetDataType(const UnicodeString& AValueName) {
  TRegDataInfo LInfo;
  return GetDataInfo(AValueName, LInfo) ? LInfo.RegData : rdUnknown;
}

bool TRegistry::ValueExists(const UnicodeString& AName) {
  TRegDataInfo LInfo;
  return GetDataInfo(AName, LInfo);
}

bool TRegistry::DeleteValue(const UnicodeString& AName) {
  return CheckResult(RegDeleteValueW(CurrentKey(), AName.c_str()));
}

// ---- Reads ----------------------------------------------------------------------------------------

int32_t TRegistry::GetData(const UnicodeString& AName, void* ABuffer, int32_t ABufSize, TRegDataType& ARegData) {
  DWORD LType = REG_NONE, LSize = static_cast<DWORD>(ABufSize);
  const LONG LCode = QueryValue(AName, LType, ABuffer, LSize);
  if (LCode != ERROR_SUCCESS && LCode != ERROR_MORE_DATA) RaiseFailure(SRegGetDataFailed, AName);
  ARegData = DataTypeToRegData(static_cast<int32_t>(LType));
  return LCode == ERROR_SUCCESS ? static_cast<int32_t>(LSize) : -1;
}

bool TRegistry::GetBinaryData(const UnicodeString& AName, TRegDataType& ARegData, std::vector<uint8_t>& AData) {
  DWORD LType = REG_NONE, LSize = static_cast<DWORD>(AData.size());
  if (LSize == 0) {
    if (QueryValue(AName, LType, nullptr, LSize) != ERROR_SUCCESS) return false;
    AData.resize(LSize);
  }
  for (;;) {
    LSize = static_cast<DWORD>(AData.size());
    const LONG LCode = QueryValue(AName, LType, AData.data(), LSize);
    if (LCode == ERROR_SUCCESS) break;
    if (LCode != ERROR_MORE_DATA) return false;
    AData.resize(static_cast<size_t>(LSize) * 2);
  }
  AData.resize(LSize);
  ARegData = DataTypeToRegData(static_cast<int32_t>(LType));
  return true;
}

template <typename T>
T TRegistry::ReadExact(const UnicodeString& AName, TRegDataType ARegData) {
  T LValue{};
  TRegDataType LType;
  if (GetData(AName, &LValue, sizeof(T), LType) != static_cast<int32_t>(sizeof(T)) || LType != ARegData)
    RaiseInvalidType(AName);
  return LValue;
}

int32_t TRegistry::ReadInteger(const UnicodeString& AName) { return ReadExact<int32_t>(AName, rdInteger); }
bool TRegistry::ReadBool(const UnicodeString& AName) { return ReadInteger(AName) != 0; }
double TRegistry::ReadFloat(const UnicodeString& AName) { return ReadExact<double>(AName, rdBinary); }
int64_t TRegistry::ReadCurrency(const UnicodeString& AName) { return ReadExact<int64_t>(AName, rdBinary); }
TDateTime TRegistry::ReadDateTime(const UnicodeString& AName) { return ReadExact<TDateTime>(AName, rdBinary); }

int64_t TRegistry::ReadInt64(const UnicodeString& AName) {
  if (GetDataType(AName) != rdInt64) RaiseInvalidType(AName);
  int64_t LValue = 0;
  DWORD LType = REG_QWORD, LSize = sizeof(LValue);
  if (QueryValue(AName, LType, &LValue, LSize) != ERROR_SUCCESS) RaiseFailure(SRegGetDataFailed, AName);
  return LValue;
}

UnicodeString TRegistry::ReadString(const UnicodeString& AName) {
  std::vector<uint8_t> LData(C_OFFERED_TEXT_BYTES);
  TRegDataType LType;
  if (!GetBinaryData(AName, LType, LData)) return {};
  if (LType != rdString && LType != rdExpandString) RaiseInvalidType(AName);
  return Trim(UnicodeString(reinterpret_cast<const wchar_t*>(LData.data()), LData.size() / 2));
}

std::vector<UnicodeString> TRegistry::ReadMultiString(const UnicodeString& AName) {
  std::vector<uint8_t> LData(C_OFFERED_TEXT_BYTES);
  TRegDataType LType;
  if (!GetBinaryData(AName, LType, LData)) return {};
  if (LType != rdMultiString) RaiseInvalidType(AName);
  if (LData.empty()) return {};
  // Data without its closing NULs still ends the list here.
  LData.resize((LData.size() + 1) / 2 * 2 + 2 * sizeof(wchar_t), 0);
  return SysUtils::ParseMultiStr(reinterpret_cast<const wchar_t*>(LData.data()));
}

int32_t TRegistry::ReadBinaryData(const UnicodeString& AName, void* ABuffer, int32_t ABufSize) {
  TRegDataInfo LInfo;
  if (!GetDataInfo(AName, LInfo)) RaiseFailure(SRegGetDataFailed, AName);
  if (LInfo.RegData != rdUnknown && LInfo.RegData != rdBinary) RaiseInvalidType(AName);
  TRegDataType LType;
  const int32_t LCount = GetData(AName, ABuffer, ABufSize, LType);
  if (LCount == -1) RaiseFailure(SRegGetDataFailed, AName, true);
  return LCount;
}

UnicodeString TRegistry::GetDataAsString(const UnicodeString& AValueName, bool APrefixType) {
  std::vector<uint8_t> LData;
  TRegDataType LType = rdUnknown;
  if (!GetBinaryData(AValueName, LType, LData)) RaiseFailure(SRegGetDataFailed, AValueName);
  switch (LType) {
    case rdString:
    case rdExpandString:
    case rdMultiString: {
      const wchar_t* LText = reinterpret_cast<const wchar_t*>(LData.data());
      const size_t LLength = LData.size() / 2;
      return UnicodeString(LText, std::find(LText, LText + LLength, L'\0') - LText);
    }
    case rdInteger: {
      int32_t LValue = 0;
      std::memcpy(&LValue, LData.data(), std::min(LData.size(), sizeof(LValue)));
      return APrefixType ? L"dword:" + IntToHex(static_cast<uint32_t>(LValue), 8) : IntToStr(LValue);
    }
    case rdInt64: {
      int64_t LValue = 0;
      std::memcpy(&LValue, LData.data(), std::min(LData.size(), sizeof(LValue)));
      return APrefixType ? L"dword:" + IntToHex(static_cast<uint64_t>(LValue), 8) : IntToStr(LValue);
    }
    default:
      return BinaryToHexString(LData.data(), static_cast<int32_t>(LData.size()) - 1, APrefixType ? L"hex:" : L"");
  }
}

template <typename T, typename TRead>
T TRegistry::ReadDef(const UnicodeString& AName, T ADefault, TRegDataType AType, bool AExact8, TRead ARead) {
  TRegDataInfo LInfo;
  if (!GetDataInfo(AName, LInfo)) return ADefault;
  const bool LTypeFits = LInfo.RegData == AType || (AType == rdString && LInfo.RegData == rdExpandString);
  if (!LTypeFits || (AExact8 && LInfo.DataSize != 8)) return ADefault;
  try {
    return (this->*ARead)(AName);
  } catch (const Rtl::Exception&) {
    return ADefault;
  }
}

int32_t TRegistry::ReadIntegerDef(const UnicodeString& AName, int32_t ADefault) {
  return ReadDef(AName, ADefault, rdInteger, false, &TRegistry::ReadInteger);
}
bool TRegistry::ReadBoolDef(const UnicodeString& AName, bool ADefault) {
  return ReadDef(AName, ADefault, rdInteger, false, &TRegistry::ReadBool);
}
UnicodeString TRegistry::ReadStringDef(const UnicodeString& AName, const UnicodeString& ADefault) {
  return ReadDef(AName, ADefault, rdString, false, &TRegistry::ReadString);
}
int64_t TRegistry::ReadInt64Def(const UnicodeString& AName, int64_t ADefault) {
  return ReadDef(AName, ADefault, rdInt64, false, &TRegistry::ReadInt64);
}
double TRegistry::ReadFloatDef(const UnicodeString& AName, double ADefault) {
  return ReadDef(AName, ADefault, rdBinary, true, &TRegistry::ReadFloat);
}
TDateTime TRegistry::ReadDateTimeDef(const UnicodeString& AName, TDateTime ADefault) {
  return ReadDef(AName, ADefault, rdBinary, true, &TRegistry::ReadDateTime);
}

// ---- Writes ---------------------------------------------------------------------------------------

void TRegistry::PutData(const UnicodeString& AName, const void* ABuffer, int32_t ABufSize, TRegDataType ARegData) {
  if (!CheckResult(RegSetValueExW(CurrentKey(), AName.c_str(), 0, static_cast<DWORD>(RegDataToDataType(ARegData)),
                                  static_cast<const BYTE*>(ABuffer), static_cast<DWORD>(ABufSize))))
    RaiseFailure(SRegSetDataFailed, AName);
}

void TRegistry::WriteString(const UnicodeString& AName, const UnicodeString& AValue) {
  PutData(AName, AValue.c_str(), static_cast<int32_t>((AValue.size() + 1) * sizeof(wchar_t)), rdString);
}
void TRegistry::WriteExpandString(const UnicodeString& AName, const UnicodeString& AValue) {
  PutData(AName, AValue.c_str(), static_cast<int32_t>((AValue.size() + 1) * sizeof(wchar_t)), rdExpandString);
}
void TRegistry::WriteInteger(const UnicodeString& AName, int32_t AValue) {
  PutData(AName, &AValue, sizeof(AValue), rdInteger);
}
void TRegistry::WriteBool(const UnicodeString& AName, bool AValue) { WriteInteger(AName, AValue ? 1 : 0); }
void TRegistry::WriteInt64(const UnicodeString& AName, int64_t AValue) { PutData(AName, &AValue, sizeof(AValue), rdInt64); }
void TRegistry::WriteFloat(const UnicodeString& AName, double AValue) { PutData(AName, &AValue, sizeof(AValue), rdBinary); }
void TRegistry::WriteCurrency(const UnicodeString& AName, int64_t AValue) {
  PutData(AName, &AValue, sizeof(AValue), rdBinary);
}
void TRegistry::WriteDateTime(const UnicodeString& AName, TDateTime AValue) {
  PutData(AName, &AValue, sizeof(AValue), rdBinary);
}
void TRegistry::WriteBinaryData(const UnicodeString& AName, const void* ABuffer, int32_t ABufSize) {
  PutData(AName, ABuffer, ABufSize, rdBinary);
}

void TRegistry::WriteMultiString(const UnicodeString& AName, const std::vector<UnicodeString>& AValue) {
  UnicodeString LData;
  for (const UnicodeString& S : AValue) {
    LData += S;
    LData += L'\0';
  }
  LData += L'\0';
  if (AValue.empty()) LData += L'\0';
  PutData(AName, LData.data(), static_cast<int32_t>(LData.size() * sizeof(wchar_t)), rdMultiString);
}

// ---- Whole values and keys ------------------------------------------------------------------------

void TRegistry::RenameValue(const UnicodeString& AOldName, const UnicodeString& ANewName) {
  if (ValueExists(ANewName)) {
    CheckResult(ERROR_ALREADY_EXISTS);
    RaiseFailure(SRegSetDataFailed, AOldName);
  }
  std::vector<uint8_t> LData;
  TRegDataType LType;
  if (!GetBinaryData(AOldName, LType, LData) || !DeleteValue(AOldName)) RaiseFailure(SRegSetDataFailed, AOldName);
  PutData(ANewName, LData.data(), static_cast<int32_t>(LData.size()), LType);
}

void TRegistry::MoveKey(const UnicodeString& AOldName, const UnicodeString& ANewName, bool ADelete) {
  if (KeyExists(ANewName)) {
    CheckResult(ERROR_ALREADY_EXISTS);
    RaiseFailure(SRegSetDataFailed, ANewName);
  }
  if (!KeyExists(AOldName)) {
    CheckResult(ERROR_NOT_REGISTRY_FILE);
    RaiseFailure(SRegSetDataFailed, AOldName);
  }
  TRegKeyOwner LSource(GetKey(AOldName));
  if (!LSource) RaiseFailure(SRegSetDataFailed, AOldName);
  if (!CreateKey(ANewName)) RaiseFailure(SRegSetDataFailed, ANewName);
  TRegKeyOwner LDestination(GetKey(ANewName));
  if (!LDestination) RaiseFailure(SRegSetDataFailed, ANewName);
  DoCopyValues(LSource.get(), LDestination.get());
  DoCopyKeys(LSource.get(), LDestination.get());
  LSource.reset();
  LDestination.reset();
  if (ADelete && !DeleteKey(AOldName)) RaiseFailure(SRegSetDataFailed, AOldName);
}

void TRegistry::DoMoveValue(HKEY ASource, HKEY ADestination, const UnicodeString& AName) {
  TKeySwap LSwap(*this, ASource);
  std::vector<uint8_t> LData;
  TRegDataType LType;
  if (!GetBinaryData(AName, LType, LData)) return;
  LSwap.Use(ADestination);
  PutData(AName, LData.data(), static_cast<int32_t>(LData.size()), LType);
}

void TRegistry::DoCopyValues(HKEY ASource, HKEY ADestination) {
  TKeySwap LSwap(*this, ASource);
  TRegKeyInfo LInfo;
  if (!GetKeyInfo(LInfo)) RaiseFailure(SRegSetDataFailed, CurrentPath());
  DoMoveValue(ASource, ADestination, UnicodeString());
  TNameBuffer LName(LInfo.MaxValueLen);
  for (DWORD I = 0; I < LInfo.NumValues; ++I) {
    if (!CheckResult(RegEnumValueW(ASource, I, LName.Data(), LName.Reset(), nullptr, nullptr, nullptr, nullptr)))
      RaiseFailure(SRegSetDataFailed, CurrentPath());
    DoMoveValue(ASource, ADestination, LName.Text());
  }
}

void TRegistry::DoCopyKeys(HKEY ASource, HKEY ADestination) {
  TKeySwap LSwap(*this, ASource);
  TRegKeyInfo LInfo;
  if (!GetKeyInfo(LInfo)) RaiseFailure(SRegSetDataFailed, CurrentPath());
  TNameBuffer LName(LInfo.MaxSubKeyLen);
  for (DWORD I = 0; I < LInfo.NumSubKeys; ++I) {
    if (!CheckResult(RegEnumKeyExW(ASource, I, LName.Data(), LName.Reset(), nullptr, nullptr, nullptr, nullptr)))
      RaiseFailure(SRegSetDataFailed, CurrentPath());
    const UnicodeString LChild = LName.Text();
    TRegKeyOwner LChildSource(GetKey(LChild));
    if (!LChildSource) RaiseFailure(SRegSetDataFailed, CurrentPath());
    LSwap.Use(ADestination);
    if (!CreateKey(LChild)) RaiseFailure(SRegSetDataFailed, CurrentPath());
    TRegKeyOwner LChildDestination(GetKey(LChild));
    if (!LChildDestination) RaiseFailure(SRegSetDataFailed, CurrentPath());
    DoCopyValues(LChildSource.get(), LChildDestination.get());
    DoCopyKeys(LChildSource.get(), LChildDestination.get());
    LChildDestination.reset();
    LSwap.Use(ASource);
  }
}

}  // namespace Ostravane
