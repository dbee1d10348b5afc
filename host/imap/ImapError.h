// Why an exchange with an IMAP server failed, told so a user can act on it.
#pragma once

#include <stdexcept>
#include <string>

namespace mailhost {

// Why an exchange with an IMAP server failed, in one line a user can act on.
enum class ImapErrorKind {
  Connect,       // the server cannot be reached, or the connection dropped
  Certificate,   // the server's certificate is not trusted for its name
  Login,         // the server refused the user name or the password
  Account,       // no such account, or it lacks a setting or its password
  NoSuchFolder,  // the server has no folder of that name
  NoSuchMessage, // the folder holds no message with that UID
  Protocol,      // the server refused a command or answered nonsense
  Unavailable,   // the host's IMAP client code cannot be loaded
};

class ImapError : public std::runtime_error {
public:
  ImapError(ImapErrorKind kind, const std::string& what) : std::runtime_error(what), mKind(kind) {}
  ImapErrorKind kind() const { return mKind; }
  // A dropped or unreachable connection may work again later; the rest will not by waiting.
  bool transient() const { return mKind == ImapErrorKind::Connect; }

private:
  ImapErrorKind mKind;
};

} // namespace mailhost
