#include "transport/SerialNumber.h"

namespace coreservices {

ProcessSerialNumber serialNumberFor(pid_t pid, std::uint64_t startTime) {
  auto high = static_cast<UInt32>(startTime);
  return ProcessSerialNumber{high == 0 ? 1u : high, static_cast<UInt32>(pid)};
}

} // namespace coreservices
