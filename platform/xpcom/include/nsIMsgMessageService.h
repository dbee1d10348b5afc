// A message service: fetches stored messages by URI (slots 3-12).
#pragma once

#include "nsISupports.h"

class nsIStreamListener;
class nsIUrlListener;
class nsIMsgWindow;
class nsIURI;
class nsIMsgFolder;
class nsIFileSpec;
class nsIMsgSearchSession;
class nsIMsgDBHdr;
class nsMsgKeyArray;

#define NS_IMSGMESSAGESERVICE_IID_STR "f11009c1-f697-11d2-807f-006008128c4e"
#define NS_IMSGMESSAGESERVICE_IID                                                                  \
  {                                                                                                \
    0xf11009c1, 0xf697, 0x11d2, {                                                                  \
      0x80, 0x7f, 0x00, 0x60, 0x08, 0x12, 0x8c, 0x4e                                               \
    }                                                                                              \
  }

// The prefix of every message service's contract ID; the URI scheme follows it.
#define NS_MSGMESSAGESERVICE_CONTRACTID_PREFIX "@mozilla.org/messenger/messageservice;1?type="

class NS_NO_VTABLE nsIMsgMessageService : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_IMSGMESSAGESERVICE_IID)

  /* 3 */ NS_IMETHOD CopyMessage(const char* aSrcURI, nsIStreamListener* aCopyListener,
                                 PRBool aMoveMessage, nsIUrlListener* aUrlListener,
                                 nsIMsgWindow* aMsgWindow, nsIURI** aURL) = 0;
  /* 4 */ NS_IMETHOD CopyMessages(nsMsgKeyArray* keys, nsIMsgFolder* srcFolder,
                                  nsIStreamListener* aCopyListener, PRBool aMoveMessage,
                                  nsIUrlListener* aUrlListener, nsIMsgWindow* aMsgWindow,
                                  nsIURI** aURL) = 0;
  /* 5 */ NS_IMETHOD DisplayMessage(const char* aMessageURI, nsISupports* aDisplayConsumer,
                                    nsIMsgWindow* aMsgWindow, nsIUrlListener* aUrlListener,
                                    const char* aCharsetOverride, nsIURI** aURL) = 0;
  /* 6 */ NS_IMETHOD OpenAttachment(const char* aContentType, const char* aFileName,
                                    const char* aUrl, const char* aMessageUri,
                                    nsISupports* aDisplayConsumer, nsIMsgWindow* aMsgWindow,
                                    nsIUrlListener* aUrlListener) = 0;
  /* 7 */ NS_IMETHOD SaveMessageToDisk(const char* aMessageURI, nsIFileSpec* aFile,
                                       PRBool aGenerateDummyEnvelope, nsIUrlListener* aUrlListener,
                                       nsIURI** aURL, PRBool canonicalLineEnding,
                                       nsIMsgWindow* aMsgWindow) = 0;
  /* 8 */ NS_IMETHOD GetUrlForUri(const char* aMessageURI, nsIURI** aURL,
                                  nsIMsgWindow* aMsgWindow) = 0;
  /* 9 */ NS_IMETHOD DisplayMessageForPrinting(const char* aMessageURI,
                                               nsISupports* aDisplayConsumer,
                                               nsIMsgWindow* aMsgWindow,
                                               nsIUrlListener* aUrlListener, nsIURI** aURL) = 0;
  /* 10 */ NS_IMETHOD Search(nsIMsgSearchSession* aSearchSession, nsIMsgWindow* aMsgWindow,
                             nsIMsgFolder* aMsgFolder, const char* aSearchUri) = 0;
  /* 11 */ NS_IMETHOD StreamMessage(const char* aMessageURI, nsISupports* aConsumer,
                                    nsIMsgWindow* aMsgWindow, nsIUrlListener* aUrlListener,
                                    PRBool aConvertData, const char* aAdditionalHeader,
                                    nsIURI** _retval) = 0;
  /* 12 */ NS_IMETHOD MessageURIToMsgHdr(const char* uri, nsIMsgDBHdr** _retval) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIMsgMessageService, NS_IMSGMESSAGESERVICE_IID)
