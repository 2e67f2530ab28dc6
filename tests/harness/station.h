// A factory station as the board's wire sees it, for tests that play one.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/harness/framing.h"

/// A test's reply, decoded to UTF-8.
struct Reply {
  int code = 0;             ///< TestCode
  std::string name;         ///< TestName
  std::string item_name;    ///< Name of the ResultItem
  std::string value;        ///< "Pass" or "Fail"
  std::string description;  ///< Description
  std::string raw;          ///< the whole document as it came over the wire, in GBK
};

class Station;

/// The station has received exactly one reply, and it says this. Every reply calls its one item "测试结果".
void expect_reply(Station& station, int code, const std::string& name, const std::string& value,
                  const std::string& description);

/// A station's end of a TCP connection. Its system calls go around the simulated board, so that they
/// appear in no trace, meet no fault and take no virtual time; they may be made inside Board::at events.
/// What is sent has reached the board's end when the call returns.
class Station {
 public:
  Station() = default;
  /// Closes in good order.
  ~Station();
  Station(const Station&) = delete;
  Station& operator=(const Station&) = delete;

  /// Connects to a loopback address in dotted form. Fails the test when nothing listens there.
  void connect(const std::string& address, std::uint16_t port);

  /// Sends bytes as they are, without a length in front.
  void send(std::string_view bytes);
  /// Sends a whole document in one record.
  void send_record(std::string_view xml);
  /// Requests a test by its code.
  void request(int code);
  /// Requests a test that takes a parameter.
  void request(int code, int parameter);
  /// Closes in good order: the board reads what was sent before, then the end. What the board sends can
  /// still be read here.
  void shut_down();
  /// Breaks the connection: the board's next call on it fails with ECONNRESET.
  void reset();

  /// All bytes received so far, including those that are on their way. Does not wait for more.
  std::string bytes();
  /// The XML texts (GBK) of all records received so far. Fails the test when the bytes are not whole records.
  std::vector<std::string> records();
  /// records(), decoded to UTF-8.
  std::vector<std::string> texts();
  /// The one record received so far. Fails the test when it is not exactly one, or not a test's reply.
  Reply reply();
  /// Forgets what has been received so far.
  void forget();
  /// Whether the board has closed the connection, after all that it sent has been read.
  bool closed_by_board();

 protected:
  void attach(int socket) { socket_ = socket; }
  void drain();

 private:
  int socket_ = -1;
  std::string received_;
  bool ended_ = false;
};
