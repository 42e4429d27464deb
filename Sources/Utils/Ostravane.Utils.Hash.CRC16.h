// CRC-16/CCITT-FALSE (polynomial 0x1021, start 0xFFFF, not reflected, no final xor), a table
// look-up a byte. Pure functions over a read-only table; nothing can fail on valid memory.
#pragma once
#include <array>

#include "Ostravane.Rtl.System.h"

namespace Ostravane {

using PCRC16Value = uint16_t*;

class OVRTL_API HashCRC16 final {
  OV_STATIC_CLASS
 public:
  HashCRC16() = delete;

  // The checksum of ABufLen bytes; a length of 0 or less gives the start value 0xFFFF.
  static uint16_t FromBuffer(const void* ABuffer, int32_t ABufLen) noexcept;
  static uint16_t FromString(const Rtl::AnsiString& ABuffer) noexcept;
  // Over the UTF-16LE bytes, 2 x length.
  static uint16_t FromString(const Rtl::UnicodeString& ABuffer) noexcept;
  // Four upper-case hexadecimal digits.
  static Rtl::UnicodeString AsString(uint16_t AValue);

  static constexpr std::array<uint16_t, 256> CRC_16_TAB = [] {
    std::array<uint16_t, 256> T{};
    for (int I = 0; I < 256; ++I) {
      uint16_t C = static_cast<uint16_t>(I << 8);
      for (int B = 0; B < 8; ++B) C = static_cast<uint16_t>(C & 0x8000 ? (C << 1) ^ 0x1021 : C << 1);
      T[I] = C;
    }
    return T;
  }();
};

}  // namespace Ostravane
