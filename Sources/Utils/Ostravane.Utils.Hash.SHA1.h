// SHA-1 of FIPS 180 over buffers and strings, and its context for a message fed in pieces. Blocks
// are compressed by the SHA extensions where the processor has them (CpuFeatures), else by portable
// code; the digests are the same. Nothing here can fail on valid memory.
#pragma once
#include <array>

#include "Ostravane.Rtl.System.h"
#include "Ostravane.Utils.Hash.SHABlocks.h"

namespace Ostravane {

using TSHA1Value = std::array<uint8_t, 20>;
using TSHA1Data = TSHADataOf<5>;

class OVRTL_API HashSHA1 final {
  OV_STATIC_CLASS
 public:
  HashSHA1() = delete;

  // One message: InitData, UpdateData as often as there are pieces, ExtractDigest, which wipes it.
  using TSHA1Context = TSHAContextOf<HashSHA1, 5>;

  static TSHA1Value FromBuffer(const void* ABuffer, int32_t ALength) noexcept;
  // The raw digest of the bytes: 20 characters, NUL bytes included.
  static Rtl::AnsiString FromString(const Rtl::AnsiString& AString);
  // The raw digest of the UTF-16LE bytes: 20 characters, each one byte's value.
  static Rtl::UnicodeString FromString(const Rtl::UnicodeString& AString);

  // Compresses ACount whole blocks on the road CpuFeatures allows.
  static void Compress(uint32_t* AHash, const uint8_t* ABlocks, size_t ACount) noexcept;
  // The chaining value's start.
  static constexpr uint32_t C_INITIAL[5] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
};

}  // namespace Ostravane
