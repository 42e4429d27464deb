// DllRoutines against real libraries: the test components of Tests/Support (ComponentTest.h), the
// system's modules, and a module file that doesn't exist. The resolver hook stands in for the
// system only where a test needs what the machine can't give (a loaded module made to fail, a
// failed unload, a load that re-enters).
#include <gtest/gtest.h>

#include <shlwapi.h>

#include <atomic>
#include <functional>
#include <optional>
#include <thread>
#include <tuple>

#include "ComponentTest.h"
#include "Ostravane.DllRoutines.h"
#include "Ostravane.Rtl.Handles.h"
#include "TestSupport.h"

using namespace Ostravane;
using namespace OvTest;

namespace {

constexpr wchar_t C_FACTORY[] = L"ComponentFactory.dll";
constexpr wchar_t C_FACTORY_V1[] = L"ComponentFactoryV1.dll";
constexpr wchar_t C_GET_INSTANCE[] = L"ComponentGetInstance.dll";
constexpr wchar_t C_RESOURCES[] = L"ComponentResources.dll";
constexpr wchar_t C_MISSING[] = L"ovrtl-missing.dll";
constexpr uint32_t C_MOD_NOT_FOUND = 126;  // Wine's code for a module file that isn't there

bool IsLoaded(const wchar_t* AModule) { return GetModuleHandleW(AModule) != nullptr; }
uintptr_t HandleOf(const wchar_t* AModule) { return reinterpret_cast<uintptr_t>(GetModuleHandleW(AModule)); }

// The messages of the registry's log lines since ALog began, oldest first.
std::vector<std::wstring> DllLines(const TLogCapture& ALog) {
  static const std::wstring LClass = L"DllRoutines" + std::wstring(15, L' ');
  std::vector<std::wstring> LLines;
  for (const std::wstring& L : ALog.NewLines())
    if (const size_t P = L.find(LClass); P != std::wstring::npos) LLines.push_back(L.substr(P + LClass.size()));
  return LLines;
}

// The ErrorCode of the EOSError that AAction raises; 0 when it raises nothing.
uint32_t OSErrorOf(const std::function<void()>& AAction) {
  try {
    AAction();
  } catch (const Rtl::EOSError& E) {
    EXPECT_EQ(E.Message.rfind(L"System Error. Code: " + std::to_wstring(E.ErrorCode) + L".", 0), 0u) << E.what();
    return E.ErrorCode;
  }
  return 0;
}

// The Message of the EOstravaneInitException that AAction raises.
std::wstring InitErrorOf(const std::function<void()>& AAction) {
  try {
    AAction();
  } catch (const EOstravaneInitException& E) {
    return E.Message;
  }
  return L"no exception";
}

TLibraryInfo Info(const wchar_t* AName, int32_t ACounter, uintptr_t AHandle, uint32_t AError = 0, uint32_t AFlag = 0) {
  return {AName, ACounter, AFlag, AHandle, AError};
}

// The tests' loader: records what the system is asked to load, and fails or re-enters on demand.
struct THookState {
  std::vector<std::wstring> Loads;
  std::wstring FailName;  // a load of this name answers FailResult with FailCode as last error
  HMODULE FailResult = nullptr;
  DWORD FailCode = 0;
  HMODULE MissingModule = nullptr;  // this module lacks MissingName (a name or an ordinal)
  const char* MissingName = nullptr;
  std::optional<DWORD> FreeFails;  // FreeLibrary fails with this last error
  std::function<void(const std::wstring&)> OnLoad;  // runs under the lock, before the system's load; may throw
  std::function<void(HMODULE)> OnFree;
};
THookState GHook;

HMODULE WINAPI HookLoad(LPCWSTR AName, HANDLE AFile, DWORD AFlags) {
  GHook.Loads.push_back(AName);
  if (GHook.OnLoad) GHook.OnLoad(AName);
  if (!GHook.FailName.empty() && Rtl::SameText(AName, GHook.FailName)) {
    SetLastError(GHook.FailCode);
    return GHook.FailResult;
  }
  return LoadLibraryExW(AName, AFile, AFlags);
}
BOOL WINAPI HookFree(HMODULE AModule) {
  if (GHook.OnFree) GHook.OnFree(AModule);
  if (!GHook.FreeFails) return FreeLibrary(AModule);
  return SetLastError(*GHook.FreeFails), FALSE;
}
FARPROC WINAPI HookGetProcAddress(HMODULE AModule, LPCSTR AName) {
  const bool LMissing = AModule == GHook.MissingModule &&
                        (IS_INTRESOURCE(AName) ? AName == GHook.MissingName
                                               : !IS_INTRESOURCE(GHook.MissingName) && strcmp(AName, GHook.MissingName) == 0);
  return LMissing ? nullptr : GetProcAddress(AModule, AName);
}
const TDllResolverHook C_TEST_HOOK{&HookLoad, &HookFree, &HookGetProcAddress, nullptr};

class DllRoutinesTest : public testing::Test {
 protected:
  void SetUp() override {
    DllRoutines::FreeAllLibraries();
    GHook = THookState();
  }
  void TearDown() override {
    DllRoutines::SetResolverHook({});
    GHook = THookState();
    DllRoutines::FreeAllLibraries();
  }
  static void UseHook() { DllRoutines::SetResolverHook(C_TEST_HOOK); }
};

// ---- Counters -----------------------------------------------------------------------------------

TEST_F(DllRoutinesTest, LoadsOfOneNameInAnyCaseCountOnOneItem) {
  TLibraryItem* LItem = DllRoutines::LoadLibrary(L"COMPONENTRESOURCES.DLL", 0);
  EXPECT_EQ(DllRoutines::LoadLibrary(L"componentresources.dll", 0), LItem);
  const uintptr_t LHandle = HandleOf(C_RESOURCES);
  ASSERT_NE(LHandle, 0u);
  EXPECT_EQ(DllRoutines::Libraries(), std::vector{Info(L"COMPONENTRESOURCES.DLL", 2, LHandle)});

  TLogCapture LLog;
  DllRoutines::FreeLibrary(LItem);
  EXPECT_EQ(LItem->LoadCounter(), 1);
  EXPECT_TRUE(IsLoaded(C_RESOURCES)) << "a load beyond the first only counts";
  EXPECT_EQ(DllLines(LLog), (std::vector<std::wstring>{L"Try unload library \"COMPONENTRESOURCES.DLL\".",
                                                       L"Unloaded library \"COMPONENTRESOURCES.DLL\"."}));
  DllRoutines::FreeLibrary(L"ComponentResources.DLL");
  EXPECT_FALSE(IsLoaded(C_RESOURCES));
  EXPECT_EQ(DllRoutines::Libraries(), std::vector{Info(L"COMPONENTRESOURCES.DLL", 0, 0)}) << "the item stays";

  EXPECT_EQ(DllRoutines::LoadLibrary(C_RESOURCES, 0), LItem);
  EXPECT_EQ(LItem->LoadCounter(), 1);
  DllRoutines::FreeLibrary(HandleOf(C_RESOURCES));
  EXPECT_FALSE(IsLoaded(C_RESOURCES));

  // What the registry doesn't hold is ignored.
  DllRoutines::LoadLibrary(C_RESOURCES, 0);
  const auto LBefore = DllRoutines::Libraries();
  TLibraryItem LOutsider(C_RESOURCES, 0);
  DllRoutines::FreeLibrary(&LOutsider);
  DllRoutines::FreeLibrary(static_cast<TLibraryItem*>(nullptr));
  DllRoutines::FreeLibrary(L"ComponentUnknown.dll");
  DllRoutines::FreeLibrary(uintptr_t{0x12340000});
  EXPECT_EQ(DllRoutines::Libraries(), LBefore);
}

TEST_F(DllRoutinesTest, CallLoadsOnFirstUseAndResolvesOnEveryCall) {
  TLogCapture LLog;
  void* LFirst = DllRoutines::Call(C_RESOURCES, L"ComponentAdd");
  EXPECT_EQ(DllRoutines::Call(L"componentresources.dll", "ComponentAdd"), LFirst);
  EXPECT_EQ(DllRoutines::Get(C_RESOURCES, L"ComponentAdd"), LFirst);
  EXPECT_EQ(LFirst, reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(C_RESOURCES), "ComponentAdd")));
  EXPECT_EQ(DllRoutines::CallAs<TComponentAdd>(C_RESOURCES, "ComponentAdd")(2, 3), 5);
  EXPECT_EQ(DllRoutines::GetAs<TComponentAdd>(C_RESOURCES, "ComponentAdd")(-2, 3), 1);
  EXPECT_EQ(DllRoutines::Libraries(), std::vector{Info(C_RESOURCES, 1, HandleOf(C_RESOURCES))});
  EXPECT_EQ(DllLines(LLog), (std::vector<std::wstring>{L"Try load library \"ComponentResources.dll\".",
                                                       L"Loaded library \"ComponentResources.dll\"."}));
  // Freed to no load, the item stays and the next call loads the library again.
  DllRoutines::FreeLibrary(C_RESOURCES);
  EXPECT_FALSE(IsLoaded(C_RESOURCES));
  EXPECT_EQ(DllRoutines::CallAs<TComponentAdd>(C_RESOURCES, "ComponentAdd")(2, 2), 4);
  EXPECT_EQ(DllRoutines::Libraries(), std::vector{Info(C_RESOURCES, 1, HandleOf(C_RESOURCES))});
  // By ordinal: IsOS is exported by number only.
  void* LIsOS = DllRoutines::Call(L"shlwapi.dll", uint16_t{437});
  EXPECT_NE(LIsOS, nullptr);
  EXPECT_EQ(LIsOS, reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"shlwapi.dll"), MAKEINTRESOURCEA(437))));
  EXPECT_EQ(DllRoutines::GetAs<decltype(&::GetTickCount)>(L"KERNEL32.dll", "GetTickCount"), &::GetTickCount);
}

// ---- Failures -----------------------------------------------------------------------------------

TEST_F(DllRoutinesTest, AMissingLibraryFailsOnceAndTheCodeSticks) {
  UseHook();  // it only counts the system's loads here
  TLogCapture LLog;
  EXPECT_EQ(OSErrorOf([] { DllRoutines::Call(C_MISSING, L"Anything"); }), C_MOD_NOT_FOUND);
  const std::vector<std::wstring> LLines{
      L"Try load library \"ovrtl-missing.dll\".",
      L"Error loading library \"ovrtl-missing.dll\".: (0x0000007E) Module not found"};
  EXPECT_EQ(DllLines(LLog), LLines);
  EXPECT_EQ(OSErrorOf([] { DllRoutines::Call(L"OVRTL-MISSING.DLL", "Anything"); }), C_MOD_NOT_FOUND);
  EXPECT_EQ(OSErrorOf([] { DllRoutines::CallAs<void (*)()>(C_MISSING, uint16_t{1}); }), C_MOD_NOT_FOUND);
  EXPECT_EQ(DllRoutines::Get(C_MISSING, L"Anything"), nullptr);
  EXPECT_EQ(GHook.Loads, std::vector<std::wstring>{C_MISSING}) << "no second attempt";
  EXPECT_EQ(DllLines(LLog), LLines) << "a known failure logs nothing";

  // An explicit load logs the try and the error, and still asks the system nothing.
  TLibraryItem* LItem = DllRoutines::LoadLibrary(C_MISSING, 0);
  ASSERT_NE(LItem, nullptr);
  EXPECT_EQ(LItem->ErrorCode(), C_MOD_NOT_FOUND);
  EXPECT_EQ(DllLines(LLog).size(), 4u);
  EXPECT_EQ(GHook.Loads.size(), 1u);
  EXPECT_EQ(DllRoutines::Libraries(), std::vector{Info(C_MISSING, 0, 0, C_MOD_NOT_FOUND)});

  // Beyond ASCII the system decides what case is: these are two names, each in two cases.
  for (const auto& [LLower, LUpper] : {std::pair{L"ovrtl-missing-\u00E9.dll", L"OVRTL-MISSING-\u00C9.DLL"},
                                       std::pair{L"\u0101-ovrtl.dll", L"\u0100-OVRTL.DLL"}})
    EXPECT_EQ(DllRoutines::LoadLibrary(LLower, 0), DllRoutines::LoadLibrary(LUpper, 0));
  EXPECT_EQ(DllRoutines::Libraries().size(), 3u);

  // Only removing the item lets the library be tried again.
  EXPECT_TRUE(LItem->IsCanUnload());
  DllRoutines::FreeUnusedLibraries();
  EXPECT_TRUE(DllRoutines::Libraries().empty());
  EXPECT_EQ(OSErrorOf([] { DllRoutines::Call(C_MISSING, L"Anything"); }), C_MOD_NOT_FOUND);
  EXPECT_EQ(GHook.Loads.size(), 4u) << "the two names beyond ASCII were tried once each";
}

TEST_F(DllRoutinesTest, AMissingFunctionIsCode1AndChangesNothing) {
  DllRoutines::Call(C_RESOURCES, L"ComponentAdd");
  DllRoutines::Call(L"kernel32.dll", L"GetTickCount");
  const auto LBefore = DllRoutines::Libraries();
  TLogCapture LLog;
  EXPECT_EQ(OSErrorOf([] { DllRoutines::Call(C_RESOURCES, L"ComponentSubtract"); }), 1u);
  EXPECT_EQ(OSErrorOf([] { DllRoutines::Call(C_RESOURCES, uint16_t{999}); }), 1u);
  EXPECT_EQ(OSErrorOf([] { DllRoutines::Call(L"kernel32.dll", "OvNoSuchExport"); }), 1u);
  EXPECT_EQ(DllRoutines::Get(C_RESOURCES, L"componentadd"), nullptr) << "export names are exact";
  EXPECT_EQ(DllRoutines::Get(C_RESOURCES, L""), nullptr);
  EXPECT_EQ(OSErrorOf([] { DllRoutines::Call(C_RESOURCES, L"Component\u00C4dd"); }), 1u);
  EXPECT_EQ(DllRoutines::Libraries(), LBefore);
  EXPECT_TRUE(DllLines(LLog).empty());

  void* LProc = reinterpret_cast<void*>(1);
  TLibraryItem LUnloaded(C_RESOURCES, 0);
  EXPECT_EQ(LUnloaded.GetProcAddr(L"ComponentAdd", LProc), 6);
  EXPECT_EQ(LProc, nullptr);
}

TEST_F(DllRoutinesTest, TheResolverHookMakesLoadedModulesAndFunctionsMissing) {
  EXPECT_EQ(DllRoutines::SetResolverHook(C_TEST_HOOK).LoadLibraryExW, nullptr) << "the system's loader by default";
  GHook.FailName = L"version.dll";
  GHook.FailCode = C_MOD_NOT_FOUND;
  GHook.MissingModule = GetModuleHandleW(L"advapi32.dll");
  GHook.MissingName = "RegDeleteKeyExW";
  ASSERT_TRUE(IsLoaded(L"version.dll")) << "bound at load time by the library";
  EXPECT_EQ(OSErrorOf([] { DllRoutines::Call(L"version.dll", L"GetFileVersionInfoSizeExW"); }), C_MOD_NOT_FOUND);
  EXPECT_EQ(OSErrorOf([] { DllRoutines::Call(L"advapi32.dll", L"RegDeleteKeyExW"); }), 1u);
  EXPECT_NE(DllRoutines::Get(L"advapi32.dll", L"RegDeleteKeyW"), nullptr);
  EXPECT_NE(DllRoutines::Get(L"shlwapi.dll", L"PathFindExtensionW"), nullptr);
  GHook.MissingModule = GetModuleHandleW(L"shlwapi.dll");
  GHook.MissingName = MAKEINTRESOURCEA(437);
  EXPECT_EQ(DllRoutines::Get(L"shlwapi.dll", uint16_t{437}), nullptr);

  EXPECT_EQ(DllRoutines::SetResolverHook({}).LoadLibraryExW, &HookLoad);
  EXPECT_EQ(OSErrorOf([] { DllRoutines::Call(L"version.dll", L"GetFileVersionInfoSizeExW"); }), C_MOD_NOT_FOUND)
      << "the failure sticks to the item";
  DllRoutines::FreeUnusedLibraries();
  EXPECT_NE(DllRoutines::Get(L"version.dll", L"GetFileVersionInfoSizeExW"), nullptr);
  EXPECT_NE(DllRoutines::Get(L"shlwapi.dll", uint16_t{437}), nullptr);

  // What a failed load leaves as its code; a module of 0xFFFFFFFF counts as a failure.
  const HMODULE C_MINUS_ONE = reinterpret_cast<HMODULE>(~uintptr_t{0});
  struct {
    HMODULE Result;
    DWORD LastError;
    uint32_t Expected;
  } const LCases[] = {{nullptr, 0, 1006}, {nullptr, 193, 193}, {C_MINUS_ONE, 5, 5}, {C_MINUS_ONE, 0, 1006}};
  UseHook();
  GHook.FailName = C_RESOURCES;
  for (const auto& C : LCases) {
    GHook.FailResult = C.Result;
    GHook.FailCode = C.LastError;
    EXPECT_EQ(OSErrorOf([] { DllRoutines::Call(C_RESOURCES, L"ComponentAdd"); }), C.Expected) << C.LastError;
    DllRoutines::FreeUnusedLibraries();
  }
}

TEST_F(DllRoutinesTest, AFailedUnloadIsLoggedAndKeepsCounterAndHandleAndADestroyedItemGivesItsReferenceBack) {
  UseHook();
  TLibraryItem* LItem = DllRoutines::LoadLibrary(C_RESOURCES, 0);
  const uintptr_t LHandle = LItem->Handle();
  // A failure without a code of its own reads as 6.
  for (const auto& [LCode, LText] : {std::pair{DWORD{5}, L"(0x00000005) Access denied"},
                                     std::pair{DWORD{0}, L"(0x00000006) Invalid handle"}}) {
    GHook.FreeFails = LCode;
    TLogCapture LLog;
    DllRoutines::FreeLibrary(LItem);
    EXPECT_EQ(DllLines(LLog), (std::vector<std::wstring>{L"Try unload library \"ComponentResources.dll\".",
                                                         L"Error unloading library \"ComponentResources.dll\".: " +
                                                             std::wstring(LText)}));
    EXPECT_EQ(DllRoutines::Libraries(), std::vector{Info(C_RESOURCES, 1, LHandle)});
  }
  GHook.FreeFails.reset();
  DllRoutines::FreeLibrary(LItem);
  EXPECT_FALSE(IsLoaded(C_RESOURCES));

  // An item destroyed with loads counted gives its one system reference back.
  HMODULE LOwn = LoadLibraryW(C_RESOURCES);  // the test's own reference
  ASSERT_NE(LOwn, nullptr);
  for (int I = 0; I < 3; ++I) DllRoutines::LoadLibrary(C_RESOURCES, 0);
  TLogCapture LLog;
  DllRoutines::FreeAllLibraries();
  EXPECT_EQ(DllLines(LLog), (std::vector<std::wstring>{
                                L"Try unload library \"ComponentResources.dll\".",
                                L"Unloaded library \"ComponentResources.dll\".",
                                L"For library \"ComponentResources.dll\" load counter = 2.: (0x00000006) Invalid handle"}));
  EXPECT_TRUE(DllRoutines::Libraries().empty());
  EXPECT_TRUE(IsLoaded(C_RESOURCES)) << "the test's reference is not taken";
  FreeLibrary(LOwn);
  EXPECT_FALSE(IsLoaded(C_RESOURCES)) << "the registry's reference is given back";
}

TEST_F(DllRoutinesTest, AfterDoneTheRegistryIsGone) {
  DllRoutines::Call(C_RESOURCES, L"ComponentAdd");
  DllRoutines::Done();
  EXPECT_FALSE(IsLoaded(C_RESOURCES));
  EXPECT_EQ(OSErrorOf([] { DllRoutines::Call(C_RESOURCES, L"ComponentAdd"); }), 8u);
  EXPECT_EQ(DllRoutines::Get(C_RESOURCES, L"ComponentAdd"), nullptr);
  void* LObj = nullptr;
  EXPECT_EQ(DllRoutines::TryGetInstance(C_FACTORY, IID_IOvTestComponent, &LObj), 8);
  EXPECT_EQ(DllRoutines::LoadLibrary(C_RESOURCES, 0), nullptr);
  DllRoutines::FreeLibrary(C_RESOURCES);
  DllRoutines::FreeUnusedLibraries();
  EXPECT_TRUE(DllRoutines::Libraries().empty());
  EXPECT_EQ(DllRoutines::GetResourceString(C_RESOURCES, 100), L"");
  DllRoutines::Init();
  EXPECT_NE(DllRoutines::Get(C_RESOURCES, L"ComponentAdd"), nullptr);
}

// ---- Components ---------------------------------------------------------------------------------

TEST_F(DllRoutinesTest, FactoriesHandOutObjectsUnderEitherNameAndRunOutsideTheLock) {
  IOvTestComponent* LObj = nullptr;
  DllRoutines::GetInstance(C_FACTORY, IID_IOvTestComponent, &LObj);
  ASSERT_NE(LObj, nullptr);
  LONG LComponent = 0;
  EXPECT_EQ(LObj->GetComponent(&LComponent), S_OK);
  EXPECT_EQ(LComponent, C_COMPONENT_FACTORY);
  const auto LCount = DllRoutines::GetAs<TComponentObjectCount>(C_FACTORY, "ComponentObjectCount");
  EXPECT_EQ(LCount(), 1);
  EXPECT_EQ(DllRoutines::Libraries(), std::vector{Info(C_FACTORY, 1, HandleOf(C_FACTORY))});
  LObj->Release();
  EXPECT_EQ(LCount(), 0);

  IUnknown* LUnknown = nullptr;
  EXPECT_EQ(DllRoutines::TryGetInstance(C_GET_INSTANCE, IID_IUnknownOwn, &LUnknown), S_OK);
  ASSERT_NE(LUnknown, nullptr);
  ASSERT_EQ(LUnknown->QueryInterface(IID_IOvTestComponent, reinterpret_cast<void**>(&LObj)), S_OK);
  EXPECT_EQ(LObj->GetComponent(&LComponent), S_OK);
  EXPECT_EQ(LComponent, C_COMPONENT_GET_INSTANCE);
  LObj->Release();
  LUnknown->Release();

  // The factory waits for a thread of its own that uses the registry: were the factory called under
  // the lock, the thread would wait for it, and the factory would give up after 10 s.
  using TResult = std::tuple<DWORD, void*, int32_t>;  // the thread, its GetTickCount, its load counter
  TResult LResult{0, nullptr, -1};
  DllRoutines::GetAs<TComponentSetFactoryWait>(C_FACTORY, "ComponentSetFactoryWait")(
      [](void* AResult) -> void WINAPI {
        *static_cast<TResult*>(AResult) = {GetCurrentThreadId(), DllRoutines::Call(L"kernel32.dll", L"GetTickCount"),
                                           DllRoutines::LoadLibrary(C_RESOURCES, 0)->LoadCounter()};
        DllRoutines::FreeLibrary(C_RESOURCES);
      },
      &LResult);
  LObj = nullptr;
  EXPECT_EQ(DllRoutines::TryGetInstance(C_FACTORY, IID_IOvTestComponent, &LObj), S_OK);
  ASSERT_NE(LObj, nullptr);
  LObj->Release();
  EXPECT_NE(std::get<0>(LResult), 0u);
  EXPECT_NE(std::get<0>(LResult), GetCurrentThreadId());
  EXPECT_EQ(std::get<1>(LResult), reinterpret_cast<void*>(&::GetTickCount));
  EXPECT_EQ(std::get<2>(LResult), 1);
}

TEST_F(DllRoutinesTest, AFailedGetInstanceGivesTheExactCodeAndText) {
  const GUID LUnknownIID = {0x01234567, 0x89AB, 0xCDEF, {1, 2, 3, 4, 5, 6, 7, 8}};
  struct {
    const wchar_t* Library;
    const GUID* IID;
    bool NullObj;
    HRESULT Code;
    const wchar_t* Hex;
    const wchar_t* Text;  // Wine 8's, which has none for the last two
  } const LCases[] = {
      {C_MISSING, &IID_IOvTestComponent, false, HRESULT(C_MOD_NOT_FOUND), L"0000007E", L"Module not found"},
      {C_RESOURCES, &IID_IOvTestComponent, false, E_NOTIMPL, L"80004001", L"Not implemented"},
      {C_FACTORY, &LUnknownIID, false, E_NOINTERFACE, L"80004002", L""},
      {C_FACTORY, &IID_IOvTestComponent, true, E_POINTER, L"80004003", L""},
  };
  for (const auto& C : LCases) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(C.Library) + L" " + C.Hex));
    void* LObj = reinterpret_cast<void*>(0x1234);
    void** LObjAddress = C.NullObj ? nullptr : &LObj;
    EXPECT_EQ(DllRoutines::TryGetInstance(C.Library, *C.IID, LObjAddress), C.Code);
    if (!C.NullObj) {
      EXPECT_EQ(LObj, nullptr) << "the out parameter is cleared first";
    }
    EXPECT_EQ(InitErrorOf([&] { DllRoutines::GetInstance(C.Library, *C.IID, LObjAddress); }),
              L"An error occurred while loading library \"" + std::wstring(C.Library) + L"\".\r\n\r\nError code: 0x" +
                  C.Hex + L"\r\nError message: " + C.Text +
                  L"\r\n\r\nIt may have been removed. Please reinstall the application. If the "
                  L"problem persists, contact technical support.");
  }
  EXPECT_EQ(DllRoutines::GetAs<TComponentObjectCount>(C_FACTORY, "ComponentObjectCount")(), 0);

  // An exception on the way is code 2 for GetInstance and E_UNEXPECTED for TryGetInstance; the lock
  // is left behind.
  UseHook();
  GHook.OnLoad = [](const std::wstring&) { throw Rtl::EConvertError(L"thrown by the loader"); };
  void* LObj = nullptr;
  EXPECT_EQ(DllRoutines::TryGetInstance(C_GET_INSTANCE, IID_IOvTestComponent, &LObj), E_UNEXPECTED);
  EXPECT_NE(InitErrorOf([&] { DllRoutines::GetInstance(C_GET_INSTANCE, IID_IOvTestComponent, &LObj); })
                .find(L"\r\n\r\nError code: 0x00000002\r\nError message: File not found\r\n"),
            std::wstring::npos);
  GHook.OnLoad = nullptr;
  std::thread([] { EXPECT_NE(DllRoutines::Get(L"kernel32.dll", L"GetTickCount"), nullptr); }).join();
}

TEST_F(DllRoutinesTest, FreeUnusedLibrariesKeepsWhatCantUnloadPassesAgainAfterFreeingAndFreeAllLibrariesDoesNot) {
  IOvTestComponent* LObj = nullptr;
  DllRoutines::GetInstance(C_FACTORY, IID_IOvTestComponent, &LObj);
  DllRoutines::FreeLibrary(DllRoutines::LoadLibrary(C_RESOURCES, 0));  // counter 0, no handle
  DllRoutines::LoadLibrary(C_GET_INSTANCE, 0);                          // counter 1, no unload query
  DllRoutines::Get(C_MISSING, L"Anything");                            // failed
  const std::vector<bool> LCanUnload{false, true, false, true};
  for (size_t I = 0; I < LCanUnload.size(); ++I)
    EXPECT_EQ(DllRoutines::GetItemByName(DllRoutines::Libraries()[I].Name)->IsCanUnload(), LCanUnload[I]) << I;
  DllRoutines::FreeUnusedLibraries();
  EXPECT_EQ(DllRoutines::Libraries(), (std::vector{Info(C_FACTORY, 1, HandleOf(C_FACTORY)),
                                                   Info(C_GET_INSTANCE, 1, HandleOf(C_GET_INSTANCE))}));

  // The library's own answer stands above its counter.
  LObj->Release();
  DllRoutines::FreeUnusedLibraries();
  EXPECT_FALSE(IsLoaded(C_FACTORY));
  EXPECT_EQ(DllRoutines::Libraries(), std::vector{Info(C_GET_INSTANCE, 1, HandleOf(C_GET_INSTANCE))});

  // A library that says it can't unload, without any object alive.
  DllRoutines::TryGetInstance(C_FACTORY, IID_IOvTestComponent, &LObj);
  LObj->Release();
  DllRoutines::GetAs<TComponentLockServer>(C_FACTORY, "ComponentLockServer")(TRUE);
  DllRoutines::FreeUnusedLibraries();
  EXPECT_TRUE(IsLoaded(C_FACTORY));
  DllRoutines::FreeAllLibraries();
  EXPECT_TRUE(DllRoutines::Libraries().empty());
  EXPECT_FALSE(IsLoaded(C_FACTORY));
  EXPECT_FALSE(IsLoaded(C_GET_INSTANCE));

  // Another pass while a pass freed something.
  for (const wchar_t* LName : {C_FACTORY_V1, C_FACTORY}) {
    IUnknown* LObj = nullptr;
    ASSERT_EQ(DllRoutines::TryGetInstance(LName, IID_IUnknownOwn, &LObj), S_OK);
    LObj->Release();
  }
  // The last item, walked first, can unload only once the first one is gone.
  DllRoutines::GetAs<TComponentSetUnloadBlocker>(C_FACTORY, "ComponentSetUnloadBlocker")(C_FACTORY_V1);
  DllRoutines::FreeUnusedLibraries();
  EXPECT_TRUE(DllRoutines::Libraries().empty());
  EXPECT_FALSE(IsLoaded(C_FACTORY));
  EXPECT_FALSE(IsLoaded(C_FACTORY_V1));
}

// ---- Versions and resources ---------------------------------------------------------------------

TEST_F(DllRoutinesTest, GetVersionAsksForTheLongRecordThenTheShortOne) {
  DLLVERSIONINFO2 LInfo;
  ASSERT_TRUE(DllRoutines::GetVersion(C_FACTORY, LInfo));
  EXPECT_EQ((std::vector<DWORD>{LInfo.info1.cbSize, LInfo.info1.dwMajorVersion, LInfo.info1.dwMinorVersion,
                                 LInfo.info1.dwBuildNumber, LInfo.info1.dwPlatformID}),
            (std::vector<DWORD>{32, 6, 1, 7601, 2}));
  EXPECT_EQ(LInfo.ullVersion, MAKEDLLVERULL(6, 1, 7601, 0));
  EXPECT_FALSE(IsLoaded(C_FACTORY)) << "the load lasts as long as the call";
  EXPECT_EQ(DllRoutines::Libraries(), std::vector{Info(C_FACTORY, 0, 0)});

  DllRoutines::LoadLibrary(C_FACTORY_V1, 0);  // kept loaded, so that its record of calls can be read
  ASSERT_TRUE(DllRoutines::GetVersion(C_FACTORY_V1, LInfo));
  EXPECT_EQ(LInfo.info1.cbSize, 20u);
  EXPECT_EQ(LInfo.info1.dwMinorVersion, 2u);
  EXPECT_EQ(LInfo.ullVersion, 0u);
  std::vector<DWORD> LSizes(4);
  EXPECT_EQ(DllRoutines::GetAs<TComponentVersionSizes>(C_FACTORY_V1, "ComponentVersionSizes")(LSizes.data(), 4), 2);
  EXPECT_EQ(LSizes, (std::vector<DWORD>{32, 20, 0, 0}));
  EXPECT_EQ(DllRoutines::GetItemByName(C_FACTORY_V1)->LoadCounter(), 1);

  for (const wchar_t* LName : {C_RESOURCES, C_MISSING}) {
    std::memset(&LInfo, 0xCD, sizeof(LInfo));
    EXPECT_FALSE(DllRoutines::GetVersion(LName, LInfo)) << LName;
    EXPECT_EQ(LInfo.info1.cbSize, 0u);
    EXPECT_EQ(LInfo.ullVersion, 0u);
  }

  struct {
    const wchar_t* Library;
    uint16_t MinMajor, MinMinor, MaxMajor, MaxMinor;
    bool Expected;
  } const LCases[] = {
      {C_FACTORY, 6, 1, 6, 1, true},       {C_FACTORY, 6, 2, 6, 2, false},     {C_FACTORY_V1, 6, 1, 6, 1, false},
      {C_FACTORY_V1, 6, 2, 6, 2, true},    {C_FACTORY, 6, 0, 6, 1, true},      {C_FACTORY, 6, 2, 7, 0, false},
      {C_FACTORY, 5, 65535, 6, 0, false},  {C_FACTORY, 6, 1, 6, 0, false},     {C_FACTORY, 0, 0, 65535, 65535, true},
      {C_RESOURCES, 0, 0, 65535, 65535, false}, {C_MISSING, 0, 0, 65535, 65535, false},
  };
  for (const auto& C : LCases)
    EXPECT_EQ(DllRoutines::IsVersion(C.Library, C.MinMajor, C.MinMinor, C.MaxMajor, C.MaxMinor), C.Expected)
        << testing::PrintToString(std::wstring(C.Library)) << " " << C.MinMajor << "." << C.MinMinor << "-"
        << C.MaxMajor << "." << C.MaxMinor;
}

TEST_F(DllRoutinesTest, GetResourceStringReadsTheStringTableOfAnImage) {
  std::wstring L259;
  while (L259.size() < 259) L259 += L"0123456789";
  L259.resize(259);
  struct {
    uint32_t Id;
    std::wstring Expected;
  } const LCases[] = {{100, L"String one hundred"},
                      {static_cast<uint32_t>(-100), L"String one hundred"},
                      {1, L"String one"},
                      {0xFFFFFFFF, L"String one"},
                      {101, L""},
                      {300, L259},
                      {0x80000000, L""}};
  for (const auto& C : LCases) EXPECT_EQ(DllRoutines::GetResourceString(C_RESOURCES, C.Id), C.Expected) << C.Id;
  EXPECT_FALSE(IsLoaded(C_RESOURCES)) << "an image resource is no loaded module";
  EXPECT_EQ(DllRoutines::Libraries(), std::vector{Info(C_RESOURCES, 0, 0, 0, LOAD_LIBRARY_AS_IMAGE_RESOURCE)});
  EXPECT_EQ(DllRoutines::GetResourceString(C_MISSING, 100), L"");

  DllRoutines::FreeAllLibraries();
  DllRoutines::Call(C_RESOURCES, L"ComponentAdd");
  EXPECT_EQ(DllRoutines::GetResourceString(C_RESOURCES, 100), L"String one hundred");
  EXPECT_EQ(DllRoutines::Libraries(), std::vector{Info(C_RESOURCES, 1, HandleOf(C_RESOURCES))});
}

// ---- Locking ------------------------------------------------------------------------------------

TEST_F(DllRoutinesTest, ALibrarysStartAndStopCodeMayUseTheRegistryOnItsThread) {
  UseHook();
  GHook.OnLoad = [](const std::wstring& AName) {
    if (Rtl::SameText(AName, C_RESOURCES)) {
      DllRoutines::Call(L"kernel32.dll", L"GetTickCount");
      DllRoutines::LoadLibrary(C_GET_INSTANCE, 0);
    }
  };
  EXPECT_EQ(DllRoutines::CallAs<TComponentAdd>(C_RESOURCES, "ComponentAdd")(1, 1), 2);
  EXPECT_EQ(DllRoutines::Libraries(),
            (std::vector{Info(C_RESOURCES, 1, HandleOf(C_RESOURCES)), Info(L"kernel32.dll", 1, HandleOf(L"kernel32.dll")),
                         Info(C_GET_INSTANCE, 1, HandleOf(C_GET_INSTANCE))}));

  // An unload that loads another library in the middle of the walk.
  IUnknown* LObj = nullptr;
  DllRoutines::TryGetInstance(C_FACTORY, IID_IUnknownOwn, &LObj);
  LObj->Release();
  const HMODULE LFactory = GetModuleHandleW(C_FACTORY);
  GHook.OnFree = [LFactory](HMODULE AModule) {
    if (AModule == LFactory) DllRoutines::LoadLibrary(C_FACTORY_V1, 0);
  };
  DllRoutines::FreeUnusedLibraries();
  EXPECT_FALSE(IsLoaded(C_FACTORY));
  EXPECT_EQ(DllRoutines::Libraries().size(), 4u);
  EXPECT_EQ(DllRoutines::GetItemByName(C_FACTORY_V1)->LoadCounter(), 1);
}

TEST_F(DllRoutinesTest, LockHoldsOtherThreadsCallsAndIsReentrant) {
  std::atomic<bool> LResolved{false};
  DllRoutines::Lock();
  std::thread LOther([&] { LResolved = DllRoutines::Get(L"kernel32.dll", L"GetTickCount") != nullptr; });
  EXPECT_NE(DllRoutines::Call(L"kernel32.dll", L"GetTickCount"), nullptr);
  Sleep(200);
  EXPECT_FALSE(LResolved.load());
  DllRoutines::Unlock();
  LOther.join();
  EXPECT_TRUE(LResolved.load());
}

// ---- Concurrency --------------------------------------------------------------------------------

// Eight threads call two modules ten thousand times each while a third library comes and goes and
// the registry is swept.
TEST_F(DllRoutinesTest, EightThreadsCallTwoModulesTenThousandTimesEach) {
  using TRtlNtStatusToDosError = ULONG(WINAPI*)(LONG AStatus);
  static std::atomic<int> SFailures;
  static std::atomic<bool> SDone;
  SFailures = 0;
  SDone = false;
  const LPTHREAD_START_ROUTINE LCallTwoModules = [](void*) -> DWORD WINAPI {
    for (int I = 0; I < 10000; ++I)
      if (!(I % 2 ? DllRoutines::CallAs<decltype(&::GetCurrentThreadId)>(L"kernel32.dll", "GetCurrentThreadId")() ==
                        GetCurrentThreadId()
                  : DllRoutines::CallAs<TRtlNtStatusToDosError>(L"ntdll.dll", "RtlNtStatusToDosError")(
                        static_cast<LONG>(0xC0000034)) == ERROR_FILE_NOT_FOUND))
        ++SFailures;
    return 0;
  };
  const LPTHREAD_START_ROUTINE LLoadAndSweep = [](void*) -> DWORD WINAPI {
    for (; !SDone; DllRoutines::FreeUnusedLibraries()) DllRoutines::FreeLibrary(DllRoutines::LoadLibrary(C_RESOURCES, 0));
    return 0;
  };
  const size_t LHandlesBefore = CountProcessHandles();
  {
    std::vector<Rtl::THandleOwner> LThreads;
    std::vector<HANDLE> LHandles;
    for (int I = 0; I < 8; ++I)
      LHandles.push_back(LThreads.emplace_back(CreateThread(nullptr, 0, LCallTwoModules, nullptr, 0, nullptr)).get());
    Rtl::THandleOwner LMixerThread(CreateThread(nullptr, 0, LLoadAndSweep, nullptr, 0, nullptr));
    ASSERT_EQ(WaitForMultipleObjects(8, LHandles.data(), TRUE, 120000), WAIT_OBJECT_0) << "deadlock";
    SDone = true;
    ASSERT_EQ(WaitForSingleObject(LMixerThread.get(), 30000), WAIT_OBJECT_0);
  }
  EXPECT_EQ(SFailures.load(), 0);
  EXPECT_EQ(DllRoutines::GetItemByName(L"kernel32.dll")->LoadCounter(), 1);
  EXPECT_EQ(DllRoutines::GetItemByName(L"ntdll.dll")->LoadCounter(), 1);
  EXPECT_EQ(CountProcessHandles(), LHandlesBefore);
}

}  // namespace
