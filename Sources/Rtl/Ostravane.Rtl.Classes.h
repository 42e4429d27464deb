// The runtime's classes the library calls: byte streams, string lists, and the thread base with
// its synchronisation with the loading thread.
#pragma once
#include <atomic>
#include <functional>
#include <new>
#include <vector>

#include "Ostravane.Rtl.SysUtils.h"
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

// Failures of streams; a file that can't be opened or made raises EFOpenError or EFCreateError,
// with the system's text of the reason.
OV_DECLARE_EXCEPTION(EStreamError, Exception)
OV_DECLARE_EXCEPTION(EFOpenError, EStreamError)
OV_DECLARE_EXCEPTION(EFCreateError, EStreamError)

// The runtime's file modes: an access in the low bits, a sharing mode in the next four.
constexpr uint16_t fmCreate = 0xFF00;
constexpr uint16_t fmOpenRead = 0x0000;
constexpr uint16_t fmOpenWrite = 0x0001;
constexpr uint16_t fmOpenReadWrite = 0x0002;
constexpr uint16_t fmShareExclusive = 0x0010;
constexpr uint16_t fmShareDenyWrite = 0x0020;
constexpr uint16_t fmShareDenyNone = 0x0040;

// A file as a stream. fmCreate makes the file anew (or empties it) for reading and writing; the
// other modes open an existing file. Raises EFOpenError / EFCreateError when the system refuses.
// Read and Write answer the bytes moved; Write raises nothing, the count tells a short write.
class OVRTL_API TFileStream : public TStream {
  OV_OBJECT_CLASS
 public:
  TFileStream(const UnicodeString& AFileName, uint16_t AMode);
  ~TFileStream() override;
  TFileStream(const TFileStream&) = delete;
  TFileStream& operator=(const TFileStream&) = delete;

  int32_t Read(void* ABuffer, int32_t ACount) override;
  int32_t Write(const void* ABuffer, int32_t ACount) override;
  int64_t Seek(int64_t AOffset, TSeekOrigin AOrigin) override;
  // Raises EStreamError when the system can't set the end of the file.
  void SetSize(int64_t ANewSize) override;
  HANDLE Handle() const noexcept { return FHandle; }
  const UnicodeString& FileName() const noexcept { return FFileName; }

 private:
  HANDLE FHandle;
  UnicodeString FFileName;
};

// An ordered list of strings. IndexOf compares without regard to case unless CaseSensitive is set.
class OVRTL_API TStringList : public TObject {
  OV_OBJECT_CLASS
 public:
  int32_t Add(const UnicodeString& S);
  void Delete(int32_t AIndex);
  void Clear() noexcept { FItems.clear(); }
  int32_t Count() const noexcept { return static_cast<int32_t>(FItems.size()); }
  // Room for ACapacity strings, so that a list filled to a known count allocates once.
  void SetCapacity(int32_t ACapacity) { FItems.reserve(ACapacity > 0 ? static_cast<size_t>(ACapacity) : 0); }
  int32_t IndexOf(const UnicodeString& S) const;
  const UnicodeString& operator[](int32_t AIndex) const { return FItems.at(AIndex); }
  UnicodeString& operator[](int32_t AIndex) { return FItems.at(AIndex); }

  bool CaseSensitive = false;

 private:
  std::vector<UnicodeString> FItems;
};

// ---- Threads ------------------------------------------------------------------------------------

using TThreadMethod = TMethod<void()>;
using TThreadProcedure = std::function<void()>;

// An operating-system thread behind an object. It is made suspended, so that it can't run before the
// object is complete: Start runs it. Deleting the object (always made with new) terminates the
// thread, starts it if it never ran, and waits for it, while the whole object still exists; from
// the thread itself it only lets go.
//
// Synchronize and Queue hand work to the loading thread, the one that started the library. It
// serves them from its message loop (a plain GetMessageW/DispatchMessageW loop will do) and from
// WaitFor.
class OVRTL_API TThread : public TObject {
  OV_OBJECT_CLASS
 public:
  TThread();
  ~TThread() override;
  TThread(const TThread&) = delete;
  TThread& operator=(const TThread&) = delete;
  void operator delete(TThread* AThread, std::destroying_delete_t);

  void Start();
  void Terminate();
  // The thread's exit code once it has ended. On the loading thread, Synchronize and Queue calls
  // are served meanwhile. Raises EThread when the wait fails.
  uint32_t WaitFor();

  HANDLE Handle() const noexcept { return FHandle; }
  uint32_t ThreadID() const noexcept { return FThreadID; }
  bool Terminated() const noexcept { return FTerminated.load(); }
  bool Suspended() const noexcept { return FSuspended.load(); }
  bool Finished() const noexcept { return FFinished.load(); }
  bool GetFreeOnTerminate() const noexcept { return FFreeOnTerminate.load(); }
  void SetFreeOnTerminate(bool AValue) noexcept { FFreeOnTerminate = AValue; }
  int32_t GetReturnValue() const noexcept { return FReturnValue; }
  void SetReturnValue(int32_t AValue) noexcept { FReturnValue = AValue; }

  // The TThread object of the calling thread; nullptr for a thread made otherwise.
  static TThread* CurrentThread() noexcept;

  // Runs AMethod on the loading thread and waits for it; its exception comes back here. Called on
  // the loading thread, it runs at once.
  static void Synchronize(TThread* AThread, TThreadMethod AMethod);
  static void Synchronize(TThread* AThread, TThreadProcedure AProc);
  // Runs AMethod on the loading thread later, without waiting. On the loading thread it runs at once.
  static void Queue(TThread* AThread, TThreadMethod AMethod);
  static void Queue(TThread* AThread, TThreadProcedure AProc);
  // Takes queued, not yet run calls away: of a thread and a method, of a thread, or of a method.
  static void RemoveQueuedEvents(TThread* AThread, TThreadMethod AMethod);
  static void RemoveQueuedEvents(TThread* AThread);
  static void RemoveQueuedEvents(TThreadMethod AMethod);

 protected:
  virtual void Execute() = 0;
  // Called by Terminate; a thread that sleeps on an object of its own wakes it here.
  virtual void TerminatedSet() {}

 private:
  static unsigned __stdcall ThreadProc(void* AParameter);
  // Terminates, starts a thread that never ran, and waits: the first step of every end.
  void StopAndWait();

  HANDLE FHandle = nullptr;
  uint32_t FThreadID = 0;
  std::atomic<bool> FTerminated{false};
  std::atomic<bool> FSuspended{true};
  std::atomic<bool> FFinished{false};
  std::atomic<bool> FFreeOnTerminate{false};
  int32_t FReturnValue = 0;
};

// The loading thread, and the event that is set when work waits for it.
OVRTL_API uint32_t MainThreadID() noexcept;
OVRTL_API HANDLE SyncEvent() noexcept;
// Runs the Synchronize and Queue calls that wait, after waiting up to ATimeout ms for one to come;
// true when one ran. Only the loading thread may call it (EThread otherwise).
OVRTL_API bool CheckSynchronize(uint32_t ATimeout = 0);
// Start and stop of the synchronisation: the calling thread becomes the loading thread, and a
// message-only window of its own wakes its message loop when work waits.
OVRTL_API void InitThreadSynchronization();
OVRTL_API void DoneThreadSynchronization();

}  // namespace Ostravane::Rtl
