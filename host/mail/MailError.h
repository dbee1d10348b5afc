// Why a mail file or message could not be used.
#pragma once

#include <stdexcept>
#include <string>

namespace mailhost {

// Why a mail file or message could not be used; the message services map it to a result code.
enum class MailErrorKind {
  BadUri,        // the text is not a message URI this host understands
  NotFound,      // the file or folder does not exist
  AccessDenied,  // it exists but cannot be opened for reading
  NoSuchMessage, // the folder exists but holds no message under that key
  NotAFolder,    // a path that is neither an mbox, a Maildir nor a message file
  OutsideRoot,   // a folder outside the mail root
  Unparseable,   // the bytes are not a message
  Io,            // a read failed
};

class MailError : public std::runtime_error {
public:
  MailError(MailErrorKind kind, const std::string& what) : std::runtime_error(what), mKind(kind) {}
  MailErrorKind kind() const { return mKind; }

private:
  MailErrorKind mKind;
};

} // namespace mailhost
