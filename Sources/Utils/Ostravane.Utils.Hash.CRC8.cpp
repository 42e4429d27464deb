// CRC-8/SMBUS over buffers and strings.
#include "Ostravane.Utils.Hash.CRC8.h"

#include "Ostravane.Rtl.SysUtils.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(HashCRC8, nullptr)

uint8_t HashCRC8::FromBuffer(const void* ABuffer, int32_t ALength) noexcept {
  const auto* P = static_cast<const uint8_t*>(ABuffer);
  uint8_t C = 0;
  for (int32_t I = 0; I < ALength; ++I) C = CRC_8_TAB[C ^ P[I]];
  return C;
}

uint8_t HashCRC8::FromString(const Rtl::AnsiString& ABuffer) noexcept {
  return FromBuffer(ABuffer.data(), static_cast<int32_t>(ABuffer.size()));
}

uint8_t HashCRC8::FromString(const Rtl::UnicodeString& ABuffer) noexcept {
  return FromBuffer(ABuffer.data(), static_cast<int32_t>(ABuffer.size() * sizeof(wchar_t)));
}

Rtl::UnicodeString HashCRC8::AsString(uint8_t AValue) { return Rtl::IntToHex(AValue, 2); }

}  // namespace Ostravane
