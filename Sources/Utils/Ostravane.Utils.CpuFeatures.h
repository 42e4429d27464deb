// Which instruction set extensions the hashes may use. The processor is asked once (CPUID); a
// process-wide switch keeps every hash on its portable code, which is how the two roads are
// compared and how a host rules the extensions out. Both roads give the same results bit for bit.
#pragma once
#include "Ostravane.Rtl.System.h"

namespace Ostravane {

class OVRTL_API CpuFeatures final {
  OV_STATIC_CLASS
 public:
  CpuFeatures() = delete;

  // SHA extensions with SSSE3 and SSE4.1: SHA-1 and SHA-256 compress on them.
  static bool HasShaExtensions() noexcept;
  // PCLMULQDQ with SSE4.1: CRC-32 folds on it.
  static bool HasCarrylessMultiply() noexcept;

  // True (the default) while the hashes may take the extensions the processor has.
  static bool GetUseExtensions() noexcept;
  static void SetUseExtensions(bool AValue) noexcept;

  // What the hashes take now: the extension where it is there and allowed.
  static bool UseShaExtensions() noexcept { return GetUseExtensions() && HasShaExtensions(); }
  static bool UseCarrylessMultiply() noexcept { return GetUseExtensions() && HasCarrylessMultiply(); }
};

}  // namespace Ostravane
