// SHA-1: portable compression with a 16-word rolling schedule, and compression by the SHA extensions
// (SHA1RNDS4 does four rounds, SHA1MSG1/SHA1MSG2 and SHA1NEXTE the schedule and the E term).
#include "Ostravane.Utils.Hash.SHA1.h"

#include <immintrin.h>

#include "Ostravane.Utils.CpuFeatures.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(HashSHA1, nullptr)

namespace {

using SHABlocks::LoadBig;

constexpr uint32_t Rol(uint32_t X, int N) noexcept { return (X << N) | (X >> (32 - N)); }

// Round t on the rolled names; W holds the last 16 schedule words.
#define OV_SHA1_W(t) (W[(t) & 15] = Rol(W[((t) + 13) & 15] ^ W[((t) + 8) & 15] ^ W[((t) + 2) & 15] ^ W[(t) & 15], 1))
#define OV_SHA1_CH(b, c, d) ((d) ^ ((b) & ((c) ^ (d))))
#define OV_SHA1_PARITY(b, c, d) ((b) ^ (c) ^ (d))
#define OV_SHA1_MAJ(b, c, d) ((((b) | (c)) & (d)) | ((b) & (c)))
#define OV_SHA1_ROUND(F, K, WT, a, b, c, d, e) \
  e += F(b, c, d) + (WT) + (K) + Rol(a, 5);    \
  b = Rol(b, 30);
#define OV_SHA1_FIVE(F, K, WF, t)               \
  OV_SHA1_ROUND(F, K, WF(t), a, b, c, d, e)     \
  OV_SHA1_ROUND(F, K, WF(t + 1), e, a, b, c, d) \
  OV_SHA1_ROUND(F, K, WF(t + 2), d, e, a, b, c) \
  OV_SHA1_ROUND(F, K, WF(t + 3), c, d, e, a, b) \
  OV_SHA1_ROUND(F, K, WF(t + 4), b, c, d, e, a)
#define OV_SHA1_LOADED(t) W[t]

void CompressPortable(uint32_t* H, const uint8_t* P, size_t N) noexcept {
  for (; N > 0; --N, P += 64) {
    uint32_t W[16];
    for (int I = 0; I < 16; ++I) W[I] = LoadBig(P + 4 * I);
    uint32_t a = H[0], b = H[1], c = H[2], d = H[3], e = H[4];
    OV_SHA1_FIVE(OV_SHA1_CH, 0x5A827999, OV_SHA1_LOADED, 0)
    OV_SHA1_FIVE(OV_SHA1_CH, 0x5A827999, OV_SHA1_LOADED, 5)
    OV_SHA1_FIVE(OV_SHA1_CH, 0x5A827999, OV_SHA1_LOADED, 10)
    OV_SHA1_ROUND(OV_SHA1_CH, 0x5A827999, W[15], a, b, c, d, e)
    OV_SHA1_ROUND(OV_SHA1_CH, 0x5A827999, OV_SHA1_W(16), e, a, b, c, d)
    OV_SHA1_ROUND(OV_SHA1_CH, 0x5A827999, OV_SHA1_W(17), d, e, a, b, c)
    OV_SHA1_ROUND(OV_SHA1_CH, 0x5A827999, OV_SHA1_W(18), c, d, e, a, b)
    OV_SHA1_ROUND(OV_SHA1_CH, 0x5A827999, OV_SHA1_W(19), b, c, d, e, a)
    OV_SHA1_FIVE(OV_SHA1_PARITY, 0x6ED9EBA1, OV_SHA1_W, 20)
    OV_SHA1_FIVE(OV_SHA1_PARITY, 0x6ED9EBA1, OV_SHA1_W, 25)
    OV_SHA1_FIVE(OV_SHA1_PARITY, 0x6ED9EBA1, OV_SHA1_W, 30)
    OV_SHA1_FIVE(OV_SHA1_PARITY, 0x6ED9EBA1, OV_SHA1_W, 35)
    OV_SHA1_FIVE(OV_SHA1_MAJ, 0x8F1BBCDC, OV_SHA1_W, 40)
    OV_SHA1_FIVE(OV_SHA1_MAJ, 0x8F1BBCDC, OV_SHA1_W, 45)
    OV_SHA1_FIVE(OV_SHA1_MAJ, 0x8F1BBCDC, OV_SHA1_W, 50)
    OV_SHA1_FIVE(OV_SHA1_MAJ, 0x8F1BBCDC, OV_SHA1_W, 55)
    OV_SHA1_FIVE(OV_SHA1_PARITY, 0xCA62C1D6, OV_SHA1_W, 60)
    OV_SHA1_FIVE(OV_SHA1_PARITY, 0xCA62C1D6, OV_SHA1_W, 65)
    OV_SHA1_FIVE(OV_SHA1_PARITY, 0xCA62C1D6, OV_SHA1_W, 70)
    OV_SHA1_FIVE(OV_SHA1_PARITY, 0xCA62C1D6, OV_SHA1_W, 75)
    H[0] += a;
    H[1] += b;
    H[2] += c;
    H[3] += d;
    H[4] += e;
  }
}

// Four rounds of group G (0 to 19) on the extensions: the function selector is an immediate.
#define OV_SHA_TARGET __attribute__((target("sha,ssse3,sse4.1"), force_align_arg_pointer))

OV_SHA_TARGET inline __m128i Rounds4(__m128i AAbcd, __m128i AE, int AGroup) {
  switch (AGroup / 5) {
    case 0: return _mm_sha1rnds4_epu32(AAbcd, AE, 0);
    case 1: return _mm_sha1rnds4_epu32(AAbcd, AE, 1);
    case 2: return _mm_sha1rnds4_epu32(AAbcd, AE, 2);
    default: return _mm_sha1rnds4_epu32(AAbcd, AE, 3);
  }
}

OV_SHA_TARGET void CompressExtensions(uint32_t* H, const uint8_t* P, size_t N) {
  // ABCD with A in the highest lane; E in the highest lane of its own register.
  const __m128i LByteSwap = _mm_set_epi64x(0x0001020304050607LL, 0x08090A0B0C0D0E0FLL);
  __m128i LAbcd = _mm_shuffle_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(H)), 0x1B);
  __m128i LE0 = _mm_set_epi32(static_cast<int>(H[4]), 0, 0, 0);
  for (; N > 0; --N, P += 64) {
    const __m128i LAbcdSave = LAbcd;
    const __m128i LESave = LE0;
    __m128i W[4];  // the schedule's last four groups of four words
    __m128i LPrevious = LAbcd;
#pragma GCC unroll 20
    for (int G = 0; G < 20; ++G) {
      __m128i LW;
      if (G < 4) {
        LW = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(P + 16 * G)), LByteSwap);
      } else {
        LW = _mm_sha1msg1_epu32(W[(G - 4) & 3], W[(G - 3) & 3]);
        LW = _mm_xor_si128(LW, W[(G - 2) & 3]);
        LW = _mm_sha1msg2_epu32(LW, W[(G - 1) & 3]);
      }
      W[G & 3] = LW;
      const __m128i LE = G == 0 ? _mm_add_epi32(LE0, LW) : _mm_sha1nexte_epu32(LPrevious, LW);
      LPrevious = LAbcd;
      LAbcd = Rounds4(LAbcd, LE, G);
    }
    LE0 = _mm_sha1nexte_epu32(LPrevious, LESave);
    LAbcd = _mm_add_epi32(LAbcd, LAbcdSave);
  }
  _mm_storeu_si128(reinterpret_cast<__m128i*>(H), _mm_shuffle_epi32(LAbcd, 0x1B));
  H[4] = static_cast<uint32_t>(_mm_extract_epi32(LE0, 3));
}

}  // namespace

void HashSHA1::Compress(uint32_t* AHash, const uint8_t* ABlocks, size_t ACount) noexcept {
  if (ACount == 0) return;
  if (CpuFeatures::UseShaExtensions()) CompressExtensions(AHash, ABlocks, ACount);
  else CompressPortable(AHash, ABlocks, ACount);
}

TSHA1Value HashSHA1::FromBuffer(const void* ABuffer, int32_t ALength) noexcept {
  return SHABlocks::Digest<TSHA1Context, TSHA1Value>(ABuffer, ALength);
}

Rtl::AnsiString HashSHA1::FromString(const Rtl::AnsiString& AString) {
  return SHABlocks::DigestString<TSHA1Context, TSHA1Value>(AString);
}

Rtl::UnicodeString HashSHA1::FromString(const Rtl::UnicodeString& AString) {
  return SHABlocks::DigestString<TSHA1Context, TSHA1Value>(AString);
}

}  // namespace Ostravane
