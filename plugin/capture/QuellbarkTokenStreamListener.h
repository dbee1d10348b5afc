// The object the host streams a message into. It captures the message as bytes:
// one line per header the host reports, an empty line when the headers end,
// then the body blocks; when the stream stops it hands the capture to its
// analyzer. It does no parsing of its own.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <nsIMsgHeaderSink.h>
#include <nsIStreamListener.h>

class QuellbarkTokenAnalyzer;

class QuellbarkTokenStreamListener : public nsIStreamListener, public nsIMsgHeaderSink {
  // Plain arithmetic: one host thread only.
  NS_DECL_ISUPPORTS

  explicit QuellbarkTokenStreamListener(QuellbarkTokenAnalyzer* aAnalyzer);
  QuellbarkTokenStreamListener(const QuellbarkTokenStreamListener&) = delete;
  QuellbarkTokenStreamListener& operator=(const QuellbarkTokenStreamListener&) = delete;

  // nsIRequestObserver and nsIStreamListener
  NS_IMETHOD OnStartRequest(nsIRequest* aRequest, nsISupports* aContext) override;
  NS_IMETHOD OnStopRequest(nsIRequest* aRequest, nsISupports* aContext,
                           nsresult aStatusCode) override;
  NS_IMETHOD OnDataAvailable(nsIRequest* aRequest, nsISupports* aContext,
                             nsIInputStream* aInputStream, PRUint32 aOffset,
                             PRUint32 aCount) override;

  // nsIMsgHeaderSink
  NS_IMETHOD ProcessHeaders(nsIUTF8StringEnumerator* aHeaderNames,
                            nsIUTF8StringEnumerator* aHeaderValues,
                            PRBool aDontCollectAddress) override;
  NS_IMETHOD HandleAttachment(const char* aContentType, const char* aUrl,
                              const PRUnichar* aDisplayName, const char* aUri,
                              PRBool aNotDownloaded) override;
  NS_IMETHOD OnEndAllAttachments() override;
  NS_IMETHOD OnEndMsgHeaders(nsIMsgMailNewsUrl* aUrl) override;
  NS_IMETHOD OnEndMsgDownload(nsIMsgMailNewsUrl* aUrl) override;
  NS_IMETHOD GetSecurityInfo(nsISupports** aSecurityInfo) override;
  NS_IMETHOD SetSecurityInfo(nsISupports* aSecurityInfo) override;
  NS_IMETHOD OnMsgHasRemoteContent(nsIMsgDBHdr* aMsgHdr) override;
  NS_IMETHOD GetDummyMsgHeader(nsIMsgDBHdr** aResult) override;

  virtual ~QuellbarkTokenStreamListener();

private:
  QuellbarkTokenAnalyzer* mAnalyzer; // owned: deleted with the listener
  CFMutableDataRef mData;            // the message being captured; null between messages
};
