// What a classify run's parent and its worker processes say to each other over a socket: frames
// of a 4-byte big-endian length and a JSON document. The parent sends a batch of message URIs;
// the worker answers it with one result per message, in the same order. Either side treats the
// other's bytes as untrusted: anything malformed is a ProtocolError.
#pragma once

#include "ClassifyRun.h"

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace mailhost {

class ProtocolError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

inline constexpr std::size_t kMaxFrameSize = 4 * 1024 * 1024;

struct WorkerRequest {
  std::vector<std::string> uris;
};

struct WorkerResult {
  std::string uri;
  ClassifyOutcome::Verdict verdict = ClassifyOutcome::Verdict::Unclassified;
  std::string error;    // why it could not be read, classified or verified
  bool leftOut = false; // not sent because the worker's run had stopped
};

struct WorkerReply {
  std::vector<WorkerResult> results;
  std::vector<std::string> errors; // lines for the run's report
  std::string stopReason;          // the worker stopped sending, and why
};

std::string encodeRequest(const WorkerRequest& request);
std::string encodeReply(const WorkerReply& reply);
WorkerRequest decodeRequest(std::string_view payload);
WorkerReply decodeReply(std::string_view payload);

// Cuts a byte stream into frame payloads.
class FrameReader {
public:
  void append(const char* bytes, std::size_t count) { mBuffer.append(bytes, count); }
  // The next whole frame's payload, if one has arrived. Throws ProtocolError for a frame
  // larger than kMaxFrameSize.
  std::optional<std::string> next();
  bool empty() const { return mBuffer.empty(); }

private:
  std::string mBuffer;
};

// Writes all of `bytes` to a socket (EINTR retried, never SIGPIPE). False when it fails.
bool sendAll(int fd, std::string_view bytes);

} // namespace mailhost
