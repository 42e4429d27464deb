// The library's digests and MACs against the system's own (CNG and the CryptoAPI, as Wine gives
// them) on 1,000 random messages of random lengths up to 4 KiB, on both code roads.
#include <gtest/gtest.h>

#include <random>

#include "HashTestSupport.h"
#include "Ostravane.Utils.Hash.CRC32.h"
#include "Ostravane.Utils.Hash.HMAC.h"
#include "Ostravane.Utils.Hash.MD5.h"
#include "Ostravane.Utils.Hash.SHA1.h"
#include "Ostravane.Utils.Hash.SHA256.h"
#include "SystemDigests.h"

using namespace Ostravane;
using OvTest::OnBothRoads;

namespace {

std::vector<uint8_t> Vec(const uint8_t* P, size_t N) { return std::vector<uint8_t>(P, P + N); }

}  // namespace

TEST(SystemDigests, LibraryAgreesWithCngAndCryptoApi) {
  const OvTest::TCngDigest LMd5(BCRYPT_MD5_ALGORITHM), LSha1(BCRYPT_SHA1_ALGORITHM), LSha256(BCRYPT_SHA256_ALGORITHM);
  const OvTest::TCngDigest LHmac1(BCRYPT_SHA1_ALGORITHM, true), LHmac256(BCRYPT_SHA256_ALGORITHM, true);
  const OvTest::TCapiDigest LCapi;
  const bool LAnyExtension = CpuFeatures::HasShaExtensions() || CpuFeatures::HasCarrylessMultiply();
  OnBothRoads(LAnyExtension, [&] {
    std::mt19937 LRandom(4096);
    std::vector<uint8_t> LMessage(4096);
    for (int I = 0; I < 1000; ++I) {
      const size_t N = LRandom() % 4097;
      for (size_t J = 0; J < N; ++J) LMessage[J] = static_cast<uint8_t>(LRandom());
      const int32_t L = static_cast<int32_t>(N);
      const TMD5Value LMd5Value = HashMD5::FromBuffer(LMessage.data(), L);
      const TSHA1Value LSha1Value = HashSHA1::FromBuffer(LMessage.data(), L);
      const TSHA256Value LSha256Value = HashSHA256::FromBuffer(LMessage.data(), L);
      ASSERT_EQ(Vec(LMd5Value.V, 16), LMd5.Hash(LMessage.data(), N)) << "MD5, " << N << " bytes";
      ASSERT_EQ(Vec(LSha1Value.data(), 20), LSha1.Hash(LMessage.data(), N)) << "SHA-1, " << N << " bytes";
      ASSERT_EQ(Vec(LSha256Value.data(), 32), LSha256.Hash(LMessage.data(), N)) << "SHA-256, " << N << " bytes";
      ASSERT_EQ(Vec(LMd5Value.V, 16), LCapi.Hash(CALG_MD5, LMessage.data(), N)) << "MD5, " << N << " bytes";
      ASSERT_EQ(Vec(LSha1Value.data(), 20), LCapi.Hash(CALG_SHA1, LMessage.data(), N)) << "SHA-1, " << N << " bytes";
      ASSERT_EQ(Vec(LSha256Value.data(), 32), LCapi.Hash(CALG_SHA_256, LMessage.data(), N)) << "SHA-256, " << N << " bytes";
      // HMAC on every tenth message, with keys of 0 to 100 bytes around the block size.
      if (I % 10 == 0) {
        std::string LKey(LRandom() % 101, '\0');
        for (char& C : LKey) C = static_cast<char>(LRandom());
        const std::string LText(reinterpret_cast<const char*>(LMessage.data()), N);
        const std::string L1 = HashHMAC::MacSha1(LKey, LText), L256 = HashHMAC::MacSha256(LKey, LText);
        ASSERT_EQ(Vec(reinterpret_cast<const uint8_t*>(L1.data()), 20), LHmac1.Mac(LKey, LMessage.data(), N));
        ASSERT_EQ(Vec(reinterpret_cast<const uint8_t*>(L256.data()), 32), LHmac256.Mac(LKey, LMessage.data(), N));
      }
    }
  });
}

// CRC-32 against ntdll's RtlComputeCrc32 (seeded the same way) on random pieces.
TEST(SystemDigests, Crc32AgreesWithRtlComputeCrc32) {
  using TRtlComputeCrc32 = DWORD(WINAPI*)(DWORD, const BYTE*, INT);
  const auto LRtl = reinterpret_cast<TRtlComputeCrc32>(
      reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlComputeCrc32")));
  ASSERT_NE(LRtl, nullptr);
  OnBothRoads(CpuFeatures::HasCarrylessMultiply(), [&] {
    std::mt19937 LRandom(32);
    std::vector<uint8_t> LMessage(9000);
    for (uint8_t& B : LMessage) B = static_cast<uint8_t>(LRandom());
    uint32_t LSeed = 0;
    for (int I = 0; I < 1000; ++I) {
      const size_t N = LRandom() % 4097, LOffset = LRandom() % 4096;
      const uint32_t LExpected = LRtl(LSeed, LMessage.data() + LOffset, static_cast<INT>(N));
      LSeed = HashCRC32::FromBuffer(LSeed, LMessage.data() + LOffset, static_cast<int32_t>(N));
      ASSERT_EQ(LSeed, LExpected) << N << " bytes at " << LOffset;
    }
  });
}
