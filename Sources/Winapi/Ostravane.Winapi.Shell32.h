// Shell32: the shell's functions and dialogs, several exported by ordinal only, bound late through
// DllRoutines.
#pragma once
#include "Ostravane.Winapi.LateBound.h"
#include "Ostravane.Winapi.Types.h"

#include <shlobj.h>
#include <shellapi.h>

namespace Ostravane {

// Every wrapper raises EOSError (the load error, or 1) when its function is missing, before the
// function runs. Plain: the system's result; Boolean: a non-zero result as true. String parameters
// also take a UnicodeString; those of SHRunDialog, SHObjectProperties, SHNetConnectionDialog,
// SHStartNetConnectionDialog, SHOpenWith and SHRestartDialog go as nil when empty.
class OVRTL_API Shell32 final {
  OV_STATIC_CLASS
 public:
  Shell32() = delete;
  static constexpr TModuleName C_MODULE{L"shell32.dll"};
  // The ordinals of the functions exported without a name.
  static constexpr uint16_t C_SH_RUN_DIALOG = 61;
  static constexpr uint16_t C_SH_CHANGE_ICON = 62;
  static constexpr uint16_t C_SH_FIND_FILES = 90;
  static constexpr uint16_t C_SH_FIND_COMPUTER = 91;
  static constexpr uint16_t C_SH_NET_CONNECTION_DIALOG = 160;
  static constexpr uint16_t C_SH_OBJECT_PROPERTIES = 178;
  static constexpr uint16_t C_SH_START_NET_CONNECTION_DIALOG = 215;
  static constexpr uint16_t C_RESTART_DIALOG_EX = 730;

  // A function of the module by name or by ordinal; EOSError (the load error, or 1 when it is missing).
  static void* Call(const UnicodeString& AProcName);
  static void* Call(uint16_t AProcIndex);

  OV_LATE_BOUND(Boolean, SHGetSpecialFolderPath, "SHGetSpecialFolderPathW", ::SHGetSpecialFolderPathW)
  OV_LATE_BOUND(Plain, SHFormatDrive, "SHFormatDrive", ::SHFormatDrive)
  static constexpr auto SHRunDialog = &TLateBoundOrdinal<C_MODULE, C_SH_RUN_DIALOG, TSHRunDialog, true>::Plain;
  static constexpr auto SHChangeIcon = &TLateBoundOrdinal<C_MODULE, C_SH_CHANGE_ICON, TSHChangeIcon>::Plain;
  static constexpr auto SHFindFiles = &TLateBoundOrdinal<C_MODULE, C_SH_FIND_FILES, TSHFindFiles>::Boolean;
  static constexpr auto SHFindComputer = &TLateBoundOrdinal<C_MODULE, C_SH_FIND_COMPUTER, TSHFindComputer>::Boolean;
  static constexpr auto SHObjectProperties =
      &TLateBoundOrdinal<C_MODULE, C_SH_OBJECT_PROPERTIES, TSHObjectProperties, true>::Boolean;
  static constexpr auto SHNetConnectionDialog =
      &TLateBoundOrdinal<C_MODULE, C_SH_NET_CONNECTION_DIALOG, TSHNetConnectionDialog, true>::Plain;
  static constexpr auto SHStartNetConnectionDialog =
      &TLateBoundOrdinal<C_MODULE, C_SH_START_NET_CONNECTION_DIALOG, TSHStartNetConnectionDialog, true>::Plain;
  static constexpr auto SHOpenWith = &TLateBound<C_MODULE, "OpenAs_RunDLLW", TOpenAsRunDLL, true>::Plain;
  // RestartDialogEx (ordinal 730): true when it returns 1 (IDOK).
  static bool SHRestartDialog(HWND AWinParent, TWideArgOrNil APrompt, DWORD AFlags, DWORD AReasonCode);
  OV_LATE_BOUND(Plain, SHGetImageList, "SHGetImageList", ::SHGetImageList)
  OV_LATE_BOUND(Plain, SHGetSetSettings, "SHGetSetSettings", ::SHGetSetSettings)
  // *ppv is cleared before the call (when ppv isn't null); the system's HRESULT.
  static HRESULT SHGetPropertyStoreForWindow(HWND hwnd, REFIID riid, void** ppv);
};

}  // namespace Ostravane
