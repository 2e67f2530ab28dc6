#include "station/line/line_file.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <map>
#include <set>

#include "station/central/address.h"
#include "station/line/mqtt_reader.h"
#include "station/link/serial_line.h"
#include "station/plan/toml_reader.h"
#include "station/text/errors.h"
#include "station/text/text.h"

namespace t1station {
namespace {

constexpr std::size_t kLongestSlotName = 16;
constexpr std::size_t kLongestInterface = 15;  // characters, of Linux
constexpr double kLongestWait = 86400;         // seconds: a day
constexpr double kFastest = 100000;            // times real time
constexpr double kLongestHook = 3600;          // seconds
constexpr double kMostHours = 24 * 366;
constexpr std::string_view kSlotLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-";

std::string in_quotes(std::string_view word) {
  return "\"" + std::string(word) + "\"";
}

bool is_numeric_address(const std::string& host) {
  in6_addr bytes{};
  return inet_pton(AF_INET, host.c_str(), &bytes) == 1 || inet_pton(AF_INET6, host.c_str(), &bytes) == 1;
}

class LineReader {
 public:
  LineReader(const std::string& path, const toml::table& root, Problems& problems)
      : folder_(std::filesystem::path(path).parent_path()), root_(root), problems_(problems) {
    line_.path = path;
  }

  LineFile read() {
    TableReader table(root_, problems_);
    read_station(table);
    read_slots(table);
    read_users(table);
    read_check(table);
    read_central(table);
    read_hook(table);
    read_mqtt(table);
    table.refuse_other_keys();
    return line_;
  }

 private:
  std::string beside(const std::optional<std::string>& path) const {
    return path ? (folder_ / *path).lexically_normal().string() : std::string();
  }

  void read_station(TableReader& root) {
    const toml::table* found = root.table("station");
    if (!found) {
      if (!root.has("station")) problems_.add(root.where(), "[station] is missing");
      return;
    }
    TableReader table(*found, problems_);
    line_.station = table.text("name", Need::needed).value_or("");
    line_.records = beside(table.text("records", Need::needed));
    read_listen(table);
    line_.language = read_language(table);
    line_.board_wait = read_seconds(table, "board_wait", line_.board_wait);
    line_.greeting_wait = read_seconds(table, "greeting_wait", line_.greeting_wait);
    line_.time_scale = read_number(table, "time_scale", line_.time_scale, kFastest, "at most 100000");
    line_.tls_certificate = beside(table.text("tls_certificate"));
    line_.tls_key = beside(table.text("tls_key"));
    if (line_.tls_certificate.empty() != line_.tls_key.empty()) {
      problems_.add(table.where(line_.tls_key.empty() ? "tls_certificate" : "tls_key"),
                    "\"tls_certificate\" and \"tls_key\" belong together");
    }
    line_.plain_http = table.boolean("plain_http").value_or(false);
    table.refuse_other_keys();
  }

  // HOST:PORT or [HOST]:PORT; the host is a number, so that nothing has to be looked up.
  void read_listen(TableReader& table) {
    const std::optional<std::string> text = table.text("listen");
    if (!text) return;
    const std::size_t colon = text->rfind(':');
    std::string host = text->substr(0, colon);
    const bool has_brackets = host.size() > 2 && host.front() == '[' && host.back() == ']';
    if (has_brackets) host = host.substr(1, host.size() - 2);
    if (has_brackets != (host.find(':') != std::string::npos)) host.clear();  // where would the port begin?
    const std::string port = colon == std::string::npos ? "" : text->substr(colon + 1);
    std::uint16_t number = 0;
    const auto [stop, error] = std::from_chars(port.data(), port.data() + port.size(), number);
    if (!is_numeric_address(host) || port.empty() || error != std::errc() ||
        stop != port.data() + port.size()) {
      problems_.add(table.where("listen"),
                    in_quotes("listen") + " is ADDRESS:PORT with a numeric address, not " + in_quotes(*text));
      return;
    }
    line_.host = host;
    line_.port = port;
  }

  std::string read_language(TableReader& table) {
    const std::string language = table.text("language").value_or("zh");
    if (language != "zh" && language != "en") {
      problems_.add(table.where("language"), "\"language\" is \"zh\" or \"en\", not " + in_quotes(language));
    }
    return language;
  }

  // A number above 0 and at most `most`, of which `limit` tells people.
  double read_number(TableReader& table, std::string_view key, double otherwise, double most,
                     std::string_view limit) {
    const std::optional<double> number = table.number(key);
    if (!number) return otherwise;
    if (*number <= 0 || *number > most)
      problems_.add(table.where(key), in_quotes(key) + " is more than 0 and " + std::string(limit));
    return *number;
  }

  double read_seconds(TableReader& table, std::string_view key, double otherwise) {
    return read_number(table, key, otherwise, kLongestWait, "at most a day (86400)");
  }

  void read_slots(TableReader& root) {
    const std::vector<const toml::table*> entries = root.tables("slot");
    if (entries.empty() && problems_.none())
      problems_.add(root.where("slot"), "there is no slot; each begins with [[slot]]");
    for (const toml::table* entry : entries) {
      TableReader table(*entry, problems_);
      line_.slots.push_back(read_slot(table));
    }
  }

  SlotFile read_slot(TableReader& table) {
    SlotFile slot;
    slot.name = read_slot_name(table);
    slot.interface = table.text("interface").value_or("");
    if (slot.interface.size() > kLongestInterface || slot.interface.find('/') != std::string::npos)
      problems_.add(table.where("interface"),
                    in_quotes(slot.interface) + " is no name of a network interface");
    slot.board = read_board(table, slot.interface);
    for (const std::string& file : read_texts(table, "plan", Need::needed)) {
      slot.plan_files.push_back(beside(file));
    }
    slot.line = table.where("plan").line;
    slot.column = table.where("plan").column;
    slot.console = beside(table.text("console"));
    slot.console_speed = read_speed(table, slot);
    slot.rs485 = beside(table.text("rs485"));
    table.refuse_other_keys();
    return slot;
  }

  std::string read_slot_name(TableReader& table) {
    const std::optional<std::string> name = table.text("name", Need::needed);
    if (!name) return {};
    if (name->size() > kLongestSlotName || name->find_first_not_of(kSlotLetters) != std::string::npos) {
      problems_.add(table.where("name"),
                    "\"name\" is 1 to 16 letters, digits and hyphens, not " + in_quotes(*name));
    }
    const auto [first, is_new] = slot_lines_.emplace(*name, table.where("name").line);
    if (!is_new) {
      problems_.add(table.where("name"), in_quotes(*name) + " is the name of the slot of line " +
                                             std::to_string(first->second) + " already");
    }
    return *name;
  }

  Address read_board(TableReader& table, const std::string& interface) {
    const std::optional<std::string> text = table.text("board", Need::needed);
    if (!text) return {};
    try {
      Address board = parse_address(*text);
      board.interface = interface;
      return board;
    } catch (const UsageError& reason) {
      problems_.add(table.where("board"), reason.what());
      return {};
    }
  }

  int read_speed(TableReader& table, const SlotFile& slot) {
    const int speed =
        static_cast<int>(table.integer("console_speed", 1, 10'000'000).value_or(slot.console_speed));
    try {
      speed_code(speed);
    } catch (const UsageError& reason) {
      problems_.add(table.where("console_speed"), reason.what());
    }
    if (table.has("console_speed") && slot.console.empty())
      problems_.add(table.where("console_speed"), "\"console_speed\" needs a \"console\"");
    return speed;
  }

  // A text, or an array of them, which is not empty.
  std::vector<std::string> read_texts(TableReader& table, std::string_view key, Need need) {
    const toml::node* value = table.find(key, need);
    if (!value) return {};
    std::vector<std::string> texts;
    const auto take = [&](const toml::node& node) {
      const std::optional<std::string> text = node.value_exact<std::string>();
      if (!text || text->empty()) problems_.add(node, in_quotes(key) + " is a text or a list of texts");
      texts.push_back(text.value_or(""));
    };
    if (const toml::array* list = value->as_array()) {
      for (const toml::node& node : *list) take(node);
      if (list->empty()) problems_.add(*value, in_quotes(key) + " is an empty list");
    } else {
      take(*value);
    }
    return texts;
  }

  void read_users(TableReader& root) {
    const toml::table* found = root.table("users");
    if (!found) return;
    TableReader table(*found, problems_);
    line_.users_file = beside(table.text("file", Need::needed));
    table.refuse_other_keys();
  }

  void read_central(TableReader& root) {
    const toml::table* found = root.table("central");
    if (!found) return;
    TableReader table(*found, problems_);
    line_.central = table.text("postgresql", Need::needed).value_or("");
    const std::string trouble = line_.central.empty() ? "" : trouble_with_central_url(line_.central);
    if (!trouble.empty()) problems_.add(table.where("postgresql"), trouble);
    table.refuse_other_keys();
  }

  void read_hook(TableReader& root) {
    const toml::table* found = root.table("hook");
    if (!found) return;
    TableReader table(*found, problems_);
    HookFile hook;
    hook.command = read_texts(table, "command", Need::needed);
    const bool is_path = !hook.command.empty() && hook.command.front().find('/') != std::string::npos;
    if (is_path) hook.command.front() = beside(hook.command.front());
    hook.timeout = read_number(table, "timeout", hook.timeout, kLongestHook, "at most an hour (3600)");
    table.refuse_other_keys();
    line_.hook = hook;
  }

  void read_mqtt(TableReader& root) {
    const toml::table* found = root.table("mqtt");
    if (!found) return;
    const auto beside_it = [this](const std::string& path) { return beside(path); };
    line_.mqtt = read_mqtt_table(*found, line_.station, beside_it, problems_);
  }

  void read_check(TableReader& root) {
    const toml::table* found = root.table("check");
    if (!found) return;
    TableReader table(*found, problems_);
    PointCheck check;
    check.every_hours = read_number(table, "every_hours", check.every_hours, kMostHours, "at most a year");
    check.good = read_texts(table, "good", Need::needed);
    check.bad = read_texts(table, "bad", Need::needed);
    refuse_what_no_unit_is(table, "good", check.good);
    refuse_what_no_unit_is(table, "bad", check.bad);
    for (const std::string& unit : check.good) {
      if (std::find(check.bad.begin(), check.bad.end(), unit) != check.bad.end())
        problems_.add(table.where("bad"), in_quotes(unit) + " cannot be both good and bad");
    }
    table.refuse_other_keys();
    line_.check = check;
  }

  // A scan loses its blanks, and some scans are commands: such a unit could never be scanned.
  void refuse_what_no_unit_is(TableReader& table, std::string_view key,
                              const std::vector<std::string>& units) {
    std::set<std::string> known;
    for (const std::string& unit : units) {
      if (unit != without_blanks_around(unit)) {
        problems_.add(table.where(key), in_quotes(unit) + " has blanks around it, which a scan loses");
      } else if (unit.starts_with("slot:") || unit.starts_with("answer:") ||
                 unit.starts_with("acknowledge")) {
        problems_.add(table.where(key), in_quotes(unit) + " is a command when it is scanned, and no unit");
      } else if (!known.insert(unit).second) {
        problems_.add(table.where(key), in_quotes(unit) + " stands there twice");
      }
    }
  }

  std::filesystem::path folder_;
  const toml::table& root_;
  Problems& problems_;
  LineFile line_;
  std::map<std::string, std::size_t> slot_lines_;
};

}  // namespace

bool LineFile::is_loopback() const {
  in_addr address{};
  constexpr std::uint32_t kNetwork = 127;
  if (inet_pton(AF_INET, host.c_str(), &address) == 1) return ntohl(address.s_addr) >> 24U == kNetwork;
  in6_addr wide{};
  return inet_pton(AF_INET6, host.c_str(), &wide) == 1 && IN6_IS_ADDR_LOOPBACK(&wide);
}

LineFile read_line_file(const std::string& path, std::vector<FileProblem>& problems) {
  const toml::table root = parse_toml(path, read_toml_file(path));
  Problems found;
  LineFile line = LineReader(path, root, found).read();
  problems = found.take();
  return line;
}

LineFile read_line_file(const std::string& path) {
  std::vector<FileProblem> problems;
  LineFile line = read_line_file(path, problems);
  if (!problems.empty()) throw BadFile(path, problems);
  return line;
}

}  // namespace t1station
