// CRC-32 of ISO 3309 (the CRC of zip, PNG and Ethernet: polynomial 0x04C11DB7 reflected, start and
// final xor 0xFFFFFFFF), with a seeded form that chains over the pieces of a message. Pure functions
// over read-only tables; nothing can fail on valid memory.
//
// The results are those of the byte-wise table step (Update); long buffers go sixteen bytes a step
// through sliced tables, or sixteen bytes a step by carry-less multiplication where the processor
// has it (CpuFeatures).
#pragma once
#include <array>

#include "Ostravane.Rtl.System.h"

namespace Ostravane {

using PCRC32Value = uint32_t*;

class OVRTL_API HashCRC32 final {
  OV_STATIC_CLASS
 public:
  HashCRC32() = delete;

  // One raw table step, with no complement on either side.
  static uint32_t Update(uint8_t octet, uint32_t crc) noexcept { return CRC_32_TAB[(crc ^ octet) & 255] ^ (crc >> 8); }
  // The CRC of BufLen bytes; 0 for a length of 0 or less.
  static uint32_t FromBuffer(const void* Buffer, int32_t BufLen) noexcept;
  // The CRC of what Seed is the CRC of, followed by the bytes: a chain of calls over the pieces of
  // a message gives the CRC of the whole. Seed 0 starts a message; a length of 0 gives Seed.
  static uint32_t FromBuffer(uint32_t Seed, const void* Buffer, int32_t BufLen) noexcept;
  // Over the bytes up to the first NUL.
  static uint32_t FromString(const char* Buffer) noexcept;
  static uint32_t FromString(const Rtl::AnsiString& ABuffer) noexcept;
  // Over the UTF-16LE bytes, 2 x length.
  static uint32_t FromString(const Rtl::UnicodeString& ABuffer) noexcept;
  // Eight upper-case hexadecimal digits.
  static Rtl::UnicodeString AsString(uint32_t AValue);

  static constexpr std::array<uint32_t, 256> CRC_32_TAB = [] {
    std::array<uint32_t, 256> T{};
    for (uint32_t I = 0; I < 256; ++I) {
      uint32_t C = I;
      for (int B = 0; B < 8; ++B) C = C & 1 ? (C >> 1) ^ 0xEDB88320u : C >> 1;
      T[I] = C;
    }
    return T;
  }();
};

}  // namespace Ostravane
