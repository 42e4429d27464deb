// File version information: the version resource of an executable or library, read once, and a
// four-part version value that compares and converts.
//
// A translation is one Cardinal: the language id in the low word, the code page in the high word.
// Only translations whose string table has "FileVersion" are listed; a table entry that names code
// page 1200 where the strings were stored under 1252 (or the reverse) finds them under the other.
//
// Failure contract: nothing here raises for a file. A missing file, a file without version data or
// a malformed block gives an object with IsAviable false, no translation, zero versions and empty
// values.
#pragma once
#include <compare>
#include <memory>
#include <type_traits>
#include <vector>

#include "Ostravane.Rtl.SysUtils.h"

#include <winver.h>

namespace Ostravane {

using Rtl::UnicodeString;

// Major.Minor.Release.Build, each 16 bits; compared field by field in that order.
struct OVRTL_API TVersionValue {
  uint16_t Major = 0;
  uint16_t Minor = 0;
  uint16_t Release = 0;
  uint16_t Build = 0;

  TVersionValue() noexcept = default;
  TVersionValue(uint16_t AMajor, uint16_t AMinor, uint16_t ARelease, uint16_t ABuild) noexcept
      : Major(AMajor), Minor(AMinor), Release(ARelease), Build(ABuild) {}
  // The four bytes of AValue from the highest to the lowest (any integer type, taken as a Cardinal).
  template <typename T, std::enable_if_t<std::is_integral_v<T> && !std::is_same_v<T, bool>, int> = 0>
  explicit TVersionValue(T AValue) noexcept {
    FromLongWord(static_cast<uint32_t>(AValue));
  }
  // Dotted text: up to four parts, each converted as StrToIntDef(part, 0) and cut to its low 16
  // bits; missing parts are 0, parts beyond the fourth are ignored.
  explicit TVersionValue(const UnicodeString& AValue) noexcept;
  explicit TVersionValue(const wchar_t* AValue) noexcept : TVersionValue(UnicodeString(AValue ? AValue : L"")) {}
  // The float form: the whole part is Major; each following field is the whole part of the remaining
  // fraction times 100000.
  explicit TVersionValue(long double AValue) noexcept;
  explicit TVersionValue(double AValue) noexcept : TVersionValue(static_cast<long double>(AValue)) {}

  // The low byte of each field, Major in the highest byte: fields above 255 lose their high byte.
  uint32_t AsLongWord() const noexcept;
  // "%d.%d.%d.%d".
  UnicodeString AsString() const;
  // Major + Minor / 10^5 + Release / 10^10 + Build / 10^15.
  long double AsFloat() const noexcept;

  friend auto operator<=>(const TVersionValue&, const TVersionValue&) = default;

 private:
  void FromLongWord(uint32_t AValue) noexcept;
};

class OVRTL_API TFileVersionInfo : public Rtl::TObject {
  OV_OBJECT_CLASS
 public:
  // Reads the file at once, language-neutral (FILE_VER_GET_NEUTRAL) or localised.
  explicit TFileVersionInfo(const UnicodeString& AFileName, bool AIsNeutral = false);
  ~TFileVersionInfo() override;
  TFileVersionInfo(const TFileVersionInfo&) = delete;
  TFileVersionInfo& operator=(const TFileVersionInfo&) = delete;

  const UnicodeString& FileName() const noexcept { return FFileName; }
  // True when the block was read and has fixed information of the system's 52-byte form.
  bool GetIsAviable() const noexcept { return FInfoBuffer && FVSFixedInfo; }
  bool IsAviable() const noexcept { return GetIsAviable(); }
  TVersionValue FileVersion() const noexcept { return FFileVersion; }
  TVersionValue ProductVersion() const noexcept { return FProductVersion; }
  // The usable translations, in the order of the file's table, without repeats.
  const std::vector<uint32_t>& Translation() const noexcept { return FTranslation; }
  // The fixed information inside the block; null when not available.
  const VS_FIXEDFILEINFO* VSFixedInfo() const noexcept { return FVSFixedInfo; }

  // Whether "\StringFileInfo\<language><code page>\AName" resolves; false when not available.
  bool IsValueExist(const UnicodeString& AName, uint32_t ALCID) const;
  // Whether AName exists under any listed translation.
  bool IsValueExist(const UnicodeString& AName) const;
  // The text of AName under ALCID, up to its first NUL and trimmed of blanks; empty when not there.
  UnicodeString GetValue(const UnicodeString& AName, uint32_t ALCID) const;
  // AName under the first listed translation that has it; empty when none has.
  UnicodeString GetValue(const UnicodeString& AName) const;

  // The value path of AName under ALCID: "\StringFileInfo\%.4x%.4x\%s", upper-case digits.
  static UnicodeString ValuePath(const UnicodeString& AName, uint32_t ALCID);

 private:
  void InitInfo(bool AIsNeutral);
  void InitTranslation();
  void DefineParams();
  // Adds ALCID when it isn't listed yet and has "FileVersion".
  bool TryAddTranslation(uint32_t ALCID);

  UnicodeString FFileName;
  std::unique_ptr<uint8_t[]> FInfoBuffer;
  VS_FIXEDFILEINFO* FVSFixedInfo = nullptr;
  TVersionValue FFileVersion;
  TVersionValue FProductVersion;
  std::vector<uint32_t> FTranslation;
};

}  // namespace Ostravane
