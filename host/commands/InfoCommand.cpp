#include "commands/InfoCommand.h"

#include "runtime/HostError.h"
#include "runtime/HostSession.h"

#include <nsCOMPtr.h>
#include <nsIFactory.h>
#include <nsIJunkMailPlugin.h>
#include <nsIModule.h>
#include <nsIPrefBranch.h>
#include <nsIRequestObserver.h>
#include <nsIStreamListener.h>
#include <nsServiceManagerUtils.h>
#include <ostream>

namespace mailhost {
namespace {

constexpr const char* kJunkMailPluginContractID =
    "@mozilla.org/messenger/filter-plugin;1?name=bayesianfilter";

struct KnownInterface {
  const char* name;
  nsIID iid;
};

// The interfaces a host might ask its junk-mail plug-in for, and a few it should not answer.
const KnownInterface kKnownInterfaces[] = {
    {"nsIJunkMailPlugin", NS_GET_IID(nsIJunkMailPlugin)},
    {"nsIMsgFilterPlugin", NS_GET_IID(nsIMsgFilterPlugin)},
    {"nsISupports", NS_GET_IID(nsISupports)},
    {"nsIFactory", NS_GET_IID(nsIFactory)},
    {"nsIModule", NS_GET_IID(nsIModule)},
    {"nsIPrefBranch", NS_GET_IID(nsIPrefBranch)},
    {"nsIRequestObserver", NS_GET_IID(nsIRequestObserver)},
    {"nsIStreamListener", NS_GET_IID(nsIStreamListener)},
};

std::string idString(const nsID& id) {
  char text[NSID_LENGTH];
  id.ToProvidedString(text);
  return text;
}

const char* yesNo(PRBool value) {
  return value ? "true" : "false";
}

} // namespace

CLI::App* addInfoCommand(CLI::App& app) {
  return app.add_subcommand("info", "Load the plug-in bundle and show what it registered and how "
                                    "the junk-mail plug-in answers");
}

int runInfoCommand(HostSession& session, std::ostream& out) {
  out << "Plug-in bundle: " << session.options().pluginPath << "\n"
      << "Profile:        " << session.options().profileDirectory << "\n\n"
      << "Registered by the bundle:\n";
  for (const RegisteredComponent& component : session.registered()) {
    out << "  contract ID:  " << component.contractID << "\n"
        << "  class ID:     " << idString(component.classID) << "\n"
        << "  class name:   " << component.className << "\n"
        << "  module name:  " << component.moduleName << "\n";
  }
  if (session.registered().empty())
    out << "  (nothing)\n";

  nsresult rv;
  nsCOMPtr<nsIJunkMailPlugin> plugin = do_GetService(kJunkMailPluginContractID, &rv);
  if (!plugin)
    throw HostError(std::string("no junk-mail plug-in is registered under ") +
                    kJunkMailPluginContractID);

  out << "\nJunk-mail plug-in (" << kJunkMailPluginContractID << "):\n  answers:      ";
  const char* separator = "";
  for (const KnownInterface& known : kKnownInterfaces) {
    nsCOMPtr<nsISupports> answer;
    if (NS_SUCCEEDED(plugin->QueryInterface(known.iid, getter_AddRefs(answer))) && answer) {
      out << separator << known.name;
      separator = ", ";
    }
  }
  out << "\n" << std::flush; // the plug-in's own log lines go to stderr as it answers
  PRBool downloadAllHeaders = PR_TRUE;
  PRBool userHasClassified = PR_FALSE;
  plugin->GetShouldDownloadAllHeaders(&downloadAllHeaders);
  plugin->GetUserHasClassified(&userHasClassified);
  out << "  should download all headers: " << yesNo(downloadAllHeaders)
      << "\n  user has classified:         " << yesNo(userHasClassified) << "\n";
  return 0;
}

} // namespace mailhost
