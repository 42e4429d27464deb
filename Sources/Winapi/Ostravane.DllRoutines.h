// DllRoutines: the one place where the process loads libraries on demand. A registry of libraries,
// one TLibraryItem a name (names compared without regard to case), each with a load counter; the
// functions of a library resolved by name or ordinal on every call; and the optional entry points of
// a component library: its factory ("DllGetInstance", else "GetInstance"), its unload query
// ("DllCanUnloadNow") and its version query ("DllGetVersion").
//
// A load that failed sticks: the item keeps the error code and the library is not tried again until
// FreeUnusedLibraries or FreeAllLibraries removes the item.
//
// Locking: FCSMain (re-entrant) guards the registry and is held over the system's load and unload,
// so a library's start and stop code runs under it and may call DllRoutines again on its thread. It
// is never held over a component's factory, and it is taken before a log lock. FCSMain lives as long
// as the module, so that a call after Done still finds a lock and an empty registry (code 8).
//
// Choices of this implementation:
// - The factory is HRESULT __stdcall (const GUID& AGUID, void** AObj), COM's QueryInterface form
//   (REFIID, void**): AObj is an out parameter that GetInstance sets to null before anything else;
//   what it held is overwritten, never released.
// - A load beyond the first only raises the counter and never reaches the system, so an item holds
//   exactly one system reference to its module. An item destroyed with its counter above 1 (as
//   FreeAllLibraries does) therefore gives the module back with one system FreeLibrary, not one a
//   counted load: a module that the program or another library also holds stays loaded for them.
// - The factory is called through a system reference of its own to the module, so that another
//   thread's FreeUnusedLibraries meanwhile can't unmap the code under it.
// - The four loader operations (LoadLibraryExW, FreeLibrary, GetProcAddress, LoadStringW) can be
//   replaced through SetResolverHook, for a test or a port.
#pragma once
#include <atomic>
#include <memory>
#include <string_view>
#include <vector>

#include "Ostravane.Debug.Log.h"
#include "Ostravane.Rtl.SyncObjs.h"
#include "Ostravane.System.SysUtils.h"

// The system's record (shlwapi.h), declared here without the rest of that header; a caller that
// reads its fields includes <shlwapi.h>.
struct _DLLVERSIONINFO2;
typedef struct _DLLVERSIONINFO2 DLLVERSIONINFO2;

namespace Ostravane {

enum class TDllLogLevel { dllNone, dllError, dllWarning, dllInfo };

class DllRoutines;

// The entry points of a component library, in the platform's stdcall convention.
using TGetInstanceProc = HRESULT(__stdcall*)(const GUID& AGUID, void** AObj);
using TDllCanUnloadNowProc = HRESULT(__stdcall*)();
using TDllGetVersionProc = HRESULT(__stdcall*)(DLLVERSIONINFO2* AInfo);

// The loader operations behind the registry. A member left null is the system's own. Consulted
// under FCSMain on every use; a replacement keeps the system's contract (a failure answers null or
// FALSE and leaves its code in GetLastError).
struct TDllResolverHook {
  HMODULE(WINAPI* LoadLibraryExW)(LPCWSTR ALibFileName, HANDLE AFile, DWORD AFlags) = nullptr;
  BOOL(WINAPI* FreeLibrary)(HMODULE AModule) = nullptr;
  FARPROC(WINAPI* GetProcAddress)(HMODULE AModule, LPCSTR AProcName) = nullptr;
  int(WINAPI* LoadStringW)(HINSTANCE AInstance, UINT AId, LPWSTR ABuffer, int ABufferMax) = nullptr;
};

// What the registry holds of one library at a moment.
struct TLibraryInfo {
  UnicodeString Name;
  int32_t LoadCounter = 0;
  uint32_t LoadFlag = 0;
  uintptr_t Handle = 0;
  uint32_t ErrorCode = 0;
  friend bool operator==(const TLibraryInfo&, const TLibraryInfo&) = default;
};

// One library of the registry. Every operation expects FCSMain to be held by the caller.
class OVRTL_API TLibraryItem : public Rtl::TObject {
  OV_OBJECT_CLASS
  friend class DllRoutines;

 public:
  // Counter 0, no handle, no error.
  TLibraryItem(const UnicodeString& AName, uint32_t AFlag);
  // Gives the module back (see the unit's comment); logs an error line when loads were still counted.
  ~TLibraryItem() override;
  TLibraryItem(const TLibraryItem&) = delete;
  TLibraryItem& operator=(const TLibraryItem&) = delete;

  int32_t LoadCounter() const noexcept { return FLoadCounter.load(); }
  uint32_t LoadFlag() const noexcept { return FLoadFlag; }
  const UnicodeString& Name() const noexcept { return FName; }
  uintptr_t Handle() const noexcept { return FHandle; }
  uint32_t ErrorCode() const noexcept { return FErrorCode; }
  bool IsCanUnload() { return GetIsCanUnload(); }

  // One more load: the system is asked only for the first, and never again after a failure, whose
  // code stays in ErrorCode.
  void LoadLibrary(uint32_t AFlag);
  // One load less; the last one unloads the module. A failed unload is logged and keeps the counter
  // and the handle. Nothing happens without a handle.
  void FreeLibrary();
  // AProc becomes null first; the result is 0 when found, 1 when missing, 6 without a handle.
  HRESULT GetProcAddr(const UnicodeString& AProcName, void*& AProc);
  HRESULT GetProcAddr(uint16_t AProcIndex, void*& AProc);
  // The 8-bit name as the system takes it (or an ordinal made by MAKEINTRESOURCEA).
  HRESULT GetProcAddr(const char* AProcName, void*& AProc);
  // True without a handle; else the library's unload query when it has one, else a counter below 1.
  bool GetIsCanUnload();
  // Resolves the factory and the unload query; E_NOTIMPL without a factory, else 0.
  HRESULT InitInterfaceRoutines();
  // E_NOINTERFACE without a resolved factory, else the factory's result.
  HRESULT GetInstance(const GUID& AGUID, void** AObj);
  // The "DllGetVersion" answer for the 32-byte record, else for the 20-byte one; a missing entry
  // gives GetProcAddr's code.
  HRESULT GetVersion(DLLVERSIONINFO2& AInfo);
  // The string AResId (its absolute value as a signed number), at most 259 characters; empty
  // without a handle or without the string.
  UnicodeString GetResourceString(uint32_t AResId);

 private:
  std::atomic<int32_t> FLoadCounter{0};  // read by GetIsCanUnload of other threads' walks
  uint32_t FLoadFlag;
  uintptr_t FHandle = 0;
  uint32_t FErrorCode = 0;
  UnicodeString FName;
  uint64_t FNameKey;  // the search's quick rejection, see DllRoutines::FindItem
  TGetInstanceProc FGetInstanceProc = nullptr;
  TDllCanUnloadNowProc FDllCanUnloadNowProc = nullptr;
};

class OVRTL_API DllRoutines final {
  OV_STATIC_CLASS
  friend class TLibraryItem;

 public:
  DllRoutines() = delete;

  static void Lock() noexcept { FCSMain.Enter(); }
  static void Unlock() noexcept { FCSMain.Leave(); }

  static void Init();
  // Frees every library, then the registry and the log.
  static void Done();

  // Counts one load of ALibName (made on first use). Returns the item also when the load failed:
  // its ErrorCode tells. Null only after Done.
  static TLibraryItem* LoadLibrary(const UnicodeString& ALibName, uint32_t AFlag);
  // Gives one load back. An item, name or handle that the registry doesn't hold is ignored; the item
  // stays in the registry.
  static void FreeLibrary(TLibraryItem* ALibItem);
  static void FreeLibrary(const UnicodeString& ALibName);
  static void FreeLibrary(uintptr_t AHandle);
  // Removes every item that can be unloaded, in passes until one removes nothing.
  static void FreeUnusedLibraries();
  // FreeUnusedLibraries, then removes every item whatever it reports.
  static void FreeAllLibraries();
  // Linear search, first match; null when there is none.
  static TLibraryItem* GetItemByName(const UnicodeString& AName);
  static TLibraryItem* GetItemByHandle(uintptr_t AHandle);
  // A copy of the registry, in its order.
  static std::vector<TLibraryInfo> Libraries();

  // A function of a library, whose first use loads it (one load counted, kept until unloading).
  // Raises EOSError with the library's load error, or code 1 for a function it doesn't export.
  static void* Call(const UnicodeString& ALibName, const UnicodeString& AProcName);
  static void* Call(const UnicodeString& ALibName, uint16_t AProcIndex);
  // The same with the 8-bit name as the system takes it: no conversion on the way.
  static void* Call(std::wstring_view ALibName, const char* AProcName);
  // The same as Call, without raising: any failure gives null.
  static void* Get(const UnicodeString& ALibName, const UnicodeString& AProcName) noexcept;
  static void* Get(const UnicodeString& ALibName, uint16_t AProcIndex) noexcept;
  static void* Get(std::wstring_view ALibName, const char* AProcName) noexcept;

  // Typed forms for late-bound calls: TProc is the function's pointer type, best taken from its
  // declaration (decltype(&::GetProductInfo) keeps __stdcall). Failure contracts as Call and Get.
  template <typename TProc>
  static TProc CallAs(std::wstring_view ALibName, const char* AProcName) {
    return ToProc<TProc>(Call(ALibName, AProcName));
  }
  template <typename TProc>
  static TProc CallAs(const UnicodeString& ALibName, uint16_t AProcIndex) {
    return ToProc<TProc>(Call(ALibName, AProcIndex));
  }
  template <typename TProc>
  static TProc GetAs(std::wstring_view ALibName, const char* AProcName) noexcept {
    return ToProc<TProc>(Get(ALibName, AProcName));
  }
  template <typename TProc>
  static TProc GetAs(const UnicodeString& ALibName, uint16_t AProcIndex) noexcept {
    return ToProc<TProc>(Get(ALibName, AProcIndex));
  }

  // An interface from a component library's factory, which runs outside FCSMain. Raises
  // EOstravaneInitException, naming the library, code and the system's text for it, on any failure.
  static void GetInstance(const UnicodeString& ALibName, const GUID& AGUID, void** AObj);
  // The same, as a code: the load error, E_NOTIMPL without a factory, E_POINTER for a null AObj,
  // the factory's result, or E_UNEXPECTED for an exception on the way.
  static HRESULT TryGetInstance(const UnicodeString& ALibName, const GUID& AGUID, void** AObj) noexcept;
  template <typename TInterface>
  static void GetInstance(const UnicodeString& ALibName, const GUID& AGUID, TInterface** AObj) {
    GetInstance(ALibName, AGUID, reinterpret_cast<void**>(AObj));
  }
  template <typename TInterface>
  static HRESULT TryGetInstance(const UnicodeString& ALibName, const GUID& AGUID, TInterface** AObj) noexcept {
    return TryGetInstance(ALibName, AGUID, reinterpret_cast<void**>(AObj));
  }

  // The library's version record, for the length of one load. False (AInfo zeroed) when the library
  // or its "DllGetVersion" is missing or refuses; never raises.
  static bool GetVersion(const UnicodeString& ALibName, DLLVERSIONINFO2& AInfo) noexcept;
  // Whether major.minor lies within both bounds, inclusive; false without a version.
  static bool IsVersion(const UnicodeString& ALibName, uint16_t AMinMajor, uint16_t AMinMinor, uint16_t AMaxMajor,
                        uint16_t AMaxMinor) noexcept;
  // A string of the library's string table, the library loaded as an image resource for the length
  // of the call; empty on any failure.
  static UnicodeString GetResourceString(const UnicodeString& ALibName, uint32_t AResId) noexcept;

  // Replaces the loader operations (null members: the system's); returns the hook it replaces.
  static TDllResolverHook SetResolverHook(const TDllResolverHook& AHook) noexcept;

 private:
  template <typename TProc>
  static TProc ToProc(void* AProc) noexcept {
    static_assert(std::is_pointer_v<TProc> && std::is_function_v<std::remove_pointer_t<TProc>>,
                  "TProc is a pointer to a function");
    return reinterpret_cast<TProc>(reinterpret_cast<void (*)()>(AProc));
  }

  static TLibraryItem* FindItem(std::wstring_view AName) noexcept;
  static uint32_t GetLibrary(bool ALoad, std::wstring_view ALibName, uint32_t AFlag, TLibraryItem*& AItem);
  // The resolving road of Call and Get: the load error or GetProcAddr's code.
  static uint32_t Resolve(std::wstring_view ALibName, const char* AProcName, void*& AProc);
  static HRESULT GetInstanceInternal(const UnicodeString& ALibName, const GUID& AGUID, void** AObj);
  // Takes the item out of the registry, then destroys it: its library's stop code sees a registry
  // that no longer holds it.
  static void DeleteItem(size_t AIndex);

  using TItems = std::vector<std::unique_ptr<TLibraryItem>>;
  static inline TDebugLog<TDllLogLevel>* FDebugLog = nullptr;
  static Rtl::TCriticalSection FCSMain;
  static inline TItems* FLibrarys = nullptr;
  static inline TDllResolverHook FHook;    // as set
  static TDllResolverHook FLoader;         // the operations in use: the hook's, else the system's
};

}  // namespace Ostravane

OV_LOG_LEVEL_RANGE(Ostravane::TDllLogLevel, Ostravane::TDllLogLevel::dllInfo)
