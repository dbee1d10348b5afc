#include "mach/ReplyChannel.h"

#include <unix/Syscalls.h>

#include <iterator>
#include <map>
#include <poll.h>
#include <unistd.h>
#include <utility>
#include <vector>

mach_port_t mach_task_self_ = 0x103;

namespace coreservices {

namespace {

struct PortEntry {
  mach_port_right_t right;
  std::shared_ptr<ReplyChannel> channel; // receive rights only
};

struct PortTable {
  std::mutex lock;
  std::map<mach_port_name_t, PortEntry> entries;
  mach_port_name_t nextName = 0x1003;
};

PortTable& table() {
  static auto* ports = new PortTable; // outlives every static destructor that might use it
  return *ports;
}

// Connections of ended channels, newest last. A port per exchange then costs no connection of
// its own: the next channel to the same application takes the last one over.
struct KeptConnections {
  static constexpr std::size_t kMost = 4;
  std::mutex lock;
  std::vector<std::pair<std::string, int>> idle;
};

KeptConnections& kept() {
  static auto* connections = new KeptConnections;
  return *connections;
}

} // namespace

ReplyChannel::~ReplyChannel() {
  if (mSocket < 0)
    return;
  auto& pool = kept();
  std::lock_guard guard(pool.lock);
  // A kept connection on which anything arrived (its peer ended, most likely) is of no use.
  if (!pool.idle.empty()) {
    std::vector<pollfd> watched;
    for (const auto& [endpoint, socket] : pool.idle)
      watched.push_back({socket, POLLIN, 0});
    if (os::calls().poll(watched.data(), watched.size(), 0) > 0) {
      for (std::size_t i = watched.size(); i-- > 0;) {
        if (watched[i].revents != 0) {
          os::calls().close(pool.idle[i].second);
          pool.idle.erase(pool.idle.begin() + static_cast<std::ptrdiff_t>(i));
        }
      }
    }
  }
  if (pool.idle.size() == KeptConnections::kMost) {
    os::calls().close(pool.idle.front().second);
    pool.idle.erase(pool.idle.begin());
  }
  pool.idle.emplace_back(std::move(mEndpoint), mSocket);
}

bool ReplyChannel::adoptKept(const std::string& endpoint) {
  auto& pool = kept();
  std::lock_guard guard(pool.lock);
  for (auto it = pool.idle.rbegin(); it != pool.idle.rend(); ++it) {
    if (it->first == endpoint) {
      adopt(it->second, it->first);
      pool.idle.erase(std::next(it).base());
      return true;
    }
  }
  return false;
}

void ReplyChannel::adopt(int socket, std::string endpoint) {
  disconnect();
  mSocket = socket;
  mEndpoint = std::move(endpoint);
}

void ReplyChannel::disconnect() {
  if (mSocket >= 0)
    os::calls().close(mSocket);
  mSocket = -1;
  mEndpoint.clear();
}

std::shared_ptr<ReplyChannel> replyChannelForPort(mach_port_name_t name) {
  auto& ports = table();
  std::lock_guard guard(ports.lock);
  auto found = ports.entries.find(name);
  return found == ports.entries.end() ? nullptr : found->second.channel;
}

} // namespace coreservices

using coreservices::table;

extern "C" kern_return_t mach_port_allocate(ipc_space_t task, mach_port_right_t right,
                                            mach_port_name_t* name) {
  if (task != mach_task_self_)
    return KERN_INVALID_TASK;
  if (!name)
    return KERN_INVALID_ARGUMENT;
  if (right != MACH_PORT_RIGHT_RECEIVE && right != MACH_PORT_RIGHT_PORT_SET &&
      right != MACH_PORT_RIGHT_DEAD_NAME)
    return KERN_INVALID_VALUE;
  auto& ports = table();
  std::lock_guard guard(ports.lock);
  // Names step by 0x100 like the kernel's generation-numbered names and skip the two reserved
  // values; they are not reused in a process's life (2^24 allocations before wrapping).
  mach_port_name_t candidate = ports.nextName;
  while (!MACH_PORT_VALID(candidate) || ports.entries.count(candidate))
    candidate += 0x100;
  ports.nextName = candidate + 0x100;
  coreservices::PortEntry entry{right, nullptr};
  if (right == MACH_PORT_RIGHT_RECEIVE)
    entry.channel = std::make_shared<coreservices::ReplyChannel>();
  ports.entries.emplace(candidate, std::move(entry));
  *name = candidate;
  return KERN_SUCCESS;
}

extern "C" kern_return_t mach_port_destroy(ipc_space_t task, mach_port_name_t name) {
  if (task != mach_task_self_)
    return KERN_INVALID_TASK;
  std::shared_ptr<coreservices::ReplyChannel> channel;
  {
    auto& ports = table();
    std::lock_guard guard(ports.lock);
    auto found = ports.entries.find(name);
    if (found == ports.entries.end())
      return KERN_INVALID_NAME;
    channel = std::move(found->second.channel);
    ports.entries.erase(found);
  }
  // The last owner closes the connection: here, or the send that still borrows it.
  return KERN_SUCCESS;
}

extern "C" kern_return_t mach_port_deallocate(ipc_space_t task, mach_port_name_t name) {
  if (task != mach_task_self_)
    return KERN_INVALID_TASK;
  auto& ports = table();
  std::lock_guard guard(ports.lock);
  auto found = ports.entries.find(name);
  if (found == ports.entries.end())
    return KERN_INVALID_NAME;
  if (found->second.right != MACH_PORT_RIGHT_DEAD_NAME)
    return KERN_INVALID_RIGHT;
  ports.entries.erase(found);
  return KERN_SUCCESS;
}
