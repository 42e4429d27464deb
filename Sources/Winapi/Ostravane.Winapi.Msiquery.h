// MsiQuery: the Windows Installer functions, bound late through DllRoutines.
#pragma once
#include "Ostravane.Winapi.LateBound.h"
#include "Ostravane.Winapi.Types.h"

#include <msi.h>
#include <msiquery.h>

namespace Ostravane {

// Every wrapper raises EOSError before the system function runs when "msi.dll" or the function is
// missing (the load error, or 1); otherwise its kind tells (Ostravane.Winapi.LateBound.h).
class OVRTL_API MsiQuery final {
  OV_STATIC_CLASS
 public:
  MsiQuery() = delete;
  static constexpr TModuleName C_MODULE{L"msi.dll"};
  // A function of the module; EOSError (the load error, or 1 when it is missing).
  static void* Call(const UnicodeString& AProcName);

  OV_LATE_BOUND(Plain, MsiOpenProduct, "MsiOpenProductW", ::MsiOpenProductW)
  OV_LATE_BOUND(Plain, MsiOpenPackage, "MsiOpenPackageW", ::MsiOpenPackageW)
  OV_LATE_BOUND(Plain, MsiOpenPackageEx, "MsiOpenPackageExW", ::MsiOpenPackageExW)
  OV_LATE_BOUND(Plain, MsiSetInternalUI, "MsiSetInternalUI", ::MsiSetInternalUI)
  OV_LATE_BOUND(Plain, MsiCloseHandle, "MsiCloseHandle", ::MsiCloseHandle)
  OV_LATE_BOUND(Plain, MsiCloseAllHandles, "MsiCloseAllHandles", ::MsiCloseAllHandles)
  OV_LATE_BOUND(Plain, MsiEnumProducts, "MsiEnumProductsW", ::MsiEnumProductsW)
  OV_LATE_BOUND(Plain, MsiQueryProductState, "MsiQueryProductStateW", ::MsiQueryProductStateW)
  OV_LATE_BOUND(Plain, MsiGetComponentPath, "MsiGetComponentPathW", ::MsiGetComponentPathW)
  OV_LATE_BOUND(Plain, MsiGetProductInfo, "MsiGetProductInfoW", ::MsiGetProductInfoW)
  OV_LATE_BOUND(Plain, MsiGetShortcutTarget, "MsiGetShortcutTargetW", ::MsiGetShortcutTargetW)
  OV_LATE_BOUND(Plain, MsiDatabaseOpenView, "MsiDatabaseOpenViewW", ::MsiDatabaseOpenViewW)
  OV_LATE_BOUND(Plain, MsiRecordGetString, "MsiRecordGetStringW", ::MsiRecordGetStringW)
  OV_LATE_BOUND(Plain, MsiRecordGetInteger, "MsiRecordGetInteger", ::MsiRecordGetInteger)
  OV_LATE_BOUND(Plain, MsiViewExecute, "MsiViewExecute", ::MsiViewExecute)
  OV_LATE_BOUND(Plain, MsiViewFetch, "MsiViewFetch", ::MsiViewFetch)
  OV_LATE_BOUND(Plain, MsiDoAction, "MsiDoActionW", ::MsiDoActionW)
  OV_LATE_BOUND(Plain, MsiOpenDatabase, "MsiOpenDatabaseW", ::MsiOpenDatabaseW)
  OV_LATE_BOUND(Plain, MsiGetTargetPath, "MsiGetTargetPathW", ::MsiGetTargetPathW)
};

}  // namespace Ostravane
