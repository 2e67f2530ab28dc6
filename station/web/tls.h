// What encrypts connections.
#pragma once

#include <boost/asio/ssl/context.hpp>
#include <string>

namespace t1station {

/// TLS 1.2 and later with a certificate (and those that vouch for it) and its key, PEM files. Throws
/// UsageError when they cannot be read or do not belong together; a key behind a passphrase cannot be read.
boost::asio::ssl::context tls_context(const std::string& certificate, const std::string& key);

}  // namespace t1station
