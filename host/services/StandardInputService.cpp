#include "StandardInputService.h"

#include "MailError.h"

namespace mailhost {

namespace {

constexpr nsCID kStandardInputServiceCID = {
    0x0f8f3c52, 0x6a1e, 0x4d57, {0x9b, 0x2a, 0x51, 0x7c, 0x3e, 0x08, 0xd4, 0x96}};

} // namespace

StandardInputService::StandardInputService(EventLoop& loop,
                                           std::shared_ptr<const std::string> message,
                                           DeliveryFailureReporter reportFailure)
    : MessageService(loop, std::move(reportFailure)), mMessage(std::move(message)) {}

StandardInputService::~StandardInputService() = default;

MessageSource StandardInputService::source(std::string_view uri) {
  // A suffix such as "?header=filter" names the same message.
  std::string_view base = uri.substr(0, uri.find_first_of("?&"));
  if (base != kStandardInputMessageUri)
    throw MailError(MailErrorKind::BadUri, "not the standard input's message: " + std::string(uri));
  auto read = [message = mMessage] { return toFilterForm(std::string_view(*message)); };
  return {kStandardInputMessageUri, std::string(kStandardInputMessageUri) + "?number=0",
          std::move(read)};
}

nsresult registerStandardInputService(StandardInputService* service, nsIFactory** factory) {
  return registerMessageService(service, kStandardInputServiceCID, "Standard Input Message Service",
                                {kStandardInputServiceContractId}, factory);
}

nsresult unregisterStandardInputService(nsIFactory* factory) {
  return unregisterMessageService(kStandardInputServiceCID, factory);
}

} // namespace mailhost
