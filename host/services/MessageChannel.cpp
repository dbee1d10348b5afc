#include "MessageChannel.h"

namespace mailhost {

namespace {

// The filter conversion produces the converter's display type, in UTF-8.
constexpr const char* kContentType = "text/html";
constexpr const char* kContentCharset = "UTF-8";

template <typename T>
nsresult handOutNull(T** out) {
  NS_ENSURE_ARG_POINTER(out);
  *out = nullptr;
  return NS_OK;
}

template <typename T>
nsresult handOut(T* object, T** out) {
  NS_ENSURE_ARG_POINTER(out);
  *out = object;
  if (object)
    object->AddRef();
  return NS_OK;
}

} // namespace

MessageChannel::MessageChannel(MailUrl* url) : mUrl(url), mOriginalUri(url) {}

NS_IMPL_ISUPPORTS2(MessageChannel, nsIRequest, nsIChannel)

void MessageChannel::fail(nsresult status) {
  if (NS_SUCCEEDED(mStatus))
    mStatus = status;
}

NS_IMETHODIMP MessageChannel::GetName(nsACString& aName) {
  aName.Assign(mUrl->spec().data(), static_cast<PRUint32>(mUrl->spec().size()));
  return NS_OK;
}
NS_IMETHODIMP MessageChannel::IsPending(PRBool* _retval) {
  NS_ENSURE_ARG_POINTER(_retval);
  *_retval = mPending ? PR_TRUE : PR_FALSE;
  return NS_OK;
}
NS_IMETHODIMP MessageChannel::GetStatus(nsresult* aStatus) {
  NS_ENSURE_ARG_POINTER(aStatus);
  *aStatus = mStatus;
  return NS_OK;
}
NS_IMETHODIMP MessageChannel::Cancel(nsresult aStatus) {
  if (NS_SUCCEEDED(aStatus))
    return NS_ERROR_INVALID_ARG; // a cancel must say why
  fail(aStatus);
  return NS_OK;
}
NS_IMETHODIMP MessageChannel::Suspend() {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MessageChannel::Resume() {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MessageChannel::GetLoadGroup(nsILoadGroup** aLoadGroup) {
  return handOutNull(aLoadGroup);
}
NS_IMETHODIMP MessageChannel::SetLoadGroup(nsILoadGroup*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MessageChannel::GetLoadFlags(nsLoadFlags* aLoadFlags) {
  NS_ENSURE_ARG_POINTER(aLoadFlags);
  *aLoadFlags = mLoadFlags;
  return NS_OK;
}
NS_IMETHODIMP MessageChannel::SetLoadFlags(nsLoadFlags aLoadFlags) {
  mLoadFlags = aLoadFlags;
  return NS_OK;
}

NS_IMETHODIMP MessageChannel::GetOriginalURI(nsIURI** aOriginalURI) {
  return handOut(mOriginalUri.get(), aOriginalURI);
}
NS_IMETHODIMP MessageChannel::SetOriginalURI(nsIURI* aOriginalURI) {
  NS_ENSURE_ARG_POINTER(aOriginalURI);
  mOriginalUri = aOriginalURI;
  return NS_OK;
}
NS_IMETHODIMP MessageChannel::GetURI(nsIURI** aURI) {
  return handOut<nsIURI>(mUrl.get(), aURI);
}
NS_IMETHODIMP MessageChannel::GetOwner(nsISupports** aOwner) {
  return handOutNull(aOwner);
}
NS_IMETHODIMP MessageChannel::SetOwner(nsISupports*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MessageChannel::GetNotificationCallbacks(nsIInterfaceRequestor** aCallbacks) {
  return handOutNull(aCallbacks);
}
NS_IMETHODIMP MessageChannel::SetNotificationCallbacks(nsIInterfaceRequestor*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MessageChannel::GetSecurityInfo(nsISupports** aSecurityInfo) {
  return handOutNull(aSecurityInfo);
}
NS_IMETHODIMP MessageChannel::GetContentType(nsACString& aContentType) {
  aContentType.Assign(kContentType);
  return NS_OK;
}
NS_IMETHODIMP MessageChannel::SetContentType(const nsACString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MessageChannel::GetContentCharset(nsACString& aContentCharset) {
  aContentCharset.Assign(kContentCharset);
  return NS_OK;
}
NS_IMETHODIMP MessageChannel::SetContentCharset(const nsACString&) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MessageChannel::GetContentLength(PRInt32* aContentLength) {
  NS_ENSURE_ARG_POINTER(aContentLength);
  *aContentLength = mContentLength;
  return NS_OK;
}
NS_IMETHODIMP MessageChannel::SetContentLength(PRInt32 aContentLength) {
  mContentLength = aContentLength;
  return NS_OK;
}
NS_IMETHODIMP MessageChannel::Open(nsIInputStream**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MessageChannel::AsyncOpen(nsIStreamListener*, nsISupports*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

} // namespace mailhost
