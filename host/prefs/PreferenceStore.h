// The host's preferences in memory: each name has an optional default value, an optional user
// value and a lock. Typed access follows the host's rules: a preference keeps the type of its
// default value, and a locked preference reads as its default.
#pragma once

#include "prefs/PrefsFileParser.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mailhost {

class PreferenceStore {
public:
  enum class Layer { Effective, Default };

  // Applies what a prefs.js file holds, in file order (a later statement wins).
  void apply(const PrefsFileContents& contents);

  std::optional<PrefValue> get(std::string_view name, Layer layer = Layer::Effective) const;
  // False when the preference has a default value of another type.
  bool set(std::string_view name, const PrefValue& value, Layer layer = Layer::Effective);
  void clearUserValue(std::string_view name);
  bool hasUserValue(std::string_view name) const;
  void setLocked(std::string_view name, bool locked);
  bool isLocked(std::string_view name) const;

  // Names that begin with prefix, in name order.
  std::vector<std::string> namesStartingWith(std::string_view prefix) const;
  void deleteNamesStartingWith(std::string_view prefix);
  void clearUserValues();
  void clear() { mPrefs.clear(); }

  // The user values as prefs.js text, one statement a line, in name order.
  std::string userValuesAsPrefsFile() const;

private:
  struct Pref {
    std::optional<PrefValue> defaultValue;
    std::optional<PrefValue> userValue;
    bool locked = false;
  };
  const Pref* find(std::string_view name) const;
  void dropIfEmpty(std::map<std::string, Pref, std::less<>>::iterator it);

  std::map<std::string, Pref, std::less<>> mPrefs;
};

} // namespace mailhost
