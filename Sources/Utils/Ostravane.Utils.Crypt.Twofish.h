// The Twofish block cipher (128-bit blocks, 16 rounds, keys of 128, 192 and 256 bits) with its
// block modes and a simple stream form. All state of a cipher lies in a TTwofishData record that
// the caller owns; the class itself is stateless. The key schedule computes the four key-dependent
// S-boxes in full (with the MDS matrix folded in), so a block costs table look-ups only and Init is
// much dearer than a block.
//
// Modes: ECB leaves LastBlock alone; every other mode carries its chaining value in LastBlock from
// call to call, until Reset or Init. InData and OutData may be the same buffer.
//
// Stream form: whole blocks in ECB, a last partial block padded with zero bytes and followed by one
// byte that tells how many of its bytes count. A key is used as given (padded with zero bytes to
// 128, 192 or 256 bits), never hashed.
//
// Failure contract: Init raises Exception for a key of other than 1 to 32 bytes and leaves the
// record as it was; stream decryption raises EAssertionFailed for a stream of the wrong length,
// after writing the whole blocks before it. Stream failures pass through. The stream forms burn
// their record on every way out.
//
// Tables: PreCompMDS, the unit's start step, computes the MDS table; until the unit has started no
// key can be set. One record belongs to one thread at a time.
#pragma once
#include <array>

#include "Ostravane.Rtl.Classes.h"
#include "Ostravane.Rtl.System.h"

namespace Ostravane {

// The block modes there are; no operation takes this, each mode has functions of its own.
enum TCryptTwofishMode { ctfmECB, ctfmCBC, ctfmCFB, ctfmOFB, ctfmNOFB };

using TDWordArray = uint32_t[0x3FFFFFF];
using PDWordArray = uint32_t*;

struct TTwofishData {
  uint32_t KeyLen;          // bits after rounding up: 128, 192 or 256
  uint32_t SubKeys[40];     // whitening and round keys
  uint32_t sboxKeys[4];     // the S-box key words, last pair first
  uint32_t sbox[4][256];    // the keyed S-boxes with the MDS matrix folded in
  uint8_t InitBlock[16];    // the initialisation vector as given
  uint8_t LastBlock[16];    // the running chaining value
};

class OVRTL_API CryptTwofish final {
  OV_STATIC_CLASS
 public:
  CryptTwofish() = delete;

  // Len from 1 to 32 bytes of Key; IV (16 bytes) may be null for zeros.
  static void Init(TTwofishData& Data, const void* Key, int32_t Len, const void* IV);
  // Zeros over the whole record.
  static void Burn(TTwofishData& Data) noexcept;
  // LastBlock := InitBlock: the next call starts a new message.
  static void Reset(TTwofishData& Data) noexcept;
  // The authors' 256-bit known answer, both ways.
  static bool SelfTest();

  // One 16-byte block.
  static void EncryptECB(const TTwofishData& Data, const void* InData, void* OutData) noexcept;
  static void DecryptECB(const TTwofishData& Data, const void* InData, void* OutData) noexcept;
  static void EncryptCBC(TTwofishData& Data, const void* InData, void* OutData) noexcept;
  static void DecryptCBC(TTwofishData& Data, const void* InData, void* OutData) noexcept;
  static void EncryptOFB(TTwofishData& Data, const void* InData, void* OutData) noexcept;
  static void DecryptOFB(TTwofishData& Data, const void* InData, void* OutData) noexcept;
  // Len bytes, eight-bit feedback: a block encryption a byte.
  static void EncryptCFB(TTwofishData& Data, const void* InData, void* OutData, int32_t Len) noexcept;
  static void DecryptCFB(TTwofishData& Data, const void* InData, void* OutData, int32_t Len) noexcept;
  // Len bytes of the byte-wise counter mode (a big-endian counter in LastBlock), the same both ways.
  static void EncryptOFBC(TTwofishData& Data, const void* InData, void* OutData, int32_t Len) noexcept;
  static void DecryptOFBC(TTwofishData& Data, const void* InData, void* OutData, int32_t Len) noexcept;

  // The stream form from ASource (read from position 0) into ADest (emptied first).
  static void EncryptECB(const void* AKey, int32_t AKeyLen, Rtl::TStream& ASource, Rtl::TStream& ADest);
  static void DecryptECB(const void* AKey, int32_t AKeyLen, Rtl::TStream& ASource, Rtl::TStream& ADest);
  // The stream form in place: AStream holds the result, its position at the end.
  static void EncryptECB(const void* AKey, int32_t AKeyLen, Rtl::TStream& AStream);
  static void DecryptECB(const void* AKey, int32_t AKeyLen, Rtl::TStream& AStream);

  // Adds 1 to the big-endian number in Len bytes of Block, wrapping round.
  static void IncBlock(uint8_t* Block, int32_t Len) noexcept;
  // Out := In1 xor In2 over Len bytes; Out may be either input.
  static void XorBlock(const uint8_t* In1, const uint8_t* In2, uint8_t* Out, int32_t Len) noexcept;
  // The unit's start step: the MDS table over q0 and q1.
  static void PreCompMDS() noexcept;

  // The q0 and q1 permutations, q0 first.
  static const std::array<std::array<uint8_t, 256>, 2> p8x8;
  // The byte shifts of a word.
  static constexpr uint32_t BLU[4] = {0, 8, 16, 24};

 private:
  static uint8_t LFSR1(uint8_t x) noexcept;
  static uint8_t LFSR2(uint8_t x) noexcept;
  // Dest := Source xor AValue over 256 bytes.
  static void Xor256(uint8_t* Dest, const uint8_t* Source, uint8_t AValue) noexcept;
  static uint32_t RS_MDS_Encode(uint32_t k0, uint32_t k1) noexcept;
  // The authors' function h on x with the key words L (KeyLen / 64 of them).
  static uint32_t f32(uint32_t x, const uint32_t* L, uint32_t KeyLen) noexcept;
};

}  // namespace Ostravane
