// HMAC over the byte-string forms of the digests.
#include "Ostravane.Utils.Hash.HMAC.h"

#include "Ostravane.Utils.Hash.SHA1.h"
#include "Ostravane.Utils.Hash.SHA256.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(HashHMAC, nullptr)

namespace {

constexpr size_t C_BLOCK_SIZE = 64;

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
  const Rtl::AnsiString LOuter = XORString(K, Rtl::AnsiString(C_BLOCK_SIZE, '\x5C'));
  Rtl::AnsiString LInner = XORString(K, Rtl::AnsiString(C_BLOCK_SIZE, '\x36'));
  std::fill(K.begin(), K.end(), '\0');
  LInner += Message;
  return Hash(LOuter + Hash(LInner));
}

Rtl::AnsiString HashHMAC::MacSha1(const Rtl::AnsiString& AKey, const Rtl::AnsiString& AMessage) {
  return CalculateHMAC(AKey, AMessage, [](const Rtl::AnsiString& S) { return HashSHA1::FromString(S); });
}

Rtl::AnsiString HashHMAC::MacSha256(const Rtl::AnsiString& AKey, const Rtl::AnsiString& AMessage) {
  return CalculateHMAC(AKey, AMessage, [](const Rtl::AnsiString& S) { return HashSHA256::FromString(S); });
}

}  // namespace Ostravane
