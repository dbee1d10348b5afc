// A stream listener for the message service tests that writes down every call it gets.
#pragma once

#include <nsCOMPtr.h>
#include <nsIInputStream.h>
#include <nsIMsgHeaderSink.h>
#include <nsIStreamListener.h>
#include <nsIURI.h>

#include <string>
#include <vector>

// A stream listener with a header-sink face, as a junk-mail filter has: it installs itself as
// the mail URL's header sink when a stream starts and writes down every call it gets.
class RecordingListener final : public nsIStreamListener, public nsIMsgHeaderSink {
public:
  // Set by a test around its StreamMessage calls: no callback may come while it is set.
  static bool sInsideStreamMessage;
  // Broken guarantees seen by any listener (a callback inside StreamMessage, a bad offset).
  static std::vector<std::string> sViolations;

  RecordingListener() = default;

  std::vector<std::string> events; // one line per call, in order
  std::string capture;             // header lines, an empty line, the body: the filter's view
  std::vector<std::string> bodies; // the body bytes of each stream
  bool installSink = true;         // install as the URL's header sink in OnStartRequest
  PRUint32 readLimit = 0;          // read at most this much per block (0: all of it)
  bool readsNothing = false;       // take no byte of any block
  nsresult failStartWith = NS_OK;  // OnStartRequest's result
  nsresult cancelInDataWith = NS_OK;
  std::vector<nsresult> stopStatuses;

  NS_DECL_ISUPPORTS

  NS_IMETHOD OnStartRequest(nsIRequest* aRequest, nsISupports* aContext) override;
  NS_IMETHOD OnStopRequest(nsIRequest* aRequest, nsISupports* aContext,
                           nsresult aStatusCode) override;
  NS_IMETHOD OnDataAvailable(nsIRequest* aRequest, nsISupports* aContext,
                             nsIInputStream* aInputStream, PRUint32 aOffset,
                             PRUint32 aCount) override;

  NS_IMETHOD ProcessHeaders(nsIUTF8StringEnumerator* aHeaderNames,
                            nsIUTF8StringEnumerator* aHeaderValues,
                            PRBool dontCollectAddress) override;
  NS_IMETHOD HandleAttachment(const char* contentType, const char* url,
                              const PRUnichar* displayName, const char* uri,
                              PRBool aNotDownloaded) override;
  NS_IMETHOD OnEndAllAttachments() override;
  NS_IMETHOD OnEndMsgHeaders(nsIMsgMailNewsUrl* url) override;
  NS_IMETHOD OnEndMsgDownload(nsIMsgMailNewsUrl*) override { return NS_OK; }
  NS_IMETHOD GetSecurityInfo(nsISupports**) override { return NS_ERROR_NOT_IMPLEMENTED; }
  NS_IMETHOD SetSecurityInfo(nsISupports*) override { return NS_ERROR_NOT_IMPLEMENTED; }
  NS_IMETHOD OnMsgHasRemoteContent(nsIMsgDBHdr*) override { return NS_OK; }
  NS_IMETHOD GetDummyMsgHeader(nsIMsgDBHdr**) override { return NS_ERROR_NOT_IMPLEMENTED; }

private:
  ~RecordingListener() = default;
  void check(const char* callback);

  PRUint32 mExpectedOffset = 0;
  nsCOMPtr<nsIInputStream> mLastStream; // kept past its block, as a listener may
};

std::string specOf(nsIURI* uri);
