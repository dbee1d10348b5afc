// A component bundle as a plug-in would build it: generic-module records and NSGetModule.
#include <stdio.h>
#include <stdlib.h>

#include "../test_echo.h"
#include "nsIGenericFactory.h"

namespace {

void Log(const char* aEvent) {
  const char* path = getenv(TEST_BUNDLE_LOG_ENV);
  if (!path)
    return;
  if (FILE* file = fopen(path, "a")) {
    fprintf(file, "%s\n", aEvent);
    fclose(file);
  }
}

class EchoImpl final : public nsITestEcho {
public:
  EchoImpl() { Log("instance"); }

  NS_IMETHOD QueryInterface(REFNSIID aIID, void** aResult) override {
    if (aIID.Equals(NS_GET_IID(nsITestEcho)) || aIID.Equals(NS_GET_IID(nsISupports))) {
      *aResult = this;
      AddRef();
      return NS_OK;
    }
    *aResult = nullptr;
    return NS_ERROR_NO_INTERFACE;
  }
  NS_IMETHOD_(nsrefcnt) AddRef() override { return ++mRefCount; }
  NS_IMETHOD_(nsrefcnt) Release() override {
    if (--mRefCount)
      return mRefCount;
    delete this;
    return 0;
  }
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
  ~EchoImpl() { Log("instance-gone"); }
  nsrefcnt mRefCount = 0;
};

NS_GENERIC_FACTORY_CONSTRUCTOR(EchoImpl)

nsresult ModuleCtor(nsIModule*) {
  Log("module-ctor");
  return NS_OK;
}
void ModuleDtor(nsIModule*) {
  Log("module-dtor");
}
nsresult FactoryDtor() {
  Log("factory-dtor");
  return NS_OK;
}
nsresult RegisterHook(nsIComponentManager*, nsIFile*, const char*, const char*,
                      const nsModuleComponentInfo*) {
  Log("register-hook");
  return NS_OK;
}

const nsModuleComponentInfo kComponents[] = {
    {TEST_ECHO_CLASSNAME, TEST_ECHO_CID, TEST_ECHO_CONTRACTID, EchoImplConstructor, RegisterHook,
     nullptr, FactoryDtor, nullptr, nullptr, nullptr, 0},
    // No constructor: described, never registered.
    {"Data Only", TEST_DATA_ONLY_CID, TEST_DATA_ONLY_CONTRACTID, nullptr, nullptr, nullptr, nullptr,
     nullptr, nullptr, nullptr, 0},
};

const nsModuleInfo kModuleInfo = {
    NS_MODULEINFO_VERSION, TEST_MODULE_NAME, kComponents, 2, ModuleCtor, ModuleDtor};

} // namespace

extern "C" NS_EXPORT nsresult NSGetModule(nsIComponentManager*, nsIFile*, nsIModule** aResult) {
  return NS_NewGenericModule2(&kModuleInfo, aResult);
}
