// Writes Quellbark's preferences file, as the companion application would, into a home folder
// (the one a test names with CFFIXED_USER_HOME, or a sandbox's).
#pragma once

#include "TempDir.h"

#include <cstdio>
#include <plist/plist.h>
#include <string>

namespace testsupport {

inline std::string quellbarkPrefsPath(const std::string& home) {
  return home + "/Library/Preferences/com.quellbark.Quellbark.plist";
}

// value becomes the "ThunderbirdLogLevel" entry (null: a file without it). The file is replaced
// by rename, so every write is a new file to the preferences system.
inline void writeQuellbarkPrefs(const std::string& home, plist_t value) {
  plist_t dict = plist_new_dict();
  plist_dict_set_item(dict, "OtherSetting", plist_new_string("unrelated"));
  if (value)
    plist_dict_set_item(dict, "ThunderbirdLogLevel", value);
  char* data = nullptr;
  uint32_t length = 0;
  plist_to_xml(dict, &data, &length);
  std::string temporary = quellbarkPrefsPath(home) + ".new";
  writeFile(temporary, std::string_view(data, length));
  std::free(data);
  plist_free(dict);
  std::rename(temporary.c_str(), quellbarkPrefsPath(home).c_str());
}

inline void writeLogLevel(const std::string& home, long long level) {
  writeQuellbarkPrefs(home, plist_new_uint(static_cast<uint64_t>(level)));
}

} // namespace testsupport
