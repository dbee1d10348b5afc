#include "MessageService.h"

#include "MailError.h"
#include "MailUrl.h"

#include <nsCOMPtr.h>
#include <nsIComponentRegistrar.h>
#include <nsXPCOM.h>

#include <cstring>

namespace mailhost {

namespace {

constexpr const char* kFilterConversion = "filter";

// Hands out the one service object.
class MessageServiceFactory final : public nsIFactory {
public:
  explicit MessageServiceFactory(MessageService* service) : mService(service) {}

  NS_DECL_ISUPPORTS
  NS_IMETHOD CreateInstance(nsISupports* aOuter, const nsIID& iid, void** result) override {
    NS_ENSURE_ARG_POINTER(result);
    *result = nullptr;
    if (aOuter)
      return NS_ERROR_NO_AGGREGATION;
    return mService->QueryInterface(iid, result);
  }
  NS_IMETHOD LockFactory(PRBool) override { return NS_OK; }

private:
  ~MessageServiceFactory() = default;
  nsCOMPtr<MessageService> mService;
};

NS_IMPL_ISUPPORTS1(MessageServiceFactory, nsIFactory)

} // namespace

MessageService::MessageService(EventLoop& loop, DeliveryFailureReporter reportFailure)
    : mLoop(loop), mReportFailure(std::move(reportFailure)) {}

MessageService::~MessageService() = default;

NS_IMPL_ISUPPORTS1(MessageService, nsIMsgMessageService)

NS_IMETHODIMP MessageService::StreamMessage(const char* aMessageURI, nsISupports* aConsumer,
                                            nsIMsgWindow* aMsgWindow, nsIUrlListener* aUrlListener,
                                            PRBool /*aConvertData: the header decides, as in the
                                                     mail code*/
                                            ,
                                            const char* aAdditionalHeader, nsIURI** _retval) {
  NS_ENSURE_ARG_POINTER(aMessageURI);
  NS_ENSURE_ARG_POINTER(aConsumer);
  if (!aAdditionalHeader || std::strcmp(aAdditionalHeader, kFilterConversion) != 0)
    return NS_ERROR_NOT_IMPLEMENTED;
  nsCOMPtr<nsIStreamListener> listener;
  nsresult rv = aConsumer->QueryInterface(NS_GET_IID(nsIStreamListener), getter_AddRefs(listener));
  if (NS_FAILED(rv))
    return NS_ERROR_NO_INTERFACE;

  MessageSource message;
  try {
    message = source(aMessageURI);
  } catch (const MailError& error) {
    if (mReportFailure)
      mReportFailure(aMessageURI, error.what());
    return NS_ERROR_FAILURE;
  }

  nsCOMPtr<MailUrl> url =
      new MailUrl(withQuery(message.mailUrl, std::string("header=") + aAdditionalHeader));
  url->SetMsgWindow(aMsgWindow);
  nsCOMPtr<MessageChannel> channel = new MessageChannel(url);
  mQueue.push_back(std::make_unique<MessageDelivery>(std::move(message), listener, channel,
                                                     aUrlListener, mReportFailure));
  schedule();
  if (_retval) {
    *_retval = url.get();
    url->AddRef();
  }
  return NS_OK;
}

void MessageService::schedule() {
  if (mScheduled)
    return;
  mScheduled = true;
  nsCOMPtr<MessageService> self(this); // pending work keeps the service alive
  mLoop.post([self] { self->pump(); });
}

// One step of the current delivery per turn of the loop.
void MessageService::pump() {
  mScheduled = false;
  if (!mActive) {
    if (mQueue.empty())
      return;
    mActive = std::move(mQueue.front());
    mQueue.pop_front();
  }
  bool more = mActive->step();
  if (!more)
    mActive.reset();
  if (mActive || !mQueue.empty())
    schedule();
}

NS_IMETHODIMP MessageService::CopyMessage(const char*, nsIStreamListener*, PRBool, nsIUrlListener*,
                                          nsIMsgWindow*, nsIURI**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MessageService::CopyMessages(nsMsgKeyArray*, nsIMsgFolder*, nsIStreamListener*,
                                           PRBool, nsIUrlListener*, nsIMsgWindow*, nsIURI**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MessageService::DisplayMessage(const char*, nsISupports*, nsIMsgWindow*,
                                             nsIUrlListener*, const char*, nsIURI**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MessageService::OpenAttachment(const char*, const char*, const char*, const char*,
                                             nsISupports*, nsIMsgWindow*, nsIUrlListener*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MessageService::SaveMessageToDisk(const char*, nsIFileSpec*, PRBool, nsIUrlListener*,
                                                nsIURI**, PRBool, nsIMsgWindow*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MessageService::GetUrlForUri(const char*, nsIURI**, nsIMsgWindow*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MessageService::DisplayMessageForPrinting(const char*, nsISupports*, nsIMsgWindow*,
                                                        nsIUrlListener*, nsIURI**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MessageService::Search(nsIMsgSearchSession*, nsIMsgWindow*, nsIMsgFolder*,
                                     const char*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MessageService::MessageURIToMsgHdr(const char*, nsIMsgDBHdr**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

nsresult registerMessageService(MessageService* service, const nsCID& classId,
                                const char* className,
                                std::initializer_list<const char*> contractIds,
                                nsIFactory** registered) {
  nsCOMPtr<nsIComponentRegistrar> registrar;
  nsresult rv = NS_GetComponentRegistrar(getter_AddRefs(registrar));
  NS_ENSURE_SUCCESS(rv, rv);
  nsCOMPtr<nsIFactory> factory = new MessageServiceFactory(service);
  bool first = true;
  for (const char* contractId : contractIds) {
    // The same class under every further contract ID.
    rv = registrar->RegisterFactory(classId, className, contractId, first ? factory : nullptr);
    NS_ENSURE_SUCCESS(rv, rv);
    first = false;
  }
  if (registered) {
    *registered = factory.get();
    factory->AddRef();
  }
  return NS_OK;
}

nsresult unregisterMessageService(const nsCID& classId, nsIFactory* factory) {
  nsCOMPtr<nsIComponentRegistrar> registrar;
  nsresult rv = NS_GetComponentRegistrar(getter_AddRefs(registrar));
  return NS_FAILED(rv) ? rv : registrar->UnregisterFactory(classId, factory);
}

} // namespace mailhost
