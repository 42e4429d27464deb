// HMAC of RFC 2104 with SHA-1 or SHA-256, on byte strings; the results are raw digest bytes (they
// may hold NUL bytes: take their length from the string). Reentrant; nothing of its own can fail.
#pragma once
#include <functional>

#include "Ostravane.Rtl.System.h"

namespace Ostravane {

class OVRTL_API HashHMAC final {
  OV_STATIC_CLASS
 public:
  HashHMAC() = delete;

  // Answers the raw digest of its argument.
  using THashFunction = std::function<Rtl::AnsiString(const Rtl::AnsiString&)>;

  // 20 raw bytes.
  static Rtl::AnsiString MacSha1(const Rtl::AnsiString& AKey, const Rtl::AnsiString& AMessage);
  // 32 raw bytes.
  static Rtl::AnsiString MacSha256(const Rtl::AnsiString& AKey, const Rtl::AnsiString& AMessage);

  // The general form, with a block size of 64 bytes: a key longer than a block is hashed first, a
  // shorter one padded with zero bytes.
  static Rtl::AnsiString CalculateHMAC(const Rtl::AnsiString& Key, const Rtl::AnsiString& Message,
                                       const THashFunction& Hash);

 private:
  // A xor B over the length of A; B is at least as long.
  static Rtl::AnsiString XORString(const Rtl::AnsiString& A, const Rtl::AnsiString& B);
};

}  // namespace Ostravane
