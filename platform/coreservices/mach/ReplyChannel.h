// The resource behind a port name with a receive right: the connection on which the reply to an
// Apple Event sent with that name in 'repp' comes back. The port table owns it; a send borrows
// it (shared ownership) so that destroying the name mid-send closes it only once the send ends.
#pragma once

#include <mach/mach.h>

#include <memory>
#include <mutex>
#include <string>

namespace coreservices {

class ReplyChannel {
public:
  ReplyChannel() = default;
  ReplyChannel(const ReplyChannel&) = delete;
  ReplyChannel& operator=(const ReplyChannel&) = delete;
  ~ReplyChannel(); // a clean connection is kept for a later channel to the same endpoint

  // Held for the whole of one exchange: one exchange at a time per channel.
  std::mutex& inUse() { return mInUse; }

  int socket() const { return mSocket; }
  const std::string& endpoint() const { return mEndpoint; }
  void adopt(int socket, std::string endpoint);
  // Takes over a connection to `endpoint` kept from a channel that has ended; false if none.
  bool adoptKept(const std::string& endpoint);
  void disconnect();

private:
  std::mutex mInUse;
  int mSocket = -1;
  std::string mEndpoint;
};

// The channel of a name that holds a receive right; null for unknown names and other rights.
std::shared_ptr<ReplyChannel> replyChannelForPort(mach_port_name_t name);

} // namespace coreservices
