#include "mach/ReplyChannel.h"

#include <map>
#include <unistd.h>

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

} // namespace

void ReplyChannel::adopt(int socket, std::string endpoint) {
  disconnect();
  mSocket = socket;
  mEndpoint = std::move(endpoint);
}

void ReplyChannel::disconnect() {
  if (mSocket >= 0)
    close(mSocket);
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
