// Serves one training request: Quellbark learns the message as spam or as good,
// then the host hears the user's verdict back.
#pragma once

#include "capture/QuellbarkTokenAnalyzer.h"

#include <nsIJunkMailPlugin.h>

class nsBayesianFilter;

class QuellbarkMessageTrainer final : public QuellbarkTokenAnalyzer {
public:
  QuellbarkMessageTrainer(nsBayesianFilter* aFilter, PRUint32 aOldClassification,
                          PRUint32 aNewClassification,
                          nsIJunkMailClassificationListener* aListener);

  void processMessageData(CFDataRef aMessageData) override;

private:
  nsBayesianFilter* mFilter;
  nsCOMPtr<nsISupports> mFilterRef; // keeps the filter alive while the request runs
  nsCOMPtr<nsIJunkMailClassificationListener> mClassificationListener;
  // Kept as the host gave it; training never undoes an earlier verdict.
  PRUint32 mOldClassification;
  PRUint32 mNewClassification;
};
