// NotifierBenchmark: what the message bus adds to a window message, against the bare message.
// Every figure is measured in this one run, on one thread, and printed with the peer's figure and
// their ratio:
//   - posted: EventNotifier::NotifyAsync to a method subscriber, then the thread's message loop until
//     the handler has run; the peer PostMessageW to a plain hidden window of the same thread, then
//     the same loop until its window procedure has run;
//   - sent: EventNotifier::NotifySync to a method subscriber, against SendMessageW to the plain window.
// Exit code 0 when every goal is met, 1 when one is missed, 2 when the run itself failed.
#include "BenchSupport.h"
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <functional>
#include <tuple>
#include <vector>

#include "Ostravane.Project.EventNotifier.h"
#include "OvComponentsRTL.h"

using namespace Ostravane;

using namespace OvBench;

namespace {

constexpr UINT C_MESSAGE = WM_APP + 0x42;
constexpr double C_FIGURE_SECONDS = 1.0;  // the length of one measured figure
constexpr int C_ROUNDS = 3;               // rounds of each figure, taken in turn; the median counts
constexpr double C_PROBE_SECONDS = 0.1;   // the least length of the probe that sizes a figure

// Goal: a posted delivery through the bus costs at most this many times the bare round trip.
constexpr double C_GOAL_POSTED_RATIO = 1.5;

// ---- Time and output ----------------------------------------------------------------------------

// The count for which one run of ARun(ACount) lasts about C_FIGURE_SECONDS.
uint64_t SizeRun(const std::function<double(uint64_t)>& ARun, uint64_t AFirstCount) {
  uint64_t LCount = AFirstCount;
  double LSeconds = ARun(LCount);
  while (LSeconds < C_PROBE_SECONDS) {
    LCount *= LSeconds < C_PROBE_SECONDS / 8 ? 8 : 2;
    LSeconds = ARun(LCount);
  }
  return static_cast<uint64_t>(static_cast<double>(LCount) * C_FIGURE_SECONDS / LSeconds) + 1;
}

double Median(std::vector<double> AValues) {
  std::sort(AValues.begin(), AValues.end());
  return AValues.size() % 2 ? AValues[AValues.size() / 2]
                            : (AValues[AValues.size() / 2 - 1] + AValues[AValues.size() / 2]) / 2;
}

// ---- The two receivers --------------------------------------------------------------------------

// Counts what it is told and keeps the last WParam, as a method subscriber and as a plain window.
struct TReceiver {
  uint64_t Count = 0;
  WPARAM Last = 0;
  bool InOrder = true;

  void Handle(TMessage& Message) {
    if (Message.Msg != C_MESSAGE) return;
    InOrder = InOrder && Message.WParam == static_cast<WPARAM>(Count);
    Last = Message.WParam;
    ++Count;
    Message.Result = 0;
  }
};

TReceiver GWindowReceiver;

LRESULT CALLBACK PlainWndProc(HWND AWnd, UINT AMsg, WPARAM AWParam, LPARAM ALParam) {
  if (AMsg != C_MESSAGE) return DefWindowProcW(AWnd, AMsg, AWParam, ALParam);
  TMessage LMessage{AMsg, AWParam, ALParam, 0};
  GWindowReceiver.Handle(LMessage);
  return LMessage.Result;
}

// A hidden top-level window of the calling thread with a window procedure of its own: the same
// kind of window as the bus's, without the bus.
class TPlainWindow {
 public:
  TPlainWindow() {
    WNDCLASSW LClass{};
    LClass.lpfnWndProc = &PlainWndProc;
    LClass.hInstance = GetModuleHandleW(nullptr);
    LClass.lpszClassName = L"OvRTLNotifierBenchmark";
    RegisterClassW(&LClass);
    FWnd = CreateWindowExW(WS_EX_TOOLWINDOW, LClass.lpszClassName, L"", WS_POPUP, 0, 0, 0, 0, nullptr, nullptr,
                           LClass.hInstance, nullptr);
    if (!FWnd) throw Rtl::Exception(L"Can't make the plain window");
  }
  ~TPlainWindow() { DestroyWindow(FWnd); }
  TPlainWindow(const TPlainWindow&) = delete;
  TPlainWindow& operator=(const TPlainWindow&) = delete;
  HWND Handle() const noexcept { return FWnd; }

 private:
  HWND FWnd;
};

// Serves the thread's messages until the receiver has counted ATarget.
void PumpUntil(const TReceiver& AReceiver, uint64_t ATarget) {
  MSG LMsg;
  while (AReceiver.Count < ATarget && GetMessageW(&LMsg, nullptr, 0, 0) > 0) DispatchMessageW(&LMsg);
}

// ---- The measurements ---------------------------------------------------------------------------

class TNotifierBenchmark {
 public:
  TNotifierBenchmark() : FMethod(&FBusReceiver, &TReceiver::Handle) { EventNotifier::Register(FMethod, {C_MESSAGE}); }
  ~TNotifierBenchmark() { EventNotifier::Unregister(FMethod); }
  TNotifierBenchmark(const TNotifierBenchmark&) = delete;
  TNotifierBenchmark& operator=(const TNotifierBenchmark&) = delete;

  // Each answers the seconds of ACount round trips.
  double BusPosted(uint64_t ACount) {
    Reset(FBusReceiver);
    const int64_t LStart = Ticks();
    for (uint64_t I = 0; I < ACount; ++I) {
      EventNotifier::NotifyAsync(C_MESSAGE, static_cast<WPARAM>(I), 0);
      PumpUntil(FBusReceiver, I + 1);
    }
    return Seconds(Ticks() - LStart);
  }
  double RawPosted(uint64_t ACount) {
    Reset(GWindowReceiver);
    const int64_t LStart = Ticks();
    for (uint64_t I = 0; I < ACount; ++I) {
      PostMessageW(FWindow.Handle(), C_MESSAGE, static_cast<WPARAM>(I), 0);
      PumpUntil(GWindowReceiver, I + 1);
    }
    return Seconds(Ticks() - LStart);
  }
  double BusSent(uint64_t ACount) {
    Reset(FBusReceiver);
    const int64_t LStart = Ticks();
    for (uint64_t I = 0; I < ACount; ++I) EventNotifier::NotifySync(C_MESSAGE, static_cast<WPARAM>(I), 0);
    return Seconds(Ticks() - LStart);
  }
  double RawSent(uint64_t ACount) {
    Reset(GWindowReceiver);
    const int64_t LStart = Ticks();
    for (uint64_t I = 0; I < ACount; ++I) SendMessageW(FWindow.Handle(), C_MESSAGE, static_cast<WPARAM>(I), 0);
    return Seconds(Ticks() - LStart);
  }

  // True when both receivers got exactly ACount messages, in order, in the last runs.
  bool Check(uint64_t ACount) const {
    for (const TReceiver* R : {&FBusReceiver, static_cast<const TReceiver*>(&GWindowReceiver)})
      if (R->Count != ACount || !R->InOrder || R->Last != ACount - 1) return false;
    return true;
  }

 private:
  static void Reset(TReceiver& AReceiver) { AReceiver = TReceiver(); }

  TReceiver FBusReceiver;
  TWndObjectMethod FMethod;
  TPlainWindow FWindow;
};

struct TFigure {
  const char* Name;
  std::function<double(uint64_t)> Run;
  uint64_t Count = 0;
  std::vector<double> NsPerTrip;
};

int Run() {
  TLibraryScope LSession;
  TNotifierBenchmark LBenchmark;

  Print("OvRTL notifier benchmark: a message through EventNotifier to a method subscriber, against the\n");
  Print("same message to a plain window of the same thread. Figures of this run, on one thread, timed with\n");
  Print("QueryPerformanceCounter; each the median of %d rounds of about %.0f s, the figures taken in turn.\n",
        C_ROUNDS, C_FIGURE_SECONDS);
  Print("  posted: NotifyAsync / PostMessageW, then GetMessageW and DispatchMessageW until the handler ran\n");
  Print("  sent:   NotifySync / SendMessageW, which return after the handler ran\n\n");

  // Both roads must deliver every message once and in order.
  constexpr uint64_t C_CHECK = 1000;
  for (const auto& [LBus, LRaw, LName] :
       {std::tuple{&TNotifierBenchmark::BusPosted, &TNotifierBenchmark::RawPosted, "posted"},
        std::tuple{&TNotifierBenchmark::BusSent, &TNotifierBenchmark::RawSent, "sent"}}) {
    (LBenchmark.*LBus)(C_CHECK);
    (LBenchmark.*LRaw)(C_CHECK);
    const bool LSame = LBenchmark.Check(C_CHECK);
    Print("Check, %llu %s messages: each handler got every one once, in order: %s\n",
          static_cast<unsigned long long>(C_CHECK), LName, LSame ? "yes" : "NO");
    if (!LSame) return 2;
  }
  Print("\n");

  TFigure LFigures[] = {
      {"posted, plain window", [&](uint64_t N) { return LBenchmark.RawPosted(N); }, 0, {}},
      {"posted, EventNotifier", [&](uint64_t N) { return LBenchmark.BusPosted(N); }, 0, {}},
      {"sent, plain window", [&](uint64_t N) { return LBenchmark.RawSent(N); }, 0, {}},
      {"sent, EventNotifier", [&](uint64_t N) { return LBenchmark.BusSent(N); }, 0, {}},
  };
  for (TFigure& F : LFigures) F.Count = SizeRun(F.Run, 1000);
  for (int R = 0; R < C_ROUNDS; ++R)
    for (TFigure& F : LFigures) F.NsPerTrip.push_back(1e9 * F.Run(F.Count) / static_cast<double>(F.Count));
  for (const TFigure& F : LFigures) {
    const auto [LMin, LMax] = std::minmax_element(F.NsPerTrip.begin(), F.NsPerTrip.end());
    Print("  %-22s %8.0f ns a message  %9.0f messages/s  (rounds %.0f..%.0f ns, %llu messages each)\n", F.Name,
          Median(F.NsPerTrip), 1e9 / Median(F.NsPerTrip), *LMin, *LMax, static_cast<unsigned long long>(F.Count));
  }
  const double LPostedRatio = Median(LFigures[1].NsPerTrip) / Median(LFigures[0].NsPerTrip);
  const double LSentRatio = Median(LFigures[3].NsPerTrip) / Median(LFigures[2].NsPerTrip);
  Print("  ratio posted, EventNotifier / plain window  %5.2fx  (the bus adds %.0f ns)\n", LPostedRatio,
        Median(LFigures[1].NsPerTrip) - Median(LFigures[0].NsPerTrip));
  Print("  ratio sent, EventNotifier / plain window    %5.2fx  (the bus adds %.0f ns)\n\n", LSentRatio,
        Median(LFigures[3].NsPerTrip) - Median(LFigures[2].NsPerTrip));

  const bool LGoal = LPostedRatio <= C_GOAL_POSTED_RATIO;
  Print("Goals:\n");
  Print("  posted, EventNotifier / plain window  %5.2fx  (goal <= %.1fx)  %s\n", LPostedRatio, C_GOAL_POSTED_RATIO,
        Verdict(LGoal));
  return LGoal ? 0 : 1;
}

}  // namespace

int main() { return RunBenchmark("NotifierBenchmark", &Run); }
