// What becomes of a captured message: the common part of the trainer and the
// classifier. An analyzer and its stream listener live and die together: the
// analyzer holds the listener, the listener owns the analyzer, and the analyzer
// lets go of the listener when its work is done.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <nsCOMPtr.h>
#include <nsIStreamListener.h>
#include <nsStringAPI.h>

class QuellbarkTokenAnalyzer {
public:
  QuellbarkTokenAnalyzer() = default;
  QuellbarkTokenAnalyzer(const QuellbarkTokenAnalyzer&) = delete;
  QuellbarkTokenAnalyzer& operator=(const QuellbarkTokenAnalyzer&) = delete;
  virtual ~QuellbarkTokenAnalyzer() = default;

  // Called by the listener once per message, with the capture (which stays the
  // listener's).
  virtual void processMessageData(CFDataRef aMessageData) = 0;

  // Set by the creator right after it made the listener; this takes the listener's first
  // reference.
  void attachListener(nsIStreamListener* aListener) { mStreamListener = aListener; }
  nsIStreamListener* streamListener() const { return mStreamListener; }
  // Set before each message is streamed.
  void setMessageUri(const char* aMsgURI) { mMessageUri.Assign(aMsgURI); }

protected:
  // The listener that feeds this analyzer; cleared when the analyzer's work is
  // done.
  nsCOMPtr<nsIStreamListener> mStreamListener;
  // The URI of the message being streamed, reported to the host with its
  // verdict.
  nsCString mMessageUri;
};
