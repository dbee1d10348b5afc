#include "ImapAccounts.h"

#include <nsIPrefBranch.h>
#include <nsXPCOM.h>

#include <algorithm>
#include <sstream>

namespace mailhost {

namespace {

constexpr const char* kAccountList = "mail.accountmanager.accounts";

std::optional<std::string> charPref(nsIPrefBranch* prefs, const std::string& name) {
  char* value = nullptr;
  if (NS_FAILED(prefs->GetCharPref(name.c_str(), &value)) || !value)
    return std::nullopt;
  std::string result(value);
  NS_Free(value);
  return result;
}

std::optional<PRInt32> intPref(nsIPrefBranch* prefs, const std::string& name) {
  PRInt32 value = 0;
  if (NS_FAILED(prefs->GetIntPref(name.c_str(), &value)))
    return std::nullopt;
  return value;
}

bool boolPref(nsIPrefBranch* prefs, const std::string& name) {
  PRBool value = PR_FALSE;
  return NS_SUCCEEDED(prefs->GetBoolPref(name.c_str(), &value)) && value;
}

std::vector<std::string> accountKeys(nsIPrefBranch* prefs) {
  std::vector<std::string> keys;
  std::stringstream list(charPref(prefs, kAccountList).value_or(""));
  for (std::string key; std::getline(list, key, ',');) {
    key.erase(0, key.find_first_not_of(' '));
    key.erase(key.find_last_not_of(' ') + 1);
    if (!key.empty())
      keys.push_back(key);
  }
  return keys;
}

// The lowest N for which prefix+N is not taken.
std::string nextKey(const std::string& prefix, const std::vector<std::string>& taken) {
  for (int n = 1;; ++n)
    if (std::find(taken.begin(), taken.end(), prefix + std::to_string(n)) == taken.end())
      return prefix + std::to_string(n);
}

} // namespace

std::uint16_t defaultImapPort(SocketType type) {
  return type == SocketType::Tls ? 993 : 143;
}

std::vector<ImapAccount> readImapAccounts(nsIPrefBranch* prefs) {
  std::vector<ImapAccount> accounts;
  for (const std::string& accountKey : accountKeys(prefs)) {
    std::optional<std::string> serverKey =
        charPref(prefs, "mail.account." + accountKey + ".server");
    if (!serverKey)
      continue;
    const std::string server = "mail.server." + *serverKey + ".";
    if (charPref(prefs, server + "type").value_or("") != "imap")
      continue;
    ImapAccount account;
    account.accountKey = accountKey;
    account.serverKey = *serverKey;
    account.endpoint.host = charPref(prefs, server + "hostname").value_or("");
    account.endpoint.user = charPref(prefs, server + "userName").value_or("");
    PRInt32 socketType = intPref(prefs, server + "socketType").value_or(3);
    account.endpoint.socketType = socketType == 0   ? SocketType::Plain
                                  : socketType == 2 ? SocketType::StartTls
                                                    : SocketType::Tls;
    PRInt32 port = intPref(prefs, server + "port").value_or(0);
    account.endpoint.port = port > 0 && port < 65536 ? static_cast<std::uint16_t>(port)
                                                     : defaultImapPort(account.endpoint.socketType);
    account.endpoint.caFile = charPref(prefs, server + "caFile").value_or("");
    account.endpoint.insecure = boolPref(prefs, server + "acceptAnyCertificate");
    account.passwordFile = charPref(prefs, server + "passwordFile").value_or("");
    if (!account.endpoint.host.empty() && !account.endpoint.user.empty())
      accounts.push_back(std::move(account));
  }
  return accounts;
}

ImapAccount findImapAccount(nsIPrefBranch* prefs, const std::string& user, const std::string& host,
                            std::optional<std::uint16_t> port) {
  for (ImapAccount& account : readImapAccounts(prefs))
    if (account.endpoint.user == user && account.endpoint.host == host &&
        (!port || account.endpoint.port == *port))
      return account;
  throw ImapError(ImapErrorKind::Account, "no IMAP account " + user + "@" + host +
                                              " in the profile (add one with `mailhost account "
                                              "add imap://" +
                                              user + "@" + host + "`)");
}

ImapAccount addImapAccount(nsIPrefBranch* prefs, const ImapEndpoint& endpoint,
                           const std::string& passwordFile) {
  ImapAccount account;
  for (const ImapAccount& existing : readImapAccounts(prefs))
    if (existing.endpoint.user == endpoint.user && existing.endpoint.host == endpoint.host &&
        existing.endpoint.port == endpoint.port)
      account = existing;
  std::vector<std::string> accounts = accountKeys(prefs);
  if (account.accountKey.empty()) {
    std::vector<std::string> servers;
    for (const std::string& key : accounts)
      if (auto server = charPref(prefs, "mail.account." + key + ".server"))
        servers.push_back(*server);
    // A server key in use by no listed account may still have settings: skip those too.
    for (std::string key = nextKey("server", servers);; key = nextKey("server", servers)) {
      if (!charPref(prefs, "mail.server." + key + ".hostname"))
        break;
      servers.push_back(key);
    }
    account.accountKey = nextKey("account", accounts);
    account.serverKey = nextKey("server", servers);
    accounts.push_back(account.accountKey);
  }
  account.endpoint = endpoint;
  account.passwordFile = passwordFile;

  std::string list;
  for (const std::string& key : accounts)
    list += (list.empty() ? "" : ",") + key;
  prefs->SetCharPref(kAccountList, list.c_str());
  prefs->SetCharPref(("mail.account." + account.accountKey + ".server").c_str(),
                     account.serverKey.c_str());
  const std::string server = "mail.server." + account.serverKey + ".";
  prefs->SetCharPref((server + "type").c_str(), "imap");
  prefs->SetCharPref((server + "hostname").c_str(), endpoint.host.c_str());
  prefs->SetIntPref((server + "port").c_str(), endpoint.port);
  prefs->SetCharPref((server + "userName").c_str(), endpoint.user.c_str());
  prefs->SetIntPref((server + "socketType").c_str(), static_cast<PRInt32>(endpoint.socketType));
  auto setOrClear = [&](const std::string& name, const std::string& value) {
    if (value.empty())
      prefs->ClearUserPref(name.c_str());
    else
      prefs->SetCharPref(name.c_str(), value.c_str());
  };
  setOrClear(server + "caFile", endpoint.caFile);
  setOrClear(server + "passwordFile", passwordFile);
  if (endpoint.insecure)
    prefs->SetBoolPref((server + "acceptAnyCertificate").c_str(), PR_TRUE);
  else
    prefs->ClearUserPref((server + "acceptAnyCertificate").c_str());
  return account;
}

} // namespace mailhost
