// MD5 after RFC 1321's reference code, compressing whole blocks straight from the caller's memory.
#include "Ostravane.Utils.Hash.MD5.h"

#include <atomic>

#include "Ostravane.Rtl.SysUtils.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(HashMD5, nullptr)

namespace {

const uint8_t Padding[64] = {0x80};

constexpr uint32_t ROTATE_LEFT(uint32_t x, int n) noexcept { return (x << n) | (x >> (32 - n)); }
constexpr uint32_t _F(uint32_t x, uint32_t y, uint32_t z) noexcept { return z ^ (x & (y ^ z)); }
constexpr uint32_t _G(uint32_t x, uint32_t y, uint32_t z) noexcept { return y ^ (z & (x ^ y)); }
constexpr uint32_t _H(uint32_t x, uint32_t y, uint32_t z) noexcept { return x ^ y ^ z; }
constexpr uint32_t _I(uint32_t x, uint32_t y, uint32_t z) noexcept { return y ^ (x | ~z); }

// The four round steps; s and ac are constants of each step. b is the value the step before has
// just made, so it is added last: what doesn't depend on it is summed while it is still coming.
#define OV_MD5_STEP(f, a, b, c, d, x, s, ac) \
  a += (x) + (ac);                             \
  a += f(b, c, d);                             \
  a = ROTATE_LEFT(a, s) + b
#define FF(a, b, c, d, x, s, ac) OV_MD5_STEP(_F, a, b, c, d, x, s, ac)
// _G's two terms have no bit in common, so their or is their sum, and the term without b goes first.
static_assert(_G(0xF0F0F0F0, 0xCCCCCCCC, 0xAAAAAAAA) == ((0xF0F0F0F0 & 0xAAAAAAAA) + (0xCCCCCCCC & ~0xAAAAAAAAu)));
#define GG(a, b, c, d, x, s, ac)          \
  a += (x) + (ac) + ((c) & ~(d));         \
  a += (b) & (d);                         \
  a = ROTATE_LEFT(a, s) + b
#define HH(a, b, c, d, x, s, ac) OV_MD5_STEP(_H, a, b, c, d, x, s, ac)
#define II(a, b, c, d, x, s, ac) OV_MD5_STEP(_I, a, b, c, d, x, s, ac)

}  // namespace

Rtl::UnicodeString TMD5Value::AsString() const {
  Rtl::UnicodeString R;
  R.reserve(32);
  for (uint8_t B : V) R += Rtl::IntToHex(B, 2);
  return R;
}

void HashMD5::MD5Init(TMD5Context& context) noexcept {
  context.count[0] = context.count[1] = 0;
  context.state[0] = 0x67452301;
  context.state[1] = 0xEFCDAB89;
  context.state[2] = 0x98BADCFE;
  context.state[3] = 0x10325476;
}

void HashMD5::MD5Update(TMD5Context& context, const void* input, uint32_t inputLen) noexcept {
  const auto* LInput = static_cast<const uint8_t*>(input);
  uint32_t index = (context.count[0] >> 3) & 0x3F;
  if ((context.count[0] += inputLen << 3) < (inputLen << 3)) context.count[1]++;
  context.count[1] += inputLen >> 29;
  const uint32_t partLen = 64 - index;
  uint32_t i = 0;
  if (inputLen >= partLen) {
    if (index != 0) {
      MD5_memcpy(&context.buffer[index], LInput, partLen);
      MD5Transform(context.state, context.buffer, 1);
      i = partLen;
    }
    const uint32_t LBlocks = (inputLen - i) / 64;
    MD5Transform(context.state, LInput + i, LBlocks);
    i += LBlocks * 64;
    index = 0;
  }
  MD5_memcpy(&context.buffer[index], LInput + i, inputLen - i);
}

void HashMD5::MD5Final(TMD5Value& digest, TMD5Context& context) noexcept {
  uint8_t bits[8];
  MD5Encode(bits, context.count, 8);
  const uint32_t index = (context.count[0] >> 3) & 0x3F;
  const uint32_t padLen = index < 56 ? 56 - index : 120 - index;
  MD5Update(context, Padding, padLen);
  MD5Update(context, bits, 8);
  MD5Encode(digest.V, context.state, 16);
  MD5_memset(&context, 0, sizeof(context));
}

void HashMD5::MD5Transform(uint32_t state[4], const uint8_t* block, size_t ABlocks) noexcept {
  uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
  for (; ABlocks > 0; --ABlocks, block += 64) {
    uint32_t x[16];
    MD5Decode(x, block, 64);
    const uint32_t aa = a, bb = b, cc = c, dd = d;
    FF(a, b, c, d, x[0], 7, 0xd76aa478);
    FF(d, a, b, c, x[1], 12, 0xe8c7b756);
    FF(c, d, a, b, x[2], 17, 0x242070db);
    FF(b, c, d, a, x[3], 22, 0xc1bdceee);
    FF(a, b, c, d, x[4], 7, 0xf57c0faf);
    FF(d, a, b, c, x[5], 12, 0x4787c62a);
    FF(c, d, a, b, x[6], 17, 0xa8304613);
    FF(b, c, d, a, x[7], 22, 0xfd469501);
    FF(a, b, c, d, x[8], 7, 0x698098d8);
    FF(d, a, b, c, x[9], 12, 0x8b44f7af);
    FF(c, d, a, b, x[10], 17, 0xffff5bb1);
    FF(b, c, d, a, x[11], 22, 0x895cd7be);
    FF(a, b, c, d, x[12], 7, 0x6b901122);
    FF(d, a, b, c, x[13], 12, 0xfd987193);
    FF(c, d, a, b, x[14], 17, 0xa679438e);
    FF(b, c, d, a, x[15], 22, 0x49b40821);
    GG(a, b, c, d, x[1], 5, 0xf61e2562);
    GG(d, a, b, c, x[6], 9, 0xc040b340);
    GG(c, d, a, b, x[11], 14, 0x265e5a51);
    GG(b, c, d, a, x[0], 20, 0xe9b6c7aa);
    GG(a, b, c, d, x[5], 5, 0xd62f105d);
    GG(d, a, b, c, x[10], 9, 0x02441453);
    GG(c, d, a, b, x[15], 14, 0xd8a1e681);
    GG(b, c, d, a, x[4], 20, 0xe7d3fbc8);
    GG(a, b, c, d, x[9], 5, 0x21e1cde6);
    GG(d, a, b, c, x[14], 9, 0xc33707d6);
    GG(c, d, a, b, x[3], 14, 0xf4d50d87);
    GG(b, c, d, a, x[8], 20, 0x455a14ed);
    GG(a, b, c, d, x[13], 5, 0xa9e3e905);
    GG(d, a, b, c, x[2], 9, 0xfcefa3f8);
    GG(c, d, a, b, x[7], 14, 0x676f02d9);
    GG(b, c, d, a, x[12], 20, 0x8d2a4c8a);
    HH(a, b, c, d, x[5], 4, 0xfffa3942);
    HH(d, a, b, c, x[8], 11, 0x8771f681);
    HH(c, d, a, b, x[11], 16, 0x6d9d6122);
    HH(b, c, d, a, x[14], 23, 0xfde5380c);
    HH(a, b, c, d, x[1], 4, 0xa4beea44);
    HH(d, a, b, c, x[4], 11, 0x4bdecfa9);
    HH(c, d, a, b, x[7], 16, 0xf6bb4b60);
    HH(b, c, d, a, x[10], 23, 0xbebfbc70);
    HH(a, b, c, d, x[13], 4, 0x289b7ec6);
    HH(d, a, b, c, x[0], 11, 0xeaa127fa);
    HH(c, d, a, b, x[3], 16, 0xd4ef3085);
    HH(b, c, d, a, x[6], 23, 0x04881d05);
    HH(a, b, c, d, x[9], 4, 0xd9d4d039);
    HH(d, a, b, c, x[12], 11, 0xe6db99e5);
    HH(c, d, a, b, x[15], 16, 0x1fa27cf8);
    HH(b, c, d, a, x[2], 23, 0xc4ac5665);
    II(a, b, c, d, x[0], 6, 0xf4292244);
    II(d, a, b, c, x[7], 10, 0x432aff97);
    II(c, d, a, b, x[14], 15, 0xab9423a7);
    II(b, c, d, a, x[5], 21, 0xfc93a039);
    II(a, b, c, d, x[12], 6, 0x655b59c3);
    II(d, a, b, c, x[3], 10, 0x8f0ccc92);
    II(c, d, a, b, x[10], 15, 0xffeff47d);
    II(b, c, d, a, x[1], 21, 0x85845dd1);
    II(a, b, c, d, x[8], 6, 0x6fa87e4f);
    II(d, a, b, c, x[15], 10, 0xfe2ce6e0);
    II(c, d, a, b, x[6], 15, 0xa3014314);
    II(b, c, d, a, x[13], 21, 0x4e0811a1);
    II(a, b, c, d, x[4], 6, 0xf7537e82);
    II(d, a, b, c, x[11], 10, 0xbd3af235);
    II(c, d, a, b, x[2], 15, 0x2ad7d2bb);
    II(b, c, d, a, x[9], 21, 0xeb86d391);
    a += aa;
    b += bb;
    c += cc;
    d += dd;
  }
  state[0] = a;
  state[1] = b;
  state[2] = c;
  state[3] = d;
}

// The digest is little-endian, as the processor is: encoding and decoding are copies.
void HashMD5::MD5Encode(uint8_t* output, const uint32_t* input, uint32_t len) noexcept { std::memcpy(output, input, len); }
void HashMD5::MD5Decode(uint32_t* output, const uint8_t* input, uint32_t len) noexcept { std::memcpy(output, input, len); }
void HashMD5::MD5_memcpy(void* output, const void* input, uint32_t len) noexcept { std::memcpy(output, input, len); }
void HashMD5::MD5_memset(void* output, int value, uint32_t len) noexcept {
  // Through a volatile pointer, so that the wipe of a context about to die isn't optimised away.
  auto* P = static_cast<volatile uint8_t*>(output);
  while (len-- > 0) *P++ = static_cast<uint8_t>(value);
}

TMD5Value HashMD5::FromBuffer(const void* ABuffer, int32_t ASize) noexcept {
  TMD5Context LContext;
  MD5Init(LContext);
  if (ASize > 0) MD5Update(LContext, ABuffer, static_cast<uint32_t>(ASize));
  TMD5Value R;
  MD5Final(R, LContext);
  return R;
}

TMD5Value HashMD5::FromString(const Rtl::UnicodeString& AStr) noexcept {
  return FromBuffer(AStr.data(), static_cast<int32_t>(AStr.size() * sizeof(wchar_t)));
}

TMD5Value HashMD5::FromStream(Rtl::TStream& AStream, bool* AStopFlag, TIncProgress AOnIncProgress,
                              TProcessPause AProcessPause) {
  constexpr int32_t C_BLOCK = 4096;
  TMD5Context LContext;
  MD5Init(LContext);
  // Size, position and total are 64-bit, so that streams of 4 GiB and more end and come back right.
  const int64_t LSize = AStream.GetSize();
  const int64_t LPosition = AStream.GetPosition();
  AStream.SetPosition(0);
  try {
    uint8_t LBuffer[C_BLOCK];
    int64_t LTotal = 0;
    for (;;) {
      if (AProcessPause) AProcessPause();
      const int32_t LRead = AStream.Read(LBuffer, C_BLOCK);
      LTotal += LRead;
      if (AOnIncProgress) AOnIncProgress(LRead);
      if (LRead > 0) MD5Update(LContext, LBuffer, static_cast<uint32_t>(LRead));
      if (LRead <= 0 || LTotal == LSize ||
          (AStopFlag && std::atomic_ref<bool>(*AStopFlag).load(std::memory_order_relaxed)))
        break;
    }
  } catch (...) {
    AStream.SetPosition(LPosition);
    throw;
  }
  AStream.SetPosition(LPosition);
  TMD5Value R;
  MD5Final(R, LContext);
  return R;
}

TMD5Value HashMD5::FromFile(const Rtl::UnicodeString& AFileName, bool* AStopFlag, TIncProgress AOnIncProgress,
                            TProcessPause AProcessPause) {
  TMD5Value R{};
  Rtl::TFileStream LFile(AFileName, Rtl::fmOpenRead | Rtl::fmShareDenyNone);
  R = FromStream(LFile, AStopFlag, AOnIncProgress, AProcessPause);
  return R;
}

}  // namespace Ostravane
