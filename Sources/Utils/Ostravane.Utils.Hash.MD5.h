// MD5 of RFC 1321, over buffers, UTF-16 strings, streams and files. The stream and file forms read
// in blocks of 4 KiB and can be watched (progress by block), held (a pause callback called before
// each block) and stopped (a flag read after each block) by their caller.
//
// Failure contract: the buffer and string forms can't fail. FromStream passes on what the stream or
// a callback raises, after putting the stream's position back; FromFile raises EFOpenError for a
// file it can't open.
#pragma once
#include "Ostravane.Rtl.Classes.h"
#include "Ostravane.Rtl.System.h"

namespace Ostravane {

// The digest in its standard byte order: V, or the same bytes as four integers.
struct OVRTL_API TMD5Value {
  union {
    struct {
      int32_t A, B, C, D;
    };
    uint8_t V[16];
  };

  // 32 upper-case hexadecimal digits, byte 0 first.
  Rtl::UnicodeString AsString() const;
  friend bool operator==(const TMD5Value& L, const TMD5Value& R) noexcept { return std::memcmp(L.V, R.V, 16) == 0; }
  friend bool operator!=(const TMD5Value& L, const TMD5Value& R) noexcept { return !(L == R); }
};

class OVRTL_API HashMD5 final {
  OV_STATIC_CLASS
 public:
  HashMD5() = delete;

  // The running state of RFC 1321's reference code: chaining value, bit count (low word first) and
  // the bytes of an unfinished block.
  struct TMD5Context {
    uint32_t state[4];
    uint32_t count[2];
    uint8_t buffer[64];
  };
  // Told the byte count of each read, 0 for the read that finds the end.
  using TIncProgress = Rtl::TMethod<void(int64_t AProgress)>;
  // Called before each read; the work waits for as long as it runs.
  using TProcessPause = Rtl::TMethod<void()>;

  static TMD5Value FromBuffer(const void* ABuffer, int32_t ASize) noexcept;
  // Over the UTF-16LE bytes, 2 x length, no terminator.
  static TMD5Value FromString(const Rtl::UnicodeString& AStr) noexcept;
  // Hashes the stream from position 0 to its end, or until the Boolean behind AStopFlag (which may
  // be set from another thread) is true after a block: then the digest of what was read so far.
  // The stream's position comes back, an exception passing or not. Callbacks may be empty.
  static TMD5Value FromStream(Rtl::TStream& AStream, bool* AStopFlag, TIncProgress AOnIncProgress,
                              TProcessPause AProcessPause);
  // FromStream over the file, opened for reading with all sharing allowed.
  static TMD5Value FromFile(const Rtl::UnicodeString& AFileName, bool* AStopFlag, TIncProgress AOnIncProgress,
                            TProcessPause AProcessPause);

  static void MD5Init(TMD5Context& context) noexcept;
  static void MD5Update(TMD5Context& context, const void* input, uint32_t inputLen) noexcept;
  // Writes the digest and wipes the context.
  static void MD5Final(TMD5Value& digest, TMD5Context& context) noexcept;

 private:
  // Compresses ABlocks whole blocks of 64 bytes into the state.
  static void MD5Transform(uint32_t state[4], const uint8_t* block, size_t ABlocks) noexcept;
  static void MD5Encode(uint8_t* output, const uint32_t* input, uint32_t len) noexcept;
  static void MD5Decode(uint32_t* output, const uint8_t* input, uint32_t len) noexcept;
  static void MD5_memcpy(void* output, const void* input, uint32_t len) noexcept;
  static void MD5_memset(void* output, int value, uint32_t len) noexcept;
};

}  // namespace Ostravane
