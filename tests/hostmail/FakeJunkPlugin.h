#pragma once

#include "RecordingListener.h"

#include <nsIJunkMailPlugin.h>

#include <string>
#include <tuple>
#include <vector>

// A junk-mail plug-in that works as a real one does, through the host's message services:
// it streams each message of a request in filter form, one after the other, asks the spam
// filter about it in an Apple Event exchange, and reports a verdict per message (good after a
// failed exchange). The spam filter answers in this process (the fake installs its handler):
// "SPAM" in the captured text scores a message 100, anything else 0; with `filterError` set it
// answers that error number instead. "NOREPORT" stalls the batch there (as a batch whose next
// stream fails), "BOGUS" makes it also report a URI nobody asked about. A request for
// `refusedUri` fails at once.
class FakeJunkPlugin final : public nsIJunkMailPlugin {
public:
  FakeJunkPlugin();

  std::string refusedUri;
  short filterError = 0;
  std::size_t exchanges = 0; // the spam filter's, scores and lessons
  std::vector<std::tuple<std::string, nsMsgJunkStatus, nsMsgJunkStatus>> trained;
  std::vector<nsresult> streamStatuses;  // OnStopRequest statuses, in order
  std::vector<std::size_t> requestSizes; // of each ClassifyMessages request

  NS_DECL_ISUPPORTS

  NS_IMETHOD Shutdown() override { return NS_OK; }
  NS_IMETHOD GetShouldDownloadAllHeaders(PRBool* aResult) override;
  NS_IMETHOD ClassifyMessage(const char* aMsgURI, nsIMsgWindow* aMsgWindow,
                             nsIJunkMailClassificationListener* aListener) override;
  NS_IMETHOD ClassifyMessages(PRUint32 aCount, const char** aMsgURIs, nsIMsgWindow* aMsgWindow,
                              nsIJunkMailClassificationListener* aListener) override;
  NS_IMETHOD SetMessageClassification(const char* aMsgURI, nsMsgJunkStatus aOldClassification,
                                      nsMsgJunkStatus aNewClassification, nsIMsgWindow* aMsgWindow,
                                      nsIJunkMailClassificationListener* aListener) override;
  NS_IMETHOD GetUserHasClassified(PRBool* aResult) override;
  NS_IMETHOD ResetTrainingData() override { return NS_OK; }

private:
  ~FakeJunkPlugin();
  nsresult stream(const std::string& uri, std::function<void(const std::string&)> done);
  nsresult classifyFrom(std::size_t index);

  std::vector<std::string> mBatch;
  nsCOMPtr<nsIJunkMailClassificationListener> mListener;
};
