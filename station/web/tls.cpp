#include "station/web/tls.h"

#include <openssl/ssl.h>

#include "station/text/errors.h"

namespace t1station {

namespace ssl = boost::asio::ssl;

ssl::context tls_context(const std::string& certificate, const std::string& key) {
  ssl::context context(ssl::context::tls_server);
  SSL_CTX_set_min_proto_version(context.native_handle(), TLS1_2_VERSION);
  context.set_options(ssl::context::default_workarounds | ssl::context::no_compression);
  SSL_CTX_set_options(context.native_handle(), SSL_OP_NO_RENEGOTIATION | SSL_OP_CIPHER_SERVER_PREFERENCE);
  boost::system::error_code error;
  context.set_password_callback([](std::size_t, ssl::context::password_purpose) { return std::string(); },
                                error);
  context.use_certificate_chain_file(certificate, error);
  if (error) throw UsageError("tls_certificate " + certificate + " cannot be used: " + error.message());
  context.use_private_key_file(key, ssl::context::pem, error);
  if (error) throw UsageError("tls_key " + key + " cannot be used: " + error.message());
  if (SSL_CTX_check_private_key(context.native_handle()) != 1) {
    throw UsageError("tls_key " + key + " is not the key of " + certificate);
  }
  return context;
}

}  // namespace t1station
