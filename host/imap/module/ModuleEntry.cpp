// The module's one exported symbol: the host looks it up after loading the module.
#include "EtpanConnection.h"
#include "ImapModule.h"
#include "Keyring.h"

extern "C" __attribute__((visibility("default"))) const mailhost::ImapModuleFunctions*
mailhost_imap_module() {
  static const mailhost::ImapModuleFunctions functions{
      mailhost::kImapModuleVersion, mailhost::connectWithEtpan, mailhost::keyringLookup,
      mailhost::keyringStore};
  return &functions;
}
