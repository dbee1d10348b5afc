#pragma once

#include "MailboxService.h"

#include <nsIFactory.h>
#include <nsIMsgMessageService.h>

namespace mailhost {

class ImapSessions;

inline constexpr const char* kImapServiceContractId =
    "@mozilla.org/messenger/messageservice;1?type=imap";
inline constexpr const char* kImapMessageServiceContractId =
    "@mozilla.org/messenger/messageservice;1?type=imap-message";

// The IMAP folders' message service: streams imap-message://user@host/FOLDER#UID in the same
// filter form as local mail. StreamMessage checks the URI's form and queues the delivery behind
// the mailbox service's (one queue, one delivery at a time); the message is fetched from the
// account's server (BODY.PEEK, so it stays unread) when its delivery comes round. A URI of
// another form fails at once (NS_ERROR_FAILURE); an account, server or message that cannot be
// had ends the delivery with OnStopRequest and a failure status, the reason reported by URI.
class ImapService final : public nsIMsgMessageService {
public:
  ImapService(MailboxService* deliveries, ImapSessions& sessions,
              DeliveryFailureReporter reportFailure);

  NS_DECL_ISUPPORTS
  NS_IMETHOD CopyMessage(const char* aSrcURI, nsIStreamListener* aCopyListener, PRBool aMoveMessage,
                         nsIUrlListener* aUrlListener, nsIMsgWindow* aMsgWindow,
                         nsIURI** aURL) override;
  NS_IMETHOD CopyMessages(nsMsgKeyArray* keys, nsIMsgFolder* srcFolder,
                          nsIStreamListener* aCopyListener, PRBool aMoveMessage,
                          nsIUrlListener* aUrlListener, nsIMsgWindow* aMsgWindow,
                          nsIURI** aURL) override;
  NS_IMETHOD DisplayMessage(const char* aMessageURI, nsISupports* aDisplayConsumer,
                            nsIMsgWindow* aMsgWindow, nsIUrlListener* aUrlListener,
                            const char* aCharsetOverride, nsIURI** aURL) override;
  NS_IMETHOD OpenAttachment(const char* aContentType, const char* aFileName, const char* aUrl,
                            const char* aMessageUri, nsISupports* aDisplayConsumer,
                            nsIMsgWindow* aMsgWindow, nsIUrlListener* aUrlListener) override;
  NS_IMETHOD SaveMessageToDisk(const char* aMessageURI, nsIFileSpec* aFile,
                               PRBool aGenerateDummyEnvelope, nsIUrlListener* aUrlListener,
                               nsIURI** aURL, PRBool canonicalLineEnding,
                               nsIMsgWindow* aMsgWindow) override;
  NS_IMETHOD GetUrlForUri(const char* aMessageURI, nsIURI** aURL,
                          nsIMsgWindow* aMsgWindow) override;
  NS_IMETHOD DisplayMessageForPrinting(const char* aMessageURI, nsISupports* aDisplayConsumer,
                                       nsIMsgWindow* aMsgWindow, nsIUrlListener* aUrlListener,
                                       nsIURI** aURL) override;
  NS_IMETHOD Search(nsIMsgSearchSession* aSearchSession, nsIMsgWindow* aMsgWindow,
                    nsIMsgFolder* aMsgFolder, const char* aSearchUri) override;
  NS_IMETHOD StreamMessage(const char* aMessageURI, nsISupports* aConsumer,
                           nsIMsgWindow* aMsgWindow, nsIUrlListener* aUrlListener,
                           PRBool aConvertData, const char* aAdditionalHeader,
                           nsIURI** _retval) override;
  NS_IMETHOD MessageURIToMsgHdr(const char* uri, nsIMsgDBHdr** _retval) override;

private:
  ~ImapService();

  nsrefcnt mRefCount = 0;
  nsCOMPtr<MailboxService> mDeliveries;
  ImapSessions& mSessions;
  DeliveryFailureReporter mReportFailure;
};

// Registers the service under both imap contract IDs; the factory is what unregister takes.
nsresult registerImapService(ImapService* service, nsIFactory** factory);
nsresult unregisterImapService(nsIFactory* factory);

} // namespace mailhost
