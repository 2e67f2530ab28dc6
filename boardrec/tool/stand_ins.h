// What stands for a private value: the same for the same value, and as long.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>

namespace boardrec {

/// Values of one recording and what stands for them.
class StandIns {
 public:
  /// An IPv4 address as a text, "10.11.12.13". Those that mean no machine, or the same on every board, stay:
  /// 0.0.0.0, 255.255.255.255, 127.x.y.z and the address of a board that was never configured.
  std::string address(const std::string& dotted);
  /// The same of its four bytes.
  std::string address_bytes(std::string_view bytes);
  /// The six bytes of a MAC address; stand-ins are locally administered. All zeros and all ones stay.
  std::string mac(const std::string& bytes);
  /// A serial number or a date, which becomes a number with zeros in front. Blanks stay.
  std::string serial(const std::string& text);

  /// A text with every address, MAC address and serial number known so far replaced.
  std::string in_text(const std::string& text);

  std::size_t addresses() const { return addresses_.size(); }
  std::size_t macs() const { return macs_.size(); }
  std::size_t serials() const { return serials_.size(); }
  /// In how many places in_text() has replaced something.
  std::size_t places() const { return places_; }

 private:
  std::size_t replace_address(std::string& text, std::size_t at);
  std::size_t replace_mac(std::string& text, std::size_t at);
  void replace_known(std::string& text, const std::map<std::string, std::string>& known);

  std::map<std::string, std::string> addresses_, macs_, serials_;
  std::set<std::string> taken_;  ///< what stands for an address
  std::size_t places_ = 0;
};

/// Whether nothing is written there: all bytes alike, zeros, ones, blanks or the digit 0.
bool is_blank(std::string_view bytes);

}  // namespace boardrec
