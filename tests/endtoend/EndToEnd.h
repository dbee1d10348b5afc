// The whole message path as a user meets it: `mailhost` run as a process with the built plug-in
// bundle, in a sandbox of its own (home, runtime folder, profile, mail), where Launch Services
// finds the scripted companion and the plug-in launches it when it first needs it.
#pragma once

#include "Sandbox.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace endtoend {

using sandbox::Json;
using sandbox::fs::path;
namespace fs = sandbox::fs;

inline constexpr std::string_view kLogPrefix = "Quellbark Thunderbird Plug-In: ";

using ProcessRun = sandbox::Finished;

// The lines of a text, without their line feeds.
std::vector<std::string> linesOf(const std::string& text);
// The plug-in's lines of a text, without their prefix.
std::vector<std::string> pluginLines(const std::string& text);
std::string sha256Of(std::string_view bytes);

class EndToEndTest : public testing::Test {
protected:
  EndToEndTest();

  // Quellbark in the folder Launch Services searches first.
  void installCompanion();
  // The built Quellbark application there instead, with bogofilter and an empty word list of
  // its own; returns the environment mailhost needs for it.
  std::vector<std::string> installRealQuellbark();
  // How the companion answers: one line per event, the last one for every later event.
  void replies(std::initializer_list<std::string> lines);
  // Writes a file below the mail folder (folders made as needed) and returns its path.
  path writeMail(const std::string& relative, std::string_view bytes);

  // mailhost with the sandbox's profile and the built bundle; bounded in time.
  ProcessRun mailhost(std::vector<std::string> arguments,
                      std::vector<std::string> extraEnvironment = {});

  // What the companion received, in order: the events, and each event's 'Mess' bytes.
  std::vector<Json> events() const;
  std::vector<std::string> messagesReceived() const;

  sandbox::Sandbox box;
  path profile;
  path mail;
};

// Words that make mail of one kind for a trained Quellbark.
extern const std::vector<std::string> kSpamWords;
extern const std::vector<std::string> kHamWords;
// Lines of words of one kind, a little different for each n.
std::string bodyOf(const std::vector<std::string>& words, int n, const std::string& lineEnd);
// Messages of one kind, each a little different (numbered from `first`), as an mbox.
std::string mboxOf(const std::vector<std::string>& words, int count, int first = 0);
// One such message as a mail client keeps it (CRLF line ends, a Message-ID of its own).
std::string messageOf(const std::vector<std::string>& words, int n);

// A message URI as mailhost names a message of an mbox or Maildir below the root "/".
std::string folderUri(const path& folder, const std::string& key);
std::string fileUri(const path& file);

// One event's parameter by key (null when absent).
const Json* parameter(const Json& event, std::string_view key);

} // namespace endtoend
