// The message bus of a product. Windows and methods subscribe to message numbers; a sender reaches
// them inside the process, at once (SendMessageW) or posted, or reaches every process of the desktop
// that has the library through one broadcast message, which each process's hidden window turns into
// posted messages to its own subscribers (the sender's too).
//
// Threads: any thread may subscribe and notify. Method subscribers always run on the thread that
// started the unit, which owns the hidden window and must run a message loop; a NotifySync from
// another thread waits until that loop has served it. FCSMain guards the lists only and is never
// held while a message goes out or a handler runs, so a handler may subscribe, unsubscribe and
// notify. Delivery works on a snapshot of the targets taken under the lock: a window that leaves
// meanwhile may still get the message; a method is looked up again right before its call and is not
// called once it has left, so an object may unsubscribe and go while a message is on its way.
//
// Failures of SendMessageW and PostMessageW are ignored: a subscriber window that is gone loses its
// message and the next subscriber gets its own. A handler's exception leaves ProcessMessage at once
// (later subscribers of that message are not called); the hidden window's procedure ends it.
#pragma once
#include <memory>
#include <vector>

#include "Ostravane.Rtl.SyncObjs.h"
#include "Ostravane.System.SysUtils.h"

namespace Ostravane {

inline constexpr wchar_t S_EVENT_NOTIFIER_BROADCAST[] =
    L"EventNotifier_Broadcast_{2F6808B7-FEAC-4A99-A34F-0F34B77E1248}";

class OVRTL_API EventNotifier final {
  OV_STATIC_CLASS
  friend class EventNotifierInspector;  // tests look at the lists

 public:
  EventNotifier() = delete;

  // A window subscriber. The filter holds no duplicates; empty means every message.
  class OVRTL_API THandleItem : public Rtl::TObject {
    OV_OBJECT_CLASS
    friend class EventNotifier;

   public:
    THandleItem(uintptr_t AHandle, const std::vector<uint32_t>& AMessages);
    uintptr_t Handle() const noexcept { return FHandle; }
    const std::vector<uint32_t>& Messages() const noexcept { return FMessages; }

   private:
    uintptr_t FHandle;
    std::vector<uint32_t> FMessages;
  };

  // A method subscriber: a plain procedure or an object's method (one of them is assigned).
  class OVRTL_API TWndMethodItem : public Rtl::TObject {
    OV_OBJECT_CLASS
    friend class EventNotifier;

   public:
    TWndMethodItem(TWndClassMethod AWndClassMethod, const TWndObjectMethod& AWndObjectMethod,
                   const std::vector<uint32_t>& AMessages);
    TWndClassMethod WndClassMethod() const noexcept { return FWndClassMethod; }
    const TWndObjectMethod& WndObjectMethod() const noexcept { return FWndObjectMethod; }
    const std::vector<uint32_t>& Messages() const noexcept { return FMessages; }

   private:
    TWndClassMethod FWndClassMethod;
    TWndObjectMethod FWndObjectMethod;
    std::vector<uint32_t> FMessages;
  };

  // The unit's start: the lists, the hidden window (raises EOSError when the system gives no
  // window, e.g. without a desktop), the broadcast message. Done must run on the same thread.
  static void Init();
  static void Done();

  // Subscribes a target to AMessages (empty: every message). A target that has an item gets the new
  // numbers appended to its filter. Does nothing once the unit has stopped.
  static void Register(uintptr_t AWnd, const std::vector<uint32_t>& AMessages);
  static void Register(const TWndObjectMethod& AWndMethod, const std::vector<uint32_t>& AMessages);
  static void Register(TWndClassMethod AWndMethod, const std::vector<uint32_t>& AMessages);
  // Removes a target's item; a target without one, or a stopped unit, does nothing.
  static void Unregister(uintptr_t AWnd);
  static void Unregister(const TWndObjectMethod& AWndMethod);
  static void Unregister(TWndClassMethod AWndMethod);

  // SendMessageW to each window subscriber of AMsg in order; method subscribers are reached through
  // the hidden window. Returns when all have handled it; failures and results are not looked at.
  static void NotifySync(uint32_t AMsg, uintptr_t AWParam, intptr_t ALParam);
  // The same with PostMessageW; returns at once.
  static void NotifyAsync(uint32_t AMsg, uintptr_t AWParam, intptr_t ALParam);
  // Posts AMsg with AWParam to the subscribers of every process of the desktop that has the library,
  // this one included; they see LParam 0. A refused post is ignored.
  static void NotifyBroadcast(uint32_t AMsg, uintptr_t AWParam);

 private:
  // A method subscriber as the snapshot keeps it: the references, never the item.
  struct TMethodTarget {
    TWndClassMethod WndClassMethod;
    TWndObjectMethod WndObjectMethod;
  };

  // Lookups under FCSMain; nullptr when the target has no item or the unit has stopped.
  static THandleItem* GetItemsByHandle(uintptr_t AHandle);
  static TWndMethodItem* GetItemsByMethod(TWndClassMethod AWndClassMethod, const TWndObjectMethod& AWndObjectMethod);
  static void RegisterMethod(TWndClassMethod AWndClassMethod, const TWndObjectMethod& AWndObjectMethod,
                             const std::vector<uint32_t>& AMessages);
  static void UnregisterMethod(TWndClassMethod AWndClassMethod, const TWndObjectMethod& AWndObjectMethod);
  // Snapshots taken under FCSMain, in list order.
  static std::vector<uintptr_t> GetHandlesByMessage(uint32_t AMsg);
  static std::vector<TMethodTarget> GetMethodByMessage(uint32_t AMsg);
  static bool StillSubscribed(const TMethodTarget& ATarget, uint32_t AMsg);
  // Calls the method subscribers of Message.Msg with Result 1 on entry; true when one of them left
  // Result 0 behind it (handled). Each subscriber still subscribed at its turn is called, whatever
  // the earlier ones did with Result.
  static bool ProcessMessage(TMessage& Message);
  static void WndProc(TMessage& Message);

  // Lives as long as the module, so that a call after Done still finds a lock and no lists.
  static Rtl::TCriticalSection FCSMain;
  static inline std::vector<std::unique_ptr<THandleItem>>* FHandles = nullptr;
  static inline std::vector<std::unique_ptr<TWndMethodItem>>* FWndMethods = nullptr;
  static inline uintptr_t FWindowHandle = 0;
  static inline uint32_t FBroadcastMessage = 0;
};

}  // namespace Ostravane
