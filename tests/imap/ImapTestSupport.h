// mailhost, the plug-in and the scripted companion in a sandbox, with a private Dovecot holding
// the user's mailbox.
#pragma once

#include "EndToEnd.h"
#include "PrivateDovecot.h"

#include <string>
#include <vector>

namespace imaptest {

using endtoend::Json;
using endtoend::ProcessRun;
namespace fs = endtoend::fs;

class ImapHostTest : public endtoend::EndToEndTest {
protected:
  explicit ImapHostTest(dovecot::ServerOptions options = {});

  // `mailhost account add` for the test user, its password in a file of the profile; over TLS
  // with the test's certificate trusted unless other arguments are given.
  ProcessRun addAccount(std::vector<std::string> arguments = {});
  std::string folderUrl(const std::string& folder = "INBOX") const;
  std::string messageUri(const std::string& folder, std::uint32_t uid) const;
  // The messages of a folder as the user's client sees them.
  Json folder(const std::string& name) const { return server.user({"list", name}); }

  dovecot::PrivateDovecot server;
  fs::path passwordFile;
};

// A small message with a subject and a Message-ID of its own.
std::string message(const std::string& subject, const std::string& body = "Hello there.\n");
bool hasFlag(const Json& message, const std::string& flag);

} // namespace imaptest
