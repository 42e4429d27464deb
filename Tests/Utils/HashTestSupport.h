// What the hash and cipher tests share: hexadecimal text of bytes and back, and running a check on
// both code roads of the hashes (portable, and the processor's extensions where it has them).
#pragma once
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Ostravane.Utils.CpuFeatures.h"

namespace OvTest {

inline std::string ToHex(const void* ABytes, size_t ACount) {
  static const char C_DIGITS[] = "0123456789abcdef";
  std::string R;
  for (size_t I = 0; I < ACount; ++I) {
    const uint8_t B = static_cast<const uint8_t*>(ABytes)[I];
    R += C_DIGITS[B >> 4];
    R += C_DIGITS[B & 15];
  }
  return R;
}

template <typename TContainer>
std::string ToHex(const TContainer& ABytes) {
  return ToHex(ABytes.data(), ABytes.size());
}

inline std::vector<uint8_t> FromHex(const std::string& AHex) {
  std::vector<uint8_t> R;
  for (size_t I = 0; I + 1 < AHex.size(); I += 2) R.push_back(static_cast<uint8_t>(std::stoi(AHex.substr(I, 2), nullptr, 16)));
  return R;
}

// Runs ACheck with the extensions ruled out, then allowed (when the processor has AHas), and
// leaves them allowed.
template <typename TCheck>
void OnBothRoads(bool AHas, TCheck ACheck) {
  for (bool LExtensions : {false, true}) {
    if (LExtensions && !AHas) continue;
    SCOPED_TRACE(LExtensions ? "extensions" : "portable");
    Ostravane::CpuFeatures::SetUseExtensions(LExtensions);
    ACheck();
  }
  Ostravane::CpuFeatures::SetUseExtensions(true);
}

}  // namespace OvTest
