// The runtime's ini file held in memory: sections of "name=value" lines, read once from a file and
// never written back. Section and key names compare without regard to case; the first of repeated
// keys counts.
//
// Failure contract: a file that can't be read gives an empty ini file; nothing here raises.
#pragma once
#include <vector>

#include "Ostravane.Rtl.SysUtils.h"

namespace Ostravane::Rtl {

class OVRTL_API TMemIniFile : public TObject {
  OV_OBJECT_CLASS
 public:
  // AnsiEncoding: a file without a byte order mark is in the system's ANSI code page; with the
  // mark of UTF-8 or UTF-16 LE it is read as that.
  explicit TMemIniFile(const UnicodeString& AFileName);
  const UnicodeString& FileName() const noexcept { return FFileName; }

  bool SectionExists(const UnicodeString& ASection) const;
  bool ValueExists(const UnicodeString& ASection, const UnicodeString& AIdent) const;
  // The value trimmed of blanks, ADefault when the key is missing.
  UnicodeString ReadString(const UnicodeString& ASection, const UnicodeString& AIdent,
                           const UnicodeString& ADefault) const;
  // The section names in the file's order.
  std::vector<UnicodeString> ReadSections() const;
  // The key names of a section in the file's order.
  std::vector<UnicodeString> ReadSection(const UnicodeString& ASection) const;

 private:
  struct TSection {
    UnicodeString Name;
    std::vector<std::pair<UnicodeString, UnicodeString>> Values;
  };
  const TSection* FindSection(const UnicodeString& ASection) const;

  UnicodeString FFileName;
  std::vector<TSection> FSections;
};

}  // namespace Ostravane::Rtl
