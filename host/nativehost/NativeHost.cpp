#include "NativeHost.h"

#include "Base64.h"
#include "ClassificationListener.h"
#include "QuellbarkState.h"

#include <cstdio>
#include <fcntl.h>
#include <set>
#include <stdexcept>
#include <sys/stat.h>
#include <unordered_map>

namespace mailhost {

namespace {

// After this many failed exchanges in a row the rest of a request is not sent: each would only
// fail the same way, possibly after a long timeout.

std::string clipped(std::string text) {
  if (text.size() > NativeHost::kMaxErrorText)
    text.resize(NativeHost::kMaxErrorText);
  return text;
}

std::string hexCode(nsresult rv) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08x", rv);
  return text;
}

nlohmann::json answerTo(const nlohmann::json& request) {
  nlohmann::json answer = {{"ok", true}};
  if (request.contains("id"))
    answer["id"] = request["id"];
  return answer;
}

nlohmann::json failed(nlohmann::json answer, const std::string& why) {
  answer["ok"] = false;
  answer["error"] = clipped(why);
  return answer;
}

// A message id as the client numbers its messages: a non-negative integer.
std::optional<std::string> messageKey(const nlohmann::json& id) {
  if (id.is_number_unsigned())
    return std::to_string(id.get<std::uint64_t>());
  if (id.is_number_integer() && id.get<std::int64_t>() >= 0)
    return std::to_string(id.get<std::int64_t>());
  return std::nullopt;
}

std::optional<nsMsgJunkStatus> classificationNamed(const std::string& name) {
  if (name == "junk")
    return nsIJunkMailPlugin::JUNK;
  if (name == "good")
    return nsIJunkMailPlugin::GOOD;
  if (name == "unclassified")
    return nsIJunkMailPlugin::UNCLASSIFIED;
  return std::nullopt;
}

} // namespace

NativeHost::NativeHost(nsIJunkMailPlugin* plugin, std::string pluginPath, std::string recordPath)
    : mPlugin(plugin), mPluginPath(std::move(pluginPath)),
      mService(
          new HeldMessageService(mLoop, [this](const std::string& uri, const std::string& why) {
            mFailures.emplace(uri, why);
          })) {
  nsresult rv = registerHeldMessageService(mService, getter_AddRefs(mFactory));
  if (NS_FAILED(rv))
    throw std::runtime_error("cannot register the message service (" + hexCode(rv) + ")");
  if (!recordPath.empty()) {
    int fd = ::open(recordPath.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (fd < 0)
      throw std::runtime_error("cannot open the record file " + recordPath);
    ::fchmod(fd, 0600);
    ::close(fd);
    mRecord.emplace(recordPath, std::ios::app);
  }
}

NativeHost::~NativeHost() {
  mLoop.runUntilIdle();
  unregisterHeldMessageService(mFactory);
}

nlohmann::json NativeHost::refusal(const std::string& why) {
  return failed({{"ok", false}}, why);
}

nlohmann::json NativeHost::handle(const nlohmann::json& request) {
  if (!request.is_object())
    return refusal("a request is a JSON object");
  const nlohmann::json& type = request.contains("type") ? request["type"] : nlohmann::json();
  if (!type.is_string())
    return failed(answerTo(request), "the request names no \"type\"");
  const std::string& name = type.get_ref<const std::string&>();
  if (name == "classify")
    return classify(request);
  if (name == "train")
    return train(request);
  if (name == "state")
    return state(request);
  if (name == "confirm")
    return confirm(request);
  return failed(answerTo(request), "unknown request type \"" + name + "\"");
}

nlohmann::json NativeHost::classify(const nlohmann::json& request) {
  nlohmann::json answer = answerTo(request);
  const nlohmann::json* messages = request.contains("messages") ? &request["messages"] : nullptr;
  if (!messages || !messages->is_array())
    return failed(answer, "\"messages\" must be an array");
  if (messages->size() > kMaxBatch)
    return failed(answer, "at most " + std::to_string(kMaxBatch) +
                              " messages per request; this one has " +
                              std::to_string(messages->size()));

  std::vector<Held> batch;
  std::set<std::string> seen;
  for (const nlohmann::json& message : *messages) {
    Held held;
    held.id = message.is_object() && message.contains("id") ? message["id"] : nlohmann::json();
    std::optional<std::string> key = messageKey(held.id);
    const nlohmann::json* raw =
        message.is_object() && message.contains("raw") ? &message["raw"] : nullptr;
    std::optional<std::string> bytes;
    if (!key)
      held.error = "the message has no \"id\" that is a non-negative integer";
    else if (!seen.insert(*key).second)
      held.error = "the message is named twice in the request";
    else if (!raw || !raw->is_string())
      held.error = "the message has no \"raw\" text";
    else if (!(bytes = decodeBase64(raw->get_ref<const std::string&>())))
      held.error = "the message's \"raw\" is not base64";
    if (held.error.empty()) {
      held.key = *key;
      held.uri = mService->hold(*key, std::move(*bytes));
    } else {
      held.verdict = "error";
    }
    batch.push_back(std::move(held));
  }

  classifyHeld(batch);

  nlohmann::json results = nlohmann::json::array();
  for (Held& held : batch) {
    nlohmann::json result = {{"id", held.id}, {"verdict", held.verdict}};
    if (!held.error.empty())
      result["error"] = clipped(held.error);
    ++mCounts[held.verdict];
    if (!held.key.empty())
      record({{"event", "verdict"}, {"id", held.id}, {"verdict", held.verdict}});
    results.push_back(std::move(result));
  }
  answer["results"] = std::move(results);
  return answer;
}

void NativeHost::classifyHeld(std::vector<Held>& batch) {
  std::unordered_map<std::string, std::size_t> byUri;
  for (std::size_t i = 0; i < batch.size(); ++i)
    if (batch[i].verdict.empty())
      byUri.emplace(batch[i].uri, i);
  std::size_t pending = byUri.size();

  nsCOMPtr<ClassificationListener> listener =
      new ClassificationListener([&](const std::string& uri, nsMsgJunkStatus classification) {
        auto it = byUri.find(uri);
        if (it == byUri.end() || !batch[it->second].verdict.empty())
          return; // not asked about, or reported twice: the first report stands
        Held& held = batch[it->second];
        held.verdict = verdictAfterExchange(classification, held.error);
        --pending;
      });

  while (pending > 0) {
    std::vector<const char*> uris;
    for (const Held& held : batch)
      if (held.verdict.empty())
        uris.push_back(held.uri.c_str());
    std::size_t before = pending;
    mWatch.take(); // exchanges of earlier requests are not this batch's
    nsresult rv = mPlugin->ClassifyMessages(static_cast<PRUint32>(uris.size()), uris.data(),
                                            nullptr, listener);
    if (NS_SUCCEEDED(rv))
      mLoop.runUntil([&] { return pending == 0; });
    // A message that could not be streamed stopped the plug-in's batch: it gets its error, and
    // the messages after it go again.
    for (Held& held : batch) {
      auto why = mFailures.find(held.uri);
      if (held.verdict.empty() && why != mFailures.end()) {
        held.verdict = "error";
        held.error = "cannot read the message: " + why->second;
        --pending;
      }
    }
    if (NS_FAILED(rv) && pending == before) {
      Held& first = *std::find_if(batch.begin(), batch.end(),
                                  [](const Held& held) { return held.verdict.empty(); });
      first.verdict = "error";
      first.error = "the plug-in refused the request (" + hexCode(rv) + ")";
      --pending;
    }
    if (pending == before) {
      for (Held& held : batch)
        if (held.verdict.empty()) {
          held.verdict = "error";
          held.error = "the plug-in never reported the message";
        }
      break;
    }
  }
  listener->detach();
  mWatch.allowSends();
  for (const Held& held : batch) {
    if (!held.uri.empty()) {
      mService->release(held.uri);
      mFailures.erase(held.uri);
    }
  }
}

std::string NativeHost::verdictAfterExchange(nsMsgJunkStatus classification, std::string& failure) {
  ExchangeWatch::Outcome outcome = mWatch.take();
  if (!outcome.verified) {
    failure = outcome.failure.empty() ? "no exchange with Quellbark took place" : outcome.failure;
    if (outcome.timedOut || mWatch.consecutiveFailures() >= ExchangeWatch::kFailuresBeforeStopping)
      mWatch.refuseSends("not sent: Quellbark failed " +
                         std::to_string(mWatch.consecutiveFailures()) +
                         " times in a row; last: " + failure);
    return "unverified";
  }
  return classification == nsIJunkMailPlugin::JUNK ? "junk" : "good";
}

nlohmann::json NativeHost::train(const nlohmann::json& request) {
  nlohmann::json answer = answerTo(request);
  const nlohmann::json* message = request.contains("message") ? &request["message"] : nullptr;
  if (!message || !message->is_object())
    return failed(answer, "\"message\" must be an object");
  nlohmann::json id = message->contains("id") ? (*message)["id"] : nlohmann::json();
  std::optional<std::string> key = messageKey(id);
  if (!key)
    return failed(answer, "the message has no \"id\" that is a non-negative integer");
  answer["message"] = id;
  const nlohmann::json* raw = message->contains("raw") ? &(*message)["raw"] : nullptr;
  if (!raw || !raw->is_string())
    return failed(answer, "the message has no \"raw\" text");
  std::optional<std::string> bytes = decodeBase64(raw->get_ref<const std::string&>());
  if (!bytes)
    return failed(answer, "the message's \"raw\" is not base64");
  std::optional<nsMsgJunkStatus> as, previous = nsIJunkMailPlugin::UNCLASSIFIED;
  if (request.contains("as") && request["as"].is_string())
    as = classificationNamed(request["as"].get<std::string>());
  if (!as || *as == nsIJunkMailPlugin::UNCLASSIFIED)
    return failed(answer, "\"as\" must be \"junk\" or \"good\"");
  if (request.contains("previous"))
    previous = request["previous"].is_string()
                   ? classificationNamed(request["previous"].get<std::string>())
                   : std::nullopt;
  if (!previous)
    return failed(answer, "\"previous\" must be \"junk\", \"good\" or \"unclassified\"");

  std::string uri = mService->hold(*key, std::move(*bytes));
  bool confirmed = false;
  std::string failure;
  std::string verdict;
  nsCOMPtr<ClassificationListener> listener =
      new ClassificationListener([&](const std::string& reported, nsMsgJunkStatus classification) {
        if (reported != uri || confirmed)
          return;
        confirmed = true;
        verdict = verdictAfterExchange(classification, failure);
      });
  mWatch.take();
  nsresult rv = mPlugin->SetMessageClassification(uri.c_str(), *previous, *as, nullptr, listener);
  if (NS_SUCCEEDED(rv))
    mLoop.runUntil([&] { return confirmed; });
  listener->detach();
  mWatch.allowSends();
  auto why = mFailures.find(uri);
  std::string readError = why != mFailures.end() ? why->second : "";
  mService->release(uri);
  mFailures.erase(uri);

  if (NS_FAILED(rv))
    return failed(answer, readError.empty()
                              ? "the plug-in refused the request (" + hexCode(rv) + ")"
                              : "cannot read the message: " + readError);
  if (!readError.empty())
    return failed(answer, "cannot read the message: " + readError);
  if (!confirmed) {
    // The plug-in reports a training only once it is done; without a report, what the exchange
    // did is all there is to go by.
    ExchangeWatch::Outcome outcome = mWatch.take();
    verdict = outcome.verified ? request["as"].get<std::string>() : "unverified";
    failure = outcome.verified ? "" : outcome.failure;
  }
  bool trained = verdict != "unverified";
  answer["trained"] = trained;
  answer["as"] = request["as"];
  if (!trained)
    answer["error"] = clipped(failure.empty() ? "the exchange with Quellbark failed" : failure);
  ++mCounts[trained ? "trained" : "training unverified"];
  record({{"event", "train"}, {"id", id}, {"as", request["as"]}, {"trained", trained}});
  return answer;
}

nlohmann::json NativeHost::state(const nlohmann::json& request) {
  QuellbarkState quellbark = probeQuellbark();
  nlohmann::json q = {{"found", quellbark.found}, {"running", quellbark.running}};
  if (quellbark.found)
    q["path"] = quellbark.path;
  if (quellbark.learnedSpam && quellbark.learnedGood) {
    q["learnedSpam"] = *quellbark.learnedSpam;
    q["learnedGood"] = *quellbark.learnedGood;
  }
  if (!quellbark.problem.empty())
    q["problem"] = quellbark.problem;
  nlohmann::json session = nlohmann::json::object();
  for (const auto& [name, count] : mCounts)
    session[name] = count;
  nlohmann::json answer = answerTo(request);
  answer["plugin"] = {{"loaded", true}, {"path", mPluginPath}};
  answer["quellbark"] = std::move(q);
  answer["session"] = std::move(session);
  return answer;
}

nlohmann::json NativeHost::confirm(const nlohmann::json& request) {
  nlohmann::json answer = answerTo(request);
  const nlohmann::json* messages = request.contains("messages") ? &request["messages"] : nullptr;
  if (!messages || !messages->is_array())
    return failed(answer, "\"messages\" must be an array");
  for (const nlohmann::json& message : *messages)
    if (message.is_object())
      record({{"event", "set"},
              {"id", message.value("id", nlohmann::json())},
              {"junk", message.value("junk", nlohmann::json())},
              {"moved", message.value("moved", false)}});
  answer["recorded"] = mRecord.has_value();
  return answer;
}

void NativeHost::record(const nlohmann::json& line) {
  if (!mRecord)
    return;
  *mRecord << line.dump() << '\n';
  mRecord->flush();
}

} // namespace mailhost
