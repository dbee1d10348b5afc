#include "MailRoot.h"

#include "MailError.h"
#include "UriEscape.h"

#include <vector>

namespace fs = std::filesystem;

namespace mailhost {

namespace {

constexpr std::string_view kSubfolderSuffix = ".sbd";

std::vector<std::string_view> splitPath(std::string_view path) {
  std::vector<std::string_view> parts;
  std::size_t start = 0;
  while (start <= path.size()) {
    std::size_t slash = path.find('/', start);
    if (slash == std::string_view::npos)
      slash = path.size();
    parts.push_back(path.substr(start, slash - start));
    start = slash + 1;
  }
  return parts;
}

} // namespace

fs::path canonicalMailPath(const fs::path& path) {
  std::error_code ec;
  fs::path absolute = fs::absolute(path, ec);
  if (ec)
    throw MailError(MailErrorKind::Io, path.string() + ": " + ec.message());
  fs::path canonical = fs::weakly_canonical(absolute, ec);
  return ec ? absolute.lexically_normal() : canonical;
}

MailRoot::MailRoot(const fs::path& root) : mRoot(canonicalMailPath(root)) {}

std::string MailRoot::uriPathFor(const fs::path& folder) const {
  fs::path full = canonicalMailPath(folder);
  fs::path relative = full.lexically_relative(mRoot);
  if (relative.empty() || relative == "." || *relative.begin() == "..")
    throw MailError(MailErrorKind::OutsideRoot,
                    full.string() + " is not inside the mail root " + mRoot.string());

  std::vector<std::string> names;
  for (const fs::path& part : relative)
    names.push_back(part.string());
  std::string uriPath;
  for (std::size_t i = 0; i < names.size(); ++i) {
    std::string name = names[i];
    bool enclosing = i + 1 < names.size();
    if (enclosing && name.size() > kSubfolderSuffix.size() && name.ends_with(kSubfolderSuffix))
      name.resize(name.size() - kSubfolderSuffix.size());
    if (i > 0)
      uriPath += '/';
    uriPath += percentEscape(name, false);
  }
  return uriPath;
}

fs::path MailRoot::folderPathFor(std::string_view uriPath) const {
  std::vector<std::string_view> parts = splitPath(uriPath);
  fs::path result = mRoot;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    std::string name = percentUnescape(parts[i]);
    if (name.empty() || name == "." || name == ".." ||
        name.find_first_of(std::string_view("/\0", 2)) != std::string::npos)
      throw MailError(MailErrorKind::BadUri, "bad folder name in \"" + std::string(uriPath) + "\"");
    bool enclosing = i + 1 < parts.size();
    std::error_code ec;
    if (enclosing && fs::is_directory(result / (name + std::string(kSubfolderSuffix)), ec))
      result /= name + std::string(kSubfolderSuffix);
    else
      result /= name;
  }
  return result;
}

} // namespace mailhost
