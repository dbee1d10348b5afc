#include "JunkMailCommand.h"

#include "ClassificationListener.h"
#include "ClassifyRun.h"
#include "CommandOutput.h"
#include "runtime/HostError.h"
#include "runtime/HostSession.h"

#include <nsServiceManagerUtils.h>

namespace mailhost {

std::string junkStorePath(const std::string& profileDirectory) {
  return profileDirectory + "/" + JunkStore::kFileName;
}

int runWithJunkMailPlugin(HostSession& session, const std::string& mailRoot,
                          const JunkMailBody& body) {
  nsresult rv = NS_OK;
  nsCOMPtr<nsIJunkMailPlugin> plugin = do_GetService(kJunkMailPluginContractId, &rv);
  if (!plugin)
    throw HostError(std::string("no junk-mail plug-in is registered under ") +
                    kJunkMailPluginContractId + " (" + hexResult(rv) + ")");
  try {
    JunkStore store(junkStorePath(session.options().profileDirectory));
    MailServices mail{MailRoot(mailRoot)};
    return body(plugin, mail, store);
  } catch (const OutputError&) {
    throw; // the output, not the command, failed: reported as such
  } catch (const std::exception& error) {
    throw HostError(error.what());
  }
}

} // namespace mailhost
