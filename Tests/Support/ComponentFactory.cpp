// A component library with all the entry points DllRoutines talks to, and control entries through
// which a test steers them. Built twice: as ComponentFactory.dll, version 6.1.7601, and with
// OVTEST_COMPONENT_V1 as ComponentFactoryV1.dll, version 6.2.9200, whose "DllGetVersion" predates
// the 32-byte record.
#include <shlwapi.h>

#include "ComponentObject.h"

using namespace OvTest;

namespace {

#ifdef OVTEST_COMPONENT_V1
constexpr LONG C_COMPONENT = C_COMPONENT_FACTORY_V1;
constexpr DWORD C_MAJOR = 6, C_MINOR = 2, C_BUILD = 9200;
#else
constexpr LONG C_COMPONENT = C_COMPONENT_FACTORY;
constexpr DWORD C_MAJOR = 6, C_MINOR = 1, C_BUILD = 7601;
#endif

LONG GServerLocks = 0;
wchar_t GUnloadBlocker[MAX_PATH] = L"";
TComponentWaitProc GWaitProc = nullptr;
void* GWaitArg = nullptr;
DWORD GVersionSizes[16];
LONG GVersionCalls = 0;

DWORD WINAPI RunWaitProc(void* AProc) {
  reinterpret_cast<TComponentWaitProc>(AProc)(GWaitArg);
  return 0;
}

}  // namespace

extern "C" {

__declspec(dllexport) HRESULT WINAPI DllGetInstance(const GUID& AGUID, void** AObj) {
  if (TComponentWaitProc LProc = GWaitProc) {
    GWaitProc = nullptr;
    HANDLE LThread = CreateThread(nullptr, 0, &RunWaitProc, reinterpret_cast<void*>(LProc), 0, nullptr);
    if (!LThread) return HRESULT_FROM_WIN32(GetLastError());
    const DWORD LWait = WaitForSingleObject(LThread, 10000);
    CloseHandle(LThread);
    if (LWait != WAIT_OBJECT_0) return HRESULT_FROM_WIN32(WAIT_TIMEOUT);
  }
  return CreateComponentObject(C_COMPONENT, AGUID, AObj);
}

__declspec(dllexport) HRESULT WINAPI DllCanUnloadNow() {
  const bool LBlocked = GUnloadBlocker[0] != L'\0' && GetModuleHandleW(GUnloadBlocker) != nullptr;
  return GLiveObjects > 0 || GServerLocks > 0 || LBlocked ? S_FALSE : S_OK;
}

__declspec(dllexport) HRESULT WINAPI DllGetVersion(DLLVERSIONINFO2* AInfo) {
  if (!AInfo) return E_POINTER;
  const DWORD LSize = AInfo->info1.cbSize;
  if (GVersionCalls < 16) GVersionSizes[GVersionCalls] = LSize;
  ++GVersionCalls;
#ifdef OVTEST_COMPONENT_V1
  if (LSize != sizeof(DLLVERSIONINFO)) return E_INVALIDARG;
#else
  if (LSize != sizeof(DLLVERSIONINFO) && LSize != sizeof(DLLVERSIONINFO2)) return E_INVALIDARG;
  if (LSize == sizeof(DLLVERSIONINFO2)) {
    AInfo->dwFlags = 0;
    AInfo->ullVersion = MAKEDLLVERULL(C_MAJOR, C_MINOR, C_BUILD, 0);
  }
#endif
  AInfo->info1.dwMajorVersion = C_MAJOR;
  AInfo->info1.dwMinorVersion = C_MINOR;
  AInfo->info1.dwBuildNumber = C_BUILD;
  AInfo->info1.dwPlatformID = DLLVER_PLATFORM_NT;
  return S_OK;
}

__declspec(dllexport) LONG WINAPI ComponentObjectCount() { return GLiveObjects; }

__declspec(dllexport) void WINAPI ComponentLockServer(BOOL ALock) {
  if (ALock) InterlockedIncrement(&GServerLocks);
  else InterlockedDecrement(&GServerLocks);
}

__declspec(dllexport) void WINAPI ComponentSetUnloadBlocker(LPCWSTR AModule) {
  lstrcpynW(GUnloadBlocker, AModule ? AModule : L"", MAX_PATH);
}

__declspec(dllexport) void WINAPI ComponentSetFactoryWait(TComponentWaitProc AProc, void* AArg) {
  GWaitArg = AArg;
  GWaitProc = AProc;
}

__declspec(dllexport) LONG WINAPI ComponentVersionSizes(DWORD* ASizes, LONG AMax) {
  for (LONG I = 0; I < AMax && I < GVersionCalls && I < 16; ++I) ASizes[I] = GVersionSizes[I];
  return GVersionCalls;
}

}  // extern "C"
