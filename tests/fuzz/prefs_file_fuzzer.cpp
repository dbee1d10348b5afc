// Untrusted bytes as a profile's prefs.js: the parser must take any text apart, and what the
// store keeps must survive being written back and read again, so that saving the user's
// preferences never changes or loses one.
#include "prefs/PreferenceStore.h"
#include "prefs/PrefsFileParser.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace mailhost;
  std::string_view text(reinterpret_cast<const char*>(data), size);
  PrefsFileContents contents = parsePrefsFile(text);

  // Each user statement written back on its own reads back as the same name and value.
  for (const PrefStatement& statement : contents.statements) {
    if (statement.kind != PrefStatementKind::User)
      continue;
    PrefsFileContents again = parsePrefsFile(formatUserPref(statement.name, statement.value));
    if (!again.errors.empty() || again.statements.size() != 1 ||
        again.statements[0].name != statement.name || again.statements[0].value != statement.value)
      std::abort();
  }

  // A store's user values, saved and loaded into a fresh store, save to the same text.
  PreferenceStore store;
  store.apply(contents);
  std::string saved = store.userValuesAsPrefsFile();
  PrefsFileContents reloaded = parsePrefsFile(saved);
  if (!reloaded.errors.empty())
    std::abort();
  PreferenceStore fresh;
  fresh.apply(reloaded);
  if (fresh.userValuesAsPrefsFile() != saved)
    std::abort();
  return 0;
}
