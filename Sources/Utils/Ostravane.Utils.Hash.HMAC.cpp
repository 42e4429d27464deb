// HMAC over the byte-string forms of the digests.
#include "Ostravane.Utils.Hash.HMAC.h"

#include "Ostravane.Utils.Hash.SHA1.h"
#include "Ostravane.Utils.Hash.SHA256.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(HashHMAC, nullptr)

namespace {

constexpr size_t C_BLOCK_SIZE = 64;
constexpr uint8_t C_INNER_PAD = 0x36;
constexpr uint8_t C_OUTER_PAD = 0x5C;

// CalculateHMAC's result for a hash with a context: the pads and the inner digest are fed to the
// context where they lie, so that a message is neither copied nor joined to a pad.
template <typename TContext, typename TValue>
Rtl::AnsiString MacWithContext(const Rtl::AnsiString& AKey, const Rtl::AnsiString& AMessage) {
  uint8_t LKey[C_BLOCK_SIZE] = {};
  if (AKey.size() > C_BLOCK_SIZE) {
    const TValue LDigest = SHABlocks::Digest<TContext, TValue>(AKey.data(), static_cast<int32_t>(AKey.size()));
    std::memcpy(LKey, LDigest.data(), LDigest.size());
  } else {
    std::memcpy(LKey, AKey.data(), AKey.size());
  }
  uint8_t LPad[C_BLOCK_SIZE];
  // The digest of the key xor APad followed by the data.
  const auto LKeyed = [&](uint8_t APad, const void* AData, size_t ALength) {
    for (size_t I = 0; I < C_BLOCK_SIZE; ++I) LPad[I] = LKey[I] ^ APad;
    TContext LContext;
    LContext.InitData();
    LContext.UpdateData(LPad, C_BLOCK_SIZE);
    LContext.UpdateData(AData, static_cast<int32_t>(ALength));
    TValue R;
    LContext.ExtractDigest(R);
    return R;
  };
  const TValue LInner = LKeyed(C_INNER_PAD, AMessage.data(), AMessage.size());
  const TValue LOuter = LKeyed(C_OUTER_PAD, LInner.data(), LInner.size());
  SHABlocks::Wipe(LKey, sizeof(LKey));
  SHABlocks::Wipe(LPad, sizeof(LPad));
  return Rtl::AnsiString(LOuter.begin(), LOuter.end());
}

}  // namespace

Rtl::AnsiString HashHMAC::XORString(const Rtl::AnsiString& A, const Rtl::AnsiString& B) {
  Rtl::AnsiString R(A.size(), '\0');
  for (size_t I = 0; I < A.size(); ++I) R[I] = static_cast<char>(A[I] ^ B[I]);
  return R;
}

Rtl::AnsiString HashHMAC::CalculateHMAC(const Rtl::AnsiString& Key, const Rtl::AnsiString& Message,
                                        const THashFunction& Hash) {
  Rtl::AnsiString K = Key.size() > C_BLOCK_SIZE ? Hash(Key) : Key;
  K.resize(C_BLOCK_SIZE, '\0');
  const Rtl::AnsiString LOuter = XORString(K, Rtl::AnsiString(C_BLOCK_SIZE, static_cast<char>(C_OUTER_PAD)));
  Rtl::AnsiString LInner = XORString(K, Rtl::AnsiString(C_BLOCK_SIZE, static_cast<char>(C_INNER_PAD)));
  std::fill(K.begin(), K.end(), '\0');
  LInner += Message;
  return Hash(LOuter + Hash(LInner));
}

Rtl::AnsiString HashHMAC::MacSha1(const Rtl::AnsiString& AKey, const Rtl::AnsiString& AMessage) {
  return MacWithContext<HashSHA1::TSHA1Context, TSHA1Value>(AKey, AMessage);
}

Rtl::AnsiString HashHMAC::MacSha256(const Rtl::AnsiString& AKey, const Rtl::AnsiString& AMessage) {
  return MacWithContext<HashSHA256::TSHA256Context, TSHA256Value>(AKey, AMessage);
}

}  // namespace Ostravane
