// What helps a person at the command line: the bash completion (run in a real bash against the
// built mailhost) and the manual pages (rendered by man, and in step with mailhost's --help).
#include "Shell.h"

#include <gtest/gtest.h>

#include <iterator>
#include <regex>
#include <set>
#include <sstream>

namespace fs = std::filesystem;

namespace {

const std::string kMailhost = QB_BUILD_DIR "/bin/mailhost";

std::string quoted(const std::string& word) {
  return "'" + word + "'";
}

// What the completion offers for the words typed so far (the last one is being completed), in
// alphabetical order (bash sorts them for display).
std::string complete(const std::vector<std::string>& words, const fs::path& cwd) {
  std::string array;
  for (const std::string& word : words)
    array += " " + quoted(word);
  ShellOutcome result = runShell(
      "cd " + quoted(cwd) +
      " && bash -c 'source " QB_SOURCE_DIR
      "/host/completion/mailhost.bash; COMP_WORDS=(\"$@\"); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); "
      "_mailhost \"$1\" \"${COMP_WORDS[COMP_CWORD]}\"; printf \"%s \" \"${COMPREPLY[@]}\"' _ " +
      quoted(kMailhost) + array);
  std::istringstream replies(result.out);
  std::set<std::string> offered{std::istream_iterator<std::string>(replies), {}};
  std::string text;
  for (const std::string& word : offered)
    text += word + " ";
  return text;
}

TEST(Completion, OffersCommandsOptionsAndFolders) {
  TempDir temp;
  fs::create_directories(temp.path() / "mail/Inbox/cur");
  writeFile(temp.path() / "mail/old.mbox", "");
  struct Case {
    std::vector<std::string> words;
    std::string offered;
  };
  const Case cases[] = {
      {{"mark", ""}, "good junk "},
      {{"mark", "--json", "junk", "mail/o"}, "mail/old.mbox "},
      {{"classify", "mail/Inbox", "--pro"}, "--profile "}, // global options after the command
      {{"--profile", "mail/"}, "mail/Inbox "},             // folders only
      {{"list", "--mail-root", "mail/", "--json", "mail/"}, "mail/Inbox mail/old.mbox "},
      {{"classify", "--move-junk", "=", "mail/"}, "mail/Inbox "}, // bash splits at the =
      {{"classify", "--move-junk", "mail/"}, "mail/Inbox mail/old.mbox "},
      {{"classify", "--jobs", ""}, "auto "},
      {{"classify", "--jobs", "2", "mail/"}, "mail/Inbox mail/old.mbox "},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.words));
    EXPECT_EQ(complete(c.words, temp.path()), c.offered);
  }
}

std::string manualPage(const std::string& name) {
  return readFile(QB_BUILD_DIR "/man/man1/" + name + ".1");
}

TEST(ManualPages, RenderWithoutWarnings) {
  for (const char* page : {"mailhost", "Quellbark"}) {
    ShellOutcome rendered = runShell("MANWIDTH=80 man --warnings -l " QB_BUILD_DIR "/man/man1/" +
                                     std::string(page) + ".1 2>&1 >/dev/null");
    EXPECT_EQ(rendered.status, 0) << page;
    EXPECT_EQ(rendered.out, "") << page;
    EXPECT_EQ(manualPage(page).find("@PROJECT_"), std::string::npos) << page;
  }
}

// Every command and option that mailhost's help lists is described in its manual page.
TEST(ManualPages, DescribeEveryCommandAndOptionOfMailhost) {
  std::string page = std::regex_replace(manualPage("mailhost"), std::regex(R"(\\-)"), "-");
  std::string top = runShell(kMailhost + " --help").out;
  std::set<std::string> commands;
  std::istringstream lines(top.substr(top.find("Subcommands:")));
  for (std::string line; std::getline(lines, line);)
    if (std::smatch m; std::regex_search(line, m, std::regex(R"(^  ([a-z]+) )")))
      commands.insert(m[1]);
  EXPECT_GE(commands.size(), 4u) << top;

  std::regex option(R"(--[a-z-]+)");
  for (const std::string& command : commands) {
    EXPECT_NE(page.find(".SS " + command), std::string::npos) << command;
    std::string help = runShell(kMailhost + " " + command + " --help").out;
    for (std::sregex_iterator it(help.begin(), help.end(), option), end; it != end; ++it)
      EXPECT_NE(page.find(it->str()), std::string::npos) << command << " " << it->str();
  }
  for (std::sregex_iterator it(top.begin(), top.end(), option), end; it != end; ++it)
    EXPECT_NE(page.find(it->str()), std::string::npos) << it->str();
}

} // namespace
