#include "NativeHostCommand.h"

#include "ClassificationListener.h"
#include "NativeHost.h"
#include "NativeMessaging.h"
#include "runtime/HostError.h"

#include <nsServiceManagerUtils.h>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <ostream>
#include <unistd.h>
#include <vector>

namespace mailhost {

namespace {

// The protocol owns the process's standard input and output. Anything else that writes to
// standard output (a library, the plug-in) would corrupt the frames, so fd 1 becomes stderr; and
// a program launched from here (Quellbark) must not hold the client's pipes open after we end.
struct ProtocolChannel {
  int in = -1;
  int out = -1;
  ProtocolChannel() {
    in = ::fcntl(0, F_DUPFD_CLOEXEC, 3);
    out = ::fcntl(1, F_DUPFD_CLOEXEC, 3);
    ::dup2(2, 1);
    int null = ::open("/dev/null", O_RDONLY);
    if (null >= 0) {
      ::dup2(null, 0);
      ::close(null);
    }
  }
  ~ProtocolChannel() {
    ::close(in);
    ::close(out);
  }
};

// A client that went away makes a write fail instead of ending the process. Only for the write:
// an ignored SIGPIPE would be inherited by the programs started from here (Quellbark).
class IgnoringSigpipe {
public:
  IgnoringSigpipe() {
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    ::sigaction(SIGPIPE, &ignore, &mPrevious);
  }
  ~IgnoringSigpipe() { ::sigaction(SIGPIPE, &mPrevious, nullptr); }

private:
  struct sigaction mPrevious = {};
};

// Sends the answer, or a short refusal in its place when it is too long to be sent.
bool send(int fd, const nlohmann::json& answer) {
  IgnoringSigpipe guard;
  std::string text = answer.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  if (writeFrame(fd, text))
    return true;
  if (text.size() <= kMaxOutgoingFrame)
    return false; // the output is gone
  nlohmann::json refusal = NativeHost::refusal("the answer would exceed the 1 MB a frame may hold");
  if (answer.contains("id"))
    refusal["id"] = answer["id"];
  return writeFrame(fd, refusal.dump());
}

} // namespace

CLI::App* addNativeHostCommand(CLI::App& app, std::vector<std::string>& clientArguments) {
  CLI::App* command = app.add_subcommand(
      "native-host", "Serve a mail client's extension over the native-messaging protocol on "
                     "standard input and output");
  command->add_option("client-arguments", clientArguments,
                      "Passed by the mail client: its manifest's path and the extension's id");
  return command;
}

int runNativeHostCommand(const HostOptions& options, std::ostream& err) {
  ProtocolChannel channel;
  if (channel.in < 0 || channel.out < 0) {
    err << "mailhost: native-host: cannot take over standard input and output\n";
    return 1;
  }
  // Without the plug-in every request is answered with why, so that the extension can say so.
  std::optional<HostSession> session;
  std::optional<NativeHost> host;
  std::string unavailable;
  try {
    session.emplace(options, err);
    nsresult rv = NS_OK;
    nsCOMPtr<nsIJunkMailPlugin> plugin = do_GetService(kJunkMailPluginContractId, &rv);
    if (!plugin)
      throw HostError(std::string("no junk-mail plug-in is registered under ") +
                      kJunkMailPluginContractId);
    const char* record = std::getenv(kNativeRecordVariable);
    host.emplace(plugin, options.pluginPath, record ? record : "");
  } catch (const std::exception& error) {
    unavailable = error.what();
    err << "mailhost: native-host: " << unavailable << "\n";
  }

  FrameReader reader(channel.in);
  for (;;) {
    Frame frame = reader.next();
    nlohmann::json answer;
    switch (frame.kind) {
    case Frame::Kind::End:
      return 0;
    case Frame::Kind::Truncated:
      err << "mailhost: native-host: the input closed inside a message\n";
      return 0;
    case Frame::Kind::Failed:
      err << "mailhost: native-host: cannot read the input: " << frame.body << "\n";
      return 1;
    case Frame::Kind::Oversized:
      answer = NativeHost::refusal(
          "a message may hold at most " + std::to_string(kMaxIncomingFrame / (1024 * 1024)) +
          " MiB; this one held " + std::to_string(frame.length) + " bytes");
      break;
    case Frame::Kind::Message: {
      nlohmann::json request = nlohmann::json::parse(frame.body, nullptr, false);
      if (request.is_discarded())
        answer = NativeHost::refusal("the message is not JSON");
      else if (!host) {
        answer = NativeHost::refusal("the plug-in is not loaded: " + unavailable);
        if (request.is_object() && request.contains("id"))
          answer["id"] = request["id"];
        if (request.is_object() && request.value("type", "") == "state")
          answer["plugin"] = {
              {"loaded", false}, {"path", options.pluginPath}, {"problem", unavailable}};
      } else {
        answer = host->handle(request);
      }
      break;
    }
    }
    if (!send(channel.out, answer))
      return 0; // the client is gone
  }
}

} // namespace mailhost
