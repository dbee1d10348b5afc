#include "RecordingListener.h"

#include <nsIChannel.h>
#include <nsIInputStream.h>
#include <nsIMsgMailNewsUrl.h>
#include <nsIStringEnumerator.h>

#include <glib.h>

bool RecordingListener::sInsideStreamMessage = false;
std::vector<std::string> RecordingListener::sViolations;

namespace {

std::string toStd(const nsACString& value) {
  const char* data = nullptr;
  PRUint32 length = NS_CStringGetData(value, &data, nullptr);
  return std::string(data, length);
}

std::string utf8(const PRUnichar* text) {
  if (!text)
    return "<null>";
  char* converted =
      g_utf16_to_utf8(reinterpret_cast<const gunichar2*>(text), -1, nullptr, nullptr, nullptr);
  std::string result = converted ? converted : "<invalid>";
  g_free(converted);
  return result;
}

} // namespace

std::string specOf(nsIURI* uri) {
  if (!uri)
    return "<null>";
  nsCString spec;
  uri->GetSpec(spec);
  return toStd(spec);
}

NS_IMPL_ISUPPORTS3(RecordingListener, nsIRequestObserver, nsIStreamListener, nsIMsgHeaderSink)

void RecordingListener::check(const char* callback) {
  if (sInsideStreamMessage)
    sViolations.push_back(std::string(callback) + " inside StreamMessage");
}

NS_IMETHODIMP RecordingListener::OnStartRequest(nsIRequest* aRequest, nsISupports* aContext) {
  check("OnStartRequest");
  mExpectedOffset = 0;
  bodies.emplace_back();
  nsCOMPtr<nsIChannel> channel = do_QueryInterface(aRequest);
  nsCOMPtr<nsIURI> uri;
  if (channel)
    channel->GetURI(getter_AddRefs(uri));
  events.push_back("start " + specOf(uri) + (aContext ? " with context" : ""));
  nsCOMPtr<nsIMsgMailNewsUrl> url = do_QueryInterface(uri);
  if (url && installSink)
    url->SetMsgHeaderSink(this);
  return failStartWith;
}

NS_IMETHODIMP RecordingListener::OnDataAvailable(nsIRequest* aRequest, nsISupports*,
                                                 nsIInputStream* aStream, PRUint32 aOffset,
                                                 PRUint32 aCount) {
  check("OnDataAvailable");
  mLastStream = aStream;
  if (aOffset != mExpectedOffset)
    sViolations.push_back("offset " + std::to_string(aOffset) + " after " +
                          std::to_string(mExpectedOffset) + " bytes");
  PRUint32 available = 0;
  aStream->Available(&available);
  if (available < aCount)
    sViolations.push_back("Available below the block's count");
  if (readsNothing)
    return NS_OK;
  PRUint32 want = readLimit ? std::min(readLimit, aCount) : aCount;
  std::string block(want, '\0');
  PRUint32 got = 0;
  aStream->Read(block.data(), want, &got);
  block.resize(got);
  mExpectedOffset += got;
  bodies.back() += block;
  capture += block;
  events.push_back("data");
  if (NS_FAILED(cancelInDataWith))
    aRequest->Cancel(cancelInDataWith);
  return NS_OK;
}

NS_IMETHODIMP RecordingListener::OnStopRequest(nsIRequest*, nsISupports*, nsresult aStatusCode) {
  check("OnStopRequest");
  // Collapse the data lines: how the body was cut into blocks is checked apart.
  while (events.size() >= 2 && events.back() == "data" && events[events.size() - 2] == "data")
    events.pop_back();
  char status[16];
  std::snprintf(status, sizeof status, "%08x", aStatusCode);
  // The body is let go before the stop: its stream no longer serves it.
  PRUint32 left = 0;
  bool open = mLastStream && NS_SUCCEEDED(mLastStream->Available(&left));
  mLastStream = nullptr;
  events.push_back(std::string("stop ") + status + (open ? " (body still open)" : ""));
  stopStatuses.push_back(aStatusCode);
  return NS_OK;
}

NS_IMETHODIMP RecordingListener::ProcessHeaders(nsIUTF8StringEnumerator* aNames,
                                                nsIUTF8StringEnumerator* aValues,
                                                PRBool dontCollectAddress) {
  check("ProcessHeaders");
  std::string line = "headers";
  PRBool more = PR_FALSE;
  while (NS_SUCCEEDED(aNames->HasMore(&more)) && more) {
    nsCString name, value;
    aNames->GetNext(name);
    if (NS_FAILED(aValues->GetNext(value)))
      sViolations.push_back("fewer values than names");
    line += " [" + toStd(name) + "=" + toStd(value) + "]";
    capture += toStd(name) + ": " + toStd(value) + "\n";
  }
  aValues->HasMore(&more);
  if (more)
    sViolations.push_back("more values than names");
  if (dontCollectAddress)
    line += " dontCollect";
  events.push_back(line);
  return NS_OK;
}

NS_IMETHODIMP RecordingListener::HandleAttachment(const char* contentType, const char* url,
                                                  const PRUnichar* displayName, const char* uri,
                                                  PRBool aNotDownloaded) {
  check("HandleAttachment");
  events.push_back(std::string("attachment ") + contentType + " " + url + " " + utf8(displayName) +
                   " " + uri + (aNotDownloaded ? " notDownloaded" : ""));
  return NS_OK;
}

NS_IMETHODIMP RecordingListener::OnEndAllAttachments() {
  check("OnEndAllAttachments");
  events.push_back("endAttachments");
  return NS_OK;
}

NS_IMETHODIMP RecordingListener::OnEndMsgHeaders(nsIMsgMailNewsUrl* url) {
  check("OnEndMsgHeaders");
  events.push_back("endHeaders " + specOf(url));
  capture += "\n";
  return NS_OK;
}
