#include "commands/AccountCommand.h"

#include "ImapAccounts.h"
#include "ImapPasswords.h"
#include "ImapUri.h"
#include "MailError.h"
#include "runtime/HostSession.h"

#include <nsCOMPtr.h>
#include <nsIPrefBranch.h>
#include <nsIPrefService.h>
#include <nsServiceManagerUtils.h>

#include <filesystem>
#include <istream>
#include <ostream>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

namespace mailhost {

namespace {

SocketType socketTypeNamed(const std::string& name) {
  return name == "plain"      ? SocketType::Plain
         : name == "starttls" ? SocketType::StartTls
                              : SocketType::Tls;
}

const char* socketTypeName(SocketType type) {
  return type == SocketType::Plain ? "plain" : type == SocketType::StartTls ? "starttls" : "tls";
}

// One line from stdin; on a terminal it is asked for with the echo off.
std::string readPassword(std::istream& in, bool fromStdin, std::ostream& err) {
  bool terminal = !fromStdin && ::isatty(STDIN_FILENO);
  termios saved{};
  if (terminal) {
    err << "Password: " << std::flush;
    ::tcgetattr(STDIN_FILENO, &saved);
    termios quiet = saved;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    ::tcsetattr(STDIN_FILENO, TCSANOW, &quiet);
  }
  std::string password;
  std::getline(in, password);
  if (terminal) {
    ::tcsetattr(STDIN_FILENO, TCSANOW, &saved);
    err << "\n";
  }
  if (!password.empty() && password.back() == '\r')
    password.pop_back();
  return password;
}

int addAccount(const HostSession& session, const AccountOptions& options, nsIPrefBranch* prefs,
               std::istream& in, std::ostream& out, std::ostream& err) {
  ImapFolderRef url = parseImapFolderUrl(options.url);
  ImapEndpoint endpoint;
  endpoint.host = url.host;
  endpoint.user = url.user;
  endpoint.socketType = socketTypeNamed(options.security);
  endpoint.port = url.port.value_or(defaultImapPort(endpoint.socketType));
  endpoint.caFile = options.caFile.empty()
                        ? std::string()
                        : std::filesystem::absolute(options.caFile).lexically_normal().string();
  endpoint.insecure = options.insecure;

  std::string passwordFile = options.passwordFile.empty()
                                 ? std::string()
                                 : std::filesystem::absolute(options.passwordFile).string();
  // A password file that is there already is taken as it is (once it passes the checks).
  bool existingFile = !passwordFile.empty() && std::filesystem::exists(passwordFile);
  if (existingFile) {
    ImapAccount probe;
    probe.endpoint = endpoint;
    probe.passwordFile = passwordFile;
    readImapPassword(probe);
  } else {
    std::string password = readPassword(in, options.passwordFromStdin, err);
    if (password.empty()) {
      err << "mailhost: no password given for " << endpoint.user << "@" << endpoint.host << "\n";
      return 1;
    }
    std::string why;
    if (passwordFile.empty() && !storePasswordInKeyring(endpoint, password, why)) {
      // No keyring to be had: a file of the user's own in the profile, named after the server.
      std::string folder = session.options().profileDirectory + "/passwords";
      ::mkdir(folder.c_str(), 0700);
      ::chmod(folder.c_str(), 0700);
      passwordFile = folder + "/" + addImapAccount(prefs, endpoint, {}).serverKey;
      err << "mailhost: the keyring is not available (" << why << "); the password goes to "
          << passwordFile << " (mode 0600)\n";
    }
    if (!passwordFile.empty())
      storePasswordInFile(passwordFile, password);
  }
  ImapAccount account = addImapAccount(prefs, endpoint, passwordFile);
  nsCOMPtr<nsIPrefService> service = do_QueryInterface(prefs);
  if (!service || NS_FAILED(service->SavePrefFile(nullptr))) {
    err << "mailhost: cannot save " << session.options().profileDirectory << "/prefs.js\n";
    return 1;
  }
  out << "added " << account.accountKey << ": imap://" << account.name() << ":"
      << account.endpoint.port << " (" << socketTypeName(account.endpoint.socketType)
      << (account.endpoint.insecure ? ", any certificate accepted" : "") << ")\n";
  return 0;
}

} // namespace

CLI::App* addAccountCommand(CLI::App& app, AccountOptions& options) {
  CLI::App* command = app.add_subcommand("account", "Manage the profile's IMAP accounts");
  command->require_subcommand(1);
  options.add = command->add_subcommand(
      "add", "Add an IMAP account (the password is read from the terminal or stdin)");
  options.add->add_option("url", options.url, "imap://user@host[:port]")->required();
  options.add->add_option("--security", options.security, "tls, starttls or plain")
      ->check(CLI::IsMember({"tls", "starttls", "plain"}))
      ->capture_default_str();
  options.add->add_option("--ca-file", options.caFile,
                          "Authorities (PEM) to trust for this server besides the system's");
  options.add->add_flag("--insecure", options.insecure,
                        "Accept any certificate from this server (not checked at all)");
  options.add->add_option("--password-file", options.passwordFile,
                          "Keep the password in this file (mode 0600) instead of the keyring; "
                          "a file that is there already is used as it is");
  options.add->add_flag("--password-stdin", options.passwordFromStdin,
                        "Read the password as one line from stdin");
  options.list = command->add_subcommand("list", "List the IMAP accounts");
  return command;
}

int runAccountCommand(HostSession& session, const AccountOptions& options, std::istream& in,
                      std::ostream& out, std::ostream& err) {
  nsresult rv = NS_OK;
  nsCOMPtr<nsIPrefBranch> prefs = do_GetService("@mozilla.org/preferences-service;1", &rv);
  if (!prefs) {
    err << "mailhost: no preferences service\n";
    return 1;
  }
  try {
    if (options.add->parsed())
      return addAccount(session, options, prefs, in, out, err);
    for (const ImapAccount& account : readImapAccounts(prefs))
      out << account.accountKey << "  imap://" << account.name() << ":" << account.endpoint.port
          << "  " << socketTypeName(account.endpoint.socketType) << "\n";
    return 0;
  } catch (const std::runtime_error& error) { // MailError, ImapError
    err << "mailhost: " << error.what() << "\n";
    return 1;
  }
}

} // namespace mailhost
