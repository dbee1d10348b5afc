// The component runtime for the life of one host process: started before anything registers,
// shut down (services released, bundles unloaded) when the host is done.
#pragma once

namespace mailhost {

class XpcomRuntime {
public:
  XpcomRuntime(); // throws HostError when the runtime cannot start
  ~XpcomRuntime();
  XpcomRuntime(const XpcomRuntime&) = delete;
  XpcomRuntime& operator=(const XpcomRuntime&) = delete;
};

} // namespace mailhost
