// The runtime's utilities: exceptions, Format, text, paths, time and process helpers.
#include "Ostravane.Rtl.SysUtils.h"

#include <oleauto.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cwctype>

#include "Ostravane.Rtl.Handles.h"

namespace Ostravane::Rtl {

// ---- Exceptions -------------------------------------------------------------------------------

OV_IMPLEMENT_CLASS(Exception, &TObject::ClassRecord)
OV_IMPLEMENT_CLASS(EOSError, &Exception::ClassRecord)
OV_IMPLEMENT_CLASS(EConvertError, &Exception::ClassRecord)
OV_IMPLEMENT_CLASS(EInvalidCast, &Exception::ClassRecord)
OV_IMPLEMENT_CLASS(EThread, &Exception::ClassRecord)
OV_IMPLEMENT_CLASS(EAbort, &Exception::ClassRecord)
OV_IMPLEMENT_CLASS(EOleError, &Exception::ClassRecord)
OV_IMPLEMENT_CLASS(EOleSysError, &EOleError::ClassRecord)
OV_IMPLEMENT_CLASS(EAssertionFailed, &Exception::ClassRecord)

void Abort() { throw EAbort(L"Operation aborted"); }

namespace {
std::atomic<TShowExceptionHook> GShowExceptionHook{nullptr};
}

TShowExceptionHook SetShowExceptionHook(TShowExceptionHook AHook) noexcept { return GShowExceptionHook.exchange(AHook); }

void ShowException(const std::exception& AException, const void* AAddress) {
  try {
    const auto* LException = dynamic_cast<const Exception*>(&AException);
    const UnicodeString LText =
        L"Exception " + (LException ? LException->ClassName() : UnicodeString(L"std::exception")) + L" at " +
        IntToHex(reinterpret_cast<uintptr_t>(AAddress), 8) + L": " +
        (LException ? LException->Message : UTF8ToString(AException.what())) + L".";
    OutputDebugStringW(LText.c_str());
  } catch (...) {
  }
  if (const TShowExceptionHook LHook = GShowExceptionHook.load()) LHook(AException, AAddress);
}

Exception::Exception(UnicodeString AMessage) : Message(std::move(AMessage)), FWhat(UTF8Encode(Message)) {}

const char* Exception::what() const noexcept { return FWhat.c_str(); }

EOSError::EOSError(UnicodeString AMessage, uint32_t AErrorCode)
    : Exception(std::move(AMessage)), ErrorCode(AErrorCode) {}

EOleSysError::EOleSysError(UnicodeString AMessage, HRESULT AErrorCode)
    : EOleError(std::move(AMessage)), ErrorCode(AErrorCode) {}

void OleCheck(HRESULT AResult) {
  if (SUCCEEDED(AResult)) return;
  UnicodeString LMessage = SysErrorMessage(static_cast<uint32_t>(AResult));
  if (LMessage.empty()) LMessage = L"OLE error " + IntToHex(static_cast<uint32_t>(AResult), 8);
  throw EOleSysError(LMessage, AResult);
}

EAssertionFailed::EAssertionFailed(UnicodeString AText, UnicodeString AUnitName, int32_t ALineNumber)
    : Exception(Format(L"%s (%s, line %d)", {AText, AUnitName, ALineNumber})),
      Text(std::move(AText)),
      UnitName(std::move(AUnitName)),
      LineNumber(ALineNumber) {}

// ---- Mixed value lists ------------------------------------------------------------------------

TVarRec TVarRec::ShortString(const unsigned char* AValue) noexcept {
  TVarRec R;
  R.VType = vtString;
  R.VString = AValue;
  return R;
}

TVarRec TVarRec::Currency(int64_t AScaledBy10000) noexcept {
  TVarRec R;
  R.VType = vtCurrency;
  R.VCurrency = AScaledBy10000;
  return R;
}

TVarRec TVarRec::Variant(const VARIANT* AValue) noexcept {
  TVarRec R;
  R.VType = vtVariant;
  R.VVariant = AValue;
  return R;
}

TVarRec TVarRec::Interface(const IUnknown* AValue) noexcept {
  TVarRec R;
  R.VType = vtInterface;
  R.VInterface = AValue;
  return R;
}

TVarRec TVarRec::WideString(BSTR AValue) noexcept {
  TVarRec R;
  R.VType = vtWideString;
  R.VWideString = AValue;
  return R;
}

namespace {

// A BSTR carries its length in bytes in front of the text; reading it needs no OLE runtime.
size_t BStrLength(const wchar_t* S) noexcept {
  if (!S) return 0;
  uint32_t LBytes;
  std::memcpy(&LBytes, reinterpret_cast<const char*>(S) - 4, 4);
  return LBytes / 2;
}

// The locale's separators, read once like the runtime's format settings.
struct TNumberSeparators {
  wchar_t Decimal = L'.';
  wchar_t Thousand = L',';
  TNumberSeparators() {
    wchar_t LBuffer[8];
    if (GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SDECIMAL, LBuffer, 8) > 1) Decimal = LBuffer[0];
    if (GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_STHOUSAND, LBuffer, 8) > 1) Thousand = LBuffer[0];
  }
};

const TNumberSeparators& Separators() {
  static const TNumberSeparators LSeparators;
  return LSeparators;
}

[[noreturn]] void RaiseFormatError(const UnicodeString& AFormat) {
  throw EConvertError(L"Format '" + AFormat + L"' invalid or incompatible with argument");
}

UnicodeString UIntToStr(uint64_t AValue) {
  wchar_t LBuffer[24];
  wchar_t* P = LBuffer + 24;
  do {
    *--P = static_cast<wchar_t>(L'0' + AValue % 10);
    AValue /= 10;
  } while (AValue);
  return UnicodeString(P, LBuffer + 24);
}

// Digits of a number with thousands separators and ADecimals places, the runtime's "n" conversion.
UnicodeString FormatThousands(long double AValue, int ADecimals) {
  if (ADecimals > 18) ADecimals = 18;
  char LBuffer[400];
  std::snprintf(LBuffer, sizeof(LBuffer), "%.*Lf", ADecimals, AValue);
  const char* P = LBuffer;
  UnicodeString LResult;
  if (*P == '-') {
    LResult += L'-';
    ++P;
  }
  const char* LDot = std::strchr(P, '.');
  const size_t LIntLen = LDot ? static_cast<size_t>(LDot - P) : std::strlen(P);
  for (size_t I = 0; I < LIntLen; ++I) {
    if (I > 0 && (LIntLen - I) % 3 == 0) LResult += Separators().Thousand;
    LResult += static_cast<wchar_t>(P[I]);
  }
  if (LDot) {
    LResult += Separators().Decimal;
    for (const char* Q = LDot + 1; *Q; ++Q) LResult += static_cast<wchar_t>(*Q);
  }
  return LResult;
}

bool VarRecAsString(const TVarRec& V, UnicodeString& AResult) {
  switch (V.VType) {
    case vtChar: AResult = AnsiToString(&V.VChar, 1); return true;
    case vtWideChar: AResult.assign(1, V.VWideChar); return true;
    case vtString: AResult = V.VString ? AnsiToString(reinterpret_cast<const char*>(V.VString) + 1, V.VString[0]) : UnicodeString(); return true;
    case vtPChar: AResult = V.VPChar ? AnsiToString(V.VPChar, std::strlen(V.VPChar)) : UnicodeString(); return true;
    case vtAnsiString: AResult = AnsiToString(V.VAnsiString->data(), V.VAnsiString->size()); return true;
    case vtPWideChar: AResult = V.VPWideChar ? UnicodeString(V.VPWideChar) : UnicodeString(); return true;
    case vtWideString: AResult.assign(V.VWideString ? V.VWideString : L"", BStrLength(V.VWideString)); return true;
    case vtUnicodeString: AResult = *V.VUnicodeString; return true;
    case vtVariant: AResult = VarToUStr(static_cast<const VARIANT*>(V.VVariant)); return true;
    default: return false;
  }
}

// Integer kinds as a signed value and as the unsigned value of their own width.
bool VarRecAsInteger(const TVarRec& V, int64_t& ASigned, uint64_t& AUnsigned) {
  switch (V.VType) {
    case vtInteger: ASigned = V.VInteger; AUnsigned = static_cast<uint32_t>(V.VInteger); return true;
    case vtInt64: ASigned = V.VInt64; AUnsigned = static_cast<uint64_t>(V.VInt64); return true;
    case vtPointer: ASigned = AUnsigned = reinterpret_cast<uintptr_t>(V.VPointer); return true;
    default: return false;
  }
}

}  // namespace

UnicodeString Format(const UnicodeString& AFormat, TVarRecList AArgs) {
  return Format(AFormat, AArgs.begin(), AArgs.size());
}

UnicodeString Format(const UnicodeString& AFormat, const TVarRec* AArgs, size_t ACount) {
  UnicodeString LResult;
  LResult.reserve(AFormat.size() + 16 * ACount);
  const wchar_t* P = AFormat.c_str();
  const wchar_t* const LEnd = P + AFormat.size();
  size_t LArg = 0;

  auto NextArg = [&]() -> const TVarRec& {
    if (LArg >= ACount) throw EConvertError(L"No argument for format '" + AFormat + L"'");
    return AArgs[LArg++];
  };
  // A number or '*'; -1 when neither stands here.
  auto ReadNumber = [&]() -> int {
    if (P < LEnd && *P == L'*') {
      ++P;
      const TVarRec& V = NextArg();
      if (V.VType != vtInteger) RaiseFormatError(AFormat);
      return V.VInteger;
    }
    if (P >= LEnd || *P < L'0' || *P > L'9') return -1;
    int N = 0;
    while (P < LEnd && *P >= L'0' && *P <= L'9') N = N * 10 + (*P++ - L'0');
    return N;
  };

  while (P < LEnd) {
    const wchar_t* LPercent = std::wmemchr(P, L'%', LEnd - P);
    if (!LPercent) {
      LResult.append(P, LEnd);
      break;
    }
    LResult.append(P, LPercent);
    P = LPercent + 1;
    if (P >= LEnd) RaiseFormatError(AFormat);
    if (*P == L'%') {
      LResult += L'%';
      ++P;
      continue;
    }
    int LNumber = ReadNumber();
    if (P < LEnd && *P == L':') {
      if (LNumber < 0) RaiseFormatError(AFormat);
      LArg = static_cast<size_t>(LNumber);
      ++P;
      LNumber = -1;
    }
    bool LLeft = false;
    if (LNumber < 0 && P < LEnd && *P == L'-') {
      LLeft = true;
      ++P;
    }
    int LWidth = LNumber >= 0 ? LNumber : ReadNumber();
    int LPrecision = -1;
    if (P < LEnd && *P == L'.') {
      ++P;
      LPrecision = ReadNumber();
      if (LPrecision < 0) LPrecision = 0;
    }
    if (P >= LEnd) RaiseFormatError(AFormat);
    const wchar_t LConv = static_cast<wchar_t>(std::towlower(*P++));
    const TVarRec& V = NextArg();
    UnicodeString LText;
    int64_t LSigned;
    uint64_t LUnsigned;
    switch (LConv) {
      case L'd':
      case L'u': {
        if (!VarRecAsInteger(V, LSigned, LUnsigned)) RaiseFormatError(AFormat);
        const bool LNegative = LConv == L'd' && LSigned < 0;
        LText = UIntToStr(LConv == L'd' ? (LNegative ? 0 - static_cast<uint64_t>(LSigned) : LSigned) : LUnsigned);
        if (LPrecision > static_cast<int>(LText.size())) LText.insert(0, LPrecision - LText.size(), L'0');
        if (LNegative) LText.insert(0, 1, L'-');
        break;
      }
      case L'x': {
        if (!VarRecAsInteger(V, LSigned, LUnsigned)) RaiseFormatError(AFormat);
        LText = IntToHex(LUnsigned, LPrecision > 0 ? LPrecision : 1);
        break;
      }
      case L's': {
        if (!VarRecAsString(V, LText)) RaiseFormatError(AFormat);
        if (LPrecision >= 0 && static_cast<size_t>(LPrecision) < LText.size()) LText.resize(LPrecision);
        break;
      }
      case L'n': {
        long double LValue;
        if (V.VType == vtExtended) LValue = V.VExtended;
        else if (V.VType == vtCurrency) LValue = static_cast<long double>(V.VCurrency) / 10000;
        else RaiseFormatError(AFormat);
        LText = FormatThousands(LValue, LPrecision >= 0 ? LPrecision : 2);
        break;
      }
      default:
        RaiseFormatError(AFormat);
    }
    if (LWidth > static_cast<int>(LText.size())) {
      if (LLeft) LText.append(LWidth - LText.size(), L' ');
      else LText.insert(0, LWidth - LText.size(), L' ');
    }
    LResult += LText;
  }
  return LResult;
}

// ---- Text ---------------------------------------------------------------------------------------

int32_t StrToIntDef(const UnicodeString& S, int32_t ADefault) {
  size_t I = 0;
  while (I < S.size() && S[I] == L' ') ++I;
  bool LNegative = false;
  if (I < S.size() && (S[I] == L'+' || S[I] == L'-')) LNegative = S[I++] == L'-';
  uint32_t LBase = 10;
  if (I < S.size() && S[I] == L'$') {
    LBase = 16;
    ++I;
  } else if (I + 1 < S.size() && S[I] == L'0' && (S[I + 1] == L'x' || S[I + 1] == L'X')) {
    LBase = 16;
    I += 2;
  }
  if (I == S.size()) return ADefault;
  // Decimal text may reach 2^31 only with a minus sign; hexadecimal text fills all 32 bits.
  const uint64_t LLimit = LBase == 16 ? 0xFFFFFFFFull : LNegative ? 0x80000000ull : 0x7FFFFFFFull;
  uint64_t LValue = 0;
  for (; I < S.size(); ++I) {
    const wchar_t C = S[I];
    uint32_t LDigit;
    if (C >= L'0' && C <= L'9') LDigit = C - L'0';
    else if (LBase == 16 && C >= L'a' && C <= L'f') LDigit = C - L'a' + 10;
    else if (LBase == 16 && C >= L'A' && C <= L'F') LDigit = C - L'A' + 10;
    else return ADefault;
    LValue = LValue * LBase + LDigit;
    if (LValue > LLimit) return ADefault;
  }
  const auto LBits = static_cast<uint32_t>(LValue);
  return static_cast<int32_t>(LNegative ? 0u - LBits : LBits);
}

UnicodeString Trim(const UnicodeString& S) {
  size_t LFirst = 0, LLast = S.size();
  while (LFirst < LLast && S[LFirst] <= L' ') ++LFirst;
  while (LLast > LFirst && S[LLast - 1] <= L' ') --LLast;
  return S.substr(LFirst, LLast - LFirst);
}

bool SameText(const UnicodeString& S1, const UnicodeString& S2) {
  return S1.size() == S2.size() &&
         CompareStringOrdinal(S1.c_str(), static_cast<int>(S1.size()), S2.c_str(),
                              static_cast<int>(S2.size()), TRUE) == CSTR_EQUAL;
}

UnicodeString AnsiUpperCase(const UnicodeString& S) {
  UnicodeString LResult = S;
  if (!LResult.empty()) CharUpperBuffW(LResult.data(), static_cast<DWORD>(LResult.size()));
  return LResult;
}

UnicodeString StringReplace(const UnicodeString& S, const UnicodeString& AOldPattern, const UnicodeString& ANewPattern,
                            TReplaceFlags AFlags) {
  if (AOldPattern.empty()) return S;
  // Upper case keeps every character where it stands, so positions found in the upper-case copy
  // hold in S.
  const bool LIgnoreCase = AFlags & rfIgnoreCase;
  const UnicodeString LText = LIgnoreCase ? AnsiUpperCase(S) : S;
  const UnicodeString LPattern = LIgnoreCase ? AnsiUpperCase(AOldPattern) : AOldPattern;
  UnicodeString LResult;
  size_t LFrom = 0;
  for (size_t LAt = LText.find(LPattern); LAt != UnicodeString::npos; LAt = LText.find(LPattern, LFrom)) {
    LResult.append(S, LFrom, LAt - LFrom).append(ANewPattern);
    LFrom = LAt + LPattern.size();
    if (!(AFlags & rfReplaceAll)) break;
  }
  return LResult.append(S, LFrom, UnicodeString::npos);
}

UnicodeString AnsiQuotedStr(const UnicodeString& S, wchar_t AQuote) {
  UnicodeString LResult(1, AQuote);
  for (const wchar_t C : S) {
    if (C == AQuote) LResult += AQuote;
    LResult += C;
  }
  return LResult += AQuote;
}

UnicodeString IntToStr(int64_t AValue) {
  return AValue < 0 ? L"-" + UIntToStr(0 - static_cast<uint64_t>(AValue)) : UIntToStr(AValue);
}

UnicodeString IntToHex(uint64_t AValue, int ADigits) {
  static const wchar_t LHex[] = L"0123456789ABCDEF";
  wchar_t LBuffer[16];
  int N = 0;
  do {
    LBuffer[15 - N++] = LHex[AValue & 15];
    AValue >>= 4;
  } while (AValue);
  UnicodeString LResult;
  if (ADigits > N) LResult.assign(ADigits - N, L'0');
  LResult.append(LBuffer + 16 - N, N);
  return LResult;
}

UnicodeString FloatToStr(long double AValue) {
  if (std::isnan(AValue)) return L"NAN";
  if (std::isinf(AValue)) return AValue < 0 ? L"-INF" : L"INF";
  // General format with 15 significant digits: plain while the exponent lies in -4..14, otherwise
  // scientific as "1.5E-6", "1E20".
  char LBuffer[64];
  std::snprintf(LBuffer, sizeof(LBuffer), "%.14Le", AValue);
  char* LExpPos = std::strchr(LBuffer, 'e');
  const int LExp = std::atoi(LExpPos + 1);
  *LExpPos = 0;
  std::string LMantissa = LBuffer;  // "-d.dddddddddddddd"
  const bool LNegative = LMantissa[0] == '-';
  if (LNegative) LMantissa.erase(0, 1);
  std::string LDigits = LMantissa.substr(0, 1) + LMantissa.substr(2);
  while (LDigits.size() > 1 && LDigits.back() == '0') LDigits.pop_back();
  UnicodeString LResult = LNegative ? L"-" : L"";
  auto Append = [&LResult](const std::string& S) { for (char C : S) LResult += static_cast<wchar_t>(C); };
  if (LExp >= 15 || LExp < -4) {
    Append(LDigits.substr(0, 1));
    if (LDigits.size() > 1) {
      LResult += Separators().Decimal;
      Append(LDigits.substr(1));
    }
    LResult += L'E';
    Append(std::to_string(LExp));
  } else if (LExp < 0) {
    LResult += L'0';
    LResult += Separators().Decimal;
    LResult.append(-LExp - 1, L'0');
    Append(LDigits);
  } else {
    if (LDigits.size() <= static_cast<size_t>(LExp) + 1) LDigits.append(LExp + 1 - LDigits.size(), '0');
    Append(LDigits.substr(0, LExp + 1));
    if (LDigits.size() > static_cast<size_t>(LExp) + 1) {
      LResult += Separators().Decimal;
      Append(LDigits.substr(LExp + 1));
    }
  }
  return LResult;
}

UnicodeString CurrToStr(int64_t AScaledBy10000) {
  const bool LNegative = AScaledBy10000 < 0;
  const uint64_t LAbs = LNegative ? 0 - static_cast<uint64_t>(AScaledBy10000) : AScaledBy10000;
  UnicodeString LResult = (LNegative ? L"-" : L"") + UIntToStr(LAbs / 10000);
  UnicodeString LFraction = UIntToStr(LAbs % 10000 + 10000).substr(1);
  while (!LFraction.empty() && LFraction.back() == L'0') LFraction.pop_back();
  if (!LFraction.empty()) LResult += Separators().Decimal + LFraction;
  return LResult;
}

UnicodeString VarToUStr(const VARIANT* AValue) {
  if (!AValue) return {};
  const VARIANT* V = AValue;
  while (V->vt == (VT_VARIANT | VT_BYREF) && V->pvarVal) V = V->pvarVal;
  switch (V->vt) {
    case VT_EMPTY:
    case VT_NULL: return {};
    case VT_I1: return IntToStr(V->cVal);
    case VT_I2: return IntToStr(V->iVal);
    case VT_I4:
    case VT_INT: return IntToStr(V->lVal);
    case VT_I8: return IntToStr(V->llVal);
    case VT_UI1: return IntToStr(V->bVal);
    case VT_UI2: return IntToStr(V->uiVal);
    case VT_UI4:
    case VT_UINT: return IntToStr(V->ulVal);
    case VT_UI8: return UIntToStr(V->ullVal);
    case VT_R4: return FloatToStr(V->fltVal);
    case VT_R8: return FloatToStr(V->dblVal);
    case VT_CY: return CurrToStr(V->cyVal.int64);
    case VT_BOOL: return V->boolVal ? L"True" : L"False";
    case VT_BSTR: return UnicodeString(V->bstrVal ? V->bstrVal : L"", BStrLength(V->bstrVal));
    default: return {};
  }
}

std::string UTF8Encode(const UnicodeString& S) {
  if (S.empty()) return {};
  const int N = WideCharToMultiByte(CP_UTF8, 0, S.data(), static_cast<int>(S.size()), nullptr, 0, nullptr, nullptr);
  std::string LResult(N, '\0');
  WideCharToMultiByte(CP_UTF8, 0, S.data(), static_cast<int>(S.size()), LResult.data(), N, nullptr, nullptr);
  return LResult;
}

namespace {
UnicodeString MultiByteToString(UINT ACodePage, const char* S, size_t ALength) {
  if (!S || ALength == 0) return {};
  const int N = MultiByteToWideChar(ACodePage, 0, S, static_cast<int>(ALength), nullptr, 0);
  UnicodeString LResult(N, L'\0');
  MultiByteToWideChar(ACodePage, 0, S, static_cast<int>(ALength), LResult.data(), N);
  return LResult;
}
}  // namespace

UnicodeString UTF8ToString(const std::string& S) { return MultiByteToString(CP_UTF8, S.data(), S.size()); }

UnicodeString AnsiToString(const char* S, size_t ALength) { return MultiByteToString(CP_ACP, S, ALength); }

// ---- Paths and files ------------------------------------------------------------------------

namespace {
bool IsDelimiter(wchar_t C) { return C == L'\\' || C == L'/' || C == L':'; }

size_t NameStart(const UnicodeString& AFileName) {
  size_t I = AFileName.size();
  while (I > 0 && !IsDelimiter(AFileName[I - 1])) --I;
  return I;
}
}  // namespace

UnicodeString ExtractFileName(const UnicodeString& AFileName) { return AFileName.substr(NameStart(AFileName)); }

UnicodeString ExtractFilePath(const UnicodeString& AFileName) { return AFileName.substr(0, NameStart(AFileName)); }

UnicodeString ChangeFileExt(const UnicodeString& AFileName, const UnicodeString& AExtension) {
  const size_t LStart = NameStart(AFileName);
  const size_t LDot = AFileName.rfind(L'.');
  if (LDot == UnicodeString::npos || LDot < LStart) return AFileName + AExtension;
  return AFileName.substr(0, LDot) + AExtension;
}

UnicodeString IncludeTrailingPathDelimiter(const UnicodeString& S) {
  if (!S.empty() && S.back() == L'\\') return S;
  return S + L'\\';
}

UnicodeString ExcludeTrailingPathDelimiter(const UnicodeString& S) {
  return !S.empty() && S.back() == L'\\' ? S.substr(0, S.size() - 1) : S;
}

bool FileExists(const UnicodeString& AFileName) {
  const DWORD LAttributes = GetFileAttributesW(AFileName.c_str());
  return LAttributes != INVALID_FILE_ATTRIBUTES && !(LAttributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool DirectoryExists(const UnicodeString& ADirectory) {
  const DWORD LAttributes = GetFileAttributesW(ADirectory.c_str());
  return LAttributes != INVALID_FILE_ATTRIBUTES && (LAttributes & FILE_ATTRIBUTE_DIRECTORY);
}

bool DeleteFile(const UnicodeString& AFileName) { return ::DeleteFileW(AFileName.c_str()) != FALSE; }

bool ForceDirectories(const UnicodeString& ADir) {
  UnicodeString LDir = ADir;
  while (LDir.size() > 3 && (LDir.back() == L'\\' || LDir.back() == L'/')) LDir.pop_back();
  if (LDir.empty()) return false;
  if (DirectoryExists(LDir)) return true;
  const UnicodeString LParent = ExtractFilePath(LDir);
  if (LParent.empty() || LParent.size() >= LDir.size()) return false;
  if (!ForceDirectories(LParent)) return false;
  // A file of the same name also answers "already exists": only a folder counts.
  return CreateDirectoryW(LDir.c_str(), nullptr) || DirectoryExists(LDir);
}

// ---- Time ---------------------------------------------------------------------------------------

namespace {
constexpr int64_t MSecsPerDay = 86400000;
constexpr int64_t UnixDateDelta = 25569;  // days from 1899-12-30 to 1970-01-01

// Days since 1970-01-01 of a date of the proleptic Gregorian calendar, and back.
int64_t DaysFromCivil(int64_t Y, unsigned M, unsigned D) {
  Y -= M <= 2;
  const int64_t LEra = (Y >= 0 ? Y : Y - 399) / 400;
  const unsigned LYoe = static_cast<unsigned>(Y - LEra * 400);
  const unsigned LDoy = (153 * (M + (M > 2 ? -3 : 9)) + 2) / 5 + D - 1;
  const unsigned LDoe = LYoe * 365 + LYoe / 4 - LYoe / 100 + LDoy;
  return LEra * 146097 + static_cast<int64_t>(LDoe) - 719468;
}

void CivilFromDays(int64_t Z, int64_t& Y, unsigned& M, unsigned& D) {
  Z += 719468;
  const int64_t LEra = (Z >= 0 ? Z : Z - 146096) / 146097;
  const unsigned LDoe = static_cast<unsigned>(Z - LEra * 146097);
  const unsigned LYoe = (LDoe - LDoe / 1460 + LDoe / 36524 - LDoe / 146096) / 365;
  const unsigned LDoy = LDoe - (365 * LYoe + LYoe / 4 - LYoe / 100);
  const unsigned LMp = (5 * LDoy + 2) / 153;
  D = LDoy - (153 * LMp + 2) / 5 + 1;
  M = LMp < 10 ? LMp + 3 : LMp - 9;
  Y = static_cast<int64_t>(LYoe) + LEra * 400 + (M <= 2);
}
}  // namespace

TDateTime EncodeDateTime(uint16_t AYear, uint16_t AMonth, uint16_t ADay, uint16_t AHour, uint16_t AMinute,
                         uint16_t ASecond, uint16_t AMilliSecond) {
  const int64_t LDays = DaysFromCivil(AYear, AMonth, ADay) + UnixDateDelta;
  const int64_t LMs = ((AHour * 60 + AMinute) * 60 + ASecond) * 1000 + AMilliSecond;
  // Before 1899-12-30 the day counts backward while the time of day still counts forward.
  const double LTime = static_cast<double>(LMs) / MSecsPerDay;
  return LDays < 0 ? static_cast<double>(LDays) - LTime : static_cast<double>(LDays) + LTime;
}

void DecodeDateTime(TDateTime AValue, uint16_t& AYear, uint16_t& AMonth, uint16_t& ADay, uint16_t& AHour,
                    uint16_t& AMinute, uint16_t& ASecond, uint16_t& AMilliSecond) {
  // Before 1899-12-30 the fraction still counts forward from midnight, as the runtime has it.
  double LDays = std::trunc(AValue);
  int64_t LMs = std::llround(std::fabs(AValue - LDays) * MSecsPerDay);
  if (LMs >= MSecsPerDay) {
    LMs -= MSecsPerDay;
    LDays += AValue < 0 ? -1 : 1;
  }
  int64_t Y;
  unsigned M, D;
  CivilFromDays(static_cast<int64_t>(LDays) - UnixDateDelta, Y, M, D);
  AYear = static_cast<uint16_t>(Y);
  AMonth = static_cast<uint16_t>(M);
  ADay = static_cast<uint16_t>(D);
  AHour = static_cast<uint16_t>(LMs / 3600000);
  AMinute = static_cast<uint16_t>(LMs / 60000 % 60);
  ASecond = static_cast<uint16_t>(LMs / 1000 % 60);
  AMilliSecond = static_cast<uint16_t>(LMs % 1000);
}

TDateTime Now() {
  SYSTEMTIME T;
  GetLocalTime(&T);
  return EncodeDateTime(T.wYear, T.wMonth, T.wDay, T.wHour, T.wMinute, T.wSecond, T.wMilliseconds);
}

UnicodeString DateTimeToString(const UnicodeString& AFormat, TDateTime ADateTime) {
  uint16_t Y, Mo, D, H, Mi, S, Ms;
  DecodeDateTime(ADateTime, Y, Mo, D, H, Mi, S, Ms);
  UnicodeString LResult;
  LResult.reserve(AFormat.size() + 8);
  auto Put = [&LResult](unsigned AValue, size_t ADigits) {
    wchar_t LBuffer[8];
    size_t N = 0;
    do {
      LBuffer[N++] = static_cast<wchar_t>(L'0' + AValue % 10);
      AValue /= 10;
    } while (AValue && N < 8);
    while (N < ADigits) LBuffer[N++] = L'0';
    while (N) LResult += LBuffer[--N];
  };
  const wchar_t* P = AFormat.c_str();
  const wchar_t* const LEnd = P + AFormat.size();
  bool LAfterHour = false;
  while (P < LEnd) {
    const wchar_t C = static_cast<wchar_t>(std::towlower(*P));
    size_t N = 1;
    while (P + N < LEnd && std::towlower(P[N]) == C) ++N;
    switch (C) {
      case L'd': Put(D, N >= 2 ? 2 : 1); break;
      case L'm':
        if (LAfterHour) Put(Mi, N >= 2 ? 2 : 1);
        else Put(Mo, N >= 2 ? 2 : 1);
        break;
      case L'y': if (N >= 3) Put(Y, 4); else Put(Y % 100, 2); break;
      case L'h': Put(H, N >= 2 ? 2 : 1); break;
      case L'n': Put(Mi, N >= 2 ? 2 : 1); break;
      case L's': Put(S, N >= 2 ? 2 : 1); break;
      case L'z': Put(Ms, N >= 3 ? 3 : 1); break;
      case L'"':
      case L'\'': {
        const wchar_t* LClose = std::wmemchr(P + 1, *P, LEnd - P - 1);
        const wchar_t* LStop = LClose ? LClose : LEnd;
        LResult.append(P + 1, LStop);
        P = LClose ? LClose + 1 : LEnd;
        continue;
      }
      default: LResult.append(P, N); break;
    }
    if (C == L'h') LAfterHour = true;
    else if (C == L'm' || C == L'n' || C == L'd' || C == L'y' || C == L's' || C == L'z') LAfterHour = false;
    P += N;
  }
  return LResult;
}

// ---- Process ------------------------------------------------------------------------------------

namespace {
// Splits the command line as the runtime does: blanks part the parameters, double quotes group
// blanks into one and are removed.
std::vector<UnicodeString> CommandLineParams() {
  std::vector<UnicodeString> LParams;
  const wchar_t* P = GetCommandLineW();
  while (true) {
    while (*P && *P <= L' ') ++P;
    if (!*P) break;
    UnicodeString LParam;
    bool LQuoted = false;
    while (*P && (LQuoted || *P > L' ')) {
      if (*P == L'"') LQuoted = !LQuoted;
      else LParam += *P;
      ++P;
    }
    LParams.push_back(std::move(LParam));
  }
  return LParams;
}
}  // namespace

int ParamCount() {
  const size_t N = CommandLineParams().size();
  return N > 0 ? static_cast<int>(N) - 1 : 0;
}

UnicodeString ParamStr(int AIndex) {
  if (AIndex == 0) return GetModuleName(nullptr);
  const std::vector<UnicodeString> LParams = CommandLineParams();
  return AIndex > 0 && static_cast<size_t>(AIndex) < LParams.size() ? LParams[AIndex] : UnicodeString();
}

bool FindCmdLineSwitch(const UnicodeString& ASwitch, bool AIgnoreCase) {
  const std::vector<UnicodeString> LParams = CommandLineParams();
  for (size_t I = 1; I < LParams.size(); ++I) {
    const UnicodeString& S = LParams[I];
    if (S.size() < 2 || (S[0] != L'-' && S[0] != L'/')) continue;
    const UnicodeString LName = S.substr(1);
    if (AIgnoreCase ? SameText(LName, ASwitch) : LName == ASwitch) return true;
  }
  return false;
}

UnicodeString GetModuleName(HMODULE AModule) {
  UnicodeString LBuffer(MAX_PATH, L'\0');
  while (true) {
    const DWORD N = GetModuleFileNameW(AModule, LBuffer.data(), static_cast<DWORD>(LBuffer.size()));
    if (N == 0) return {};
    if (N < LBuffer.size()) {
      LBuffer.resize(N);
      return LBuffer;
    }
    LBuffer.resize(LBuffer.size() * 2);
  }
}

UnicodeString SysErrorMessage(uint32_t AErrorCode) {
  wchar_t* LText = nullptr;
  const DWORD N = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                     FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_ARGUMENT_ARRAY,
                                 nullptr, AErrorCode, 0, reinterpret_cast<wchar_t*>(&LText), 0, nullptr);
  TLocalMemOwner LOwner(LText);
  if (N == 0 || !LText) return {};
  size_t LLength = N;
  while (LLength > 0 && (LText[LLength - 1] <= L' ' || LText[LLength - 1] == L'.')) --LLength;
  return UnicodeString(LText, LLength);
}

}  // namespace Ostravane::Rtl
