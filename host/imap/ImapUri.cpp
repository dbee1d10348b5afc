#include "ImapUri.h"

#include "MailError.h"
#include "UriEscape.h"

#include <charconv>

namespace mailhost {

namespace {

struct Authority {
  std::string user;
  std::string host;
  std::optional<std::uint16_t> port;
  std::string_view path;
};

[[noreturn]] void badUri(std::string_view text, const char* why) {
  throw MailError(MailErrorKind::BadUri, std::string(text) + ": " + why);
}

Authority splitAuthority(std::string_view text, std::string_view rest) {
  std::size_t slash = rest.find('/');
  std::string_view authority = rest.substr(0, slash);
  Authority result;
  result.path = slash == std::string_view::npos ? std::string_view() : rest.substr(slash + 1);
  std::size_t at = authority.rfind('@');
  if (at == std::string_view::npos || at == 0)
    badUri(text, "no user name before '@'");
  result.user = percentUnescape(authority.substr(0, at));
  std::string_view hostPort = authority.substr(at + 1);
  std::size_t colon = hostPort.rfind(':');
  if (colon != std::string_view::npos && hostPort.find(']') == std::string_view::npos) {
    std::string_view digits = hostPort.substr(colon + 1);
    unsigned port = 0;
    auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
    if (ec != std::errc() || end != digits.data() + digits.size() || port == 0 || port > 65535)
      badUri(text, "the port is not a number from 1 to 65535");
    result.port = static_cast<std::uint16_t>(port);
    hostPort = hostPort.substr(0, colon);
  }
  if (hostPort.empty())
    badUri(text, "no host name");
  result.host = std::string(hostPort);
  return result;
}

std::string folderOf(std::string_view text, std::string_view path) {
  std::string folder = percentUnescape(path);
  while (!folder.empty() && folder.back() == '/')
    folder.pop_back();
  if (folder.find("//") != std::string::npos || (!folder.empty() && folder.front() == '/'))
    badUri(text, "an empty folder name");
  return folder;
}

} // namespace

bool isImapFolderUrl(std::string_view text) {
  return text.substr(0, kImapFolderScheme.size()) == kImapFolderScheme;
}

bool isImapMessageUri(std::string_view text) {
  return text.substr(0, kImapMessageScheme.size()) == kImapMessageScheme;
}

ImapFolderRef parseImapFolderUrl(std::string_view text) {
  if (!isImapFolderUrl(text))
    badUri(text, "not an imap:// folder URL");
  std::string_view rest = text.substr(kImapFolderScheme.size());
  rest = rest.substr(0, rest.find_first_of("?#"));
  Authority authority = splitAuthority(text, rest);
  std::string folder = folderOf(text, authority.path);
  return {authority.user, authority.host, authority.port, folder.empty() ? "INBOX" : folder};
}

ImapMessageRef parseImapMessageUri(std::string_view text) {
  if (!isImapMessageUri(text))
    badUri(text, "not an imap-message:// URI");
  std::string_view rest = text.substr(kImapMessageScheme.size());
  std::size_t hash = rest.rfind('#');
  if (hash == std::string_view::npos)
    badUri(text, "no '#' before the message's UID");
  std::string_view key = rest.substr(hash + 1);
  key = key.substr(0, key.find_first_of("?&"));
  std::uint32_t uid = 0;
  auto [end, ec] = std::from_chars(key.data(), key.data() + key.size(), uid);
  if (ec != std::errc() || end != key.data() + key.size() || uid == 0)
    badUri(text, "the UID is not a number from 1 to 4294967295");
  Authority authority = splitAuthority(text, rest.substr(0, hash));
  if (authority.port)
    badUri(text, "a message URI names no port");
  std::string folder = folderOf(text, authority.path);
  if (folder.empty())
    badUri(text, "no folder");
  return {authority.user, authority.host, folder, uid};
}

// '@' is safe in a path but not in a user name that comes before the host's '@'.
static std::string escapedUser(const std::string& user) {
  std::string escaped;
  for (char c : percentEscape(user, false))
    escaped += c == '@' ? std::string("%40") : std::string(1, c);
  return escaped;
}

std::string imapMessageUri(const std::string& user, const std::string& host,
                           const std::string& folder, std::uint32_t uid) {
  return std::string(kImapMessageScheme) + escapedUser(user) + "@" + host + "/" +
         percentEscape(folder, true) + "#" + std::to_string(uid);
}

std::string imapFolderUrl(const std::string& user, const std::string& host,
                          const std::string& folder) {
  return std::string(kImapFolderScheme) + escapedUser(user) + "@" + host + "/" +
         percentEscape(folder, true);
}

} // namespace mailhost
