// The message service for raw messages another program handed to the host.
#pragma once

#include "MessageService.h"

#include <nsIFactory.h>

#include <memory>
#include <string>
#include <unordered_map>

namespace mailhost {

inline constexpr const char* kHeldMessageScheme = "tbmessage";
inline constexpr const char* kHeldMessageServiceContractId =
    "@mozilla.org/messenger/messageservice;1?type=tbmessage";

// The message service for messages that another program handed to the host as raw bytes: each
// is held in memory under "tbmessage:<key>" until it is let go, and streamed in filter form
// exactly as a local message is. Nothing is written to disk. A key that is not held when its
// delivery comes round ends the delivery with a failure status; a message let go after it was
// asked for is still delivered.
class HeldMessageService final : public MessageService {
public:
  HeldMessageService(EventLoop& loop, DeliveryFailureReporter reportFailure = {});

  static std::string uriFor(const std::string& key) {
    return std::string(kHeldMessageScheme) + ":" + key;
  }
  // Holds the message's bytes under `key` (replacing any held there) and returns its URI.
  std::string hold(const std::string& key, std::string bytes);
  void release(const std::string& uri) { mHeld.erase(uri); }
  void releaseAll() { mHeld.clear(); }
  std::size_t heldCount() const { return mHeld.size(); }

private:
  ~HeldMessageService() override;
  MessageSource source(std::string_view uri) override;

  // Shared with the deliveries, so that a message let go while its delivery waits still arrives.
  std::unordered_map<std::string, std::shared_ptr<const std::string>> mHeld;
};

// Registers the service under its contract ID; the factory is what unregister takes.
nsresult registerHeldMessageService(HeldMessageService* service, nsIFactory** factory);
nsresult unregisterHeldMessageService(nsIFactory* factory);

} // namespace mailhost
