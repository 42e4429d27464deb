// CRC-32: the byte-wise step, sixteen bytes a step through sliced tables, and folding by carry-less
// multiplication (the method of Intel's "Fast CRC Computation for Generic Polynomials Using
// PCLMULQDQ Instruction", with the constants of the reflected polynomial 0x04C11DB7).
#include "Ostravane.Utils.Hash.CRC32.h"

#include <immintrin.h>

#include "Ostravane.Rtl.SysUtils.h"
#include "Ostravane.Utils.CpuFeatures.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(HashCRC32, nullptr)

namespace {

// SLICES[K][B]: the state change of byte B followed by K zero bytes.
constexpr int C_SLICES = 16;
using TSliceTables = std::array<std::array<uint32_t, 256>, C_SLICES>;
constexpr TSliceTables SLICES = [] {
  TSliceTables T{};
  T[0] = HashCRC32::CRC_32_TAB;
  for (int K = 1; K < C_SLICES; ++K)
    for (int B = 0; B < 256; ++B) T[K][B] = (T[K - 1][B] >> 8) ^ T[0][T[K - 1][B] & 255];
  return T;
}();

inline uint32_t Load32(const uint8_t* P) noexcept {
  uint32_t V;
  std::memcpy(&V, P, 4);
  return V;
}

// The four bytes of W, the first of them followed by AZeros + 3 zero bytes.
inline uint32_t Slice4(uint32_t W, int AZeros) noexcept {
  return SLICES[AZeros + 3][W & 255] ^ SLICES[AZeros + 2][(W >> 8) & 255] ^ SLICES[AZeros + 1][(W >> 16) & 255] ^
         SLICES[AZeros][W >> 24];
}

// The raw state over the bytes, sixteen at a time, the rest one at a time. A step is one look-up a
// byte; only the first word waits for the state of the step before, and its four look-ups are
// joined pairwise, so that the chain from step to step stays short.
uint32_t UpdateSliced(uint32_t C, const uint8_t* P, size_t N) noexcept {
  for (; N >= 16; N -= 16, P += 16) {
    const uint32_t LRest = Slice4(Load32(P + 4), 8) ^ Slice4(Load32(P + 8), 4) ^ Slice4(Load32(P + 12), 0);
    const uint32_t W = Load32(P) ^ C;
    const uint32_t LLow = SLICES[15][W & 255] ^ SLICES[14][(W >> 8) & 255];
    const uint32_t LHigh = SLICES[13][(W >> 16) & 255] ^ SLICES[12][W >> 24];
    C = (LLow ^ LHigh) ^ LRest;
  }
  for (; N > 0; --N, ++P) C = HashCRC32::Update(*P, C);
  return C;
}

constexpr size_t C_FOLD_MINIMUM = 64;  // the four lanes of the folding loop

#define OV_CLMUL_TARGET __attribute__((target("pclmul,sse4.1"), force_align_arg_pointer))

// X times the two constants of K, each half by its own, added to Y: 128 bits moved 512 or 128 bits on.
OV_CLMUL_TARGET inline __m128i Fold(__m128i X, __m128i K, __m128i Y) {
  return _mm_xor_si128(_mm_xor_si128(_mm_clmulepi64_si128(X, K, 0x00), _mm_clmulepi64_si128(X, K, 0x11)), Y);
}

OV_CLMUL_TARGET inline __m128i Load128(const uint8_t* P) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(P)); }

// The raw state over N bytes, N a multiple of 16 and at least 64.
OV_CLMUL_TARGET uint32_t UpdateFolded(uint32_t C, const uint8_t* P, size_t N) {
  const __m128i K1K2 = _mm_set_epi64x(0x01C6E41596LL, 0x0154442BD4LL);  // x^(4*128+32), x^(4*128-32) mod P
  const __m128i K3K4 = _mm_set_epi64x(0x00CCAA009ELL, 0x01751997D0LL);  // x^(128+32), x^(128-32) mod P
  const __m128i K5 = _mm_set_epi64x(0, 0x0163CD6124LL);                  // x^64 mod P
  const __m128i PMu = _mm_set_epi64x(0x01F7011641LL, 0x01DB710641LL);   // floor(x^64 / P), P
  const __m128i Low32 = _mm_setr_epi32(-1, 0, -1, 0);
  __m128i X1 = _mm_xor_si128(Load128(P), _mm_cvtsi32_si128(static_cast<int>(C)));
  __m128i X2 = Load128(P + 16), X3 = Load128(P + 32), X4 = Load128(P + 48);
  P += 64;
  N -= 64;
  for (; N >= 64; N -= 64, P += 64) {
    X1 = Fold(X1, K1K2, Load128(P));
    X2 = Fold(X2, K1K2, Load128(P + 16));
    X3 = Fold(X3, K1K2, Load128(P + 32));
    X4 = Fold(X4, K1K2, Load128(P + 48));
  }
  X1 = Fold(X1, K3K4, X2);
  X1 = Fold(X1, K3K4, X3);
  X1 = Fold(X1, K3K4, X4);
  for (; N >= 16; N -= 16, P += 16) X1 = Fold(X1, K3K4, Load128(P));
  // 128 bits to 96, then to 64.
  X1 = _mm_xor_si128(_mm_srli_si128(X1, 8), _mm_clmulepi64_si128(X1, K3K4, 0x10));
  X1 = _mm_xor_si128(_mm_srli_si128(X1, 4), _mm_clmulepi64_si128(_mm_and_si128(X1, Low32), K5, 0x00));
  // Barrett reduction to 32 bits.
  __m128i T = _mm_clmulepi64_si128(_mm_and_si128(X1, Low32), PMu, 0x10);
  T = _mm_clmulepi64_si128(_mm_and_si128(T, Low32), PMu, 0x00);
  return static_cast<uint32_t>(_mm_extract_epi32(_mm_xor_si128(X1, T), 1));
}

uint32_t UpdateRaw(uint32_t C, const uint8_t* P, size_t N) noexcept {
  if (N >= C_FOLD_MINIMUM && CpuFeatures::UseCarrylessMultiply()) {
    const size_t LFolded = N & ~size_t{15};
    C = UpdateFolded(C, P, LFolded);
    P += LFolded;
    N -= LFolded;
  }
  return UpdateSliced(C, P, N);
}

}  // namespace

uint32_t HashCRC32::FromBuffer(const void* Buffer, int32_t BufLen) noexcept { return FromBuffer(0, Buffer, BufLen); }

uint32_t HashCRC32::FromBuffer(uint32_t Seed, const void* Buffer, int32_t BufLen) noexcept {
  if (BufLen <= 0) return Seed;
  return ~UpdateRaw(~Seed, static_cast<const uint8_t*>(Buffer), static_cast<size_t>(BufLen));
}

uint32_t HashCRC32::FromString(const char* Buffer) noexcept {
  return Buffer ? FromBuffer(Buffer, static_cast<int32_t>(std::strlen(Buffer))) : 0;
}

uint32_t HashCRC32::FromString(const Rtl::AnsiString& ABuffer) noexcept {
  return FromBuffer(ABuffer.data(), static_cast<int32_t>(ABuffer.size()));
}

uint32_t HashCRC32::FromString(const Rtl::UnicodeString& ABuffer) noexcept {
  return FromBuffer(ABuffer.data(), static_cast<int32_t>(ABuffer.size() * sizeof(wchar_t)));
}

Rtl::UnicodeString HashCRC32::AsString(uint32_t AValue) { return Rtl::IntToHex(AValue, 8); }

}  // namespace Ostravane
