// A component library whose factory bears the older name "GetInstance", and nothing else.
#include "ComponentObject.h"

extern "C" __declspec(dllexport) HRESULT WINAPI GetInstance(const GUID& AGUID, void** AObj) {
  return OvTest::CreateComponentObject(OvTest::C_COMPONENT_GET_INSTANCE, AGUID, AObj);
}
