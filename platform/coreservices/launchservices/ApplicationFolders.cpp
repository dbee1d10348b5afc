#include "launchservices/ApplicationFolders.h"

#include "launchservices/BundleInfo.h"

#include <unix/Files.h>

#include <algorithm>
#include <cstdlib>
#include <unistd.h>

namespace coreservices {

namespace {

void addFolder(std::vector<std::string>& folders, const std::string& path) {
  if (!path.empty() && os::isFolder(path) &&
      std::find(folders.begin(), folders.end(), path) == folders.end())
    folders.push_back(path);
}

std::vector<std::string> sortedSubfolders(const std::string& folder) {
  std::vector<std::string> names;
  for (auto& name : os::folderEntries(folder))
    if (!endsWithIgnoringCase(name, ".app"))
      names.push_back(name);
  std::sort(names.begin(), names.end());
  std::vector<std::string> folders;
  for (auto& name : names)
    if (os::isFolder(folder + "/" + name))
      folders.push_back(folder + "/" + name);
  return folders;
}

std::vector<std::string> trashCandidates() {
  std::string home = homeFolder();
  std::vector<std::string> candidates{home + "/.Trash"};
  if (const char* data = std::getenv("XDG_DATA_HOME"); data && *data == '/')
    candidates.push_back(std::string(data) + "/Trash/files");
  candidates.push_back(home + "/.local/share/Trash/files");
  return candidates;
}

} // namespace

std::string homeFolder() {
  if (const char* home = std::getenv("HOME"); home && *home)
    return home;
  if (std::string home = os::homeFromPasswordDatabase(); !home.empty())
    return home;
  return "/";
}

std::string systemRoot() {
  const char* root = std::getenv("LS_SYSTEM_ROOT");
  std::string path = root ? root : "";
  while (!path.empty() && path.back() == '/')
    path.pop_back();
  return path;
}

std::string localDomainPath(const std::string& path) {
  std::string root = systemRoot();
  if (root.empty())
    return path;
  if (path == "/Applications" || path.starts_with("/Applications/"))
    return root + path;
  return path;
}

std::vector<std::string> trashFolders() {
  std::vector<std::string> folders;
  for (auto& candidate : trashCandidates())
    addFolder(folders, os::realPath(candidate));
  return folders;
}

std::vector<std::string> applicationSearchFolders() {
  std::vector<std::string> folders;
  if (const char* list = std::getenv("LS_APPLICATION_PATH")) {
    std::string paths = list;
    std::size_t start = 0;
    while (start <= paths.size()) {
      std::size_t end = paths.find(':', start);
      if (end == std::string::npos)
        end = paths.size();
      addFolder(folders, paths.substr(start, end - start));
      start = end + 1;
    }
  }
  addFolder(folders, homeFolder() + "/Applications");
  std::string applications = systemRoot() + "/Applications";
  addFolder(folders, applications);
  for (auto& sub : sortedSubfolders(applications))
    addFolder(folders, sub);
  for (auto& trash : trashCandidates())
    addFolder(folders, trash);
  return folders;
}

bool isInTrash(const std::string& path) {
  std::string resolved = os::realPath(path);
  if (resolved.empty())
    return false;
  for (auto& trash : trashFolders())
    if (resolved.starts_with(trash + "/"))
      return true;
  return false;
}

} // namespace coreservices
