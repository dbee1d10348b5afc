// The message service for the one message a delivery filter reads on standard input.
#pragma once

#include "EventLoop.h"
#include "MessageService.h"

#include <memory>
#include <string>

namespace mailhost {

// The one message a delivery filter reads on its standard input, held in memory, under a URI
// scheme of this host's own: the plug-in looks the service up by that scheme as it does the
// local folders' one, and is streamed the message in the same filter form.
inline constexpr const char* kStandardInputMessageUri = "mailhost-stdin:message";
inline constexpr const char* kStandardInputServiceContractId =
    "@mozilla.org/messenger/messageservice;1?type=mailhost-stdin";

class StandardInputService final : public MessageService {
public:
  // The message's bytes, shared, not copied.
  StandardInputService(EventLoop& loop, std::shared_ptr<const std::string> message,
                       DeliveryFailureReporter reportFailure = {});

private:
  ~StandardInputService() override;
  MessageSource source(std::string_view uri) override;

  std::shared_ptr<const std::string> mMessage;
};

nsresult registerStandardInputService(StandardInputService* service,
                                      nsIFactory** factory = nullptr);
nsresult unregisterStandardInputService(nsIFactory* factory);

} // namespace mailhost
