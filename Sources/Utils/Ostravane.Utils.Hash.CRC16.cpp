// CRC-16/CCITT-FALSE over buffers and strings.
#include "Ostravane.Utils.Hash.CRC16.h"

#include "Ostravane.Rtl.SysUtils.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(HashCRC16, nullptr)

uint16_t HashCRC16::FromBuffer(const void* ABuffer, int32_t ABufLen) noexcept {
  const auto* P = static_cast<const uint8_t*>(ABuffer);
  uint16_t C = 0xFFFF;
  for (int32_t I = 0; I < ABufLen; ++I) C = static_cast<uint16_t>(CRC_16_TAB[(C >> 8) ^ P[I]] ^ (C << 8));
  return C;
}

uint16_t HashCRC16::FromString(const Rtl::AnsiString& ABuffer) noexcept {
  return FromBuffer(ABuffer.data(), static_cast<int32_t>(ABuffer.size()));
}

uint16_t HashCRC16::FromString(const Rtl::UnicodeString& ABuffer) noexcept {
  return FromBuffer(ABuffer.data(), static_cast<int32_t>(ABuffer.size() * sizeof(wchar_t)));
}

Rtl::UnicodeString HashCRC16::AsString(uint16_t AValue) { return Rtl::IntToHex(AValue, 4); }

}  // namespace Ostravane
