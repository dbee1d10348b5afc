#include "Maildir.h"

#include "MailError.h"

#include <algorithm>
#include <map>

namespace fs = std::filesystem;

namespace mailhost {

namespace {

constexpr const char* kSubdirs[] = {"cur", "new"};

std::string keyOf(const std::string& name) {
  return name.substr(0, name.find(':'));
}

MailError listError(const fs::path& dir, const std::error_code& ec) {
  MailErrorKind kind = MailErrorKind::Io;
  if (ec == std::errc::no_such_file_or_directory)
    kind = MailErrorKind::NotFound;
  else if (ec == std::errc::permission_denied)
    kind = MailErrorKind::AccessDenied;
  return MailError(kind, dir.string() + ": " + ec.message());
}

// Calls `visit(name, path)` for every message file of the folder.
template <typename Visit>
void forEachMessageFile(const fs::path& dir, Visit visit) {
  bool listedAny = false;
  for (const char* sub : kSubdirs) {
    std::error_code ec;
    fs::directory_iterator it(dir / sub, ec);
    if (ec) {
      if (ec == std::errc::no_such_file_or_directory)
        continue;
      throw listError(dir / sub, ec);
    }
    listedAny = true;
    for (; it != fs::directory_iterator(); it.increment(ec)) {
      std::string name = it->path().filename().string();
      std::error_code typeError;
      if (name.empty() || name.front() == '.' || !it->is_regular_file(typeError))
        continue;
      visit(name, it->path());
    }
    if (ec)
      throw listError(dir / sub, ec);
  }
  if (!listedAny) {
    std::error_code ec;
    if (!fs::exists(dir, ec))
      throw MailError(MailErrorKind::NotFound, dir.string() + ": no such file or directory");
    throw MailError(MailErrorKind::NotAFolder, dir.string() + ": not a Maildir folder");
  }
}

} // namespace

bool isMaildir(const fs::path& dir) {
  std::error_code ec;
  return fs::is_directory(dir / "cur", ec) || fs::is_directory(dir / "new", ec);
}

std::vector<MaildirEntry> listMaildir(const fs::path& dir) {
  std::map<std::string, fs::path> byKey; // cur/ is listed first and wins over a stale new/ copy
  forEachMessageFile(dir, [&](const std::string& name, const fs::path& path) {
    byKey.emplace(keyOf(name), path);
  });
  std::vector<MaildirEntry> entries;
  for (auto& [key, path] : byKey)
    entries.push_back({key, path});
  return entries;
}

fs::path findMaildirMessage(const fs::path& dir, std::string_view key) {
  if (key.empty() || key.find('/') != std::string_view::npos || key == "." || key == "..")
    throw MailError(MailErrorKind::BadUri, "bad Maildir key \"" + std::string(key) + "\"");
  fs::path found;
  forEachMessageFile(dir, [&](const std::string& name, const fs::path& path) {
    if (found.empty() && keyOf(name) == key)
      found = path;
  });
  if (found.empty())
    throw MailError(MailErrorKind::NoSuchMessage,
                    dir.string() + ": no message with key " + std::string(key));
  return found;
}

} // namespace mailhost
