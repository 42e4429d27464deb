// TThread: a thread object that borrows a worker from a pool for as long as it lives, so that making
// and ending one normally makes and ends no operating-system thread. It runs a virtual Execute or,
// without a subclass, one of four kinds of procedure, each under a COM apartment of its own.
//
// The pool (50 idle workers from the library's start, more on demand) is used when the library is
// a module of its own loaded by a host program, and that program is not named "bds.exe": the test
// of this DLL that stands for the runtime package's (a ".bpl" module, a registered MainInstance, a
// host other than bds.exe). A host that started the library through Initialize is registered by
// that call; a library linked into its program (HInstance() == MainInstance()) has no pool. Without
// a pool every TThread gets a private worker that ends with it; callers can't tell the difference.
//
// Lifetime: a TThread is made by Create/CreateAnonymousThread, or by New<T>() for a subclass (the
// run starts only once the whole object is built), and ended by delete. Delete terminates and waits
// while the whole object still exists; a thread with FreeOnTerminate deletes itself after its run.
#pragma once
#include <functional>
#include <memory>
#include <vector>

#include "Ostravane.Debug.Log.h"
#include "Ostravane.Rtl.Classes.h"

namespace Ostravane {

// The priorities of the runtime, 0 to 6; tpNormal is 3.
enum class TThreadPriority { tpIdle, tpLowest, tpLower, tpNormal, tpHigher, tpHighest, tpTimeCritical };

class OVRTL_API TThread : public Rtl::TObject {
  OV_OBJECT_CLASS
 public:
  enum class TThreadLogLevel { tllNone, tllError, tllWarning, tllInfo };
  using TExecProcObject = Rtl::TMethod<void(TThread*)>;
  using TExecProcClass = void (*)(TThread*);
  using TProcThread = std::function<void(TThread*)>;
  using TProc = std::function<void()>;
  using TNotifyEvent = Rtl::TMethod<void(Rtl::TObject*)>;

  // A thread of a subclass T, built with AArgs; it starts unless its constructor was told to wait.
  template <typename T, typename... A>
  static T* New(A&&... AArgs) {
    T* LThread = new T(std::forward<A>(AArgs)...);
    LThread->AfterConstruction();
    return LThread;
  }
  // A thread that runs AProc; ACoFlag is the COM apartment (negative: CoInitialize). Raises EThread
  // when no worker can be had.
  static TThread* Create(TExecProcObject AProc, bool ACreateSuspended, int32_t ACoFlag = COINIT_APARTMENTTHREADED);
  static TThread* Create(TExecProcClass AProc, bool ACreateSuspended, int32_t ACoFlag = COINIT_APARTMENTTHREADED);
  // A closure with the TThread as argument, or without argument.
  template <typename F, std::enable_if_t<std::is_invocable_v<F, TThread*> || std::is_invocable_v<F>, int> = 0>
  static TThread* Create(F&& AProc, bool ACreateSuspended, int32_t ACoFlag = COINIT_APARTMENTTHREADED) {
    if constexpr (std::is_invocable_v<F, TThread*>)
      return CreateWith(TProcThread(std::forward<F>(AProc)), nullptr, ACreateSuspended, ACoFlag);
    else
      return CreateWith(nullptr, TProc(std::forward<F>(AProc)), ACreateSuspended, ACoFlag);
  }
  // Started at once, FreeOnTerminate clear.
  template <typename F>
  static TThread* CreateAnonymousThread(F&& AProc) {
    return Create(std::forward<F>(AProc), false, COINIT_APARTMENTTHREADED);
  }

  ~TThread() override;
  TThread(const TThread&) = delete;
  TThread& operator=(const TThread&) = delete;
  void operator delete(TThread* AThread, std::destroying_delete_t);

  void Start();
  void Terminate();
  // ReturnValue once the run is over. On the loading thread, Synchronize and Queue calls and sent
  // messages are served meanwhile. Raises EThread when the wait fails.
  int32_t WaitFor();
  // Sleeps up to ATimeout ms or until Terminate; the caller looks at Terminated afterwards.
  void SleepBy(uint32_t ATimeout);
  // The same, then raises the silent EAbort if terminated: a procedure leaves from deep inside.
  void SleepByAndCheck(uint32_t ATimeout);

  // The exception that ended an overriding Execute, or null.
  std::exception_ptr FatalException() const { return FFatalException; }
  bool GetFreeOnTerminate() const noexcept { return FFreeOnTerminate; }
  void SetFreeOnTerminate(bool AValue) noexcept { FFreeOnTerminate = AValue; }
  int32_t GetReturnValue() const noexcept { return FReturnValue; }
  void SetReturnValue(int32_t AValue) noexcept { FReturnValue = AValue; }
  bool Terminated() const noexcept { return FTerminated; }
  bool Finished() const noexcept { return FFinished; }
  bool Suspended() const noexcept { return FSuspended; }
  // Those of the worker; 0 without one.
  HANDLE Handle() const noexcept;
  uint32_t ThreadID() const noexcept;
  // The worker's; tpNormal without one, and a write without one does nothing.
  TThreadPriority GetPriority() const noexcept;
  void SetPriority(TThreadPriority AValue) noexcept;
  // The thread's sleep object (auto reset), set by Terminate; made on first use.
  HANDLE ResumeEvent();
  TNotifyEvent GetOnTerminate() const noexcept { return FOnTerminate; }
  void SetOnTerminate(TNotifyEvent AValue) noexcept { FOnTerminate = AValue; }

  // Work for the loading thread: Synchronize waits for it, Queue doesn't.
  void Synchronize(Rtl::TThreadMethod AMethod);
  void Synchronize(Rtl::TThreadProcedure AProc);
  void Queue(Rtl::TThreadMethod AMethod);
  void Queue(Rtl::TThreadProcedure AProc);
  static void Synchronize(TThread* AThread, Rtl::TThreadMethod AMethod);
  static void Synchronize(TThread* AThread, Rtl::TThreadProcedure AProc);
  static void Queue(TThread* AThread, Rtl::TThreadMethod AMethod);
  static void Queue(TThread* AThread, Rtl::TThreadProcedure AProc);
  static void RemoveQueuedEvents(TThread* AThread, Rtl::TThreadMethod AMethod);
  static void RemoveQueuedEvents(TThread* AThread);
  static void RemoveQueuedEvents(Rtl::TThreadMethod AMethod);

  // The TThread the calling thread serves, or null.
  static TThread* GetCurrentThread() noexcept;
  static uint32_t GetProcessorCount() noexcept;
  static bool GetIsSingleProcessor() noexcept { return GetProcessorCount() == 1; }
  static void NameThreadForDebugging(const UnicodeString& AName, uint32_t AThreadID = 0xFFFFFFFF);
  // Pool workers that serve a TThread now; 0 without a pool.
  static int32_t GetActiveThreadCount() noexcept;
  // Workers in the pool, idle or not; 0 without a pool.
  static int32_t GetPoolCount() noexcept;

  static void Init();
  static void Done();
  static bool IsNeedUsePool();

 protected:
  explicit TThread(bool ACreateSuspended = false);
  // Starts the run unless the thread was made suspended. New<T> calls it.
  void AfterConstruction();
  virtual void DoTerminate();
  // Called by Terminate; the hook of subclasses.
  virtual void TerminatedSet() {}
  // Runs the procedure under its COM apartment; a subclass replaces all of it.
  virtual void Execute();
  // Shows a procedure's exception (never EAbort).
  void HandleException(const std::exception& AException);

 private:
  class TInternalThread;
  friend class TInternalThread;

  static TThread* CreateWith(TProcThread AProc1, TProc AProc2, bool ACreateSuspended, int32_t ACoFlag);
  // Sets the apartment of a thread made with its procedure, and starts it unless made suspended.
  static TThread* Started(std::unique_ptr<TThread> AThread, int32_t ACoFlag);
  static TInternalThread* GetThreadPool(TThread* AThread);
  static void FreeThreadPool(TThread* AThread, TInternalThread* AInternalThread);
  static void CheckThreadError(uint32_t AErrorCode);
  static void CheckThreadError(bool ASuccess);
  static Rtl::TThread* Worker(TThread* AThread) noexcept;
  void CheckTerminateAndWait();
  HANDLE EnsureResumeEvent();
  void InternalTerminate();
  void CallOnTerminate();

  TInternalThread* FInternalThread = nullptr;
  std::exception_ptr FFatalException;
  bool FFreeOnTerminate = false;
  bool FCreateSuspended = false;
  // Both events of a run cost system calls, which under some systems cost more than the run: the
  // sleep object is made only when a sleep or Terminate needs it, and the end of a run is told
  // through a semaphore its worker keeps for all its owners, released once for each waiter.
  std::atomic<HANDLE> FResumeEvent{nullptr};
  std::atomic<bool> FFinished{false};
  std::atomic<bool> FSuspended{false};
  std::atomic<bool> FTerminated{false};
  int32_t FReturnValue = 0;
  int32_t FCoFlag = COINIT_APARTMENTTHREADED;
  TNotifyEvent FOnTerminate;
  TExecProcObject FExecProcObject;
  TExecProcClass FExecProcClass = nullptr;
  TProcThread FExecProcAnonim1;
  TProc FExecProcAnonim2;

  static inline TDebugLog<TThreadLogLevel>* FDebugLog = nullptr;
  static Rtl::TCriticalSection FCSThreadPool;
  static inline std::vector<std::unique_ptr<TInternalThread>>* FThreadPool = nullptr;
};

}  // namespace Ostravane

OV_LOG_LEVEL_RANGE(Ostravane::TThread::TThreadLogLevel, Ostravane::TThread::TThreadLogLevel::tllInfo)
