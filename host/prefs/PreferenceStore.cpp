#include "prefs/PreferenceStore.h"

namespace mailhost {

void PreferenceStore::apply(const PrefsFileContents& contents) {
  for (const PrefStatement& statement : contents.statements) {
    switch (statement.kind) {
    case PrefStatementKind::Default:
      set(statement.name, statement.value, Layer::Default);
      break;
    case PrefStatementKind::User:
      set(statement.name, statement.value, Layer::Effective);
      break;
    case PrefStatementKind::Locked:
      set(statement.name, statement.value, Layer::Default);
      setLocked(statement.name, true);
      break;
    }
  }
}

const PreferenceStore::Pref* PreferenceStore::find(std::string_view name) const {
  auto it = mPrefs.find(name);
  return it == mPrefs.end() ? nullptr : &it->second;
}

std::optional<PrefValue> PreferenceStore::get(std::string_view name, Layer layer) const {
  const Pref* pref = find(name);
  if (!pref)
    return std::nullopt;
  if (layer == Layer::Effective && !pref->locked && pref->userValue)
    return pref->userValue;
  return pref->defaultValue;
}

bool PreferenceStore::set(std::string_view name, const PrefValue& value, Layer layer) {
  auto it = mPrefs.find(name);
  if (it == mPrefs.end())
    it = mPrefs.emplace(std::string(name), Pref{}).first;
  Pref& pref = it->second;
  if (pref.defaultValue && pref.defaultValue->index() != value.index() && layer == Layer::Effective)
    return false;
  if (layer == Layer::Default) {
    pref.defaultValue = value;
    if (pref.userValue && pref.userValue->index() != value.index())
      pref.userValue.reset();
  } else {
    pref.userValue = value;
  }
  return true;
}

void PreferenceStore::dropIfEmpty(std::map<std::string, Pref, std::less<>>::iterator it) {
  if (!it->second.defaultValue && !it->second.userValue && !it->second.locked)
    mPrefs.erase(it);
}

void PreferenceStore::clearUserValue(std::string_view name) {
  auto it = mPrefs.find(name);
  if (it == mPrefs.end())
    return;
  it->second.userValue.reset();
  dropIfEmpty(it);
}

bool PreferenceStore::hasUserValue(std::string_view name) const {
  const Pref* pref = find(name);
  return pref && pref->userValue.has_value();
}

void PreferenceStore::setLocked(std::string_view name, bool locked) {
  auto it = mPrefs.find(name);
  if (it == mPrefs.end()) {
    if (!locked)
      return;
    it = mPrefs.emplace(std::string(name), Pref{}).first;
  }
  it->second.locked = locked;
  dropIfEmpty(it);
}

bool PreferenceStore::isLocked(std::string_view name) const {
  const Pref* pref = find(name);
  return pref && pref->locked;
}

std::vector<std::string> PreferenceStore::namesStartingWith(std::string_view prefix) const {
  std::vector<std::string> names;
  for (auto it = mPrefs.lower_bound(prefix); it != mPrefs.end() && it->first.starts_with(prefix);
       ++it) {
    if (it->second.defaultValue || it->second.userValue)
      names.push_back(it->first);
  }
  return names;
}

void PreferenceStore::deleteNamesStartingWith(std::string_view prefix) {
  auto it = mPrefs.lower_bound(prefix);
  while (it != mPrefs.end() && it->first.starts_with(prefix))
    it = mPrefs.erase(it);
}

void PreferenceStore::clearUserValues() {
  for (auto it = mPrefs.begin(); it != mPrefs.end();) {
    auto next = std::next(it);
    it->second.userValue.reset();
    dropIfEmpty(it);
    it = next;
  }
}

std::string PreferenceStore::userValuesAsPrefsFile() const {
  std::string text;
  for (const auto& [name, pref] : mPrefs) {
    if (pref.userValue)
      text += formatUserPref(name, *pref.userValue) + "\n";
  }
  return text;
}

} // namespace mailhost
