// The message service for the local mail folders.
#pragma once

#include "EventLoop.h"
#include "MailStore.h"
#include "MessageReadAhead.h"
#include "MessageService.h"

#include <memory>

namespace mailhost {

inline constexpr const char* kMailboxServiceContractId =
    "@mozilla.org/messenger/messageservice;1?type=mailbox";
inline constexpr const char* kMailboxMessageServiceContractId =
    "@mozilla.org/messenger/messageservice;1?type=mailbox-message";

// The local mail folders' message service: the messages of mbox files, Maildir folders and
// message files, named by the URIs the mail store gives them. A URI that is not a local message
// URI is refused at once; a missing folder or key, an unreadable file or bytes that are no
// message end the delivery (see MessageService).
class MailboxService final : public MessageService {
public:
  MailboxService(EventLoop& loop, MailStore store, DeliveryFailureReporter reportFailure = {});

  const MailStore& store() const { return mStore; }
  // Deliveries asked for from now on look for their message's form here first; null: none.
  void setReadAhead(std::shared_ptr<MessageReadAhead> readAhead) {
    mReadAhead = std::move(readAhead);
  }

private:
  ~MailboxService() override;
  MessageSource source(std::string_view uri) override;

  MailStore mStore;
  std::shared_ptr<MessageReadAhead> mReadAhead;
};

// Registers the service with the component registrar under both mailbox contract IDs (one
// class, one object, as the local mail service is). The factory, if asked for, is what
// unregisterMailboxService takes.
nsresult registerMailboxService(MailboxService* service, nsIFactory** factory = nullptr);
nsresult unregisterMailboxService(nsIFactory* factory);

} // namespace mailhost
