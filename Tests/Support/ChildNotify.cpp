// A helper program for the tests of the message bus and of what announces itself through it: a
// second process with the library that subscribes, reports what it hears, broadcasts, unsubscribes
// and exits when told.
//
//   ChildNotify /out <file> [/listen <msgs>] [/target method|window] [/stop <msg>]
//               [/broadcast <msg>[:<wparam>]]... [/unsubscribe <event>] [/exit <event>] [/timeout <ms>]
//
//   /out <file>          appends one UTF-8 line per event to the file, written at once:
//                          "ready"             subscribed, broadcasts sent: the parent may go on
//                          "<msg> <w> <l>"     a message heard (decimal numbers, LParam signed);
//                                              the system's own (below WM_USER) and the bus's
//                                              broadcast message are not told
//                          "unsubscribed"      the subscriber has left
//                          "exit" / "timeout"  the last line
//   /listen <msgs>       the messages to subscribe to, separated by commas; "*" subscribes to every
//                        message. Default: "*" unless /stop alone names what to hear.
//   /target              who subscribes: a method of an object (default) or a hidden window of the
//                        child's own
//   /stop <msg>          subscribed too; after this message has been heard (and written) the
//                        subscriber unsubscribes
//   /broadcast <msg>[:<w>]  EventNotifier::NotifyBroadcast(msg, w) once subscribed, before "ready"
//   /unsubscribe <event> unsubscribes when this named event is set
//   /exit <event>        exits when this named event is set, after serving the messages queued so far
//   /timeout <ms>        exits after this long at the latest (default 30000)
//
// A message is a number (decimal or 0x hexadecimal) or a name given to RegisterWindowMessageW.
// The thread that starts the library pumps messages all the time it waits. Exit code: 0 after the
// exit event, 1 on the timeout, 2 on bad usage, 3 on a failure.
#include <algorithm>
#include <cwctype>
#include <string>
#include <vector>

#include "Ostravane.Project.EventNotifier.h"
#include "Ostravane.Rtl.Handles.h"
#include "OvComponentsRTL.h"

using namespace Ostravane;
using Rtl::UnicodeString;

namespace {

struct EUsage {
  std::wstring Message;
};

Rtl::TFileHandleOwner GOut;

void WriteLine(const std::wstring& ALine) {
  const std::string LUtf8 = Rtl::UTF8Encode(ALine + L"\n");
  DWORD LWritten = 0;
  WriteFile(GOut.get(), LUtf8.data(), static_cast<DWORD>(LUtf8.size()), &LWritten, nullptr);
}

uint32_t ParseMessage(const std::wstring& AText) {
  if (AText.empty()) throw EUsage{L"an empty message"};
  if (std::iswdigit(AText[0])) {
    size_t LEnd = 0;
    const unsigned long LValue = std::stoul(AText, &LEnd, 0);
    if (LEnd != AText.size()) throw EUsage{L"not a number: " + AText};
    return static_cast<uint32_t>(LValue);
  }
  const UINT LMsg = RegisterWindowMessageW(AText.c_str());
  if (LMsg == 0) throw EUsage{L"a name the system doesn't register: " + AText};
  return LMsg;
}

struct TOptions {
  std::wstring OutFile;
  std::vector<uint32_t> Listen;
  bool ListenAll = true;
  bool WindowTarget = false;
  bool HasStop = false;
  uint32_t Stop = 0;
  std::vector<std::pair<uint32_t, uintptr_t>> Broadcasts;
  std::wstring UnsubscribeEvent, ExitEvent;
  DWORD TimeoutMs = 30000;
};

TOptions ParseOptions(int argc, wchar_t** argv) {
  TOptions L;
  bool LListenGiven = false;
  for (int I = 1; I < argc; ++I) {
    const std::wstring LName = argv[I];
    if (I + 1 >= argc) throw EUsage{L"a value is missing after " + LName};
    const std::wstring LValue = argv[++I];
    if (LName == L"/out") {
      L.OutFile = LValue;
    } else if (LName == L"/listen") {
      LListenGiven = true;
      if (LValue == L"*") continue;
      L.ListenAll = false;
      for (size_t P = 0; P <= LValue.size();) {
        const size_t LComma = std::min(LValue.find(L',', P), LValue.size());
        L.Listen.push_back(ParseMessage(LValue.substr(P, LComma - P)));
        P = LComma + 1;
      }
    } else if (LName == L"/target") {
      if (LValue != L"method" && LValue != L"window") throw EUsage{L"/target is method or window"};
      L.WindowTarget = LValue == L"window";
    } else if (LName == L"/stop") {
      L.HasStop = true;
      L.Stop = ParseMessage(LValue);
    } else if (LName == L"/broadcast") {
      const size_t LColon = LValue.find(L':');
      const uintptr_t LWParam = LColon == std::wstring::npos ? 0 : std::stoul(LValue.substr(LColon + 1), nullptr, 0);
      L.Broadcasts.emplace_back(ParseMessage(LValue.substr(0, LColon)), LWParam);
    } else if (LName == L"/unsubscribe") {
      L.UnsubscribeEvent = LValue;
    } else if (LName == L"/exit") {
      L.ExitEvent = LValue;
    } else if (LName == L"/timeout") {
      L.TimeoutMs = std::stoul(LValue);
    } else {
      throw EUsage{L"unknown option " + LName};
    }
  }
  if (L.OutFile.empty()) throw EUsage{L"/out is missing"};
  if (L.HasStop) {
    if (!LListenGiven) L.ListenAll = false;
    if (!L.ListenAll) L.Listen.push_back(L.Stop);
  }
  return L;
}

// The one subscriber of the child, as a method or as a window.
class TListener {
 public:
  explicit TListener(const TOptions& AOptions) : FOptions(AOptions) {
    GListener = this;
    const std::vector<uint32_t> LFilter = AOptions.ListenAll ? std::vector<uint32_t>() : AOptions.Listen;
    if (AOptions.WindowTarget) {
      FWindow = SysUtils::AllocateHWnd(&WindowHandler);
      EventNotifier::Register(FWindow, LFilter);
    } else {
      EventNotifier::Register(TWndObjectMethod(this, &TListener::Heard), LFilter);
    }
    FSubscribed = true;
  }
  ~TListener() {
    Unsubscribe(false);
    SysUtils::DeallocateHWnd(FWindow);
    GListener = nullptr;
  }
  TListener(const TListener&) = delete;
  TListener& operator=(const TListener&) = delete;

  void Unsubscribe(bool AReport) {
    if (!FSubscribed) return;
    if (FOptions.WindowTarget) EventNotifier::Unregister(FWindow);
    else EventNotifier::Unregister(TWndObjectMethod(this, &TListener::Heard));
    FSubscribed = false;
    if (AReport) WriteLine(L"unsubscribed");
  }

 private:
  void Heard(TMessage& Message) {
    // A window hears what is meant for it as a window too: the system's messages, and as a
    // top-level window every broadcast, the bus's own included. A method that takes every message
    // hears the system's messages to the bus's window.
    const bool LWanted = FOptions.ListenAll ? Message.Msg >= WM_USER && Message.Msg != FBroadcastMessage
                                            : std::find(FOptions.Listen.begin(), FOptions.Listen.end(), Message.Msg) !=
                                                  FOptions.Listen.end();
    if (!LWanted) {
      if (FOptions.WindowTarget) SysUtils::DefWindowProc(FWindow, Message);
      return;
    }
    WriteLine(std::to_wstring(Message.Msg) + L" " + std::to_wstring(Message.WParam) + L" " +
              std::to_wstring(Message.LParam));
    if (FOptions.HasStop && Message.Msg == FOptions.Stop) Unsubscribe(true);
  }
  static void WindowHandler(TMessage& Message) { GListener->Heard(Message); }

  static inline TListener* GListener = nullptr;
  const TOptions& FOptions;
  const UINT FBroadcastMessage = RegisterWindowMessageW(S_EVENT_NOTIFIER_BROADCAST);
  uintptr_t FWindow = 0;
  bool FSubscribed = false;
};

void PumpMessages() {
  MSG LMsg;
  while (PeekMessageW(&LMsg, nullptr, 0, 0, PM_REMOVE)) {
    TranslateMessage(&LMsg);
    DispatchMessageW(&LMsg);
  }
}

Rtl::THandleOwner OpenNamedEvent(const std::wstring& AName) {
  if (AName.empty()) return Rtl::THandleOwner();
  // Made here if the parent hasn't yet: either side may come first.
  Rtl::THandleOwner LEvent(CreateEventW(nullptr, TRUE, FALSE, AName.c_str()));
  if (!LEvent) SysUtils::RaiseLastOSError(L"Opening the event " + AName);
  return LEvent;
}

int Run(const TOptions& AOptions) {
  GOut.reset(CreateFileW(AOptions.OutFile.c_str(), FILE_APPEND_DATA,
                         FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                         FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!GOut) SysUtils::RaiseLastOSError(L"Opening " + AOptions.OutFile);
  Rtl::THandleOwner LUnsubscribe = OpenNamedEvent(AOptions.UnsubscribeEvent);
  Rtl::THandleOwner LExit = OpenNamedEvent(AOptions.ExitEvent);

  TLibraryScope LLibrary;
  TListener LListener(AOptions);
  for (const auto& [LMsg, LWParam] : AOptions.Broadcasts) EventNotifier::NotifyBroadcast(LMsg, LWParam);
  WriteLine(L"ready");

  const DWORD LStart = GetTickCount();
  while (true) {
    std::vector<HANDLE> LWaits;
    if (LUnsubscribe) LWaits.push_back(LUnsubscribe.get());
    if (LExit) LWaits.push_back(LExit.get());
    const DWORD LElapsed = GetTickCount() - LStart;
    if (LElapsed >= AOptions.TimeoutMs) break;
    MsgWaitForMultipleObjectsEx(static_cast<DWORD>(LWaits.size()), LWaits.data(), AOptions.TimeoutMs - LElapsed,
                                QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    PumpMessages();
    if (LUnsubscribe && WaitForSingleObject(LUnsubscribe.get(), 0) == WAIT_OBJECT_0) {
      LListener.Unsubscribe(true);
      LUnsubscribe.reset();
    }
    if (LExit && WaitForSingleObject(LExit.get(), 0) == WAIT_OBJECT_0) {
      // What was posted before the signal is served first: a broadcast turns into posts on the way.
      PumpMessages();
      WriteLine(L"exit");
      return 0;
    }
  }
  WriteLine(L"timeout");
  return 1;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  try {
    return Run(ParseOptions(argc, argv));
  } catch (const EUsage& E) {
    fwprintf(stderr, L"ChildNotify: %ls\n", E.Message.c_str());
    return 2;
  } catch (const std::logic_error&) {  // stoul on a bad number
    fwprintf(stderr, L"ChildNotify: a bad number\n");
    return 2;
  } catch (const std::exception& E) {
    fprintf(stderr, "ChildNotify: %s\n", E.what());
    return 3;
  }
}
