// Reads a profile's prefs.js: statements of the form user_pref("name", value); where value is a
// string, an integer or a boolean. A statement with a syntax error is dropped and reported; the
// statements around it still load.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace mailhost {

using PrefValue = std::variant<std::string, std::int32_t, bool>;

enum class PrefStatementKind {
  Default, // pref(...) and sticky_pref(...)
  User,    // user_pref(...)
  Locked,  // lockPref(...)
};

struct PrefStatement {
  PrefStatementKind kind;
  std::string name;
  PrefValue value;
  int line;
};

struct PrefSyntaxError {
  int line;
  std::string message;
};

struct PrefsFileContents {
  std::vector<PrefStatement> statements;
  std::vector<PrefSyntaxError> errors;
};

PrefsFileContents parsePrefsFile(std::string_view text);

// Writes one statement back in the file's own syntax (strings escaped so that they read back).
std::string formatUserPref(std::string_view name, const PrefValue& value);

} // namespace mailhost
