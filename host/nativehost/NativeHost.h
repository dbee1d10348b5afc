// The JSON requests of a mail client's extension, carried out with the junk-mail plug-in.
#pragma once

#include "EventLoop.h"
#include "ExchangeWatch.h"
#include "HeldMessageService.h"

#include <nlohmann/json.hpp>
#include <nsIJunkMailPlugin.h>

#include <fstream>
#include <map>
#include <optional>
#include <string>

namespace mailhost {

// The requests a mail client's extension makes of the junk-mail plug-in, each one JSON object
// in, one JSON object out (see docs/thunderbird.md):
//   {"type": "classify", "messages": [{"id": 7, "raw": "<base64>"}, ...]}
//   {"type": "train", "message": {"id": 7, "raw": "<base64>"}, "as": "junk"|"good",
//    "previous": "junk"|"good"|"unclassified"}
//   {"type": "state"}
//   {"type": "confirm", "messages": [{"id": 7, "junk": true}, ...]}
// Every answer carries the request's "id" (when it had one) and "ok"; a request that cannot be
// carried out gets "ok": false and "error". A message's verdict is "junk" or "good" only when
// the exchange with Quellbark behind it succeeded: otherwise it is "unverified" (the plug-in
// reports good after a failed exchange), or "error" when the message could not be classified.
class NativeHost {
public:
  static constexpr std::size_t kMaxBatch = 500;
  static constexpr std::size_t kMaxErrorText = 300;

  // `recordPath`: when set, every verdict answered and every confirmation received is appended
  // there as one JSON line (a file of the user's alone).
  NativeHost(nsIJunkMailPlugin* plugin, std::string pluginPath, std::string recordPath = {});
  ~NativeHost();
  NativeHost(const NativeHost&) = delete;
  NativeHost& operator=(const NativeHost&) = delete;

  nlohmann::json handle(const nlohmann::json& request);
  // The answer to a frame that is no JSON object, or too long to be read.
  static nlohmann::json refusal(const std::string& why);

private:
  struct Held {
    std::string key;
    std::string uri;
    std::string verdict; // empty while pending
    std::string error;
    nlohmann::json id;
  };

  nlohmann::json classify(const nlohmann::json& request);
  nlohmann::json train(const nlohmann::json& request);
  nlohmann::json state(const nlohmann::json& request);
  nlohmann::json confirm(const nlohmann::json& request);
  // Runs ClassifyMessages over the messages not yet settled until each has a verdict or an
  // error: a message that cannot be streamed ends the plug-in's batch, so the rest go again.
  void classifyHeld(std::vector<Held>& batch);
  std::string verdictAfterExchange(nsMsgJunkStatus classification, std::string& failure);
  void record(const nlohmann::json& line);

  nsCOMPtr<nsIJunkMailPlugin> mPlugin;
  std::string mPluginPath;
  EventLoop mLoop;
  std::map<std::string, std::string> mFailures;
  nsCOMPtr<HeldMessageService> mService;
  nsCOMPtr<nsIFactory> mFactory;
  ExchangeWatch mWatch;
  std::optional<std::ofstream> mRecord;
  std::map<std::string, std::size_t> mCounts; // verdicts answered and trainings done
};

} // namespace mailhost
