// The junk-mail plug-in interfaces: the filter plug-in base, the junk-mail plug-in (ten slots
// in all) and the listener it reports classifications to.
#pragma once

#include "nsISupports.h"

class nsIMsgWindow;

typedef PRUint32 nsMsgJunkStatus;

#define NS_IMSGFILTERPLUGIN_IID_STR "e2e56690-a676-11d6-80c9-00008646b737"
#define NS_IMSGFILTERPLUGIN_IID                                                                    \
  {                                                                                                \
    0xe2e56690, 0xa676, 0x11d6, {                                                                  \
      0x80, 0xc9, 0x00, 0x00, 0x86, 0x46, 0xb7, 0x37                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsIMsgFilterPlugin : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_IMSGFILTERPLUGIN_IID)

  /* 3 */ NS_IMETHOD Shutdown(void) = 0;
  /* 4 */ NS_IMETHOD GetShouldDownloadAllHeaders(PRBool* aShouldDownloadAllHeaders) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIMsgFilterPlugin, NS_IMSGFILTERPLUGIN_IID)

#define NS_IJUNKMAILCLASSIFICATIONLISTENER_IID_STR "0243f3d6-d583-11d6-898a-00039310a47a"
#define NS_IJUNKMAILCLASSIFICATIONLISTENER_IID                                                     \
  {                                                                                                \
    0x0243f3d6, 0xd583, 0x11d6, {                                                                  \
      0x89, 0x8a, 0x00, 0x03, 0x93, 0x10, 0xa4, 0x7a                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsIJunkMailClassificationListener : public nsISupports {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_IJUNKMAILCLASSIFICATIONLISTENER_IID)

  /* 3 */ NS_IMETHOD OnMessageClassified(const char* aMsgURI, nsMsgJunkStatus aClassification) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIJunkMailClassificationListener,
                              NS_IJUNKMAILCLASSIFICATIONLISTENER_IID)

#define NS_IJUNKMAILPLUGIN_IID_STR "caf3d467-d57c-11d6-96a9-00039310a47a"
#define NS_IJUNKMAILPLUGIN_IID                                                                     \
  {                                                                                                \
    0xcaf3d467, 0xd57c, 0x11d6, {                                                                  \
      0x96, 0xa9, 0x00, 0x03, 0x93, 0x10, 0xa4, 0x7a                                               \
    }                                                                                              \
  }

class NS_NO_VTABLE nsIJunkMailPlugin : public nsIMsgFilterPlugin {
public:
  NS_DECLARE_STATIC_IID_ACCESSOR(NS_IJUNKMAILPLUGIN_IID)

  enum { UNCLASSIFIED = 0U };
  enum { GOOD = 1U };
  enum { JUNK = 2U };

  /* 5 */ NS_IMETHOD ClassifyMessage(const char* aMsgURI, nsIMsgWindow* aMsgWindow,
                                     nsIJunkMailClassificationListener* aListener) = 0;
  /* 6 */ NS_IMETHOD ClassifyMessages(PRUint32 aCount, const char** aMsgURIs,
                                      nsIMsgWindow* aMsgWindow,
                                      nsIJunkMailClassificationListener* aListener) = 0;
  /* 7 */ NS_IMETHOD SetMessageClassification(const char* aMsgURI,
                                              nsMsgJunkStatus aOldUserClassification,
                                              nsMsgJunkStatus aNewClassification,
                                              nsIMsgWindow* aMsgWindow,
                                              nsIJunkMailClassificationListener* aListener) = 0;
  /* 8 */ NS_IMETHOD GetUserHasClassified(PRBool* aUserHasClassified) = 0;
  /* 9 */ NS_IMETHOD ResetTrainingData(void) = 0;
};

NS_DEFINE_STATIC_IID_ACCESSOR(nsIJunkMailPlugin, NS_IJUNKMAILPLUGIN_IID)
