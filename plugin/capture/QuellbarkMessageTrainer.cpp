#include "capture/QuellbarkMessageTrainer.h"

#include "bridge/QuellbarkAppleEvents.h"
#include "filter/nsBayesianFilter.h"
#include "log/QuellbarkLog.h"

QuellbarkMessageTrainer::QuellbarkMessageTrainer(nsBayesianFilter* aFilter,
                                                 PRUint32 aOldClassification,
                                                 PRUint32 aNewClassification,
                                                 nsIJunkMailClassificationListener* aListener)
    : mFilter(aFilter), mFilterRef(static_cast<nsIJunkMailPlugin*>(aFilter)),
      mClassificationListener(aListener), mOldClassification(aOldClassification),
      mNewClassification(aNewClassification) {}

// The new verdict alone decides; the trainer never learns whether Quellbark
// took the lesson, and the host hears the verdict back in every case.
void QuellbarkMessageTrainer::processMessageData(CFDataRef aMessageData) {
  debug("QuellbarkMessageTrainer::processMessageData");
  switch (mNewClassification) {
  case nsIJunkMailPlugin::JUNK:
    info("trainAsSpam: %@", aMessageData);
    trainWithMessageData(aMessageData, kQuellbarkTrainSpamEvent);
    break;
  case nsIJunkMailPlugin::GOOD:
    info("trainAsGood: %@", aMessageData);
    trainWithMessageData(aMessageData, kQuellbarkTrainGoodEvent);
    break;
  default:
    error("unsupported training classification: %d", int(mNewClassification));
    break;
  }

  if (mClassificationListener)
    mClassificationListener->OnMessageClassified(mMessageUri.get(), mNewClassification);

  mStreamListener = nullptr; // the request is done: this ends the listener and the trainer
}
