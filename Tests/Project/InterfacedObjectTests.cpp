// TInterfacedObject: counts and hooks by class, COM's rules, the proxied-object link, the three
// ...Internal functions in process and through a component library that DllRoutines loads, the
// report of classes left alive at stop, and counting under four threads.
#include <gtest/gtest.h>

#include <shlwapi.h>

#include <array>
#include <atomic>
#include <cstring>
#include <thread>

#include "ComponentTest.h"
#include "Ostravane.DllRoutines.h"
#include "Ostravane.Project.InterfacedObject.h"
#include "OvComponentsRTL.h"
#include "TestSupport.h"

using namespace Ostravane;

namespace {

// {5D3C8C1E-0B5A-4C57-9C1B-4E1A2F0C7A01}, {...02}
constexpr GUID IID_IAnimal = {0x5D3C8C1E, 0x0B5A, 0x4C57, {0x9C, 0x1B, 0x4E, 0x1A, 0x2F, 0x0C, 0x7A, 0x01}};
constexpr GUID IID_IDog = {0x5D3C8C1E, 0x0B5A, 0x4C57, {0x9C, 0x1B, 0x4E, 0x1A, 0x2F, 0x0C, 0x7A, 0x02}};
constexpr GUID IID_INobody = {0x5D3C8C1E, 0x0B5A, 0x4C57, {0x9C, 0x1B, 0x4E, 0x1A, 0x2F, 0x0C, 0x7A, 0x03}};

struct IAnimal : public IUnknown {
  virtual LONG STDMETHODCALLTYPE Legs() = 0;
};
struct IDog : public IUnknown {
  virtual LONG STDMETHODCALLTYPE Barks() = 0;
};

std::vector<std::wstring> GEvents;  // hooks run under the counting lock

class TAnimal : public TInterfacedObject, public IAnimal {
  OV_INTERFACED_CLASS(TAnimal)
 public:
  LONG STDMETHODCALLTYPE Legs() override { return 4; }
  void FirstInstanceCreate() { GEvents.push_back(L"+TAnimal"); }
  void LastInstanceDestroy() { GEvents.push_back(L"-TAnimal"); }

 protected:
  using TInterfacedObject::TInterfacedObject;
};

class TDog : public TAnimal, public IDog {
  OV_INTERFACED_CLASS(TDog)
 public:
  LONG STDMETHODCALLTYPE Barks() override { return 1; }
  void FirstInstanceCreate() { GEvents.push_back(L"+TDog"); }
  void LastInstanceDestroy() { GEvents.push_back(L"-TDog"); }

 protected:
  using TAnimal::TAnimal;
};

// Inherits TDog's hooks without declaring its own: it has none.
class TPuppy : public TDog {
  OV_INTERFACED_CLASS(TPuppy)
 protected:
  using TDog::TDog;
};

class TFaultyDog : public TDog {
  OV_INTERFACED_CLASS(TFaultyDog)
 protected:
  explicit TFaultyDog(TProxiedInterfaceObject* AProxiedObject) : TDog(AProxiedObject) {
    throw Rtl::Exception(L"no dog today");
  }
};

class TFaultyHookDog : public TDog {
  OV_INTERFACED_CLASS(TFaultyHookDog)
 public:
  void FirstInstanceCreate() { throw Rtl::Exception(L"no first dog"); }
  void LastInstanceDestroy() { GEvents.push_back(L"-TFaultyHookDog"); }

 protected:
  using TDog::TDog;
};

// A client of a proxied object that counts its notices.
class TClient : public TInterfacedObject {
  OV_INTERFACED_CLASS(TClient)
 public:
  std::atomic<int> FreeNotices{0};

 protected:
  using TInterfacedObject::TInterfacedObject;
  void DoProxiedObjectFree() override { ++FreeNotices; }
};

}  // namespace

OV_IMPLEMENT_INTERFACED_CLASS(TAnimal, TInterfacedObject, OvInterfaceEntry<TAnimal, IAnimal>(IID_IAnimal))
OV_IMPLEMENT_INTERFACED_CLASS(TDog, TAnimal, OvInterfaceEntry<TDog, IDog>(IID_IDog))
OV_IMPLEMENT_INTERFACED_CLASS(TPuppy, TDog)
OV_IMPLEMENT_INTERFACED_CLASS(TFaultyDog, TDog)
OV_IMPLEMENT_INTERFACED_CLASS(TFaultyHookDog, TDog)
OV_IMPLEMENT_INTERFACED_CLASS(TClient, TInterfacedObject)

namespace {

using TEvents = std::vector<std::wstring>;

int32_t Count(Rtl::TClass AClass) { return TInterfacedObject::GetInstanceCount(AClass); }

// Counts of TAnimal, TDog, TPuppy.
std::array<int32_t, 3> Counts() {
  return {Count(TAnimal::StaticClass()), Count(TDog::StaticClass()), Count(TPuppy::StaticClass())};
}

class TInterfacedObjectTest : public testing::Test {
 protected:
  void SetUp() override { GEvents.clear(); }
  void TearDown() override { EXPECT_EQ(Counts(), (std::array<int32_t, 3>{0, 0, 0})); }
};

TEST_F(TInterfacedObjectTest, CountsByClassAndHooksInTheirOrder) {
  EXPECT_EQ(Counts(), (std::array<int32_t, 3>{0, 0, 0}));
  EXPECT_EQ(Count(TInterfacedObject::StaticClass()), 0);
  // Only a class that declares a hook has one.
  EXPECT_NE(TDog::StaticClass()->FirstInstanceCreate, nullptr);
  EXPECT_EQ(TPuppy::StaticClass()->FirstInstanceCreate, nullptr);
  EXPECT_EQ(TPuppy::StaticClass()->LastInstanceDestroy, nullptr);
  EXPECT_EQ(TClient::StaticClass()->FirstInstanceCreate, nullptr);

  TPuppy* LPuppy = TPuppy::Create();
  LPuppy->AddRef();
  EXPECT_EQ(GEvents, (TEvents{L"+TAnimal", L"+TDog"}));  // ancestors first
  EXPECT_EQ(Counts(), (std::array<int32_t, 3>{1, 1, 1}));
  EXPECT_EQ(LPuppy->ClassName(), L"TPuppy");
  TDog* LDog = TDog::Create();
  LDog->AddRef();
  TAnimal* LAnimal = TAnimal::Create();
  LAnimal->AddRef();
  EXPECT_EQ(Counts(), (std::array<int32_t, 3>{3, 2, 1}));
  EXPECT_EQ(GEvents.size(), 2u);
  EXPECT_EQ(Count(TInterfacedObject::StaticClass()), 0);  // TInterfacedObject itself isn't counted

  EXPECT_EQ(LPuppy->Release(), 0u);
  EXPECT_EQ(Counts(), (std::array<int32_t, 3>{2, 1, 0}));
  EXPECT_EQ(GEvents.size(), 2u);
  EXPECT_EQ(LDog->Release(), 0u);
  EXPECT_EQ(GEvents, (TEvents{L"+TAnimal", L"+TDog", L"-TDog"}));
  EXPECT_EQ(LAnimal->Release(), 0u);
  EXPECT_EQ(GEvents, (TEvents{L"+TAnimal", L"+TDog", L"-TDog", L"-TAnimal"}));

  // Created again, the hooks fire again; the last one goes class first.
  GEvents.clear();
  TDog* LAgain = TDog::Create();
  LAgain->Free();  // never referenced
  EXPECT_EQ(GEvents, (TEvents{L"+TAnimal", L"+TDog", L"-TDog", L"-TAnimal"}));
}

TEST_F(TInterfacedObjectTest, ComRules) {
  TDog* LDog = TDog::Create();
  IUnknown* LUnknown = nullptr;
  ASSERT_EQ(LDog->QueryInterface(__uuidof(IUnknown), reinterpret_cast<void**>(&LUnknown)), S_OK);
  EXPECT_EQ(LDog->RefCount(), 1);
  IAnimal* LAnimal = nullptr;
  ASSERT_EQ(LUnknown->QueryInterface(IID_IAnimal, reinterpret_cast<void**>(&LAnimal)), S_OK);
  IDog* LIDog = nullptr;
  ASSERT_EQ(LAnimal->QueryInterface(IID_IDog, reinterpret_cast<void**>(&LIDog)), S_OK);
  EXPECT_EQ(LAnimal->Legs(), 4);
  EXPECT_EQ(LIDog->Barks(), 1);
  EXPECT_EQ(LDog->RefCount(), 3);
  // One identity: IUnknown from every interface is the same pointer.
  IUnknown* LUnknown2 = nullptr;
  ASSERT_EQ(LIDog->QueryInterface(__uuidof(IUnknown), reinterpret_cast<void**>(&LUnknown2)), S_OK);
  EXPECT_EQ(LUnknown2, LUnknown);
  LUnknown2->Release();
  void* LNone = reinterpret_cast<void*>(1);
  EXPECT_EQ(LAnimal->QueryInterface(IID_INobody, &LNone), E_NOINTERFACE);
  EXPECT_EQ(LNone, nullptr);
  EXPECT_EQ(LAnimal->QueryInterface(IID_IAnimal, nullptr), E_POINTER);
  // TAnimal doesn't offer IDog.
  TAnimal* LPlain = TAnimal::Create();
  LPlain->AddRef();
  EXPECT_EQ(LPlain->QueryInterface(IID_IDog, &LNone), E_NOINTERFACE);
  EXPECT_EQ(LPlain->Release(), 0u);
  EXPECT_EQ(LIDog->Release(), 2u);
  EXPECT_EQ(LAnimal->Release(), 1u);
  EXPECT_EQ(Count(TDog::StaticClass()), 1);
  EXPECT_EQ(LUnknown->Release(), 0u);
}

TEST_F(TInterfacedObjectTest, DllGetInstanceInternalCodes) {
  const TInterfacedObjectClass LClasses[] = {TAnimal::StaticClass(), TDog::StaticClass()};
  // The first class that offers the interface is built; the caller holds the only reference.
  IDog* LDog = nullptr;
  ASSERT_EQ(DllGetInstanceInternal(IID_IDog, reinterpret_cast<void**>(&LDog), LClasses), S_OK);
  EXPECT_EQ(Counts(), (std::array<int32_t, 3>{1, 1, 0}));
  IAnimal* LAnimal = nullptr;
  ASSERT_EQ(DllGetInstanceInternal(IID_IAnimal, reinterpret_cast<void**>(&LAnimal), LClasses), S_OK);
  EXPECT_EQ(Counts(), (std::array<int32_t, 3>{2, 1, 0}));  // a TAnimal, the first in the list
  EXPECT_EQ(DllCanUnloadNowInternal(LClasses), S_FALSE);
  EXPECT_EQ(LDog->Release(), 0u);
  EXPECT_EQ(DllCanUnloadNowInternal(std::span<const TInterfacedObjectClass>(LClasses + 1, 1)), S_OK);
  EXPECT_EQ(DllCanUnloadNowInternal(LClasses), S_FALSE);
  EXPECT_EQ(LAnimal->Release(), 0u);
  EXPECT_EQ(DllCanUnloadNowInternal(LClasses), S_OK);
  EXPECT_EQ(DllCanUnloadNowInternal({}), S_OK);
  GEvents.clear();

  // An unknown interface: nothing built, Obj cleared.
  void* LObj = reinterpret_cast<void*>(1);
  EXPECT_EQ(DllGetInstanceInternal(IID_INobody, &LObj, LClasses), static_cast<HRESULT>(0x80004002));
  EXPECT_EQ(LObj, nullptr);
  LObj = reinterpret_cast<void*>(1);
  EXPECT_EQ(DllGetInstanceInternal(IID_IDog, &LObj, {}), static_cast<HRESULT>(0x80004002));
  EXPECT_EQ(LObj, nullptr);
  EXPECT_EQ(DllGetInstanceInternal(IID_IDog, nullptr, LClasses), E_POINTER);
  EXPECT_TRUE(GEvents.empty());

  // A constructor that raises: nothing counted, no hook.
  const TInterfacedObjectClass LFaulty[] = {TFaultyDog::StaticClass(), TDog::StaticClass()};
  LObj = reinterpret_cast<void*>(1);
  EXPECT_EQ(DllGetInstanceInternal(IID_IDog, &LObj, LFaulty), static_cast<HRESULT>(0x8000FFFF));
  EXPECT_EQ(LObj, nullptr);
  EXPECT_TRUE(GEvents.empty());
  EXPECT_EQ(Count(TFaultyDog::StaticClass()), 0);
  // A first-instance hook that raises: the classes counted so far are uncounted again.
  const TInterfacedObjectClass LFaultyHook[] = {TFaultyHookDog::StaticClass()};
  EXPECT_EQ(DllGetInstanceInternal(IID_IDog, &LObj, LFaultyHook), static_cast<HRESULT>(0x8000FFFF));
  EXPECT_EQ(LObj, nullptr);
  EXPECT_EQ(GEvents, (TEvents{L"+TAnimal", L"+TDog", L"-TFaultyHookDog", L"-TDog", L"-TAnimal"}));
  EXPECT_EQ(Count(TFaultyHookDog::StaticClass()), 0);
  EXPECT_THROW(TFaultyDog::Create(), Rtl::Exception);
}

// A record of 0xCC bytes with cbSize set.
DLLVERSIONINFO2 Record(DWORD ASize) {
  DLLVERSIONINFO2 L;
  std::memset(&L, 0xCC, sizeof(L));
  L.info1.cbSize = ASize;
  return L;
}

TEST_F(TInterfacedObjectTest, DllGetVersionInternalBySize) {
  const std::wstring LFile = OvTest::BinDir() + L"VersionMulti.dll";  // 1.2.3.4
  DLLVERSIONINFO2 L = Record(19);
  const DLLVERSIONINFO2 L19 = L;
  EXPECT_EQ(DllGetVersionInternal(LFile, L), 13);
  EXPECT_EQ(std::memcmp(&L, &L19, sizeof(L)), 0);
  L = Record(0);
  EXPECT_EQ(DllGetVersionInternal(LFile, L), 13);

  L = Record(20);
  EXPECT_EQ(DllGetVersionInternal(LFile, L), S_OK);
  EXPECT_EQ(L.info1.dwMajorVersion, 1u);
  EXPECT_EQ(L.info1.dwMinorVersion, 2u);
  EXPECT_EQ(L.info1.dwBuildNumber, 3u);  // the third field; the fourth goes only to ullVersion
  EXPECT_EQ(L.info1.dwPlatformID, 2u);
  EXPECT_EQ(L.dwFlags, 0xCCCCCCCCu);
  EXPECT_EQ(L.ullVersion, 0xCCCCCCCCCCCCCCCCull);

  for (const DWORD LSize : {32u, 40u}) {
    L = Record(LSize);
    EXPECT_EQ(DllGetVersionInternal(LFile, L), S_OK);
    EXPECT_EQ(L.info1.dwBuildNumber, 3u);
    EXPECT_EQ(L.ullVersion, 0x0001000200030004ull);
    EXPECT_EQ(L.ullVersion, MAKEDLLVERULL(1, 2, 3, 4));
    EXPECT_EQ(L.dwFlags, 0xCCCCCCCCu);
  }
  L = Record(20);
  EXPECT_EQ(DllGetVersionInternal(OvTest::BinDir() + L"VersionApp.exe", L), S_OK);
  EXPECT_EQ(L.info1.dwMajorVersion, 65535u);
  EXPECT_EQ(L.info1.dwBuildNumber, 1u);

  L = Record(32);
  const DLLVERSIONINFO2 L32 = L;
  EXPECT_EQ(DllGetVersionInternal(OvTest::BinDir() + L"VersionNone.dll", L), 87);
  EXPECT_EQ(DllGetVersionInternal(OvTest::BinDir() + L"NoSuchFile.dll", L), 87);
  EXPECT_EQ(std::memcmp(&L, &L32, sizeof(L)), 0);
}

TEST_F(TInterfacedObjectTest, ProxiedObjectTellsEachClientOnce) {
  auto* LProxied = new TProxiedInterfaceObject();
  std::vector<TClient*> LClients;
  for (int I = 0; I < 4; ++I) {
    LClients.push_back(TClient::Create(LProxied));
    LClients.back()->AddRef();
    EXPECT_EQ(LClients.back()->ProxiedObject(), LProxied);
  }
  EXPECT_EQ(LProxied->NotificationCount(), 4u);
  // A client that dies first leaves the list.
  EXPECT_EQ(LClients[1]->Release(), 0u);
  LClients.erase(LClients.begin() + 1);
  EXPECT_EQ(LProxied->NotificationCount(), 3u);
  // A notice without a link does nothing but pass on.
  TClient* LLoose = TClient::Create();
  TFreeNotificationMessage LMessage;
  LLoose->DefaultHandler(&LMessage);
  EXPECT_EQ(LLoose->FreeNotices, 0);
  LLoose->Free();
  // Another kind of message isn't a notice.
  uint16_t LOther[4] = {3, 0, 0, 0};
  LClients[0]->DefaultHandler(LOther);
  EXPECT_EQ(LClients[0]->FreeNotices, 0);
  EXPECT_EQ(LClients[0]->ProxiedObject(), LProxied);

  delete LProxied;
  for (TClient* C : LClients) {
    EXPECT_EQ(C->FreeNotices, 1);
    EXPECT_EQ(C->ProxiedObject(), nullptr);
  }
  EXPECT_EQ(Count(TClient::StaticClass()), 3);
  // Their own end doesn't reach for the proxied object any more.
  for (TClient* C : LClients) EXPECT_EQ(C->Release(), 0u);
  EXPECT_EQ(Count(TClient::StaticClass()), 0);
}

// A client and its proxied object dying at the same moment on two threads, many times: neither
// waits for the other, and every client is told at most once.
TEST_F(TInterfacedObjectTest, ClientAndProxiedObjectDyingTogetherDontDeadlock) {
  constexpr int C_ROUNDS = 300;
  int LTold = 0;
  for (int R = 0; R < C_ROUNDS; ++R) {
    auto* LProxied = new TProxiedInterfaceObject();
    TClient* LDying = TClient::Create(LProxied);
    TClient* LStaying = TClient::Create(LProxied);
    LDying->AddRef();
    LStaying->AddRef();
    std::atomic<int> LReady{0};
    std::thread LThread([&] {
      ++LReady;
      while (LReady < 2) {
      }
      LDying->Release();
    });
    ++LReady;
    while (LReady < 2) {
    }
    delete LProxied;
    LThread.join();
    EXPECT_EQ(LStaying->FreeNotices, 1);
    LTold += LStaying->FreeNotices;
    LStaying->Release();
  }
  EXPECT_EQ(LTold, C_ROUNDS);
  EXPECT_EQ(Count(TClient::StaticClass()), 0);
}

TEST_F(TInterfacedObjectTest, AClassLeftAliveIsReportedAtStop) {
  OvTest::TLogCapture LLog;
  TDog* LDog1 = TDog::Create();
  TDog* LDog2 = TDog::Create();
  TAnimal* LAnimal = TAnimal::Create();
  Finalize();  // the test program's start: this stops every unit
  Initialize();
  EXPECT_TRUE(LLog.Logged(L"TInterfacedObject         Class not destroyed: TDog (count: 2)."));
  EXPECT_TRUE(LLog.Logged(L"TInterfacedObject         Class not destroyed: TAnimal (count: 3)."));
  EXPECT_FALSE(LLog.Logged(L"Class not destroyed: TPuppy"));
  // The new tables know nothing of them; their end leaves nothing behind either.
  EXPECT_EQ(Counts(), (std::array<int32_t, 3>{0, 0, 0}));
  LDog1->Free();
  LDog2->Free();
  LAnimal->Free();
}

// ---- Many threads -----------------------------------------------------------------------------

struct THookTally {
  int First = 0;
  int Last = 0;
  bool Alive = false;
  int OutOfTurn = 0;  // a first while alive or a last while not
};
THookTally GTally[3];  // changed only in hooks, under the counting lock

void First(int AClass) {
  THookTally& T = GTally[AClass];
  if (T.Alive) ++T.OutOfTurn;
  T.Alive = true;
  ++T.First;
}
void Last(int AClass) {
  THookTally& T = GTally[AClass];
  if (!T.Alive) ++T.OutOfTurn;
  T.Alive = false;
  ++T.Last;
}

class TStress0 : public TInterfacedObject {
  OV_INTERFACED_CLASS(TStress0)
 public:
  void FirstInstanceCreate() { First(0); }
  void LastInstanceDestroy() { Last(0); }

 protected:
  using TInterfacedObject::TInterfacedObject;
};
class TStress1 : public TStress0 {
  OV_INTERFACED_CLASS(TStress1)
 public:
  void FirstInstanceCreate() { First(1); }
  void LastInstanceDestroy() { Last(1); }

 protected:
  using TStress0::TStress0;
};
class TStress2 : public TStress1 {
  OV_INTERFACED_CLASS(TStress2)
 public:
  void FirstInstanceCreate() { First(2); }
  void LastInstanceDestroy() { Last(2); }

 protected:
  using TStress1::TStress1;
};

}  // namespace

OV_IMPLEMENT_INTERFACED_CLASS(TStress0, TInterfacedObject)
OV_IMPLEMENT_INTERFACED_CLASS(TStress1, TStress0)
OV_IMPLEMENT_INTERFACED_CLASS(TStress2, TStress1)

namespace {

TEST_F(TInterfacedObjectTest, FourThreadsCountExactly) {
  constexpr int C_THREADS = 4;
  constexpr int C_OBJECTS = 10000;  // a thread
  const TInterfacedObjectClass LClasses[] = {TStress0::StaticClass(), TStress1::StaticClass(), TStress2::StaticClass()};
  std::atomic<bool> LGo{false};
  std::vector<std::thread> LThreads;
  for (int T = 0; T < C_THREADS; ++T)
    LThreads.emplace_back([&, T] {
      while (!LGo) {
      }
      // Each thread keeps a few objects alive at a time, so counts rise and fall across threads.
      std::vector<TInterfacedObject*> LAlive;
      for (int I = 0; I < C_OBJECTS; ++I) {
        TInterfacedObject* L = LClasses[(I + T) % 3]->Create(nullptr);
        L->AddRef();
        LAlive.push_back(L);
        if (LAlive.size() > static_cast<size_t>(1 + (I % 3))) {
          LAlive.front()->Release();
          LAlive.erase(LAlive.begin());
        }
      }
      for (TInterfacedObject* L : LAlive) L->Release();
    });
  LGo = true;
  for (std::thread& T : LThreads) T.join();
  for (int C = 0; C < 3; ++C) {
    EXPECT_EQ(Count(LClasses[C]), 0) << C;
    EXPECT_GT(GTally[C].First, 0) << C;
    EXPECT_EQ(GTally[C].First, GTally[C].Last) << C;
    EXPECT_EQ(GTally[C].OutOfTurn, 0) << C;
    EXPECT_FALSE(GTally[C].Alive) << C;
  }
  // An ancestor lives at least as long as any heir: it can't have more first instances.
  EXPECT_LE(GTally[0].First, GTally[1].First + GTally[2].First);
}

// ---- A component library built on the unit --------------------------------------------------

constexpr wchar_t C_COMPONENT[] = L"ComponentInterfaced.dll";

std::wstring ComponentEvents() {
  const auto LEvents =
      DllRoutines::GetAs<OvTest::TComponentInterfacedEvents>(C_COMPONENT, "ComponentInterfacedEvents");
  wchar_t LBuffer[1024];
  LEvents(LBuffer, 1024);
  return LBuffer;
}

Rtl::TClass ComponentClass(LONG AIndex) {
  const auto LClass = DllRoutines::GetAs<OvTest::TComponentInterfacedClass>(C_COMPONENT, "ComponentInterfacedClass");
  return static_cast<Rtl::TClass>(LClass(AIndex));
}

TEST_F(TInterfacedObjectTest, ComponentLibraryThroughDllRoutines) {
  OvTest::IOvTestComponent* LFirst = nullptr;
  DllRoutines::GetInstance(C_COMPONENT, OvTest::IID_IOvTestComponent, &LFirst);
  ASSERT_NE(LFirst, nullptr);
  const Rtl::TClass LBase = ComponentClass(0);
  const Rtl::TClass LItem = ComponentClass(1);
  ASSERT_NE(LBase, nullptr);
  EXPECT_EQ(Rtl::UnicodeString(LItem->ClassName), L"TComponentItem");
  LONG LComponent = 0;
  EXPECT_EQ(LFirst->GetComponent(&LComponent), S_OK);
  EXPECT_EQ(LComponent, OvTest::C_COMPONENT_INTERFACED);
  OvTest::IOvTestComponent* LSecond = nullptr;
  EXPECT_EQ(DllRoutines::TryGetInstance(C_COMPONENT, __uuidof(IUnknown), &LSecond), S_OK);
  EXPECT_EQ(Count(LBase), 2);
  EXPECT_EQ(Count(LItem), 2);
  EXPECT_EQ(ComponentEvents(), L"+TComponentBase\n+TComponentItem\n");
  void* LNone = reinterpret_cast<void*>(1);
  EXPECT_EQ(DllRoutines::TryGetInstance(C_COMPONENT, IID_INobody, &LNone), static_cast<HRESULT>(0x80004002));
  EXPECT_EQ(LNone, nullptr);
  EXPECT_EQ(Count(LItem), 2);

  // "DllCanUnloadNow" says no while an object lives.
  TLibraryItem* LLibrary = DllRoutines::GetItemByName(C_COMPONENT);
  ASSERT_NE(LLibrary, nullptr);
  EXPECT_FALSE(LLibrary->IsCanUnload());
  DllRoutines::FreeUnusedLibraries();
  EXPECT_NE(DllRoutines::GetItemByName(C_COMPONENT), nullptr);
  LFirst->Release();
  EXPECT_FALSE(DllRoutines::GetItemByName(C_COMPONENT)->IsCanUnload());
  EXPECT_EQ(Count(LItem), 1);
  LSecond->Release();
  EXPECT_EQ(Count(LItem), 0);
  EXPECT_EQ(ComponentEvents(),
            L"+TComponentBase\n+TComponentItem\n-TComponentItem\n-TComponentBase\n");
  EXPECT_TRUE(DllRoutines::GetItemByName(C_COMPONENT)->IsCanUnload());

  // "DllGetVersion" reads the library's own file: the 32-byte record first.
  DLLVERSIONINFO2 LVersion;
  ASSERT_TRUE(DllRoutines::GetVersion(C_COMPONENT, LVersion));
  EXPECT_EQ(LVersion.info1.cbSize, 32u);
  EXPECT_EQ(LVersion.info1.dwMajorVersion, 7u);
  EXPECT_EQ(LVersion.info1.dwMinorVersion, 1u);
  EXPECT_EQ(LVersion.info1.dwBuildNumber, 2600u);
  EXPECT_EQ(LVersion.info1.dwPlatformID, 2u);
  EXPECT_EQ(LVersion.ullVersion, MAKEDLLVERULL(7, 1, 2600, 5512));
  EXPECT_TRUE(DllRoutines::IsVersion(C_COMPONENT, 7, 0, 7, 1));
  const auto LGetVersion = DllRoutines::GetAs<TDllGetVersionProc>(C_COMPONENT, "DllGetVersion");
  DLLVERSIONINFO2 L = Record(19);
  EXPECT_EQ(LGetVersion(&L), 13);
  L = Record(20);
  EXPECT_EQ(LGetVersion(&L), S_OK);
  EXPECT_EQ(L.info1.dwBuildNumber, 2600u);
  EXPECT_EQ(L.ullVersion, 0xCCCCCCCCCCCCCCCCull);

  DllRoutines::FreeUnusedLibraries();
  EXPECT_EQ(DllRoutines::GetItemByName(C_COMPONENT), nullptr);
  EXPECT_EQ(GetModuleHandleW(C_COMPONENT), nullptr);
}

}  // namespace
