#include "EndToEnd.h"

#include <glib.h>

#include <fstream>
#include <sstream>

namespace endtoend {

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);)
    lines.push_back(line);
  return lines;
}

namespace {

std::string fromHex(std::string_view hex) {
  auto digit = [](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
  std::string bytes(hex.size() / 2, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = static_cast<char>(digit(hex[2 * i]) << 4 | digit(hex[2 * i + 1]));
  return bytes;
}

} // namespace

std::vector<std::string> pluginLines(const std::string& text) {
  std::vector<std::string> lines;
  for (const std::string& line : linesOf(text))
    if (line.starts_with(kLogPrefix))
      lines.push_back(line.substr(kLogPrefix.size()));
  return lines;
}

std::string sha256Of(std::string_view bytes) {
  gchar* digest = g_compute_checksum_for_data(
      G_CHECKSUM_SHA256, reinterpret_cast<const guchar*>(bytes.data()), bytes.size());
  std::string text = digest;
  g_free(digest);
  return text;
}

EndToEndTest::EndToEndTest() {
  profile = box.root / "profile";
  mail = fs::canonical(box.root) / "mail";
  fs::create_directories(mail);
}

void EndToEndTest::installCompanion() {
  sandbox::makeCompanionBundle(box.applicationPath);
}

std::vector<std::string> EndToEndTest::installRealQuellbark() {
  fs::copy(sandbox::buildDirectory() / "Quellbark.app", box.applicationPath / "Quellbark.app",
           fs::copy_options::recursive);
  return {"QUELLBARK_DATA_DIR=" + (box.root / "quellbark-data").string()};
}

void EndToEndTest::replies(std::initializer_list<std::string> lines) {
  std::ofstream script(box.script, std::ios::trunc);
  for (const std::string& line : lines)
    script << line << "\n";
}

path EndToEndTest::writeMail(const std::string& relative, std::string_view bytes) {
  path file = mail / relative;
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary).write(bytes.data(), std::streamsize(bytes.size()));
  return file;
}

ProcessRun EndToEndTest::mailhost(std::vector<std::string> arguments,
                                  std::vector<std::string> extraEnvironment) {
  path build = sandbox::buildDirectory();
  arguments.insert(arguments.begin(),
                   {(build / "bin/mailhost").string(), "--profile", profile.string(), "--plugin",
                    (build / "lib/QuellbarkPlugIn.so").string()});
  std::vector<std::string> environment = box.environment();
  // Under the leak checker, deliberate and suppressed leaks are not to be listed on stderr,
  // which the tests read line by line.
  for (std::string& variable : environment)
    if (variable.starts_with("LSAN_OPTIONS="))
      variable += ":print_suppressions=0";
  environment.insert(environment.end(), extraEnvironment.begin(), extraEnvironment.end());
  return sandbox::runToEnd(arguments, environment, box.root);
}

std::vector<Json> EndToEndTest::events() const {
  return sandbox::receivedEvents(box.events);
}

std::vector<std::string> EndToEndTest::messagesReceived() const {
  std::vector<std::string> messages;
  for (const Json& event : events()) {
    const Json* message = parameter(event, "Mess");
    messages.push_back(message && message->contains("hex")
                           ? fromHex((*message)["hex"].get<std::string>())
                           : std::string("<no Mess parameter in hex>"));
  }
  return messages;
}

const std::vector<std::string> kSpamWords = {
    "viagra", "cheap", "pills", "casino",   "winner", "lottery", "prize",       "free",
    "click",  "offer", "money", "discount", "rolex",  "bonus",   "unsubscribe", "urgent"};
const std::vector<std::string> kHamWords = {
    "meeting", "agenda", "project", "review", "quarterly", "report", "schedule",  "team",
    "minutes", "budget", "draft",   "lunch",  "thursday",  "slides", "colleague", "notes"};

std::string bodyOf(const std::vector<std::string>& words, int n, const std::string& lineEnd) {
  std::string body;
  for (std::size_t w = 0; w < words.size() * 3; ++w)
    body += words[(w * 7 + std::size_t(n)) % words.size()] + (w % 9 == 8 ? lineEnd : " ");
  return body;
}

std::string mboxOf(const std::vector<std::string>& words, int count, int first) {
  std::string mbox;
  for (int n = first; n < first + count; ++n)
    mbox += "From x@example.org Mon Jan  1 00:00:00 2024\nSubject: " +
            words[std::size_t(n) % words.size()] + " " + std::to_string(n) + "\n\n" +
            bodyOf(words, n, "\n") + "\n\n";
  return mbox;
}

std::string messageOf(const std::vector<std::string>& words, int n) {
  std::string number = std::to_string(n);
  return "From: someone" + number +
         "@example.org\r\nSubject: " + words[std::size_t(n) % words.size()] + " " + number +
         "\r\nMessage-ID: <" + number + "." + words[0] + "@example.org>\r\n\r\n" +
         bodyOf(words, n, "\r\n") + "\r\n";
}

std::string folderUri(const path& folder, const std::string& key) {
  // The sandbox's names need no escaping: letters, digits, '-', '.' and '/'.
  return "mailbox-message://nobody@Local%20Folders" + folder.string() + "#" + key;
}

std::string fileUri(const path& file) {
  return "file://" + file.string() + "?type=application/x-message-display";
}

const Json* parameter(const Json& event, std::string_view key) {
  for (const Json& p : event["parameters"])
    if (p["key"] == key)
      return &p;
  return nullptr;
}

} // namespace endtoend
