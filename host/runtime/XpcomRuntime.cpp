#include "runtime/XpcomRuntime.h"

#include "runtime/HostError.h"

#include <cstdio>
#include <nsXPCOM.h>

namespace mailhost {

XpcomRuntime::XpcomRuntime() {
  nsresult rv = NS_InitXPCOM2(nullptr, nullptr, nullptr);
  if (NS_FAILED(rv)) {
    char code[16];
    std::snprintf(code, sizeof code, "0x%08x", rv);
    throw HostError(std::string("cannot start the component runtime (") + code + ")");
  }
}

XpcomRuntime::~XpcomRuntime() {
  NS_ShutdownXPCOM(nullptr);
}

} // namespace mailhost
