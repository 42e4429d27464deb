// Twofish as its authors published it (Schneier, Kelsey, Whiting, Wagner, Hall, Ferguson, 1998): the
// q permutations from their nibble tables, the MDS and RS codes over GF(2^8), the key schedule with
// fully keyed S-boxes, the block function, the modes and the stream form.
#include "Ostravane.Utils.Crypt.Twofish.h"

#include "Ostravane.Rtl.SysUtils.h"

namespace Ostravane {

OV_IMPLEMENT_CLASS(CryptTwofish, nullptr)

namespace {

constexpr wchar_t C_UNIT_NAME[] = L"Ostravane.Utils.Crypt.Twofish";
constexpr wchar_t C_KEY_LENGTH_ERROR[] =
    L"Key (password) has to be between 1 and 32 Bytes.\r"
    L"If you want to use a longer password please use hash instead";
constexpr wchar_t C_STREAM_ERROR[] = L"Incorrect input stream";

constexpr uint32_t C_SUBKEY_STEP = 0x02020202;
constexpr uint32_t C_SUBKEY_BUMP = 0x01010101;
constexpr uint32_t C_RS_FEEDBACK = 0x14D;  // the RS code's field polynomial
constexpr uint8_t C_MDS_FEEDBACK = 0xB4;   // the MDS field polynomial 0x169, shifted right once

// A q permutation from its four nibble tables.
constexpr std::array<uint8_t, 256> MakeQ(const uint8_t (&T)[4][16]) {
  std::array<uint8_t, 256> Q{};
  const auto Ror4 = [](uint8_t X) { return static_cast<uint8_t>(((X >> 1) | (X << 3)) & 15); };
  for (int X = 0; X < 256; ++X) {
    uint8_t A = static_cast<uint8_t>(X >> 4), B = static_cast<uint8_t>(X & 15);
    for (int Half = 0; Half < 2; ++Half) {
      const uint8_t A1 = A ^ B;
      const uint8_t B1 = static_cast<uint8_t>(A ^ Ror4(B) ^ ((8 * A) & 15));
      A = T[2 * Half][A1];
      B = T[2 * Half + 1][B1];
    }
    Q[X] = static_cast<uint8_t>(16 * B + A);
  }
  return Q;
}

constexpr uint8_t C_Q0_NIBBLES[4][16] = {{0x8, 0x1, 0x7, 0xD, 0x6, 0xF, 0x3, 0x2, 0x0, 0xB, 0x5, 0x9, 0xE, 0xC, 0xA, 0x4},
                                         {0xE, 0xC, 0xB, 0x8, 0x1, 0x2, 0x3, 0x5, 0xF, 0x4, 0xA, 0x6, 0x7, 0x0, 0x9, 0xD},
                                         {0xB, 0xA, 0x5, 0xE, 0x6, 0xD, 0x9, 0x0, 0xC, 0x8, 0xF, 0x3, 0x2, 0x4, 0x7, 0x1},
                                         {0xD, 0x7, 0xF, 0x4, 0x1, 0x2, 0x6, 0xE, 0x9, 0xB, 0x3, 0x0, 0x8, 0x5, 0xC, 0xA}};
constexpr uint8_t C_Q1_NIBBLES[4][16] = {{0x2, 0x8, 0xB, 0xD, 0xF, 0x7, 0x6, 0xE, 0x3, 0x1, 0x9, 0x4, 0x0, 0xA, 0xC, 0x5},
                                         {0x1, 0xE, 0x2, 0xB, 0x4, 0xC, 0x3, 0x7, 0x6, 0xD, 0xA, 0x5, 0xF, 0x9, 0x0, 0x8},
                                         {0x4, 0xC, 0x7, 0x5, 0x1, 0x6, 0x9, 0xA, 0x0, 0xE, 0xD, 0x8, 0x2, 0xB, 0x3, 0xF},
                                         {0xB, 0x9, 0x5, 0x1, 0xC, 0x3, 0xD, 0xE, 0x6, 0x4, 0x7, 0xF, 0x2, 0x0, 0x8, 0xA}};

// Which q (0 or 1) each byte column of h passes before it meets key word 3, 2, 1 and 0, and the q
// that the MDS table holds last.
constexpr uint8_t C_CHAIN[4][4] = {{1, 1, 0, 0}, {0, 1, 1, 0}, {0, 0, 0, 1}, {1, 0, 1, 1}};
constexpr uint8_t C_LAST_Q[4] = {1, 0, 1, 0};

// The MDS table: column j of the MDS matrix times the last q of column j. Written once, by the
// unit's start step.
uint32_t GMDS[4][256];

constexpr uint32_t Rol(uint32_t X, int N) noexcept { return (X << N) | (X >> (32 - N)); }
constexpr uint32_t Ror(uint32_t X, int N) noexcept { return (X >> N) | (X << (32 - N)); }

inline uint32_t Load32(const uint8_t* P) noexcept {
  uint32_t V;
  std::memcpy(&V, P, 4);
  return V;
}

inline void Store32(uint8_t* P, uint32_t V) noexcept { std::memcpy(P, &V, 4); }

// Byte j of a column on its way through the q chain, key words from the last to L[0].
inline uint8_t Chain(int AColumn, uint8_t AByte, const uint32_t* L, int AWords) noexcept {
  for (int W = AWords - 1; W >= 0; --W)
    AByte = static_cast<uint8_t>(CryptTwofish::p8x8[C_CHAIN[AColumn][3 - W]][AByte] ^ (L[W] >> CryptTwofish::BLU[AColumn]));
  return AByte;
}

void Wipe(void* P, size_t N) noexcept {
  auto* Q = static_cast<volatile uint8_t*>(P);
  while (N-- > 0) *Q++ = 0;
}

// The round function's g on the keyed S-boxes, of X and of X rotated left by 8.
#define OV_TF_G0(S, X) (S[0][(X) & 255] ^ S[1][((X) >> 8) & 255] ^ S[2][((X) >> 16) & 255] ^ S[3][(X) >> 24])
#define OV_TF_G1(S, X) (S[0][(X) >> 24] ^ S[1][(X) & 255] ^ S[2][((X) >> 8) & 255] ^ S[3][((X) >> 16) & 255])

// Round R: A and B feed F, which changes C and D. Encryption, then its inverse.
#define OV_TF_ENCRYPT_ROUND(A, B, C, D, R)          \
  {                                                 \
    const uint32_t T0 = OV_TF_G0(S, A);             \
    const uint32_t T1 = OV_TF_G1(S, B);             \
    C = Ror(C ^ (T0 + T1 + K[2 * (R) + 8]), 1);     \
    D = Rol(D, 1) ^ (T0 + 2 * T1 + K[2 * (R) + 9]); \
  }
#define OV_TF_DECRYPT_ROUND(A, B, C, D, R)          \
  {                                                 \
    const uint32_t T0 = OV_TF_G0(S, A);             \
    const uint32_t T1 = OV_TF_G1(S, B);             \
    C = Rol(C, 1) ^ (T0 + T1 + K[2 * (R) + 8]);     \
    D = Ror(D ^ (T0 + 2 * T1 + K[2 * (R) + 9]), 1); \
  }

}  // namespace

const std::array<std::array<uint8_t, 256>, 2> CryptTwofish::p8x8 = {MakeQ(C_Q0_NIBBLES), MakeQ(C_Q1_NIBBLES)};

// ---- Field arithmetic ----------------------------------------------------------------------------

// x times the inverse of the field's generator, and times its square: with them, 0x5B x is
// x ^ LFSR2(x) and 0xEF x is x ^ LFSR1(x) ^ LFSR2(x).
uint8_t CryptTwofish::LFSR1(uint8_t x) noexcept { return static_cast<uint8_t>((x >> 1) ^ (x & 1 ? C_MDS_FEEDBACK : 0)); }

uint8_t CryptTwofish::LFSR2(uint8_t x) noexcept {
  static constexpr uint8_t C_FEEDBACK[4] = {0, C_MDS_FEEDBACK >> 1, C_MDS_FEEDBACK, C_MDS_FEEDBACK ^ (C_MDS_FEEDBACK >> 1)};
  return static_cast<uint8_t>((x >> 2) ^ C_FEEDBACK[x & 3]);
}

void CryptTwofish::PreCompMDS() noexcept {
  for (int X = 0; X < 256; ++X) {
    for (int J = 0; J < 4; ++J) {
      const uint8_t Y = p8x8[C_LAST_Q[J]][X];
      const uint32_t M1 = Y;
      const uint32_t M5B = Y ^ LFSR2(Y);
      const uint32_t MEF = Y ^ LFSR1(Y) ^ LFSR2(Y);
      // Column J of | 01 EF 5B 5B | 5B EF EF 01 | EF 5B 01 EF | EF 01 EF 5B |, row 0 in the low byte.
      static constexpr int C_COLUMN[4][4] = {{0, 1, 2, 2}, {2, 2, 1, 0}, {1, 2, 0, 2}, {1, 0, 2, 1}};
      const uint32_t LProduct[3] = {M1, M5B, MEF};
      GMDS[J][X] = LProduct[C_COLUMN[J][0]] | LProduct[C_COLUMN[J][1]] << 8 | LProduct[C_COLUMN[J][2]] << 16 |
                   LProduct[C_COLUMN[J][3]] << 24;
    }
  }
}

uint32_t CryptTwofish::RS_MDS_Encode(uint32_t k0, uint32_t k1) noexcept {
  uint32_t r = 0;
  for (int I = 0; I < 2; ++I) {
    r ^= I ? k0 : k1;
    for (int J = 0; J < 4; ++J) {
      // r := r x^8 mod the RS generator polynomial, one byte at a time.
      const uint32_t b = r >> 24;
      const uint32_t g2 = ((b << 1) ^ (b & 0x80 ? C_RS_FEEDBACK : 0)) & 0xFF;
      const uint32_t g3 = ((b >> 1) & 0x7F) ^ (b & 1 ? C_RS_FEEDBACK >> 1 : 0) ^ g2;
      r = (r << 8) ^ (g3 << 24) ^ (g2 << 16) ^ (g3 << 8) ^ b;
    }
  }
  return r;
}

uint32_t CryptTwofish::f32(uint32_t x, const uint32_t* L, uint32_t KeyLen) noexcept {
  const int LWords = static_cast<int>(KeyLen / 64);
  uint32_t R = 0;
  for (int J = 0; J < 4; ++J) R ^= GMDS[J][Chain(J, static_cast<uint8_t>(x >> BLU[J]), L, LWords)];
  return R;
}

void CryptTwofish::Xor256(uint8_t* Dest, const uint8_t* Source, uint8_t AValue) noexcept {
  for (int I = 0; I < 256; ++I) Dest[I] = Source[I] ^ AValue;
}

// ---- Key and state -------------------------------------------------------------------------------

void CryptTwofish::Init(TTwofishData& Data, const void* Key, int32_t Len, const void* IV) {
  if (Len < 1 || Len > 32) throw Rtl::Exception(C_KEY_LENGTH_ERROR);
  if (IV) {
    std::memcpy(Data.InitBlock, IV, 16);
    std::memcpy(Data.LastBlock, IV, 16);
  } else {
    std::memset(Data.InitBlock, 0, 16);
    std::memset(Data.LastBlock, 0, 16);
  }
  uint8_t LKey[32] = {};
  std::memcpy(LKey, Key, Len);
  Data.KeyLen = Len <= 16 ? 128 : Len <= 24 ? 192 : 256;
  const int LWords = static_cast<int>(Data.KeyLen / 64);
  uint32_t LEven[4] = {}, LOdd[4] = {};
  for (int I = 0; I < LWords; ++I) {
    LEven[I] = Load32(LKey + 8 * I);
    LOdd[I] = Load32(LKey + 8 * I + 4);
    Data.sboxKeys[LWords - 1 - I] = RS_MDS_Encode(LEven[I], LOdd[I]);
  }
  for (int I = LWords; I < 4; ++I) Data.sboxKeys[I] = 0;
  for (uint32_t I = 0; I < 20; ++I) {
    const uint32_t A = f32(I * C_SUBKEY_STEP, LEven, Data.KeyLen);
    const uint32_t B = Rol(f32(I * C_SUBKEY_STEP + C_SUBKEY_BUMP, LOdd, Data.KeyLen), 8);
    Data.SubKeys[2 * I] = A + B;
    Data.SubKeys[2 * I + 1] = Rol(A + 2 * B, 9);
  }
  // Each S-box column: all 256 bytes through the q chain of their key bytes, then the MDS table.
  uint8_t LColumn[256];
  for (int J = 0; J < 4; ++J) {
    for (int X = 0; X < 256; ++X) LColumn[X] = static_cast<uint8_t>(X);
    for (int W = LWords - 1; W >= 0; --W) {
      const auto& Q = p8x8[C_CHAIN[J][3 - W]];
      for (int X = 0; X < 256; ++X) LColumn[X] = Q[LColumn[X]];
      Xor256(LColumn, LColumn, static_cast<uint8_t>(Data.sboxKeys[W] >> BLU[J]));
    }
    for (int X = 0; X < 256; ++X) Data.sbox[J][X] = GMDS[J][LColumn[X]];
  }
  Wipe(LKey, sizeof(LKey));
  Wipe(LEven, sizeof(LEven));
  Wipe(LOdd, sizeof(LOdd));
  Wipe(LColumn, sizeof(LColumn));
}

void CryptTwofish::Burn(TTwofishData& Data) noexcept { Wipe(&Data, sizeof(Data)); }

void CryptTwofish::Reset(TTwofishData& Data) noexcept { std::memcpy(Data.LastBlock, Data.InitBlock, 16); }

bool CryptTwofish::SelfTest() {
  static constexpr uint8_t C_KEY[32] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0xFE, 0xDC, 0xBA,
                                        0x98, 0x76, 0x54, 0x32, 0x10, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55,
                                        0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
  static constexpr uint8_t C_PLAIN[16] = {};
  static constexpr uint8_t C_CIPHER[16] = {0x37, 0x52, 0x7B, 0xE0, 0x05, 0x23, 0x34, 0xB8,
                                           0x9F, 0x0C, 0xFC, 0xCA, 0xE8, 0x7C, 0xFA, 0x20};
  TTwofishData LData;
  Init(LData, C_KEY, sizeof(C_KEY), nullptr);
  uint8_t LBlock[16];
  EncryptECB(LData, C_PLAIN, LBlock);
  const bool LEncrypted = std::memcmp(LBlock, C_CIPHER, 16) == 0;
  DecryptECB(LData, LBlock, LBlock);
  const bool LDecrypted = std::memcmp(LBlock, C_PLAIN, 16) == 0;
  Burn(LData);
  return LEncrypted && LDecrypted;
}

// ---- Blocks --------------------------------------------------------------------------------------

void CryptTwofish::EncryptECB(const TTwofishData& Data, const void* InData, void* OutData) noexcept {
  const uint32_t* K = Data.SubKeys;
  const auto& S = Data.sbox;
  const auto* In = static_cast<const uint8_t*>(InData);
  uint32_t A = Load32(In) ^ K[0], B = Load32(In + 4) ^ K[1], C = Load32(In + 8) ^ K[2], D = Load32(In + 12) ^ K[3];
  for (int R = 0; R < 16; R += 2) {
    OV_TF_ENCRYPT_ROUND(A, B, C, D, R)
    OV_TF_ENCRYPT_ROUND(C, D, A, B, R + 1)
  }
  auto* Out = static_cast<uint8_t*>(OutData);
  Store32(Out, C ^ K[4]);
  Store32(Out + 4, D ^ K[5]);
  Store32(Out + 8, A ^ K[6]);
  Store32(Out + 12, B ^ K[7]);
}

void CryptTwofish::DecryptECB(const TTwofishData& Data, const void* InData, void* OutData) noexcept {
  const uint32_t* K = Data.SubKeys;
  const auto& S = Data.sbox;
  const auto* In = static_cast<const uint8_t*>(InData);
  uint32_t C = Load32(In) ^ K[4], D = Load32(In + 4) ^ K[5], A = Load32(In + 8) ^ K[6], B = Load32(In + 12) ^ K[7];
  for (int R = 15; R > 0; R -= 2) {
    OV_TF_DECRYPT_ROUND(C, D, A, B, R)
    OV_TF_DECRYPT_ROUND(A, B, C, D, R - 1)
  }
  auto* Out = static_cast<uint8_t*>(OutData);
  Store32(Out, A ^ K[0]);
  Store32(Out + 4, B ^ K[1]);
  Store32(Out + 8, C ^ K[2]);
  Store32(Out + 12, D ^ K[3]);
}

void CryptTwofish::XorBlock(const uint8_t* In1, const uint8_t* In2, uint8_t* Out, int32_t Len) noexcept {
  for (int32_t I = 0; I < Len; ++I) Out[I] = In1[I] ^ In2[I];
}

void CryptTwofish::IncBlock(uint8_t* Block, int32_t Len) noexcept {
  for (int32_t I = Len - 1; I >= 0; --I)
    if (++Block[I] != 0) return;
}

void CryptTwofish::EncryptCBC(TTwofishData& Data, const void* InData, void* OutData) noexcept {
  uint8_t LBlock[16];
  XorBlock(static_cast<const uint8_t*>(InData), Data.LastBlock, LBlock, 16);
  EncryptECB(Data, LBlock, OutData);
  std::memcpy(Data.LastBlock, OutData, 16);
}

void CryptTwofish::DecryptCBC(TTwofishData& Data, const void* InData, void* OutData) noexcept {
  uint8_t LCipher[16];
  std::memcpy(LCipher, InData, 16);
  DecryptECB(Data, LCipher, OutData);
  XorBlock(static_cast<const uint8_t*>(OutData), Data.LastBlock, static_cast<uint8_t*>(OutData), 16);
  std::memcpy(Data.LastBlock, LCipher, 16);
}

void CryptTwofish::EncryptOFB(TTwofishData& Data, const void* InData, void* OutData) noexcept {
  EncryptECB(Data, Data.LastBlock, Data.LastBlock);
  XorBlock(static_cast<const uint8_t*>(InData), Data.LastBlock, static_cast<uint8_t*>(OutData), 16);
}

void CryptTwofish::DecryptOFB(TTwofishData& Data, const void* InData, void* OutData) noexcept {
  EncryptOFB(Data, InData, OutData);
}

namespace {

// Eight-bit cipher feedback, byte by byte; AEncrypt tells which byte is the cipher text.
void CFB8(TTwofishData& Data, const void* InData, void* OutData, int32_t Len, bool AEncrypt) noexcept {
  const auto* In = static_cast<const uint8_t*>(InData);
  auto* Out = static_cast<uint8_t*>(OutData);
  uint8_t LKeyStream[16];
  for (int32_t I = 0; I < Len; ++I) {
    CryptTwofish::EncryptECB(Data, Data.LastBlock, LKeyStream);
    const uint8_t LIn = In[I];
    Out[I] = LIn ^ LKeyStream[0];
    std::memmove(Data.LastBlock, Data.LastBlock + 1, 15);
    Data.LastBlock[15] = AEncrypt ? Out[I] : LIn;
  }
}

}  // namespace

void CryptTwofish::EncryptCFB(TTwofishData& Data, const void* InData, void* OutData, int32_t Len) noexcept {
  CFB8(Data, InData, OutData, Len, true);
}

void CryptTwofish::DecryptCFB(TTwofishData& Data, const void* InData, void* OutData, int32_t Len) noexcept {
  CFB8(Data, InData, OutData, Len, false);
}

void CryptTwofish::EncryptOFBC(TTwofishData& Data, const void* InData, void* OutData, int32_t Len) noexcept {
  const auto* In = static_cast<const uint8_t*>(InData);
  auto* Out = static_cast<uint8_t*>(OutData);
  uint8_t LKeyStream[16];
  for (int32_t I = 0; I < Len; ++I) {
    EncryptECB(Data, Data.LastBlock, LKeyStream);
    Out[I] = In[I] ^ LKeyStream[0];
    IncBlock(Data.LastBlock, 16);
  }
}

void CryptTwofish::DecryptOFBC(TTwofishData& Data, const void* InData, void* OutData, int32_t Len) noexcept {
  EncryptOFBC(Data, InData, OutData, Len);
}

// ---- Streams -------------------------------------------------------------------------------------

namespace {

// A record that is burned on every way out.
class TBurningData {
 public:
  TBurningData(const void* AKey, int32_t AKeyLen) { CryptTwofish::Init(FData, AKey, AKeyLen, nullptr); }
  ~TBurningData() { CryptTwofish::Burn(FData); }
  TBurningData(const TBurningData&) = delete;
  TBurningData& operator=(const TBurningData&) = delete;
  TTwofishData& operator*() noexcept { return FData; }

 private:
  TTwofishData FData;
};

using TBlockFunction = void (*)(const TTwofishData&, const void*, void*) noexcept;

// The source from its start through ABlock into the emptied destination, block by whole block;
// answers the bytes left over.
int64_t WholeBlocks(const TTwofishData& AData, TBlockFunction ABlock, Rtl::TStream& ASource, Rtl::TStream& ADest) {
  ASource.SetPosition(0);
  ADest.SetPosition(0);
  ADest.SetSize(0);
  int64_t LLeft = ASource.GetSize();
  uint8_t LBlock[16];
  for (; LLeft >= 16; LLeft -= 16) {
    ASource.Read(LBlock, 16);
    ABlock(AData, LBlock, LBlock);
    ADest.Write(LBlock, 16);
  }
  Wipe(LBlock, sizeof(LBlock));
  return LLeft;
}

// Runs a two-stream form on AStream through a memory stream, and copies the result back.
void InPlace(void (*AForm)(const void*, int32_t, Rtl::TStream&, Rtl::TStream&), const void* AKey, int32_t AKeyLen,
             Rtl::TStream& AStream) {
  Rtl::TMemoryStream LResult;
  AForm(AKey, AKeyLen, AStream, LResult);
  AStream.SetSize(LResult.GetSize());
  AStream.SetPosition(0);
  LResult.SetPosition(0);
  AStream.Write(LResult.Memory(), static_cast<int32_t>(LResult.Size()));
}

}  // namespace

void CryptTwofish::EncryptECB(const void* AKey, int32_t AKeyLen, Rtl::TStream& ASource, Rtl::TStream& ADest) {
  TBurningData LData(AKey, AKeyLen);
  const int64_t LLeft = WholeBlocks(*LData, &CryptTwofish::EncryptECB, ASource, ADest);
  if (LLeft > 0) {
    uint8_t LBlock[16];
    std::memset(LBlock, 0, 16);
    ASource.Read(LBlock, static_cast<int32_t>(LLeft));
    EncryptECB(*LData, LBlock, LBlock);
    ADest.Write(LBlock, 16);
    const uint8_t LCount = static_cast<uint8_t>(LLeft);
    ADest.Write(&LCount, 1);
    Wipe(LBlock, sizeof(LBlock));
  }
}

void CryptTwofish::DecryptECB(const void* AKey, int32_t AKeyLen, Rtl::TStream& ASource, Rtl::TStream& ADest) {
  TBurningData LData(AKey, AKeyLen);
  const int64_t LLeft = WholeBlocks(*LData, &CryptTwofish::DecryptECB, ASource, ADest);
  if (LLeft > 1) throw Rtl::EAssertionFailed(C_STREAM_ERROR, C_UNIT_NAME, __LINE__);
  if (LLeft == 1) {
    uint8_t LCount = 0;
    ASource.Read(&LCount, 1);
    ADest.SetSize(ADest.GetSize() - (16 - LCount));
  }
}

void CryptTwofish::EncryptECB(const void* AKey, int32_t AKeyLen, Rtl::TStream& AStream) {
  InPlace(&CryptTwofish::EncryptECB, AKey, AKeyLen, AStream);
}

void CryptTwofish::DecryptECB(const void* AKey, int32_t AKeyLen, Rtl::TStream& AStream) {
  InPlace(&CryptTwofish::DecryptECB, AKey, AKeyLen, AStream);
}

}  // namespace Ostravane
