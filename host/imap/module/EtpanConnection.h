// The IMAP connection the module makes: libetpan, with the certificate checked by GnuTLS.
#pragma once

#include "ImapConnection.h"

#include <memory>
#include <string>

namespace mailhost {

std::unique_ptr<ImapConnection> connectWithEtpan(const ImapEndpoint& endpoint,
                                                 const std::string& password);

} // namespace mailhost
