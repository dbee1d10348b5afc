#include "capture/QuellbarkMessageClassifier.h"

#include "bridge/QuellbarkAppleEvents.h"
#include "bridge/QuellbarkLauncher.h"
#include "filter/nsBayesianFilter.h"
#include "log/QuellbarkLog.h"

#include <nsXPCOM.h>
#include <plstr.h>

namespace {
// Quellbark scores from 0 to 100; from this score on a message is junk.
constexpr SInt16 kJunkScore = 50;
} // namespace

QuellbarkMessageClassifier::QuellbarkMessageClassifier(nsBayesianFilter* aFilter,
                                                       nsIJunkMailClassificationListener* aListener,
                                                       nsIMsgWindow* aMsgWindow,
                                                       PRInt32 aMessageCount, const char** aMsgURIs)
    : mFilter(aFilter), mFilterRef(static_cast<nsIJunkMailPlugin*>(aFilter)),
      mClassificationListener(aListener), mMsgWindow(aMsgWindow), mMessageCount(aMessageCount),
      mCurrentMessage(0),
      mMessageUris(static_cast<char**>(NS_Alloc(sizeof(char*) * PRUint32(aMessageCount)))) {
  for (PRInt32 i = 0; i < aMessageCount; ++i)
    mMessageUris[i] = PL_strdup(aMsgURIs[i]);
}

QuellbarkMessageClassifier::~QuellbarkMessageClassifier() {
  if (mMessageUris) {
    for (PRInt32 i = mMessageCount - 1; i >= 0; --i)
      NS_Free(mMessageUris[i]);
    NS_Free(mMessageUris);
  }
  // The members then drop the window, the listener and the filter, in that
  // order.
}

void QuellbarkMessageClassifier::processMessageData(CFDataRef aMessageData) {
  debug("classify message: %@", aMessageData);
  launchQuellbarkIfNecessary();
  info("scoring: %@", aMessageData);

  // Only a score read from Quellbark's reply changes this, so every failure
  // reports good: a failure never marks mail as junk.
  SInt16 score = 0;
  if (!aMessageData) {
    error("NULL messageData when scoring");
  } else {
    AppleEvent event;
    OSErr err = buildAppleEvent(kQuellbarkScoreEvent, aMessageData, true, true, "", &event);
    if (err != noErr) {
      error("error building score event %d", int(err));
    } else {
      err = sendAppleEventReturnInt(&event, &score);
      if (err == noErr)
        info("score: %d", int(score));
      else
        error("error sending score event %d", int(err));
    }
  }

  PRUint32 classification =
      score < kJunkScore ? PRUint32(nsIJunkMailPlugin::GOOD) : PRUint32(nsIJunkMailPlugin::JUNK);
  mClassificationListener->OnMessageClassified(mMessageUri.get(), classification);
  classifyNextMessage();
}

void QuellbarkMessageClassifier::classifyNextMessage() {
  mCurrentMessage++;
  if (mCurrentMessage < mMessageCount && mMessageUris[mCurrentMessage]) {
    nsresult rv = mFilter->streamMessage(mMessageUris[mCurrentMessage], mMsgWindow, this);
    if (NS_SUCCEEDED(rv))
      return;
    // A message that cannot be streamed ends the batch here; nothing else would
    // ever free this classifier and its listener.
  }
  mStreamListener = nullptr;
}
