// The base of the product's component objects: a COM object (QueryInterface, AddRef, Release, all
// stdcall) that counts its live instances by class, with a class's first-instance and last-instance
// hooks, and an optional link to a proxied object that tells its clients when it goes. Also the
// three functions a component library builds its "DllGetInstance", "DllCanUnloadNow" and
// "DllGetVersion" exports on.
//
// Classes. Each class derived from TInterfacedObject declares OV_INTERFACED_CLASS(TItsName) in its
// body and OV_IMPLEMENT_INTERFACED_CLASS(TItsName, TParent, entries...) in its source, the entries
// naming the interfaces it adds (OvInterfaceEntry<TItsName, IFoo>(IID_IFoo)). Its class reference
// (TInterfacedObjectClass) builds instances (the virtual constructor) and lists its interfaces. A
// class that declares its own member function `void FirstInstanceCreate()` or
// `void LastInstanceDestroy()` has that hook; one that only inherits them has none, which the
// record settles at compile time.
//
// Lifetime. An instance is built by its class's Create (or its class reference's) and counted once
// it is whole, so its hooks see the complete object; it goes with the last Release, or with Free
// when it was never reference-counted. A constructor that raises leaves nothing counted; a
// first-instance hook that raises uncounts the instance again along its whole chain (with the
// last-instance hooks, as any end of an instance) and passes the exception on.
//
// Counting. FCSInit serialises all counting and is held across the hooks: a hook may build or free
// instances on its own thread (the section is re-entrant) but must not wait for another thread
// that does. FCSInit lives as long as the module, so that GetInstanceCount after Done still finds a
// lock and answers 0; Init and Done make and free the tables.
//
// The two lock orders. A client's FCSProxiedObject guards its link, its proxied object's
// FCSNotifications guards the client list and is held while the clients are told. Telling takes
// FCSNotifications and then each client's FCSProxiedObject; a client that goes holds its own
// FCSProxiedObject and only tries the proxied object's FCSNotifications (TryEnter). When that
// fails, it lets its own lock go and tries again, so that a proxied object dying at the same
// moment can get the client's lock, tell it and clear its link: the two never wait for each other.
// While the client holds its lock with the link set, the proxied object can't finish dying (it
// would have to tell this client first), so the link never points at freed memory.
#pragma once
#include <map>
#include <memory>
#include <span>
#include <vector>

#include <unknwn.h>

#include "Ostravane.Debug.Log.h"
#include "Ostravane.Rtl.SyncObjs.h"

struct _DLLVERSIONINFO2;
typedef struct _DLLVERSIONINFO2 DLLVERSIONINFO2;

namespace Ostravane {

class TInterfacedObject;
class TProxiedInterfaceObject;

// The message that tells a client its proxied object goes: the first 16-bit field is its kind.
inline constexpr uint16_t C_MSG_PROXIED_OBJECT_FREE = 2;
struct TFreeNotificationMessage {
  uint16_t MsgID = C_MSG_PROXIED_OBJECT_FREE;
  uint16_t Unused = 0;
  TProxiedInterfaceObject* Sender = nullptr;
};

// One interface a class offers: its id, and the interface pointer of an instance.
struct TInterfaceEntry {
  const GUID* IID;
  void* (*GetInterface)(TInterfacedObject* AInstance);
};

// The class reference of TInterfacedObject and its heirs.
struct TInterfacedClassRecord : Rtl::TClassRecord {
  // The virtual constructor: a new counted instance linked to AProxiedObject (may be null).
  TInterfacedObject* (*Create)(TProxiedInterfaceObject* AProxiedObject);
  const TInterfaceEntry* Interfaces;  // the interfaces the class adds to its parent's
  size_t InterfaceCount;
};
using TInterfacedObjectClass = const TInterfacedClassRecord*;

enum class TObjectLogLevel { ollNone, ollError, ollWarning, ollInfo };

class OVRTL_API TInterfacedObject : public Rtl::TObject, public IUnknown {
 public:
  static const TInterfacedClassRecord ClassRecord;
  static TInterfacedObjectClass StaticClass() noexcept { return &ClassRecord; }
  Rtl::TClass ClassType() const noexcept override { return &ClassRecord; }

  // A live-instance count and the class's own hooks; one a class with live instances.
  class OVRTL_API TInitCounter : public Rtl::TObject {
    OV_OBJECT_CLASS
   public:
    Rtl::TClass OwnerClass = nullptr;
    int32_t Counter = 0;
    Rtl::TInstanceHook MethodCreate = nullptr;
    Rtl::TInstanceHook MethodDestroy = nullptr;
  };

  static void Init();
  // Logs every class with instances left ("Class not destroyed: ..."), then frees the tables.
  static void Done();
  // Live instances of AClass and its heirs; 0 without any, or when the tables are gone.
  static int32_t GetInstanceCount(Rtl::TClass AClass);

  static TInterfacedObject* Create(TProxiedInterfaceObject* AProxiedObject = nullptr) {
    return Construct<TInterfacedObject>(AProxiedObject);
  }
  // Builds an instance of T and counts it; the way every class's Create goes.
  template <typename T>
  static T* Construct(TProxiedInterfaceObject* AProxiedObject) {
    T* LObject = new T(AProxiedObject);
    LObject->AfterConstruction();
    return LObject;
  }

  // IUnknown: the interfaces of the class's records, IUnknown itself from TInterfacedObject's.
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID AIID, void** AObj) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  // The last reference frees the instance.
  ULONG STDMETHODCALLTYPE Release() override;
  int32_t RefCount() const noexcept { return FRefCount; }
  // Frees an instance that no reference holds (nothing is done while references are counted).
  void Free();

  void Lock() noexcept { FCSProxiedObject.Enter(); }
  void Unlock() noexcept { FCSProxiedObject.Leave(); }
  TProxiedInterfaceObject* ProxiedObject();

  // Empty here; see the unit's comment.
  void FirstInstanceCreate() {}
  void LastInstanceDestroy() {}

  // The free notification (first field C_MSG_PROXIED_OBJECT_FREE): under Lock, DoProxiedObjectFree
  // and the link cleared, when one is set. Every message then goes on to TObject's handler.
  void DefaultHandler(void* AMessage) override;

  // True when AClass or one of its ancestors offers AIID.
  static bool ClassHasInterface(TInterfacedObjectClass AClass, const GUID& AIID) noexcept;

 protected:
  explicit TInterfacedObject(TProxiedInterfaceObject* AProxiedObject = nullptr);
  // Removes the link if it is still there (an instance whose construction failed).
  ~TInterfacedObject() override;
  TInterfacedObject(const TInterfacedObject&) = delete;
  TInterfacedObject& operator=(const TInterfacedObject&) = delete;

  // Called when the proxied object goes; empty here.
  virtual void DoProxiedObjectFree() {}

 private:
  void AfterConstruction();
  // Clears the link and leaves the proxied object's list; see the unit's comment for the locks.
  void RemoveLink();
  // The end of an instance: the link removed, then the instance uncounted.
  void BeforeDestruction();
  void Destroy();
  void CheckCallInstance(bool AIsCreate);
  void CheckCallMethod(bool AIsCreate, Rtl::TClass AClass);
  static const std::vector<Rtl::TClass>& CheckClassTree(Rtl::TClass AClass);

  Rtl::TCriticalSection FCSProxiedObject;
  TProxiedInterfaceObject* FProxiedObject = nullptr;
  volatile LONG FRefCount = 0;
  bool FCounted = false;

  static inline TDebugLog<TObjectLogLevel>* FDebugLog = nullptr;
  static Rtl::TCriticalSection FCSInit;
  static inline std::map<Rtl::TClass, std::unique_ptr<TInitCounter>>* FInitCounts = nullptr;
  static inline std::map<Rtl::TClass, std::vector<Rtl::TClass>>* FClassTreeCache = nullptr;
};

// An object that component objects stand in for: it tells each registered client when it goes.
class OVRTL_API TProxiedInterfaceObject : public Rtl::TObject {
  OV_OBJECT_CLASS
  friend class TInterfacedObject;

 public:
  TProxiedInterfaceObject() = default;
  // Tells the clients first, if BeforeDestruction hasn't run yet.
  ~TProxiedInterfaceObject() override;
  TProxiedInterfaceObject(const TProxiedInterfaceObject&) = delete;
  TProxiedInterfaceObject& operator=(const TProxiedInterfaceObject&) = delete;

  void FreeNotification(Rtl::TObject* AObject);
  void RemoveFreeNotification(Rtl::TObject* AObject);
  // Under FCSNotifications, gives each registered object, first to last, the free notification
  // through its DefaultHandler. Runs once; a derived class's destructor calls it first thing, so
  // that its clients are told while it is still whole.
  void BeforeDestruction();
  size_t NotificationCount();

 private:
  Rtl::TCriticalSection FCSNotifications;
  std::vector<Rtl::TObject*> FFreeNotifications;
  bool FNotified = false;
};

// The interface entry of TIntf on TSelf, for OV_IMPLEMENT_INTERFACED_CLASS.
template <typename TSelf, typename TIntf>
constexpr TInterfaceEntry OvInterfaceEntry(const GUID& AIID) noexcept {
  return {&AIID, [](TInterfacedObject* AInstance) -> void* {
            return static_cast<TIntf*>(static_cast<TSelf*>(AInstance));
          }};
}

// The hook that AType declares itself, or null when it only inherits one.
template <typename AType, auto AMethod>
constexpr Rtl::TInstanceHook OvOwnHook() noexcept {
  if constexpr (std::is_same_v<decltype(AMethod), void (AType::*)()>)
    return [](Rtl::TObject* AInstance) { (static_cast<AType*>(AInstance)->*AMethod)(); };
  else
    return nullptr;
}

// In the body of a class derived from TInterfacedObject: its class reference, its Create, and the
// IUnknown methods of all its bases joined in TInterfacedObject's.
#define OV_INTERFACED_CLASS(AType)                                                                          \
 public:                                                                                                    \
  static const ::Ostravane::TInterfacedClassRecord ClassRecord;                                             \
  static ::Ostravane::TInterfacedObjectClass StaticClass() noexcept { return &ClassRecord; }               \
  ::Ostravane::Rtl::TClass ClassType() const noexcept override { return &ClassRecord; }                    \
  static AType* Create(::Ostravane::TProxiedInterfaceObject* AProxiedObject = nullptr) {                   \
    return ::Ostravane::TInterfacedObject::Construct<AType>(AProxiedObject);                               \
  }                                                                                                         \
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID AIID, void** AObj) override {                            \
    return ::Ostravane::TInterfacedObject::QueryInterface(AIID, AObj);                                     \
  }                                                                                                         \
  ULONG STDMETHODCALLTYPE AddRef() override { return ::Ostravane::TInterfacedObject::AddRef(); }           \
  ULONG STDMETHODCALLTYPE Release() override { return ::Ostravane::TInterfacedObject::Release(); }         \
  friend class ::Ostravane::TInterfacedObject;

// In the class's source, at the namespace scope of the class; the entries are OvInterfaceEntry's.
#define OV_IMPLEMENT_INTERFACED_CLASS(AType, AParent, ...)                                                  \
  namespace {                                                                                               \
  const ::Ostravane::TInterfaceEntry OvInterfaces_##AType[] = {__VA_ARGS__ __VA_OPT__(, ){nullptr, nullptr}}; \
  }                                                                                                         \
  const ::Ostravane::TInterfacedClassRecord AType::ClassRecord{                                             \
      {OV_WIDEN(#AType), AParent::StaticClass(), ::Ostravane::OvOwnHook<AType, &AType::FirstInstanceCreate>(), \
       ::Ostravane::OvOwnHook<AType, &AType::LastInstanceDestroy>()},                                       \
      [](::Ostravane::TProxiedInterfaceObject* AProxiedObject) -> ::Ostravane::TInterfacedObject* {         \
        return AType::Create(AProxiedObject);                                                               \
      },                                                                                                    \
      OvInterfaces_##AType, sizeof(OvInterfaces_##AType) / sizeof(::Ostravane::TInterfaceEntry) - 1};

// The bodies of a component library's exports. AClasses in the order they are asked; stdcall,
// never raising: each failure is a result code.
// E_NOINTERFACE when no class offers AGUID (Obj null, nothing built), else QueryInterface's result
// on a new instance of the first class that does; E_UNEXPECTED for an exception on the way;
// E_POINTER for a null Obj.
OVRTL_API HRESULT __stdcall DllGetInstanceInternal(const GUID& AGUID, void** Obj,
                                                    std::span<const TInterfacedObjectClass> AClasses);
// S_FALSE while any of AClasses has a live instance (or on an exception), else S_OK.
OVRTL_API HRESULT __stdcall DllCanUnloadNowInternal(std::span<const TInterfacedObjectClass> AClasses);
// 13 when cbSize is below 20; 87 when AFileName has no version; else 0 with the file version in the
// 20-byte part (build number: the third field) and, for cbSize 32 and above, all four in ullVersion.
// E_UNEXPECTED for an exception on the way.
OVRTL_API HRESULT __stdcall DllGetVersionInternal(const Rtl::UnicodeString& AFileName, DLLVERSIONINFO2& AVersion);

}  // namespace Ostravane

OV_LOG_LEVEL_RANGE(Ostravane::TObjectLogLevel, Ostravane::TObjectLogLevel::ollInfo)
