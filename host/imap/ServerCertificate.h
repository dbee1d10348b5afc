#pragma once

#include <cstddef>
#include <string>

namespace mailhost {

struct DerBytes {
  const unsigned char* data;
  std::size_t size;
};

// Why a server's certificate (DER) cannot be trusted for the host name it was reached by, or
// empty when it can: it must chain to the system's authorities or to those in caFile (PEM),
// be valid now, and name the host (or its IP address).
std::string certificateProblem(DerBytes certificate, const std::string& host,
                               const std::string& caFile);

} // namespace mailhost
