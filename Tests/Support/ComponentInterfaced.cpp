// A component library built on OvComponentsRTL: its objects derive from TInterfacedObject and its
// exports are the library's three ...Internal functions.
#include <shlwapi.h>

#include <string>

#include "ComponentTest.h"
#include "Ostravane.Project.InterfacedObject.h"

using namespace Ostravane;
using namespace OvTest;

namespace {

std::wstring GEvents;  // changed only in hooks, which run under the library's counting lock

class TComponentBase : public TInterfacedObject, public IOvTestComponent {
  OV_INTERFACED_CLASS(TComponentBase)
 public:
  HRESULT STDMETHODCALLTYPE GetComponent(LONG* AComponent) override {
    if (!AComponent) return E_POINTER;
    *AComponent = C_COMPONENT_INTERFACED;
    return S_OK;
  }
  void FirstInstanceCreate() { GEvents += L"+TComponentBase\n"; }
  void LastInstanceDestroy() { GEvents += L"-TComponentBase\n"; }

 protected:
  using TInterfacedObject::TInterfacedObject;
};

class TComponentItem : public TComponentBase {
  OV_INTERFACED_CLASS(TComponentItem)
 public:
  void FirstInstanceCreate() { GEvents += L"+TComponentItem\n"; }
  void LastInstanceDestroy() { GEvents += L"-TComponentItem\n"; }

 protected:
  using TComponentBase::TComponentBase;
};

}  // namespace

OV_IMPLEMENT_INTERFACED_CLASS(TComponentBase, TInterfacedObject,
                              OvInterfaceEntry<TComponentBase, IOvTestComponent>(IID_IOvTestComponent))
OV_IMPLEMENT_INTERFACED_CLASS(TComponentItem, TComponentBase)

namespace {
const TInterfacedObjectClass C_CLASSES[] = {TComponentItem::StaticClass()};
}

extern "C" {

__declspec(dllexport) HRESULT WINAPI DllGetInstance(const GUID& AGUID, void** AObj) {
  return DllGetInstanceInternal(AGUID, AObj, C_CLASSES);
}

__declspec(dllexport) HRESULT WINAPI DllCanUnloadNow() { return DllCanUnloadNowInternal(C_CLASSES); }

__declspec(dllexport) HRESULT WINAPI DllGetVersion(DLLVERSIONINFO2* AInfo) {
  HMODULE LModule = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     reinterpret_cast<LPCWSTR>(&DllGetVersion), &LModule);
  return DllGetVersionInternal(Rtl::GetModuleName(LModule), *AInfo);
}

__declspec(dllexport) const void* WINAPI ComponentInterfacedClass(LONG AIndex) {
  return AIndex == 0 ? static_cast<const void*>(TComponentBase::StaticClass())
         : AIndex == 1 ? static_cast<const void*>(TComponentItem::StaticClass())
                       : nullptr;
}

__declspec(dllexport) LONG WINAPI ComponentInterfacedEvents(wchar_t* ABuffer, LONG AMax) {
  if (!ABuffer || AMax <= 0) return 0;
  const LONG LCount = std::min(static_cast<LONG>(GEvents.size()), AMax - 1);
  GEvents.copy(ABuffer, LCount);
  ABuffer[LCount] = L'\0';
  return LCount;
}

}  // extern "C"
