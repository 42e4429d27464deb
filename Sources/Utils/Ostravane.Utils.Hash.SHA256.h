// SHA-256 of FIPS 180 over buffers and strings, and its context for a message fed in pieces. Blocks
// are compressed by the SHA extensions where the processor has them (CpuFeatures), else by portable
// code; the digests are the same. Nothing here can fail on valid memory.
#pragma once
#include <array>

#include "Ostravane.Rtl.System.h"
#include "Ostravane.Utils.Hash.SHABlocks.h"

namespace Ostravane {

using TSHA256Value = std::array<uint8_t, 32>;
using TSHA256Data = TSHADataOf<8>;

class OVRTL_API HashSHA256 final {
  OV_STATIC_CLASS
 public:
  HashSHA256() = delete;

  // One message: InitData, UpdateData as often as there are pieces, ExtractDigest, which wipes it.
  using TSHA256Context = TSHAContextOf<HashSHA256, 8>;

  static TSHA256Value FromBuffer(const void* ABuffer, int32_t ALength) noexcept;
  // The raw digest of the bytes: 32 characters, NUL bytes included.
  static Rtl::AnsiString FromString(const Rtl::AnsiString& AString);
  // The raw digest of the UTF-16LE bytes: 32 characters, each one byte's value.
  static Rtl::UnicodeString FromString(const Rtl::UnicodeString& AString);

  // Compresses ACount whole blocks on the road CpuFeatures allows.
  static void Compress(uint32_t* AHash, const uint8_t* ABlocks, size_t ACount) noexcept;
  // The chaining value's start.
  static constexpr uint32_t C_INITIAL[8] = {0x6A09E667, 0xBB67AE85, 0x3C6EF372, 0xA54FF53A, 0x510E527F, 0x9B05688C, 0x1F83D9AB, 0x5BE0CD19};

  // The round constants.
  static constexpr uint32_t HASH_TAB[64] = {
      0x428A2F98, 0x71374491, 0xB5C0FBCF, 0xE9B5DBA5, 0x3956C25B, 0x59F111F1, 0x923F82A4, 0xAB1C5ED5,
      0xD807AA98, 0x12835B01, 0x243185BE, 0x550C7DC3, 0x72BE5D74, 0x80DEB1FE, 0x9BDC06A7, 0xC19BF174,
      0xE49B69C1, 0xEFBE4786, 0x0FC19DC6, 0x240CA1CC, 0x2DE92C6F, 0x4A7484AA, 0x5CB0A9DC, 0x76F988DA,
      0x983E5152, 0xA831C66D, 0xB00327C8, 0xBF597FC7, 0xC6E00BF3, 0xD5A79147, 0x06CA6351, 0x14292967,
      0x27B70A85, 0x2E1B2138, 0x4D2C6DFC, 0x53380D13, 0x650A7354, 0x766A0ABB, 0x81C2C92E, 0x92722C85,
      0xA2BFE8A1, 0xA81A664B, 0xC24B8B70, 0xC76C51A3, 0xD192E819, 0xD6990624, 0xF40E3585, 0x106AA070,
      0x19A4C116, 0x1E376C08, 0x2748774C, 0x34B0BCB5, 0x391C0CB3, 0x4ED8AA4A, 0x5B9CCA4F, 0x682E6FF3,
      0x748F82EE, 0x78A5636F, 0x84C87814, 0x8CC70208, 0x90BEFFFA, 0xA4506CEB, 0xBEF9A3F7, 0xC67178F2};
};

}  // namespace Ostravane
