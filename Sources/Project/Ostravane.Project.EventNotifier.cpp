// The message bus: subscriber lists, snapshots, the hidden window and the broadcast.
#include "Ostravane.Project.EventNotifier.h"

#include <algorithm>

namespace Ostravane {

using namespace Rtl;

OV_IMPLEMENT_CLASS(EventNotifier, nullptr)
// By hand: the macro would name the nested classes with their qualifier.
const TClassRecord EventNotifier::THandleItem::ClassRecord{L"THandleItem", &TObject::ClassRecord};
const TClassRecord EventNotifier::TWndMethodItem::ClassRecord{L"TWndMethodItem", &TObject::ClassRecord};

TCriticalSection EventNotifier::FCSMain;

namespace {

bool Contains(const std::vector<uint32_t>& AList, uint32_t AValue) {
  return std::find(AList.begin(), AList.end(), AValue) != AList.end();
}

// Appends the numbers not yet in the filter, in their order.
void MergeFilter(std::vector<uint32_t>& AFilter, const std::vector<uint32_t>& AMessages) {
  for (const uint32_t LMsg : AMessages)
    if (!Contains(AFilter, LMsg)) AFilter.push_back(LMsg);
}

bool Accepts(const std::vector<uint32_t>& AFilter, uint32_t AMsg) { return AFilter.empty() || Contains(AFilter, AMsg); }

// Takes AItem (nullptr: nothing) out of its list and hands it over, to be freed after the lock.
template <typename TItem>
std::unique_ptr<TItem> TakeOut(std::vector<std::unique_ptr<TItem>>* AList, const TItem* AItem) {
  if (!AList || !AItem) return nullptr;
  const auto LPos = std::find_if(AList->begin(), AList->end(), [&](const auto& I) { return I.get() == AItem; });
  std::unique_ptr<TItem> LItem = std::move(*LPos);
  AList->erase(LPos);
  return LItem;
}

}  // namespace

EventNotifier::THandleItem::THandleItem(uintptr_t AHandle, const std::vector<uint32_t>& AMessages) : FHandle(AHandle) {
  MergeFilter(FMessages, AMessages);
}

EventNotifier::TWndMethodItem::TWndMethodItem(TWndClassMethod AWndClassMethod, const TWndObjectMethod& AWndObjectMethod,
                                              const std::vector<uint32_t>& AMessages)
    : FWndClassMethod(AWndClassMethod), FWndObjectMethod(AWndObjectMethod) {
  MergeFilter(FMessages, AMessages);
}

// ---- Start and stop -----------------------------------------------------------------------------

void EventNotifier::Init() {
  {
    TCSGuard LGuard(FCSMain);
    if (!FHandles) FHandles = new std::vector<std::unique_ptr<THandleItem>>();
    if (!FWndMethods) FWndMethods = new std::vector<std::unique_ptr<TWndMethodItem>>();
  }
  FWindowHandle = SysUtils::AllocateHWnd(&WndProc);
  FBroadcastMessage = RegisterWindowMessageW(S_EVENT_NOTIFIER_BROADCAST);
  // The hidden window is the first window subscriber and takes every message: that is how method
  // subscribers are reached.
  Register(FWindowHandle, {});
}

void EventNotifier::Done() {
  if (FWindowHandle != 0 && FWindowHandle != static_cast<uintptr_t>(-1)) SysUtils::DeallocateHWnd(FWindowHandle);
  FWindowHandle = 0;
  std::unique_ptr<std::vector<std::unique_ptr<THandleItem>>> LHandles;
  std::unique_ptr<std::vector<std::unique_ptr<TWndMethodItem>>> LWndMethods;
  {
    TCSGuard LGuard(FCSMain);
    LHandles.reset(FHandles);
    LWndMethods.reset(FWndMethods);
    FHandles = nullptr;
    FWndMethods = nullptr;
  }
}

// ---- Subscribers --------------------------------------------------------------------------------

EventNotifier::THandleItem* EventNotifier::GetItemsByHandle(uintptr_t AHandle) {
  if (!FHandles) return nullptr;
  for (const auto& LItem : *FHandles)
    if (LItem->FHandle == AHandle) return LItem.get();
  return nullptr;
}

EventNotifier::TWndMethodItem* EventNotifier::GetItemsByMethod(TWndClassMethod AWndClassMethod,
                                                               const TWndObjectMethod& AWndObjectMethod) {
  if (!FWndMethods) return nullptr;
  // Unassigned object methods compare equal; assigned ones by instance and code.
  for (const auto& LItem : *FWndMethods)
    if (LItem->FWndClassMethod == AWndClassMethod && LItem->FWndObjectMethod == AWndObjectMethod) return LItem.get();
  return nullptr;
}

void EventNotifier::Register(uintptr_t AWnd, const std::vector<uint32_t>& AMessages) {
  TCSGuard LGuard(FCSMain);
  if (!FHandles) return;
  if (THandleItem* LItem = GetItemsByHandle(AWnd))
    MergeFilter(LItem->FMessages, AMessages);
  else
    FHandles->push_back(std::make_unique<THandleItem>(AWnd, AMessages));
}

void EventNotifier::RegisterMethod(TWndClassMethod AWndClassMethod, const TWndObjectMethod& AWndObjectMethod,
                                   const std::vector<uint32_t>& AMessages) {
  TCSGuard LGuard(FCSMain);
  if (!FWndMethods) return;
  if (TWndMethodItem* LItem = GetItemsByMethod(AWndClassMethod, AWndObjectMethod))
    MergeFilter(LItem->FMessages, AMessages);
  else
    FWndMethods->push_back(std::make_unique<TWndMethodItem>(AWndClassMethod, AWndObjectMethod, AMessages));
}

void EventNotifier::Register(const TWndObjectMethod& AWndMethod, const std::vector<uint32_t>& AMessages) {
  RegisterMethod(nullptr, AWndMethod, AMessages);
}

void EventNotifier::Register(TWndClassMethod AWndMethod, const std::vector<uint32_t>& AMessages) {
  RegisterMethod(AWndMethod, TWndObjectMethod(), AMessages);
}

void EventNotifier::Unregister(uintptr_t AWnd) {
  std::unique_ptr<THandleItem> LGone;  // freed after the lock is left
  TCSGuard LGuard(FCSMain);
  LGone = TakeOut(FHandles, GetItemsByHandle(AWnd));
}

void EventNotifier::UnregisterMethod(TWndClassMethod AWndClassMethod, const TWndObjectMethod& AWndObjectMethod) {
  std::unique_ptr<TWndMethodItem> LGone;
  TCSGuard LGuard(FCSMain);
  LGone = TakeOut(FWndMethods, GetItemsByMethod(AWndClassMethod, AWndObjectMethod));
}

void EventNotifier::Unregister(const TWndObjectMethod& AWndMethod) { UnregisterMethod(nullptr, AWndMethod); }

void EventNotifier::Unregister(TWndClassMethod AWndMethod) { UnregisterMethod(AWndMethod, TWndObjectMethod()); }

// ---- Snapshots ----------------------------------------------------------------------------------

std::vector<uintptr_t> EventNotifier::GetHandlesByMessage(uint32_t AMsg) {
  std::vector<uintptr_t> LResult;
  TCSGuard LGuard(FCSMain);
  if (!FHandles) return LResult;
  LResult.reserve(FHandles->size());
  for (const auto& LItem : *FHandles)
    if (LItem->FHandle != 0 && Accepts(LItem->FMessages, AMsg)) LResult.push_back(LItem->FHandle);
  return LResult;
}

std::vector<EventNotifier::TMethodTarget> EventNotifier::GetMethodByMessage(uint32_t AMsg) {
  std::vector<TMethodTarget> LResult;
  TCSGuard LGuard(FCSMain);
  if (!FWndMethods) return LResult;
  for (const auto& LItem : *FWndMethods)
    if ((LItem->FWndClassMethod || LItem->FWndObjectMethod) && Accepts(LItem->FMessages, AMsg))
      LResult.push_back({LItem->FWndClassMethod, LItem->FWndObjectMethod});
  return LResult;
}

bool EventNotifier::StillSubscribed(const TMethodTarget& ATarget, uint32_t AMsg) {
  TCSGuard LGuard(FCSMain);
  const TWndMethodItem* LItem = GetItemsByMethod(ATarget.WndClassMethod, ATarget.WndObjectMethod);
  return LItem && Accepts(LItem->FMessages, AMsg);
}

// ---- Delivery -----------------------------------------------------------------------------------

void EventNotifier::NotifySync(uint32_t AMsg, uintptr_t AWParam, intptr_t ALParam) {
  for (const uintptr_t LHandle : GetHandlesByMessage(AMsg))
    SendMessageW(reinterpret_cast<HWND>(LHandle), AMsg, AWParam, ALParam);
}

void EventNotifier::NotifyAsync(uint32_t AMsg, uintptr_t AWParam, intptr_t ALParam) {
  for (const uintptr_t LHandle : GetHandlesByMessage(AMsg))
    PostMessageW(reinterpret_cast<HWND>(LHandle), AMsg, AWParam, ALParam);
}

void EventNotifier::NotifyBroadcast(uint32_t AMsg, uintptr_t AWParam) {
  // The subscriber's message travels as data of the one broadcast message: only windows that know
  // that message react to it.
  PostMessageW(HWND_BROADCAST, FBroadcastMessage, AMsg, static_cast<LPARAM>(AWParam));
}

bool EventNotifier::ProcessMessage(TMessage& Message) {
  const std::vector<TMethodTarget> LTargets = GetMethodByMessage(Message.Msg);
  Message.Result = 1;
  bool LHandled = false;
  for (const TMethodTarget& LTarget : LTargets) {
    // An earlier handler may have unsubscribed this one and freed its object.
    if (!StillSubscribed(LTarget, Message.Msg)) continue;
    if (LTarget.WndObjectMethod) LTarget.WndObjectMethod(Message);
    if (LTarget.WndClassMethod) LTarget.WndClassMethod(Message);
    if (Message.Result == 0) LHandled = true;
  }
  return LHandled;
}

void EventNotifier::WndProc(TMessage& Message) {
  if (Message.Msg == FBroadcastMessage && FBroadcastMessage != 0) {
    Message.Result = 0;
    NotifyAsync(static_cast<uint32_t>(Message.WParam), static_cast<uintptr_t>(Message.LParam), 0);
    return;
  }
  if (!ProcessMessage(Message)) SysUtils::DefWindowProc(FWindowHandle, Message);
}

}  // namespace Ostravane
