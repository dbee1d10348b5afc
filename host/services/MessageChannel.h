// The request under which one message is delivered to a stream listener.
#pragma once

#include "MailUrl.h"

#include <nsIChannel.h>

namespace mailhost {

// The request under which one message is delivered to a stream listener. Its URI is the
// message's mail URL. Cancel is honoured: the delivery stops before its next step and ends with
// OnStopRequest and the given status. The channel cannot be opened by a caller: the message
// service drives it.
class MessageChannel final : public nsIChannel {
public:
  explicit MessageChannel(MailUrl* url);

  MailUrl* url() const { return mUrl.get(); }
  nsresult status() const { return mStatus; }
  bool canceled() const { return NS_FAILED(mStatus); }
  void setPending(bool pending) { mPending = pending; }
  void setContentLength(PRInt32 length) { mContentLength = length; }
  void fail(nsresult status); // records the first failure only

  NS_DECL_ISUPPORTS

  // nsIRequest
  NS_IMETHOD GetName(nsACString& aName) override;
  NS_IMETHOD IsPending(PRBool* _retval) override;
  NS_IMETHOD GetStatus(nsresult* aStatus) override;
  NS_IMETHOD Cancel(nsresult aStatus) override;
  NS_IMETHOD Suspend(void) override;
  NS_IMETHOD Resume(void) override;
  NS_IMETHOD GetLoadGroup(nsILoadGroup** aLoadGroup) override;
  NS_IMETHOD SetLoadGroup(nsILoadGroup* aLoadGroup) override;
  NS_IMETHOD GetLoadFlags(nsLoadFlags* aLoadFlags) override;
  NS_IMETHOD SetLoadFlags(nsLoadFlags aLoadFlags) override;

  // nsIChannel
  NS_IMETHOD GetOriginalURI(nsIURI** aOriginalURI) override;
  NS_IMETHOD SetOriginalURI(nsIURI* aOriginalURI) override;
  NS_IMETHOD GetURI(nsIURI** aURI) override;
  NS_IMETHOD GetOwner(nsISupports** aOwner) override;
  NS_IMETHOD SetOwner(nsISupports* aOwner) override;
  NS_IMETHOD GetNotificationCallbacks(nsIInterfaceRequestor** aCallbacks) override;
  NS_IMETHOD SetNotificationCallbacks(nsIInterfaceRequestor* aCallbacks) override;
  NS_IMETHOD GetSecurityInfo(nsISupports** aSecurityInfo) override;
  NS_IMETHOD GetContentType(nsACString& aContentType) override;
  NS_IMETHOD SetContentType(const nsACString& aContentType) override;
  NS_IMETHOD GetContentCharset(nsACString& aContentCharset) override;
  NS_IMETHOD SetContentCharset(const nsACString& aContentCharset) override;
  NS_IMETHOD GetContentLength(PRInt32* aContentLength) override;
  NS_IMETHOD SetContentLength(PRInt32 aContentLength) override;
  NS_IMETHOD Open(nsIInputStream** _retval) override;
  NS_IMETHOD AsyncOpen(nsIStreamListener* aListener, nsISupports* aContext) override;

private:
  ~MessageChannel() = default;

  nsCOMPtr<MailUrl> mUrl;
  nsCOMPtr<nsIURI> mOriginalUri;
  nsresult mStatus = NS_OK;
  bool mPending = false;
  nsLoadFlags mLoadFlags = nsIRequest::LOAD_NORMAL;
  PRInt32 mContentLength = -1;
};

} // namespace mailhost
