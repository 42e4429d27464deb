// One owner for every kind of system handle: the kind says what is invalid and how it is closed.
// Owners are move-only; closing keeps the thread's last error, so a failure's code survives the
// clean-up on its way into an exception.
#pragma once
#include "Ostravane.Rtl.System.h"

namespace Ostravane::Rtl {

template <typename TTraits>
class TUniqueHandle {
 public:
  using TType = typename TTraits::TType;

  TUniqueHandle() noexcept = default;
  explicit TUniqueHandle(TType AHandle) noexcept : FHandle(AHandle) {}
  TUniqueHandle(TUniqueHandle&& AOther) noexcept : FHandle(AOther.release()) {}
  TUniqueHandle& operator=(TUniqueHandle&& AOther) noexcept {
    if (this != &AOther) reset(AOther.release());
    return *this;
  }
  TUniqueHandle(const TUniqueHandle&) = delete;
  TUniqueHandle& operator=(const TUniqueHandle&) = delete;
  ~TUniqueHandle() { reset(); }

  TType get() const noexcept { return FHandle; }
  bool is_valid() const noexcept { return TTraits::IsValid(FHandle); }
  explicit operator bool() const noexcept { return is_valid(); }

  void reset(TType AHandle = TTraits::Invalid()) noexcept {
    if (TTraits::IsValid(FHandle)) {
      const DWORD LLastError = GetLastError();
      TTraits::Close(FHandle);
      SetLastError(LLastError);
    }
    FHandle = AHandle;
  }
  [[nodiscard]] TType release() noexcept {
    TType LHandle = FHandle;
    FHandle = TTraits::Invalid();
    return LHandle;
  }

 private:
  TType FHandle = TTraits::Invalid();
};

// Handles whose failure value is 0 (events, threads, processes, snapshots of most kinds).
struct TKernelHandleTraits {
  using TType = HANDLE;
  static TType Invalid() noexcept { return nullptr; }
  static bool IsValid(TType H) noexcept { return H != nullptr && H != INVALID_HANDLE_VALUE; }
  static void Close(TType H) noexcept { CloseHandle(H); }
};

// Handles whose failure value is INVALID_HANDLE_VALUE (files, tool-help snapshots).
struct TFileHandleTraits {
  using TType = HANDLE;
  static TType Invalid() noexcept { return INVALID_HANDLE_VALUE; }
  static bool IsValid(TType H) noexcept { return H != nullptr && H != INVALID_HANDLE_VALUE; }
  static void Close(TType H) noexcept { CloseHandle(H); }
};

struct TFindHandleTraits {
  using TType = HANDLE;
  static TType Invalid() noexcept { return INVALID_HANDLE_VALUE; }
  static bool IsValid(TType H) noexcept { return H != nullptr && H != INVALID_HANDLE_VALUE; }
  static void Close(TType H) noexcept { FindClose(H); }
};

// Memory the system allocated for the caller with LocalAlloc (FormatMessageW and kin).
struct TLocalMemTraits {
  using TType = HLOCAL;
  static TType Invalid() noexcept { return nullptr; }
  static bool IsValid(TType H) noexcept { return H != nullptr; }
  static void Close(TType H) noexcept { LocalFree(H); }
};

// Registry keys (RegOpenKeyExW, RegCreateKeyExW).
struct TRegKeyTraits {
  using TType = HKEY;
  static TType Invalid() noexcept { return nullptr; }
  static bool IsValid(TType H) noexcept { return H != nullptr; }
  static void Close(TType H) noexcept { RegCloseKey(H); }
};

using THandleOwner = TUniqueHandle<TKernelHandleTraits>;
using TFileHandleOwner = TUniqueHandle<TFileHandleTraits>;
using TFindHandleOwner = TUniqueHandle<TFindHandleTraits>;
using TLocalMemOwner = TUniqueHandle<TLocalMemTraits>;
using TRegKeyOwner = TUniqueHandle<TRegKeyTraits>;

}  // namespace Ostravane::Rtl
