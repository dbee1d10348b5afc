// One connection to an IMAP server: login, folders, fetches, keywords and moves.
#pragma once

#include "ImapError.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

struct mailimap;

namespace mailhost {

// How the connection is secured, with the host's own numbers (mail.server.*.socketType).
enum class SocketType { Plain = 0, StartTls = 2, Tls = 3 };

struct ImapEndpoint {
  std::string host;
  std::uint16_t port = 993;
  SocketType socketType = SocketType::Tls;
  std::string user;
  std::string caFile;    // trusted besides the system's authorities; empty: those only
  bool insecure = false; // take any certificate (only ever by the user's explicit choice)
};

struct FolderState {
  std::uint32_t uidValidity = 0;
  std::uint32_t uidNext = 0;
  std::uint64_t highestModSeq = 0; // 0 without CONDSTORE
};

struct MessageFlags {
  std::uint32_t uid = 0;
  std::vector<std::string> keywords; // as the server spells them ("$Junk")
  bool seen = false;
  bool deleted = false;
  std::string messageId; // when asked for: the Message-ID field's value, empty when none
  bool has(const std::string& keyword) const;
};

// One logged-in IMAP session (libetpan). Every failure throws ImapError with one line that
// names the server; a dropped connection is ImapErrorKind::Connect. Messages are only ever read
// with BODY.PEEK, so nothing here marks mail \Seen.
class ImapConnection {
public:
  // Connects, secures the connection as asked (checking the certificate against the host name)
  // and logs in.
  ImapConnection(const ImapEndpoint& endpoint, const std::string& password);
  ~ImapConnection();
  ImapConnection(const ImapConnection&) = delete;
  ImapConnection& operator=(const ImapConnection&) = delete;

  bool hasCapability(const char* name) const;
  const ImapEndpoint& endpoint() const { return mEndpoint; }

  // Selects a folder (read-write), with CONDSTORE where offered.
  FolderState select(const std::string& folder);
  const std::string& selected() const { return mSelected; }

  // In the selected folder: the flags of the messages with UID >= firstUid (and their
  // Message-IDs when asked for); with changedSince, only those whose flags changed after that
  // MODSEQ.
  std::vector<MessageFlags> flags(std::uint32_t firstUid, std::uint64_t changedSince = 0,
                                  bool withMessageId = false);
  // The UIDs (>= firstUid) of messages carrying neither of the keywords.
  std::vector<std::uint32_t> uidsWithout(std::uint32_t firstUid, const std::string& keyword1,
                                         const std::string& keyword2);
  // The whole message, unread state untouched. ImapErrorKind::NoSuchMessage when it is gone.
  std::string fetch(std::uint32_t uid);
  void setKeyword(std::uint32_t uid, const std::string& keyword, bool on);
  // Moves a message to another folder: MOVE where offered, else COPY, \Deleted and UID EXPUNGE
  // (or, without UIDPLUS, leaves the copy's original marked \Deleted for the user's client).
  void move(std::uint32_t uid, const std::string& destination);

  // The folder marked \Junk (special use), else "Junk"; created when missing.
  std::string junkFolder();

  // Waits for news about the selected folder: IDLE when offered, else a NOOP after the wait.
  // Returns early when wakeFd becomes readable. Throws ImapError when the connection drops.
  void waitForChanges(std::chrono::seconds timeout, int wakeFd);

private:
  [[noreturn]] void fail(int code, const std::string& doing);
  void secure();
  void verifyCertificate();

  ImapEndpoint mEndpoint;
  mailimap* mImap = nullptr;
  std::string mSelected;
  bool mCondstore = false;
};

} // namespace mailhost
