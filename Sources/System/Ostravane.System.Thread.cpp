// TThread on pooled workers.
#include "Ostravane.System.Thread.h"

#include <objbase.h>

#include <algorithm>

#include "Ostravane.Rtl.Handles.h"
#include "Ostravane.Rtl.SyncObjs.h"
#include "Ostravane.System.SysUtils.h"

namespace Ostravane {

// Rtl has a TThread too (the base of the workers): take its names one by one.
using Rtl::Abort;
using Rtl::CheckSynchronize;
using Rtl::EAbort;
using Rtl::Exception;
using Rtl::EThread;
using Rtl::ExtractFileName;
using Rtl::Format;
using Rtl::GetModuleName;
using Rtl::HInstance;
using Rtl::IntToHex;
using Rtl::IntToStr;
using Rtl::MainInstance;
using Rtl::MainThreadID;
using Rtl::SameText;
using Rtl::ShowException;
using Rtl::SyncEvent;
using Rtl::SysErrorMessage;
using Rtl::TCriticalSection;
using Rtl::TCSGuard;
using Rtl::THandleOwner;
using Rtl::TThreadMethod;
using Rtl::TThreadProcedure;

OV_IMPLEMENT_CLASS(TThread, &Rtl::TObject::ClassRecord)

TCriticalSection TThread::FCSThreadPool;

namespace {
constexpr int32_t C_POOL_SIZE = 50;
constexpr wchar_t C_FATAL_EXCEPTION[] = L"Fatal exception in thread";

// The system's priority of each of the runtime's.
constexpr int C_PRIORITIES[] = {THREAD_PRIORITY_IDLE,         THREAD_PRIORITY_LOWEST,  THREAD_PRIORITY_BELOW_NORMAL,
                                THREAD_PRIORITY_NORMAL,       THREAD_PRIORITY_ABOVE_NORMAL, THREAD_PRIORITY_HIGHEST,
                                THREAD_PRIORITY_TIME_CRITICAL};
}  // namespace

// A worker: an operating-system thread that serves one TThread after another. It sleeps on its start
// signal between runs.
class TThread::TInternalThread : public Rtl::TThread {
 public:
  TInternalThread()
      : FResumeEvent(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
        FDoneSemaphore(CreateSemaphoreW(nullptr, 0, 0x7FFFFFFF, nullptr)) {
    if (!FResumeEvent || !FDoneSemaphore) {
      const DWORD LError = GetLastError();
      if (FResumeEvent) CloseHandle(FResumeEvent);
      if (FDoneSemaphore) CloseHandle(FDoneSemaphore);
      SysUtils::RaiseLastOSError(static_cast<int32_t>(LError), L"");
    }
    Start();
  }
  ~TInternalThread() override {
    CloseHandle(FResumeEvent);
    CloseHandle(FDoneSemaphore);
  }

  HANDLE FResumeEvent;    // the start signal
  HANDLE FDoneSemaphore;  // one permit for each waiter when the owner's run is over
  std::atomic<int32_t> FWaiters{0};
  std::atomic<bool> FPriorityChanged{false};
  Ostravane::TThread* FOwner = nullptr;

 protected:
  void TerminatedSet() override { SetEvent(FResumeEvent); }

  void Execute() override {
    while (!Terminated()) {
      WaitForSingleObject(FResumeEvent, INFINITE);
      if (Terminated()) break;
      try {
        Ostravane::TThread* LOwner = FOwner;
        if (!LOwner) continue;
        if (!LOwner->FFinished && !LOwner->FTerminated) {
          try {
            LOwner->Execute();
          } catch (...) {
            LOwner->FFatalException = std::current_exception();
          }
        }
        if (LOwner->FFatalException) {
          try {
            std::rethrow_exception(LOwner->FFatalException);
          } catch (const Exception& E) {
            FDebugLog->LogError(TThreadLogLevel::tllError, C_FATAL_EXCEPTION, E, LOwner->ClassType());
          } catch (...) {
          }
        }
        if (LOwner->FFreeOnTerminate) {
          LOwner->InternalTerminate();
          delete LOwner;
        } else {
          LOwner->InternalTerminate();
        }
      } catch (...) {
        // The worker outlives whatever its owner does.
      }
    }
  }
};

// ---- The pool ---------------------------------------------------------------------------------------

bool TThread::IsNeedUsePool() {
  return HInstance() != MainInstance() && !SameText(ExtractFileName(GetModuleName(nullptr)), L"bds.exe");
}

void TThread::Init() {
  FDebugLog = new TDebugLog<TThreadLogLevel>(TCustomDebugLog::ExecutableLogName(), TCustomDebugLog::LibraryModuleName(), 0);
  if (!IsNeedUsePool()) return;
  TCSGuard LGuard(FCSThreadPool);
  FThreadPool = new std::vector<std::unique_ptr<TInternalThread>>();
  for (int32_t I = 0; I < C_POOL_SIZE; ++I) FThreadPool->push_back(std::make_unique<TInternalThread>());
}

void TThread::Done() {
  std::vector<std::unique_ptr<TInternalThread>>* LPool;
  {
    TCSGuard LGuard(FCSThreadPool);
    LPool = FThreadPool;
    FThreadPool = nullptr;
  }
  if (LPool) {
    FDebugLog->WriteLog(TThreadLogLevel::tllInfo, L"Thread in pool on done: %0:s. Active threads: %1:s",
                        {IntToStr(LPool->size()), IntToStr(std::count_if(LPool->begin(), LPool->end(),
                                                                          [](auto& W) { return W->FOwner; }))},
                        StaticClass());
    delete LPool;  // ends every worker and waits for it
  }
  delete FDebugLog;
  FDebugLog = nullptr;
}

TThread::TInternalThread* TThread::GetThreadPool(TThread* AThread) {
  TCSGuard LGuard(FCSThreadPool);
  TInternalThread* LWorker = nullptr;
  if (FThreadPool) {
    for (const auto& W : *FThreadPool)
      if (!W->FOwner) {
        LWorker = W.get();
        break;
      }
  }
  if (!LWorker) {
    auto LNew = std::make_unique<TInternalThread>();
    LWorker = LNew.get();
    if (FThreadPool) {
      FThreadPool->push_back(std::move(LNew));
      FDebugLog->WriteLog(TThreadLogLevel::tllInfo, L"Add new thread to pool. Handle: 0x%0:s. ID: %1:s. Count: %2:s.",
                          {IntToHex(reinterpret_cast<uintptr_t>(LWorker->Handle()), 8), IntToStr(LWorker->ThreadID()),
                           IntToStr(FThreadPool->size())},
                          StaticClass());
    } else {
      (void)LNew.release();  // a private worker: FreeThreadPool ends it
    }
  }
  LWorker->FOwner = AThread;
  AThread->FInternalThread = LWorker;
  return LWorker;
}

void TThread::FreeThreadPool(TThread* AThread, TInternalThread* AInternalThread) {
  if (!AInternalThread) return;
  TCSGuard LGuard(FCSThreadPool);
  if (AThread && AInternalThread->FOwner == AThread && AThread->FInternalThread == AInternalThread) {
    AInternalThread->FOwner = nullptr;
    AThread->FInternalThread = nullptr;
  }
  DWORD LCode = STILL_ACTIVE;
  GetExitCodeThread(AInternalThread->Handle(), &LCode);
  const bool LDead = LCode != STILL_ACTIVE;
  std::unique_ptr<TInternalThread> LGone;
  if (FThreadPool && LDead) {
    const auto LPos = std::find_if(FThreadPool->begin(), FThreadPool->end(),
                                   [&](const auto& W) { return W.get() == AInternalThread; });
    if (LPos != FThreadPool->end()) {
      FDebugLog->WriteLog(TThreadLogLevel::tllWarning, L"Remove thread from pool. Handle: 0x%0:s. ID: %1:s. Count: %2:s.",
                          {IntToHex(reinterpret_cast<uintptr_t>(AInternalThread->Handle()), 8),
                           IntToStr(AInternalThread->ThreadID()), IntToStr(FThreadPool->size())},
                          StaticClass());
      LGone = std::move(*LPos);
      FThreadPool->erase(LPos);
    }
  }
  if (!FThreadPool || LDead) {
    (void)LGone.release();  // owned by AInternalThread from here on
    if (GetCurrentThreadId() == AInternalThread->ThreadID()) {
      AInternalThread->SetFreeOnTerminate(true);
      AInternalThread->Terminate();
    } else {
      delete AInternalThread;
    }
  } else if (AInternalThread->FPriorityChanged.exchange(false)) {
    // The next owner gets a worker as a new thread would be.
    SetThreadPriority(AInternalThread->Handle(), THREAD_PRIORITY_NORMAL);
  }
}

int32_t TThread::GetActiveThreadCount() noexcept {
  TCSGuard LGuard(FCSThreadPool);
  if (!FThreadPool) return 0;
  return static_cast<int32_t>(std::count_if(FThreadPool->begin(), FThreadPool->end(), [](auto& W) { return W->FOwner; }));
}

int32_t TThread::GetPoolCount() noexcept {
  TCSGuard LGuard(FCSThreadPool);
  return FThreadPool ? static_cast<int32_t>(FThreadPool->size()) : 0;
}

// ---- A thread -----------------------------------------------------------------------------------

TThread::TThread(bool ACreateSuspended) : FCreateSuspended(ACreateSuspended), FSuspended(ACreateSuspended) {
  if (!GetThreadPool(this)) throw EThread(L"Thread creation error: " + SysErrorMessage(GetLastError()));
}

TThread::~TThread() {
  FreeThreadPool(this, FInternalThread);
  if (const HANDLE LEvent = FResumeEvent.load()) CloseHandle(LEvent);
}

HANDLE TThread::EnsureResumeEvent() {
  HANDLE LEvent = FResumeEvent.load();
  if (LEvent) return LEvent;
  HANDLE LNew = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  CheckThreadError(LNew != nullptr);
  if (FResumeEvent.compare_exchange_strong(LEvent, LNew)) return LNew;
  CloseHandle(LNew);  // another thread made it first
  return LEvent;
}

HANDLE TThread::ResumeEvent() { return EnsureResumeEvent(); }

void TThread::operator delete(TThread* AThread, std::destroying_delete_t) {
  // The whole object, with its Execute, still exists while the run is ended and awaited.
  AThread->FFreeOnTerminate = false;
  try {
    AThread->CheckTerminateAndWait();
  } catch (...) {
  }
  void* LMostDerived = dynamic_cast<void*>(AThread);
  AThread->~TThread();
  ::operator delete(LMostDerived);
}

TThread* TThread::Started(std::unique_ptr<TThread> AThread, int32_t ACoFlag) {
  AThread->FCoFlag = ACoFlag;
  AThread->AfterConstruction();
  return AThread.release();
}

TThread* TThread::CreateWith(TProcThread AProc1, TProc AProc2, bool ACreateSuspended, int32_t ACoFlag) {
  std::unique_ptr<TThread> LThread(new TThread(ACreateSuspended));
  LThread->FExecProcAnonim1 = std::move(AProc1);
  LThread->FExecProcAnonim2 = std::move(AProc2);
  return Started(std::move(LThread), ACoFlag);
}

TThread* TThread::Create(TExecProcObject AProc, bool ACreateSuspended, int32_t ACoFlag) {
  std::unique_ptr<TThread> LThread(new TThread(ACreateSuspended));
  LThread->FExecProcObject = AProc;
  return Started(std::move(LThread), ACoFlag);
}

TThread* TThread::Create(TExecProcClass AProc, bool ACreateSuspended, int32_t ACoFlag) {
  std::unique_ptr<TThread> LThread(new TThread(ACreateSuspended));
  LThread->FExecProcClass = AProc;
  return Started(std::move(LThread), ACoFlag);
}

void TThread::AfterConstruction() {
  if (!FCreateSuspended) Start();
}

void TThread::Start() {
  if (!FInternalThread || FFinished || FTerminated) return;
  if (FInternalThread->Suspended()) FInternalThread->Start();
  FSuspended = false;
  FTerminated = false;
  SetEvent(FInternalThread->FResumeEvent);
}

void TThread::Terminate() {
  if (FFinished || FTerminated) return;
  // The flag first, the event after: a sleeper makes the event before it looks at the flag, so one
  // of the two sides sees the other.
  FTerminated = true;
  if (const HANDLE LEvent = FResumeEvent.load()) SetEvent(LEvent);  // breaks off a SleepBy
  TerminatedSet();
}

int32_t TThread::WaitFor() {
  TInternalThread* LWorker = FInternalThread;
  if (!LWorker || FFinished) return FReturnValue;
  // Counted first, the flag read after; the worker sets the flag first and reads the count after.
  ++LWorker->FWaiters;
  HANDLE LObjects[3] = {LWorker->FDoneSemaphore, LWorker->Handle(), SyncEvent()};
  const bool LLoadingThread = GetCurrentThreadId() == MainThreadID() && LObjects[2];
  DWORD LResult = WAIT_TIMEOUT;
  while (!FFinished) {
    if (!LLoadingThread) {
      LResult = WaitForMultipleObjects(2, LObjects, FALSE, INFINITE);
    } else {
      // The loading thread serves a worker that waits in Synchronize, and messages sent to it.
      if (LResult == WAIT_OBJECT_0 + 3) {
        MSG LMsg;
        PeekMessageW(&LMsg, nullptr, 0, 0, PM_NOREMOVE);
      }
      LResult = MsgWaitForMultipleObjects(3, LObjects, FALSE, 1000, QS_SENDMESSAGE);
      if (LResult == WAIT_OBJECT_0 + 2) CheckSynchronize(0);
    }
    // A permit left by an earlier owner's waiter only costs one more round.
    if (LResult == WAIT_OBJECT_0 + 1 || LResult == WAIT_FAILED) break;
  }
  --LWorker->FWaiters;
  CheckThreadError(LResult != WAIT_FAILED);
  if (LResult == WAIT_OBJECT_0 + 1) {
    // The worker's thread itself has ended.
    DWORD LCode = 0;
    GetExitCodeThread(LWorker->Handle(), &LCode);
    FReturnValue = static_cast<int32_t>(LCode);
  }
  return FReturnValue;
}

void TThread::SleepBy(uint32_t ATimeout) {
  const HANDLE LEvent = EnsureResumeEvent();
  // A terminated thread doesn't sleep again: Terminate's signal wakes one sleep only.
  if (!FTerminated) WaitForSingleObject(LEvent, ATimeout);
}

void TThread::SleepByAndCheck(uint32_t ATimeout) {
  SleepBy(ATimeout);
  if (FTerminated) Abort();
}

void TThread::CheckTerminateAndWait() {
  if (FSuspended) return;
  if (!FFinished) Terminate();
  // From its own run a thread can only be told to end: it can't wait for itself.
  if (GetCurrentThread() == this) return;
  WaitFor();
}

void TThread::Execute() {
  const HRESULT LCoResult = FCoFlag < 0 ? CoInitialize(nullptr) : CoInitializeEx(nullptr, static_cast<DWORD>(FCoFlag));
  try {
    if (FExecProcObject) FExecProcObject(this);
    else if (FExecProcClass) FExecProcClass(this);
    else if (FExecProcAnonim1) FExecProcAnonim1(this);
    else if (FExecProcAnonim2) FExecProcAnonim2();
  } catch (const EAbort&) {
  } catch (const std::exception& E) {
    HandleException(E);
  } catch (...) {
  }
  (void)LCoResult;
  CoUninitialize();
}

void TThread::HandleException(const std::exception& AException) {
  if (dynamic_cast<const EAbort*>(&AException)) return;
  ShowException(AException, __builtin_return_address(0));
}

void TThread::InternalTerminate() {
  try {
    DoTerminate();
  } catch (const Exception& E) {
    FDebugLog->LogError(TThreadLogLevel::tllError, C_FATAL_EXCEPTION, E, ClassType());
  } catch (...) {
  }
  // The worker's own fields from here on: once the flag is up, the owner may be gone. The loading
  // thread's WaitFor waits on the semaphore itself, so the synchronisation event is left alone.
  TInternalThread* LWorker = FInternalThread;
  FFinished = true;
  if (const int32_t LWaiters = LWorker->FWaiters.load(); LWaiters > 0)
    ReleaseSemaphore(LWorker->FDoneSemaphore, LWaiters, nullptr);
}

void TThread::DoTerminate() {
  if (FOnTerminate) Synchronize(TThreadMethod(this, &TThread::CallOnTerminate));
}

void TThread::CallOnTerminate() { FOnTerminate(this); }

HANDLE TThread::Handle() const noexcept { return FInternalThread ? FInternalThread->Handle() : nullptr; }

uint32_t TThread::ThreadID() const noexcept { return FInternalThread ? FInternalThread->ThreadID() : 0; }

TThreadPriority TThread::GetPriority() const noexcept {
  if (!FInternalThread) return TThreadPriority::tpNormal;
  const int LPriority = GetThreadPriority(FInternalThread->Handle());
  const auto LPos = std::find(std::begin(C_PRIORITIES), std::end(C_PRIORITIES), LPriority);
  return LPos == std::end(C_PRIORITIES) ? TThreadPriority::tpNormal
                                        : static_cast<TThreadPriority>(LPos - std::begin(C_PRIORITIES));
}

void TThread::SetPriority(TThreadPriority AValue) noexcept {
  if (!FInternalThread) return;
  FInternalThread->FPriorityChanged = true;
  SetThreadPriority(FInternalThread->Handle(), C_PRIORITIES[static_cast<int>(AValue)]);
}

// ---- Synchronisation with the loading thread --------------------------------------------------------

Rtl::TThread* TThread::Worker(TThread* AThread) noexcept { return AThread ? AThread->FInternalThread : nullptr; }

void TThread::Synchronize(TThreadMethod AMethod) {
  if (FInternalThread) Rtl::TThread::Synchronize(FInternalThread, AMethod);
  else Synchronize(GetCurrentThread(), AMethod);
}

void TThread::Synchronize(TThreadProcedure AProc) {
  if (FInternalThread) Rtl::TThread::Synchronize(FInternalThread, std::move(AProc));
  else Synchronize(GetCurrentThread(), std::move(AProc));
}

void TThread::Queue(TThreadMethod AMethod) {
  if (FInternalThread) Rtl::TThread::Queue(FInternalThread, AMethod);
  else Queue(GetCurrentThread(), AMethod);
}

void TThread::Queue(TThreadProcedure AProc) {
  if (FInternalThread) Rtl::TThread::Queue(FInternalThread, std::move(AProc));
  else Queue(GetCurrentThread(), std::move(AProc));
}

void TThread::Synchronize(TThread* AThread, TThreadMethod AMethod) { Rtl::TThread::Synchronize(Worker(AThread), AMethod); }

void TThread::Synchronize(TThread* AThread, TThreadProcedure AProc) {
  Rtl::TThread::Synchronize(Worker(AThread), std::move(AProc));
}

void TThread::Queue(TThread* AThread, TThreadMethod AMethod) { Rtl::TThread::Queue(Worker(AThread), AMethod); }

void TThread::Queue(TThread* AThread, TThreadProcedure AProc) { Rtl::TThread::Queue(Worker(AThread), std::move(AProc)); }

void TThread::RemoveQueuedEvents(TThread* AThread, TThreadMethod AMethod) {
  Rtl::TThread::RemoveQueuedEvents(Worker(AThread), AMethod);
}

void TThread::RemoveQueuedEvents(TThread* AThread) { Rtl::TThread::RemoveQueuedEvents(Worker(AThread)); }

void TThread::RemoveQueuedEvents(TThreadMethod AMethod) { Rtl::TThread::RemoveQueuedEvents(AMethod); }

TThread* TThread::GetCurrentThread() noexcept {
  auto* LWorker = dynamic_cast<TInternalThread*>(Rtl::TThread::CurrentThread());
  return LWorker ? LWorker->FOwner : nullptr;
}

uint32_t TThread::GetProcessorCount() noexcept {
  SYSTEM_INFO LInfo;
  GetSystemInfo(&LInfo);
  return LInfo.dwNumberOfProcessors;
}

void TThread::NameThreadForDebugging(const UnicodeString& AName, uint32_t AThreadID) {
  using TSetThreadDescription = HRESULT(WINAPI*)(HANDLE, PCWSTR);
  const auto LSet = reinterpret_cast<TSetThreadDescription>(
      reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "SetThreadDescription")));
  if (!LSet) return;  // older systems have no thread names
  const DWORD LId = AThreadID == 0xFFFFFFFF ? GetCurrentThreadId() : AThreadID;
  THandleOwner LThread(OpenThread(THREAD_SET_LIMITED_INFORMATION, FALSE, LId));
  if (LThread) LSet(LThread.get(), AName.c_str());
}

void TThread::CheckThreadError(uint32_t AErrorCode) {
  if (AErrorCode != 0)
    throw EThread(Format(L"Thread Error: %s (%d)", {SysErrorMessage(AErrorCode), AErrorCode}));
}

void TThread::CheckThreadError(bool ASuccess) {
  if (!ASuccess) CheckThreadError(static_cast<uint32_t>(GetLastError()));
}

}  // namespace Ostravane
