// The bundle's one exported entry: a generic module with one component, registered under the
// host's own identity for its Bayesian junk-mail filter so that this component replaces it.
#include "filter/nsBayesianFilter.h"

#include <nsIGenericFactory.h>

NS_GENERIC_FACTORY_CONSTRUCTOR(nsBayesianFilter)

static const nsModuleComponentInfo components[] = {
    {"Bayesian Filter",
     {0xf1070bfa, 0xd539, 0x11d6, {0x90, 0xca, 0x00, 0x03, 0x93, 0x10, 0xa4, 0x7a}},
     "@mozilla.org/messenger/filter-plugin;1?name=bayesianfilter",
     nsBayesianFilterConstructor,
     nullptr,
     nullptr,
     nullptr,
     nullptr,
     nullptr,
     nullptr,
     0},
};

static const nsModuleInfo kModuleInfo = {
    0x00015000, "nsBayesianFilterModule", components, 1, nullptr, nullptr,
};

extern "C" NS_EXPORT nsresult NSGetModule(nsIComponentManager*, nsIFile*, nsIModule** aResult) {
  return NS_NewGenericModule2(&kModuleInfo, aResult);
}
