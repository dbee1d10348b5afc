// The message service for messages in IMAP folders.
#pragma once

#include "MessageService.h"

#include <nsIFactory.h>

namespace mailhost {

class ImapSessions;

inline constexpr const char* kImapServiceContractId =
    "@mozilla.org/messenger/messageservice;1?type=imap";
inline constexpr const char* kImapMessageServiceContractId =
    "@mozilla.org/messenger/messageservice;1?type=imap-message";

// The IMAP folders' message service: streams imap-message://user@host/FOLDER#UID in the same
// filter form as local mail, through the deliveries every message service of the host shares.
// The message is fetched from the account's server (BODY.PEEK, so it stays unread) when its
// delivery comes round. A URI of another form, or of an account that is not set up, fails at
// once (NS_ERROR_FAILURE); a server or message that cannot be had ends the delivery with
// OnStopRequest and a failure status, the reason reported by URI.
class ImapService final : public MessageService {
public:
  ImapService(EventLoop& loop, ImapSessions& sessions, DeliveryFailureReporter reportFailure);

private:
  ~ImapService() override;
  MessageSource source(std::string_view uri) override;

  ImapSessions& mSessions;
};

nsresult registerImapService(ImapService* service, nsIFactory** factory = nullptr);
nsresult unregisterImapService(nsIFactory* factory);

} // namespace mailhost
