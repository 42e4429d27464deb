// Byte streams and string lists.
#include "Ostravane.Rtl.Classes.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#include "Ostravane.Rtl.SysUtils.h"

namespace Ostravane::Rtl {

OV_IMPLEMENT_CLASS(TStream, &TObject::ClassRecord)
OV_IMPLEMENT_CLASS(TMemoryStream, &TStream::ClassRecord)
OV_IMPLEMENT_CLASS(TStringList, &TObject::ClassRecord)

int64_t TStream::GetSize() {
  const int64_t LPosition = Seek(0, TSeekOrigin::soCurrent);
  const int64_t LSize = Seek(0, TSeekOrigin::soEnd);
  Seek(LPosition, TSeekOrigin::soBeginning);
  return LSize;
}

TMemoryStream::~TMemoryStream() { std::free(FMemory); }

void TMemoryStream::Grow(size_t AMinCapacity) {
  const size_t LCapacity = std::max<size_t>({AMinCapacity, FCapacity + FCapacity / 2, 256});
  auto* LMemory = static_cast<unsigned char*>(std::realloc(FMemory, LCapacity));
  if (!LMemory) throw std::bad_alloc();
  FMemory = LMemory;
  FCapacity = LCapacity;
}

int32_t TMemoryStream::Read(void* ABuffer, int32_t ACount) {
  if (ACount <= 0 || FPosition >= FSize) return 0;
  const size_t N = std::min<size_t>(ACount, FSize - FPosition);
  std::memcpy(ABuffer, FMemory + FPosition, N);
  FPosition += N;
  return static_cast<int32_t>(N);
}

int32_t TMemoryStream::Write(const void* ABuffer, int32_t ACount) {
  if (ACount <= 0) return 0;
  const size_t LEnd = FPosition + ACount;
  if (LEnd > FCapacity) Grow(LEnd);
  if (FPosition > FSize) std::memset(FMemory + FSize, 0, FPosition - FSize);  // the gap of a seek past the end
  std::memcpy(FMemory + FPosition, ABuffer, ACount);
  FPosition = LEnd;
  FSize = std::max(FSize, LEnd);
  return ACount;
}

int64_t TMemoryStream::Seek(int64_t AOffset, TSeekOrigin AOrigin) {
  int64_t LBase = 0;
  if (AOrigin == TSeekOrigin::soCurrent) LBase = static_cast<int64_t>(FPosition);
  else if (AOrigin == TSeekOrigin::soEnd) LBase = static_cast<int64_t>(FSize);
  const int64_t LNew = LBase + AOffset;
  FPosition = LNew < 0 ? 0 : static_cast<size_t>(LNew);
  return static_cast<int64_t>(FPosition);
}

void TMemoryStream::SetSize(int64_t ANewSize) {
  const size_t LSize = ANewSize < 0 ? 0 : static_cast<size_t>(ANewSize);
  if (LSize > FCapacity) Grow(LSize);
  if (LSize > FSize) std::memset(FMemory + FSize, 0, LSize - FSize);
  FSize = LSize;
  FPosition = std::min(FPosition, FSize);
}

void TMemoryStream::Clear() noexcept {
  FSize = 0;
  FPosition = 0;
}

int32_t TStringList::Add(const UnicodeString& S) {
  FItems.push_back(S);
  return Count() - 1;
}

void TStringList::Delete(int32_t AIndex) {
  if (AIndex < 0 || AIndex >= Count()) throw Exception(L"List index out of bounds (" + IntToStr(AIndex) + L")");
  FItems.erase(FItems.begin() + AIndex);
}

int32_t TStringList::IndexOf(const UnicodeString& S) const {
  for (int32_t I = 0; I < Count(); ++I)
    if (CaseSensitive ? FItems[I] == S : SameText(FItems[I], S)) return I;
  return -1;
}

}  // namespace Ostravane::Rtl
