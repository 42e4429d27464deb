// MD5's stream and file forms on a 100 MB file: the digest against CNG's, progress by read, the
// pause callback holding the work, the stop flag, the stream's position after a run and after an
// exception, the empty stream, and a file that can't be opened.
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>

#include "HashTestSupport.h"
#include "Ostravane.Rtl.Handles.h"
#include "Ostravane.Utils.Hash.MD5.h"
#include "SystemDigests.h"
#include "TestSupport.h"

using namespace Ostravane;
using OvTest::ToHex;

namespace {

constexpr size_t C_BLOCK = 4096;
constexpr size_t C_FILE_SIZE = 100 * 1024 * 1024 + 123;  // the last read is short

// What the callbacks saw; the pause callback can be told to wait at one call.
struct TWatcher {
  std::vector<int64_t> Counts;
  std::atomic<int> Pauses{0};
  std::atomic<int64_t> Total{0};
  int HoldAt = -1;
  HANDLE Release = nullptr;
  int StopAt = -1;
  bool* StopFlag = nullptr;
  int ThrowAt = -1;

  void OnProgress(int64_t AProgress) {
    Counts.push_back(AProgress);
    Total += AProgress;
    if (static_cast<int>(Counts.size()) == StopAt) *StopFlag = true;
    if (static_cast<int>(Counts.size()) == ThrowAt) throw std::runtime_error("stopped by the caller");
  }
  void OnPause() {
    if (++Pauses == HoldAt) WaitForSingleObject(Release, INFINITE);
  }
  HashMD5::TIncProgress Progress() { return {this, &TWatcher::OnProgress}; }
  HashMD5::TProcessPause Pause() { return {this, &TWatcher::OnPause}; }
};

class Md5Stream : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    FData = new std::vector<uint8_t>(C_FILE_SIZE);
    std::mt19937 LRandom(100);
    for (size_t I = 0; I < C_FILE_SIZE; I += 4) {
      const uint32_t V = LRandom();
      std::memcpy(FData->data() + I, &V, std::min<size_t>(4, C_FILE_SIZE - I));
    }
  }
  static void TearDownTestSuite() {
    delete FData;
    FData = nullptr;
  }
  void SetUp() override {
    FFileName = FTemp.Path() + L"big.bin";
    Rtl::TFileHandleOwner LFile(CreateFileW(FFileName.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    ASSERT_TRUE(LFile);
    for (size_t P = 0; P < C_FILE_SIZE; P += 1 << 20) {
      DWORD LWritten = 0;
      const DWORD N = static_cast<DWORD>(std::min<size_t>(1 << 20, C_FILE_SIZE - P));
      ASSERT_TRUE(WriteFile(LFile.get(), FData->data() + P, N, &LWritten, nullptr));
      ASSERT_EQ(LWritten, N);
    }
  }
  void TearDown() override { DeleteFileW(FFileName.c_str()); }

  static std::string Expected(size_t ALength) { return ToHex(OvTest::TCngDigest(BCRYPT_MD5_ALGORITHM).Hash(FData->data(), ALength)); }

  static std::vector<uint8_t>* FData;
  OvTest::TTempDir FTemp;
  std::wstring FFileName;
};

std::vector<uint8_t>* Md5Stream::FData = nullptr;

}  // namespace

TEST_F(Md5Stream, FileDigestAndProgressByRead) {
  TWatcher W;
  // Another handle writes to the file meanwhile: the form allows all sharing.
  Rtl::TFileHandleOwner LWriter(CreateFileW(FFileName.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                            OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(LWriter);
  const TMD5Value V = HashMD5::FromFile(FFileName, nullptr, W.Progress(), W.Pause());
  EXPECT_EQ(ToHex(V.V, 16), Expected(C_FILE_SIZE));
  const size_t LReads = (C_FILE_SIZE + C_BLOCK - 1) / C_BLOCK;
  ASSERT_EQ(W.Counts.size(), LReads);  // the total reaches the size: no read of 0 at the end
  EXPECT_EQ(W.Pauses.load(), static_cast<int>(LReads));
  for (size_t I = 0; I + 1 < LReads; ++I) ASSERT_EQ(W.Counts[I], static_cast<int64_t>(C_BLOCK)) << I;
  EXPECT_EQ(W.Counts.back(), 123);
  // Without callbacks the same digest.
  EXPECT_EQ(HashMD5::FromFile(FFileName, nullptr, {}, {}), V);
}

TEST_F(Md5Stream, PauseHoldsTheWorkWhileItRuns) {
  TWatcher W;
  Rtl::THandleOwner LRelease(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  W.HoldAt = 10;
  W.Release = LRelease.get();
  TMD5Value LResult{};
  std::thread LRun([&] { LResult = HashMD5::FromFile(FFileName, nullptr, W.Progress(), W.Pause()); });
  while (W.Pauses.load() < 10) Sleep(1);
  const int64_t LHeld = W.Total.load();
  Sleep(300);
  EXPECT_EQ(W.Total.load(), LHeld);  // nothing read while the callback runs
  EXPECT_EQ(LHeld, static_cast<int64_t>(9 * C_BLOCK));
  SetEvent(LRelease.get());
  LRun.join();
  EXPECT_EQ(W.Total.load(), static_cast<int64_t>(C_FILE_SIZE));
  EXPECT_EQ(ToHex(LResult.V, 16), Expected(C_FILE_SIZE));
}

// The flag is read after each block: set during read 100 (here, or from another thread), the run
// ends with the digest of those 100 blocks; set before the start, one block is still read.
TEST_F(Md5Stream, StopFlagEndsTheRunWithTheDigestSoFar) {
  bool LStop = false;
  TWatcher W;
  W.StopAt = 100;
  W.StopFlag = &LStop;
  TMD5Value V = HashMD5::FromFile(FFileName, &LStop, W.Progress(), W.Pause());
  EXPECT_EQ(W.Counts.size(), 100u);
  EXPECT_EQ(ToHex(V.V, 16), Expected(100 * C_BLOCK));

  TWatcher LEarly;
  V = HashMD5::FromFile(FFileName, &LStop, LEarly.Progress(), LEarly.Pause());
  EXPECT_EQ(LEarly.Counts.size(), 1u);
  EXPECT_EQ(ToHex(V.V, 16), Expected(C_BLOCK));

  bool LFromThread = false;
  TWatcher LWatched;
  std::thread LSetter([&] {
    while (LWatched.Total.load() < static_cast<int64_t>(1000 * C_BLOCK)) Sleep(1);
    std::atomic_ref<bool>(LFromThread).store(true);
  });
  V = HashMD5::FromFile(FFileName, &LFromThread, LWatched.Progress(), {});
  LSetter.join();
  EXPECT_LT(LWatched.Counts.size(), (C_FILE_SIZE + C_BLOCK - 1) / C_BLOCK);
  EXPECT_EQ(ToHex(V.V, 16), Expected(LWatched.Counts.size() * C_BLOCK));
}

TEST_F(Md5Stream, StreamPositionComesBackAfterARunAndAfterAnException) {
  Rtl::TFileStream LFile(FFileName, Rtl::fmOpenRead | Rtl::fmShareDenyNone);
  LFile.SetPosition(777777);
  TWatcher W;
  EXPECT_EQ(ToHex(HashMD5::FromStream(LFile, nullptr, W.Progress(), {}).V, 16), Expected(C_FILE_SIZE));
  EXPECT_EQ(LFile.GetPosition(), 777777);
  TWatcher LThrowing;
  LThrowing.ThrowAt = 50;
  EXPECT_THROW(HashMD5::FromStream(LFile, nullptr, LThrowing.Progress(), {}), std::runtime_error);
  EXPECT_EQ(LThrowing.Counts.size(), 50u);
  EXPECT_EQ(LFile.GetPosition(), 777777);
}

TEST(Md5StreamForms, EmptyStreamAndMissingFile) {
  Rtl::TMemoryStream LEmpty;
  TWatcher W;
  EXPECT_EQ(HashMD5::FromStream(LEmpty, nullptr, W.Progress(), W.Pause()).AsString(), L"D41D8CD98F00B204E9800998ECF8427E");
  EXPECT_EQ(W.Pauses.load(), 1);
  EXPECT_EQ(W.Counts, std::vector<int64_t>{0});

  Rtl::TMemoryStream LSmall;
  LSmall.Write("message digest", 14);
  EXPECT_EQ(HashMD5::FromStream(LSmall, nullptr, {}, {}).AsString(), L"F96B697D7CB7938D525A2F31AAF161D0");
  EXPECT_EQ(LSmall.GetPosition(), 14);

  OvTest::TTempDir LTemp;
  const std::wstring LMissing = LTemp.Path() + L"\u65E5\u672C-missing.bin";
  try {
    HashMD5::FromFile(LMissing, nullptr, {}, {});
    ADD_FAILURE() << "no exception";
  } catch (const Rtl::EFOpenError& E) {
    EXPECT_EQ(E.Message.rfind(L"Cannot open file \"" + LMissing + L"\". ", 0), 0u) << Rtl::UTF8Encode(E.Message);
  }
}
