#include "MailboxService.h"

#include "MailError.h"
#include "RefCounting.h"

#include <nsCOMPtr.h>
#include <nsIComponentRegistrar.h>
#include <nsIFactory.h>
#include <nsXPCOM.h>

#include <cstring>

namespace mailhost {

namespace {

// The class ID of this host's mailbox service.
constexpr nsCID kMailboxServiceCID = {
    0x5b7386da, 0xc4cd, 0x4b89, {0xbc, 0xf8, 0xc4, 0x68, 0x2d, 0x18, 0x67, 0x52}};

constexpr const char* kFilterConversion = "filter";

// Hands out the one service object.
class MailboxServiceFactory final : public nsIFactory {
public:
  explicit MailboxServiceFactory(MailboxService* service) : mService(service) {}

  NS_DECL_ISUPPORTS
  NS_IMETHOD CreateInstance(nsISupports* aOuter, const nsIID& iid, void** result) override {
    if (!result)
      return NS_ERROR_NULL_POINTER;
    *result = nullptr;
    if (aOuter)
      return NS_ERROR_NO_AGGREGATION;
    return mService->QueryInterface(iid, result);
  }
  NS_IMETHOD LockFactory(PRBool) override { return NS_OK; }

private:
  ~MailboxServiceFactory() = default;
  nsrefcnt mRefCount = 0;
  nsCOMPtr<MailboxService> mService;
};

MAILHOST_IMPL_REFCOUNTING(MailboxServiceFactory)

NS_IMETHODIMP MailboxServiceFactory::QueryInterface(REFNSIID aIID, void** aResult) {
  return queryChain<MailboxServiceFactory, nsISupports, nsIFactory>(this, aIID, aResult);
}

} // namespace

MailboxService::MailboxService(EventLoop& loop, MailStore store,
                               DeliveryFailureReporter reportFailure)
    : mLoop(loop), mStore(std::move(store)), mReportFailure(std::move(reportFailure)) {}

MailboxService::~MailboxService() = default;

MAILHOST_IMPL_REFCOUNTING(MailboxService)

NS_IMETHODIMP MailboxService::QueryInterface(REFNSIID aIID, void** aResult) {
  return queryChain<MailboxService, nsISupports, nsIMsgMessageService>(this, aIID, aResult);
}

NS_IMETHODIMP MailboxService::StreamMessage(const char* aMessageURI, nsISupports* aConsumer,
                                            nsIMsgWindow* aMsgWindow, nsIUrlListener* aUrlListener,
                                            PRBool /*aConvertData: the header decides, as in the
                                                     mail code*/
                                            ,
                                            const char* aAdditionalHeader, nsIURI** _retval) {
  if (!aMessageURI || !aConsumer)
    return NS_ERROR_NULL_POINTER;
  if (!aAdditionalHeader || std::strcmp(aAdditionalHeader, kFilterConversion) != 0)
    return NS_ERROR_NOT_IMPLEMENTED;
  nsCOMPtr<nsIStreamListener> listener;
  nsresult rv = aConsumer->QueryInterface(NS_GET_IID(nsIStreamListener), getter_AddRefs(listener));
  if (NS_FAILED(rv))
    return NS_ERROR_NO_INTERFACE;

  MessageRef message;
  try {
    message = mStore.parseUri(aMessageURI);
  } catch (const MailError& error) {
    if (mReportFailure)
      mReportFailure(aMessageURI, error.what());
    return NS_ERROR_FAILURE;
  }

  nsCOMPtr<MailUrl> url =
      new MailUrl(mStore.mailUrlFor(message) + "&header=" + std::string(aAdditionalHeader));
  url->SetMsgWindow(aMsgWindow);
  nsCOMPtr<MessageChannel> channel = new MessageChannel(url);
  enqueue(std::make_unique<MessageDelivery>(mStore, std::move(message), listener, channel,
                                            aUrlListener, mReportFailure, mReadAhead));
  if (_retval) {
    *_retval = url.get();
    url->AddRef();
  }
  return NS_OK;
}

void MailboxService::enqueue(std::unique_ptr<MessageDelivery> delivery) {
  mQueue.push_back(std::move(delivery));
  schedule();
}

void MailboxService::schedule() {
  if (mScheduled)
    return;
  mScheduled = true;
  nsCOMPtr<MailboxService> self(this); // pending work keeps the service alive
  mLoop.post([self] { self->pump(); });
}

// One step of the current delivery per turn of the loop.
void MailboxService::pump() {
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

NS_IMETHODIMP MailboxService::CopyMessage(const char*, nsIStreamListener*, PRBool, nsIUrlListener*,
                                          nsIMsgWindow*, nsIURI**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailboxService::CopyMessages(nsMsgKeyArray*, nsIMsgFolder*, nsIStreamListener*,
                                           PRBool, nsIUrlListener*, nsIMsgWindow*, nsIURI**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailboxService::DisplayMessage(const char*, nsISupports*, nsIMsgWindow*,
                                             nsIUrlListener*, const char*, nsIURI**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailboxService::OpenAttachment(const char*, const char*, const char*, const char*,
                                             nsISupports*, nsIMsgWindow*, nsIUrlListener*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailboxService::SaveMessageToDisk(const char*, nsIFileSpec*, PRBool, nsIUrlListener*,
                                                nsIURI**, PRBool, nsIMsgWindow*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailboxService::GetUrlForUri(const char*, nsIURI**, nsIMsgWindow*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailboxService::DisplayMessageForPrinting(const char*, nsISupports*, nsIMsgWindow*,
                                                        nsIUrlListener*, nsIURI**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailboxService::Search(nsIMsgSearchSession*, nsIMsgWindow*, nsIMsgFolder*,
                                     const char*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP MailboxService::MessageURIToMsgHdr(const char*, nsIMsgDBHdr**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

nsresult registerMailboxService(MailboxService* service, nsIFactory** registered) {
  nsCOMPtr<nsIComponentRegistrar> registrar;
  nsresult rv = NS_GetComponentRegistrar(getter_AddRefs(registrar));
  if (NS_FAILED(rv))
    return rv;
  nsCOMPtr<nsIFactory> factory = new MailboxServiceFactory(service);
  rv = registrar->RegisterFactory(kMailboxServiceCID, "Mailbox Service", kMailboxServiceContractId,
                                  factory);
  if (NS_FAILED(rv))
    return rv;
  // The same class under its second contract ID.
  rv = registrar->RegisterFactory(kMailboxServiceCID, "Mailbox Service",
                                  kMailboxMessageServiceContractId, nullptr);
  if (NS_SUCCEEDED(rv) && registered) {
    *registered = factory.get();
    factory->AddRef();
  }
  return rv;
}

nsresult unregisterMailboxService(nsIFactory* factory) {
  nsCOMPtr<nsIComponentRegistrar> registrar;
  nsresult rv = NS_GetComponentRegistrar(getter_AddRefs(registrar));
  return NS_FAILED(rv) ? rv : registrar->UnregisterFactory(kMailboxServiceCID, factory);
}

} // namespace mailhost
