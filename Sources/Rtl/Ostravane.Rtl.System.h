// The base vocabulary every unit stands on: the export macro, the plain types, class references,
// the root object and comparable method pointers.
#pragma once

// Always first, so that the system's W/A name macros (DeleteFile, DefWindowProc, ...) apply alike to
// every unit that names such an operation.
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>

#ifdef OVRTL_BUILDING
#define OVRTL_API __declspec(dllexport)
#else
#define OVRTL_API __declspec(dllimport)
#endif

namespace Ostravane::Rtl {

using UnicodeString = std::wstring;
using AnsiString = std::string;
using TDateTime = double;  // days since 1899-12-30, the fraction is the time of day

class TObject;

// A class-level notice run on one instance: the first-instance and last-instance hooks of
// Ostravane.Project.InterfacedObject.
using TInstanceHook = void (*)(TObject* AInstance);

// A class reference: the name and parent of a class, one record a class, declared by OV_STATIC_CLASS
// or OV_OBJECT_CLASS and defined by OV_IMPLEMENT_CLASS. Records are compared by address. The hooks
// are the class's own (never its parent's); null where the class declares none.
struct TClassRecord {
  const wchar_t* ClassName;
  const TClassRecord* ClassParent;
  TInstanceHook FirstInstanceCreate = nullptr;
  TInstanceHook LastInstanceDestroy = nullptr;
};
using TClass = const TClassRecord*;

#define OV_WIDEN_(x) L##x
#define OV_WIDEN(x) OV_WIDEN_(x)

// For a static class: Foo::StaticClass() is its class reference (a log line's owner, say).
#define OV_STATIC_CLASS                                                \
 public:                                                               \
  static const ::Ostravane::Rtl::TClassRecord ClassRecord;            \
  static ::Ostravane::Rtl::TClass StaticClass() noexcept { return &ClassRecord; }

// For a class derived from TObject: also answers the class of an instance.
#define OV_OBJECT_CLASS \
  OV_STATIC_CLASS       \
  ::Ostravane::Rtl::TClass ClassType() const noexcept override { return &ClassRecord; }

// In the unit's source, at namespace scope of the class; AParent is a TClass or nullptr.
#define OV_IMPLEMENT_CLASS(AType, AParent) \
  const ::Ostravane::Rtl::TClassRecord AType::ClassRecord{OV_WIDEN(#AType), AParent};

class OVRTL_API TObject {
 public:
  static const TClassRecord ClassRecord;
  static TClass StaticClass() noexcept { return &ClassRecord; }

  TObject() = default;
  TObject(const TObject&) = default;
  TObject& operator=(const TObject&) = default;
  virtual ~TObject() = default;

  virtual TClass ClassType() const noexcept { return &ClassRecord; }
  UnicodeString ClassName() const { return ClassType()->ClassName; }
  // True when this object's class is AClass or derives from it.
  bool InheritsFrom(TClass AClass) const noexcept;
  // A message no handler of the object took; a record whose first 16-bit field tells its kind.
  // Nothing here.
  virtual void DefaultHandler(void* AMessage);
};

// A method of an object kept as object and member function, so that a subscriber can later be found
// again by equality (a std::function can't be compared).
template <typename TSignature>
class TMethod;

template <typename R, typename... A>
class TMethod<R(A...)> {
 public:
  TMethod() noexcept = default;

  template <typename C>
  TMethod(C* AObject, R (C::*AMethod)(A...)) noexcept : FData(AObject) {
    using TMember = R (C::*)(A...);
    static_assert(sizeof(TMember) <= sizeof(FCode), "member pointer too large");
    std::memcpy(FCode, &AMethod, sizeof(TMember));
    FInvoke = [](void* AData, const unsigned char* ACode, A... AArgs) -> R {
      TMember LMember;
      std::memcpy(&LMember, ACode, sizeof(TMember));
      return (static_cast<C*>(AData)->*LMember)(std::forward<A>(AArgs)...);
    };
  }

  R operator()(A... AArgs) const { return FInvoke(FData, FCode, std::forward<A>(AArgs)...); }
  explicit operator bool() const noexcept { return FInvoke != nullptr; }
  void* Data() const noexcept { return FData; }

  friend bool operator==(const TMethod& L, const TMethod& R_) noexcept {
    return L.FData == R_.FData && L.FInvoke == R_.FInvoke &&
           std::memcmp(L.FCode, R_.FCode, sizeof(FCode)) == 0;
  }

 private:
  using TInvoke = R (*)(void*, const unsigned char*, A...);
  void* FData = nullptr;
  TInvoke FInvoke = nullptr;
  alignas(void*) unsigned char FCode[2 * sizeof(void*)] = {};
};

// The module handle of this library (not of the program that loaded it).
OVRTL_API HINSTANCE HInstance() noexcept;
// The module handle of the program.
OVRTL_API HINSTANCE MainInstance() noexcept;

}  // namespace Ostravane::Rtl
