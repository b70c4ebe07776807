// Trusts a test CA for the current user: add_root_cert CA.der puts the
// certificate into the registry-backed current-user "Root" store, closes the
// store, and reopens it to confirm the certificate is there. Wine loses
// changes made while the store is enumerated, so nothing else is done in the
// session that adds.
#include <windows.h>
// After windows.h, whose types it needs; WIN32_LEAN_AND_MEAN keeps windows.h from including it.
#include <wincrypt.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace {
HCERTSTORE OpenRoot(DWORD flags) {
  return CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, CERT_SYSTEM_STORE_CURRENT_USER | flags, L"Root");
}
}  // namespace

int wmain(int argc, wchar_t** argv) {
  if (argc != 2) return 1;
  std::ifstream in(std::filesystem::path(argv[1]), std::ios::binary);
  const std::vector<BYTE> der((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  PCCERT_CONTEXT cert = CertCreateCertificateContext(X509_ASN_ENCODING, der.data(), DWORD(der.size()));
  if (cert == nullptr) return 2;

  HCERTSTORE store = OpenRoot(0);
  const bool added =
      store != nullptr && CertAddEncodedCertificateToStore(store, X509_ASN_ENCODING, der.data(), DWORD(der.size()),
                                                           CERT_STORE_ADD_USE_EXISTING, nullptr);
  if (store != nullptr) CertCloseStore(store, 0);

  store = OpenRoot(CERT_STORE_READONLY_FLAG);
  PCCERT_CONTEXT found =
      store != nullptr ? CertFindCertificateInStore(store, X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, cert, nullptr)
                       : nullptr;
  if (found != nullptr) CertFreeCertificateContext(found);
  if (store != nullptr) CertCloseStore(store, 0);
  CertFreeCertificateContext(cert);
  if (found == nullptr) std::fprintf(stderr, "add_root_cert: %s\n", added ? "not found after adding" : "not added");
  return found != nullptr ? 0 : 3;
}
