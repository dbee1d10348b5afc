#include "HeldMessageService.h"

#include "MailError.h"

#include <nsCOMPtr.h>
#include <nsIComponentRegistrar.h>
#include <nsXPCOM.h>

#include <cstring>

namespace mailhost {

namespace {

constexpr nsCID kHeldMessageServiceCID = {
    0x8f1d2c47, 0x3a5e, 0x4b9c, {0x9e, 0x21, 0x6d, 0x0b, 0x7a, 0x43, 0xc2, 0x15}};

class HeldMessageServiceFactory final : public nsIFactory {
public:
  explicit HeldMessageServiceFactory(HeldMessageService* service) : mService(service) {}

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
  ~HeldMessageServiceFactory() = default;
  nsCOMPtr<HeldMessageService> mService;
};

NS_IMPL_ISUPPORTS1(HeldMessageServiceFactory, nsIFactory)

} // namespace

HeldMessageService::HeldMessageService(EventLoop& loop, DeliveryFailureReporter reportFailure)
    : mLoop(loop), mReportFailure(std::move(reportFailure)) {}

HeldMessageService::~HeldMessageService() = default;

NS_IMPL_ISUPPORTS1(HeldMessageService, nsIMsgMessageService)

std::string HeldMessageService::hold(const std::string& key, std::string bytes) {
  std::string uri = uriFor(key);
  mHeld[uri] = std::make_shared<const std::string>(std::move(bytes));
  return uri;
}

NS_IMETHODIMP HeldMessageService::StreamMessage(const char* aMessageURI, nsISupports* aConsumer,
                                                nsIMsgWindow* aMsgWindow,
                                                nsIUrlListener* aUrlListener, PRBool,
                                                const char* aAdditionalHeader, nsIURI** _retval) {
  NS_ENSURE_ARG_POINTER(aMessageURI);
  NS_ENSURE_ARG_POINTER(aConsumer);
  if (!aAdditionalHeader || std::strcmp(aAdditionalHeader, "filter") != 0)
    return NS_ERROR_NOT_IMPLEMENTED;
  nsCOMPtr<nsIStreamListener> listener;
  if (NS_FAILED(aConsumer->QueryInterface(NS_GET_IID(nsIStreamListener), getter_AddRefs(listener))))
    return NS_ERROR_NO_INTERFACE;
  std::string uri = aMessageURI;
  std::string prefix = std::string(kHeldMessageScheme) + ":";
  if (uri.size() <= prefix.size() || uri.compare(0, prefix.size(), prefix) != 0) {
    if (mReportFailure)
      mReportFailure(uri, "not a held message's URI");
    return NS_ERROR_FAILURE;
  }

  auto held = mHeld.find(uri);
  std::shared_ptr<const std::string> bytes = held != mHeld.end() ? held->second : nullptr;
  // The message's mail URL: the held key as the number of the fetch.
  MessageSource source{
      uri, std::string(kHeldMessageScheme) + ":///?number=" + uri.substr(prefix.size()),
      [bytes, uri]() -> FilterForm {
        if (!bytes)
          throw MailError(MailErrorKind::NotFound, uri + ": no such message is held");
        return toFilterForm(std::string_view(*bytes));
      }};
  nsCOMPtr<MailUrl> url = new MailUrl(source.mailUrl + "&header=" + aAdditionalHeader);
  url->SetMsgWindow(aMsgWindow);
  nsCOMPtr<MessageChannel> channel = new MessageChannel(url);
  mQueue.push_back(std::make_unique<MessageDelivery>(std::move(source), listener, channel,
                                                     aUrlListener, mReportFailure));
  schedule();
  if (_retval) {
    *_retval = url.get();
    url->AddRef();
  }
  return NS_OK;
}

void HeldMessageService::schedule() {
  if (mScheduled)
    return;
  mScheduled = true;
  nsCOMPtr<HeldMessageService> self(this);
  mLoop.post([self] { self->pump(); });
}

void HeldMessageService::pump() {
  mScheduled = false;
  if (!mActive) {
    if (mQueue.empty())
      return;
    mActive = std::move(mQueue.front());
    mQueue.pop_front();
  }
  if (!mActive->step())
    mActive.reset();
  if (mActive || !mQueue.empty())
    schedule();
}

NS_IMETHODIMP HeldMessageService::CopyMessage(const char*, nsIStreamListener*, PRBool,
                                              nsIUrlListener*, nsIMsgWindow*, nsIURI**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP HeldMessageService::CopyMessages(nsMsgKeyArray*, nsIMsgFolder*, nsIStreamListener*,
                                               PRBool, nsIUrlListener*, nsIMsgWindow*, nsIURI**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP HeldMessageService::DisplayMessage(const char*, nsISupports*, nsIMsgWindow*,
                                                 nsIUrlListener*, const char*, nsIURI**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP HeldMessageService::OpenAttachment(const char*, const char*, const char*, const char*,
                                                 nsISupports*, nsIMsgWindow*, nsIUrlListener*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP HeldMessageService::SaveMessageToDisk(const char*, nsIFileSpec*, PRBool,
                                                    nsIUrlListener*, nsIURI**, PRBool,
                                                    nsIMsgWindow*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP HeldMessageService::GetUrlForUri(const char*, nsIURI**, nsIMsgWindow*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP HeldMessageService::DisplayMessageForPrinting(const char*, nsISupports*,
                                                            nsIMsgWindow*, nsIUrlListener*,
                                                            nsIURI**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP HeldMessageService::Search(nsIMsgSearchSession*, nsIMsgWindow*, nsIMsgFolder*,
                                         const char*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP HeldMessageService::MessageURIToMsgHdr(const char*, nsIMsgDBHdr**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

nsresult registerHeldMessageService(HeldMessageService* service, nsIFactory** registered) {
  nsCOMPtr<nsIComponentRegistrar> registrar;
  nsresult rv = NS_GetComponentRegistrar(getter_AddRefs(registrar));
  NS_ENSURE_SUCCESS(rv, rv);
  nsCOMPtr<nsIFactory> factory = new HeldMessageServiceFactory(service);
  rv = registrar->RegisterFactory(kHeldMessageServiceCID, "Held Message Service",
                                  kHeldMessageServiceContractId, factory);
  if (NS_SUCCEEDED(rv) && registered) {
    *registered = factory.get();
    factory->AddRef();
  }
  return rv;
}

nsresult unregisterHeldMessageService(nsIFactory* factory) {
  nsCOMPtr<nsIComponentRegistrar> registrar;
  nsresult rv = NS_GetComponentRegistrar(getter_AddRefs(registrar));
  return NS_FAILED(rv) ? rv : registrar->UnregisterFactory(kHeldMessageServiceCID, factory);
}

} // namespace mailhost
