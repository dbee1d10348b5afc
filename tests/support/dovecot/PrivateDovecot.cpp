#include "PrivateDovecot.h"
#include "Process.h"

#include <arpa/inet.h>
#include <chrono>
#include <csignal>
#include <fstream>
#include <netinet/in.h>
#include <pwd.h>
#include <stdexcept>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace dovecot {

namespace {

using namespace std::chrono_literals;

// The capabilities Dovecot offers after login, less those a test turns off.
std::string capabilities(const ServerOptions& options) {
  std::string list = "IMAP4rev1 SASL-IR LOGIN-REFERRALS ID ENABLE SORT SORT=DISPLAY "
                     "THREAD=REFERENCES THREAD=REFS THREAD=ORDEREDSUBJECT MULTIAPPEND URL-PARTIAL "
                     "CATENATE UNSELECT CHILDREN NAMESPACE UIDPLUS LIST-EXTENDED I18NLEVEL=1 "
                     "ESEARCH ESORT SEARCHRES WITHIN CONTEXT=SEARCH LIST-STATUS BINARY LITERAL+ "
                     "SPECIAL-USE";
  if (options.idle)
    list += " IDLE";
  if (options.condstore)
    list += " CONDSTORE QRESYNC";
  if (options.move)
    list += " MOVE";
  return list;
}

std::uint16_t freePort() {
  int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0)
    throw std::runtime_error("no free port on 127.0.0.1");
  ::close(fd);
  return ntohs(address.sin_port);
}

bool answers(std::uint16_t port) {
  int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  bool connected = ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  ::close(fd);
  return connected;
}

// Runs a program to its end in a scratch folder of its own (a daemon keeps the output files it
// inherits); returns the exit status and what it said.
std::pair<int, std::string> run(const std::vector<std::string>& arguments,
                                const fs::path& scratch) {
  fs::create_directories(scratch);
  testsupport::Finished done =
      testsupport::runToEnd(arguments, testsupport::currentEnvironment(), scratch);
  return {done.exitCode, done.out + done.err};
}

} // namespace

PrivateDovecot::PrivateDovecot(ServerOptions options) {
  char pattern[] = "/tmp/private-dovecot-XXXXXX";
  if (!::mkdtemp(pattern))
    throw std::runtime_error("cannot make a temporary folder");
  root = pattern;
  // Dovecot's unprivileged processes (dovenull, dovecot) must pass through to their sockets
  // and the mail; nothing in here is listed to them.
  fs::permissions(root, fs::perms(0711));
  certificate = root / "cert.pem";
  auto [status, said] =
      run({"/usr/bin/openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout",
           (root / "key.pem").string(), "-out", certificate.string(), "-days", "2", "-subj",
           "/CN=localhost", "-addext", "subjectAltName=IP:127.0.0.1,DNS:localhost"},
          root / "openssl");
  if (status != 0)
    throw std::runtime_error("openssl could not make a test certificate: " + said);
  plainPort = freePort();
  tlsPort = freePort();
  writeConfiguration(options);
  start();
}

PrivateDovecot::~PrivateDovecot() {
  stop();
  std::error_code ignored;
  fs::remove_all(root, ignored);
}

void PrivateDovecot::writeConfiguration(const ServerOptions& options) {
  fs::create_directories(root / "base");
  fs::create_directories(root / "state");
  fs::create_directories(root / "mail");
  // The mail belongs to the mail user; the server never runs mail access as root.
  passwd* mailUser = ::getpwnam("dovecot");
  if (!mailUser)
    throw std::runtime_error("no user dovecot: is dovecot-imapd installed?");
  if (::chown((root / "mail").c_str(), mailUser->pw_uid, mailUser->pw_gid) != 0)
    throw std::runtime_error("cannot give the mail folder to the user dovecot");
  testsupport::writeFile(root / "passwd", userName + ":{PLAIN}" + password + "\n");
  std::string config = testsupport::readFile(DOVECOT_CONF_TEMPLATE);
  const std::pair<std::string, std::string> values[] = {
      {"@ROOT@", root.string()},
      {"@PLAIN_PORT@", std::to_string(plainPort)},
      {"@TLS_PORT@", std::to_string(tlsPort)},
      {"@CAPABILITIES@", options.move && options.idle && options.condstore
                             ? std::string()
                             : "  imap_capability = " + capabilities(options) + "\n"}};
  for (const auto& [name, value] : values)
    for (std::size_t at; (at = config.find(name)) != std::string::npos;)
      config.replace(at, name.size(), value);
  testsupport::writeFile(root / "dovecot.conf", config);
}

void PrivateDovecot::start() {
  if (running())
    return;
  auto [status, said] = run({"/usr/sbin/dovecot", "-c", (root / "dovecot.conf").string()},
                            root / ("start-" + std::to_string(++mStarts)));
  if (status != 0)
    throw std::runtime_error("dovecot did not start: " + said);
  for (int tries = 0; tries < 200; ++tries) {
    std::ifstream pidFile(root / "base" / "master.pid");
    if (pidFile >> mMasterPid && answers(plainPort) && answers(tlsPort))
      return;
    std::this_thread::sleep_for(50ms);
  }
  stop();
  throw std::runtime_error("dovecot did not answer on 127.0.0.1:" + std::to_string(plainPort));
}

void PrivateDovecot::stop() {
  if (mMasterPid <= 0)
    return;
  ::kill(mMasterPid, SIGTERM);
  // It waits for its clients' processes to say goodbye, which may take half a minute.
  for (int tries = 0; tries < 1200 && ::kill(mMasterPid, 0) == 0; ++tries)
    std::this_thread::sleep_for(50ms);
  if (::kill(mMasterPid, 0) == 0)
    ::kill(mMasterPid, SIGKILL);
  mMasterPid = -1;
  // Its children leave with it; the ports are free again once nothing answers.
  for (int tries = 0; tries < 100 && answers(plainPort); ++tries)
    std::this_thread::sleep_for(50ms);
}

nlohmann::json PrivateDovecot::user(const std::vector<std::string>& arguments) const {
  std::vector<std::string> command = {"/usr/bin/python3",        IMAP_USER_SCRIPT, "127.0.0.1",
                                      std::to_string(plainPort), userName,         password};
  command.insert(command.end(), arguments.begin(), arguments.end());
  auto [status, said] = run(command, root / "user");
  if (status != 0)
    throw std::runtime_error("the user's client failed: " + said);
  return nlohmann::json::parse(said);
}

std::uint32_t PrivateDovecot::deliver(const std::string& folder, const std::string& message) const {
  static int count = 0;
  fs::path file = root / ("delivery-" + std::to_string(++count) + ".eml");
  testsupport::writeFile(file, message);
  std::uint32_t uid = user({"append", folder, file.string()})["uid"];
  fs::remove(file);
  return uid;
}

} // namespace dovecot
