// What every message service of the host shares: URI checks, the queue and the deliveries.
#pragma once

#include "EventLoop.h"
#include "MessageDelivery.h"

#include <nsIFactory.h>
#include <nsIMsgMessageService.h>

#include <deque>
#include <initializer_list>
#include <memory>
#include <string_view>

namespace mailhost {

// What every message service of this host shares: the plug-in finds a service by the scheme of
// a message's URI and has it stream the message in filter form. A service only says which
// message a URI names and how to read it (source); the checks, the queue and the deliveries are
// the same for all.
//
// StreamMessage never calls the consumer itself: it checks the URI's form, queues the delivery
// and returns; the deliveries run from the event loop one after the other, so a delivery asked
// for from inside OnStopRequest starts (with its OnStartRequest) only after that OnStopRequest
// has returned.
//
// StreamMessage fails at once (and nothing is delivered) for a URI the service does not serve
// (NS_ERROR_FAILURE), a consumer that is no stream listener (NS_ERROR_NO_INTERFACE), and a
// conversion other than "filter" (NS_ERROR_NOT_IMPLEMENTED). Everything found while reading the
// message (a missing folder or key, unparseable bytes) ends its delivery with OnStopRequest and
// a failure status. Only StreamMessage is implemented; the other slots fail.
class MessageService : public nsIMsgMessageService {
public:
  std::size_t queuedDeliveries() const { return mQueue.size() + (mActive ? 1 : 0); }

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

protected:
  MessageService(EventLoop& loop, DeliveryFailureReporter reportFailure);
  virtual ~MessageService();

  // The message a URI names and how to read it; throws MailError for a URI this service does
  // not serve. Nothing is read yet: that happens during the delivery.
  virtual MessageSource source(std::string_view uri) = 0;

private:
  void schedule();
  void pump();

  EventLoop& mLoop;
  DeliveryFailureReporter mReportFailure;
  std::deque<std::unique_ptr<MessageDelivery>> mQueue;
  std::unique_ptr<MessageDelivery> mActive;
  bool mScheduled = false;
};

// Registers the service with the component registrar under every one of the contract IDs (one
// class, one object). The factory, if asked for, is what unregisterMessageService takes.
nsresult registerMessageService(MessageService* service, const nsCID& classId,
                                const char* className,
                                std::initializer_list<const char*> contractIds,
                                nsIFactory** factory = nullptr);
nsresult unregisterMessageService(const nsCID& classId, nsIFactory* factory);

} // namespace mailhost
