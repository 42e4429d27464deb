// The unit table and the package entry points.
#include "OvComponentsRTL.h"

#include <iterator>

#include "Ostravane.Debug.LogFile.h"
#include "Ostravane.DllRoutines.h"
#include "Ostravane.Project.EventNotifier.h"
#include "Ostravane.Project.InterfacedObject.h"
#include "Ostravane.Project.Settings.h"
#include "Ostravane.Winapi.Messages.h"
#include "Ostravane.Rtl.Classes.h"
#include "Ostravane.System.Thread.h"
#include "Ostravane.System.Timer.h"
#include "Ostravane.System.Win.OSInfo.h"
#include "Ostravane.Utils.Crypt.Twofish.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(PackageFrame, nullptr)

namespace {

// Every unit stands behind the units that it uses; stop runs the table backward.
const TPackageUnitEntry C_UNITS[] = {
    {L"Ostravane.Rtl.Classes", &Rtl::InitThreadSynchronization, &Rtl::DoneThreadSynchronization,
     L"the loading thread serves Synchronize", L"synchronisation ends"},
    {L"Ostravane.Debug.Common", nullptr, nullptr, L"constants are there", L"nothing to clear"},
    {L"Ostravane.System.SysUtils", nullptr, nullptr, L"nothing", L"nothing"},
    {L"Ostravane.Debug.LogFile", &TDebugLogFile::Init, &TDebugLogFile::Done, L"TDebugLogFile.Init",
     L"TDebugLogFile.Done, clears the log folder"},
    {L"Ostravane.Debug.Log", nullptr, nullptr, L"nothing", L"nothing"},
    {L"Ostravane.DllRoutines", &DllRoutines::Init, &DllRoutines::Done, L"DllRoutines.Init",
     L"DllRoutines.Done, frees all libraries"},
    {L"Ostravane.System.Win.Registry", nullptr, nullptr, L"nothing", L"nothing"},
    {L"Ostravane.System.Win.OSInfo", &OSInfo::Init, &OSInfo::Done, L"OSInfo.Init", L"OSInfo.Done"},
    {L"Ostravane.System.FileVersionInfo", nullptr, nullptr, L"nothing", L"nothing"},
    {L"Ostravane.Winapi.Messages", &ExtMessages::Init, &ExtMessages::Done, L"ExtMessages.Init", L"clears its names"},
    {L"Ostravane.System.Thread", &TThread::Init, &TThread::Done, L"TThread.Init", L"TThread.Done"},
    {L"Ostravane.System.HighClock", nullptr, nullptr, L"nothing", L"nothing"},
    {L"Ostravane.System.Timer", &Timer::Init, &Timer::Done, L"Timer.Init", L"Timer.Done"},
    {L"Ostravane.Project.EventNotifier", &EventNotifier::Init, &EventNotifier::Done, L"EventNotifier.Init",
     L"EventNotifier.Done, frees the hidden window"},
    {L"Ostravane.Utils.Crypt.Twofish", &CryptTwofish::PreCompMDS, nullptr, L"CryptTwofish.PreCompMDS", L"nothing"},
    {L"Ostravane.Project.InterfacedObject", &TInterfacedObject::Init, &TInterfacedObject::Done, L"TInterfacedObject.Init",
     L"TInterfacedObject.Done, reports classes left alive"},
    {L"Ostravane.Project.Settings", &CommonSettings::Init, &CommonSettings::Done, L"CommonSettings.Init",
     L"CommonSettings.Done"},
};
constexpr int32_t C_UNIT_COUNT = static_cast<int32_t>(std::size(C_UNITS));

const TPackageInfoTable C_PACKAGE_INFO{C_UNIT_COUNT, C_UNITS};

// The counters start at 0: a start takes 1 away, a stop adds 1.
int32_t GUseCounters[C_UNIT_COUNT] = {};
std::vector<TUnitEvent> GEvents;

}  // namespace

int32_t PackageFrame::UseCounter(int32_t AUnit) noexcept {
  return AUnit >= 0 && AUnit < C_UNIT_COUNT ? GUseCounters[AUnit] : 0;
}

std::vector<TUnitEvent> PackageFrame::Events() { return GEvents; }

}  // namespace Ostravane

using namespace Ostravane;

extern "C" void Initialize() {
  for (int32_t I = 0; I < C_UNIT_COUNT; ++I) {
    const int32_t LRead = GUseCounters[I]--;
    if (LRead != 0) continue;
    GEvents.push_back({I, true});
    if (C_UNITS[I].Init) C_UNITS[I].Init();
  }
}

extern "C" void Finalize() {
  for (int32_t I = C_UNIT_COUNT - 1; I >= 0; --I) {
    if (++GUseCounters[I] != 0) continue;
    GEvents.push_back({I, false});
    if (C_UNITS[I].FInit) C_UNITS[I].FInit();
  }
}

extern "C" const TPackageInfoTable* GetPackageInfoTable() { return &C_PACKAGE_INFO; }
