// A helper program for the log tests. It starts the library, logs through a typed log named after
// its own executable, and stops the library.
//   ChildLog [folder] [message]   the folder becomes the log folder; the message is logged as given
// With -debug on the command line, the lines are written.
#include "Ostravane.Debug.Log.h"
#include "OvComponentsRTL.h"

using namespace Ostravane;

namespace {
enum class TChildLogLevel { cllNone, cllError, cllWarning, cllInfo };
}
OV_LOG_LEVEL_RANGE(TChildLogLevel, TChildLogLevel::cllInfo)

int wmain(int argc, wchar_t** argv) {
  std::vector<std::wstring> LArgs;
  for (int I = 1; I < argc; ++I)
    if (argv[I][0] != L'-' && argv[I][0] != L'/') LArgs.push_back(argv[I]);
  int LExitCode = 0;
  {
    TLibraryScope LLibrary;
    const Rtl::UnicodeString LName = Rtl::ChangeFileExt(Rtl::ExtractFileName(Rtl::ParamStr(0)), L"");
    TDebugLog<TChildLogLevel> LLog(LName, L"OvComponentsRTL.dll", 0);
    if (!LArgs.empty()) TDebugLogFile::SetLogPath(LArgs[0]);
    LLog.WriteLog(TChildLogLevel::cllInfo, LArgs.size() > 1 ? LArgs[1] : std::wstring(L"child line"),
                  TDebugLogFile::StaticClass());
    LLog.BeginProc(TChildLogLevel::cllInfo, L"Nested", nullptr);
    LLog.WriteLog(TChildLogLevel::cllError, L"inside");
    LLog.EndProc(TChildLogLevel::cllInfo);
    // The exit code tells the parent what the child's log saw: 1 enabled, 0 disabled.
    LExitCode = LLog.Enabled() ? 1 : 0;
  }
  return LExitCode;
}
