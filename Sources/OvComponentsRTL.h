// The package frame of OvComponentsRTL: the table of its units and the entry points that start and
// stop them. The host calls Initialize after loading the library and Finalize before unloading it;
// nothing starts from DllMain, where windows and threads can't be made.
#pragma once
#include <vector>

#include "Ostravane.Rtl.System.h"

namespace Ostravane {
struct TPackageInfoTable;
}

extern "C" {
// Starts every unit in the table's order; a unit reached again only counts. An exception of a start
// step passes to the caller.
OVRTL_API void Initialize();
// Stops every unit in the reverse order; the last stop of a unit runs its stop step.
OVRTL_API void Finalize();
OVRTL_API const Ostravane::TPackageInfoTable* GetPackageInfoTable();
}

namespace Ostravane {

// One unit of the table: its start and stop steps (nullptr where it has no work), and what they do.
struct TPackageUnitEntry {
  const wchar_t* UnitName;
  void (*Init)();
  void (*FInit)();
  const wchar_t* StartText;
  const wchar_t* StopText;
};

struct TPackageInfoTable {
  int32_t UnitCount;
  const TPackageUnitEntry* UnitInfo;
};

// A start or stop step the frame ran, by index in the unit table.
struct TUnitEvent {
  int32_t Unit;
  bool Started;
};

class OVRTL_API PackageFrame final {
  OV_STATIC_CLASS
 public:
  PackageFrame() = delete;
  // The use counter of a unit: 0 when stopped, -N after N starts that have no stop yet.
  static int32_t UseCounter(int32_t AUnit) noexcept;
  // The start and stop steps run so far in this process, in their order.
  static std::vector<TUnitEvent> Events();
};

// Starts the library for the length of a scope and stops it on every way out.
class TLibraryScope {
 public:
  TLibraryScope() { Initialize(); }
  ~TLibraryScope() { Finalize(); }
  TLibraryScope(const TLibraryScope&) = delete;
  TLibraryScope& operator=(const TLibraryScope&) = delete;
};

}  // namespace Ostravane

