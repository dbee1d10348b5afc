// A Dovecot IMAP server of a test's own: its configuration, certificate, users and mail in a
// temporary folder, listening on 127.0.0.1 only, stopped (SIGTERM to its master) when the
// object goes. The "user's other client" is Python's imaplib, driven through imap_user.py.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <filesystem>
#include <string>
#include <sys/types.h>
#include <vector>

namespace dovecot {

namespace fs = std::filesystem;

// What the server offers after login; without an extension clients must do without it.
struct ServerOptions {
  bool move = true;      // without MOVE: copy, flag \Deleted and expunge
  bool idle = true;      // without IDLE: poll
  bool condstore = true; // without CONDSTORE: list every message's flags to find changes
};

class PrivateDovecot {
public:
  explicit PrivateDovecot(ServerOptions options = {});
  ~PrivateDovecot();
  PrivateDovecot(const PrivateDovecot&) = delete;
  PrivateDovecot& operator=(const PrivateDovecot&) = delete;

  // Starts the server (again, after stop) on the same ports and mail; waits until it answers.
  void start();
  // SIGTERM to the master, then waits (bounded) until it is gone.
  void stop();
  bool running() const { return mMasterPid > 0; }

  // What the server's other client (imaplib) does or sees; arguments as imap_user.py takes them:
  //   append FOLDER FILE [FLAG...]   -> {"uid": N}
  //   list FOLDER                    -> [{"uid": N, "flags": [...], "subject": S}, ...]
  //   move FOLDER UID DEST           -> {}
  //   flag FOLDER UID +KEYWORD|-KEYWORD -> {}
  nlohmann::json user(const std::vector<std::string>& arguments) const;
  // Appends a message (bytes) to a folder; returns its UID.
  std::uint32_t deliver(const std::string& folder, const std::string& message) const;

  fs::path root;
  fs::path certificate; // self-signed for 127.0.0.1 and localhost; trust it to connect over TLS
  std::uint16_t plainPort = 0;
  std::uint16_t tlsPort = 0;
  std::string userName = "alice";
  std::string password = "wonderland-7";

private:
  void writeConfiguration(const ServerOptions& options);

  pid_t mMasterPid = -1;
  int mStarts = 0;
};

} // namespace dovecot
