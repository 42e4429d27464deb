// CRC-8, CRC-16 and CRC-32: the published check values, the string forms, the chained CRC-32 and
// its two roads against the byte-wise step.
#include <gtest/gtest.h>

#include <random>

#include "HashTestSupport.h"
#include "Ostravane.Utils.Hash.CRC16.h"
#include "Ostravane.Utils.Hash.CRC32.h"
#include "Ostravane.Utils.Hash.CRC8.h"

using namespace Ostravane;
using OvTest::OnBothRoads;

namespace {
const char C_CHECK[] = "123456789";
}

TEST(Checksums, CheckValuesOfTheirPublishedNames) {
  EXPECT_EQ(HashCRC8::FromBuffer(C_CHECK, 9), 0xF4);         // CRC-8/SMBUS
  EXPECT_EQ(HashCRC16::FromBuffer(C_CHECK, 9), 0x29B1);      // CRC-16/CCITT-FALSE
  EXPECT_EQ(HashCRC32::FromBuffer(C_CHECK, 9), 0xCBF43926u);  // CRC-32
  EXPECT_EQ(HashCRC8::FromString(std::string(C_CHECK)), 0xF4);
  EXPECT_EQ(HashCRC16::FromString(std::string(C_CHECK)), 0x29B1);
  EXPECT_EQ(HashCRC32::FromString(C_CHECK), 0xCBF43926u);
  EXPECT_EQ(HashCRC32::FromString(std::string(C_CHECK)), 0xCBF43926u);
  // Tables by the byte-wise rule: entry 1 is the polynomial (reflected for CRC-32).
  EXPECT_EQ(HashCRC8::CRC_8_TAB[1], 0x07);
  EXPECT_EQ(HashCRC16::CRC_16_TAB[1], 0x1021);
  EXPECT_EQ(HashCRC32::CRC_32_TAB[128], 0xEDB88320u);
}

TEST(Checksums, EmptyInputsGiveTheStartValues) {
  EXPECT_EQ(HashCRC8::FromBuffer(C_CHECK, 0), 0x00);
  EXPECT_EQ(HashCRC8::FromBuffer(C_CHECK, -1), 0x00);
  EXPECT_EQ(HashCRC16::FromBuffer(C_CHECK, 0), 0xFFFF);
  EXPECT_EQ(HashCRC16::FromBuffer(C_CHECK, -5), 0xFFFF);
  EXPECT_EQ(HashCRC32::FromBuffer(C_CHECK, 0), 0u);
  EXPECT_EQ(HashCRC32::FromString(""), 0u);
  EXPECT_EQ(HashCRC32::FromString(std::string()), 0u);
  EXPECT_EQ(HashCRC32::FromString(std::wstring()), 0u);
  EXPECT_EQ(HashCRC32::FromBuffer(0x12345678, C_CHECK, 0), 0x12345678u);
}

TEST(Checksums, AsStringKeepsLeadingZerosInUpperCase) {
  EXPECT_EQ(HashCRC8::AsString(0x0A), L"0A");
  EXPECT_EQ(HashCRC16::AsString(0x00F4), L"00F4");
  EXPECT_EQ(HashCRC32::AsString(0x0000ABCD), L"0000ABCD");
  EXPECT_EQ(HashCRC32::AsString(0xCBF43926), L"CBF43926");
}

TEST(Checksums, UnicodeFormHashesTheUtf16Bytes) {
  const unsigned char LUtf16[] = {'a', 0, 'b', 0, 'c', 0};
  EXPECT_EQ(HashCRC8::FromString(std::wstring(L"abc")), HashCRC8::FromBuffer(LUtf16, 6));
  EXPECT_EQ(HashCRC16::FromString(std::wstring(L"abc")), HashCRC16::FromBuffer(LUtf16, 6));
  EXPECT_EQ(HashCRC32::FromString(std::wstring(L"abc")), HashCRC32::FromBuffer(LUtf16, 6));
  EXPECT_NE(HashCRC8::FromString(std::wstring(L"abc")), HashCRC8::FromString(std::string("abc")));
  EXPECT_NE(HashCRC16::FromString(std::wstring(L"abc")), HashCRC16::FromString(std::string("abc")));
  EXPECT_NE(HashCRC32::FromString(std::wstring(L"abc")), HashCRC32::FromString(std::string("abc")));
  EXPECT_EQ(HashCRC32::FromString(std::string("abc")), 0x352441C2u);
  // Non-ASCII text: the bytes of its UTF-16 form, surrogate pairs included.
  const std::wstring LText = L"\u017Elu\u0165ou\u010Dk\u00FD \u65E5\u672C \U0001F600";
  EXPECT_EQ(HashCRC32::FromString(LText), HashCRC32::FromBuffer(LText.data(), static_cast<int32_t>(LText.size() * 2)));
}

TEST(Checksums, Crc32UpdateIsTheRawStep) {
  uint32_t C = 0xFFFFFFFF;
  for (int I = 0; I < 9; ++I) C = HashCRC32::Update(static_cast<uint8_t>(C_CHECK[I]), C);
  EXPECT_EQ(~C, 0xCBF43926u);
}

// Every length from 0 to 300 at every alignment of 0 to 15, chained over random cuts, on both
// roads, against the byte-wise step.
TEST(Checksums, Crc32BothRoadsAndChainsEqualTheByteWiseStep) {
  std::mt19937 LRandom(20240607);
  std::vector<uint8_t> LData(300 + 16 + 70000);
  for (uint8_t& B : LData) B = static_cast<uint8_t>(LRandom());
  const auto LByteWise = [&](const uint8_t* P, size_t N) {
    uint32_t C = 0xFFFFFFFF;
    for (size_t I = 0; I < N; ++I) C = HashCRC32::Update(P[I], C);
    return ~C;
  };
  OnBothRoads(CpuFeatures::HasCarrylessMultiply(), [&] {
    for (size_t LOffset = 0; LOffset < 16; ++LOffset)
      for (size_t N = 0; N <= 300; ++N) {
        const uint8_t* P = LData.data() + LOffset;
        const uint32_t LExpected = LByteWise(P, N);
        ASSERT_EQ(HashCRC32::FromBuffer(P, static_cast<int32_t>(N)), LExpected) << N << " at " << LOffset;
        const size_t LCut = N ? LRandom() % (N + 1) : 0;
        const uint32_t LFirst = HashCRC32::FromBuffer(0, P, static_cast<int32_t>(LCut));
        ASSERT_EQ(HashCRC32::FromBuffer(LFirst, P + LCut, static_cast<int32_t>(N - LCut)), LExpected);
      }
    const uint32_t LWhole = LByteWise(LData.data(), LData.size());
    EXPECT_EQ(HashCRC32::FromBuffer(LData.data(), static_cast<int32_t>(LData.size())), LWhole);
    uint32_t LChained = 0;
    for (size_t P = 0; P < LData.size(); P += 4097)
      LChained = HashCRC32::FromBuffer(LChained, LData.data() + P, static_cast<int32_t>(std::min<size_t>(4097, LData.size() - P)));
    EXPECT_EQ(LChained, LWhole);
  });
}
