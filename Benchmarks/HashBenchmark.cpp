// HashBenchmark: how fast the library's hashes and cipher run, against the system's own in the same
// run under the same Wine:
//   - MD5, SHA-1, SHA-256 in MB/s on 64 B, 4 KiB and 1 MiB messages: the library on its portable
//     road and with the processor's extensions, CNG (BCryptHash) and the CryptoAPI (CryptHashData);
//   - CRC-32 against ntdll's RtlComputeCrc32 and zlib's crc32 (zlib1.dll beside the program);
//   - HMAC-SHA1 and HMAC-SHA256 against CNG's HMAC;
//   - Twofish ECB and CBC in MB/s and in RDTSC cycles a byte, and its key setup in cycles.
// Exit code 0 when every goal is met, 1 when one is missed, 2 when the run itself failed.
#include "BenchSupport.h"

#include <x86intrin.h>

#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "Ostravane.Utils.CpuFeatures.h"
#include "Ostravane.Utils.Crypt.Twofish.h"
#include "Ostravane.Utils.Hash.CRC32.h"
#include "Ostravane.Utils.Hash.HMAC.h"
#include "Ostravane.Utils.Hash.MD5.h"
#include "Ostravane.Utils.Hash.SHA1.h"
#include "Ostravane.Utils.Hash.SHA256.h"
#include "OvComponentsRTL.h"
#include "SystemDigests.h"

using namespace Ostravane;
using namespace OvBench;

namespace {

constexpr double C_ROUND_SECONDS = 0.1;  // the length of one timed round
constexpr int C_ROUNDS = 3;              // rounds of a figure; the best counts

// Goals.
constexpr double C_GOAL_PORTABLE_RATIO = 1.0;  // portable library / system, every digest and HMAC, at least
constexpr double C_GOAL_CRC_ZLIB = 1.0;        // portable CRC-32 / zlib, at least
constexpr double C_GOAL_SHA1_EXT = 4.0;        // SHA-1 with the extensions / CNG, at least
constexpr double C_GOAL_SHA256_EXT = 6.0;      // SHA-256 with the extensions / CNG, at least
constexpr double C_GOAL_CRC_EXT = 2.0;         // CRC-32 with carry-less multiplication / zlib, at least
constexpr double C_GOAL_TWOFISH_CPB = 18.0;    // Twofish ECB cycles a byte, at most

const size_t C_SIZES[] = {64, 4096, 1 << 20};

volatile uint32_t GSink;  // keeps results alive

// MB/s of ARun over ABytes a call: calls sized to a round, best of the rounds.
double MBps(size_t ABytes, const std::function<void()>& ARun) {
  uint64_t LCalls = 1;
  for (;;) {
    const int64_t LStart = Ticks();
    for (uint64_t I = 0; I < LCalls; ++I) ARun();
    const double LSeconds = Seconds(Ticks() - LStart);
    if (LSeconds >= C_ROUND_SECONDS / 4) {
      LCalls = std::max<uint64_t>(1, static_cast<uint64_t>(static_cast<double>(LCalls) * C_ROUND_SECONDS / LSeconds));
      break;
    }
    LCalls *= 4;
  }
  double LBest = 0;
  for (int R = 0; R < C_ROUNDS; ++R) {
    const int64_t LStart = Ticks();
    for (uint64_t I = 0; I < LCalls; ++I) ARun();
    LBest = std::max(LBest, static_cast<double>(ABytes) * static_cast<double>(LCalls) / Seconds(Ticks() - LStart) / 1e6);
  }
  return LBest;
}

// The same on the portable road, or with the extensions allowed.
double MBpsOnRoad(bool AExtensions, size_t ABytes, const std::function<void()>& ARun) {
  CpuFeatures::SetUseExtensions(AExtensions);
  const double R = MBps(ABytes, ARun);
  CpuFeatures::SetUseExtensions(true);
  return R;
}

std::string SizeName(size_t ASize) {
  return ASize >= (1 << 20) ? std::to_string(ASize >> 20) + " MiB" : ASize >= 1024 ? std::to_string(ASize >> 10) + " KiB" : std::to_string(ASize) + " B";
}

struct TGoals {
  bool Met = true;
  void Check(const char* AWhat, double AValue, double AGoal, bool AAtMost = false) {
    const bool LMet = AAtMost ? AValue <= AGoal : AValue >= AGoal;
    Met &= LMet;
    Print("  %-58s %8.2f  (goal %s %.1f)  %s\n", AWhat, AValue, AAtMost ? "<=" : ">=", AGoal, Verdict(LMet));
  }
};

int Run() {
  TLibraryScope LLibrary;
  TGoals LGoals;
  std::mt19937 LRandom(1);
  std::vector<uint8_t> LData(1 << 20);
  for (uint8_t& B : LData) B = static_cast<uint8_t>(LRandom());
  const bool LSha = CpuFeatures::HasShaExtensions(), LClmul = CpuFeatures::HasCarrylessMultiply();
  Print("OvRTL hash and cipher benchmark: MB/s (10^6 bytes a second), best of %d rounds of about %.1f s.\n", C_ROUNDS,
        C_ROUND_SECONDS);
  Print("Code roads: portable always; SHA extensions %s; carry-less multiplication (PCLMULQDQ) %s.\n",
        LSha ? "there, measured as \"ext\"" : "NOT there", LClmul ? "there, measured as \"ext\"" : "NOT there");

  // ---- Digests ----
  const OvTest::TCngDigest LCngMd5(BCRYPT_MD5_ALGORITHM), LCngSha1(BCRYPT_SHA1_ALGORITHM),
      LCngSha256(BCRYPT_SHA256_ALGORITHM);
  const OvTest::TCapiDigest LCapi;
  Print("\nDigests (CNG by %s):\n", LCngSha1.OneCall() ? "one BCryptHash call a message" : "a hash object a message");
  Print("  %-8s %-8s %10s %10s %10s %10s %9s %9s %9s\n", "digest", "message", "portable", "ext", "CNG", "CryptoAPI",
        "port/CNG", "port/CAPI", "ext/CNG");
  struct TDigest {
    const char* Name;
    const OvTest::TCngDigest* Cng;
    ALG_ID CapiId;
    bool HasExtensions;
    std::function<void(const uint8_t*, int32_t)> Library;
  };
  const TDigest C_DIGESTS[] = {
      {"MD5", &LCngMd5, CALG_MD5, false, [](const uint8_t* P, int32_t N) { GSink = HashMD5::FromBuffer(P, N).A; }},
      {"SHA-1", &LCngSha1, CALG_SHA1, LSha, [](const uint8_t* P, int32_t N) { GSink = HashSHA1::FromBuffer(P, N)[0]; }},
      {"SHA-256", &LCngSha256, CALG_SHA_256, LSha,
       [](const uint8_t* P, int32_t N) { GSink = HashSHA256::FromBuffer(P, N)[0]; }},
  };
  double LWorstPortable = 1e9;
  double LExtRatio[2] = {0, 0};  // SHA-1 and SHA-256 with the extensions / CNG at 1 MiB
  for (const TDigest& D : C_DIGESTS) {
    for (size_t LSize : C_SIZES) {
      const int32_t N = static_cast<int32_t>(LSize);
      const auto LLibrary = [&] { D.Library(LData.data(), N); };
      const double LPortable = MBpsOnRoad(false, LSize, LLibrary);
      const double LExt = D.HasExtensions ? MBpsOnRoad(true, LSize, LLibrary) : 0;
      uint8_t LDigest[32];
      const double LCng = MBps(LSize, [&] { D.Cng->Hash(nullptr, 0, LData.data(), LSize, LDigest); });
      const DWORD LLength = static_cast<DWORD>(D.Cng->Length());
      const double LCapiRate = MBps(LSize, [&] { LCapi.Hash(D.CapiId, LData.data(), LSize, LDigest, LLength); });
      Print("  %-8s %-8s %10.1f %10s %10.1f %10.1f %8.2fx %8.2fx %8s\n", D.Name, SizeName(LSize).c_str(), LPortable,
            D.HasExtensions ? std::to_string(static_cast<int>(LExt)).c_str() : "-", LCng, LCapiRate, LPortable / LCng,
            LPortable / LCapiRate, D.HasExtensions ? (std::to_string(LExt / LCng).substr(0, 5) + "x").c_str() : "-");
      LWorstPortable = std::min({LWorstPortable, LPortable / LCng, LPortable / LCapiRate});
      if (LSize == C_SIZES[2] && D.HasExtensions) LExtRatio[D.CapiId == CALG_SHA1 ? 0 : 1] = LExt / LCng;
    }
  }

  // ---- CRC-32 ----
  using TRtlComputeCrc32 = DWORD(WINAPI*)(DWORD, const BYTE*, INT);
  const auto LRtlCrc = reinterpret_cast<TRtlComputeCrc32>(
      reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlComputeCrc32")));
  using TZlibCrc32 = unsigned long (*)(unsigned long, const unsigned char*, unsigned int);
  HMODULE LZlib = LoadLibraryW(L"zlib1.dll");
  const auto LZlibCrc = LZlib ? reinterpret_cast<TZlibCrc32>(reinterpret_cast<void (*)()>(GetProcAddress(LZlib, "crc32")))
                              : nullptr;
  Print("\nCRC-32 (zlib: %s):\n", LZlibCrc ? "crc32 of zlib1.dll" : "zlib1.dll NOT found beside the program: no figure");
  Print("  %-8s %10s %10s %15s %10s %9s %9s %9s\n", "message", "portable", "ext", "RtlComputeCrc32", "zlib", "port/zlib",
        "ext/zlib", "port/Rtl");
  double LCrcPortableZlib = 0, LCrcExtZlib = 0;
  for (size_t LSize : {size_t{4096}, size_t{1} << 20}) {
    const int32_t N = static_cast<int32_t>(LSize);
    const auto LLibrary = [&] { GSink = HashCRC32::FromBuffer(LData.data(), N); };
    const double LPortable = MBpsOnRoad(false, LSize, LLibrary);
    const double LExt = LClmul ? MBpsOnRoad(true, LSize, LLibrary) : 0;
    const double LRtl = LRtlCrc ? MBps(LSize, [&] { GSink = LRtlCrc(0, LData.data(), N); }) : 0;
    const double LZ = LZlibCrc ? MBps(LSize, [&] { GSink = LZlibCrc(0, LData.data(), N); }) : 0;
    if (LZlibCrc && LZlibCrc(0, LData.data(), N) != HashCRC32::FromBuffer(LData.data(), N)) {
      Print("zlib's crc32 disagrees with the library\n");
      return 2;
    }
    Print("  %-8s %10.1f %10.1f %15.1f %10.1f %8.2fx %8.2fx %8.2fx\n", SizeName(LSize).c_str(), LPortable, LExt, LRtl, LZ,
          LZ ? LPortable / LZ : 0, LZ ? LExt / LZ : 0, LRtl ? LPortable / LRtl : 0);
    if (LSize == size_t{1} << 20 && LZ) {
      LCrcPortableZlib = LPortable / LZ;
      LCrcExtZlib = LExt / LZ;
    }
  }
  if (LZlib) FreeLibrary(LZlib);

  // ---- HMAC ----
  const OvTest::TCngDigest LCngHmac1(BCRYPT_SHA1_ALGORITHM, true), LCngHmac256(BCRYPT_SHA256_ALGORITHM, true);
  const std::string LKey(32, 'k');
  Print("\nHMAC, a 32-byte key:\n");
  Print("  %-12s %-8s %10s %10s %10s %9s %9s\n", "MAC", "message", "portable", "ext", "CNG", "port/CNG", "ext/CNG");
  for (int LWhich = 0; LWhich < 2; ++LWhich) {
    const OvTest::TCngDigest& LCng = LWhich ? LCngHmac256 : LCngHmac1;
    for (size_t LSize : C_SIZES) {
      const std::string LMessage(reinterpret_cast<const char*>(LData.data()), LSize);
      const auto LLibrary = [&] {
        GSink = static_cast<uint8_t>((LWhich ? HashHMAC::MacSha256(LKey, LMessage) : HashHMAC::MacSha1(LKey, LMessage))[0]);
      };
      const double LPortable = MBpsOnRoad(false, LSize, LLibrary);
      const double LExt = LSha ? MBpsOnRoad(true, LSize, LLibrary) : 0;
      uint8_t LMac[32];
      const double LC = MBps(LSize, [&] { LCng.Hash(LKey.data(), LKey.size(), LMessage.data(), LSize, LMac); });
      Print("  %-12s %-8s %10.1f %10.1f %10.1f %8.2fx %8.2fx\n", LWhich ? "HMAC-SHA256" : "HMAC-SHA1",
            SizeName(LSize).c_str(), LPortable, LExt, LC, LPortable / LC, LExt / LC);
      LWorstPortable = std::min(LWorstPortable, LPortable / LC);
    }
  }

  // ---- Twofish ----
  TTwofishData LCipher;
  const uint8_t C_KEY[32] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  std::vector<uint8_t> LOut(LData.size());
  const auto LEcb = [&] {
    for (size_t P = 0; P < LData.size(); P += 16) CryptTwofish::EncryptECB(LCipher, &LData[P], &LOut[P]);
  };
  const auto LCbc = [&] {
    for (size_t P = 0; P < LData.size(); P += 16) CryptTwofish::EncryptCBC(LCipher, &LData[P], &LOut[P]);
  };
  // Cycles a byte: the least of the rounds, each a pass over 1 MiB.
  const auto LCycles = [&](const std::function<void()>& ARun) {
    uint64_t LBest = UINT64_MAX;
    for (int R = 0; R < 10; ++R) {
      const uint64_t LStart = __rdtsc();
      ARun();
      LBest = std::min(LBest, __rdtsc() - LStart);
    }
    return static_cast<double>(LBest) / static_cast<double>(LData.size());
  };
  Print("\nTwofish, 1 MiB a pass, one block a call (RDTSC cycles, the least of 10 passes):\n");
  Print("  %-6s %-8s %10s %12s %12s\n", "mode", "key", "MB/s", "cycles/byte", "MB/s decrypt");
  double LEcbCycles128 = 0;
  for (int32_t LKeyBytes : {16, 24, 32}) {
    CryptTwofish::Init(LCipher, C_KEY, LKeyBytes, nullptr);
    const double LEcbRate = MBps(LData.size(), LEcb), LEcbCpb = LCycles(LEcb);
    const double LDecRate = MBps(LData.size(), [&] {
      for (size_t P = 0; P < LData.size(); P += 16) CryptTwofish::DecryptECB(LCipher, &LData[P], &LOut[P]);
    });
    const double LCbcRate = MBps(LData.size(), LCbc), LCbcCpb = LCycles(LCbc);
    const std::string LKeyName = std::to_string(LKeyBytes * 8) + "-bit";
    Print("  %-6s %-8s %10.1f %12.2f %12.1f\n", "ECB", LKeyName.c_str(), LEcbRate, LEcbCpb, LDecRate);
    Print("  %-6s %-8s %10.1f %12.2f\n", "CBC", LKeyName.c_str(), LCbcRate, LCbcCpb);
    LEcbCycles128 = std::max(LEcbCycles128, LEcbCpb);
  }
  for (int32_t LKeyBytes : {16, 24, 32}) {
    uint64_t LBest = UINT64_MAX;
    for (int R = 0; R < 200; ++R) {
      const uint64_t LStart = __rdtsc();
      CryptTwofish::Init(LCipher, C_KEY, LKeyBytes, nullptr);
      LBest = std::min(LBest, __rdtsc() - LStart);
    }
    Print("  key setup, %d-bit key: %llu cycles\n", LKeyBytes * 8, static_cast<unsigned long long>(LBest));
  }
  CryptTwofish::Burn(LCipher);

  Print("\nGoals:\n");
  LGoals.Check("portable / system, worst digest or HMAC figure (x)", LWorstPortable, C_GOAL_PORTABLE_RATIO);
  if (LZlibCrc) LGoals.Check("CRC-32 portable / zlib, 1 MiB (x)", LCrcPortableZlib, C_GOAL_CRC_ZLIB);
  else Print("  CRC-32 against zlib: no zlib1.dll, not measured\n");
  if (LSha) {
    LGoals.Check("SHA-1 with SHA extensions / CNG, 1 MiB (x)", LExtRatio[0], C_GOAL_SHA1_EXT);
    LGoals.Check("SHA-256 with SHA extensions / CNG, 1 MiB (x)", LExtRatio[1], C_GOAL_SHA256_EXT);
  } else {
    Print("  SHA extensions: the processor has none, not measured\n");
  }
  if (LClmul && LZlibCrc) LGoals.Check("CRC-32 with PCLMULQDQ / zlib, 1 MiB (x)", LCrcExtZlib, C_GOAL_CRC_EXT);
  LGoals.Check("Twofish ECB, worst key size (cycles/byte)", LEcbCycles128, C_GOAL_TWOFISH_CPB, true);
  return LGoals.Met ? 0 : 1;
}

}  // namespace

int main() { return RunBenchmark("HashBenchmark", &Run); }
