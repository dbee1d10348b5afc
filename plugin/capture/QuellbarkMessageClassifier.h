// Serves one classification request for a batch: each message in turn is scored
// by Quellbark, reported to the host as good or junk, and followed by the next
// message of the batch.
#pragma once

#include "capture/QuellbarkTokenAnalyzer.h"

#include <nsIJunkMailPlugin.h>
#include <nsIMsgWindow.h>

class nsBayesianFilter;

class QuellbarkMessageClassifier final : public QuellbarkTokenAnalyzer {
public:
  QuellbarkMessageClassifier(nsBayesianFilter* aFilter,
                             nsIJunkMailClassificationListener* aListener, nsIMsgWindow* aMsgWindow,
                             PRInt32 aMessageCount, const char** aMsgURIs);
  ~QuellbarkMessageClassifier() override;

  void processMessageData(CFDataRef aMessageData) override;
  virtual void classifyNextMessage();

private:
  nsBayesianFilter* mFilter;
  nsCOMPtr<nsISupports> mFilterRef; // keeps the filter alive while the batch runs
  nsCOMPtr<nsIJunkMailClassificationListener> mClassificationListener;
  nsCOMPtr<nsIMsgWindow> mMsgWindow;
  PRInt32 mMessageCount;
  PRInt32 mCurrentMessage;
  char** mMessageUris; // private copies, NS_Alloc'd array of PL_strdup'd strings
};
