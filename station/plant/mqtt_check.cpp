#include "station/plant/mqtt_check.h"

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <sys/stat.h>

#include <cerrno>
#include <fstream>
#include <memory>
#include <system_error>
#include <vector>

#include "station/plan/bad_file.h"
#include "station/text/errors.h"

namespace t1station {
namespace {

constexpr std::size_t kLongestPassword = 65535;  // bytes, of MQTT

using TlsContext = std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)>;

// Nobody is there who could be asked.
int no_passphrase(char* /*into*/, int /*size*/, int /*writes*/, void* /*nothing*/) {
  return 0;
}

// The first error is the cause of those behind it.
std::string tls_error() {
  const unsigned long code = ERR_peek_error();
  ERR_clear_error();
  if (ERR_SYSTEM_ERROR(code)) return std::generic_category().message(ERR_GET_REASON(code));
  const char* const reason = ERR_reason_error_string(code);
  return reason == nullptr ? "it is of no use" : reason;
}

/// Collects what is wrong.
class FilesCheck {
 public:
  explicit FilesCheck(const MqttFile& mqtt)
      : mqtt_(mqtt), tls_(SSL_CTX_new(TLS_client_method()), SSL_CTX_free) {}

  std::vector<FileProblem> check() {
    ERR_clear_error();
    SSL_CTX_set_default_passwd_cb(tls_.get(), no_passphrase);
    if (mqtt_.password_file) check_password(*mqtt_.password_file);
    if (mqtt_.ca) {
      expect(SSL_CTX_load_verify_file(tls_.get(), mqtt_.ca->path.c_str()), *mqtt_.ca, "\"ca\"");
    }
    if (mqtt_.certificate && mqtt_.key) check_own(*mqtt_.certificate, *mqtt_.key);
    return std::move(problems_);
  }

 private:
  void complain(const NamedFile& file, std::string message) {
    problems_.push_back({file.line, file.column, std::move(message)});
  }

  bool expect(int result, const NamedFile& file, const std::string& key) {
    if (result == 1) return true;
    complain(file, key + " " + file.path + " cannot be used: " + tls_error());
    return false;
  }

  void check_password(const NamedFile& file) {
    try {
      read_password(file.path);
    } catch (const UsageError& error) {
      complain(file, error.what());
    }
  }

  void check_own(const NamedFile& certificate, const NamedFile& key) {
    const bool is_good = expect(SSL_CTX_use_certificate_chain_file(tls_.get(), certificate.path.c_str()),
                                certificate, "\"certificate\"");
    // A key that is not the certificate's is refused here, too.
    if (is_good) {
      expect(SSL_CTX_use_PrivateKey_file(tls_.get(), key.path.c_str(), SSL_FILETYPE_PEM), key, "\"key\"");
    }
  }

  const MqttFile& mqtt_;
  const TlsContext tls_;
  std::vector<FileProblem> problems_;
};

}  // namespace

std::string read_password(const std::string& file) {
  const std::string name = "\"password_file\" " + file;
  std::ifstream stream(file);
  struct stat status {};
  if (!stream || stat(file.c_str(), &status) != 0) {
    throw UsageError(name + " cannot be read: " + std::generic_category().message(errno));
  }
  if ((status.st_mode & S_IROTH) != 0) {
    throw UsageError(name + " may be read by everybody on this PC; chmod o= takes that away");
  }
  std::string password;
  std::getline(stream, password);
  if (password.ends_with('\r')) password.pop_back();
  if (password.empty()) throw UsageError(name + " has no password in its first line");
  if (password.size() > kLongestPassword || password.find('\0') != std::string::npos) {
    throw UsageError(name + " has no password in its first line, but something else");
  }
  return password;
}

void check_mqtt(const LineFile& file) {
  if (!file.mqtt) return;
  const std::vector<FileProblem> problems = FilesCheck(*file.mqtt).check();
  if (!problems.empty()) throw BadFile(file.path, problems);
}

}  // namespace t1station
