// The process's send observer (AESetSendObserver), as AESendMessage consults it.
#pragma once

#include <CoreServices/AE/AEMach.h>

#include <atomic>

namespace coreservices {

namespace detail {
extern std::atomic<bool> gSendObserverInstalled;
}

// One atomic load: a process without an observer pays nothing more.
inline bool sendObserverInstalled() {
  return detail::gSendObserverInstalled.load(std::memory_order_acquire);
}

// noErr, or the status the observer refuses the send with.
OSStatus observeWillSend(const AppleEvent* event);
void observeDidSend(const AppleEvent* event, OSStatus status, const AppleEvent* reply);

} // namespace coreservices
