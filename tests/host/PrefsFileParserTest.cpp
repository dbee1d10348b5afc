#include "prefs/PrefsFileParser.h"

#include <gtest/gtest.h>

using mailhost::parsePrefsFile;
using mailhost::PrefStatementKind;
using mailhost::PrefValue;

namespace {

struct ValidCase {
  const char* text;
  const char* name;
  PrefValue value;
};

class PrefsFileValid : public testing::TestWithParam<ValidCase> {};

TEST_P(PrefsFileValid, ReadsOneStatement) {
  auto contents = parsePrefsFile(GetParam().text);
  ASSERT_TRUE(contents.errors.empty()) << contents.errors[0].message;
  ASSERT_EQ(contents.statements.size(), 1u);
  EXPECT_EQ(contents.statements[0].name, GetParam().name);
  EXPECT_EQ(contents.statements[0].value, GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    Values, PrefsFileValid,
    testing::Values(
        ValidCase{R"(user_pref("a.b", 42);)", "a.b", std::int32_t{42}},
        ValidCase{R"(user_pref("max", 2147483647);)", "max", std::int32_t{INT32_MAX}},
        ValidCase{R"(user_pref("s", "plain");)", "s", std::string("plain")},
        ValidCase{R"(user_pref('single', 'quoted "inside"');)", "single",
                  std::string("quoted \"inside\"")},
        ValidCase{R"(user_pref("esc", "a\"b\\c\nd\te\x41\u00e9");)", "esc",
                  std::string("a\"b\\c\nd\teA\xc3\xa9")},
        ValidCase{R"(user_pref("pair", "\ud83d\ude00");)", "pair", std::string("\xf0\x9f\x98\x80")},
        ValidCase{"  user_pref ( \"ws\" ,\n 3 ) ;  ", "ws", std::int32_t{3}},
        ValidCase{"// comment\n# hash comment\n/* block\n comment */ user_pref(\"c\", 1);", "c",
                  std::int32_t{1}},
        // '#' starts a comment only outside a string.
        ValidCase{R"(user_pref("url", "http://example.org/#frag");)", "url",
                  std::string("http://example.org/#frag")}));

struct ErrorCase {
  const char* text;
  int line;
  const char* message;
};

class PrefsFileErrors : public testing::TestWithParam<ErrorCase> {};

// Every bad statement sits between two good ones; both good ones must survive it.
TEST_P(PrefsFileErrors, ReportsLineAndKeepsTheRest) {
  std::string text =
      std::string("user_pref(\"before\", 1);\n") + GetParam().text + "\nuser_pref(\"after\", 2);\n";
  auto contents = parsePrefsFile(text);
  ASSERT_EQ(contents.errors.size(), 1u);
  EXPECT_EQ(contents.errors[0].line, GetParam().line);
  EXPECT_EQ(contents.errors[0].message, GetParam().message);
  ASSERT_EQ(contents.statements.size(), 2u);
  EXPECT_EQ(contents.statements[0].name, "before");
  EXPECT_EQ(contents.statements[1].name, "after");
  EXPECT_EQ(contents.statements[1].value, PrefValue(std::int32_t{2}));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, PrefsFileErrors,
    testing::Values(ErrorCase{R"(user_pref("a" 1);)", 2, "expected ',' after preference name"},
                    ErrorCase{R"(user_pref("a", 1;)", 2, "expected ')' after value"},
                    ErrorCase{R"(user_pref(a, 1);)", 2, "expected a preference name in quotes"},
                    ErrorCase{R"(user_pref("a", );)", 2,
                              "expected a value (a string, an integer, true or false)"},
                    ErrorCase{R"(user_pref("a", yes);)", 2,
                              "unknown value 'yes' (expected a string, an integer, true or false)"},
                    ErrorCase{R"(user_pref("a", 2147483648);)", 2, "integer out of range"},
                    ErrorCase{R"(user_pref("a\q", 1);)", 2, "unknown escape '\\q'"},
                    ErrorCase{R"(user_pref("a\ud800", 1);)", 2, "unpaired surrogate in \\u escape"},
                    ErrorCase{R"(set_pref("a", 1);)", 2, "unknown statement 'set_pref'"},
                    ErrorCase{R"(42;)", 2,
                              "expected a statement such as user_pref(\"name\", value);"}));

TEST(PrefsFile, WrittenStatementsReadBack) {
  const PrefValue values[] = {std::string("q\"uo\\te\nnew\x01"), std::int32_t{-5}, true, false,
                              std::string("caf\xc3\xa9")};
  std::string text;
  for (const auto& v : values)
    text += mailhost::formatUserPref("k", v) + "\n";
  auto contents = parsePrefsFile(text);
  ASSERT_TRUE(contents.errors.empty());
  ASSERT_EQ(contents.statements.size(), std::size(values));
  for (std::size_t i = 0; i < std::size(values); ++i)
    EXPECT_EQ(contents.statements[i].value, values[i]) << i;
}

} // namespace
