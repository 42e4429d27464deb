// The object that the test components hand out: IUnknown and IOvTestComponent, counted while it
// lives. Each component library has its own copy and its own count.
#pragma once
#include "ComponentTest.h"

namespace OvTest {

inline LONG GLiveObjects = 0;

class TComponentObject final : public IOvTestComponent {
 public:
  explicit TComponentObject(LONG AComponent) : FComponent(AComponent) { InterlockedIncrement(&GLiveObjects); }
  TComponentObject(const TComponentObject&) = delete;
  TComponentObject& operator=(const TComponentObject&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID AIID, void** AObj) override {
    if (!AObj) return E_POINTER;
    if (!IsEqualGUID(AIID, IID_IUnknownOwn) && !IsEqualGUID(AIID, IID_IOvTestComponent)) {
      *AObj = nullptr;
      return E_NOINTERFACE;
    }
    *AObj = static_cast<IOvTestComponent*>(this);
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(InterlockedIncrement(&FRefCount)); }
  ULONG STDMETHODCALLTYPE Release() override {
    const LONG LCount = InterlockedDecrement(&FRefCount);
    if (LCount == 0) delete this;
    return static_cast<ULONG>(LCount);
  }
  HRESULT STDMETHODCALLTYPE GetComponent(LONG* AComponent) override {
    if (!AComponent) return E_POINTER;
    *AComponent = FComponent;
    return S_OK;
  }

 private:
  ~TComponentObject() { InterlockedDecrement(&GLiveObjects); }
  LONG FRefCount = 0;
  LONG FComponent;
};

// A factory's answer: a new object for IUnknown and IOvTestComponent, E_NOINTERFACE otherwise.
inline HRESULT CreateComponentObject(LONG AComponent, const GUID& AGUID, void** AObj) {
  if (!AObj) return E_POINTER;
  *AObj = nullptr;
  TComponentObject* LObject = new TComponentObject(AComponent);
  LObject->AddRef();
  const HRESULT LResult = LObject->QueryInterface(AGUID, AObj);
  LObject->Release();
  return LResult;
}

}  // namespace OvTest
