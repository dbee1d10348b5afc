#pragma once

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
  std::string error;
};

// The user's verdict on messages, as the host gives it when the user marks mail: for each
// message, SetMessageClassification(uri, previous user classification, verdict, no window,
// listener), then the verdict is stored with origin user (score 100 or 0) once the request is
// taken. The event loop then runs until every request has been confirmed or it runs dry.
class MarkRun {
public:
  MarkRun(nsIJunkMailPlugin* plugin, MailServices& mail, JunkStore& store);

  std::vector<MarkOutcome> run(const std::vector<std::string>& uris, nsMsgJunkStatus verdict);

private:
  nsCOMPtr<nsIJunkMailPlugin> mPlugin;
  MailServices& mMail;
  JunkStore& mStore;
};

// The message URIs that command-line targets name: a URI ("scheme:...") stands for itself, a
// path for every message of the folder or file. Throws MailError for a path that cannot be read.
std::vector<std::string> messageUrisOf(const MailStore& store, const std::string& target);

} // namespace mailhost
