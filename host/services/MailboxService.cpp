#include "MailboxService.h"

namespace mailhost {

namespace {

// The class ID of this host's mailbox service.
constexpr nsCID kMailboxServiceCID = {
    0x5b7386da, 0xc4cd, 0x4b89, {0xbc, 0xf8, 0xc4, 0x68, 0x2d, 0x18, 0x67, 0x52}};

} // namespace

MailboxService::MailboxService(EventLoop& loop, MailStore store,
                               DeliveryFailureReporter reportFailure)
    : MessageService(loop, std::move(reportFailure)), mStore(std::move(store)) {}

MailboxService::~MailboxService() = default;

MessageSource MailboxService::source(std::string_view uri) {
  MessageRef message = mStore.parseUri(uri);
  std::string mailUrl = mStore.mailUrlFor(message);
  // The delivery is queued in this service, which outlives it. A form read ahead is taken when
  // there is one; otherwise the message is read from its file now.
  auto read = [this, message, readAhead = mReadAhead]() {
    if (readAhead)
      if (std::optional<FilterForm> ready = readAhead->take(message.uri))
        return std::move(*ready);
    return toFilterForm(mStore.locate(message));
  };
  return {message.uri, std::move(mailUrl), std::move(read)};
}

nsresult registerMailboxService(MailboxService* service, nsIFactory** factory) {
  return registerMessageService(service, kMailboxServiceCID, "Mailbox Service",
                                {kMailboxServiceContractId, kMailboxMessageServiceContractId},
                                factory);
}

nsresult unregisterMailboxService(nsIFactory* factory) {
  return unregisterMessageService(kMailboxServiceCID, factory);
}

} // namespace mailhost
