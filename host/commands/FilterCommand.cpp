#include "commands/FilterCommand.h"

#include "ClassificationListener.h"
#include "ClassifyRun.h"
#include "EventLoop.h"
#include "ExchangeWatch.h"
#include "StandardInputService.h"
#include "VerdictHeader.h"
#include "runtime/HostError.h"

#include <nsServiceManagerUtils.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <unistd.h>

namespace mailhost {

namespace {

// Why the message cannot be passed through: one line for the delivery agent's log.
class FilterFailure : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

std::string readMessage(int in) {
  std::string message;
  std::size_t length = 0;
  for (;;) {
    if (message.size() - length < 64 * 1024)
      message.resize(
          std::min(kMaxFilteredMessage + 1, std::max<std::size_t>(message.size() * 2, 128 * 1024)));
    if (length == message.size())
      throw FilterFailure("the message is larger than " +
                          std::to_string(kMaxFilteredMessage / (1024 * 1024)) + " MiB");
    ssize_t got = ::read(in, message.data() + length, message.size() - length);
    if (got < 0 && errno == EINTR)
      continue;
    if (got < 0)
      throw FilterFailure(std::string("cannot read standard input: ") + std::strerror(errno));
    if (got == 0)
      break;
    length += static_cast<std::size_t>(got);
  }
  message.resize(length); // the spare capacity stays: giving it back would copy the message
  return message;
}

void writeAll(int out, std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t written = ::write(out, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR)
      continue;
    if (written < 0)
      throw FilterFailure(std::string("cannot write standard output: ") + std::strerror(errno));
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

// Has the plug-in classify the message through the standard input's message service, and
// returns its verdict only when the exchange with the spam filter behind it succeeded: the
// plug-in reports a failed exchange as good.
bool isJunk(std::shared_ptr<const std::string> message) {
  nsresult rv = NS_OK;
  nsCOMPtr<nsIJunkMailPlugin> plugin = do_GetService(kJunkMailPluginContractId, &rv);
  if (!plugin)
    throw FilterFailure(std::string("no junk-mail plug-in is registered under ") +
                        kJunkMailPluginContractId + " (" + hexResult(rv) + ")");
  EventLoop loop;
  std::string unreadable;
  nsCOMPtr<StandardInputService> service = new StandardInputService(
      loop, std::move(message),
      [&](const std::string&, const std::string& why) { unreadable = why; });
  nsCOMPtr<nsIFactory> factory;
  rv = registerStandardInputService(service, getter_AddRefs(factory));
  if (NS_FAILED(rv))
    throw FilterFailure("cannot register the standard input's message service (" + hexResult(rv) +
                        ")");
  struct Unregister {
    EventLoop& loop;
    nsIFactory* factory;
    ~Unregister() {
      loop.runUntilIdle();
      unregisterStandardInputService(factory);
    }
  } unregister{loop, factory};

  ExchangeWatch watch;
  std::optional<nsMsgJunkStatus> verdict;
  nsCOMPtr<ClassificationListener> listener = new ClassificationListener(
      [&](const std::string&, nsMsgJunkStatus classification) { verdict = classification; });
  rv = plugin->ClassifyMessage(kStandardInputMessageUri, nullptr, listener);
  if (NS_SUCCEEDED(rv))
    loop.runUntil([&] { return verdict.has_value(); });
  listener->detach();
  ExchangeWatch::Outcome exchange = watch.take();

  if (!unreadable.empty())
    throw FilterFailure("cannot read the message: " + unreadable);
  if (NS_FAILED(rv))
    throw FilterFailure(refusalReason(kStandardInputMessageUri, rv));
  if (!verdict || (*verdict != nsIJunkMailPlugin::JUNK && *verdict != nsIJunkMailPlugin::GOOD))
    throw FilterFailure("the plug-in gave no verdict");
  if (!exchange.verified)
    throw FilterFailure(exchange.failure.empty() ? "the spam filter was not asked"
                                                 : exchange.failure);
  return *verdict == nsIJunkMailPlugin::JUNK;
}

} // namespace

CLI::App* addFilterCommand(CLI::App& app, FilterOptions& options) {
  CLI::App* command = app.add_subcommand(
      "filter", "Read one message on standard input and write it to standard output with an "
                "X-Quellbark-Status: junk|good field added (exit status 75 when it cannot be "
                "classified)");
  command->add_flag("--exit-status", options.exitStatus,
                    "Write nothing; exit 0 for junk, 1 for good (75 when it cannot be classified)");
  return command;
}

int runFilterCommand(const HostOptions& host, const FilterOptions& options, int in, int out,
                     std::ostream& err) {
  std::signal(SIGPIPE, SIG_IGN); // a reader that went away is a failure to report, not a death
  try {
    auto message = std::make_shared<const std::string>(readMessage(in));
    if (message->empty())
      throw FilterFailure("no message on standard input");
    if (!startsWithHeaderField(*message))
      throw FilterFailure("the input is not a mail message (it does not start with a header)");
    bool junk = false;
    {
      HostSession session(host, err);
      junk = isJunk(message);
    }
    if (options.exitStatus)
      return junk ? kFilterJunk : kFilterGood;
    writeWithVerdictField(*message, junk ? "junk" : "good",
                          [&](std::string_view piece) { writeAll(out, piece); });
    return kFilterPassed;
  } catch (const std::exception& failure) {
    err << "mailhost: filter: " << failure.what() << "\n";
    return kFilterTempFail;
  }
}

} // namespace mailhost
