// ovrtl: shows what OvComponentsRTL sees of this machine.
//   ovrtl <command> [args]   exit code 0 on success, 1 on a failure (one line on stderr), 2 on bad usage
// The switch -debug (or /debug) anywhere on the command line raises every log of the process.
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "Ostravane.Debug.Log.h"
#include "Ostravane.DllRoutines.h"
#include "Ostravane.Project.EventNotifier.h"
#include "Ostravane.Project.Settings.h"
#include "Ostravane.Rtl.Handles.h"
#include "Ostravane.System.FileVersionInfo.h"
#include "Ostravane.System.SysUtils.h"
#include "Ostravane.Utils.CpuFeatures.h"
#include "Ostravane.Utils.Crypt.Twofish.h"
#include "Ostravane.Utils.Hash.CRC32.h"
#include "Ostravane.Utils.Hash.MD5.h"
#include "Ostravane.Utils.Hash.SHA1.h"
#include "Ostravane.Utils.Hash.SHA256.h"
#include "Ostravane.System.Win.OSInfo.h"
#include "Ostravane.System.Win.Registry.h"
#include "Ostravane.Winapi.Messages.h"
#include "OvComponentsRTL.h"

using namespace Ostravane;
using Rtl::UnicodeString;

namespace {

enum class TToolLogLevel { tolNone, tolError, tolWarning, tolInfo };
}  // namespace
OV_LOG_LEVEL_RANGE(TToolLogLevel, TToolLogLevel::tolInfo)
namespace {

struct EUsage {
  std::wstring Message;
};

void Print(const std::wstring& AText) {
  const std::string LUtf8 = Rtl::UTF8Encode(AText + L"\n");
  fwrite(LUtf8.data(), 1, LUtf8.size(), stdout);
}

void PrintError(const std::wstring& AText) {
  const std::string LUtf8 = Rtl::UTF8Encode(L"ovrtl: " + AText + L"\n");
  fflush(stdout);
  fwrite(LUtf8.data(), 1, LUtf8.size(), stderr);
}

std::wstring Pad(const std::wstring& S, size_t AWidth) {
  return S.size() < AWidth ? S + std::wstring(AWidth - S.size(), L' ') : S;
}


void PrintEvents(size_t AFrom, const wchar_t* AWhat) {
  const TPackageInfoTable* LTable = GetPackageInfoTable();
  const std::vector<TUnitEvent> LEvents = PackageFrame::Events();
  for (size_t I = AFrom; I < LEvents.size(); ++I) {
    const TPackageUnitEntry& LUnit = LTable->UnitInfo[LEvents[I].Unit];
    Print(L"  " + std::wstring(AWhat) + L" " + Pad(LUnit.UnitName, 34) +
          (LEvents[I].Started ? LUnit.StartText : LUnit.StopText));
  }
}

void CommandUnits(const std::vector<std::wstring>&) {
  const TPackageInfoTable* LTable = GetPackageInfoTable();
  Print(L"Unit table of OvComponentsRTL (" + std::to_wstring(LTable->UnitCount) +
        L" units; started in this order, stopped in the reverse):");
  Print(L"  #   " + Pad(L"unit", 34) + Pad(L"start step", 40) + L"stop step");
  for (int32_t I = 0; I < LTable->UnitCount; ++I) {
    const TPackageUnitEntry& LUnit = LTable->UnitInfo[I];
    Print(L"  " + Pad(std::to_wstring(I + 1), 4) + Pad(LUnit.UnitName, 34) + Pad(LUnit.StartText, 40) + LUnit.StopText);
  }
  const size_t LBefore = PackageFrame::Events().size();
  {
    Print(L"Initialize:");
    TLibraryScope LSession;
    PrintEvents(LBefore, L"start");
    const size_t LMiddle = PackageFrame::Events().size();
    Initialize();
    Print(L"Initialize again: " + std::to_wstring(PackageFrame::Events().size() - LMiddle) +
          L" start steps ran (each unit counts its uses; use counter of the first unit: " +
          std::to_wstring(PackageFrame::UseCounter(0)) + L")");
    Finalize();
    Print(L"Finalize (the last one stops the units):");
  }
  size_t LStops = LBefore;
  while (LStops < PackageFrame::Events().size() && PackageFrame::Events()[LStops].Started) ++LStops;
  PrintEvents(LStops, L"stop ");
}

void CommandLog(const std::vector<std::wstring>& AArgs) {
  if (AArgs.size() > 1) throw EUsage{L"log takes at most one folder"};
  TLibraryScope LSession;
  const UnicodeString LExeName = Rtl::ChangeFileExt(Rtl::ExtractFileName(Rtl::ParamStr(0)), L"");
  TDebugLog<TToolLogLevel> LLog(LExeName, L"ovrtl.exe", 0);
  const int32_t LLevel = static_cast<int32_t>(LLog.GetLogLevel());
  Print(L"Log \"" + LExeName + L"\": level " + std::to_wstring(LLevel) +
        (Rtl::FindCmdLineSwitch(L"debug") ? L" (the -debug switch raised every log of the process)"
                                          : L" (silent: start with -debug to raise every log of the process)"));
  LLog.BeginProc(TToolLogLevel::tolInfo, L"CommandLog", {LExeName, LLevel}, nullptr);
  LLog.LogValue(TToolLogLevel::tolInfo, L"Units", GetPackageInfoTable()->UnitCount, nullptr);
  LLog.WriteLog(TToolLogLevel::tolInfo, L"Non-ASCII text keeps its form: 日本語, Ostrava, Příliš žluťoučký kůň");
  LLog.EndProc(TToolLogLevel::tolInfo, L"OK", nullptr);
  if (LLevel == 0) {
    Print(L"No line was kept.");
    return;
  }
  Print(L"Log folder: " + (TDebugLogFile::GetLogPath().empty() ? std::wstring(L"not set") : TDebugLogFile::GetLogPath()));
  Print(L"The folder of the log files is set by the product layer when it starts; until then the lines");
  Print(L"logged so far wait in memory. " +
        std::wstring(AArgs.empty() ? L"Give a folder (ovrtl log -debug <folder>) to see them reach the file."
                                   : L"Setting the folder now, as the product layer will:"));
  if (AArgs.empty()) return;
  TDebugLogFile::SetLogPath(AArgs[0]);
  LLog.SetDirectWrite(true);
  LLog.WriteLog(TToolLogLevel::tolInfo, L"The log folder is set.");
  const UnicodeString LFile = TDebugLogFile::GetLogPath() + LExeName + L".log";
  Rtl::TFileHandleOwner LHandle(CreateFileW(LFile.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                            nullptr, OPEN_EXISTING, 0, nullptr));
  if (!LHandle) SysUtils::RaiseLastOSError(L"Opening " + LFile);
  std::vector<wchar_t> LText(1 << 16);
  DWORD LRead = 0;
  ReadFile(LHandle.get(), LText.data(), static_cast<DWORD>(LText.size() * 2), &LRead, nullptr);
  Print(L"Contents of " + LFile + L" (UTF-16 with a byte order mark):");
  Print(std::wstring(LText.data() + 1, LRead / 2 - 1));
}

void CommandModules(const std::vector<std::wstring>& AArgs);

void CommandInfo(const std::vector<std::wstring>& AArgs) {
  if (!AArgs.empty()) throw EUsage{L"info takes no arguments"};
  CommandUnits({});
  Print(L"");
  CommandLog({});
  Print(L"");
  CommandModules({});
}

// ---- The message bus ------------------------------------------------------------------------------

// A message the programs of a product share: a short name, the name it is registered under, and
// the number this process got for it.
struct TSharedMessage {
  std::wstring Name;
  UnicodeString Registered;
  uint32_t Number;
};

std::vector<TSharedMessage> SharedMessages() {
  std::vector<TSharedMessage> L{
      {L"TaskbarCreated", S_WM_TASKBAR_CREATED, ExtMessages::FWMTaskbarCreated},
      {L"TaskbarButtonCreated", S_WM_TASKBAR_BUTTON_CREATED, ExtMessages::FWMTaskbarButtonCreated},
      {L"UninstallClose", Rtl::Format(S_WM_UNINSTALL_CLOSE_FORMAT, {ExtMessages::FWMUninstallCloseIDName}),
       ExtMessages::FWMUninstallClose},
      {L"LanguageChange", Rtl::Format(S_WM_LANGUAGE_CHANGE_FORMAT, {ExtMessages::FWMLanguageChangeIDName}),
       ExtMessages::FWMLanguageChange},
      {L"SettingsChange", Rtl::Format(S_WM_SETTINGS_CHANGE_FORMAT, {ExtMessages::FWMSettingsChangeIDName}),
       ExtMessages::FWMSettingsChange},
  };
  std::erase_if(L, [](const TSharedMessage& M) { return M.Number == 0; });
  return L;
}

std::wstring Describe(const TSharedMessage& AMessage) {
  return AMessage.Name + L" (0x" + Rtl::IntToHex(AMessage.Number, 4) + L" \"" + AMessage.Registered + L"\")";
}

uintptr_t ParseNumber(const std::wstring& AText, const wchar_t* AWhat) {
  size_t LEnd = 0;
  unsigned long LValue = 0;
  try {
    LValue = std::stoul(AText, &LEnd, 0);
  } catch (const std::logic_error&) {
    LEnd = 0;
  }
  if (AText.empty() || LEnd != AText.size()) throw EUsage{std::wstring(AWhat) + L" is not a number: " + AText};
  return LValue;
}

void CommandNotify(const std::vector<std::wstring>& AArgs) {
  if (AArgs.empty() || AArgs.size() > 2) throw EUsage{L"notify takes a message name and an optional wparam"};
  const uintptr_t LWParam = AArgs.size() > 1 ? ParseNumber(AArgs[1], L"wparam") : 0;
  TLibraryScope LSession;
  const std::vector<TSharedMessage> LShared = SharedMessages();
  std::wstring LNames;
  for (const TSharedMessage& M : LShared) {
    if (Rtl::SameText(AArgs[0], M.Name) || Rtl::SameText(AArgs[0], M.Registered)) {
      EventNotifier::NotifyBroadcast(M.Number, LWParam);
      Print(L"Broadcast " + Describe(M) + L" with wparam " + std::to_wstring(LWParam) +
            L" to every program of the desktop that has the library.");
      return;
    }
    LNames += (LNames.empty() ? L"" : L", ") + M.Name;
  }
  throw EUsage{L"no shared message \"" + AArgs[0] + L"\" (" + LNames + L")"};
}

void ListenHandler(TMessage& Message) {
  SYSTEMTIME LNow;
  GetLocalTime(&LNow);
  wchar_t LTime[16];
  swprintf(LTime, 16, L"%02u:%02u:%02u.%03u", LNow.wHour, LNow.wMinute, LNow.wSecond, LNow.wMilliseconds);
  for (const TSharedMessage& M : SharedMessages())
    if (M.Number == Message.Msg) {
      Print(std::wstring(LTime) + L"  " + Describe(M) + L"  wparam " + std::to_wstring(Message.WParam) + L"  lparam " +
            std::to_wstring(Message.LParam));
      fflush(stdout);
      return;
    }
}

void CommandListen(const std::vector<std::wstring>& AArgs) {
  if (AArgs.size() > 1) throw EUsage{L"listen takes at most a number of seconds"};
  const uintptr_t LSeconds = AArgs.empty() ? 10 : ParseNumber(AArgs[0], L"seconds");
  TLibraryScope LSession;
  std::vector<uint32_t> LNumbers;
  Print(L"Listening for " + std::to_wstring(LSeconds) + L" s to the shared messages:");
  for (const TSharedMessage& M : SharedMessages()) {
    LNumbers.push_back(M.Number);
    Print(L"  " + Describe(M));
  }
  fflush(stdout);
  EventNotifier::Register(&ListenHandler, LNumbers);
  const ULONGLONG LEnd = GetTickCount64() + LSeconds * 1000ULL;
  for (ULONGLONG LNow = GetTickCount64(); LNow < LEnd; LNow = GetTickCount64()) {
    MsgWaitForMultipleObjectsEx(0, nullptr, static_cast<DWORD>(LEnd - LNow), QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    MSG LMsg;
    while (PeekMessageW(&LMsg, nullptr, 0, 0, PM_REMOVE)) {
      TranslateMessage(&LMsg);
      DispatchMessageW(&LMsg);
    }
  }
  EventNotifier::Unregister(&ListenHandler);
  Print(L"Done.");
}

// ---- Libraries loaded on demand ------------------------------------------------------------------

std::wstring Hex(uintptr_t AValue) { return L"0x" + Rtl::IntToHex(AValue, 8); }

// Resolves ALibrary!AFunction through DllRoutines and prints the address or the error of the road.
void* ResolveAndShow(const std::wstring& ALibrary, const std::wstring& AFunction, const wchar_t* ANote = L"") {
  const std::wstring LName = Pad(ALibrary + L"!" + AFunction + ANote, 36);
  try {
    void* LProc = DllRoutines::Call(ALibrary, AFunction);
    Print(L"  " + LName + Hex(reinterpret_cast<uintptr_t>(LProc)));
    return LProc;
  } catch (const Rtl::EOSError& E) {
    Print(L"  " + LName + L"EOSError: " + E.Message);
    return nullptr;
  }
}

void CommandModules(const std::vector<std::wstring>& AArgs) {
  std::vector<std::pair<std::wstring, std::wstring>> LExtra;
  for (const std::wstring& A : AArgs) {
    const size_t P = A.find(L'!');
    if (P == 0 || P == std::wstring::npos || P + 1 == A.size()) throw EUsage{L"modules takes library!function, not " + A};
    LExtra.emplace_back(A.substr(0, P), A.substr(P + 1));
  }
  TLibraryScope LSession;
  Print(L"Late-bound calls through DllRoutines (the first use of a library loads it):");
  if (void* P = ResolveAndShow(L"kernel32.dll", L"GetProductInfo")) {
    DWORD LType = 0;
    reinterpret_cast<decltype(&::GetProductInfo)>(reinterpret_cast<void (*)()>(P))(6, 1, 0, 0, &LType);
    Print(L"    GetProductInfo(6, 1, 0, 0): product type " + Hex(LType));
  }
  if (void* P = ResolveAndShow(L"ntdll.dll", L"RtlGetVersion")) {
    RTL_OSVERSIONINFOW LInfo{};
    LInfo.dwOSVersionInfoSize = sizeof(LInfo);
    reinterpret_cast<LONG(WINAPI*)(RTL_OSVERSIONINFOW*)>(reinterpret_cast<void (*)()>(P))(&LInfo);
    Print(L"    RtlGetVersion: " + std::to_wstring(LInfo.dwMajorVersion) + L"." + std::to_wstring(LInfo.dwMinorVersion) +
          L"." + std::to_wstring(LInfo.dwBuildNumber));
  }
  const void* LIsOS = DllRoutines::Get(L"shlwapi.dll", uint16_t{437});
  Print(L"  " + Pad(L"shlwapi.dll#437 (IsOS, quiet)", 36) +
        (LIsOS ? Hex(reinterpret_cast<uintptr_t>(LIsOS)) : std::wstring(L"missing")));
  ResolveAndShow(L"ovrtl-missing.dll", L"AnyFunction");
  ResolveAndShow(L"ovrtl-missing.dll", L"AnyFunction", L" again");  // the error sticks: no second load
  ResolveAndShow(L"kernel32.dll", L"OvrtlNoSuchFunction");
  for (const auto& [LLibrary, LFunction] : LExtra) ResolveAndShow(LLibrary, LFunction);

  const std::vector<TLibraryInfo> LLibraries = DllRoutines::Libraries();
  Print(L"Libraries DllRoutines holds (" + std::to_wstring(LLibraries.size()) + L", in the order of their first use):");
  Print(L"  " + Pad(L"library", 24) + Pad(L"loads", 7) + Pad(L"handle", 12) + Pad(L"flags", 12) + L"sticky error");
  for (const TLibraryInfo& L : LLibraries)
    Print(L"  " + Pad(L.Name, 24) + Pad(std::to_wstring(L.LoadCounter), 7) + Pad(Hex(L.Handle), 12) +
          Pad(Hex(L.LoadFlag), 12) +
          (L.ErrorCode ? std::to_wstring(L.ErrorCode) + L" (" + Rtl::SysErrorMessage(L.ErrorCode) + L")"
                       : std::wstring(L"0")));
}

// ---- Hashes and cipher ---------------------------------------------------------------------------

std::wstring LowerHex(const uint8_t* ABytes, size_t ACount) {
  static const wchar_t C_DIGITS[] = L"0123456789abcdef";
  std::wstring R;
  for (size_t I = 0; I < ACount; ++I) {
    R += C_DIGITS[ABytes[I] >> 4];
    R += C_DIGITS[ABytes[I] & 15];
  }
  return R;
}

// Shows MD5's progress on stderr, a line rewritten at each whole percent.
class THashProgress {
 public:
  explicit THashProgress(int64_t ASize) : FSize(ASize) {}
  ~THashProgress() {
    if (FShown >= 0) fputs("\n", stderr);
  }
  THashProgress(const THashProgress&) = delete;
  THashProgress& operator=(const THashProgress&) = delete;
  void OnProgress(int64_t AProgress) {
    FDone += AProgress;
    const int LPercent = FSize > 0 ? static_cast<int>(FDone * 100 / FSize) : 100;
    if (LPercent == FShown) return;
    FShown = LPercent;
    fprintf(stderr, "\r%3d%% of %lld bytes", LPercent, static_cast<long long>(FSize));
    fflush(stderr);
  }

 private:
  int64_t FSize;
  int64_t FDone = 0;
  int FShown = -1;
};

constexpr int64_t C_PROGRESS_FROM = 16 << 20;  // files from 16 MiB on show their progress

// Feeds the file to AFeed in pieces of 1 MiB.
template <typename TFeed>
void ReadInPieces(Rtl::TFileStream& AFile, TFeed AFeed) {
  std::vector<uint8_t> LBuffer(1 << 20);
  for (int32_t N; (N = AFile.Read(LBuffer.data(), static_cast<int32_t>(LBuffer.size()))) > 0;) AFeed(LBuffer.data(), N);
}

// A SHA digest of the file through its context.
template <typename TContext>
std::wstring ContextDigest(Rtl::TFileStream& AFile) {
  TContext LContext;
  LContext.InitData();
  ReadInPieces(AFile, [&](const uint8_t* P, int32_t N) { LContext.UpdateData(P, N); });
  typename TContext::TValue V;
  LContext.ExtractDigest(V);
  return LowerHex(V.data(), V.size());
}

void CommandHash(const std::vector<std::wstring>& AArgs) {
  if (AArgs.size() != 2) throw EUsage{L"hash takes an algorithm (md5, sha1, sha256, crc32) and a file"};
  const std::wstring& LAlgorithm = AArgs[0];
  const std::wstring& LFileName = AArgs[1];
  if (LAlgorithm != L"md5" && LAlgorithm != L"sha1" && LAlgorithm != L"sha256" && LAlgorithm != L"crc32")
    throw EUsage{L"no hash \"" + LAlgorithm + L"\" (md5, sha1, sha256, crc32)"};
  TLibraryScope LSession;
  std::wstring LDigest;
  if (LAlgorithm == L"md5") {
    Rtl::TFileStream LFile(LFileName, Rtl::fmOpenRead | Rtl::fmShareDenyNone);
    const int64_t LSize = LFile.GetSize();
    THashProgress LProgress(LSize);
    const TMD5Value V = HashMD5::FromStream(
        LFile, nullptr,
        LSize >= C_PROGRESS_FROM ? HashMD5::TIncProgress(&LProgress, &THashProgress::OnProgress) : HashMD5::TIncProgress(),
        {});
    LDigest = LowerHex(V.V, 16);
  } else {
    Rtl::TFileStream LFile(LFileName, Rtl::fmOpenRead | Rtl::fmShareDenyWrite);
    if (LAlgorithm == L"crc32") {
      uint32_t LCrc = 0;
      ReadInPieces(LFile, [&](const uint8_t* P, int32_t N) { LCrc = HashCRC32::FromBuffer(LCrc, P, N); });
      LDigest = Rtl::IntToHex(LCrc, 8);
      for (wchar_t& C : LDigest) C = towlower(C);
    } else if (LAlgorithm == L"sha1") {
      LDigest = ContextDigest<HashSHA1::TSHA1Context>(LFile);
    } else {
      LDigest = ContextDigest<HashSHA256::TSHA256Context>(LFile);
    }
  }
  Print(LDigest + L"  " + LFileName);
}

std::vector<uint8_t> ParseKey(const std::wstring& AHex) {
  if (AHex.empty() || AHex.size() % 2 || AHex.find_first_not_of(L"0123456789abcdefABCDEF") != std::wstring::npos)
    throw EUsage{L"the key is an even number of hexadecimal digits, not " + AHex};
  std::vector<uint8_t> R;
  for (size_t I = 0; I < AHex.size(); I += 2) R.push_back(static_cast<uint8_t>(std::stoul(AHex.substr(I, 2), nullptr, 16)));
  return R;
}

void CommandTwofish(const std::vector<std::wstring>& AArgs) {
  if (AArgs.size() != 4 || (AArgs[0] != L"enc" && AArgs[0] != L"dec"))
    throw EUsage{L"twofish takes enc or dec, a key in hexadecimal, an input and an output file"};
  const bool LEncrypt = AArgs[0] == L"enc";
  std::vector<uint8_t> LKey = ParseKey(AArgs[1]);
  TLibraryScope LSession;
  Rtl::TFileStream LSource(AArgs[2], Rtl::fmOpenRead | Rtl::fmShareDenyWrite);
  Rtl::TFileStream LDest(AArgs[3], Rtl::fmCreate);
  const int32_t LKeyLength = static_cast<int32_t>(LKey.size());
  try {
    if (LEncrypt) CryptTwofish::EncryptECB(LKey.data(), LKeyLength, LSource, LDest);
    else CryptTwofish::DecryptECB(LKey.data(), LKeyLength, LSource, LDest);
  } catch (...) {
    std::fill(LKey.begin(), LKey.end(), 0);
    throw;
  }
  std::fill(LKey.begin(), LKey.end(), 0);
  const int LBits = LKeyLength <= 16 ? 128 : LKeyLength <= 24 ? 192 : 256;
  Print(std::wstring(LEncrypt ? L"Encrypted " : L"Decrypted ") + std::to_wstring(LSource.GetSize()) + L" bytes into " +
        std::to_wstring(LDest.GetSize()) + L" (Twofish-" + std::to_wstring(LBits) + L", ECB stream form)");
}

// ---- The registry, by the library's key strings ---------------------------------------------------

// A key string taken apart; without a view mark the process's own view, without a doubled backslash
// no value name.
struct TKeyString {
  uint32_t Flag = 0;
  HKEY Root = nullptr;
  UnicodeString Key, Name;
  bool HasName = false;
  UnicodeString Text() const { return TRegistry::RegistryKeyToStr(Flag, Root, Key, HasName ? Name : UnicodeString()); }
};

TKeyString ParseKeyString(const std::wstring& AText) {
  TKeyString L;
  const UnicodeString LUnset(1, L'\0');
  L.Name = LUnset;
  TRegistry::ExtractKeyParams(AText, L.Flag, L.Root, L.Key, L.Name);
  L.HasName = L.Name != LUnset;
  if (!L.HasName) L.Name.clear();
  if (TRegistry::RegistryRootToStr(L.Root).empty() || L.Key.empty() || L.Key[0] != L'\\')
    throw EUsage{L"not a key string with a root: " + AText + L" (e.g. (x64)HKLM\\Software\\Foo\\\\Name)"};
  return L;
}

const wchar_t* TypeName(TRegDataType AType) {
  static const wchar_t* const C_NAMES[] = {L"REG_NONE",  L"REG_SZ",    L"REG_EXPAND_SZ", L"REG_MULTI_SZ",
                                           L"REG_DWORD", L"REG_QWORD", L"REG_BINARY"};
  return C_NAMES[AType];
}

enum class TOpenMode { omRead, omWrite, omCreate };

// Opens the key of AKey in its view; a missing key is an error of its own line.
void OpenRegKey(TRegistry& R, const TKeyString& AKey, TOpenMode AMode) {
  R.SetRootKey(AKey.Root);
  R.SetAccess((AMode == TOpenMode::omRead ? KEY_READ : KEY_ALL_ACCESS) | AKey.Flag);
  if (!(AMode == TOpenMode::omRead ? R.OpenKeyReadOnly(AKey.Key) : R.OpenKey(AKey.Key, AMode == TOpenMode::omCreate)))
    throw Rtl::Exception(L"no key " + TRegistry::RegistryKeyToStr(AKey.Flag, AKey.Root, AKey.Key, L"") + L": " +
                         R.GetLastErrorMsg());
}

std::wstring ValueText(TRegistry& R, const UnicodeString& AName) {
  const TRegDataType LType = R.GetDataType(AName);
  std::wstring LText;
  if (LType == rdMultiString) {
    for (const UnicodeString& S : R.ReadMultiString(AName)) LText += (LText.empty() ? L"" : L" | ") + S;
  } else {
    LText = R.GetDataAsString(AName, LType == rdInteger || LType == rdInt64 || LType == rdBinary || LType == rdUnknown);
  }
  return Pad(TypeName(LType), 15) + LText;
}

void CommandRegGet(const TKeyString& AKey, const std::vector<std::wstring>&) {
  TRegistry R;
  OpenRegKey(R, AKey, TOpenMode::omRead);
  if (!R.ValueExists(AKey.Name))
    throw Rtl::Exception(L"no value " + AKey.Text() + (AKey.HasName ? L"" : L" (the default value)") + L": " +
                         R.GetLastErrorMsg());
  Print(ValueText(R, AKey.Name));
}

void CommandRegSet(const TKeyString& AKey, const std::vector<std::wstring>& AArgs) {
  if (AArgs.size() != 2) throw EUsage{L"reg set takes a key string, a type and the data"};
  const std::wstring& LType = AArgs[0];
  const std::wstring& LData = AArgs[1];
  auto Number = [&](const wchar_t* AWhat) -> uint64_t {
    size_t LEnd = 0;
    uint64_t LValue = 0;
    try {
      LValue = LData.rfind(L"-", 0) == 0 ? static_cast<uint64_t>(std::stoll(LData, &LEnd, 0)) : std::stoull(LData, &LEnd, 0);
    } catch (const std::logic_error&) {
      LEnd = 0;
    }
    if (LData.empty() || LEnd != LData.size()) throw EUsage{std::wstring(AWhat) + L" data is not a number: " + LData};
    return LValue;
  };
  // The data is checked before the key is opened, so that bad usage creates nothing.
  TRegistry R;
  std::function<void()> LWrite;
  if (Rtl::SameText(LType, L"REG_SZ")) {
    LWrite = [&] { R.WriteString(AKey.Name, LData); };
  } else if (Rtl::SameText(LType, L"REG_EXPAND_SZ")) {
    LWrite = [&] { R.WriteExpandString(AKey.Name, LData); };
  } else if (Rtl::SameText(LType, L"REG_MULTI_SZ")) {
    std::vector<UnicodeString> LStrings;
    for (size_t LStart = 0; LStart <= LData.size();) {
      const size_t LEnd = std::min(LData.find(L'|', LStart), LData.size());
      if (LEnd > LStart) LStrings.push_back(LData.substr(LStart, LEnd - LStart));
      LStart = LEnd + 1;
    }
    LWrite = [&R, &AKey, LStrings] { R.WriteMultiString(AKey.Name, LStrings); };
  } else if (Rtl::SameText(LType, L"REG_DWORD")) {
    const auto LValue = static_cast<int32_t>(Number(L"REG_DWORD"));
    LWrite = [&R, &AKey, LValue] { R.WriteInteger(AKey.Name, LValue); };
  } else if (Rtl::SameText(LType, L"REG_QWORD")) {
    const auto LValue = static_cast<int64_t>(Number(L"REG_QWORD"));
    LWrite = [&R, &AKey, LValue] { R.WriteInt64(AKey.Name, LValue); };
  } else if (Rtl::SameText(LType, L"REG_BINARY")) {
    std::wstring LDigits;
    for (const wchar_t C : LData)
      if (C != L',' && C != L' ') LDigits += C;
    if (LDigits.size() % 2 || LDigits.find_first_not_of(L"0123456789abcdefABCDEF") != std::wstring::npos)
      throw EUsage{L"REG_BINARY data is hexadecimal bytes (01,ab or 01ab): " + LData};
    std::vector<uint8_t> LBytes;
    for (size_t I = 0; I < LDigits.size(); I += 2) LBytes.push_back(static_cast<uint8_t>(std::stoul(LDigits.substr(I, 2), nullptr, 16)));
    LWrite = [&R, &AKey, LBytes] { R.WriteBinaryData(AKey.Name, LBytes.data(), static_cast<int32_t>(LBytes.size())); };
  } else {
    throw EUsage{L"unknown type " + LType + L" (REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ, REG_DWORD, REG_QWORD, REG_BINARY)"};
  }
  OpenRegKey(R, AKey, TOpenMode::omCreate);
  LWrite();
  Print(R.RegistryKeyToStr(AKey.Name) + L"  " + ValueText(R, AKey.Name));
}

void CommandRegList(const TKeyString& AKey, const std::vector<std::wstring>&) {
  TRegistry R;
  OpenRegKey(R, AKey, TOpenMode::omRead);
  Print(R.RegistryKeyToStr(L""));
  Rtl::TStringList LNames;
  R.GetKeyNames(LNames);
  for (int32_t I = 0; I < LNames.Count(); ++I) Print(L"  [" + LNames[I] + L"]");
  R.GetValueNames(LNames);
  for (int32_t I = 0; I < LNames.Count(); ++I)
    Print(L"  " + Pad(LNames[I].empty() ? std::wstring(L"(default)") : LNames[I], 24) + L" " + ValueText(R, LNames[I]));
}

void CommandRegDelete(const TKeyString& AKey, const std::vector<std::wstring>&) {
  TRegistry R;
  if (AKey.HasName) {
    OpenRegKey(R, AKey, TOpenMode::omWrite);
    if (!R.DeleteValue(AKey.Name)) throw Rtl::Exception(L"no value " + AKey.Text() + L": " + R.GetLastErrorMsg());
    Print(L"Deleted the value " + AKey.Text());
    return;
  }
  R.SetRootKey(AKey.Root);
  R.SetAccess(KEY_ALL_ACCESS | AKey.Flag);
  if (!R.KeyExists(AKey.Key)) throw Rtl::Exception(L"no key " + AKey.Text() + L": " + R.GetLastErrorMsg());
  if (!R.DeleteKey(AKey.Key)) throw Rtl::Exception(L"can't delete " + AKey.Text() + L": " + R.GetLastErrorMsg());
  Print(L"Deleted the key " + AKey.Text() + L" with everything below it");
}

void CommandReg(const std::vector<std::wstring>& AArgs) {
  static const std::pair<const wchar_t*, void (*)(const TKeyString&, const std::vector<std::wstring>&)> C_SUB[] = {
      {L"get", &CommandRegGet}, {L"set", &CommandRegSet}, {L"list", &CommandRegList}, {L"delete", &CommandRegDelete}};
  for (const auto& [LName, LRun] : C_SUB)
    if (!AArgs.empty() && AArgs[0] == LName) {
      if (AArgs.size() < 2) throw EUsage{L"reg " + std::wstring(LName) + L" takes a key string"};
      if (AArgs.size() > 2 && LRun != &CommandRegSet) throw EUsage{L"reg " + std::wstring(LName) + L" takes one key string"};
      TLibraryScope LSession;
      LRun(ParseKeyString(AArgs[1]), std::vector<std::wstring>(AArgs.begin() + 2, AArgs.end()));
      return;
    }
  if (AArgs.size() != 1) throw EUsage{L"reg takes get, set, list or delete and a key string"};
  TLibraryScope LSession;
  CommandRegList(ParseKeyString(AArgs[0]), {});
}

// ---- What OSInfo sees -----------------------------------------------------------------------------

void CommandOS(const std::vector<std::wstring>&) {
  TLibraryScope LSession;
  auto LYesNo = [](bool A) { return std::wstring(A ? L"yes" : L"no"); };
  Print(L"Windows:          " + OSInfo::WindowsVersionString());
  Print(L"Version:          " + std::wstring(STR_WINDOWS_VERSION[OSInfo::WindowsVersion()]) + L" (" +
        (OSInfo::WindowsProductType() == wptWorkStation ? L"workstation"
         : OSInfo::WindowsProductType() == wptServer    ? L"server"
                                                        : L"domain controller") +
        L")");
  const std::wstring LEdition = STR_WINDOWS_EDITION[OSInfo::WindowsEdition()];
  Print(L"Edition:          " + (LEdition.empty() ? std::wstring(L"(none)") : LEdition));
  Print(L"Build:            " + std::to_wstring(OSInfo::BuildNumber()));
  Print(L"Architecture:     " + std::wstring(STR_PROCESSOR_ARCHITECTURE[OSInfo::ProcessorArchitecture()]) +
        (OSInfo::IsWow64() ? L" (this 32-bit process runs under WOW64)" : L""));
  const std::wstring LServicePack = STR_SERVICE_PACK[OSInfo::ServicePack()];
  Print(L"Service pack:     " + (LServicePack.empty() ? std::wstring(L"(none)") : LServicePack));
  Print(L"Memory:           " + std::to_wstring(OSInfo::MemorySize() / (1024 * 1024)) + L" MiB");
  Rtl::TDateTime LInstalled = 0;
  Print(L"Installed:        " + (OSInfo::GetWindowsInstallDate(LInstalled)
                                     ? Rtl::DateTimeToString(L"dd.mm.yyyy hh:nn:ss", LInstalled) +
                                           (OSInfo::IsFreshInstallation() ? L" (fresh)" : L"")
                                     : std::wstring(L"unknown")));
  Print(L"UAC:              " + std::wstring(OSInfo::IsUACEnabled() ? L"on" : L"off"));
  Print(L"Web browser:      " + OSInfo::WebBrowserAppPath());
  Print(L"Shell:            " + OSInfo::OSShellAppPath());
  Print(L"Power:            shutdown " + LYesNo(OSInfo::IsShutdownAllowed()) + L", sleep " +
        LYesNo(OSInfo::IsSleepAllowed()) + L", hibernation " + LYesNo(OSInfo::IsHibernationAllowed()));
}

// ---- Version resources ---------------------------------------------------------------------------

// The names of the system's standard string fields; a version resource can't list its own.
const wchar_t* const C_VERSION_FIELDS[] = {L"CompanyName",     L"FileDescription", L"FileVersion",    L"InternalName",
                                           L"LegalCopyright",  L"LegalTrademarks", L"OriginalFilename",
                                           L"ProductName",     L"ProductVersion",  L"Comments",       L"PrivateBuild",
                                           L"SpecialBuild"};

std::wstring FileFlagsText(DWORD AFlags) {
  static const std::pair<DWORD, const wchar_t*> C_FLAGS[] = {
      {VS_FF_DEBUG, L"debug"},           {VS_FF_PRERELEASE, L"prerelease"}, {VS_FF_PATCHED, L"patched"},
      {VS_FF_PRIVATEBUILD, L"private"}, {VS_FF_INFOINFERRED, L"inferred"}, {VS_FF_SPECIALBUILD, L"special"}};
  std::wstring R;
  for (const auto& [LFlag, LName] : C_FLAGS)
    if (AFlags & LFlag) R += (R.empty() ? L"" : L", ") + std::wstring(LName);
  return R.empty() ? L"none" : R;
}

void CommandVersion(const std::vector<std::wstring>& AArgs) {
  if (AArgs.size() != 1) throw EUsage{L"version takes one file"};
  TLibraryScope LSession;
  const TFileVersionInfo LInfo(AArgs[0]);
  if (!LInfo.IsAviable()) throw Rtl::Exception(L"no version resource in " + AArgs[0]);
  const VS_FIXEDFILEINFO& F = *LInfo.VSFixedInfo();
  static const wchar_t* const C_TYPES[] = {L"unknown", L"application", L"DLL", L"driver", L"font", L"VxD", L"?", L"static library"};
  Print(L"File:             " + LInfo.FileName());
  Print(L"File version:     " + LInfo.FileVersion().AsString());
  Print(L"Product version:  " + LInfo.ProductVersion().AsString());
  Print(L"Flags:            " + Hex(F.dwFileFlags & F.dwFileFlagsMask) + L" (" + FileFlagsText(F.dwFileFlags & F.dwFileFlagsMask) +
        L"; mask " + Hex(F.dwFileFlagsMask) + L")");
  Print(L"OS:               " + Hex(F.dwFileOS));
  Print(L"Type:             " + Hex(F.dwFileType) + L" (" + (F.dwFileType < 8 ? C_TYPES[F.dwFileType] : L"?") +
        L"), subtype " + Hex(F.dwFileSubtype));
  Print(L"Date:             " + Hex(F.dwFileDateMS) + L" " + Hex(F.dwFileDateLS));
  Print(L"Translations with \"FileVersion\": " + std::to_wstring(LInfo.Translation().size()));
  for (const uint32_t LCID : LInfo.Translation()) {
    Print(L"  " + Rtl::IntToHex(LCID & 0xFFFF, 4) + Rtl::IntToHex(LCID >> 16, 4) + L" (language " +
          Rtl::IntToHex(LCID & 0xFFFF, 4) + L", code page " + std::to_wstring(LCID >> 16) + L")");
    for (const wchar_t* LName : C_VERSION_FIELDS)
      if (LInfo.IsValueExist(LName, LCID)) Print(L"    " + Pad(LName, 18) + LInfo.GetValue(LName, LCID));
  }
}

// ---- The product's settings ------------------------------------------------------------------------

// The store of the product that ovrtl belongs to: the version resources of its folder name the key.
void CommandSettings(const std::vector<std::wstring>& AArgs) {
  if (AArgs.size() < 2 || (AArgs[0] != L"get" && AArgs[0] != L"set" && AArgs[0] != L"reset"))
    throw EUsage{L"settings takes get, set or reset and a name"};
  const std::wstring LOp = AArgs[0];
  const UnicodeString LName = AArgs[1];
  if ((LOp == L"set") != (AArgs.size() == 4) || (LOp != L"set" && AArgs.size() != 2))
    throw EUsage{L"settings set takes a name, a type and a value; get and reset a name"};
  TLibraryScope LSession;
  Print(L"Store: HKEY_LOCAL_MACHINE" + CommonSettings::RegistryKeySettings());
  if (LOp == L"reset") {
    CommonSettings::Reset(LName);
    Print(L"Reset " + LName);
    return;
  }
  if (LOp == L"get") {
    TRegistry R(KEY_READ);
    R.SetRootKey(HKEY_LOCAL_MACHINE);
    if (!R.OpenKeyReadOnly(CommonSettings::RegistryKeySettings()) || !R.ValueExists(LName)) {
      Print(LName + L" is not stored: it has its default");
      return;
    }
    const TRegDataType LType = R.GetDataType(LName);
    R.CloseKey();
    UnicodeString LText;
    switch (LType) {
      case rdInteger: LText = L"integer " + std::to_wstring(CommonSettings::GetInteger(LName)); break;
      case rdInt64: LText = L"int64 " + std::to_wstring(CommonSettings::GetInt64(LName)); break;
      case rdString:
      case rdExpandString: LText = L"string " + CommonSettings::GetString(LName); break;
      case rdMultiString:
        LText = L"array";
        for (const UnicodeString& S : CommonSettings::GetArrayStrings(LName)) LText += L" " + S;
        break;
      case rdBinary: {
        Rtl::TMemoryStream LStream;
        CommonSettings::GetStream(LName, &LStream);
        LText = LStream.GetSize() == 8 ? L"double " + Rtl::FloatToStr(CommonSettings::GetDouble(LName)) + L" or " : L"";
        LText += L"binary " + TRegistry::BinaryToHexString(static_cast<const uint8_t*>(LStream.Memory()),
                                                            static_cast<int32_t>(LStream.GetSize()) - 1, L"");
        break;
      }
      default: LText = L"a value of another type";
    }
    Print(LName + L" = " + LText);
    return;
  }
  const std::wstring LType = AArgs[2], LValue = AArgs[3];
  if (LType == L"bool") CommonSettings::SetBool(LName, LValue == L"1" || Rtl::SameText(LValue, L"true"));
  else if (LType == L"integer") CommonSettings::SetInteger(LName, static_cast<int32_t>(std::stol(LValue, nullptr, 0)));
  else if (LType == L"int64") CommonSettings::SetInt64(LName, std::stoll(LValue, nullptr, 0));
  else if (LType == L"double") CommonSettings::SetDouble(LName, std::stod(LValue));
  else if (LType == L"string") CommonSettings::SetString(LName, LValue);
  else throw EUsage{L"settings set takes bool, integer, int64, double or string"};
  Print(L"Set " + LName + L" (" + LType + L") to " + LValue + L"; the programs of the product were told");
}

void CommandHelp(const std::vector<std::wstring>&);

struct TCommand {
  const wchar_t* Name;
  const wchar_t* Arguments;
  const wchar_t* Description;
  void (*Run)(const std::vector<std::wstring>&);
};

const TCommand C_COMMANDS[] = {
    {L"info", L"", L"units, log and modules, in turn (the default)", &CommandInfo},
    {L"units", L"", L"the unit table, and each unit's start and stop", &CommandUnits},
    {L"log", L"[folder]", L"what the library's log keeps; with a folder, the lines reach a file there", &CommandLog},
    {L"notify", L"<name> [wparam]", L"broadcasts a shared message (SettingsChange, ...) to the desktop",
     &CommandNotify},
    {L"listen", L"[seconds]", L"prints the shared messages heard for a while (10 s)", &CommandListen},
    {L"modules", L"[lib!proc...]", L"late-bound calls, and the libraries DllRoutines holds", &CommandModules},
    {L"hash", L"<alg> <file>", L"md5, sha1, sha256 or crc32 of a file, in lower-case hexadecimal", &CommandHash},
    {L"twofish", L"<enc|dec> <key-hex> <in> <out>", L"Twofish stream form of a file, the key used as given",
     &CommandTwofish},
    {L"reg", L"<op> <key>", L"get, set <type> <data>, list or delete (whole subtrees) by a key string such as\n"
                            L"                          (x64)HKLM\\Software\\Foo\\\\Name; types REG_SZ, REG_EXPAND_SZ, REG_MULTI_SZ (a|b),\n"
                            L"                          REG_DWORD, REG_QWORD, REG_BINARY (01,ab)",
     &CommandReg},
    {L"os", L"", L"which Windows OSInfo sees: version, edition, build, architecture, memory, ...", &CommandOS},
    {L"version", L"<file>", L"the version resource of a file: fixed fields, and string fields of every translation",
     &CommandVersion},
    {L"settings", L"<get|set|reset> <name> [type value]",
     L"the product's settings store; set types bool, integer, int64, double, string", &CommandSettings},
    {L"help", L"", L"this text", &CommandHelp},
};

void CommandHelp(const std::vector<std::wstring>&) {
  Print(L"usage: ovrtl <command> [args] [-debug]");
  for (const TCommand& C : C_COMMANDS)
    Print(L"  " + Pad(std::wstring(C.Name) + L" " + C.Arguments, 41) + C.Description);
  Print(L"-debug raises every log of the process to the maximum.");
  Print(std::wstring(L"Hashes: SHA extensions ") + (CpuFeatures::HasShaExtensions() ? L"in use" : L"not there") +
        L", carry-less multiplication " + (CpuFeatures::HasCarrylessMultiply() ? L"in use" : L"not there") + L".");
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  std::vector<std::wstring> LArgs;
  for (int I = 1; I < argc; ++I) {
    const std::wstring A = argv[I];
    if (A.size() > 1 && (A[0] == L'-' || A[0] == L'/') && Rtl::SameText(A.substr(1), L"debug")) continue;
    LArgs.push_back(A);
  }
  const std::wstring LName = LArgs.empty() ? L"info" : LArgs.front();
  if (!LArgs.empty()) LArgs.erase(LArgs.begin());
  try {
    for (const TCommand& C : C_COMMANDS)
      if (LName == C.Name) {
        C.Run(LArgs);
        fflush(stdout);
        return 0;
      }
    throw EUsage{L"unknown command \"" + LName + L"\""};
  } catch (const EUsage& E) {
    PrintError(E.Message + L" (ovrtl help shows the commands)");
    return 2;
  } catch (const Rtl::Exception& E) {
    PrintError(E.Message);
    return 1;
  } catch (const std::exception& E) {
    PrintError(Rtl::UTF8ToString(E.what()));
    return 1;
  }
}
