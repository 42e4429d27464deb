// A helper program for the settings tests: a second program of the product, in the product's
// folder, that hears the settings message and changes settings.
//
//   ChildSettings /out <file> [/watch <name>] [/changes <n> /prefix <p>] [/expect <count>]
//                 [/start <event>] [/exit <event>] [/timeout <ms>]
//
//   /out <file>        appends UTF-8 lines, written at once:
//                        "ready"               subscribed: the parent may go on
//                        "heard <name>=<value>" with /watch, at each settings message: the value
//                                              read from the store then
//                        "heard <count>"       the settings messages heard, when it ends
//   /changes, /prefix  after /start is set: change I (1..n) sets "<p>.Item<I mod 10>" to "<p> <I>"
//   /expect <count>    ends once this many settings messages were heard (and a moment passed, so
//                      that a message too many would be counted)
//   /exit <event>      ends when the event is set, after serving what was posted before
//   /timeout <ms>      ends at the latest after this long (default 120000), exit code 1
// Exit code: 0 done, 1 timeout, 2 bad usage, 3 a failure.
#include <string>

#include "Ostravane.Project.EventNotifier.h"
#include "Ostravane.Project.Settings.h"
#include "Ostravane.Rtl.Handles.h"
#include "Ostravane.Winapi.Messages.h"
#include "OvComponentsRTL.h"

using namespace Ostravane;

namespace {

Rtl::TFileHandleOwner GOut;
std::wstring GWatch;
int GHeard = 0;

void WriteLine(const std::wstring& ALine) {
  const std::string LUtf8 = Rtl::UTF8Encode(ALine + L"\n");
  DWORD LWritten = 0;
  WriteFile(GOut.get(), LUtf8.data(), static_cast<DWORD>(LUtf8.size()), &LWritten, nullptr);
}

void Heard(TMessage&) {
  ++GHeard;
  if (!GWatch.empty()) WriteLine(L"heard " + GWatch + L"=" + CommonSettings::GetString(GWatch));
}

void PumpMessages() {
  MSG LMsg;
  while (PeekMessageW(&LMsg, nullptr, 0, 0, PM_REMOVE)) {
    TranslateMessage(&LMsg);
    DispatchMessageW(&LMsg);
  }
}

// Pumps until ADone or the deadline; true when ADone.
template <typename TDone>
bool PumpUntil(TDone ADone, DWORD ADeadline) {
  while (!ADone()) {
    const DWORD LNow = GetTickCount();
    if (static_cast<LONG>(ADeadline - LNow) <= 0) return false;
    MsgWaitForMultipleObjectsEx(0, nullptr, std::min<DWORD>(ADeadline - LNow, 20), QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    PumpMessages();
  }
  return true;
}

bool EventSet(const Rtl::THandleOwner& AEvent) { return WaitForSingleObject(AEvent.get(), 0) == WAIT_OBJECT_0; }

}  // namespace

int wmain(int argc, wchar_t** argv) {
  std::wstring LOut, LPrefix, LStart, LExit;
  int LChanges = 0, LExpect = -1;
  DWORD LTimeout = 120000;
  for (int I = 1; I + 1 < argc; I += 2) {
    const std::wstring LName = argv[I], LValue = argv[I + 1];
    if (LName == L"/out") LOut = LValue;
    else if (LName == L"/watch") GWatch = LValue;
    else if (LName == L"/changes") LChanges = _wtoi(LValue.c_str());
    else if (LName == L"/prefix") LPrefix = LValue;
    else if (LName == L"/expect") LExpect = _wtoi(LValue.c_str());
    else if (LName == L"/start") LStart = LValue;
    else if (LName == L"/exit") LExit = LValue;
    else if (LName == L"/timeout") LTimeout = static_cast<DWORD>(_wtoi(LValue.c_str()));
    else return 2;
  }
  if (LOut.empty() || argc % 2 == 0) return 2;
  try {
    const DWORD LDeadline = GetTickCount() + LTimeout;
    GOut.reset(CreateFileW(LOut.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                           nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!GOut) return 3;
    Rtl::THandleOwner LStartEvent(LStart.empty() ? nullptr : CreateEventW(nullptr, TRUE, FALSE, LStart.c_str()));
    Rtl::THandleOwner LExitEvent(LExit.empty() ? nullptr : CreateEventW(nullptr, TRUE, FALSE, LExit.c_str()));
    TLibraryScope LLibrary;
    EventNotifier::Register(&Heard, {ExtMessages::FWMSettingsChange});
    WriteLine(L"ready");
    int LResult = 0;
    if (LStartEvent && !PumpUntil([&] { return EventSet(LStartEvent); }, LDeadline)) LResult = 1;
    for (int I = 1; LResult == 0 && I <= LChanges; ++I) {
      CommonSettings::SetString(LPrefix + L".Item" + std::to_wstring(I % 10), LPrefix + L" " + std::to_wstring(I));
      PumpMessages();
    }
    if (LResult == 0 && LExpect >= 0) {
      if (!PumpUntil([&] { return GHeard >= LExpect; }, LDeadline)) LResult = 1;
      PumpUntil([] { return false; }, GetTickCount() + 500);
    }
    if (LResult == 0 && LExitEvent) {
      if (!PumpUntil([&] { return EventSet(LExitEvent); }, LDeadline)) LResult = 1;
      PumpMessages();
    }
    EventNotifier::Unregister(&Heard);
    WriteLine(L"heard " + std::to_wstring(GHeard));
    return LResult;
  } catch (const std::exception& E) {
    fprintf(stderr, "ChildSettings: %s\n", E.what());
    return 3;
  }
}
