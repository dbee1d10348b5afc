#include "capture/QuellbarkTokenStreamListener.h"

#include "capture/QuellbarkTokenAnalyzer.h"
#include "log/QuellbarkLog.h"

#include <nsCOMPtr.h>
#include <nsIChannel.h>
#include <nsIInputStream.h>
#include <nsIMIMEHeaderParam.h>
#include <nsIMsgMailNewsUrl.h>
#include <nsIStringEnumerator.h>
#include <nsIURI.h>
#include <nsServiceManagerUtils.h>
#include <nsStringAPI.h>

#include <cstring>

namespace {

void appendCString(CFMutableDataRef aData, const char* aText) {
  CFDataAppendBytes(aData, reinterpret_cast<const UInt8*>(aText), CFIndex(strlen(aText)));
}

} // namespace

QuellbarkTokenStreamListener::QuellbarkTokenStreamListener(QuellbarkTokenAnalyzer* aAnalyzer)
    : mAnalyzer(aAnalyzer), mData(nullptr) {
  debug("QuellbarkTokenStreamListener::QuellbarkTokenStreamListener");
}

// A capture whose stream never stopped is not released here: only OnStopRequest
// releases it.
QuellbarkTokenStreamListener::~QuellbarkTokenStreamListener() {
  if (mAnalyzer)
    delete mAnalyzer;
  debug("QuellbarkTokenStreamListener::~QuellbarkTokenStreamListener");
}

// Two faces: the stream listener (also the nsISupports face) and the header sink.
NS_IMPL_ISUPPORTS3(QuellbarkTokenStreamListener, nsIRequestObserver, nsIStreamListener,
                   nsIMsgHeaderSink)

NS_IMETHODIMP QuellbarkTokenStreamListener::OnStartRequest(nsIRequest* aRequest, nsISupports*) {
  debug("QuellbarkTokenStreamListener::OnStartRequest");
  mData = CFDataCreateMutable(kCFAllocatorDefault, 0);

  // The host reports the headers to the header sink of the request's mail URL.
  nsCOMPtr<nsIChannel> channel = do_QueryInterface(aRequest);
  if (channel) {
    nsCOMPtr<nsIURI> uri;
    channel->GetURI(getter_AddRefs(uri));
    nsCOMPtr<nsIMsgMailNewsUrl> mailUrl = do_QueryInterface(uri);
    if (mailUrl)
      mailUrl->SetMsgHeaderSink(static_cast<nsIMsgHeaderSink*>(this));
  }
  return NS_OK;
}

NS_IMETHODIMP
QuellbarkTokenStreamListener::OnDataAvailable(nsIRequest*, nsISupports*,
                                              nsIInputStream* aInputStream, PRUint32,
                                              PRUint32 aCount) {
  debug("QuellbarkTokenStreamListener::OnDataAvailable");
  CFMutableDataRef block = CFDataCreateMutable(kCFAllocatorDefault, CFIndex(aCount));
  CFDataSetLength(block, CFIndex(aCount));
  UInt8* bytes = CFDataGetMutableBytePtr(block);

  // One read per callback; whatever a short read leaves behind is not asked for
  // again.
  PRUint32 bytesRead = aCount;
  nsresult rv = aInputStream->Read(reinterpret_cast<char*>(bytes), aCount, &bytesRead);
  if (NS_SUCCEEDED(rv))
    CFDataAppendBytes(mData, bytes, CFIndex(bytesRead));

  CFRelease(block);
  return NS_OK;
}

// The status is not looked at: a stream that failed still hands over what it
// captured.
NS_IMETHODIMP QuellbarkTokenStreamListener::OnStopRequest(nsIRequest*, nsISupports*, nsresult) {
  if (!mData) {
    error("mData is NULL");
    return NS_OK;
  }
  debug("QuellbarkTokenStreamListener::OnStopRequest");

  debug("==================================");
  CFStringRef text =
      CFStringCreateWithBytes(kCFAllocatorDefault, CFDataGetBytePtr(mData), CFDataGetLength(mData),
                              kCFStringEncodingISOLatin1, false);
  debug("%@", text);
  CFRelease(text);
  debug("==================================");

  // Everything the analyzer does, including starting the next message, happens
  // in here.
  mAnalyzer->processMessageData(mData);

  CFRelease(mData);
  mData = nullptr;
  return NS_OK;
}

NS_IMETHODIMP QuellbarkTokenStreamListener::ProcessHeaders(nsIUTF8StringEnumerator* aHeaderNames,
                                                           nsIUTF8StringEnumerator* aHeaderValues,
                                                           PRBool) {
  debug("QuellbarkTokenStreamListener::ProcessHeaders");
  // Fetched and held for the call, never used: header values go into the
  // capture exactly as the host delivers them.
  nsresult rv;
  nsCOMPtr<nsIMIMEHeaderParam> mimeHeaderParam =
      do_GetService("@mozilla.org/network/mime-hdrparam;1", &rv);

  nsCString name;
  nsCString value;
  // The first pair is fetched before the enumerators are asked whether they
  // hold anything, so even an empty header list yields one ": " line.
  PRBool hasMore = PR_FALSE;
  do {
    aHeaderNames->GetNext(name);
    aHeaderValues->GetNext(value);
    appendCString(mData, name.get());
    appendCString(mData, ": ");
    appendCString(mData, value.get());
    appendCString(mData, "\n");
    aHeaderNames->HasMore(&hasMore);
  } while (hasMore);
  return NS_OK;
}

NS_IMETHODIMP QuellbarkTokenStreamListener::HandleAttachment(const char*, const char*,
                                                             const PRUnichar*, const char*,
                                                             PRBool) {
  debug("QuellbarkTokenStreamListener::HandleAttachment");
  return NS_OK;
}

NS_IMETHODIMP QuellbarkTokenStreamListener::OnEndAllAttachments() {
  debug("QuellbarkTokenStreamListener::OnEndAllAttachments");
  return NS_OK;
}

NS_IMETHODIMP
QuellbarkTokenStreamListener::OnEndMsgHeaders(nsIMsgMailNewsUrl*) {
  debug("QuellbarkTokenStreamListener::OnEndMsgHeaders");
  appendCString(mData, "\n");
  return NS_OK;
}

NS_IMETHODIMP
QuellbarkTokenStreamListener::OnEndMsgDownload(nsIMsgMailNewsUrl*) {
  debug("QuellbarkTokenStreamListener::OnEndMsgDownload");
  return NS_OK;
}

// Leaves the caller's pointer as it was.
NS_IMETHODIMP QuellbarkTokenStreamListener::GetSecurityInfo(nsISupports**) {
  debug("QuellbarkTokenStreamListener::GetSecurityInfo");
  return NS_OK;
}

NS_IMETHODIMP QuellbarkTokenStreamListener::SetSecurityInfo(nsISupports*) {
  debug("QuellbarkTokenStreamListener::SetSecurityInfo");
  return NS_OK;
}

NS_IMETHODIMP
QuellbarkTokenStreamListener::OnMsgHasRemoteContent(nsIMsgDBHdr*) {
  debug("QuellbarkTokenStreamListener::OnMsgHasRemoteContent");
  return NS_OK;
}

// Leaves the caller's pointer as it was.
NS_IMETHODIMP QuellbarkTokenStreamListener::GetDummyMsgHeader(nsIMsgDBHdr**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
