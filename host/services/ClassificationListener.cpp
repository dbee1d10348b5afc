#include "ClassificationListener.h"

#include "RefCounting.h"

namespace mailhost {

MAILHOST_IMPL_REFCOUNTING(ClassificationListener)

NS_IMETHODIMP ClassificationListener::QueryInterface(REFNSIID aIID, void** aResult) {
  return queryChain<ClassificationListener, nsISupports, nsIJunkMailClassificationListener>(
      this, aIID, aResult);
}

NS_IMETHODIMP ClassificationListener::OnMessageClassified(const char* aMsgURI,
                                                          nsMsgJunkStatus aClassification) {
  if (mCallback)
    mCallback(aMsgURI ? aMsgURI : "", aClassification);
  return NS_OK;
}

} // namespace mailhost
