#include "station/line/mqtt_reader.h"

#include <charconv>
#include <string_view>

#include "station/text/text.h"

namespace t1station {
namespace {

constexpr std::size_t kLongestTopic = 200;  // bytes; brokers take 65535, and slots' names stand behind it
constexpr std::uint16_t kPlainPort = 1883, kEncryptedPort = 8883;
constexpr const char* kWhatBrokersAre = "\"broker\" is mqtt://HOST, mqtts://HOST, or one of them with :PORT";
constexpr std::string_view kHostLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789.-_";
constexpr std::string_view kNumericLetters = "ABCDEFabcdef0123456789:.";

/// Reads one table.
class MqttReader {
 public:
  MqttReader(const toml::table& table, const std::function<std::string(const std::string&)>& beside,
             Problems& problems)
      : table_(table, problems), beside_(beside), problems_(problems) {}

  MqttFile read(const std::string& station) {
    read_broker();
    read_topic(station);
    mqtt_.user = table_.text("user").value_or("");
    mqtt_.password_file = file("password_file");
    if (mqtt_.password_file && mqtt_.user.empty()) complain("password_file", "a password needs a \"user\"");
    mqtt_.ca = file("ca");
    mqtt_.certificate = file("certificate");
    mqtt_.key = file("key");
    if (mqtt_.certificate.has_value() != mqtt_.key.has_value()) {
      complain(mqtt_.key ? "key" : "certificate", "\"certificate\" and \"key\" belong together");
    }
    for (const char* key : {"ca", "certificate", "key"}) {
      if (is_plain_ && table_.has(key)) complain(key, in_quotes(key) + " needs a broker at mqtts://");
    }
    table_.refuse_other_keys();
    return mqtt_;
  }

 private:
  void complain(const char* key, std::string message) {
    problems_.add(table_.where(key), std::move(message));
  }

  std::optional<NamedFile> file(const char* key) {
    const std::optional<std::string> path = table_.text(key);
    if (!path) return std::nullopt;
    return NamedFile{beside_(*path), table_.where(key).line, table_.where(key).column};
  }

  // What stands there is repeated nowhere: it may have a password in it.
  void read_broker() {
    const std::optional<std::string> text = table_.text("broker", Need::needed);
    if (!text) return;
    std::string_view rest = *text;
    is_plain_ = rest.starts_with("mqtt://");
    mqtt_.is_encrypted = rest.starts_with("mqtts://");
    if (!is_plain_ && !mqtt_.is_encrypted) return complain("broker", kWhatBrokersAre);
    rest.remove_prefix(rest.find("//") + 2);
    if (rest.find('@') != std::string_view::npos) {
      return complain("broker",
                      "a password in the address would be seen: it belongs into the file that "
                      "\"password_file\" names, its user into \"user\"");
    }
    if (!read_host(rest) || !read_port(rest)) complain("broker", kWhatBrokersAre);
  }

  // Takes it away from `rest`; an IPv6 address stands in brackets.
  bool read_host(std::string_view& rest) {
    const bool is_numeric = rest.starts_with('[');
    if (is_numeric) rest.remove_prefix(1);
    const std::string_view host = rest.substr(0, rest.find(is_numeric ? ']' : ':'));
    rest.remove_prefix(host.size());
    if (is_numeric && rest.empty()) return false;
    if (is_numeric) rest.remove_prefix(1);
    mqtt_.host = host;
    return !host.empty() &&
           host.find_first_not_of(is_numeric ? kNumericLetters : kHostLetters) == std::string_view::npos;
  }

  bool read_port(std::string_view rest) {
    mqtt_.port = mqtt_.is_encrypted ? kEncryptedPort : kPlainPort;
    if (rest.empty()) return true;
    if (rest.front() != ':') return false;
    rest.remove_prefix(1);
    const auto [stop, error] = std::from_chars(rest.data(), rest.data() + rest.size(), mqtt_.port);
    return error == std::errc() && stop == rest.data() + rest.size() && mqtt_.port != 0;
  }

  void read_topic(const std::string& station) {
    const bool is_given = table_.has("topic");
    mqtt_.topic = is_given ? table_.text("topic").value_or("") : "boardtest/" + station;
    if (mqtt_.topic.empty()) return;
    const std::string slashes = "/" + mqtt_.topic + "/";
    if (mqtt_.topic.find_first_of("+#") == std::string::npos && mqtt_.topic.front() != '$' &&
        slashes.find("//") == std::string::npos && mqtt_.topic.size() <= kLongestTopic) {
      return;
    }
    const std::string what =
        "at most 200 bytes without + and #, with something between slashes, not beginning with $";
    complain("topic", is_given ? "\"topic\" is " + what
                               : "the station's name makes no topic of it; \"topic\" is needed: " + what);
  }

  TableReader table_;
  const std::function<std::string(const std::string&)>& beside_;
  Problems& problems_;
  MqttFile mqtt_;
  bool is_plain_ = false;
};

}  // namespace

MqttFile read_mqtt_table(const toml::table& table, const std::string& station,
                         const std::function<std::string(const std::string&)>& beside, Problems& problems) {
  return MqttReader(table, beside, problems).read(station);
}

}  // namespace t1station
