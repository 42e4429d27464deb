// What the test component libraries hand out and export, shared by the components and the tests
// that load them: one custom interface and the control entries of the factory components.
//
// The components (Component*.cpp, each a DLL in the bin folder, exports under their plain names):
// - ComponentFactory.dll: "DllGetInstance", "DllCanUnloadNow", "DllGetVersion" (6.1.7601, both
//   record sizes) and the control entries below.
// - ComponentFactoryV1.dll: the same built as version 6.2.9200 whose "DllGetVersion" knows only the
//   20-byte record and refuses the 32-byte one with E_INVALIDARG.
// - ComponentGetInstance.dll: only "GetInstance".
// - ComponentInterfaced.dll: built on OvComponentsRTL's TInterfacedObject and its three
//   ...Internal functions (version 7.1.2600.5512); "ComponentInterfacedClass" gives its class
//   references, "ComponentInterfacedEvents" the hooks that fired.
// - ComponentResources.dll: no factory; "ComponentAdd" and a string table (1, 100, and 300 with 300
//   characters).
#pragma once
#include <windows.h>
#include <unknwn.h>

namespace OvTest {

// {F2DB0093-987C-4324-B847-FD9D0C75535F}
inline constexpr GUID IID_IOvTestComponent = {0xF2DB0093, 0x987C, 0x4324, {0xB8, 0x47, 0xFD, 0x9D, 0x0C, 0x75, 0x53, 0x5F}};
inline constexpr GUID IID_IUnknownOwn = {0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

struct IOvTestComponent : public IUnknown {
  // Which component made the object: one of C_COMPONENT_*.
  virtual HRESULT STDMETHODCALLTYPE GetComponent(LONG* AComponent) = 0;
};

inline constexpr LONG C_COMPONENT_FACTORY = 1;
inline constexpr LONG C_COMPONENT_FACTORY_V1 = 2;
inline constexpr LONG C_COMPONENT_GET_INSTANCE = 3;
inline constexpr LONG C_COMPONENT_INTERFACED = 4;

// Control entries of the factory components.
// Objects of the component alive now.
using TComponentObjectCount = LONG(WINAPI*)();
// Holds the library against unloading ("DllCanUnloadNow" answers S_FALSE) until unlocked.
using TComponentLockServer = void(WINAPI*)(BOOL ALock);
// "DllCanUnloadNow" answers S_FALSE while the module AModule is loaded (nullptr: no such module).
using TComponentSetUnloadBlocker = void(WINAPI*)(LPCWSTR AModule);
// The next factory call runs AProc(AArg) on a thread of its own and waits for its end (10 s at most,
// then it answers HRESULT_FROM_WIN32(WAIT_TIMEOUT)) before it answers.
using TComponentWaitProc = void(WINAPI*)(void* AArg);
using TComponentSetFactoryWait = void(WINAPI*)(TComponentWaitProc AProc, void* AArg);
// The cbSize of each "DllGetVersion" call so far, the first AMax of them; the result is their number.
using TComponentVersionSizes = LONG(WINAPI*)(DWORD* ASizes, LONG AMax);
// ComponentInterfaced.dll: its class reference AIndex (0: the base, 1: the derived class it hands
// out), null beyond them; and the hooks fired so far, one "+Class" or "-Class" a line, the number of
// characters copied (at most AMax - 1, NUL-terminated) as the result.
using TComponentInterfacedClass = const void*(WINAPI*)(LONG AIndex);
using TComponentInterfacedEvents = LONG(WINAPI*)(wchar_t* ABuffer, LONG AMax);
// ComponentResources.dll: ALeft + ARight.
using TComponentAdd = LONG(WINAPI*)(LONG ALeft, LONG ARight);

}  // namespace OvTest
