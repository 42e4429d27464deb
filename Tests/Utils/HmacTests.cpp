// HMAC-SHA1 and HMAC-SHA256: the test cases of RFC 2202 and RFC 4231, keys longer than a block
// included, the two key paths at 64 and 65 bytes, and the general form.
#include <gtest/gtest.h>

#include "HashTestSupport.h"
#include "Ostravane.Utils.Hash.HMAC.h"
#include "Ostravane.Utils.Hash.SHA1.h"
#include "Ostravane.Utils.Hash.SHA256.h"

using namespace Ostravane;
using OvTest::OnBothRoads;
using OvTest::ToHex;

namespace {

struct TCase {
  std::string Key;
  std::string Data;
};

std::string Bytes(size_t ACount, char AValue) { return std::string(ACount, AValue); }

std::string Counting(int AFrom, int ATo) {
  std::string R;
  for (int I = AFrom; I <= ATo; ++I) R += static_cast<char>(I);
  return R;
}

}  // namespace

TEST(Hmac, Rfc2202Sha1) {
  const TCase C_CASES[] = {
      {Bytes(20, 0x0B), "Hi There"},
      {"Jefe", "what do ya want for nothing?"},
      {Bytes(20, '\xAA'), Bytes(50, '\xDD')},
      {Counting(1, 25), Bytes(50, '\xCD')},
      {Bytes(20, 0x0C), "Test With Truncation"},
      {Bytes(80, '\xAA'), "Test Using Larger Than Block-Size Key - Hash Key First"},
      {Bytes(80, '\xAA'), "Test Using Larger Than Block-Size Key and Larger Than One Block-Size Data"},
  };
  const char* C_MACS[] = {
      "b617318655057264e28bc0b6fb378c8ef146be00", "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79",
      "125d7342b9ac11cd91a39af48aa17b4f63f175d3", "4c9007f4026250c6bc8414f9bf50c86c2d7235da",
      "4c1a03424b55e07fe7f27be1d58bb9324a9a5a04", "aa4ae5e15272d00e95705637ce8a3b55ed402112",
      "e8e99d0f45237d786d6bbaa7965c7808bbff1a91",
  };
  OnBothRoads(CpuFeatures::HasShaExtensions(), [&] {
    for (size_t I = 0; I < std::size(C_CASES); ++I) {
      const std::string LMac = HashHMAC::MacSha1(C_CASES[I].Key, C_CASES[I].Data);
      ASSERT_EQ(LMac.size(), 20u);
      EXPECT_EQ(ToHex(LMac), C_MACS[I]) << "test case " << I + 1;
    }
  });
}

TEST(Hmac, Rfc4231Sha256) {
  const TCase C_CASES[] = {
      {Bytes(20, 0x0B), "Hi There"},
      {"Jefe", "what do ya want for nothing?"},
      {Bytes(20, '\xAA'), Bytes(50, '\xDD')},
      {Counting(1, 25), Bytes(50, '\xCD')},
      {Bytes(20, 0x0C), "Test With Truncation"},
      {Bytes(131, '\xAA'), "Test Using Larger Than Block-Size Key - Hash Key First"},
      {Bytes(131, '\xAA'),
       "This is a test using a larger than block-size key and a larger than block-size data. The key needs to be "
       "hashed before being used by the HMAC algorithm."},
  };
  // Test case 5 publishes the first 128 bits only.
  const char* C_MACS[] = {
      "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7",
      "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843",
      "773ea91e36800e46854db8ebd09181a72959098b3ef8c122d9635514ced565fe",
      "82558a389a443c0ea4cc819899f2083a85f0faa3e578f8077a2e3ff46729665b",
      "a3b6167473100ee06e0c796c2955552b",
      "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54",
      "9b09ffa71b942fcb27635fbcd5b0e944bfdc63644f0713938a7f51535c3a35e2",
  };
  OnBothRoads(CpuFeatures::HasShaExtensions(), [&] {
    for (size_t I = 0; I < std::size(C_CASES); ++I) {
      const std::string LMac = HashHMAC::MacSha256(C_CASES[I].Key, C_CASES[I].Data);
      ASSERT_EQ(LMac.size(), 32u);
      const std::string LExpected = C_MACS[I];
      EXPECT_EQ(ToHex(LMac).substr(0, LExpected.size()), LExpected) << "test case " << I + 1;
    }
  });
}

TEST(Hmac, EmptyKeyAndMessage) {
  EXPECT_EQ(ToHex(HashHMAC::MacSha1("", "")), "fbdb1d1b18aa6c08324b7d64b71fb76370690e1d");
  EXPECT_EQ(ToHex(HashHMAC::MacSha256("", "")), "b613679a0814d9ec772f95d778c35fc5ff1697c493715653c6c712144292c5ad");
}

// A key of exactly 64 bytes is used as it is; one of 65 is hashed first, so it equals the MAC under
// its digest as the key.
TEST(Hmac, KeysOfOneBlockAndOneByteMore) {
  const std::string L64 = Counting(1, 64), L65 = Counting(1, 65);
  EXPECT_EQ(HashHMAC::MacSha256(L65, "message"), HashHMAC::MacSha256(HashSHA256::FromString(L65), "message"));
  EXPECT_EQ(HashHMAC::MacSha1(L65, "message"), HashHMAC::MacSha1(HashSHA1::FromString(L65), "message"));
  EXPECT_NE(HashHMAC::MacSha256(L64, "message"), HashHMAC::MacSha256(HashSHA256::FromString(L64), "message"));
  // A key padded with zero bytes to the block size is the same key.
  EXPECT_EQ(HashHMAC::MacSha1("key", "m"), HashHMAC::MacSha1(std::string("key") + std::string(61, '\0'), "m"));
  // The general form with closures over the string digests gives MacSha1's and MacSha256's results,
  // for keys shorter than, as long as and longer than a block, and messages of 0 to 200 bytes.
  const auto LSha1 = [](const std::string& S) { return HashSHA1::FromString(S); };
  const auto LSha256 = [](const std::string& S) { return HashSHA256::FromString(S); };
  for (const std::string& LKey : {std::string(), std::string("k"), L64, L65, Counting(0, 130)})
    for (size_t N : {0, 1, 55, 64, 200}) {
      const std::string LMessage = Counting(0, static_cast<int>(N) - 1);
      EXPECT_EQ(HashHMAC::CalculateHMAC(LKey, LMessage, LSha1), HashHMAC::MacSha1(LKey, LMessage));
      EXPECT_EQ(HashHMAC::CalculateHMAC(LKey, LMessage, LSha256), HashHMAC::MacSha256(LKey, LMessage));
    }
}
