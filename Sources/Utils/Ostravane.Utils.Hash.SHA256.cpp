// SHA-256: portable compression with a 16-word rolling schedule, and compression by the SHA
// extensions (SHA256RNDS2 does two rounds on the state split as ABEF and CDGH).
#include "Ostravane.Utils.Hash.SHA256.h"

#include <immintrin.h>

#include "Ostravane.Utils.CpuFeatures.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(HashSHA256, nullptr)

namespace {

using SHABlocks::LoadBig;

constexpr uint32_t Ror(uint32_t X, int N) noexcept { return (X >> N) | (X << (32 - N)); }

#define OV_SHA256_SUM0(x) (Ror(x, 2) ^ Ror(x, 13) ^ Ror(x, 22))
#define OV_SHA256_SUM1(x) (Ror(x, 6) ^ Ror(x, 11) ^ Ror(x, 25))
#define OV_SHA256_SIG0(x) (Ror(x, 7) ^ Ror(x, 18) ^ ((x) >> 3))
#define OV_SHA256_SIG1(x) (Ror(x, 17) ^ Ror(x, 19) ^ ((x) >> 10))
#define OV_SHA256_CH(e, f, g) ((g) ^ ((e) & ((f) ^ (g))))
#define OV_SHA256_MAJ(a, b, c) (((a) & (b)) | ((c) & ((a) | (b))))
// Schedule word t from t = 16 on, in place in the rolling 16 words.
#define OV_SHA256_W(t)                                                                          \
  (W[(t) & 15] += OV_SHA256_SIG1(W[((t) - 2) & 15]) + W[((t) - 7) & 15] + OV_SHA256_SIG0(W[((t) - 15) & 15]))
#define OV_SHA256_ROUND(a, b, c, d, e, f, g, h, t, WT)                                             \
  {                                                                                                \
    const uint32_t T1 = h + OV_SHA256_SUM1(e) + OV_SHA256_CH(e, f, g) + HashSHA256::HASH_TAB[t] + (WT); \
    d += T1;                                                                                       \
    h = T1 + OV_SHA256_SUM0(a) + OV_SHA256_MAJ(a, b, c);                                           \
  }
#define OV_SHA256_EIGHT(t, WF)                           \
  OV_SHA256_ROUND(a, b, c, d, e, f, g, h, t, WF(t))     \
  OV_SHA256_ROUND(h, a, b, c, d, e, f, g, t + 1, WF(t + 1)) \
  OV_SHA256_ROUND(g, h, a, b, c, d, e, f, t + 2, WF(t + 2)) \
  OV_SHA256_ROUND(f, g, h, a, b, c, d, e, t + 3, WF(t + 3)) \
  OV_SHA256_ROUND(e, f, g, h, a, b, c, d, t + 4, WF(t + 4)) \
  OV_SHA256_ROUND(d, e, f, g, h, a, b, c, t + 5, WF(t + 5)) \
  OV_SHA256_ROUND(c, d, e, f, g, h, a, b, t + 6, WF(t + 6)) \
  OV_SHA256_ROUND(b, c, d, e, f, g, h, a, t + 7, WF(t + 7))
#define OV_SHA256_LOADED(t) W[t]

void CompressPortable(uint32_t* H, const uint8_t* P, size_t N) noexcept {
  for (; N > 0; --N, P += 64) {
    uint32_t W[16];
    for (int I = 0; I < 16; ++I) W[I] = LoadBig(P + 4 * I);
    uint32_t a = H[0], b = H[1], c = H[2], d = H[3], e = H[4], f = H[5], g = H[6], h = H[7];
    OV_SHA256_EIGHT(0, OV_SHA256_LOADED)
    OV_SHA256_EIGHT(8, OV_SHA256_LOADED)
    OV_SHA256_EIGHT(16, OV_SHA256_W)
    OV_SHA256_EIGHT(24, OV_SHA256_W)
    OV_SHA256_EIGHT(32, OV_SHA256_W)
    OV_SHA256_EIGHT(40, OV_SHA256_W)
    OV_SHA256_EIGHT(48, OV_SHA256_W)
    OV_SHA256_EIGHT(56, OV_SHA256_W)
    H[0] += a;
    H[1] += b;
    H[2] += c;
    H[3] += d;
    H[4] += e;
    H[5] += f;
    H[6] += g;
    H[7] += h;
  }
}

#define OV_SHA_TARGET __attribute__((target("sha,ssse3,sse4.1"), force_align_arg_pointer))

OV_SHA_TARGET void CompressExtensions(uint32_t* H, const uint8_t* P, size_t N) {
  const __m128i LByteSwap = _mm_set_epi64x(0x0C0D0E0F08090A0BLL, 0x0405060700010203LL);
  // DCBA and HGFE as they lie in memory, to ABEF and CDGH.
  const __m128i LDcba = _mm_shuffle_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(H)), 0xB1);
  const __m128i LEfgh = _mm_shuffle_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(H + 4)), 0x1B);
  __m128i LAbef = _mm_alignr_epi8(LDcba, LEfgh, 8);
  __m128i LCdgh = _mm_blend_epi16(LEfgh, LDcba, 0xF0);
  for (; N > 0; --N, P += 64) {
    const __m128i LAbefSave = LAbef;
    const __m128i LCdghSave = LCdgh;
    __m128i W[4];  // the schedule's last four groups of four words
#pragma GCC unroll 16
    for (int G = 0; G < 16; ++G) {
      __m128i LW;
      if (G < 4) {
        LW = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(P + 16 * G)), LByteSwap);
      } else {
        LW = _mm_sha256msg1_epu32(W[(G - 4) & 3], W[(G - 3) & 3]);
        LW = _mm_add_epi32(LW, _mm_alignr_epi8(W[(G - 1) & 3], W[(G - 2) & 3], 4));
        LW = _mm_sha256msg2_epu32(LW, W[(G - 1) & 3]);
      }
      W[G & 3] = LW;
      const __m128i LK =
          _mm_add_epi32(LW, _mm_loadu_si128(reinterpret_cast<const __m128i*>(HashSHA256::HASH_TAB + 4 * G)));
      LCdgh = _mm_sha256rnds2_epu32(LCdgh, LAbef, LK);
      LAbef = _mm_sha256rnds2_epu32(LAbef, LCdgh, _mm_shuffle_epi32(LK, 0x0E));
    }
    LAbef = _mm_add_epi32(LAbef, LAbefSave);
    LCdgh = _mm_add_epi32(LCdgh, LCdghSave);
  }
  const __m128i LFeba = _mm_shuffle_epi32(LAbef, 0x1B);
  const __m128i LDchg = _mm_shuffle_epi32(LCdgh, 0xB1);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(H), _mm_blend_epi16(LFeba, LDchg, 0xF0));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(H + 4), _mm_alignr_epi8(LDchg, LFeba, 8));
}

}  // namespace

void HashSHA256::Compress(uint32_t* AHash, const uint8_t* ABlocks, size_t ACount) noexcept {
  if (ACount == 0) return;
  if (CpuFeatures::UseShaExtensions()) CompressExtensions(AHash, ABlocks, ACount);
  else CompressPortable(AHash, ABlocks, ACount);
}

TSHA256Value HashSHA256::FromBuffer(const void* ABuffer, int32_t ALength) noexcept {
  return SHABlocks::Digest<TSHA256Context, TSHA256Value>(ABuffer, ALength);
}

Rtl::AnsiString HashSHA256::FromString(const Rtl::AnsiString& AString) {
  return SHABlocks::DigestString<TSHA256Context, TSHA256Value>(AString);
}

Rtl::UnicodeString HashSHA256::FromString(const Rtl::UnicodeString& AString) {
  return SHABlocks::DigestString<TSHA256Context, TSHA256Value>(AString);
}

}  // namespace Ostravane
