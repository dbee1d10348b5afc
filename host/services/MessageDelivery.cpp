#include "MessageDelivery.h"

#include "MailError.h"
#include "StringEnumerator.h"

#include <glib.h>

#include <algorithm>
#include <strings.h>
#include <utility>

namespace mailhost {

namespace {

nsresult statusFor(MailErrorKind kind) {
  switch (kind) {
  case MailErrorKind::NotFound:
    return NS_ERROR_FILE_NOT_FOUND;
  case MailErrorKind::AccessDenied:
    return NS_ERROR_FILE_ACCESS_DENIED;
  case MailErrorKind::NotAFolder:
    return NS_ERROR_FILE_UNKNOWN_TYPE;
  default:
    return NS_ERROR_FAILURE;
  }
}

// A display name in the UTF-16 form the header sink takes.
std::u16string utf16(const std::string& utf8) {
  glong written = 0;
  gunichar2* converted =
      g_utf8_to_utf16(utf8.c_str(), static_cast<glong>(utf8.size()), nullptr, &written, nullptr);
  std::u16string result;
  if (converted)
    result.assign(reinterpret_cast<const char16_t*>(converted), static_cast<std::size_t>(written));
  g_free(converted);
  return result;
}

} // namespace

std::string withQuery(const std::string& url, const std::string& parameter) {
  return url + (url.find('?') == std::string::npos ? '?' : '&') + parameter;
}

MessageDelivery::MessageDelivery(MessageSource source, nsIStreamListener* listener,
                                 MessageChannel* channel, nsIUrlListener* urlListener,
                                 DeliveryFailureReporter reportFailure)
    : mSource(std::move(source)), mListener(listener), mChannel(channel), mUrlListener(urlListener),
      mReportFailure(std::move(reportFailure)) {}

MessageDelivery::~MessageDelivery() = default;

bool MessageDelivery::step() {
  // A cancel (or a failure) skips whatever is left before the stop.
  if (mStage != Stage::Done && mStage != Stage::Start && mChannel->canceled())
    mStage = Stage::Stop;
  switch (mStage) {
  case Stage::Start:
    start();
    break;
  case Stage::Convert:
    convert();
    break;
  case Stage::Body:
    sendBlock();
    break;
  case Stage::Stop:
    stop();
    break;
  case Stage::Done:
    break;
  }
  return mStage != Stage::Done;
}

void MessageDelivery::start() {
  mChannel->setPending(true);
  mChannel->url()->SetUrlState(PR_TRUE, NS_OK);
  if (mUrlListener)
    mUrlListener->OnStartRunningUrl(mChannel->url());
  nsresult rv = mListener->OnStartRequest(mChannel, nullptr);
  if (NS_FAILED(rv))
    mChannel->fail(rv);
  mStage = Stage::Convert;
}

void MessageDelivery::convert() {
  auto form = std::make_shared<FilterForm>();
  auto read = std::exchange(mSource.read, nullptr); // let what the reader holds go once done
  try {
    *form = read();
  } catch (const MailError& error) {
    mChannel->fail(statusFor(error.kind()));
    if (mReportFailure)
      mReportFailure(mSource.uri, error.what());
    mStage = Stage::Stop;
    return;
  }
  mChannel->setContentLength(
      static_cast<PRInt32>(std::min<std::size_t>(form->body.size(), 0x7fffffff)));
  if (nsIMsgHeaderSink* sink = mChannel->url()->headerSink()) {
    nsCOMPtr<nsIMsgHeaderSink> keep(sink); // the listener may replace the sink meanwhile
    sendHeaders(*form, sink);
  }
  // The stream shares the body; the headers and attachments are no longer needed.
  std::shared_ptr<const BodyBuffer> body(form, &form->body);
  mBody = new BodyInputStream(std::move(body));
  mStage = Stage::Body;
}

void MessageDelivery::sendHeaders(FilterForm& form, nsIMsgHeaderSink* sink) {
  std::vector<std::string> names;
  std::vector<std::string> values;
  names.reserve(form.headers.size());
  values.reserve(form.headers.size());
  bool newsgroups = false;
  for (HeaderField& field : form.headers) {
    newsgroups = newsgroups || strcasecmp(field.name.c_str(), "Newsgroups") == 0;
    names.push_back(std::move(field.name));
    values.push_back(std::move(field.value));
  }
  nsCOMPtr<nsIUTF8StringEnumerator> nameList = new StringEnumerator(std::move(names));
  nsCOMPtr<nsIUTF8StringEnumerator> valueList = new StringEnumerator(std::move(values));
  sink->ProcessHeaders(nameList, valueList, newsgroups ? PR_TRUE : PR_FALSE);

  for (const AttachmentInfo& attachment : form.attachments) {
    std::string partUrl = withQuery(mSource.mailUrl, "part=" + attachment.partId);
    std::u16string name = utf16(attachment.displayName);
    sink->HandleAttachment(attachment.contentType.c_str(), partUrl.c_str(),
                           reinterpret_cast<const PRUnichar*>(name.c_str()), mSource.uri.c_str(),
                           PR_FALSE);
  }
  sink->OnEndAllAttachments();
  sink->OnEndMsgHeaders(mChannel->url());
}

void MessageDelivery::sendBlock() {
  std::size_t before = mBody->position();
  std::size_t remaining = mBody->size() - before;
  if (remaining == 0) {
    mStage = Stage::Stop;
    return;
  }
  PRUint32 count = static_cast<PRUint32>(std::min(remaining, kBlockSize));
  nsresult rv =
      mListener->OnDataAvailable(mChannel, nullptr, mBody, static_cast<PRUint32>(before), count);
  if (NS_FAILED(rv))
    mChannel->fail(rv);
  else if (mBody->position() == before) // a listener that reads nothing would never finish
    mChannel->fail(NS_ERROR_UNEXPECTED);
}

void MessageDelivery::stop() {
  // The body goes before the listener is told, even if it keeps the stream: a listener that
  // collected the message works on its own copy from here on (a filter sends it on), and the
  // host's copy would only double the memory a large message takes meanwhile.
  if (mBody)
    mBody->Close();
  mBody = nullptr;
  mChannel->setPending(false);
  mChannel->url()->SetUrlState(PR_FALSE, mChannel->status());
  mListener->OnStopRequest(mChannel, nullptr, mChannel->status());
  if (mUrlListener)
    mUrlListener->OnStopRunningUrl(mChannel->url(), mChannel->status());
  mStage = Stage::Done;
}

} // namespace mailhost
