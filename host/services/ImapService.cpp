#include "ImapService.h"

#include "ImapError.h"
#include "ImapSessions.h"
#include "ImapUri.h"
#include "MailError.h"
#include "RefCounting.h"

#include <nsIComponentRegistrar.h>
#include <nsXPCOM.h>

#include <cstring>

namespace mailhost {

namespace {

// The class ID of this host's IMAP message service.
constexpr nsCID kImapServiceCID = {
    0x3f0c5e4a, 0x8d2b, 0x4e61, {0x9a, 0x7e, 0x52, 0x1b, 0x6c, 0xd4, 0x08, 0xe3}};

class ImapServiceFactory final : public nsIFactory {
public:
  explicit ImapServiceFactory(ImapService* service) : mService(service) {}

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
  ~ImapServiceFactory() = default;
  nsrefcnt mRefCount = 0;
  nsCOMPtr<ImapService> mService;
};

MAILHOST_IMPL_REFCOUNTING(ImapServiceFactory)

NS_IMETHODIMP ImapServiceFactory::QueryInterface(REFNSIID aIID, void** aResult) {
  return queryChain<ImapServiceFactory, nsISupports, nsIFactory>(this, aIID, aResult);
}

// The fetch URL of a message, as the IMAP protocol object names it.
std::string fetchUrlFor(const ImapAccount& account, const ImapMessageRef& message) {
  return "imap://" + account.endpoint.user + "@" + account.endpoint.host + ":" +
         std::to_string(account.endpoint.port) + "/fetch>UID>/" + message.folder + ">" +
         std::to_string(message.uid);
}

} // namespace

ImapService::ImapService(MailboxService* deliveries, ImapSessions& sessions,
                         DeliveryFailureReporter reportFailure)
    : mDeliveries(deliveries), mSessions(sessions), mReportFailure(std::move(reportFailure)) {}

ImapService::~ImapService() = default;

MAILHOST_IMPL_REFCOUNTING(ImapService)

NS_IMETHODIMP ImapService::QueryInterface(REFNSIID aIID, void** aResult) {
  return queryChain<ImapService, nsISupports, nsIMsgMessageService>(this, aIID, aResult);
}

NS_IMETHODIMP ImapService::StreamMessage(const char* aMessageURI, nsISupports* aConsumer,
                                         nsIMsgWindow* aMsgWindow, nsIUrlListener* aUrlListener,
                                         PRBool /*aConvertData: the header decides*/,
                                         const char* aAdditionalHeader, nsIURI** _retval) {
  if (!aMessageURI || !aConsumer)
    return NS_ERROR_NULL_POINTER;
  if (!aAdditionalHeader || std::strcmp(aAdditionalHeader, "filter") != 0)
    return NS_ERROR_NOT_IMPLEMENTED;
  nsCOMPtr<nsIStreamListener> listener;
  if (NS_FAILED(aConsumer->QueryInterface(NS_GET_IID(nsIStreamListener), getter_AddRefs(listener))))
    return NS_ERROR_NO_INTERFACE;

  ImapMessageRef message;
  ImapAccount account;
  try {
    message = parseImapMessageUri(aMessageURI);
    account = mSessions.account(message.user, message.host);
  } catch (const std::runtime_error& error) { // MailError or ImapError
    if (mReportFailure)
      mReportFailure(aMessageURI, error.what());
    return NS_ERROR_FAILURE;
  }

  std::string mailUrl = fetchUrlFor(account, message);
  nsCOMPtr<MailUrl> url = new MailUrl(mailUrl + "?header=" + aAdditionalHeader);
  url->SetMsgWindow(aMsgWindow);
  nsCOMPtr<MessageChannel> channel = new MessageChannel(url);
  ImapSessions* sessions = &mSessions;
  FormLoader load = [sessions, message] {
    std::string bytes;
    try {
      bytes = sessions->fetch(message);
    } catch (const ImapError& error) {
      throw MailError(error.kind() == ImapErrorKind::NoSuchMessage ? MailErrorKind::NoSuchMessage
                                                                   : MailErrorKind::Io,
                      error.what());
    }
    return toFilterForm(bytes);
  };
  mDeliveries->enqueue(std::make_unique<MessageDelivery>(aMessageURI, mailUrl + "?",
                                                         std::move(load), listener, channel,
                                                         aUrlListener, mReportFailure));
  if (_retval) {
    *_retval = url.get();
    url->AddRef();
  }
  return NS_OK;
}

NS_IMETHODIMP ImapService::CopyMessage(const char*, nsIStreamListener*, PRBool, nsIUrlListener*,
                                       nsIMsgWindow*, nsIURI**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP ImapService::CopyMessages(nsMsgKeyArray*, nsIMsgFolder*, nsIStreamListener*, PRBool,
                                        nsIUrlListener*, nsIMsgWindow*, nsIURI**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP ImapService::DisplayMessage(const char*, nsISupports*, nsIMsgWindow*, nsIUrlListener*,
                                          const char*, nsIURI**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP ImapService::OpenAttachment(const char*, const char*, const char*, const char*,
                                          nsISupports*, nsIMsgWindow*, nsIUrlListener*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP ImapService::SaveMessageToDisk(const char*, nsIFileSpec*, PRBool, nsIUrlListener*,
                                             nsIURI**, PRBool, nsIMsgWindow*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP ImapService::GetUrlForUri(const char*, nsIURI**, nsIMsgWindow*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP ImapService::DisplayMessageForPrinting(const char*, nsISupports*, nsIMsgWindow*,
                                                     nsIUrlListener*, nsIURI**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP ImapService::Search(nsIMsgSearchSession*, nsIMsgWindow*, nsIMsgFolder*, const char*) {
  return NS_ERROR_NOT_IMPLEMENTED;
}
NS_IMETHODIMP ImapService::MessageURIToMsgHdr(const char*, nsIMsgDBHdr**) {
  return NS_ERROR_NOT_IMPLEMENTED;
}

nsresult registerImapService(ImapService* service, nsIFactory** registered) {
  nsCOMPtr<nsIComponentRegistrar> registrar;
  nsresult rv = NS_GetComponentRegistrar(getter_AddRefs(registrar));
  if (NS_FAILED(rv))
    return rv;
  nsCOMPtr<nsIFactory> factory = new ImapServiceFactory(service);
  rv = registrar->RegisterFactory(kImapServiceCID, "IMAP Service", kImapServiceContractId, factory);
  if (NS_FAILED(rv))
    return rv;
  rv = registrar->RegisterFactory(kImapServiceCID, "IMAP Service", kImapMessageServiceContractId,
                                  nullptr);
  if (NS_SUCCEEDED(rv) && registered) {
    *registered = factory.get();
    factory->AddRef();
  }
  return rv;
}

nsresult unregisterImapService(nsIFactory* factory) {
  nsCOMPtr<nsIComponentRegistrar> registrar;
  nsresult rv = NS_GetComponentRegistrar(getter_AddRefs(registrar));
  return NS_FAILED(rv) ? rv : registrar->UnregisterFactory(kImapServiceCID, factory);
}

} // namespace mailhost
