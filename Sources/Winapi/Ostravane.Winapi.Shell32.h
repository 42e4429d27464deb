// Shell32: the shell's functions and dialogs, several exported by ordinal only, bound late through
// DllRoutines.
#pragma once
#include "Ostravane.Winapi.LateBound.h"
#include "Ostravane.Winapi.Types.h"

#include <shlobj.h>
#include <shellapi.h>
#include <wrl/client.h>

namespace Ostravane {

// Every wrapper raises EOSError (the load error, or 1) when its function is missing, before the
// function runs. Plain: the system's result; Boolean: a non-zero result as true. String parameters
// also take a UnicodeString; those of SHRunDialog, SHObjectProperties, SHNetConnectionDialog,
// SHStartNetConnectionDialog, SHOpenWith and SHRestartDialog go as nil when empty.
//
// Command lines: CommandLineToArgv splits a line into the program and the rest the way a user
// writes it, unquoted paths with blanks included: it looks on disk for the longest leading part
// that names a file. Nothing in the result is expanded. It reaches the file system only through
// FileExists, Kernel32.ExpandEnvironmentStrings and Kernel32.GetLongPathName, and a line that
// starts with a double quote not at all.
//
// Item id lists: a PItemIDList is the system's chain of items, each starting with its 16-bit size
// cb, ended by an item with cb 0. Lists made here are blocks of CoTaskMemAlloc, given back with
// DisposePIDL (or CoTaskMemFree).
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

  // A special folder (CSIDL_...) with a trailing path delimiter; empty on failure.
  static UnicodeString SHGetSpecialFolderPath(int32_t AFolder, bool ACanCreate);
  // AFileName trimmed, in double quotes when it holds a blank (a double quote inside doubled), then
  // one blank and AParams trimmed, when AParams isn't blank.
  static UnicodeString MakeCommand(const UnicodeString& AFileName, const UnicodeString& AParams);
  // The system's split (CommandLineToArgvW): AFileName the first element without double quotes,
  // AParams the line without every occurrence of that name (in double quotes when the line starts
  // so), ignoring case, trimmed. An empty line, which the system would answer with this program's
  // own path, gives both empty.
  static void CommandLineToArgvInternal(const UnicodeString& ACommand, UnicodeString& AFileName,
                                        UnicodeString& AParams);
  // AFileName the longest leading part of the trimmed line that names an existing file (environment
  // strings expanded and short names made long for the test only), AParams the line without every
  // occurrence of it, ignoring case, trimmed. A line that starts with a double quote, or names no
  // file, goes to CommandLineToArgvInternal.
  static void CommandLineToArgv(const UnicodeString& ACommand, UnicodeString& AFileName, UnicodeString& AParams);
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

  // A zeroed block of ASize bytes; nil when there is no memory (or ASize is below 0).
  static LPITEMIDLIST CreatePIDL(int32_t ASize) noexcept;
  // Gives the block back and sets APIDL to nil.
  static void DisposePIDL(LPITEMIDLIST& APIDL) noexcept;
  // The item behind AIDList's first one; nil for nil.
  static LPITEMIDLIST NextPIDL(LPCITEMIDLIST AIDList) noexcept;
  // The bytes of every item and the 2 of the terminator; 0 for nil.
  static int32_t GetPIDLSize(LPCITEMIDLIST AIDList) noexcept;
  // The number of items; 0 for nil.
  static int32_t GetPIDLCount(LPCITEMIDLIST AIDList) noexcept;
  // A copy in a new block; nil for nil or when there is no memory.
  static LPITEMIDLIST CopyPIDL(LPCITEMIDLIST AIDList) noexcept;
  // The items of the first list, then those of the second and a terminator, in a new block; nil
  // counts as empty.
  static LPITEMIDLIST ConcatPIDLs(LPCITEMIDLIST AIDList1, LPCITEMIDLIST AIDList2) noexcept;
  // A copy of the last item with a terminator (a lone terminator for an empty list); nil for nil.
  static LPITEMIDLIST RelativePIDLFromAbsolute(LPCITEMIDLIST AAbsoluteID) noexcept;
  // The text of a STRRET by its uType: STRRET_WSTR the wide string (given back to the system with
  // CoTaskMemFree), STRRET_OFFSET the 8-bit text inside the item APIDL at uOffset, STRRET_CSTR the
  // 8-bit cStr; 8-bit text in the process's code page. Other types, and nil, give the empty string.
  static UnicodeString StrRetToString(LPCITEMIDLIST APIDL, STRRET AStrRet);
  // The desktop's item id list; nil on failure.
  static LPITEMIDLIST GetDesktopPIDL() noexcept;
  // The desktop folder; EOleSysError when the system has none.
  static Microsoft::WRL::ComPtr<IShellFolder> GetDesktopShellFolder();
  // The folder of APIDL below AFolder: AFolder's BindToObject, else its GetUIObjectOf, else its
  // CreateViewObject (none of them for a nil AFolder), else the desktop's BindToObject; nil when
  // none gives one.
  static Microsoft::WRL::ComPtr<IShellFolder> GetIShellFolder(IShellFolder* AFolder, LPCITEMIDLIST APIDL,
                                                              HWND AHandle);
};

// The system's SHELLSTATE, its bit flags read and set by index: Data holds fShowAllObjects (0) to
// fNoNetCrawling (16), Data2 fSepProcess (0) to fShowStatusBar (6). SetData and SetData2 only set
// bits below 16 and 8.
struct TShellState {
  DWORD Data;
  DWORD dwWin95Unused;
  UINT uWin95Unused;
  LONG lParamSort;
  int iSortDirection;
  UINT version;
  UINT uNotUsed;
  UINT Data2;

  bool GetData(uint32_t ABit) const noexcept { return ABit < 32 && (Data >> ABit) & 1; }
  bool GetData2(uint32_t ABit) const noexcept { return ABit < 32 && (Data2 >> ABit) & 1; }
  void SetData(uint32_t ABit, bool AValue) noexcept { SetBit(Data, ABit, AValue, 16); }
  void SetData2(uint32_t ABit, bool AValue) noexcept { SetBit(Data2, ABit, AValue, 8); }

 private:
  template <typename TFlags>
  static void SetBit(TFlags& AFlags, uint32_t ABit, bool AValue, uint32_t ASettable) noexcept {
    if (ABit >= 32) return;
    AFlags &= ~(TFlags{1} << ABit);
    if (AValue && ABit < ASettable) AFlags |= TFlags{1} << ABit;
  }
};

}  // namespace Ostravane
