// Shell32's module name, its resolving operations and the wrappers written out: command lines,
// item id lists and the shell's string records.
#include "Ostravane.Winapi.Shell32.h"

#include <cstring>

#include "Ostravane.Rtl.Handles.h"
#include "Ostravane.Winapi.Kernel32.h"

namespace Ostravane {

static_assert(sizeof(TShellState) == sizeof(SHELLSTATE));

OV_IMPLEMENT_CLASS(Shell32, nullptr)

using Microsoft::WRL::ComPtr;

namespace {

constexpr Rtl::TReplaceFlags C_ALL_IGNORING_CASE = Rtl::rfReplaceAll | Rtl::rfIgnoreCase;

// The test of a command line's leading part: does it name a file, once expanded and made long.
bool NamesExistingFile(const UnicodeString& AFileName) {
  return Rtl::FileExists(Kernel32::GetLongPathName(Kernel32::ExpandEnvironmentStrings(AFileName)));
}

const SHITEMID& Item(LPCITEMIDLIST AIDList) noexcept { return AIDList->mkid; }

LPITEMIDLIST Advance(LPCITEMIDLIST AIDList, size_t ABytes) noexcept {
  return reinterpret_cast<LPITEMIDLIST>(const_cast<BYTE*>(reinterpret_cast<const BYTE*>(AIDList)) + ABytes);
}

}  // namespace

void* Shell32::Call(const UnicodeString& AProcName) {
  return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcName);
}

void* Shell32::Call(uint16_t AProcIndex) { return DllRoutines::Call(UnicodeString(C_MODULE.View()), AProcIndex); }

UnicodeString Shell32::SHGetSpecialFolderPath(int32_t AFolder, bool ACanCreate) {
  wchar_t LPath[MAX_PATH + 1] = {};
  if (!TLateBound<C_MODULE, "SHGetSpecialFolderPathW", decltype(&::SHGetSpecialFolderPathW)>::Plain(
          nullptr, LPath, AFolder, ACanCreate))
    return {};
  return Rtl::IncludeTrailingPathDelimiter(LPath);
}

UnicodeString Shell32::MakeCommand(const UnicodeString& AFileName, const UnicodeString& AParams) {
  UnicodeString LCommand = Rtl::Trim(AFileName);
  if (LCommand.find(L' ') != UnicodeString::npos) LCommand = Rtl::AnsiQuotedStr(LCommand, L'"');
  const UnicodeString LParams = Rtl::Trim(AParams);
  if (!LParams.empty()) LCommand += L" " + LParams;
  return LCommand;
}

void Shell32::CommandLineToArgvInternal(const UnicodeString& ACommand, UnicodeString& AFileName,
                                        UnicodeString& AParams) {
  AFileName.clear();
  AParams.clear();
  if (ACommand.empty()) return;
  int LCount = 0;
  LPWSTR* LArguments =
      TLateBound<C_MODULE, "CommandLineToArgvW", decltype(&::CommandLineToArgvW)>::Plain(ACommand, &LCount);
  const Rtl::TLocalMemOwner LOwner(reinterpret_cast<HLOCAL>(LArguments));
  if (!LArguments || LCount < 1) return;
  AFileName = Rtl::StringReplace(LArguments[0], L"\"", L"", Rtl::rfReplaceAll);
  const UnicodeString LQuoted = L"\"" + AFileName + L"\"";
  const bool LStartsQuoted = Rtl::SameText(ACommand.substr(0, LQuoted.size()), LQuoted);
  AParams = Rtl::Trim(Rtl::StringReplace(ACommand, LStartsQuoted ? LQuoted : AFileName, L"", C_ALL_IGNORING_CASE));
}

void Shell32::CommandLineToArgv(const UnicodeString& ACommand, UnicodeString& AFileName, UnicodeString& AParams) {
  AFileName = Rtl::Trim(ACommand);
  AParams.clear();
  if (!AFileName.empty() && AFileName.front() != L'"') {
    // Shorter and shorter leading parts, each cut at its last blank, until one names a file.
    while (!AFileName.empty() && !NamesExistingFile(AFileName)) {
      const size_t LBlank = AFileName.rfind(L' ');
      AFileName.resize(LBlank == UnicodeString::npos ? 0 : LBlank);
    }
    if (!AFileName.empty()) {
      AParams = Rtl::Trim(Rtl::StringReplace(ACommand, AFileName, L"", C_ALL_IGNORING_CASE));
      return;
    }
  }
  CommandLineToArgvInternal(ACommand, AFileName, AParams);
}

bool Shell32::SHRestartDialog(HWND AWinParent, TWideArgOrNil APrompt, DWORD AFlags, DWORD AReasonCode) {
  return TLateBoundOrdinal<C_MODULE, C_RESTART_DIALOG_EX, TRestartDialogEx, true>::Plain(AWinParent, APrompt, AFlags,
                                                                                         AReasonCode) == IDOK;
}

HRESULT Shell32::SHGetPropertyStoreForWindow(HWND hwnd, REFIID riid, void** ppv) {
  if (ppv) *ppv = nullptr;
  return TLateBound<C_MODULE, "SHGetPropertyStoreForWindow", decltype(&::SHGetPropertyStoreForWindow)>::Plain(hwnd, riid,
                                                                                                              ppv);
}

// ---- Item id lists ------------------------------------------------------------------------------

LPITEMIDLIST Shell32::CreatePIDL(int32_t ASize) noexcept {
  if (ASize < 0) return nullptr;
  void* LBlock = CoTaskMemAlloc(static_cast<SIZE_T>(ASize));
  if (LBlock) std::memset(LBlock, 0, static_cast<size_t>(ASize));
  return static_cast<LPITEMIDLIST>(LBlock);
}

void Shell32::DisposePIDL(LPITEMIDLIST& APIDL) noexcept {
  CoTaskMemFree(APIDL);
  APIDL = nullptr;
}

LPITEMIDLIST Shell32::NextPIDL(LPCITEMIDLIST AIDList) noexcept {
  return AIDList ? Advance(AIDList, Item(AIDList).cb) : nullptr;
}

int32_t Shell32::GetPIDLSize(LPCITEMIDLIST AIDList) noexcept {
  if (!AIDList) return 0;
  int32_t LSize = sizeof(USHORT);
  for (; Item(AIDList).cb != 0; AIDList = NextPIDL(AIDList)) LSize += Item(AIDList).cb;
  return LSize;
}

int32_t Shell32::GetPIDLCount(LPCITEMIDLIST AIDList) noexcept {
  if (!AIDList) return 0;
  int32_t LCount = 0;
  for (; Item(AIDList).cb != 0; AIDList = NextPIDL(AIDList)) ++LCount;
  return LCount;
}

LPITEMIDLIST Shell32::CopyPIDL(LPCITEMIDLIST AIDList) noexcept {
  if (!AIDList) return nullptr;
  const int32_t LSize = GetPIDLSize(AIDList);
  LPITEMIDLIST LCopy = CreatePIDL(LSize);
  if (LCopy) std::memcpy(LCopy, AIDList, static_cast<size_t>(LSize));
  return LCopy;
}

LPITEMIDLIST Shell32::ConcatPIDLs(LPCITEMIDLIST AIDList1, LPCITEMIDLIST AIDList2) noexcept {
  const int32_t LSize1 = AIDList1 ? GetPIDLSize(AIDList1) - static_cast<int32_t>(sizeof(USHORT)) : 0;
  const int32_t LSize2 = AIDList2 ? GetPIDLSize(AIDList2) : static_cast<int32_t>(sizeof(USHORT));
  LPITEMIDLIST LList = CreatePIDL(LSize1 + LSize2);
  if (!LList) return nullptr;
  if (LSize1 > 0) std::memcpy(LList, AIDList1, static_cast<size_t>(LSize1));
  // A nil second list leaves the zeroed terminator.
  if (AIDList2) std::memcpy(Advance(LList, static_cast<size_t>(LSize1)), AIDList2, static_cast<size_t>(LSize2));
  return LList;
}

LPITEMIDLIST Shell32::RelativePIDLFromAbsolute(LPCITEMIDLIST AAbsoluteID) noexcept {
  if (!AAbsoluteID) return nullptr;
  LPCITEMIDLIST LLast = AAbsoluteID;
  for (LPCITEMIDLIST LItem = AAbsoluteID; Item(LItem).cb != 0; LItem = NextPIDL(LItem)) LLast = LItem;
  const size_t LSize = Item(LLast).cb;
  LPITEMIDLIST LCopy = CreatePIDL(static_cast<int32_t>(LSize + sizeof(USHORT)));
  if (LCopy && LSize > 0) std::memcpy(LCopy, LLast, LSize);
  return LCopy;
}

UnicodeString Shell32::StrRetToString(LPCITEMIDLIST APIDL, STRRET AStrRet) {
  switch (AStrRet.uType) {
    case STRRET_WSTR: {
      if (!AStrRet.pOleStr) return {};
      UnicodeString LText(AStrRet.pOleStr);
      CoTaskMemFree(AStrRet.pOleStr);
      return LText;
    }
    case STRRET_OFFSET: {
      if (!APIDL || AStrRet.uOffset >= Item(APIDL).cb) return {};
      // The text ends at its NUL, and at the latest with the item.
      const char* LText = reinterpret_cast<const char*>(APIDL) + AStrRet.uOffset;
      const size_t LRoom = Item(APIDL).cb - AStrRet.uOffset;
      return Rtl::AnsiToString(LText, strnlen(LText, LRoom));
    }
    case STRRET_CSTR:
      return Rtl::AnsiToString(AStrRet.cStr, strnlen(AStrRet.cStr, sizeof(AStrRet.cStr)));
    default:
      return {};
  }
}

LPITEMIDLIST Shell32::GetDesktopPIDL() noexcept {
  LPITEMIDLIST LList = nullptr;
  if (FAILED(SHGetSpecialFolderLocation(nullptr, CSIDL_DESKTOP, &LList))) return nullptr;
  return LList;
}

ComPtr<IShellFolder> Shell32::GetDesktopShellFolder() {
  ComPtr<IShellFolder> LFolder;
  Rtl::OleCheck(SHGetDesktopFolder(&LFolder));
  return LFolder;
}

ComPtr<IShellFolder> Shell32::GetIShellFolder(IShellFolder* AFolder, LPCITEMIDLIST APIDL, HWND AHandle) {
  ComPtr<IShellFolder> LResult;
  // Each way counts only with a folder in hand: a success without one goes on to the next.
  const auto LGot = [&LResult](HRESULT AResult) {
    if (SUCCEEDED(AResult) && LResult) return true;
    LResult.Reset();
    return false;
  };
  if (AFolder && !LGot(AFolder->BindToObject(APIDL, nullptr, IID_IShellFolder, &LResult)) &&
      !LGot(AFolder->GetUIObjectOf(AHandle, 1, &APIDL, IID_IShellFolder, nullptr, &LResult)))
    LGot(AFolder->CreateViewObject(AHandle, IID_IShellFolder, &LResult));
  if (!LResult) LGot(GetDesktopShellFolder()->BindToObject(APIDL, nullptr, IID_IShellFolder, &LResult));
  return LResult;
}

}  // namespace Ostravane
