// What the commands that hand messages to the junk-mail plug-in (classify, mark) share.
#pragma once

#include "JunkStore.h"
#include "MailServices.h"

#include <nsIJunkMailPlugin.h>

#include <filesystem>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

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

// One line of per-message output: the fields separated by tabs, a tab, line feed, carriage
// return or backslash inside a field written as \t, \n, \r or \\, so a script can split it.
std::string outputLine(std::initializer_list<std::string_view> fields);

// The folders a command works through: each path as named and, when `recursive`, after each
// Maildir its Maildir++ subfolders, less those `skip` holds (by their absolute path).
std::vector<std::filesystem::path>
foldersToWalk(const std::vector<std::string>& paths, bool recursive,
              const std::function<bool(const std::filesystem::path&)>& skip = {});

} // namespace mailhost
