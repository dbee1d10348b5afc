#include "launchservices/FileReference.h"

#include <CoreServices/MacErrors.h>

#include <cstring>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace coreservices {

namespace {

constexpr UInt32 kTag = 0x46537266; // "FSrf"

struct PathTable {
  std::mutex lock;
  std::vector<std::string> paths;
  std::unordered_map<std::string, UInt32> indexOf;
};

PathTable& paths() {
  static auto* table = new PathTable;
  return *table;
}

} // namespace

void makeFileReference(const std::string& path, FSRef* ref) {
  auto& table = paths();
  UInt32 index;
  {
    std::lock_guard guard(table.lock);
    auto [found, added] = table.indexOf.try_emplace(path, static_cast<UInt32>(table.paths.size()));
    if (added)
      table.paths.push_back(path);
    index = found->second;
  }
  std::memset(ref, 0, sizeof *ref);
  std::memcpy(ref->hidden, &kTag, sizeof kTag);
  std::memcpy(ref->hidden + sizeof kTag, &index, sizeof index);
}

} // namespace coreservices

extern "C" OSStatus FSRefMakePath(const FSRef* ref, UInt8* path, UInt32 maxPathSize) {
  if (!ref || !path)
    return paramErr;
  UInt32 tag = 0, index = 0;
  std::memcpy(&tag, ref->hidden, sizeof tag);
  std::memcpy(&index, ref->hidden + sizeof tag, sizeof index);
  auto& table = coreservices::paths();
  std::lock_guard guard(table.lock);
  if (tag != coreservices::kTag || index >= table.paths.size() ||
      table.paths[index].size() + 1 > maxPathSize)
    return paramErr;
  std::memcpy(path, table.paths[index].c_str(), table.paths[index].size() + 1);
  return noErr;
}
