// ovrtl: shows what OvComponentsRTL sees of this machine.
//   ovrtl <command> [args]   exit code 0 on success, 1 on a failure (one line on stderr), 2 on bad usage
// The switch -debug (or /debug) anywhere on the command line raises every log of the process.
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "Ostravane.Debug.Log.h"
#include "Ostravane.Rtl.Handles.h"
#include "Ostravane.System.SysUtils.h"
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

void CommandInfo(const std::vector<std::wstring>& AArgs) {
  if (!AArgs.empty()) throw EUsage{L"info takes no arguments"};
  CommandUnits({});
  Print(L"");
  CommandLog({});
}

void CommandHelp(const std::vector<std::wstring>&);

struct TCommand {
  const wchar_t* Name;
  const wchar_t* Arguments;
  const wchar_t* Description;
  void (*Run)(const std::vector<std::wstring>&);
};

const TCommand C_COMMANDS[] = {
    {L"info", L"", L"everything below, in turn (the default)", &CommandInfo},
    {L"units", L"", L"the unit table, and each unit's start and stop", &CommandUnits},
    {L"log", L"[folder]", L"what the library's log keeps; with a folder, the lines reach a file there", &CommandLog},
    {L"help", L"", L"this text", &CommandHelp},
};

void CommandHelp(const std::vector<std::wstring>&) {
  Print(L"usage: ovrtl <command> [args] [-debug]");
  for (const TCommand& C : C_COMMANDS)
    Print(L"  " + Pad(std::wstring(C.Name) + L" " + C.Arguments, 16) + C.Description);
  Print(L"-debug raises every log of the process to the maximum.");
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
