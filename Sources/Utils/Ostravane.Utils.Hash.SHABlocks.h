// What SHA-1 and SHA-256 share: the context record and the context itself, with the bit count, the
// feeding of whole blocks and the final padding of FIPS 180. An algorithm class (HashSHA1,
// HashSHA256) gives its start words C_INITIAL and Compress(AHash, ABlocks, ACount), which
// compresses ACount whole 64-byte blocks into the chaining value.
#pragma once
#include <algorithm>
#include <array>
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

// The digest of one buffer through a context.
template <typename TContext, typename TValue>
TValue Digest(const void* ABuffer, int32_t ALength) noexcept {
  TContext LContext;
  LContext.InitData();
  LContext.UpdateData(ABuffer, ALength);
  TValue R;
  LContext.ExtractDigest(R);
  return R;
}

// The raw digest of a string's bytes (UTF-16LE for a wide one) as a string of one character a byte.
template <typename TContext, typename TValue, typename TString>
TString DigestString(const TString& AString) {
  const TValue D = Digest<TContext, TValue>(AString.data(), static_cast<int32_t>(AString.size() * sizeof(AString[0])));
  return TString(D.begin(), D.end());
}

}  // namespace SHABlocks

// One message: InitData, UpdateData as often as there are pieces, ExtractDigest, which wipes it.
template <typename TAlgorithm, size_t NWords>
class TSHAContextOf {
 public:
  using TValue = std::array<uint8_t, 4 * NWords>;

  void InitData() noexcept {
    FData = TSHADataOf<NWords>{};
    std::memcpy(FData.Hash, TAlgorithm::C_INITIAL, sizeof(FData.Hash));
  }

  // The bytes go to the buffer until it is full; whole blocks of the input are compressed where
  // they lie; what is left waits in the buffer.
  void UpdateData(const void* ABuffer, int32_t ALenght) noexcept {
    if (ALenght <= 0) return;
    UpdateDataLength(static_cast<uint32_t>(ALenght));
    const auto* P = static_cast<const uint8_t*>(ABuffer);
    size_t N = static_cast<size_t>(ALenght);
    if (FData.Index > 0) {
      const size_t LPart = std::min<size_t>(N, 64 - FData.Index);
      std::memcpy(FData.Buffer + FData.Index, P, LPart);
      FData.Index += static_cast<int32_t>(LPart);
      P += LPart;
      N -= LPart;
      if (FData.Index < 64) return;
      CompressData();
    }
    if (N >= 64) {
      TAlgorithm::Compress(FData.Hash, P, N / 64);
      P += N & ~size_t{63};
      N &= 63;
    }
    std::memcpy(FData.Buffer, P, N);
    FData.Index = static_cast<int32_t>(N);
  }

  // The padding bit, the length big-endian in the last eight bytes (a block more when it has no
  // room), the chaining words big-endian into ADigest; the record is wiped.
  void ExtractDigest(TValue& ADigest) noexcept {
    FData.Buffer[FData.Index] = 0x80;
    std::memset(FData.Buffer + FData.Index + 1, 0, 63 - FData.Index);
    if (FData.Index >= 56) CompressData();
    SHABlocks::StoreBig(FData.Buffer + 56, FData.LengthHi);
    SHABlocks::StoreBig(FData.Buffer + 60, FData.LengthLo);
    CompressData();
    for (size_t I = 0; I < NWords; ++I) SHABlocks::StoreBig(ADigest.data() + 4 * I, FData.Hash[I]);
    SHABlocks::Wipe(&FData, sizeof(FData));
  }

 private:
  // Adds 8 x ALength to the 64-bit bit count.
  void UpdateDataLength(uint32_t ALength) noexcept {
    const uint32_t LBits = ALength << 3;
    FData.LengthLo += LBits;
    FData.LengthHi += (ALength >> 29) + (FData.LengthLo < LBits ? 1 : 0);
  }
  // Compresses the full buffer and clears it.
  void CompressData() noexcept {
    TAlgorithm::Compress(FData.Hash, FData.Buffer, 1);
    std::memset(FData.Buffer, 0, sizeof(FData.Buffer));
    FData.Index = 0;
  }

  TSHADataOf<NWords> FData{};
};

}  // namespace Ostravane
