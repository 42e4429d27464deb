// The runtime's containers the library calls: byte streams and string lists.
#pragma once
#include <vector>

#include "Ostravane.Rtl.System.h"

namespace Ostravane::Rtl {

enum class TSeekOrigin { soBeginning, soCurrent, soEnd };

class OVRTL_API TStream : public TObject {
  OV_OBJECT_CLASS
 public:
  // Bytes actually read; fewer than ACount at the end of the stream.
  virtual int32_t Read(void* ABuffer, int32_t ACount) = 0;
  virtual int32_t Write(const void* ABuffer, int32_t ACount) = 0;
  virtual int64_t Seek(int64_t AOffset, TSeekOrigin AOrigin) = 0;
  virtual int64_t GetSize();
  virtual void SetSize(int64_t ANewSize) = 0;
  int64_t GetPosition() { return Seek(0, TSeekOrigin::soCurrent); }
  void SetPosition(int64_t APosition) { Seek(APosition, TSeekOrigin::soBeginning); }
};

// Bytes in memory. Writing past the end grows the stream; capacity grows geometrically and is kept
// by Clear, so a buffer that is filled and emptied again and again allocates once.
class OVRTL_API TMemoryStream : public TStream {
  OV_OBJECT_CLASS
 public:
  TMemoryStream() = default;
  ~TMemoryStream() override;
  TMemoryStream(const TMemoryStream&) = delete;
  TMemoryStream& operator=(const TMemoryStream&) = delete;

  int32_t Read(void* ABuffer, int32_t ACount) override;
  int32_t Write(const void* ABuffer, int32_t ACount) override;
  int64_t Seek(int64_t AOffset, TSeekOrigin AOrigin) override;
  int64_t GetSize() override { return static_cast<int64_t>(FSize); }
  void SetSize(int64_t ANewSize) override;
  void Clear() noexcept;

  const void* Memory() const noexcept { return FMemory; }
  size_t Size() const noexcept { return FSize; }
  // Appends at the end, whatever the position: the fast road of a buffer that only grows.
  void Append(const void* ABuffer, size_t ACount) {
    if (FSize + ACount > FCapacity) Grow(FSize + ACount);
    std::memcpy(FMemory + FSize, ABuffer, ACount);
    FSize += ACount;
    FPosition = FSize;
  }

 private:
  void Grow(size_t AMinCapacity);  // raises std::bad_alloc when memory runs out

  unsigned char* FMemory = nullptr;
  size_t FSize = 0;
  size_t FCapacity = 0;
  size_t FPosition = 0;
};

// An ordered list of strings. IndexOf compares without regard to case unless CaseSensitive is set.
class OVRTL_API TStringList : public TObject {
  OV_OBJECT_CLASS
 public:
  int32_t Add(const UnicodeString& S);
  void Delete(int32_t AIndex);
  void Clear() noexcept { FItems.clear(); }
  int32_t Count() const noexcept { return static_cast<int32_t>(FItems.size()); }
  int32_t IndexOf(const UnicodeString& S) const;
  const UnicodeString& operator[](int32_t AIndex) const { return FItems.at(AIndex); }
  UnicodeString& operator[](int32_t AIndex) { return FItems.at(AIndex); }

  bool CaseSensitive = false;

 private:
  std::vector<UnicodeString> FItems;
};

}  // namespace Ostravane::Rtl
