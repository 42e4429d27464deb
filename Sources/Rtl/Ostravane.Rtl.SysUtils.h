// The runtime's utilities the library calls: exceptions, Format with its mixed value list, text,
// path, file, time and process helpers.
//
// Failure contract: the text and path helpers never raise; Format raises EConvertError for a format
// that doesn't fit its values; the file helpers answer false for what isn't there.
#pragma once
#include <exception>
#include <initializer_list>
#include <string>
#include <vector>

#include "Ostravane.Rtl.System.h"

#include <oaidl.h>

namespace Ostravane::Rtl {

// ---- Exceptions -------------------------------------------------------------------------------

class OVRTL_API Exception : public std::exception, public TObject {
  OV_OBJECT_CLASS
 public:
  explicit Exception(UnicodeString AMessage);
  // The message as UTF-8.
  const char* what() const noexcept override;

  UnicodeString Message;

 private:
  std::string FWhat;
};

#define OV_DECLARE_EXCEPTION(AName, ABase) \
  class OVRTL_API AName : public ABase {   \
    OV_OBJECT_CLASS                         \
   public:                                  \
    using ABase::ABase;                     \
  };

// A failure of the operating system; ErrorCode holds the system's code.
class OVRTL_API EOSError : public Exception {
  OV_OBJECT_CLASS
 public:
  EOSError(UnicodeString AMessage, uint32_t AErrorCode);
  uint32_t ErrorCode;
};

OV_DECLARE_EXCEPTION(EConvertError, Exception)
OV_DECLARE_EXCEPTION(EInvalidCast, Exception)
OV_DECLARE_EXCEPTION(EThread, Exception)
// The silent exception: it ends an operation without being shown.
OV_DECLARE_EXCEPTION(EAbort, Exception)

// A failed result of the component model; ErrorCode holds the HRESULT.
OV_DECLARE_EXCEPTION(EOleError, Exception)
class OVRTL_API EOleSysError : public EOleError {
  OV_OBJECT_CLASS
 public:
  EOleSysError(UnicodeString AMessage, HRESULT AErrorCode);
  HRESULT ErrorCode;
};

// Raises EOleSysError for a failed HRESULT, with the system's text for it.
OVRTL_API void OleCheck(HRESULT AResult);

// A failed assertion: the runtime's message "<text> (<unit>, line <n>)", with its three parts kept.
// Raised like any other exception, so that a host survives it.
class OVRTL_API EAssertionFailed : public Exception {
  OV_OBJECT_CLASS
 public:
  EAssertionFailed(UnicodeString AText, UnicodeString AUnitName, int32_t ALineNumber);
  UnicodeString Text;
  UnicodeString UnitName;
  int32_t LineNumber;
};

// Raises the silent EAbort.
[[noreturn]] OVRTL_API void Abort();

// Shows an exception that nobody caught: never a message box. The text goes to a debugger and to
// the hook the host set, if any.
using TShowExceptionHook = void (*)(const std::exception& AException, const void* AAddress);
OVRTL_API void ShowException(const std::exception& AException, const void* AAddress);
OVRTL_API TShowExceptionHook SetShowExceptionHook(TShowExceptionHook AHook) noexcept;

// ---- Mixed value lists ------------------------------------------------------------------------

// Tags of a TVarRec, with the ordinals of the runtime's own list.
enum TVarType : uint8_t {
  vtInteger = 0,
  vtBoolean = 1,
  vtChar = 2,
  vtExtended = 3,
  vtString = 4,  // short string: length byte, then the 8-bit characters
  vtPointer = 5,
  vtPChar = 6,
  vtObject = 7,
  vtClass = 8,
  vtWideChar = 9,
  vtPWideChar = 10,
  vtAnsiString = 11,
  vtCurrency = 12,  // 64-bit fixed point, four decimals
  vtVariant = 13,   // a VARIANT
  vtInterface = 14,
  vtWideString = 15,  // a BSTR
  vtInt64 = 16,
  vtUnicodeString = 17,
};

// One element of a mixed value list. Strings are held by address: a list lives no longer than the
// expression that builds it. Unsigned 32-bit and all 64-bit integers travel as vtInt64.
struct OVRTL_API TVarRec {
  uint8_t VType;
  union {
    int32_t VInteger;
    bool VBoolean;
    char VChar;
    long double VExtended;
    const unsigned char* VString;
    const void* VPointer;
    const char* VPChar;
    const TObject* VObject;
    TClass VClass;
    wchar_t VWideChar;
    const wchar_t* VPWideChar;
    const AnsiString* VAnsiString;
    int64_t VCurrency;
    const void* VVariant;
    const void* VInterface;
    const wchar_t* VWideString;
    int64_t VInt64;
    const UnicodeString* VUnicodeString;
  };

  template <typename T,
            std::enable_if_t<std::is_integral_v<T> && !std::is_same_v<T, bool> &&
                                 !std::is_same_v<T, char> && !std::is_same_v<T, wchar_t>,
                             int> = 0>
  TVarRec(T AValue) noexcept {
    if constexpr ((std::is_signed_v<T> && sizeof(T) <= 4) || sizeof(T) < 4) {
      VType = vtInteger;
      VInteger = static_cast<int32_t>(AValue);
    } else {
      VType = vtInt64;
      VInt64 = static_cast<int64_t>(AValue);
    }
  }
  TVarRec(bool AValue) noexcept : VType(vtBoolean), VBoolean(AValue) {}
  TVarRec(char AValue) noexcept : VType(vtChar), VChar(AValue) {}
  TVarRec(wchar_t AValue) noexcept : VType(vtWideChar), VWideChar(AValue) {}
  TVarRec(double AValue) noexcept : VType(vtExtended), VExtended(AValue) {}
  TVarRec(long double AValue) noexcept : VType(vtExtended), VExtended(AValue) {}
  TVarRec(const void* AValue) noexcept : VType(vtPointer), VPointer(AValue) {}
  TVarRec(std::nullptr_t) noexcept : VType(vtPointer), VPointer(nullptr) {}
  TVarRec(const char* AValue) noexcept : VType(vtPChar), VPChar(AValue) {}
  TVarRec(const wchar_t* AValue) noexcept : VType(vtPWideChar), VPWideChar(AValue) {}
  TVarRec(const TObject* AValue) noexcept : VType(vtObject), VObject(AValue) {}
  TVarRec(TClass AValue) noexcept : VType(vtClass), VClass(AValue) {}
  TVarRec(const AnsiString& AValue) noexcept : VType(vtAnsiString), VAnsiString(&AValue) {}
  TVarRec(const UnicodeString& AValue) noexcept : VType(vtUnicodeString), VUnicodeString(&AValue) {}

  // The kinds that have no C++ type of their own.
  static TVarRec ShortString(const unsigned char* AValue) noexcept;
  static TVarRec Currency(int64_t AScaledBy10000) noexcept;
  static TVarRec Variant(const VARIANT* AValue) noexcept;
  static TVarRec Interface(const IUnknown* AValue) noexcept;
  static TVarRec WideString(BSTR AValue) noexcept;

 private:
  TVarRec() noexcept : VType(vtPointer), VPointer(nullptr) {}
};

using TVarRecList = std::initializer_list<TVarRec>;

// Conversions s, d, u, x and n with index, left alignment, width and precision ("%0:-8.3s"); '*' takes
// width or precision from the list. Raises EConvertError for a conversion its value doesn't fit.
OVRTL_API UnicodeString Format(const UnicodeString& AFormat, TVarRecList AArgs);
OVRTL_API UnicodeString Format(const UnicodeString& AFormat, const TVarRec* AArgs, size_t ACount);

// ---- Text ---------------------------------------------------------------------------------------

OVRTL_API UnicodeString Trim(const UnicodeString& S);
OVRTL_API bool SameText(const UnicodeString& S1, const UnicodeString& S2);
// Upper case by the system's rules (the same length as S).
OVRTL_API UnicodeString AnsiUpperCase(const UnicodeString& S);
enum TReplaceFlag : uint8_t { rfReplaceAll = 1, rfIgnoreCase = 2 };
using TReplaceFlags = uint8_t;
// The first occurrence of AOldPattern, or every one with rfReplaceAll, replaced by ANewPattern;
// rfIgnoreCase compares by AnsiUpperCase. An empty pattern replaces nothing.
OVRTL_API UnicodeString StringReplace(const UnicodeString& S, const UnicodeString& AOldPattern,
                                      const UnicodeString& ANewPattern, TReplaceFlags AFlags);
// S between two AQuote characters, each AQuote inside doubled.
OVRTL_API UnicodeString AnsiQuotedStr(const UnicodeString& S, wchar_t AQuote);
OVRTL_API UnicodeString IntToStr(int64_t AValue);
// The runtime's integer conversion: leading blanks, an optional sign, decimal digits or hexadecimal
// ones after "$" or "0x", and nothing after them; a text that doesn't convert, or a value outside
// Integer (hexadecimal up to $FFFFFFFF, taken as its 32 bits), gives ADefault.
OVRTL_API int32_t StrToIntDef(const UnicodeString& S, int32_t ADefault);
OVRTL_API UnicodeString IntToHex(uint64_t AValue, int ADigits);
OVRTL_API UnicodeString FloatToStr(long double AValue);
OVRTL_API UnicodeString CurrToStr(int64_t AScaledBy10000);
OVRTL_API UnicodeString VarToUStr(const VARIANT* AValue);
// Conversions between UTF-16 and 8-bit text: UTF-8, and the system's ANSI code page.
OVRTL_API std::string UTF8Encode(const UnicodeString& S);
OVRTL_API UnicodeString UTF8ToString(const std::string& S);
OVRTL_API UnicodeString AnsiToString(const char* S, size_t ALength);

// ---- Paths and files ------------------------------------------------------------------------

OVRTL_API UnicodeString ExtractFileName(const UnicodeString& AFileName);
OVRTL_API UnicodeString ExtractFilePath(const UnicodeString& AFileName);
OVRTL_API UnicodeString ChangeFileExt(const UnicodeString& AFileName, const UnicodeString& AExtension);
OVRTL_API UnicodeString IncludeTrailingPathDelimiter(const UnicodeString& S);
OVRTL_API UnicodeString ExcludeTrailingPathDelimiter(const UnicodeString& S);
OVRTL_API bool FileExists(const UnicodeString& AFileName);
OVRTL_API bool DirectoryExists(const UnicodeString& ADirectory);
OVRTL_API bool DeleteFile(const UnicodeString& AFileName);
// Creates a folder and every missing parent; true when the folder exists afterwards.
OVRTL_API bool ForceDirectories(const UnicodeString& ADir);

// ---- Time ---------------------------------------------------------------------------------------

OVRTL_API TDateTime EncodeDateTime(uint16_t AYear, uint16_t AMonth, uint16_t ADay, uint16_t AHour,
                                   uint16_t AMinute, uint16_t ASecond, uint16_t AMilliSecond);
OVRTL_API void DecodeDateTime(TDateTime AValue, uint16_t& AYear, uint16_t& AMonth, uint16_t& ADay,
                              uint16_t& AHour, uint16_t& AMinute, uint16_t& ASecond,
                              uint16_t& AMilliSecond);
// The local time, to the millisecond.
OVRTL_API TDateTime Now();
// Day d/dd, month m/mm, year yy/yyyy, hour h/hh, minute n/nn (m/mm right after an hour), second s/ss,
// millisecond z/zzz; text in quotes and every other character stand as they are.
OVRTL_API UnicodeString DateTimeToString(const UnicodeString& AFormat, TDateTime ADateTime);

// ---- Process ------------------------------------------------------------------------------------

OVRTL_API int ParamCount();
// Parameter AIndex of the process's command line (0 is the program as the command line names it).
OVRTL_API UnicodeString ParamStr(int AIndex);
// True when a parameter is ASwitch behind '-' or '/'.
OVRTL_API bool FindCmdLineSwitch(const UnicodeString& ASwitch, bool AIgnoreCase = true);
OVRTL_API UnicodeString GetModuleName(HMODULE AModule);
// The system's text for an error code, without the trailing blanks and full stop; empty when the
// system has none.
OVRTL_API UnicodeString SysErrorMessage(uint32_t AErrorCode);
// The runtime's text of a system error: the code, then SysErrorMessage of it.
inline constexpr wchar_t SOSError[] = L"System Error. Code: %0:d. %1:s";

}  // namespace Ostravane::Rtl
