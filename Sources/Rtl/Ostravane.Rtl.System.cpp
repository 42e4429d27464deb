// The root object and the module handles.
#include "Ostravane.Rtl.System.h"

extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace Ostravane::Rtl {

const TClassRecord TObject::ClassRecord{L"TObject", nullptr};

bool TObject::InheritsFrom(TClass AClass) const noexcept {
  for (TClass LClass = ClassType(); LClass; LClass = LClass->ClassParent)
    if (LClass == AClass) return true;
  return false;
}

void TObject::DefaultHandler(void*) {}

HINSTANCE HInstance() noexcept { return reinterpret_cast<HINSTANCE>(&__ImageBase); }

HINSTANCE MainInstance() noexcept { return GetModuleHandleW(nullptr); }

}  // namespace Ostravane::Rtl
