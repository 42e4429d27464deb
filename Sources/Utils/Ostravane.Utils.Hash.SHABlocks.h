// What SHA-1 and SHA-256 share, for their units only (not exported): the context record, the bit
// count, the feeding of whole blocks and the final padding of FIPS 180. ACompress(AHash, ABlocks,
// ACount) compresses ACount whole 64-byte blocks into the chaining value.
#pragma once
#include <algorithm>
#include <cstring>

#include "Ostravane.Rtl.System.h"

namespace Ostravane {

template <size_t NWords>
struct TSHADataOf {
  uint32_t Hash[NWords];  // the chaining value
  uint32_t LengthHi;      // the bit count so far, high word
  uint32_t LengthLo;      // and low word
  uint8_t Buffer[64];     // input not yet compressed
  int32_t Index;          // how much of Buffer is filled
};

namespace SHABlocks {

inline uint32_t Flip(uint32_t AValue) noexcept { return __builtin_bswap32(AValue); }

inline uint32_t LoadBig(const uint8_t* P) noexcept {
  uint32_t V;
  std::memcpy(&V, P, 4);
  return Flip(V);
}

inline void StoreBig(uint8_t* P, uint32_t AValue) noexcept {
  AValue = Flip(AValue);
  std::memcpy(P, &AValue, 4);
}

// Wipes through a volatile pointer, so that the wipe of state about to die stays.
inline void Wipe(void* P, size_t N) noexcept {
  auto* Q = static_cast<volatile uint8_t*>(P);
  while (N-- > 0) *Q++ = 0;
}

// Adds 8 x ALength to the 64-bit bit count.
template <typename TData>
void UpdateDataLength(TData& D, uint32_t ALength) noexcept {
  const uint32_t LBits = ALength << 3;
  D.LengthLo += LBits;
  D.LengthHi += (ALength >> 29) + (D.LengthLo < LBits ? 1 : 0);
}

// The bytes go to the buffer until it is full; whole blocks of the input are compressed where they
// lie; what is left waits in the buffer.
template <typename TData, typename TCompress>
void UpdateData(TData& D, const void* ABuffer, int32_t ALength, TCompress ACompress) noexcept {
  if (ALength <= 0) return;
  UpdateDataLength(D, static_cast<uint32_t>(ALength));
  const auto* P = static_cast<const uint8_t*>(ABuffer);
  size_t N = static_cast<size_t>(ALength);
  if (D.Index > 0) {
    const size_t LPart = std::min<size_t>(N, 64 - D.Index);
    std::memcpy(D.Buffer + D.Index, P, LPart);
    D.Index += static_cast<int32_t>(LPart);
    P += LPart;
    N -= LPart;
    if (D.Index < 64) return;
    ACompress(D.Hash, D.Buffer, 1);
    Wipe(D.Buffer, 64);
    D.Index = 0;
  }
  if (N >= 64) {
    ACompress(D.Hash, P, N / 64);
    P += N & ~size_t{63};
    N &= 63;
  }
  std::memcpy(D.Buffer, P, N);
  D.Index = static_cast<int32_t>(N);
}

// The padding bit, the length big-endian in the last eight bytes (a block more when it has no room),
// the chaining words big-endian into ADigest; the record is wiped.
template <typename TData, typename TCompress>
void ExtractDigest(TData& D, uint8_t* ADigest, TCompress ACompress) noexcept {
  D.Buffer[D.Index] = 0x80;
  std::memset(D.Buffer + D.Index + 1, 0, 63 - D.Index);
  if (D.Index >= 56) {
    ACompress(D.Hash, D.Buffer, 1);
    std::memset(D.Buffer, 0, 64);
  }
  StoreBig(D.Buffer + 56, D.LengthHi);
  StoreBig(D.Buffer + 60, D.LengthLo);
  ACompress(D.Hash, D.Buffer, 1);
  for (size_t I = 0; I < sizeof(D.Hash) / 4; ++I) StoreBig(ADigest + 4 * I, D.Hash[I]);
  Wipe(&D, sizeof(D));
}

}  // namespace SHABlocks
}  // namespace Ostravane
