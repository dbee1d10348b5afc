#include "ImapTestSupport.h"

#include <algorithm>

namespace imaptest {

ImapHostTest::ImapHostTest(dovecot::ServerOptions options) : server(options) {
  installCompanion();
  passwordFile = box.root / "imap-password";
  sandbox::writeFile(passwordFile, server.password + "\n", fs::perms(0600));
}

ProcessRun ImapHostTest::addAccount(std::vector<std::string> arguments) {
  if (arguments.empty())
    arguments = {"--security", "tls", "--ca-file", server.certificate.string()};
  // STARTTLS starts on the plain port.
  std::string port =
      arguments[1] == "tls" ? std::to_string(server.tlsPort) : std::to_string(server.plainPort);
  std::vector<std::string> command = {"account", "add",
                                      "imap://" + server.userName + "@127.0.0.1:" + port,
                                      "--password-file", passwordFile.string()};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return mailhost(command);
}

std::string ImapHostTest::folderUrl(const std::string& folder) const {
  return "imap://" + server.userName + "@127.0.0.1/" + folder;
}

std::string ImapHostTest::messageUri(const std::string& folder, std::uint32_t uid) const {
  return "imap-message://" + server.userName + "@127.0.0.1/" + folder + "#" + std::to_string(uid);
}

std::string message(const std::string& subject, const std::string& body) {
  static int count = 0;
  return "From: someone@example.org\r\nSubject: " + subject + "\r\nMessage-ID: <" +
         std::to_string(++count) + ".message@test>\r\n\r\n" + body;
}

bool hasFlag(const Json& message, const std::string& flag) {
  const Json& flags = message["flags"];
  return std::find(flags.begin(), flags.end(), flag) != flags.end();
}

} // namespace imaptest
