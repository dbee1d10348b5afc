#include "JunkMailCommand.h"

#include "ClassificationListener.h"
#include "ClassifyRun.h"
#include "CommandOutput.h"
#include "MailRoot.h"
#include "Maildir.h"
#include "MaildirTree.h"
#include "runtime/HostError.h"
#include "runtime/HostSession.h"

#include <nsServiceManagerUtils.h>

#include <set>

namespace mailhost {

std::string junkStorePath(const std::string& profileDirectory) {
  return profileDirectory + "/" + JunkStore::kFileName;
}

std::string outputLine(std::initializer_list<std::string_view> fields) {
  std::string line;
  bool first = true;
  for (std::string_view field : fields) {
    if (!first)
      line += '\t';
    first = false;
    for (char c : field) {
      switch (c) {
      case '\t':
        line += "\\t";
        break;
      case '\n':
        line += "\\n";
        break;
      case '\r':
        line += "\\r";
        break;
      case '\\':
        line += "\\\\";
        break;
      default:
        line += c;
      }
    }
  }
  return line;
}

std::vector<std::filesystem::path>
foldersToWalk(const std::vector<std::string>& paths, bool recursive,
              const std::function<bool(const std::filesystem::path&)>& skip) {
  std::vector<std::filesystem::path> folders;
  std::set<std::filesystem::path> seen; // a subfolder also named, or below two folders named
  for (const std::string& path : paths) {
    if (!seen.insert(canonicalMailPath(path)).second)
      continue;
    folders.emplace_back(path);
    std::error_code ec;
    if (!recursive || !std::filesystem::is_directory(path, ec) || !isMaildir(path))
      continue;
    for (const std::filesystem::path& sub : maildirSubfolders(canonicalMailPath(path)))
      if ((!skip || !skip(sub)) && seen.insert(sub).second)
        folders.push_back(sub);
  }
  return folders;
}

int runWithJunkMailPlugin(HostSession& session, const std::string& mailRoot,
                          const JunkMailBody& body) {
  nsresult rv = NS_OK;
  nsCOMPtr<nsIJunkMailPlugin> plugin = do_GetService(kJunkMailPluginContractId, &rv);
  if (!plugin)
    throw HostError(std::string("no junk-mail plug-in is registered under ") +
                    kJunkMailPluginContractId + " (" + hexResult(rv) + ")");
  try {
    JunkStore store(junkStorePath(session.options().profileDirectory));
    MailServices mail{MailRoot(mailRoot)};
    return body(plugin, mail, store);
  } catch (const OutputError&) {
    throw; // the output, not the command, failed: reported as such
  } catch (const std::exception& error) {
    throw HostError(error.what());
  }
}

} // namespace mailhost
