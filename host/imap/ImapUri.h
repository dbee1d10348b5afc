// IMAP folder and message URIs: writing and parsing them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace mailhost {

// IMAP folders and messages as the host names them:
//   a folder   imap://user@host[:port]/INBOX
//   a message  imap-message://user@host/INBOX#<UID>
// The user name is percent-escaped ("me%40example.org"), and so is every folder name; '/'
// separates the levels of a folder path.
inline constexpr std::string_view kImapFolderScheme = "imap://";
inline constexpr std::string_view kImapMessageScheme = "imap-message://";

struct ImapFolderRef {
  std::string user;
  std::string host;
  std::optional<std::uint16_t> port;
  std::string folder; // unescaped, '/' between levels
};

struct ImapMessageRef {
  std::string user;
  std::string host;
  std::string folder;
  std::uint32_t uid = 0;
};

bool isImapFolderUrl(std::string_view text);
bool isImapMessageUri(std::string_view text);

// Throw MailError(BadUri) for text that is not of the form above. A folder URL without a path
// names INBOX; a message URI's UID is after its last '#' and ends at '?' or '&'.
ImapFolderRef parseImapFolderUrl(std::string_view text);
ImapMessageRef parseImapMessageUri(std::string_view text);

std::string imapMessageUri(const std::string& user, const std::string& host,
                           const std::string& folder, std::uint32_t uid);
std::string imapFolderUrl(const std::string& user, const std::string& host,
                          const std::string& folder);

} // namespace mailhost
