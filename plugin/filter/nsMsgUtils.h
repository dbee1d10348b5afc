// The host's mail-utility routines that map a message URI to the message
// service that serves it.
#pragma once

#include <nsStringAPI.h>

class nsIMsgMessageService;

// "@mozilla.org/messenger/messageservice;1?type=" followed by the URI's scheme;
// a "file" URI of a message to display is served by the mailbox service.
// NS_ERROR_FAILURE for a URI without ':'.
nsresult GetMessageServiceContractIDForURI(const char* aUri, nsCString& aContractID);

// The service for the URI, with a reference the caller owns; the slot is
// untouched on failure.
nsresult GetMessageServiceFromURI(const char* aUri, nsIMsgMessageService** aMessageService);
