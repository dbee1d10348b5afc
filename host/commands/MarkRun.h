// One mark run: hands the user's verdicts to the plug-in and stores them.
#pragma once

#include "ExchangeWatch.h"
#include "JunkStore.h"
#include "MailServices.h"

#include <nsIJunkMailPlugin.h>

#include <string>
#include <vector>

namespace mailhost {

struct MarkOutcome {
  std::string uri;
  std::uint32_t previous = kUnclassified; // the user's classification before, as passed on
  bool accepted = false;                  // the plug-in took the request; the verdict is stored
  bool confirmed = false;                 // the plug-in reported the verdict back
  bool alreadyMarked = false;  // the user's stored verdict already, and learned: nothing was sent
  bool trained = false;        // the spam filter learned the verdict
  std::string trainingFailure; // why it did not, when it was sent
  std::string error;
};

// The user's verdict on messages, as the host gives it when the user marks mail: for each
// message, SetMessageClassification(uri, previous user classification, verdict, no window,
// listener), then the verdict is stored with origin user (score 100 or 0) once the request is
// taken, as not yet learned. The event loop then runs until every request has been confirmed or
// it runs dry; a confirmed verdict whose training exchange succeeded is stored as learned.
//
// A message whose stored status is already this verdict of the user's, learned, is left alone
// (the spam filter would learn it twice) unless again(true) is asked for. After
// ExchangeWatch::kFailuresBeforeStopping failed training exchanges in a row, or one that timed out,
// the remaining trainings are not sent; their verdicts are stored all the same, as not learned.
class MarkRun {
public:
  MarkRun(nsIJunkMailPlugin* plugin, MailServices& mail, JunkStore& store);

  void again(bool yes) { mAgain = yes; }

  std::vector<MarkOutcome> run(const std::vector<std::string>& uris, nsMsgJunkStatus verdict);

private:
  nsCOMPtr<nsIJunkMailPlugin> mPlugin;
  MailServices& mMail;
  JunkStore& mStore;
  ExchangeWatch mWatch;
  bool mAgain = false;
};

// Whether a command-line target is a message URI ("scheme:..."), not a path ("C:\\", "dir/a:b").
bool namesMessageUri(const std::string& target);

} // namespace mailhost
