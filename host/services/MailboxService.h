#pragma once

#include "EventLoop.h"
#include "MailStore.h"
#include "MessageDelivery.h"

#include <nsIFactory.h>
#include <nsIMsgMessageService.h>

#include <deque>
#include <memory>

namespace mailhost {

inline constexpr const char* kMailboxServiceContractId =
    "@mozilla.org/messenger/messageservice;1?type=mailbox";
inline constexpr const char* kMailboxMessageServiceContractId =
    "@mozilla.org/messenger/messageservice;1?type=mailbox-message";

// The local mail folders' message service. StreamMessage never calls the consumer itself: it
// checks the URI's form, queues the delivery and returns; the deliveries run from the event
// loop one after the other, so a delivery asked for from inside OnStopRequest starts (with its
// OnStartRequest) only after that OnStopRequest has returned.
//
// StreamMessage fails at once (and nothing is delivered) for a URI that is not a local message
// URI (NS_ERROR_FAILURE), a consumer that is no stream listener (NS_ERROR_NO_INTERFACE), and a
// conversion other than "filter" (NS_ERROR_NOT_IMPLEMENTED). Everything that needs the mail
// files (a missing folder or key, an unreadable or unparseable message) is found during the
// delivery and ends it with OnStopRequest and a failure status.
class MailboxService final : public nsIMsgMessageService {
public:
  MailboxService(EventLoop& loop, MailStore store, DeliveryFailureReporter reportFailure = {});

  const MailStore& store() const { return mStore; }
  // Deliveries asked for from now on look for their message's form here first; null: none.
  void setReadAhead(std::shared_ptr<MessageReadAhead> readAhead) {
    mReadAhead = std::move(readAhead);
  }
  std::size_t queuedDeliveries() const { return mQueue.size() + (mActive ? 1 : 0); }
  // Queues a delivery behind the others (the host's other message services deliver here too,
  // so that every delivery runs one at a time in the order asked for).
  void enqueue(std::unique_ptr<MessageDelivery> delivery);

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
  ~MailboxService();
  void schedule();
  void pump();

  nsrefcnt mRefCount = 0;
  EventLoop& mLoop;
  MailStore mStore;
  DeliveryFailureReporter mReportFailure;
  std::deque<std::unique_ptr<MessageDelivery>> mQueue;
  std::unique_ptr<MessageDelivery> mActive;
  bool mScheduled = false;
  std::shared_ptr<MessageReadAhead> mReadAhead;
};

// Registers the service with the component registrar under both mailbox contract IDs (one
// class, one object, as the local mail service is). The factory, if asked for, is what
// unregisterMailboxService takes.
nsresult registerMailboxService(MailboxService* service, nsIFactory** factory = nullptr);
nsresult unregisterMailboxService(nsIFactory* factory);

} // namespace mailhost
