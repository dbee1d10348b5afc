#include "StringEnumerator.h"

namespace mailhost {

StringEnumerator::StringEnumerator(std::vector<std::string> strings)
    : mStrings(std::move(strings)) {}

NS_IMPL_ISUPPORTS1(StringEnumerator, nsIUTF8StringEnumerator)

NS_IMETHODIMP StringEnumerator::HasMore(PRBool* _retval) {
  NS_ENSURE_ARG_POINTER(_retval);
  *_retval = mNext < mStrings.size() ? PR_TRUE : PR_FALSE;
  return NS_OK;
}

NS_IMETHODIMP StringEnumerator::GetNext(nsACString& _retval) {
  if (mNext >= mStrings.size())
    return NS_ERROR_FAILURE;
  const std::string& next = mStrings[mNext++];
  _retval.Assign(next.data(), static_cast<PRUint32>(next.size()));
  return NS_OK;
}

} // namespace mailhost
