#include "BodyInputStream.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace mailhost {

BodyInputStream::BodyInputStream(std::shared_ptr<const BodyBuffer> body) : mBody(std::move(body)) {}

NS_IMPL_ISUPPORTS1(BodyInputStream, nsIInputStream)

NS_IMETHODIMP BodyInputStream::Close() {
  mBody.reset();
  mPosition = 0;
  return NS_OK;
}

NS_IMETHODIMP BodyInputStream::Available(PRUint32* _retval) {
  NS_ENSURE_ARG_POINTER(_retval);
  if (!mBody)
    return kStreamClosed;
  *_retval = static_cast<PRUint32>(
      std::min<std::size_t>(mBody->size() - mPosition, std::numeric_limits<PRUint32>::max()));
  return NS_OK;
}

NS_IMETHODIMP BodyInputStream::Read(char* aBuf, PRUint32 aCount, PRUint32* _retval) {
  if (!_retval || (!aBuf && aCount > 0))
    return NS_ERROR_NULL_POINTER;
  std::size_t count = mBody ? std::min<std::size_t>(aCount, mBody->size() - mPosition) : 0;
  if (count > 0)
    std::memcpy(aBuf, mBody->view().data() + mPosition, count);
  mPosition += count;
  *_retval = static_cast<PRUint32>(count);
  return NS_OK;
}

NS_IMETHODIMP BodyInputStream::ReadSegments(nsWriteSegmentFun aWriter, void* aClosure,
                                            PRUint32 aCount, PRUint32* _retval) {
  NS_ENSURE_ARG_POINTER(aWriter);
  NS_ENSURE_ARG_POINTER(_retval);
  *_retval = 0;
  std::size_t count = mBody ? std::min<std::size_t>(aCount, mBody->size() - mPosition) : 0;
  while (count > 0) {
    PRUint32 written = 0;
    nsresult rv = aWriter(this, aClosure, mBody->view().data() + mPosition, *_retval,
                          static_cast<PRUint32>(count), &written);
    if (NS_FAILED(rv) || written == 0)
      break; // a writer's failure ends the read, it is not an error of the stream
    written = std::min<PRUint32>(written, static_cast<PRUint32>(count));
    mPosition += written;
    *_retval += written;
    count -= written;
  }
  return NS_OK;
}

NS_IMETHODIMP BodyInputStream::IsNonBlocking(PRBool* _retval) {
  NS_ENSURE_ARG_POINTER(_retval);
  *_retval = PR_FALSE;
  return NS_OK;
}

} // namespace mailhost
