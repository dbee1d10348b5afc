// The object the host sees as its junk-mail plug-in. It keeps nothing but its
// reference count: the verdicts come from Quellbark, one message at a time.
#pragma once

#include <nsIJunkMailPlugin.h>

class QuellbarkTokenAnalyzer;

class nsBayesianFilter final : public nsIJunkMailPlugin {
  // Plain arithmetic: the host calls the plug-in from one thread only.
  NS_DECL_ISUPPORTS

  nsBayesianFilter();

  NS_IMETHOD Shutdown() override;
  NS_IMETHOD GetShouldDownloadAllHeaders(PRBool* aResult) override;

  NS_IMETHOD
  ClassifyMessage(const char* aMsgURI, nsIMsgWindow* aMsgWindow,
                  nsIJunkMailClassificationListener* aListener) override;
  NS_IMETHOD
  ClassifyMessages(PRUint32 aCount, const char** aMsgURIs, nsIMsgWindow* aMsgWindow,
                   nsIJunkMailClassificationListener* aListener) override;
  NS_IMETHOD SetMessageClassification(const char* aMsgURI, PRUint32 aOldClassification,
                                      PRUint32 aNewClassification, nsIMsgWindow* aMsgWindow,
                                      nsIJunkMailClassificationListener* aListener) override;
  NS_IMETHOD GetUserHasClassified(PRBool* aResult) override;
  NS_IMETHOD ResetTrainingData() override;

  // Asks the host's message service for the URI to stream the message, in its
  // filter form, into the analyzer's listener. Also streams each further
  // message of a batch.
  nsresult streamMessage(const char* aMsgURI, nsIMsgWindow* aMsgWindow,
                         QuellbarkTokenAnalyzer* aAnalyzer);
};
