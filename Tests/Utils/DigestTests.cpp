// MD5, SHA-1 and SHA-256: the published vectors of RFC 1321 and FIPS 180 on both code roads, the
// string conventions, contexts fed in pieces, and the two padding cases.
#include <gtest/gtest.h>

#include <random>

#include "HashTestSupport.h"
#include "Ostravane.Utils.Hash.MD5.h"
#include "Ostravane.Utils.Hash.SHA1.h"
#include "Ostravane.Utils.Hash.SHA256.h"

using namespace Ostravane;
using OvTest::OnBothRoads;
using OvTest::ToHex;

namespace {

struct TVector {
  std::string Message;
  const char* Digest;
};

const std::string C_MILLION_A(1000000, 'a');
const char C_448_BITS[] = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
const char C_896_BITS[] =
    "abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqrlmnopqrsmnopqrstnopqrstu";

std::string Md5Hex(const std::string& S) {
  const TMD5Value V = HashMD5::FromBuffer(S.data(), static_cast<int32_t>(S.size()));
  return ToHex(V.V, 16);
}

template <typename THash>
std::string ShaHex(const std::string& S) {
  return ToHex(THash::FromBuffer(S.data(), static_cast<int32_t>(S.size())));
}

}  // namespace

TEST(Digests, Md5Rfc1321Suite) {
  const TVector C_SUITE[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"a", "0cc175b9c0f1b6a831c399e269772661"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"},
  };
  for (const TVector& V : C_SUITE) EXPECT_EQ(Md5Hex(V.Message), V.Digest) << V.Message;
}

TEST(Digests, Md5ValueStringAndComparison) {
  const TMD5Value LEmpty = HashMD5::FromString(L"");
  EXPECT_EQ(LEmpty.AsString(), L"D41D8CD98F00B204E9800998ECF8427E");
  // The four integers view the same bytes, little-endian.
  EXPECT_EQ(static_cast<uint32_t>(LEmpty.A), 0xD98C1DD4u);
  EXPECT_EQ(static_cast<uint32_t>(LEmpty.D), 0x7E42F8ECu);
  // FromString hashes the UTF-16LE bytes, non-ASCII text included.
  EXPECT_EQ(ToHex(HashMD5::FromString(L"P\u0159\u00EDli\u0161 \u017Elu\u0165ou\u010Dk\u00FD \u65E5\u672C").V, 16),
            "526d02c3cf317b274c53dbfa31f93b52");
  const std::string LUtf16("a\0b\0c\0", 6);
  EXPECT_TRUE(HashMD5::FromString(L"abc") == HashMD5::FromBuffer(LUtf16.data(), 6));
  TMD5Value LOther = LEmpty;
  EXPECT_FALSE(LOther != LEmpty);
  LOther.V[15] ^= 1;
  EXPECT_TRUE(LOther != LEmpty);
  EXPECT_FALSE(LOther == LEmpty);
}

TEST(Digests, Md5ContextInPiecesAndWipe) {
  std::string LMessage(1000, '\0');
  for (size_t I = 0; I < LMessage.size(); ++I) LMessage[I] = static_cast<char>(I * 7);
  HashMD5::TMD5Context LContext;
  HashMD5::MD5Init(LContext);
  size_t P = 0;
  for (size_t LPiece : {1, 63, 64, 65, 0, 200, 7}) {
    HashMD5::MD5Update(LContext, LMessage.data() + P, static_cast<uint32_t>(LPiece));
    P += LPiece;
  }
  HashMD5::MD5Update(LContext, LMessage.data() + P, static_cast<uint32_t>(LMessage.size() - P));
  TMD5Value LDigest;
  HashMD5::MD5Final(LDigest, LContext);
  EXPECT_EQ(ToHex(LDigest.V, 16), Md5Hex(LMessage));
  const HashMD5::TMD5Context LZero{};
  EXPECT_EQ(std::memcmp(&LContext, &LZero, sizeof(LZero)), 0);
}

TEST(Digests, Sha1Fips180Examples) {
  OnBothRoads(CpuFeatures::HasShaExtensions(), [] {
    EXPECT_EQ(ShaHex<HashSHA1>("abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(ShaHex<HashSHA1>(C_448_BITS), "84983e441c3bd26ebaae4aa1f95129e5e54670f1");
    EXPECT_EQ(ShaHex<HashSHA1>(C_MILLION_A), "34aa973cd4c4daa4f61eeb2bdbad27316534016f");
    EXPECT_EQ(ShaHex<HashSHA1>(""), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
    EXPECT_EQ(ShaHex<HashSHA1>(C_896_BITS), "a49b2446a02c645bf419f995b67091253a04a259");
    // 55 bytes take one final block, 56 bytes two.
    EXPECT_EQ(ShaHex<HashSHA1>(std::string(55, 'a')), "c1c8bbdc22796e28c0e15163d20899b65621d65a");
    EXPECT_EQ(ShaHex<HashSHA1>(std::string(56, 'a')), "c2db330f6083854c99d4b5bfb6e8f29f201be699");
  });
}

TEST(Digests, Sha256Fips180Examples) {
  OnBothRoads(CpuFeatures::HasShaExtensions(), [] {
    EXPECT_EQ(ShaHex<HashSHA256>("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(ShaHex<HashSHA256>(C_448_BITS), "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    EXPECT_EQ(ShaHex<HashSHA256>(C_MILLION_A), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
    EXPECT_EQ(ShaHex<HashSHA256>(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(ShaHex<HashSHA256>(C_896_BITS), "cf5b16a778af8380036ce59e7b0492370b249b11e8f07a51afac45037afee9d1");
    EXPECT_EQ(ShaHex<HashSHA256>(std::string(55, 'a')),
              "9f4390f8d30c2dd92ec9f095b65e2b9ae9b0a925a5258e241c9f1e910f734318");
    EXPECT_EQ(ShaHex<HashSHA256>(std::string(56, 'a')),
              "b35439a4ac6f0948b6d6f9e3c6af0f5f590ce20f1bde7090ef7970686ec6738a");
  });
}

// A context fed in pieces of 1, 63, 64 and 65 bytes (and the rest) gives the one-call digest.
template <typename THash, typename TContext, typename TValue>
void CheckPieces() {
  std::mt19937 LRandom(7);
  std::string LMessage(5000, '\0');
  for (char& C : LMessage) C = static_cast<char>(LRandom());
  for (size_t LPiece : {1, 63, 64, 65}) {
    TContext LContext;
    LContext.InitData();
    for (size_t P = 0; P < LMessage.size(); P += LPiece)
      LContext.UpdateData(LMessage.data() + P, static_cast<int32_t>(std::min(LPiece, LMessage.size() - P)));
    TValue LDigest;
    LContext.ExtractDigest(LDigest);
    EXPECT_EQ(ToHex(LDigest), ShaHex<THash>(LMessage)) << "pieces of " << LPiece;
  }
}

TEST(Digests, ShaContextsFedInPiecesGiveTheOneCallDigest) {
  OnBothRoads(CpuFeatures::HasShaExtensions(), [] {
    CheckPieces<HashSHA1, HashSHA1::TSHA1Context, TSHA1Value>();
    CheckPieces<HashSHA256, HashSHA256::TSHA256Context, TSHA256Value>();
  });
}

TEST(Digests, ShaStringFormsAreRawBytes) {
  const std::string LSha1 = HashSHA1::FromString(std::string("abc"));
  ASSERT_EQ(LSha1.size(), 20u);
  EXPECT_EQ(ToHex(LSha1), "a9993e364706816aba3e25717850c26c9cd0d89d");
  const std::string LSha256 = HashSHA256::FromString(std::string("abc"));
  ASSERT_EQ(LSha256.size(), 32u);
  EXPECT_EQ(ToHex(LSha256), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  // A digest with NUL bytes keeps all of them: SHA-1 of "a" x 3 has none, find one that has.
  bool LSawNul = false;
  for (int I = 0; I < 200 && !LSawNul; ++I) {
    const std::string D = HashSHA1::FromString(std::to_string(I));
    EXPECT_EQ(D.size(), 20u);
    LSawNul = D.find('\0') != std::string::npos;
  }
  EXPECT_TRUE(LSawNul);
  // The wide form: one character a byte, over the UTF-16LE bytes.
  const std::wstring LWide = HashSHA256::FromString(std::wstring(L"\u65E5\u672C"));
  ASSERT_EQ(LWide.size(), 32u);
  const TSHA256Value LExpected = HashSHA256::FromBuffer("\xE5\x65\x2C\x67", 4);
  for (size_t I = 0; I < 32; ++I) EXPECT_EQ(LWide[I], static_cast<wchar_t>(LExpected[I]));
  const std::wstring LWide1 = HashSHA1::FromString(std::wstring(L"abc"));
  ASSERT_EQ(LWide1.size(), 20u);
  EXPECT_EQ(LWide1[0], static_cast<wchar_t>(HashSHA1::FromBuffer("a\0b\0c\0", 6)[0]));
}

// The two roads agree on random messages of every length to 1,100 bytes at random alignments.
TEST(Digests, ShaRoadsAgreeOnRandomMessages) {
  if (!CpuFeatures::HasShaExtensions()) GTEST_SKIP() << "this processor has no SHA extensions";
  std::mt19937 LRandom(99);
  std::vector<uint8_t> LData(1200);
  for (uint8_t& B : LData) B = static_cast<uint8_t>(LRandom());
  for (int32_t N = 0; N <= 1100; ++N) {
    const uint8_t* P = LData.data() + LRandom() % 16;
    CpuFeatures::SetUseExtensions(false);
    const TSHA1Value L1 = HashSHA1::FromBuffer(P, N);
    const TSHA256Value L256 = HashSHA256::FromBuffer(P, N);
    CpuFeatures::SetUseExtensions(true);
    ASSERT_EQ(HashSHA1::FromBuffer(P, N), L1) << N;
    ASSERT_EQ(HashSHA256::FromBuffer(P, N), L256) << N;
  }
}
