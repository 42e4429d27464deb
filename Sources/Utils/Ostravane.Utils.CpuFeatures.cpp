// Instruction set extensions of the processor, read once, and the switch that rules them out.
#include "Ostravane.Utils.CpuFeatures.h"

#include <cpuid.h>

#include <atomic>

namespace Ostravane {

OV_IMPLEMENT_CLASS(CpuFeatures, nullptr)

namespace {

struct TCpuBits {
  bool Sha = false;
  bool Pclmul = false;
};

TCpuBits ReadCpu() noexcept {
  TCpuBits R;
  unsigned LEax = 0, LEbx = 0, LEcx = 0, LEdx = 0;
  if (!__get_cpuid(1, &LEax, &LEbx, &LEcx, &LEdx)) return R;
  const bool LSsse3 = LEcx & bit_SSSE3;
  const bool LSse41 = LEcx & bit_SSE4_1;
  R.Pclmul = (LEcx & bit_PCLMUL) && LSse41;
  if (__get_cpuid_count(7, 0, &LEax, &LEbx, &LEcx, &LEdx)) R.Sha = (LEbx & bit_SHA) && LSsse3 && LSse41;
  return R;
}

const TCpuBits& Cpu() noexcept {
  static const TCpuBits LBits = ReadCpu();
  return LBits;
}

std::atomic<bool> GUseExtensions{true};

}  // namespace

bool CpuFeatures::HasShaExtensions() noexcept { return Cpu().Sha; }
bool CpuFeatures::HasCarrylessMultiply() noexcept { return Cpu().Pclmul; }
bool CpuFeatures::GetUseExtensions() noexcept { return GUseExtensions.load(std::memory_order_relaxed); }
void CpuFeatures::SetUseExtensions(bool AValue) noexcept { GUseExtensions.store(AValue); }

}  // namespace Ostravane
