// Byte streams, string lists, and the thread base with its synchronisation.
#include "Ostravane.Rtl.Classes.h"

#include <process.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>

#include "Ostravane.Rtl.Handles.h"
#include "Ostravane.Rtl.SyncObjs.h"
#include "Ostravane.Rtl.SysUtils.h"

namespace Ostravane::Rtl {

OV_IMPLEMENT_CLASS(TStream, &TObject::ClassRecord)
OV_IMPLEMENT_CLASS(TMemoryStream, &TStream::ClassRecord)
OV_IMPLEMENT_CLASS(TStringList, &TObject::ClassRecord)
OV_IMPLEMENT_CLASS(EStreamError, &Exception::ClassRecord)
OV_IMPLEMENT_CLASS(EFOpenError, &EStreamError::ClassRecord)
OV_IMPLEMENT_CLASS(EFCreateError, &EStreamError::ClassRecord)
OV_IMPLEMENT_CLASS(TFileStream, &TStream::ClassRecord)

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

// ---- File streams ----------------------------------------------------------------------------

namespace {

// The runtime's messages, with the system's text of the reason behind them.
UnicodeString FileErrorText(const wchar_t* AFormat, const UnicodeString& AFileName, DWORD AError) {
  return Format(AFormat, {AFileName, SysErrorMessage(AError)});
}

}  // namespace

TFileStream::TFileStream(const UnicodeString& AFileName, uint16_t AMode) : FFileName(AFileName) {
  static const DWORD C_SHARE[] = {FILE_SHARE_READ | FILE_SHARE_WRITE, 0, FILE_SHARE_READ, FILE_SHARE_WRITE,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE};
  const uint32_t LShareIndex = (AMode & 0xF0) >> 4;
  const DWORD LShare = LShareIndex < 5 ? C_SHARE[LShareIndex] : 0;
  if ((AMode & fmCreate) == fmCreate) {
    FHandle = CreateFileW(AFileName.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                          FILE_ATTRIBUTE_NORMAL, nullptr);
    if (FHandle == INVALID_HANDLE_VALUE)
      throw EFCreateError(FileErrorText(L"Cannot create file \"%s\". %s", AFileName, GetLastError()));
    return;
  }
  static const DWORD C_ACCESS[] = {GENERIC_READ, GENERIC_WRITE, GENERIC_READ | GENERIC_WRITE};
  const uint32_t LAccessIndex = AMode & 3;
  FHandle = CreateFileW(AFileName.c_str(), LAccessIndex < 3 ? C_ACCESS[LAccessIndex] : GENERIC_READ, LShare,
                        nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (FHandle == INVALID_HANDLE_VALUE)
    throw EFOpenError(FileErrorText(L"Cannot open file \"%s\". %s", AFileName, GetLastError()));
}

TFileStream::~TFileStream() { CloseHandle(FHandle); }

int32_t TFileStream::Read(void* ABuffer, int32_t ACount) {
  DWORD LRead = 0;
  if (ACount <= 0 || !ReadFile(FHandle, ABuffer, static_cast<DWORD>(ACount), &LRead, nullptr)) return 0;
  return static_cast<int32_t>(LRead);
}

int32_t TFileStream::Write(const void* ABuffer, int32_t ACount) {
  DWORD LWritten = 0;
  if (ACount <= 0 || !WriteFile(FHandle, ABuffer, static_cast<DWORD>(ACount), &LWritten, nullptr)) return 0;
  return static_cast<int32_t>(LWritten);
}

int64_t TFileStream::Seek(int64_t AOffset, TSeekOrigin AOrigin) {
  static const DWORD C_METHOD[] = {FILE_BEGIN, FILE_CURRENT, FILE_END};
  LARGE_INTEGER LDistance, LNew;
  LDistance.QuadPart = AOffset;
  if (!SetFilePointerEx(FHandle, LDistance, &LNew, C_METHOD[static_cast<int>(AOrigin)])) return -1;
  return LNew.QuadPart;
}

void TFileStream::SetSize(int64_t ANewSize) {
  const int64_t LPosition = GetPosition();
  if (Seek(ANewSize, TSeekOrigin::soBeginning) != ANewSize || !SetEndOfFile(FHandle))
    throw EStreamError(L"Stream write error");
  if (LPosition < ANewSize) SetPosition(LPosition);
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

// ---- Threads ------------------------------------------------------------------------------------

namespace Ostravane::Rtl {

OV_IMPLEMENT_CLASS(TThread, &TObject::ClassRecord)

namespace {

// A call waiting for the loading thread. A synchronous one has the event its caller waits on.
struct TSyncItem {
  TThread* Thread = nullptr;
  TThreadMethod Method;
  TThreadProcedure Proc;
  HANDLE Done = nullptr;
  std::exception_ptr Error;

  void Run() const {
    if (Method) Method();
    else if (Proc) Proc();
  }
};

TCriticalSection GSyncLock;
std::vector<std::shared_ptr<TSyncItem>> GSyncList;
std::atomic<DWORD> GMainThreadID{0};
HANDLE GSyncEvent = nullptr;  // manual reset: set while calls wait
HWND GSyncWindow = nullptr;
constexpr UINT C_WM_SYNC = WM_APP + 0x51;
constexpr wchar_t C_SYNC_WINDOW_CLASS[] = L"OstravaneSyncWindow";
thread_local TThread* GCurrentThread = nullptr;

LRESULT CALLBACK SyncWindowProc(HWND AWnd, UINT AMsg, WPARAM AWParam, LPARAM ALParam) {
  if (AMsg != C_WM_SYNC) return DefWindowProcW(AWnd, AMsg, AWParam, ALParam);
  try {
    CheckSynchronize(0);
  } catch (const std::exception& E) {
    // A queued call's exception can't unwind through the message loop: it is shown instead.
    ShowException(E, reinterpret_cast<const void*>(&SyncWindowProc));
  } catch (...) {
  }
  return 0;
}

bool OnLoadingThread() noexcept { return GetCurrentThreadId() == GMainThreadID.load(); }

void Enqueue(const std::shared_ptr<TSyncItem>& AItem) {
  {
    TCSGuard LGuard(GSyncLock);
    GSyncList.push_back(AItem);
    SetEvent(GSyncEvent);
  }
  PostMessageW(GSyncWindow, C_WM_SYNC, 0, 0);
}

// Without a loading thread (the library not started) there is nobody to hand the call to.
bool CanHandOver() noexcept { return GMainThreadID.load() != 0 && !OnLoadingThread(); }

std::shared_ptr<TSyncItem> NewSyncItem(TThread* AThread, TThreadMethod AMethod, TThreadProcedure AProc) {
  auto LItem = std::make_shared<TSyncItem>();
  LItem->Thread = AThread;
  LItem->Method = AMethod;
  LItem->Proc = std::move(AProc);
  return LItem;
}

void SynchronizeItem(const std::shared_ptr<TSyncItem>& AItem) {
  if (!CanHandOver()) {
    AItem->Run();
    return;
  }
  THandleOwner LDone(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (!LDone) throw EThread(L"Can't create an event for Synchronize: " + SysErrorMessage(GetLastError()));
  AItem->Done = LDone.get();
  Enqueue(AItem);
  WaitForSingleObject(LDone.get(), INFINITE);
  if (AItem->Error) std::rethrow_exception(AItem->Error);
}

void QueueItem(const std::shared_ptr<TSyncItem>& AItem) {
  if (!CanHandOver()) AItem->Run();
  else Enqueue(AItem);
}

template <typename TMatch>
void RemoveQueued(TMatch AMatch) {
  TCSGuard LGuard(GSyncLock);
  std::erase_if(GSyncList, [&](const std::shared_ptr<TSyncItem>& I) { return !I->Done && AMatch(*I); });
}

}  // namespace

uint32_t MainThreadID() noexcept { return GMainThreadID.load(); }

HANDLE SyncEvent() noexcept { return GSyncEvent; }

void InitThreadSynchronization() {
  GMainThreadID = GetCurrentThreadId();
  GSyncEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  WNDCLASSW LClass{};
  if (!GetClassInfoW(HInstance(), C_SYNC_WINDOW_CLASS, &LClass)) {
    LClass.lpfnWndProc = &SyncWindowProc;
    LClass.hInstance = HInstance();
    LClass.lpszClassName = C_SYNC_WINDOW_CLASS;
    RegisterClassW(&LClass);
  }
  // Message-only: it only has to be reached by PostMessageW, never by a broadcast.
  GSyncWindow = CreateWindowExW(0, C_SYNC_WINDOW_CLASS, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, HInstance(), nullptr);
  if (!GSyncEvent || !GSyncWindow) throw EThread(L"Can't set up thread synchronisation: " + SysErrorMessage(GetLastError()));
}

void DoneThreadSynchronization() {
  if (GSyncWindow) DestroyWindow(GSyncWindow);
  GSyncWindow = nullptr;
  {
    TCSGuard LGuard(GSyncLock);
    GSyncList.clear();
  }
  if (GSyncEvent) CloseHandle(GSyncEvent);
  GSyncEvent = nullptr;
  GMainThreadID = 0;
}

bool CheckSynchronize(uint32_t ATimeout) {
  if (!OnLoadingThread())
    throw EThread(Format(L"CheckSynchronize called from thread $%x, which is NOT the main thread", {GetCurrentThreadId()}));
  if (!GSyncEvent || WaitForSingleObject(GSyncEvent, ATimeout) != WAIT_OBJECT_0) return false;
  std::vector<std::shared_ptr<TSyncItem>> LItems;
  {
    TCSGuard LGuard(GSyncLock);
    ResetEvent(GSyncEvent);
    LItems.swap(GSyncList);
  }
  std::exception_ptr LFirstError;
  for (const std::shared_ptr<TSyncItem>& LItem : LItems) {
    try {
      LItem->Run();
    } catch (...) {
      // A synchronous call's exception goes back to its caller; a queued one's comes out here,
      // after the other calls have run.
      if (LItem->Done) LItem->Error = std::current_exception();
      else if (!LFirstError) LFirstError = std::current_exception();
    }
    if (LItem->Done) SetEvent(LItem->Done);
  }
  if (LFirstError) std::rethrow_exception(LFirstError);
  return !LItems.empty();
}

TThread::TThread() {
  unsigned LThreadID = 0;
  FHandle = reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, &ThreadProc, this, CREATE_SUSPENDED, &LThreadID));
  if (!FHandle) throw EThread(L"Thread creation error: " + SysErrorMessage(GetLastError()));
  FThreadID = LThreadID;
}

TThread::~TThread() {
  if (FHandle) CloseHandle(FHandle);
}

void TThread::operator delete(TThread* AThread, std::destroying_delete_t) {
  try {
    AThread->StopAndWait();
  } catch (...) {
  }
  void* LMostDerived = dynamic_cast<void*>(AThread);
  AThread->~TThread();
  ::operator delete(LMostDerived);
}

unsigned __stdcall TThread::ThreadProc(void* AParameter) {
  auto* LThread = static_cast<TThread*>(AParameter);
  GCurrentThread = LThread;
  if (!LThread->Terminated()) {
    try {
      LThread->Execute();
    } catch (...) {
      // An Execute that lets an exception out ends its thread; the derived class keeps what it wants.
    }
  }
  const unsigned LResult = static_cast<unsigned>(LThread->FReturnValue);
  const bool LFree = LThread->FFreeOnTerminate;
  LThread->FFinished = true;
  if (LFree) delete LThread;
  return LResult;
}

void TThread::Start() {
  if (FSuspended.exchange(false)) ResumeThread(FHandle);
}

void TThread::Terminate() {
  FTerminated = true;
  TerminatedSet();
}

uint32_t TThread::WaitFor() {
  if (OnLoadingThread() && GSyncEvent) {
    const HANDLE LObjects[2] = {FHandle, GSyncEvent};
    for (DWORD LResult = 0;;) {
      if (LResult == WAIT_OBJECT_0 + 2) {
        MSG LMsg;
        PeekMessageW(&LMsg, nullptr, 0, 0, PM_NOREMOVE);  // serves messages sent to this thread
      }
      LResult = MsgWaitForMultipleObjects(2, LObjects, FALSE, 1000, QS_SENDMESSAGE);
      if (LResult == WAIT_OBJECT_0) break;
      if (LResult == WAIT_FAILED) throw EThread(L"Thread error: " + SysErrorMessage(GetLastError()));
      if (LResult == WAIT_OBJECT_0 + 1) CheckSynchronize(0);
    }
  } else if (WaitForSingleObject(FHandle, INFINITE) == WAIT_FAILED) {
    throw EThread(L"Thread error: " + SysErrorMessage(GetLastError()));
  }
  DWORD LCode = 0;
  GetExitCodeThread(FHandle, &LCode);
  return LCode;
}

void TThread::StopAndWait() {
  if (!FHandle || GetCurrentThreadId() == FThreadID) return;
  if (FFinished.load() && WaitForSingleObject(FHandle, 0) == WAIT_OBJECT_0) return;
  Terminate();
  Start();
  WaitFor();
}

TThread* TThread::CurrentThread() noexcept { return GCurrentThread; }

void TThread::Synchronize(TThread* AThread, TThreadMethod AMethod) { SynchronizeItem(NewSyncItem(AThread, AMethod, {})); }

void TThread::Synchronize(TThread* AThread, TThreadProcedure AProc) {
  SynchronizeItem(NewSyncItem(AThread, {}, std::move(AProc)));
}

void TThread::Queue(TThread* AThread, TThreadMethod AMethod) { QueueItem(NewSyncItem(AThread, AMethod, {})); }

void TThread::Queue(TThread* AThread, TThreadProcedure AProc) { QueueItem(NewSyncItem(AThread, {}, std::move(AProc))); }

void TThread::RemoveQueuedEvents(TThread* AThread, TThreadMethod AMethod) {
  RemoveQueued([&](const TSyncItem& I) { return I.Thread == AThread && I.Method && I.Method == AMethod; });
}

void TThread::RemoveQueuedEvents(TThread* AThread) {
  RemoveQueued([&](const TSyncItem& I) { return I.Thread == AThread; });
}

void TThread::RemoveQueuedEvents(TThreadMethod AMethod) {
  RemoveQueued([&](const TSyncItem& I) { return I.Method && I.Method == AMethod; });
}

}  // namespace Ostravane::Rtl
