#pragma once

#include "BodyInputStream.h"
#include "FilterForm.h"
#include "MailStore.h"
#include "MessageChannel.h"
#include "MessageReadAhead.h"

#include <nsIStreamListener.h>
#include <nsIUrlListener.h>

#include <functional>
#include <memory>
#include <string>

namespace mailhost {

// Told about every message that could not be delivered: its URI and why.
using DeliveryFailureReporter = std::function<void(const std::string& uri, const std::string& why)>;

// Reads and converts one message; throws MailError when it cannot.
using FormLoader = std::function<FilterForm()>;

// The delivery of one message in filter form to a stream listener, in steps that the message
// service runs from the event loop, one step per turn:
//   1. OnStartRequest(channel, null)
//   2. the message is read and converted (or its form taken from the read-ahead); if the mail URL
//   has a header sink: ProcessHeaders
//      once, HandleAttachment per attachment, OnEndAllAttachments, OnEndMsgHeaders(url)
//   3. OnDataAvailable per block of the body, until the listener has read all of it
//   4. OnStopRequest(channel, null, status): NS_OK, the reason the message could not be read,
//      or the listener's own failure or cancel.
class MessageDelivery {
public:
  static constexpr std::size_t kBlockSize = 16 * 1024;

  MessageDelivery(const MailStore& store, MessageRef message, nsIStreamListener* listener,
                  MessageChannel* channel, nsIUrlListener* urlListener,
                  DeliveryFailureReporter reportFailure,
                  std::shared_ptr<MessageReadAhead> readAhead = nullptr);
  // A message from elsewhere (a server): its URI, its mail URL and how to get its form.
  MessageDelivery(std::string uri, std::string mailUrl, FormLoader load,
                  nsIStreamListener* listener, MessageChannel* channel, nsIUrlListener* urlListener,
                  DeliveryFailureReporter reportFailure);
  ~MessageDelivery();

  // Runs the next step; false once OnStopRequest has been delivered.
  bool step();

private:
  enum class Stage { Start, Convert, Body, Stop, Done };

  void start();
  void convert();
  void sendHeaders(FilterForm& form, nsIMsgHeaderSink* sink); // takes the fields
  void sendBlock();
  void stop();

  std::string mUri;
  std::string mMailUrl; // without its header query: the base of attachment URLs
  FormLoader mLoad;
  nsCOMPtr<nsIStreamListener> mListener;
  nsCOMPtr<MessageChannel> mChannel;
  nsCOMPtr<nsIUrlListener> mUrlListener;
  DeliveryFailureReporter mReportFailure;
  std::shared_ptr<MessageReadAhead> mReadAhead; // where the form may be ready
  nsCOMPtr<BodyInputStream> mBody;
  Stage mStage = Stage::Start;
};

} // namespace mailhost
