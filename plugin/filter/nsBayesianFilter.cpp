#include "filter/nsBayesianFilter.h"

#include "log/QuellbarkLog.h"

#include <nsCOMPtr.h>
#include <nsIPrefBranch.h>
#include <nsIPrefService.h>
#include <nsServiceManagerUtils.h>

// The host's junk threshold is read as the built-in filter reads it, then dropped: the cut-off
// between good and junk is Quellbark's fixed score of 50.
nsBayesianFilter::nsBayesianFilter() : mRefCount(0) {
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

NS_IMETHODIMP nsBayesianFilter::QueryInterface(REFNSIID aIID, void** aResult) {
  if (aIID.Equals(NS_GET_IID(nsIMsgFilterPlugin)) || aIID.Equals(NS_GET_IID(nsIJunkMailPlugin)) ||
      aIID.Equals(NS_GET_IID(nsISupports))) {
    *aResult = this;
    AddRef();
    return NS_OK;
  }
  *aResult = nullptr;
  return NS_ERROR_NO_INTERFACE;
}

NS_IMETHODIMP_(nsrefcnt) nsBayesianFilter::AddRef() {
  return ++mRefCount;
}

NS_IMETHODIMP_(nsrefcnt) nsBayesianFilter::Release() {
  nsrefcnt count = --mRefCount;
  if (count != 0)
    return count;
  mRefCount = 1; // so that references taken while dying cannot free the object twice
  delete this;
  return 0;
}

NS_IMETHODIMP nsBayesianFilter::Shutdown() {
  return NS_OK;
}

NS_IMETHODIMP nsBayesianFilter::GetShouldDownloadAllHeaders(PRBool* aResult) {
  debug("nsBayesianFilter::GetShouldDownloadAllHeaders()");
  *aResult = PR_FALSE;
  return NS_OK;
}

// The three requests below are where a message starts its way to Quellbark; until the message
// path (streaming, capture and the exchange with Quellbark) is in place they only announce
// themselves.
NS_IMETHODIMP nsBayesianFilter::ClassifyMessage(char const*, nsIMsgWindow*,
                                                nsIJunkMailClassificationListener*) {
  debug("nsBayesianFilter::ClassifyMessage()");
  return NS_ERROR_NOT_IMPLEMENTED;
}

NS_IMETHODIMP nsBayesianFilter::ClassifyMessages(PRUint32, char const**, nsIMsgWindow*,
                                                 nsIJunkMailClassificationListener*) {
  debug("nsBayesianFilter::ClassifyMessages()");
  return NS_ERROR_NOT_IMPLEMENTED;
}

NS_IMETHODIMP nsBayesianFilter::SetMessageClassification(char const*, PRUint32, PRUint32,
                                                         nsIMsgWindow*,
                                                         nsIJunkMailClassificationListener*) {
  debug("nsBayesianFilter::SetMessageClassification()");
  return NS_ERROR_NOT_IMPLEMENTED;
}

// Always true: Quellbark is trained in Quellbark, so the host must never hold back its requests
// waiting for the user to train the plug-in first.
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
