// RegistryBenchmark: reading a DWORD and a string through TRegistry (OpenKey, ReadInteger or
// ReadString, CloseKey) against the raw calls RegOpenKeyExW + RegQueryValueExW + RegCloseKey, in the
// same run, on a key of its own below HKCU. Rounds of the two roads alternate, so that a slow phase of
// the machine falls on both. Goal: TRegistry at most C_GOAL_RATIO times the raw calls for each.
// Exit code 0 when the goal is met, 1 when it is missed, 2 when the run failed.
#include "BenchSupport.h"

#include <algorithm>
#include <string>

#include "Ostravane.System.Win.Registry.h"
#include "OvComponentsRTL.h"

using namespace Ostravane;
using namespace OvBench;

namespace {

constexpr double C_GOAL_RATIO = 1.2;
constexpr int C_ROUNDS = 9;
constexpr int C_COUNT = 20000;

const std::wstring C_KEY = L"Software\\OvRTLBenchmark-" + std::to_wstring(GetCurrentProcessId());
const std::wstring C_TEXT = L"C:\\Program Files\\Ostravane\\日本語\\Data";

volatile int64_t GSink = 0;

int32_t RawDword() {
  HKEY LKey = nullptr;
  if (RegOpenKeyExW(HKEY_CURRENT_USER, C_KEY.c_str(), 0, KEY_READ, &LKey) != ERROR_SUCCESS) return -1;
  int32_t LValue = 0;
  DWORD LType = 0, LSize = sizeof(LValue);
  const LONG LCode = RegQueryValueExW(LKey, L"Number", nullptr, &LType, reinterpret_cast<BYTE*>(&LValue), &LSize);
  RegCloseKey(LKey);
  return LCode == ERROR_SUCCESS && LType == REG_DWORD ? LValue : -1;
}

std::wstring RawString() {
  HKEY LKey = nullptr;
  if (RegOpenKeyExW(HKEY_CURRENT_USER, C_KEY.c_str(), 0, KEY_READ, &LKey) != ERROR_SUCCESS) return {};
  wchar_t LBuffer[256];
  DWORD LType = 0, LSize = sizeof(LBuffer);
  const LONG LCode = RegQueryValueExW(LKey, L"Text", nullptr, &LType, reinterpret_cast<BYTE*>(LBuffer), &LSize);
  RegCloseKey(LKey);
  if (LCode != ERROR_SUCCESS || LType != REG_SZ) return {};
  std::wstring LText(LBuffer, LSize / sizeof(wchar_t));
  while (!LText.empty() && LText.back() == L'\0') LText.pop_back();
  return LText;
}

// Microseconds a read of each road, the best of C_ROUNDS alternating rounds.
template <typename FA, typename FB>
std::pair<double, double> MicrosecondsEach(FA ALibrary, FB ARaw) {
  double LBestA = 1e300, LBestB = 1e300;
  for (int R = 0; R < C_ROUNDS; ++R) {
    double LStart = Now();
    for (int I = 0; I < C_COUNT; ++I) ALibrary();
    LBestA = std::min(LBestA, (Now() - LStart) * 1e6 / C_COUNT);
    LStart = Now();
    for (int I = 0; I < C_COUNT; ++I) ARaw();
    LBestB = std::min(LBestB, (Now() - LStart) * 1e6 / C_COUNT);
  }
  return {LBestA, LBestB};
}

int Run() {
  TLibraryScope LLibrary;
  // The key goes on every way out.
  struct TKeyCleanup {
    ~TKeyCleanup() { RegDeleteKeyW(HKEY_CURRENT_USER, C_KEY.c_str()); }
  } LCleanup;
  TRegistry R(KEY_READ);
  {
    TRegistry LWriter;
    if (!LWriter.OpenKey(L"\\" + C_KEY, true)) return 2;
    LWriter.WriteInteger(L"Number", 42);
    LWriter.WriteString(L"Text", C_TEXT);
  }
  const UnicodeString LPath = L"\\" + C_KEY;
  auto LibraryDword = [&] {
    if (R.OpenKey(LPath, false)) GSink = GSink + R.ReadInteger(L"Number");
    R.CloseKey();
  };
  auto LibraryString = [&] {
    if (R.OpenKey(LPath, false)) GSink = GSink + static_cast<int64_t>(R.ReadString(L"Text").size());
    R.CloseKey();
  };
  int LCode = 2;
  // Both roads read the same values, or the figures compare nothing.
  if (RawDword() == 42 && RawString() == C_TEXT && R.OpenKey(LPath, false) && R.ReadInteger(L"Number") == 42 &&
      R.ReadString(L"Text") == C_TEXT) {
    R.CloseKey();
    const auto [LDwordLib, LDwordRaw] = MicrosecondsEach(LibraryDword, [] { GSink = GSink + RawDword(); });
    const auto [LStringLib, LStringRaw] = MicrosecondsEach(LibraryString, [] { GSink = GSink + static_cast<int64_t>(RawString().size()); });
    const double LDwordRatio = LDwordLib / LDwordRaw, LStringRatio = LStringLib / LStringRaw;
    Print("OvRTL registry read benchmark: open, read one value, close, on HKCU\\%ls.\n", C_KEY.c_str());
    Print("Best of %d alternating rounds of %d reads each, timed with QueryPerformanceCounter.\n", C_ROUNDS, C_COUNT);
    Print("  DWORD   TRegistry OpenKey + ReadInteger + CloseKey         %8.2f us a read\n", LDwordLib);
    Print("  DWORD   RegOpenKeyExW + RegQueryValueExW + RegCloseKey     %8.2f us a read\n", LDwordRaw);
    Print("  string  TRegistry OpenKey + ReadString + CloseKey          %8.2f us a read\n", LStringLib);
    Print("  string  RegOpenKeyExW + RegQueryValueExW + RegCloseKey     %8.2f us a read\n", LStringRaw);
    Print("  ratio DWORD  TRegistry / raw   %6.2fx  (goal <= %.1fx)  %s\n", LDwordRatio, C_GOAL_RATIO,
          Verdict(LDwordRatio <= C_GOAL_RATIO));
    Print("  ratio string TRegistry / raw   %6.2fx  (goal <= %.1fx)  %s\n", LStringRatio, C_GOAL_RATIO,
          Verdict(LStringRatio <= C_GOAL_RATIO));
    LCode = LDwordRatio <= C_GOAL_RATIO && LStringRatio <= C_GOAL_RATIO ? 0 : 1;
  }
  R.CloseKey();
  return LCode;
}

}  // namespace

int main() { return RunBenchmark("RegistryBenchmark", &Run); }
