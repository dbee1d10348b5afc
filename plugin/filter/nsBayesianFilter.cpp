#include "filter/nsBayesianFilter.h"

#include "capture/QuellbarkMessageClassifier.h"
#include "capture/QuellbarkMessageTrainer.h"
#include "capture/QuellbarkTokenStreamListener.h"
#include "filter/nsMsgUtils.h"
#include "log/QuellbarkLog.h"

#include <nsCOMPtr.h>
#include <nsIMsgMessageService.h>
#include <nsIPrefBranch.h>
#include <nsIPrefService.h>
#include <nsServiceManagerUtils.h>

// The host's junk threshold is read as the built-in filter reads it, then
// dropped: the cut-off between good and junk is Quellbark's fixed score of 50.
nsBayesianFilter::nsBayesianFilter() {
  nsresult rv;
  nsCOMPtr<nsIPrefBranch> prefBranch = do_GetService("@mozilla.org/preferences-service;1", &rv);
  if (prefBranch) {
    PRInt32 threshold = 0;
    prefBranch->GetIntPref("mail.adaptivefilters.junk_threshold", &threshold);
  }
  nsCOMPtr<nsIPrefService> prefService = do_GetService("@mozilla.org/preferences-service;1", &rv);
  nsCOMPtr<nsIPrefBranch> rootBranch;
  rv = prefService->GetBranch(nullptr, getter_AddRefs(rootBranch));
}

NS_IMPL_ISUPPORTS2(nsBayesianFilter, nsIMsgFilterPlugin, nsIJunkMailPlugin)

NS_IMETHODIMP nsBayesianFilter::Shutdown() {
  return NS_OK;
}

NS_IMETHODIMP nsBayesianFilter::GetShouldDownloadAllHeaders(PRBool* aResult) {
  debug("nsBayesianFilter::GetShouldDownloadAllHeaders()");
  *aResult = PR_FALSE;
  return NS_OK;
}

// Each request makes one analyzer and one listener and starts streaming the
// first message; the rest happens in the host's stream callbacks. Only the
// start of that first stream can fail towards the host. When it does, the pair
// and the references it holds stay as they are: there is no clean-up path for a
// stream that never started.
NS_IMETHODIMP nsBayesianFilter::ClassifyMessage(const char* aMsgURI, nsIMsgWindow* aMsgWindow,
                                                nsIJunkMailClassificationListener* aListener) {
  debug("nsBayesianFilter::ClassifyMessage()");
  auto* classifier = new QuellbarkMessageClassifier(this, aListener, aMsgWindow, 1, &aMsgURI);
  classifier->attachListener(new QuellbarkTokenStreamListener(classifier));
  return streamMessage(aMsgURI, aMsgWindow, classifier);
}

// The count is not checked: a caller passes at least one URI, and the first is
// streamed from the caller's own array.
NS_IMETHODIMP nsBayesianFilter::ClassifyMessages(PRUint32 aCount, const char** aMsgURIs,
                                                 nsIMsgWindow* aMsgWindow,
                                                 nsIJunkMailClassificationListener* aListener) {
  debug("nsBayesianFilter::ClassifyMessages()");
  auto* classifier =
      new QuellbarkMessageClassifier(this, aListener, aMsgWindow, PRInt32(aCount), aMsgURIs);
  classifier->attachListener(new QuellbarkTokenStreamListener(classifier));
  return streamMessage(aMsgURIs[0], aMsgWindow, classifier);
}

// No decision here: the trainer acts on the new classification once the message
// has arrived.
NS_IMETHODIMP
nsBayesianFilter::SetMessageClassification(const char* aMsgURI, PRUint32 aOldClassification,
                                           PRUint32 aNewClassification, nsIMsgWindow* aMsgWindow,
                                           nsIJunkMailClassificationListener* aListener) {
  debug("nsBayesianFilter::SetMessageClassification()");
  auto* trainer =
      new QuellbarkMessageTrainer(this, aOldClassification, aNewClassification, aListener);
  trainer->attachListener(new QuellbarkTokenStreamListener(trainer));
  return streamMessage(aMsgURI, aMsgWindow, trainer);
}

// The message service is looked up afresh for every message; nothing is cached.
nsresult nsBayesianFilter::streamMessage(const char* aMsgURI, nsIMsgWindow* aMsgWindow,
                                         QuellbarkTokenAnalyzer* aAnalyzer) {
  debug("nsBayesianFilter::streamMessage()");
  nsCOMPtr<nsIMsgMessageService> messageService;
  nsresult rv = GetMessageServiceFromURI(aMsgURI, getter_AddRefs(messageService));
  NS_ENSURE_SUCCESS(rv, rv);

  aAnalyzer->setMessageUri(aMsgURI);
  return messageService->StreamMessage(aMsgURI, aAnalyzer->streamListener(), aMsgWindow, nullptr,
                                       PR_TRUE, "filter", nullptr);
}

// Always true: Quellbark is trained in Quellbark, so the host must never hold
// back its requests waiting for the user to train the plug-in first.
NS_IMETHODIMP nsBayesianFilter::GetUserHasClassified(PRBool* aResult) {
  debug("nsBayesianFilter::GetUserHasClassified()");
  *aResult = PR_TRUE;
  return NS_OK;
}

// Quellbark's training belongs to Quellbark; the host's reset leaves it alone.
NS_IMETHODIMP nsBayesianFilter::ResetTrainingData() {
  debug("nsBayesianFilter::ResetTrainingData()");
  return NS_OK;
}
