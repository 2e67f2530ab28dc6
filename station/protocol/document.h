// The XML documents of the T1 protocol: requests as they are built, replies and service messages as they are
// read.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace t1station {

/// The test code of everything a board sends without being asked: banner, menu, heartbeat.
inline constexpr std::int32_t kServiceCode = 255;
/// The request that makes a board close the connection, about one second later and without a reply.
inline constexpr std::int32_t kQuitCode = 62208;

/// A board's answer to one request. Texts are clean UTF-8.
struct Reply {
  std::int32_t code = 0;    ///< the test that answers
  std::string test_name;    ///< the board's own name of the test; on some tests it names another one
  bool passed = false;      ///< the board's verdict, "Pass" or "Fail"
  std::string description;  ///< the board's explanation, may be empty or several lines long
};

/// Banner, menu or heartbeat: lines for the operator to read. Texts are clean UTF-8.
struct ServiceMessage {
  std::vector<std::string> lines;
  std::vector<std::string> exact;  ///< the same as UTF-8 before it was cleaned: to compare, not to show
};

using Document = std::variant<Reply, ServiceMessage>;

/// The request for one test. `parameter` goes with it when given; only a few tests look at it.
std::string make_request(std::int32_t code, std::optional<std::int32_t> parameter = std::nullopt);

/// Reads a document as it came out of its record: GBK text.
/// Throws ProtocolError when it is no GBK, no XML, or lacks or repeats anything that its kind must carry; a
/// verdict other than "Pass" and "Fail" is such an error.
Document parse_document(std::string_view gbk);

}  // namespace t1station
