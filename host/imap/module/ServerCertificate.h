// Checking that an IMAP server's certificate is trusted for the name it was reached by.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace mailhost {

struct DerBytes {
  const unsigned char* data;
  std::size_t size;
};

// Why a server's certificate cannot be trusted for the host name it was reached by, or empty
// when it can. The chain is as the server sent it (DER, its own certificate first): it must lead
// to the system's authorities or to those in caFile (PEM), be valid now, and name the host (or
// its IP address).
std::string certificateProblem(const std::vector<DerBytes>& chain, const std::string& host,
                               const std::string& caFile);

} // namespace mailhost
