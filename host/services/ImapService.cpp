#include "ImapService.h"

#include "ImapError.h"
#include "ImapSessions.h"
#include "ImapUri.h"
#include "MailError.h"

namespace mailhost {

namespace {

// The class ID of this host's IMAP message service.
constexpr nsCID kImapServiceCID = {
    0x3f0c5e4a, 0x8d2b, 0x4e61, {0x9a, 0x7e, 0x52, 0x1b, 0x6c, 0xd4, 0x08, 0xe3}};

// The fetch URL of a message, as the IMAP protocol object names it.
std::string fetchUrlFor(const ImapAccount& account, const ImapMessageRef& message) {
  return "imap://" + account.endpoint.user + "@" + account.endpoint.host + ":" +
         std::to_string(account.endpoint.port) + "/fetch>UID>/" + message.folder + ">" +
         std::to_string(message.uid);
}

} // namespace

ImapService::ImapService(EventLoop& loop, ImapSessions& sessions,
                         DeliveryFailureReporter reportFailure)
    : MessageService(loop, std::move(reportFailure)), mSessions(sessions) {}

ImapService::~ImapService() = default;

MessageSource ImapService::source(std::string_view uri) {
  ImapMessageRef message;
  ImapAccount account;
  try {
    message = parseImapMessageUri(std::string(uri));
    account = mSessions.account(message.user, message.host);
  } catch (const ImapError& error) {
    throw MailError(MailErrorKind::NotFound, error.what());
  }
  ImapSessions* sessions = &mSessions;
  return {std::string(uri), fetchUrlFor(account, message), [sessions, message] {
            std::string bytes;
            try {
              bytes = sessions->fetch(message);
            } catch (const ImapError& error) {
              throw MailError(error.kind() == ImapErrorKind::NoSuchMessage
                                  ? MailErrorKind::NoSuchMessage
                                  : MailErrorKind::Io,
                              error.what());
            }
            return toFilterForm(bytes);
          }};
}

nsresult registerImapService(ImapService* service, nsIFactory** factory) {
  return registerMessageService(service, kImapServiceCID, "IMAP Service",
                                {kImapServiceContractId, kImapMessageServiceContractId}, factory);
}

nsresult unregisterImapService(nsIFactory* factory) {
  return unregisterMessageService(kImapServiceCID, factory);
}

} // namespace mailhost
