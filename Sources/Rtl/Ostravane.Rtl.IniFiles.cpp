// TMemIniFile: the file's text split into sections once, looked up without regard to case.
#include "Ostravane.Rtl.IniFiles.h"

#include "Ostravane.Rtl.Handles.h"

namespace Ostravane::Rtl {

OV_IMPLEMENT_CLASS(TMemIniFile, &TObject::ClassRecord)

namespace {

UnicodeString DecodeText(const std::vector<uint8_t>& ABytes) {
  if (ABytes.size() >= 2 && ABytes[0] == 0xFF && ABytes[1] == 0xFE)
    return UnicodeString(reinterpret_cast<const wchar_t*>(ABytes.data() + 2), (ABytes.size() - 2) / 2);
  if (ABytes.size() >= 3 && ABytes[0] == 0xEF && ABytes[1] == 0xBB && ABytes[2] == 0xBF)
    return UTF8ToString(std::string(ABytes.begin() + 3, ABytes.end()));
  return AnsiToString(reinterpret_cast<const char*>(ABytes.data()), ABytes.size());
}

std::vector<uint8_t> ReadAllBytes(const UnicodeString& AFileName) {
  std::vector<uint8_t> LBytes;
  TFileHandleOwner LFile(CreateFileW(AFileName.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                     OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!LFile) return LBytes;
  LARGE_INTEGER LSize{};
  if (!GetFileSizeEx(LFile.get(), &LSize) || LSize.QuadPart > 64 * 1024 * 1024) return LBytes;
  LBytes.resize(static_cast<size_t>(LSize.QuadPart));
  DWORD LRead = 0;
  if (!LBytes.empty() && !ReadFile(LFile.get(), LBytes.data(), static_cast<DWORD>(LBytes.size()), &LRead, nullptr))
    LRead = 0;
  LBytes.resize(LRead);
  return LBytes;
}

}  // namespace

TMemIniFile::TMemIniFile(const UnicodeString& AFileName) : FFileName(AFileName) {
  const UnicodeString LText = DecodeText(ReadAllBytes(AFileName));
  TSection* LSection = nullptr;
  for (size_t P = 0; P < LText.size();) {
    size_t LEnd = LText.find_first_of(L"\r\n", P);
    if (LEnd == UnicodeString::npos) LEnd = LText.size();
    const UnicodeString LLine = Trim(LText.substr(P, LEnd - P));
    P = LEnd + 1;
    if (LLine.empty() || LLine[0] == L';') continue;
    if (LLine.front() == L'[' && LLine.back() == L']') {
      const UnicodeString LName = Trim(LLine.substr(1, LLine.size() - 2));
      LSection = const_cast<TSection*>(FindSection(LName));
      if (!LSection) LSection = &FSections.emplace_back(TSection{LName, {}});
      continue;
    }
    if (!LSection) continue;
    const size_t LEq = LLine.find(L'=');
    const UnicodeString LName = Trim(LLine.substr(0, LEq));
    const UnicodeString LValue = LEq == UnicodeString::npos ? UnicodeString() : Trim(LLine.substr(LEq + 1));
    bool LKnown = false;
    for (const auto& V : LSection->Values) LKnown = LKnown || SameText(V.first, LName);
    if (!LKnown) LSection->Values.emplace_back(LName, LValue);
  }
}

const TMemIniFile::TSection* TMemIniFile::FindSection(const UnicodeString& ASection) const {
  for (const TSection& S : FSections)
    if (SameText(S.Name, ASection)) return &S;
  return nullptr;
}

bool TMemIniFile::SectionExists(const UnicodeString& ASection) const { return FindSection(ASection) != nullptr; }

bool TMemIniFile::ValueExists(const UnicodeString& ASection, const UnicodeString& AIdent) const {
  if (const TSection* S = FindSection(ASection))
    for (const auto& V : S->Values)
      if (SameText(V.first, AIdent)) return true;
  return false;
}

UnicodeString TMemIniFile::ReadString(const UnicodeString& ASection, const UnicodeString& AIdent,
                                      const UnicodeString& ADefault) const {
  if (const TSection* S = FindSection(ASection))
    for (const auto& V : S->Values)
      if (SameText(V.first, AIdent)) return V.second;
  return ADefault;
}

std::vector<UnicodeString> TMemIniFile::ReadSections() const {
  std::vector<UnicodeString> L;
  for (const TSection& S : FSections) L.push_back(S.Name);
  return L;
}

std::vector<UnicodeString> TMemIniFile::ReadSection(const UnicodeString& ASection) const {
  std::vector<UnicodeString> L;
  if (const TSection* S = FindSection(ASection))
    for (const auto& V : S->Values) L.push_back(V.first);
  return L;
}

}  // namespace Ostravane::Rtl
