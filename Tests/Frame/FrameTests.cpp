// The package frame: use counters, the fixed start order and the exact reverse stop order. This
// program's main doesn't start the library; the tests do.
#include <gtest/gtest.h>

#include <algorithm>

#include "Ostravane.Debug.LogFile.h"
#include "OvComponentsRTL.h"

using namespace Ostravane;

namespace {

std::vector<std::wstring> Steps(size_t AFrom) {
  const TPackageInfoTable* LTable = GetPackageInfoTable();
  std::vector<std::wstring> LSteps;
  const std::vector<TUnitEvent> LEvents = PackageFrame::Events();
  for (size_t I = AFrom; I < LEvents.size(); ++I)
    LSteps.push_back((LEvents[I].Started ? L"start " : L"stop ") + std::wstring(LTable->UnitInfo[LEvents[I].Unit].UnitName));
  return LSteps;
}

TEST(FrameTest, EachUnitStartsOnceAndTheLastFinalizeStopsInReverse) {
  const TPackageInfoTable* LTable = GetPackageInfoTable();
  std::vector<std::wstring> LNames;
  for (int32_t I = 0; I < LTable->UnitCount; ++I) LNames.push_back(LTable->UnitInfo[I].UnitName);
  // Each unit stands behind the units it uses.
  auto Position = [&](const wchar_t* AName) { return std::find(LNames.begin(), LNames.end(), AName) - LNames.begin(); };
  EXPECT_EQ(Position(L"Ostravane.Rtl.Classes"), 0);
  EXPECT_LT(Position(L"Ostravane.Debug.Common"), Position(L"Ostravane.Debug.LogFile"));
  EXPECT_LT(Position(L"Ostravane.Debug.LogFile"), Position(L"Ostravane.System.Thread"));
  const TPackageUnitEntry& LLogFile = LTable->UnitInfo[Position(L"Ostravane.Debug.LogFile")];
  EXPECT_EQ(LLogFile.Init, &TDebugLogFile::Init);
  EXPECT_EQ(LLogFile.FInit, &TDebugLogFile::Done);

  const size_t LStart = PackageFrame::Events().size();
  EXPECT_EQ(TDebugLogFile::GetLogInstance(L"Frame"), nullptr) << "the log registry exists before the start";
  Initialize();
  Initialize();
  std::vector<std::wstring> LExpected;
  for (int32_t I = 0; I < LTable->UnitCount; ++I) {
    LExpected.push_back(L"start " + std::wstring(LTable->UnitInfo[I].UnitName));
    EXPECT_EQ(PackageFrame::UseCounter(I), -2) << I;
  }
  EXPECT_EQ(Steps(LStart), LExpected);

  TDebugLogFile* LLog = TDebugLogFile::GetLogInstance(L"Frame");
  ASSERT_NE(LLog, nullptr);
  TDebugLogFile::FreeLogInstance(LLog);
  EXPECT_EQ(LLog, nullptr);
  TDebugLogFile::SetLogPath(L"C:\\frame-test-logs");

  Finalize();
  EXPECT_EQ(Steps(LStart), LExpected) << "the first of two stops ran a stop step";
  EXPECT_EQ(TDebugLogFile::GetLogPath(), L"C:\\frame-test-logs\\");
  Finalize();
  for (int32_t I = LTable->UnitCount - 1; I >= 0; --I) {
    LExpected.push_back(L"stop " + std::wstring(LTable->UnitInfo[I].UnitName));
    EXPECT_EQ(PackageFrame::UseCounter(I), 0) << I;
  }
  EXPECT_EQ(Steps(LStart), LExpected);
  // Stopped: the registry is gone and the folder forgotten.
  EXPECT_EQ(TDebugLogFile::GetLogInstance(L"Frame"), nullptr);
  EXPECT_EQ(TDebugLogFile::GetLogPath(), L"");

  // A new start starts every unit again.
  Initialize();
  EXPECT_EQ(Steps(LStart).size(), LExpected.size() + LTable->UnitCount);
  Finalize();
}

}  // namespace
