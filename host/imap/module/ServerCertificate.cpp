#include "ServerCertificate.h"

#include <gnutls/gnutls.h>
#include <gnutls/x509.h>

namespace mailhost {

std::string certificateProblem(const std::vector<DerBytes>& chain, const std::string& host,
                               const std::string& caFile) {
  if (chain.empty())
    return "the server sent no certificate";
  std::vector<gnutls_x509_crt_t> crts;
  auto release = [&] {
    for (gnutls_x509_crt_t crt : crts)
      gnutls_x509_crt_deinit(crt);
  };
  for (const DerBytes& certificate : chain) {
    gnutls_x509_crt_t crt = nullptr;
    if (gnutls_x509_crt_init(&crt) < 0) {
      release();
      return "out of memory";
    }
    crts.push_back(crt);
    gnutls_datum_t der{const_cast<unsigned char*>(certificate.data),
                       static_cast<unsigned>(certificate.size)};
    if (gnutls_x509_crt_import(crt, &der, GNUTLS_X509_FMT_DER) < 0) {
      release();
      return "it cannot be read";
    }
  }
  gnutls_x509_trust_list_t trust = nullptr;
  gnutls_x509_trust_list_init(&trust, 0);
  gnutls_x509_trust_list_add_system_trust(trust, 0, 0);
  std::string problem;
  if (!caFile.empty() && gnutls_x509_trust_list_add_trust_file(trust, caFile.c_str(), nullptr,
                                                               GNUTLS_X509_FMT_PEM, 0, 0) <= 0)
    problem = "no authority could be read from " + caFile;
  unsigned status = 0;
  gnutls_typed_vdata_st name{GNUTLS_DT_DNS_HOSTNAME,
                             reinterpret_cast<unsigned char*>(const_cast<char*>(host.c_str())), 0};
  if (problem.empty() &&
      gnutls_x509_trust_list_verify_crt2(trust, crts.data(), static_cast<unsigned>(crts.size()),
                                         &name, 1, 0, &status, nullptr) < 0)
    problem = "it could not be checked";
  if (problem.empty() && status != 0) {
    gnutls_datum_t text{};
    if (gnutls_certificate_verification_status_print(status, GNUTLS_CRT_X509, &text, 0) >= 0) {
      problem.assign(reinterpret_cast<const char*>(text.data), text.size);
      gnutls_free(text.data);
      problem.erase(problem.find_last_not_of(" \n") + 1);
    } else {
      problem = "verification failed";
    }
  }
  gnutls_x509_trust_list_deinit(trust, 1);
  release();
  return problem;
}

} // namespace mailhost
