// Instance counting by class, the proxied-object link and the bodies of a component library's
// exports.
#include "Ostravane.Project.InterfacedObject.h"

#include <shlwapi.h>

#include <algorithm>

#include "Ostravane.System.FileVersionInfo.h"

namespace Ostravane {

using Rtl::TClass;
using Rtl::TCSGuard;

namespace {

// TInterfacedObject adds no interface of its own record: IUnknown is answered before the tables.
const TInterfaceEntry C_NO_INTERFACES[] = {{nullptr, nullptr}};

constexpr HRESULT C_VERSION_SIZE_TOO_SMALL = 13;  // ERROR_INVALID_DATA, as the code itself
constexpr HRESULT C_VERSION_NOT_AVAILABLE = 87;   // ERROR_INVALID_PARAMETER, as the code itself
constexpr DWORD C_DLL_VERSION_SIZE = 20;          // sizeof(DLLVERSIONINFO)
constexpr DWORD C_DLL_VERSION2_SIZE = 32;         // sizeof(DLLVERSIONINFO2)

static_assert(sizeof(DLLVERSIONINFO) == C_DLL_VERSION_SIZE && sizeof(DLLVERSIONINFO2) == C_DLL_VERSION2_SIZE,
              "the system's version records");

}  // namespace

const TInterfacedClassRecord TInterfacedObject::ClassRecord{
    {L"TInterfacedObject", Rtl::TObject::StaticClass(), nullptr, nullptr},
    [](TProxiedInterfaceObject* AProxiedObject) { return TInterfacedObject::Create(AProxiedObject); },
    C_NO_INTERFACES,
    0};
const Rtl::TClassRecord TInterfacedObject::TInitCounter::ClassRecord{L"TInitCounter", Rtl::TObject::StaticClass()};
OV_IMPLEMENT_CLASS(TProxiedInterfaceObject, Rtl::TObject::StaticClass())

Rtl::TCriticalSection TInterfacedObject::FCSInit;

// ---- Class level ------------------------------------------------------------------------------

void TInterfacedObject::Init() {
  FDebugLog = new TDebugLog<TObjectLogLevel>(TCustomDebugLog::ExecutableLogName(),
                                             TCustomDebugLog::LibraryModuleName(), 0);
  TCSGuard LGuard(FCSInit);
  FInitCounts = new std::map<TClass, std::unique_ptr<TInitCounter>>();
  FClassTreeCache = new std::map<TClass, std::vector<TClass>>();
}

void TInterfacedObject::Done() {
  {
    TCSGuard LGuard(FCSInit);
    if (FInitCounts)
      for (const auto& [LClass, LCounter] : *FInitCounts)
        FDebugLog->WriteLog(TObjectLogLevel::ollError, L"Class not destroyed: %0:s (count: %1:s).",
                            {Rtl::UnicodeString(LClass->ClassName), Rtl::IntToStr(LCounter->Counter)}, StaticClass());
    delete FClassTreeCache;
    FClassTreeCache = nullptr;
    delete FInitCounts;
    FInitCounts = nullptr;
  }
  delete FDebugLog;
  FDebugLog = nullptr;
}

int32_t TInterfacedObject::GetInstanceCount(TClass AClass) {
  TCSGuard LGuard(FCSInit);
  if (!FInitCounts) return 0;
  const auto LFound = FInitCounts->find(AClass);
  return LFound == FInitCounts->end() ? 0 : LFound->second->Counter;
}

const std::vector<TClass>& TInterfacedObject::CheckClassTree(TClass AClass) {
  auto LFound = FClassTreeCache->find(AClass);
  if (LFound != FClassTreeCache->end()) return LFound->second;
  std::vector<TClass> LChain;
  for (TClass LClass = AClass; LClass && LClass != StaticClass(); LClass = LClass->ClassParent) LChain.push_back(LClass);
  return FClassTreeCache->emplace(AClass, std::move(LChain)).first->second;
}

void TInterfacedObject::CheckCallInstance(bool AIsCreate) {
  TCSGuard LGuard(FCSInit);
  if (!FInitCounts) return;
  // Map nodes stay where they are, so the chain outlives entries that hooks add meanwhile.
  const std::vector<TClass>& LChain = CheckClassTree(ClassType());
  if (AIsCreate) {
    for (auto LClass = LChain.rbegin(); LClass != LChain.rend(); ++LClass) CheckCallMethod(true, *LClass);
  } else {
    for (const TClass LClass : LChain) CheckCallMethod(false, LClass);
  }
}

void TInterfacedObject::CheckCallMethod(bool AIsCreate, TClass AClass) {
  auto LFound = FInitCounts->find(AClass);
  if (LFound == FInitCounts->end()) {
    auto LCounter = std::make_unique<TInitCounter>();
    LCounter->OwnerClass = AClass;
    LCounter->Counter = AIsCreate ? 0 : 1;
    LCounter->MethodCreate = AClass->FirstInstanceCreate;
    LCounter->MethodDestroy = AClass->LastInstanceDestroy;
    // A hook that the parent gives at the same address is inherited, not the class's own.
    if (const TClass LParent = AClass->ClassParent) {
      if (LParent->FirstInstanceCreate == LCounter->MethodCreate) LCounter->MethodCreate = nullptr;
      if (LParent->LastInstanceDestroy == LCounter->MethodDestroy) LCounter->MethodDestroy = nullptr;
    }
    LFound = FInitCounts->emplace(AClass, std::move(LCounter)).first;
  }
  TInitCounter* LCounter = LFound->second.get();
  if (AIsCreate) {
    if (++LCounter->Counter == 1 && LCounter->MethodCreate) LCounter->MethodCreate(this);
    return;
  }
  if (--LCounter->Counter != 0) return;
  const Rtl::TInstanceHook LHook = LCounter->MethodDestroy;
  try {
    if (LHook) LHook(this);
  } catch (...) {
    if (LCounter->Counter == 0) FInitCounts->erase(AClass);
    throw;
  }
  // A hook that built a new instance of the class keeps the entry.
  if (LCounter->Counter == 0) FInitCounts->erase(AClass);
}

// ---- Instances --------------------------------------------------------------------------------

TInterfacedObject::TInterfacedObject(TProxiedInterfaceObject* AProxiedObject) {
  TCSGuard LGuard(FCSProxiedObject);
  FProxiedObject = AProxiedObject;
  // Nobody can tell this instance anything yet, so holding its own lock here waits for no one.
  if (AProxiedObject) AProxiedObject->FreeNotification(this);
}

TInterfacedObject::~TInterfacedObject() {
  if (FProxiedObject) RemoveLink();
}

void TInterfacedObject::AfterConstruction() {
  FCounted = true;
  try {
    CheckCallInstance(true);
  } catch (...) {
    Destroy();
    throw;
  }
}

void TInterfacedObject::RemoveLink() {
  for (;;) {
    {
      TCSGuard LGuard(FCSProxiedObject);
      TProxiedInterfaceObject* LProxied = FProxiedObject;
      if (!LProxied) return;
      // Only tried: the proxied object may be telling its clients, this one next (see the header).
      if (LProxied->FCSNotifications.TryEnter()) {
        LProxied->RemoveFreeNotification(this);
        LProxied->FCSNotifications.Leave();
        FProxiedObject = nullptr;
        return;
      }
    }
    SwitchToThread();
  }
}

void TInterfacedObject::BeforeDestruction() {
  RemoveLink();
  if (FCounted) {
    FCounted = false;
    CheckCallInstance(false);
  }
}

void TInterfacedObject::Destroy() {
  try {
    BeforeDestruction();
  } catch (...) {
    delete this;
    throw;
  }
  delete this;
}

void TInterfacedObject::Free() {
  if (InterlockedCompareExchange(&FRefCount, 0, 0) == 0) Destroy();
}

TProxiedInterfaceObject* TInterfacedObject::ProxiedObject() {
  TCSGuard LGuard(FCSProxiedObject);
  return FProxiedObject;
}

HRESULT STDMETHODCALLTYPE TInterfacedObject::QueryInterface(REFIID AIID, void** AObj) {
  if (!AObj) return E_POINTER;
  *AObj = nullptr;
  if (IsEqualGUID(AIID, __uuidof(IUnknown))) {
    *AObj = static_cast<IUnknown*>(this);
  } else {
    for (TClass LClass = ClassType(); LClass && !*AObj; LClass = LClass->ClassParent) {
      const auto LRecord = static_cast<TInterfacedObjectClass>(LClass);
      for (size_t I = 0; I < LRecord->InterfaceCount; ++I)
        if (IsEqualGUID(*LRecord->Interfaces[I].IID, AIID)) {
          *AObj = LRecord->Interfaces[I].GetInterface(this);
          break;
        }
      if (LClass == StaticClass()) break;
    }
  }
  if (!*AObj) return E_NOINTERFACE;
  AddRef();
  return S_OK;
}

ULONG STDMETHODCALLTYPE TInterfacedObject::AddRef() { return static_cast<ULONG>(InterlockedIncrement(&FRefCount)); }

ULONG STDMETHODCALLTYPE TInterfacedObject::Release() {
  const LONG LCount = InterlockedDecrement(&FRefCount);
  if (LCount == 0) Destroy();
  return static_cast<ULONG>(LCount);
}

bool TInterfacedObject::ClassHasInterface(TInterfacedObjectClass AClass, const GUID& AIID) noexcept {
  for (TClass LClass = AClass; LClass; LClass = LClass->ClassParent) {
    const auto LRecord = static_cast<TInterfacedObjectClass>(LClass);
    for (size_t I = 0; I < LRecord->InterfaceCount; ++I)
      if (IsEqualGUID(*LRecord->Interfaces[I].IID, AIID)) return true;
    if (LClass == StaticClass()) return IsEqualGUID(AIID, __uuidof(IUnknown));
  }
  return false;
}

void TInterfacedObject::DefaultHandler(void* AMessage) {
  if (AMessage && *static_cast<const uint16_t*>(AMessage) == C_MSG_PROXIED_OBJECT_FREE) {
    TCSGuard LGuard(FCSProxiedObject);
    if (FProxiedObject) {
      DoProxiedObjectFree();
      FProxiedObject = nullptr;
    }
  }
  Rtl::TObject::DefaultHandler(AMessage);
}

// ---- TProxiedInterfaceObject ------------------------------------------------------------------

TProxiedInterfaceObject::~TProxiedInterfaceObject() { BeforeDestruction(); }

void TProxiedInterfaceObject::FreeNotification(Rtl::TObject* AObject) {
  TCSGuard LGuard(FCSNotifications);
  FFreeNotifications.push_back(AObject);
}

void TProxiedInterfaceObject::RemoveFreeNotification(Rtl::TObject* AObject) {
  TCSGuard LGuard(FCSNotifications);
  const auto LFound = std::find(FFreeNotifications.begin(), FFreeNotifications.end(), AObject);
  if (LFound != FFreeNotifications.end()) FFreeNotifications.erase(LFound);
}

size_t TProxiedInterfaceObject::NotificationCount() {
  TCSGuard LGuard(FCSNotifications);
  return FFreeNotifications.size();
}

void TProxiedInterfaceObject::BeforeDestruction() {
  TCSGuard LGuard(FCSNotifications);
  if (FNotified) return;
  FNotified = true;
  TFreeNotificationMessage LMessage;
  LMessage.Sender = this;
  // A client told may leave the list on the way (freed by its own notice): the index then stays.
  for (size_t I = 0; I < FFreeNotifications.size();) {
    Rtl::TObject* LClient = FFreeNotifications[I];
    LClient->DefaultHandler(&LMessage);
    if (I < FFreeNotifications.size() && FFreeNotifications[I] == LClient) ++I;
  }
  FFreeNotifications.clear();
}

// ---- A component library's exports ------------------------------------------------------------

HRESULT __stdcall DllGetInstanceInternal(const GUID& AGUID, void** Obj, std::span<const TInterfacedObjectClass> AClasses) {
  if (!Obj) return E_POINTER;
  *Obj = nullptr;
  HRESULT LResult = E_NOINTERFACE;
  try {
    for (const TInterfacedObjectClass LClass : AClasses) {
      if (!LClass || !TInterfacedObject::ClassHasInterface(LClass, AGUID)) continue;
      TInterfacedObject* LObject = LClass->Create(nullptr);
      LObject->AddRef();
      try {
        LResult = LObject->QueryInterface(AGUID, Obj);
      } catch (...) {
        LObject->Release();
        throw;
      }
      // An instance that the caller didn't take goes here.
      LObject->Release();
      break;
    }
  } catch (...) {
    LResult = E_UNEXPECTED;
  }
  return LResult;
}

HRESULT __stdcall DllCanUnloadNowInternal(std::span<const TInterfacedObjectClass> AClasses) {
  try {
    for (const TInterfacedObjectClass LClass : AClasses)
      if (TInterfacedObject::GetInstanceCount(LClass) > 0) return S_FALSE;
    return S_OK;
  } catch (...) {
    return S_FALSE;
  }
}

HRESULT __stdcall DllGetVersionInternal(const Rtl::UnicodeString& AFileName, DLLVERSIONINFO2& AVersion) {
  try {
    if (AVersion.info1.cbSize < C_DLL_VERSION_SIZE) return C_VERSION_SIZE_TOO_SMALL;
    const TFileVersionInfo LInfo(AFileName, false);
    if (!LInfo.IsAviable()) return C_VERSION_NOT_AVAILABLE;
    const TVersionValue LVersion = LInfo.FileVersion();
    AVersion.info1.dwMajorVersion = LVersion.Major;
    AVersion.info1.dwMinorVersion = LVersion.Minor;
    AVersion.info1.dwBuildNumber = LVersion.Release;
    AVersion.info1.dwPlatformID = DLLVER_PLATFORM_NT;
    if (AVersion.info1.cbSize >= C_DLL_VERSION2_SIZE)
      AVersion.ullVersion = MAKEDLLVERULL(LVersion.Major, LVersion.Minor, LVersion.Release, LVersion.Build);
    return S_OK;
  } catch (...) {
    return E_UNEXPECTED;
  }
}

}  // namespace Ostravane
