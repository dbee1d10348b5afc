// The delivery of one message in filter form to a stream listener, step by step.
#pragma once

#include "BodyInputStream.h"
#include "FilterForm.h"
#include "MessageChannel.h"

#include <nsIStreamListener.h>
#include <nsIUrlListener.h>

#include <functional>
#include <memory>
#include <string>

namespace mailhost {

// Told about every message that could not be delivered: its URI and why.
using DeliveryFailureReporter = std::function<void(const std::string& uri, const std::string& why)>;

// What a delivery streams, as its message service resolved it: the message's URI, the mail URL
// its parts are named under ("<mailUrl>&part=<id>"), and how to read the message into filter
// form (throws MailError when it cannot: a missing file, bytes that are no message).
// The URL with one more query parameter: after '?' when it has no query yet, else after '&'.
std::string withQuery(const std::string& url, const std::string& parameter);

struct MessageSource {
  std::string uri;
  std::string mailUrl;
  std::function<FilterForm()> read;
};

// The delivery of one message in filter form to a stream listener, in steps that the message
// service runs from the event loop, one step per turn:
//   1. OnStartRequest(channel, null)
//   2. the message is read and converted; if the mail URL has a header sink: ProcessHeaders once,
//   HandleAttachment per attachment, OnEndAllAttachments, OnEndMsgHeaders(url)
//   3. OnDataAvailable per block of the body, until the listener has read all of it
//   4. OnStopRequest(channel, null, status): NS_OK, the reason the message could not be read,
//      or the listener's own failure or cancel. The body's stream is closed by then.
class MessageDelivery {
public:
  static constexpr std::size_t kBlockSize = 16 * 1024;

  MessageDelivery(MessageSource source, nsIStreamListener* listener, MessageChannel* channel,
                  nsIUrlListener* urlListener, DeliveryFailureReporter reportFailure);
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

  MessageSource mSource;
  nsCOMPtr<nsIStreamListener> mListener;
  nsCOMPtr<MessageChannel> mChannel;
  nsCOMPtr<nsIUrlListener> mUrlListener;
  DeliveryFailureReporter mReportFailure;
  nsCOMPtr<BodyInputStream> mBody;
  Stage mStage = Stage::Start;
};

} // namespace mailhost
