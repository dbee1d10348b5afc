#pragma once

#include "EventLoop.h"
#include "MessageDelivery.h"

#include <nsIFactory.h>
#include <nsIMsgMessageService.h>

#include <deque>
#include <memory>
#include <string>
#include <unordered_map>

namespace mailhost {

inline constexpr const char* kHeldMessageScheme = "tbmessage";
inline constexpr const char* kHeldMessageServiceContractId =
    "@mozilla.org/messenger/messageservice;1?type=tbmessage";

// The message service for messages that another program handed to the host as raw bytes: each
// is held in memory under "tbmessage:<key>" until it is let go, and streamed in filter form
// exactly as a local message is. Nothing is written to disk.
//
// StreamMessage queues the delivery and returns; deliveries run from the event loop one after
// the other. A URI of another scheme fails at once (NS_ERROR_FAILURE); a key that is not held
// when the message is asked for, or bytes that are no message, end the delivery with
// OnStopRequest and a failure status, and the reporter is told why. A message let go after it
// was asked for is still delivered.
class HeldMessageService final : public nsIMsgMessageService {
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

private:
  ~HeldMessageService();
  void schedule();
  void pump();

  EventLoop& mLoop;
  DeliveryFailureReporter mReportFailure;
  // Shared with the deliveries, so that a message let go while its delivery waits still arrives.
  std::unordered_map<std::string, std::shared_ptr<const std::string>> mHeld;
  std::deque<std::unique_ptr<MessageDelivery>> mQueue;
  std::unique_ptr<MessageDelivery> mActive;
  bool mScheduled = false;
};

// Registers the service under its contract ID; the factory is what unregister takes.
nsresult registerHeldMessageService(HeldMessageService* service, nsIFactory** factory);
nsresult unregisterHeldMessageService(nsIFactory* factory);

} // namespace mailhost
