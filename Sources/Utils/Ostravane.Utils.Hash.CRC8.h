// CRC-8/SMBUS (polynomial 0x07, start 0, not reflected, no final xor), a table look-up a byte.
// Pure functions over a read-only table; nothing can fail on valid memory.
#pragma once
#include <array>

#include "Ostravane.Rtl.System.h"

namespace Ostravane {

using PCRC8Value = uint8_t*;

class OVRTL_API HashCRC8 final {
  OV_STATIC_CLASS
 public:
  HashCRC8() = delete;

  // The checksum of ALength bytes; a length of 0 or less gives the start value 0x00.
  static uint8_t FromBuffer(const void* ABuffer, int32_t ALength) noexcept;
  static uint8_t FromString(const Rtl::AnsiString& ABuffer) noexcept;
  // Over the UTF-16LE bytes, 2 x length.
  static uint8_t FromString(const Rtl::UnicodeString& ABuffer) noexcept;
  // Two upper-case hexadecimal digits.
  static Rtl::UnicodeString AsString(uint8_t AValue);

  static constexpr std::array<uint8_t, 256> CRC_8_TAB = [] {
    std::array<uint8_t, 256> T{};
    for (int I = 0; I < 256; ++I) {
      uint8_t C = static_cast<uint8_t>(I);
      for (int B = 0; B < 8; ++B) C = static_cast<uint8_t>(C & 0x80 ? (C << 1) ^ 0x07 : C << 1);
      T[I] = C;
    }
    return T;
  }();
};

}  // namespace Ostravane
