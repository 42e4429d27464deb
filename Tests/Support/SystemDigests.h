// The system's own digests, to compare the library's with and to time them against: CNG (bcrypt,
// one BCryptHash call a message where the system has it, else a hash object each) and the
// CryptoAPI (advapi32, a hash object each). Programs that use this link bcrypt and advapi32.
// Every failure of the system throws std::runtime_error naming the call.
#pragma once
#include <bcrypt.h>
#include <wincrypt.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace OvTest {

// One CNG algorithm, opened once; AHmac opens its keyed form.
class TCngDigest {
 public:
  TCngDigest(const wchar_t* AAlgorithm, bool AHmac = false) {
    Check(BCryptOpenAlgorithmProvider(&FAlgorithm, AAlgorithm, nullptr, AHmac ? BCRYPT_ALG_HANDLE_HMAC_FLAG : 0),
          "BCryptOpenAlgorithmProvider");
    ULONG LLength = 0, LGot = 0;
    Check(BCryptGetProperty(FAlgorithm, BCRYPT_HASH_LENGTH, reinterpret_cast<PUCHAR>(&LLength), sizeof(LLength), &LGot, 0),
          "BCryptGetProperty");
    FLength = LLength;
    if (HMODULE LModule = GetModuleHandleW(L"bcrypt.dll"))
      FHash = reinterpret_cast<THash>(reinterpret_cast<void (*)()>(GetProcAddress(LModule, "BCryptHash")));
  }
  ~TCngDigest() { BCryptCloseAlgorithmProvider(FAlgorithm, 0); }
  TCngDigest(const TCngDigest&) = delete;
  TCngDigest& operator=(const TCngDigest&) = delete;

  // True when the system has the one-call BCryptHash.
  bool OneCall() const { return FHash != nullptr; }
  size_t Length() const { return FLength; }

  void Hash(const void* AKey, size_t AKeyLength, const void* AData, size_t ALength, uint8_t* ADigest) const {
    auto* LKey = static_cast<PUCHAR>(const_cast<void*>(AKey));
    auto* LData = static_cast<PUCHAR>(const_cast<void*>(AData));
    if (FHash) {
      Check(FHash(FAlgorithm, LKey, static_cast<ULONG>(AKeyLength), LData, static_cast<ULONG>(ALength), ADigest,
                  static_cast<ULONG>(FLength)),
            "BCryptHash");
      return;
    }
    BCRYPT_HASH_HANDLE LHash = nullptr;
    Check(BCryptCreateHash(FAlgorithm, &LHash, nullptr, 0, LKey, static_cast<ULONG>(AKeyLength), 0), "BCryptCreateHash");
    const NTSTATUS LData1 = BCryptHashData(LHash, LData, static_cast<ULONG>(ALength), 0);
    const NTSTATUS LFinish = LData1 ? LData1 : BCryptFinishHash(LHash, ADigest, static_cast<ULONG>(FLength), 0);
    BCryptDestroyHash(LHash);
    Check(LFinish, "BCryptHashData/BCryptFinishHash");
  }
  std::vector<uint8_t> Hash(const void* AData, size_t ALength) const {
    std::vector<uint8_t> R(FLength);
    Hash(nullptr, 0, AData, ALength, R.data());
    return R;
  }
  std::vector<uint8_t> Mac(const std::string& AKey, const void* AData, size_t ALength) const {
    std::vector<uint8_t> R(FLength);
    Hash(AKey.data(), AKey.size(), AData, ALength, R.data());
    return R;
  }

 private:
  using THash = NTSTATUS(WINAPI*)(BCRYPT_ALG_HANDLE, PUCHAR, ULONG, PUCHAR, ULONG, PUCHAR, ULONG);
  static void Check(NTSTATUS AStatus, const char* ACall) {
    if (AStatus < 0) throw std::runtime_error(std::string(ACall) + " failed: status " + std::to_string(static_cast<unsigned long>(AStatus)));
  }
  BCRYPT_ALG_HANDLE FAlgorithm = nullptr;
  THash FHash = nullptr;
  size_t FLength = 0;
};

// The CryptoAPI's AES provider (it has MD5, SHA-1 and SHA-256), opened once for hashing only.
class TCapiDigest {
 public:
  TCapiDigest() {
    if (!CryptAcquireContextW(&FProvider, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT))
      throw std::runtime_error("CryptAcquireContextW failed: " + std::to_string(GetLastError()));
  }
  ~TCapiDigest() { CryptReleaseContext(FProvider, 0); }
  TCapiDigest(const TCapiDigest&) = delete;
  TCapiDigest& operator=(const TCapiDigest&) = delete;

  // ADigest holds the algorithm's length: 16, 20 or 32 bytes.
  void Hash(ALG_ID AAlgorithm, const void* AData, size_t ALength, uint8_t* ADigest, DWORD ADigestLength) const {
    HCRYPTHASH LHash = 0;
    if (!CryptCreateHash(FProvider, AAlgorithm, 0, 0, &LHash))
      throw std::runtime_error("CryptCreateHash failed: " + std::to_string(GetLastError()));
    DWORD LLength = ADigestLength;
    const bool LDone = CryptHashData(LHash, static_cast<const BYTE*>(AData), static_cast<DWORD>(ALength), 0) &&
                       CryptGetHashParam(LHash, HP_HASHVAL, ADigest, &LLength, 0);
    const DWORD LError = GetLastError();
    CryptDestroyHash(LHash);
    if (!LDone) throw std::runtime_error("CryptHashData/CryptGetHashParam failed: " + std::to_string(LError));
  }
  std::vector<uint8_t> Hash(ALG_ID AAlgorithm, const void* AData, size_t ALength) const {
    const DWORD LLength = AAlgorithm == CALG_MD5 ? 16 : AAlgorithm == CALG_SHA1 ? 20 : 32;
    std::vector<uint8_t> R(LLength);
    Hash(AAlgorithm, AData, ALength, R.data(), LLength);
    return R;
  }

 private:
  HCRYPTPROV FProvider = 0;
};

}  // namespace OvTest
