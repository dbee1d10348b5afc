#include "ClassificationListener.h"

namespace mailhost {

NS_IMPL_ISUPPORTS1(ClassificationListener, nsIJunkMailClassificationListener)

NS_IMETHODIMP ClassificationListener::OnMessageClassified(const char* aMsgURI,
                                                          nsMsgJunkStatus aClassification) {
  if (mCallback)
    mCallback(aMsgURI ? aMsgURI : "", aClassification);
  return NS_OK;
}

} // namespace mailhost
