#include "Keyring.h"

#include <libsecret/secret.h>

namespace mailhost {

namespace {

const SecretSchema* passwordSchema() {
  static const SecretSchema schema = {"org.mailhost.ImapPassword",
                                      SECRET_SCHEMA_NONE,
                                      {{"user", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                       {"host", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                       {"port", SECRET_SCHEMA_ATTRIBUTE_INTEGER},
                                       {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
                                      0,
                                      nullptr,
                                      nullptr,
                                      nullptr,
                                      nullptr,
                                      nullptr,
                                      nullptr,
                                      nullptr};
  return &schema;
}

} // namespace

std::optional<std::string> keyringLookup(const ImapEndpoint& endpoint, std::string& why) {
  GError* error = nullptr;
  gchar* password = secret_password_lookup_sync(
      passwordSchema(), nullptr, &error, "user", endpoint.user.c_str(), "host",
      endpoint.host.c_str(), "port", static_cast<int>(endpoint.port), nullptr);
  if (!password) {
    why = error ? error->message : "the keyring holds none";
    g_clear_error(&error);
    return std::nullopt;
  }
  std::string result(password);
  secret_password_free(password);
  return result;
}

bool keyringStore(const ImapEndpoint& endpoint, const std::string& password, std::string& why) {
  GError* error = nullptr;
  std::string label = "IMAP password of " + endpoint.user + "@" + endpoint.host;
  gboolean stored = secret_password_store_sync(
      passwordSchema(), SECRET_COLLECTION_DEFAULT, label.c_str(), password.c_str(), nullptr, &error,
      "user", endpoint.user.c_str(), "host", endpoint.host.c_str(), "port",
      static_cast<int>(endpoint.port), nullptr);
  if (!stored) {
    why = error ? error->message : "the keyring refused it";
    g_clear_error(&error);
  }
  return stored;
}

} // namespace mailhost
