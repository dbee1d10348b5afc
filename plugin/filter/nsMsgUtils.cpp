#include "filter/nsMsgUtils.h"

#include <nsCOMPtr.h>
#include <nsIMsgMessageService.h>
#include <nsServiceManagerUtils.h>

nsresult GetMessageServiceContractIDForURI(const char* aUri, nsCString& aContractID) {
  nsCString uri(aUri);
  PRInt32 colon = uri.FindChar(':');
  if (colon < 0)
    return NS_ERROR_FAILURE;

  nsCString scheme(uri.get(), PRUint32(colon));
  // Both comparisons are case-sensitive, as the host's own are.
  if (scheme.Equals("file") && uri.Find("application/x-message-display") >= 0)
    scheme.Assign("mailbox");

  aContractID.Assign("@mozilla.org/messenger/messageservice;1?type=");
  aContractID.Append(scheme);
  return NS_OK;
}

nsresult GetMessageServiceFromURI(const char* aUri, nsIMsgMessageService** aMessageService) {
  nsCString contractID;
  nsresult rv = GetMessageServiceContractIDForURI(aUri, contractID);
  NS_ENSURE_SUCCESS(rv, rv);

  nsCOMPtr<nsIMsgMessageService> service = do_GetService(contractID.get(), &rv);
  NS_ENSURE_SUCCESS(rv, rv);

  *aMessageService = service;
  if (*aMessageService)
    (*aMessageService)->AddRef();
  return rv;
}
