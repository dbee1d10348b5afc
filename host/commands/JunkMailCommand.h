// What the commands that hand messages to the junk-mail plug-in (classify, mark) share.
#pragma once

#include "JunkStore.h"
#include "MailServices.h"

#include <nsIJunkMailPlugin.h>

#include <functional>
#include <string>

namespace mailhost {

class HostSession;

using JunkMailBody =
    std::function<int(nsIJunkMailPlugin* plugin, MailServices& mail, JunkStore& store)>;

// Calls body with the registered junk-mail plug-in, the profile's junk store and the mail
// services under mailRoot, and returns its exit status. Throws HostError when no plug-in is
// registered, and turns any other failure (opening the store or the mail services, or one
// thrown by body) into a HostError as well, except an OutputError, which passes as it is.
int runWithJunkMailPlugin(HostSession& session, const std::string& mailRoot,
                          const JunkMailBody& body);

// The profile's junk-status database.
std::string junkStorePath(const std::string& profileDirectory);

} // namespace mailhost
