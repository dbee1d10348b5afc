// AESetSendObserver: the observer is read under a shared lock for the length of each callback, so
// that replacing or removing it waits for the callbacks under way and no callback reaches an
// observer its owner has removed.
#include "transport/SendObserver.h"

#include <mutex>
#include <optional>
#include <shared_mutex>

namespace coreservices {

namespace detail {
std::atomic<bool> gSendObserverInstalled{false};
}

namespace {

std::shared_mutex& observerLock() {
  static std::shared_mutex lock;
  return lock;
}

std::optional<AESendObserver>& installedObserver() {
  static std::optional<AESendObserver> observer;
  return observer;
}

} // namespace

OSStatus observeWillSend(const AppleEvent* event) {
  std::shared_lock reading(observerLock());
  const std::optional<AESendObserver>& observer = installedObserver();
  if (!observer || !observer->willSend)
    return noErr;
  return observer->willSend(event, observer->refcon);
}

void observeDidSend(const AppleEvent* event, OSStatus status, const AppleEvent* reply) {
  std::shared_lock reading(observerLock());
  const std::optional<AESendObserver>& observer = installedObserver();
  if (observer && observer->didSend)
    observer->didSend(event, status, reply, observer->refcon);
}

} // namespace coreservices

extern "C" void AESetSendObserver(const AESendObserver* observer) {
  using namespace coreservices;
  std::unique_lock writing(observerLock());
  if (observer)
    installedObserver() = *observer;
  else
    installedObserver().reset();
  detail::gSendObserverInstalled.store(observer != nullptr, std::memory_order_release);
}
