// What the log tests share: a view of a log file's fields, a fixture that restarts the log unit
// for every test, and readers of the file's lines.
#pragma once
#include <gtest/gtest.h>

#include "Ostravane.Debug.Log.h"
#include "Ostravane.Rtl.Handles.h"
#include "OvComponentsRTL.h"
#include "TestSupport.h"

namespace Ostravane {
class TDebugLogFileInspector {
 public:
  static const std::wstring& Nesting(const TDebugLogFile& L) { return L.FNesting; }
  static size_t ThreadStacks(const TDebugLogFile& L) { return L.FThreadsProc.size(); }
  static int32_t InstanceCount(const TDebugLogFile& L) { return L.FInstanceCount; }
  static HANDLE FileHandle(const TDebugLogFile& L) { return L.FFileHandle; }
  static size_t Buffered(const TDebugLogFile& L) { return L.FBuffer.Size(); }
};
}  // namespace Ostravane

namespace OvTest {

using Ostravane::TDebugLogFileInspector;

// The columns after the date: module, class padded to 26, then nesting and message.
inline std::wstring Columns(const std::wstring& AModule, const std::wstring& AClass, const std::wstring& ARest) {
  std::wstring LClass = AClass;
  if (LClass.size() < 26) LClass.append(26 - LClass.size(), L' ');
  return AModule + LClass + ARest;
}

// Every test starts with a fresh log unit (no instances, no folder) and has a folder of its own.
class TLogTest : public testing::Test {
 protected:
  void SetUp() override {
    Finalize();
    Initialize();
  }
  void TearDown() override {
    Finalize();
    Initialize();
  }
  void UseTempFolder() { Ostravane::TDebugLogFile::SetLogPath(FTemp.Path()); }
  std::wstring LogFile(const std::wstring& AName) const { return FTemp.Path() + AName + L".log"; }
  std::vector<std::wstring> Lines(const std::wstring& AName) const { return SplitLines(ReadUtf16File(LogFile(AName))); }
  // The lines without their date column, which is checked on the way.
  std::vector<std::wstring> Bodies(const std::wstring& AName) const {
    std::vector<std::wstring> LResult;
    for (const std::wstring& L : Lines(AName)) {
      if (L.size() < 24 || !IsDateColumn(L.substr(0, 24))) {
        ADD_FAILURE() << "no date column: " << testing::PrintToString(L);
        continue;
      }
      LResult.push_back(L.substr(24));
    }
    return LResult;
  }
  // "dd.mm.yyyy hh:mm:ss.zzz "
  static bool IsDateColumn(const std::wstring& S) {
    static const wchar_t LPattern[] = L"00.00.0000 00:00:00.000 ";
    if (S.size() != 24) return false;
    for (size_t I = 0; I < 24; ++I)
      if (LPattern[I] == L'0' ? !(S[I] >= L'0' && S[I] <= L'9') : S[I] != LPattern[I]) return false;
    return true;
  }

  TTempDir FTemp;
};

}  // namespace OvTest
