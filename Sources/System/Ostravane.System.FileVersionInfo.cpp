// Reading a version resource through version.dll, and the conversions of TVersionValue.
#include "Ostravane.System.FileVersionInfo.h"

#include <algorithm>
#include <cmath>

#include "Ostravane.Winapi.Version.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(TFileVersionInfo, Rtl::TObject::StaticClass())

namespace {

constexpr uint32_t C_CP_UNICODE = 1200;
constexpr uint32_t C_CP_WESTERN = 1252;
constexpr UINT C_FIXED_INFO_SIZE = 52;  // sizeof(VS_FIXEDFILEINFO), the only form accepted
constexpr long double C_FLOAT_STEP = 100000.0L;
constexpr wchar_t C_FILE_VERSION[] = L"FileVersion";

static_assert(sizeof(VS_FIXEDFILEINFO) == C_FIXED_INFO_SIZE, "the system's fixed file information");

// The text up to the first point, which goes from AText with it; all of AText when it has none.
UnicodeString GetNextStrPart(UnicodeString& AText) {
  const size_t LPoint = AText.find(L'.');
  UnicodeString LPart = AText.substr(0, LPoint);
  AText.erase(0, LPoint == UnicodeString::npos ? LPoint : LPoint + 1);
  return LPart;
}

uint16_t HighWord(uint32_t AValue) noexcept { return static_cast<uint16_t>(AValue >> 16); }
uint16_t LowWord(uint32_t AValue) noexcept { return static_cast<uint16_t>(AValue & 0xFFFF); }

TVersionValue FromWords(uint32_t AMS, uint32_t ALS) noexcept {
  return TVersionValue(HighWord(AMS), LowWord(AMS), HighWord(ALS), LowWord(ALS));
}

}  // namespace

// ---- TVersionValue ----------------------------------------------------------------------------

void TVersionValue::FromLongWord(uint32_t AValue) noexcept {
  Major = static_cast<uint16_t>((AValue >> 24) & 0xFF);
  Minor = static_cast<uint16_t>((AValue >> 16) & 0xFF);
  Release = static_cast<uint16_t>((AValue >> 8) & 0xFF);
  Build = static_cast<uint16_t>(AValue & 0xFF);
}

TVersionValue::TVersionValue(const UnicodeString& AValue) noexcept {
  try {
    UnicodeString LText = AValue;
    for (uint16_t* LField : {&Major, &Minor, &Release, &Build})
      *LField = static_cast<uint16_t>(Rtl::StrToIntDef(GetNextStrPart(LText), 0));
  } catch (...) {
    // Only an allocation can fail here; the value stays what was parsed so far.
  }
}

TVersionValue::TVersionValue(long double AValue) noexcept {
  // A truncation outside Int64 is undefined in C++; such a value keeps 0 in that field.
  auto LTrunc = [](long double V) -> uint16_t {
    return std::isfinite(V) && std::fabs(V) < 9.2e18L ? static_cast<uint16_t>(static_cast<int64_t>(V)) : 0;
  };
  long double LValue = AValue;
  Major = LTrunc(LValue);
  for (uint16_t* LField : {&Minor, &Release, &Build}) {
    long double LWhole;
    LValue = std::modf(LValue, &LWhole) * C_FLOAT_STEP;
    *LField = LTrunc(LValue);
  }
}

uint32_t TVersionValue::AsLongWord() const noexcept {
  return (static_cast<uint32_t>(Major & 0xFF) << 24) | (static_cast<uint32_t>(Minor & 0xFF) << 16) |
         (static_cast<uint32_t>(Release & 0xFF) << 8) | static_cast<uint32_t>(Build & 0xFF);
}

UnicodeString TVersionValue::AsString() const {
  return Rtl::Format(L"%d.%d.%d.%d", {Major, Minor, Release, Build});
}

long double TVersionValue::AsFloat() const noexcept {
  return Major + Minor / C_FLOAT_STEP + Release / C_FLOAT_STEP / C_FLOAT_STEP +
         Build / C_FLOAT_STEP / C_FLOAT_STEP / C_FLOAT_STEP;
}

// ---- TFileVersionInfo -------------------------------------------------------------------------

TFileVersionInfo::TFileVersionInfo(const UnicodeString& AFileName, bool AIsNeutral) : FFileName(AFileName) {
  InitInfo(AIsNeutral);
  if (GetIsAviable()) InitTranslation();
  DefineParams();
}

TFileVersionInfo::~TFileVersionInfo() = default;

void TFileVersionInfo::InitInfo(bool AIsNeutral) {
  const DWORD LFlags = AIsNeutral ? FILE_VER_GET_NEUTRAL : FILE_VER_GET_LOCALISED;
  try {
    DWORD LHandle = 0;
    const DWORD LSize = Version::GetFileVersionInfoSizeEx(LFlags, FFileName.c_str(), &LHandle);
    if (LSize == 0) return;
    FInfoBuffer = std::make_unique<uint8_t[]>(LSize);
    if (!Version::GetFileVersionInfoEx(LFlags, FFileName.c_str(), LHandle, LSize, FInfoBuffer.get())) {
      FInfoBuffer.reset();
      return;
    }
    void* LFixed = nullptr;
    UINT LLength = 0;
    if (!VerQueryValueW(FInfoBuffer.get(), L"\\", &LFixed, &LLength) || !LFixed || LLength != C_FIXED_INFO_SIZE) {
      FInfoBuffer.reset();
      return;
    }
    FVSFixedInfo = static_cast<VS_FIXEDFILEINFO*>(LFixed);
  } catch (...) {
    // version.dll missing, or no memory for the block: the file has no version to give.
    FVSFixedInfo = nullptr;
    FInfoBuffer.reset();
  }
}

bool TFileVersionInfo::TryAddTranslation(uint32_t ALCID) {
  if (std::find(FTranslation.begin(), FTranslation.end(), ALCID) != FTranslation.end()) return false;
  if (!IsValueExist(C_FILE_VERSION, ALCID)) return false;
  FTranslation.push_back(ALCID);
  return true;
}

void TFileVersionInfo::InitTranslation() {
  void* LTable = nullptr;
  UINT LLength = 0;
  if (!VerQueryValueW(FInfoBuffer.get(), L"\\VarFileInfo\\Translation", &LTable, &LLength)) return;
  if (!LTable || LLength == 0 || LLength % 4 != 0) return;
  for (UINT I = 0; I < LLength / 4; ++I) {
    uint32_t LEntry;
    std::memcpy(&LEntry, static_cast<const uint8_t*>(LTable) + I * 4, 4);
    if (TryAddTranslation(LEntry)) continue;
    // A table that names the wrong one of the two usual code pages still finds its strings.
    const uint32_t LLanguage = LowWord(LEntry);
    if (HighWord(LEntry) == C_CP_UNICODE) TryAddTranslation(LLanguage | C_CP_WESTERN << 16);
    else if (HighWord(LEntry) == C_CP_WESTERN) TryAddTranslation(LLanguage | C_CP_UNICODE << 16);
  }
}

void TFileVersionInfo::DefineParams() {
  if (!FVSFixedInfo) return;
  FFileVersion = FromWords(FVSFixedInfo->dwFileVersionMS, FVSFixedInfo->dwFileVersionLS);
  FProductVersion = FromWords(FVSFixedInfo->dwProductVersionMS, FVSFixedInfo->dwProductVersionLS);
}

UnicodeString TFileVersionInfo::ValuePath(const UnicodeString& AName, uint32_t ALCID) {
  return Rtl::Format(L"\\StringFileInfo\\%.4x%.4x\\%s", {LowWord(ALCID), HighWord(ALCID), AName});
}

bool TFileVersionInfo::IsValueExist(const UnicodeString& AName, uint32_t ALCID) const {
  if (!GetIsAviable()) return false;
  void* LValue = nullptr;
  UINT LLength = 0;
  return VerQueryValueW(FInfoBuffer.get(), ValuePath(AName, ALCID).c_str(), &LValue, &LLength) != FALSE;
}

bool TFileVersionInfo::IsValueExist(const UnicodeString& AName) const {
  return std::any_of(FTranslation.begin(), FTranslation.end(),
                     [&](uint32_t LCID) { return IsValueExist(AName, LCID); });
}

UnicodeString TFileVersionInfo::GetValue(const UnicodeString& AName, uint32_t ALCID) const {
  if (!FInfoBuffer) return UnicodeString();
  void* LValue = nullptr;
  UINT LLength = 0;
  if (!VerQueryValueW(FInfoBuffer.get(), ValuePath(AName, ALCID).c_str(), &LValue, &LLength) || !LValue)
    return UnicodeString();
  const auto* LText = static_cast<const wchar_t*>(LValue);
  return Rtl::Trim(UnicodeString(LText, std::find(LText, LText + LLength, L'\0')));
}

UnicodeString TFileVersionInfo::GetValue(const UnicodeString& AName) const {
  for (const uint32_t LCID : FTranslation)
    if (IsValueExist(AName, LCID)) return GetValue(AName, LCID);
  return UnicodeString();
}

}  // namespace Ostravane
