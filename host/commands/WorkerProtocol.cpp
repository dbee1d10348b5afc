#include "WorkerProtocol.h"

#include <nlohmann/json.hpp>

#include <cerrno>
#include <sys/socket.h>

namespace mailhost {

namespace {

using nlohmann::json;

std::string framed(const json& document) {
  std::string payload = document.dump(-1, ' ', false, json::error_handler_t::replace);
  std::uint32_t size = static_cast<std::uint32_t>(payload.size());
  std::string frame = {static_cast<char>(size >> 24), static_cast<char>(size >> 16),
                       static_cast<char>(size >> 8), static_cast<char>(size)};
  return frame + payload;
}

json parsed(std::string_view payload) {
  json document = json::parse(payload, nullptr, false);
  if (document.is_discarded() || !document.is_object())
    throw ProtocolError("a frame that is not a JSON object");
  return document;
}

ClassifyOutcome::Verdict verdictFrom(const std::string& word) {
  for (auto verdict :
       {ClassifyOutcome::Verdict::Junk, ClassifyOutcome::Verdict::Good,
        ClassifyOutcome::Verdict::Unverified, ClassifyOutcome::Verdict::Unclassified})
    if (word == verdictWord(verdict))
      return verdict;
  throw ProtocolError("an unknown verdict");
}

std::vector<std::string> strings(const json& document, const char* key) {
  auto it = document.find(key);
  if (it == document.end())
    return {};
  if (!it->is_array())
    throw ProtocolError(std::string("\"") + key + "\" is not a list");
  std::vector<std::string> values;
  for (const json& value : *it) {
    if (!value.is_string())
      throw ProtocolError(std::string("\"") + key + "\" holds something other than text");
    values.push_back(value.get<std::string>());
  }
  return values;
}

std::string text(const json& document, const char* key) {
  auto it = document.find(key);
  if (it == document.end())
    return {};
  if (!it->is_string())
    throw ProtocolError(std::string("\"") + key + "\" is not text");
  return it->get<std::string>();
}

} // namespace

std::string encodeRequest(const WorkerRequest& request) {
  return framed({{"uris", request.uris}});
}

std::string encodeReply(const WorkerReply& reply) {
  json results = json::array();
  for (const WorkerResult& result : reply.results) {
    json entry = {{"uri", result.uri}, {"verdict", verdictWord(result.verdict)}};
    if (!result.error.empty())
      entry["error"] = result.error;
    if (result.leftOut)
      entry["left_out"] = true;
    results.push_back(std::move(entry));
  }
  json document = {{"results", std::move(results)}, {"errors", reply.errors}};
  if (!reply.stopReason.empty())
    document["stopped"] = reply.stopReason;
  return framed(document);
}

WorkerRequest decodeRequest(std::string_view payload) {
  return {strings(parsed(payload), "uris")};
}

WorkerReply decodeReply(std::string_view payload) {
  json document = parsed(payload);
  WorkerReply reply;
  auto results = document.find("results");
  if (results == document.end() || !results->is_array())
    throw ProtocolError("a reply without results");
  for (const json& entry : *results) {
    if (!entry.is_object())
      throw ProtocolError("a result that is not an object");
    auto leftOut = entry.find("left_out");
    reply.results.push_back(
        {text(entry, "uri"), verdictFrom(text(entry, "verdict")), text(entry, "error"),
         leftOut != entry.end() && leftOut->is_boolean() && leftOut->get<bool>()});
  }
  reply.errors = strings(document, "errors");
  reply.stopReason = text(document, "stopped");
  return reply;
}

std::optional<std::string> FrameReader::next() {
  if (mBuffer.size() < 4)
    return std::nullopt;
  std::size_t size = 0;
  for (int i = 0; i < 4; ++i)
    size = size << 8 | static_cast<unsigned char>(mBuffer[static_cast<std::size_t>(i)]);
  if (size > kMaxFrameSize)
    throw ProtocolError("a frame of " + std::to_string(size) + " bytes");
  if (mBuffer.size() < 4 + size)
    return std::nullopt;
  std::string payload = mBuffer.substr(4, size);
  mBuffer.erase(0, 4 + size);
  return payload;
}

bool sendAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t sent = ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR)
      continue;
    if (sent <= 0)
      return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

} // namespace mailhost
