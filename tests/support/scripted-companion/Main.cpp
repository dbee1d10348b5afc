// scripted-companion: a stand-in for the companion application in tests. Run from inside an
// application bundle whose signature is the one under test, it registers like any application,
// answers each Apple Event as its reply script says, and writes every event down.
//
// It takes its settings from the environment: SCRIPTED_COMPANION_SCRIPT (the reply script, see
// ReplyScript.h; none: every event gets the default reply), SCRIPTED_COMPANION_EVENTS (the
// record, see EventRecord.h; none: nothing is recorded) and SCRIPTED_COMPANION_HEX_LIMIT (data
// longer than this is recorded by length and SHA-256; none: everything in hex). The record is
// appended to, one line per event, before the event is answered.
#include "EventRecord.h"
#include "ReplyScript.h"

#include <Carbon/Carbon.h>

#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <limits>
#include <sstream>
#include <thread>
#include <unistd.h>

namespace {

struct Companion {
  scripted::ReplyScript script;
  std::string recordPath;
  std::size_t hexLimit = std::numeric_limits<std::size_t>::max();
  std::size_t eventsSeen = 0;
};

void record(const std::string& path, const std::string& line) {
  if (path.empty())
    return;
  int fd = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
  if (fd < 0)
    return;
  std::string text = line + "\n";
  // One write per line, so that a reader never sees half a line of a finished event.
  for (std::size_t done = 0; done < text.size();) {
    ssize_t n = write(fd, text.data() + done, text.size() - done);
    if (n <= 0)
      break;
    done += static_cast<std::size_t>(n);
  }
  close(fd);
}

OSErr putValue(AppleEvent* reply, AEKeyword key, const scripted::ScriptedValue& value) {
  return AEPutParamPtr(reply, key, value.type, value.bytes.data(),
                       static_cast<Size>(value.bytes.size()));
}

OSErr answer(const AppleEvent* event, AppleEvent* reply, SRefCon refcon) {
  auto& companion = *static_cast<Companion*>(refcon);
  record(companion.recordPath, scripted::describeEvent(*event, companion.hexLimit));
  const scripted::ScriptedReply& scripted = companion.script.replyFor(companion.eventsSeen++);

  if (scripted.delayMilliseconds > 0)
    std::this_thread::sleep_for(std::chrono::milliseconds(scripted.delayMilliseconds));
  if (reply->descriptorType == typeNull)
    return noErr; // the sender wants no reply
  if (scripted.nullReply)
    return AEDisposeDesc(reply);
  if (scripted.errorNumber)
    putValue(reply, keyErrorNumber, *scripted.errorNumber);
  if (scripted.directObject)
    putValue(reply, keyDirectObject, *scripted.directObject);
  return noErr;
}

std::string fromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

} // namespace

int main() {
  static Companion companion;
  companion.recordPath = fromEnvironment("SCRIPTED_COMPANION_EVENTS");
  if (std::string limit = fromEnvironment("SCRIPTED_COMPANION_HEX_LIMIT"); !limit.empty()) {
    auto [end, ec] = std::from_chars(limit.data(), limit.data() + limit.size(), companion.hexLimit);
    if (ec != std::errc() || end != limit.data() + limit.size()) {
      std::fprintf(stderr, "scripted-companion: bad hex limit %s\n", limit.c_str());
      return 2;
    }
  }
  if (std::string path = fromEnvironment("SCRIPTED_COMPANION_SCRIPT"); !path.empty()) {
    std::ifstream file(path);
    if (!file) {
      std::fprintf(stderr, "scripted-companion: cannot read %s\n", path.c_str());
      return 2;
    }
    std::stringstream text;
    text << file.rdbuf();
    std::string problem;
    auto script = scripted::parseReplyScript(text.str(), problem);
    if (!script) {
      std::fprintf(stderr, "scripted-companion: %s: %s\n", path.c_str(), problem.c_str());
      return 2;
    }
    companion.script = std::move(*script);
  }

  std::signal(SIGTERM, [](int) { QuitApplicationEventLoop(); });
  std::signal(SIGINT, [](int) { QuitApplicationEventLoop(); });
  AEInstallEventHandler(typeWildCard, typeWildCard, NewAEEventHandlerUPP(answer), &companion,
                        false);
  record(companion.recordPath, "{\"started\":" + std::to_string(getpid()) + "}");
  RunApplicationEventLoop();
  return 0;
}
