// The late binding of the module classes: one line a wrapper, the function's type taken from the
// system's declaration, the failure road chosen by the wrapper's kind. Nothing is cached: every call
// resolves its function again through DllRoutines (the module stays loaded after its first use).
//
// A wrapper is a static constexpr function pointer of its module class, made by OV_LATE_BOUND:
//   OV_LATE_BOUND(Plain, GetProductInfo, "GetProductInfo", ::GetProductInfo)
// Its parameters are the system's; a constant wide string (LPCWSTR) also takes a UnicodeString.
//
// Kinds (failure contracts):
//   Plain          the system's result unchanged; EOSError (load error, or 1) when the function is missing
//   Boolean        the same, a non-zero result as true
//   RaiseOnFailure a zero or null result raises EOSError with GetLastError
//   NtStatus       a status other than 0 is turned into a system error code, set as the last error and raised
// Kinds with a value instead of an exception, and the quiet ones, are written out by their modules.
#pragma once
#include <string_view>
#include <type_traits>

#include "Ostravane.DllRoutines.h"
#include "Ostravane.System.SysUtils.h"

namespace Ostravane {

// A module file name and an export name as template arguments.
template <size_t N>
struct TModuleName {
  wchar_t Value[N]{};
  constexpr TModuleName(const wchar_t (&AName)[N]) {
    for (size_t I = 0; I < N; ++I) Value[I] = AName[I];
  }
  constexpr std::wstring_view View() const { return {Value, N - 1}; }
};

template <size_t N>
struct TExportName {
  char Value[N]{};
  constexpr TExportName(const char (&AName)[N]) {
    for (size_t I = 0; I < N; ++I) Value[I] = AName[I];
  }
};

// An input string of a wrapper: a UnicodeString or a plain pointer (the string outlives the call).
class TWideArg {
 public:
  TWideArg(const wchar_t* AValue) noexcept : FValue(AValue) {}
  TWideArg(const Rtl::UnicodeString& AValue) noexcept : FValue(AValue.c_str()) {}
  TWideArg(std::nullptr_t) noexcept : FValue(nullptr) {}
  operator const wchar_t*() const noexcept { return FValue; }

 private:
  const wchar_t* FValue;
};

// The same, where an empty string goes to the system as nil.
class TWideArgOrNil {
 public:
  TWideArgOrNil(const wchar_t* AValue) noexcept : FValue(AValue && *AValue ? AValue : nullptr) {}
  TWideArgOrNil(const Rtl::UnicodeString& AValue) noexcept : FValue(AValue.empty() ? nullptr : AValue.c_str()) {}
  TWideArgOrNil(std::nullptr_t) noexcept : FValue(nullptr) {}
  operator const wchar_t*() const noexcept { return FValue; }

 private:
  const wchar_t* FValue;
};

template <typename A, bool AEmptyIsNil>
struct TWrapperArg {
  using Type = A;
};
template <bool AEmptyIsNil>
struct TWrapperArg<const wchar_t*, AEmptyIsNil> {
  using Type = std::conditional_t<AEmptyIsNil, TWideArgOrNil, TWideArg>;
};

// Cuts a string that a system function filled at its first NUL.
inline void CutAtNul(Rtl::UnicodeString& S) noexcept {
  if (const size_t LAt = S.find(L'\0'); LAt != Rtl::UnicodeString::npos) S.resize(LAt);
}

// Raises EOSError for an NT status other than 0, with the system error code it stands for.
OVRTL_API void CheckNtStatus(LONG AStatus);

template <TModuleName AModule, TExportName AExport, typename TProc, bool AEmptyIsNil = false>
struct TLateBound;

template <TModuleName AModule, TExportName AExport, typename R, typename... A, bool AEmptyIsNil>
struct TLateBound<AModule, AExport, R(WINAPI*)(A...), AEmptyIsNil> {
  using TProc = R(WINAPI*)(A...);

  static TProc Resolve() { return DllRoutines::CallAs<TProc>(AModule.View(), AExport.Value); }

  static R Plain(typename TWrapperArg<A, AEmptyIsNil>::Type... AArgs) { return Resolve()(AArgs...); }

  static bool Boolean(typename TWrapperArg<A, AEmptyIsNil>::Type... AArgs) { return Resolve()(AArgs...) != 0; }

  static R RaiseOnFailure(typename TWrapperArg<A, AEmptyIsNil>::Type... AArgs) {
    const R LResult = Resolve()(AArgs...);
    if (!LResult) SysUtils::RaiseLastOSError();
    return LResult;
  }

  static R NtStatus(typename TWrapperArg<A, AEmptyIsNil>::Type... AArgs) {
    const R LResult = Resolve()(AArgs...);
    CheckNtStatus(static_cast<LONG>(LResult));
    return LResult;
  }
};

// A function exported by ordinal only.
template <TModuleName AModule, uint16_t AIndex, typename TProc, bool AEmptyIsNil = false>
struct TLateBoundOrdinal;

template <TModuleName AModule, uint16_t AIndex, typename R, typename... A, bool AEmptyIsNil>
struct TLateBoundOrdinal<AModule, AIndex, R(WINAPI*)(A...), AEmptyIsNil> {
  using TProc = R(WINAPI*)(A...);
  static TProc Resolve() { return DllRoutines::CallAs<TProc>(Rtl::UnicodeString(AModule.View()), AIndex); }
  static R Plain(typename TWrapperArg<A, AEmptyIsNil>::Type... AArgs) { return Resolve()(AArgs...); }
  static bool Boolean(typename TWrapperArg<A, AEmptyIsNil>::Type... AArgs) { return Resolve()(AArgs...) != 0; }
};

}  // namespace Ostravane

// One wrapper of a module class whose module name is the class's C_MODULE.
#define OV_LATE_BOUND(AKind, AName, AExport, ADeclaration) \
  static constexpr auto AName = &::Ostravane::TLateBound<C_MODULE, AExport, decltype(&ADeclaration)>::AKind;
// The same, an empty string going to the system as nil.
#define OV_LATE_BOUND_NIL(AKind, AName, AExport, ADeclaration) \
  static constexpr auto AName = &::Ostravane::TLateBound<C_MODULE, AExport, decltype(&ADeclaration), true>::AKind;
// The same for a function the system's headers don't declare: its pointer type is given.
#define OV_LATE_BOUND_T(AKind, AName, AExport, AProcType) \
  static constexpr auto AName = &::Ostravane::TLateBound<C_MODULE, AExport, AProcType>::AKind;
