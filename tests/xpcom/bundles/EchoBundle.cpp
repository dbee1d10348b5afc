// A component bundle as a plug-in would build it: generic-module records and NSGetModule.
#include "../TestEcho.h"
#include "nsIGenericFactory.h"

namespace {

class EchoImpl final : public nsITestEcho {
  NS_DECL_ISUPPORTS

  NS_IMETHOD Echo(const nsACString& aIn, nsACString& aOut) override {
    aOut.Assign(aIn);
    aOut.Append("|echo");
    return NS_OK;
  }
  NS_IMETHOD Greet(nsACString& aOut) override {
    nsCString greeting("hello from the bundle");
    aOut = greeting;
    return NS_OK;
  }

private:
  ~EchoImpl() = default;
};

NS_IMPL_ISUPPORTS1(EchoImpl, nsITestEcho)

NS_GENERIC_FACTORY_CONSTRUCTOR(EchoImpl)

const nsModuleComponentInfo kComponents[] = {
    {TEST_ECHO_CLASSNAME, TEST_ECHO_CID, TEST_ECHO_CONTRACTID, EchoImplConstructor, nullptr,
     nullptr, nullptr, nullptr, nullptr, nullptr, 0},
    // No constructor: described, never registered.
    {"Data Only", TEST_DATA_ONLY_CID, TEST_DATA_ONLY_CONTRACTID, nullptr, nullptr, nullptr, nullptr,
     nullptr, nullptr, nullptr, 0},
};

const nsModuleInfo kModuleInfo = {
    NS_MODULEINFO_VERSION, TEST_MODULE_NAME, kComponents, 2, nullptr, nullptr};

} // namespace

extern "C" NS_EXPORT nsresult NSGetModule(nsIComponentManager*, nsIFile*, nsIModule** aResult) {
  return NS_NewGenericModule2(&kModuleInfo, aResult);
}
