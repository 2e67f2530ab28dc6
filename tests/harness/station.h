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

/// The document that asks for a test.
std::string request_of(int code);

/// Tells the socket at the board's end of a connection, -1 where there is none: a station sees there what of
/// its doing has arrived.
using BoardEnd = int (*)();
/// The board's program is linked into this process: its client socket.
int in_this_process();
/// The board's program runs in a process of its own, so that the kernel must tell what has arrived: -1.
inline int in_another_process() {
  return -1;
}

/// A station's end of a TCP connection. Its system calls go around the simulated board, so that they
/// appear in no trace, meet no fault and take no virtual time; they may be made inside Board::at events.
/// What is sent has reached the board's end when the call returns, but for what is sent "at once".
class Station {
 public:
  /// Not connected yet, for a board in this process.
  Station() : Station(-1, in_this_process) {}
  /// Takes a connected socket over.
  Station(int socket, BoardEnd board_end) : socket_(socket), board_end_(board_end) {}
  /// Closes in good order.
  ~Station();
  /// Takes the other one's place.
  Station(Station&& other) noexcept;
  Station& operator=(Station&&) = delete;

  /// Connects to a loopback address in dotted form. Fails the test when nothing listens there.
  void connect(const std::string& address, std::uint16_t port);

  /// Sends bytes as they are, without a length in front.
  void send(std::string_view bytes);
  /// The same, but does not wait until they have arrived.
  void send_at_once(std::string_view bytes);
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
  /// The same, but does not wait until the board's end is broken.
  void reset_at_once();

  // What has arrived, without waiting for more.

  /// All bytes received so far and not taken, including those that are on their way.
  std::string bytes();
  /// The XML texts (GBK) of all records received so far. Fails the test when the bytes are not whole records.
  std::vector<std::string> records();
  /// records(), decoded to UTF-8.
  std::vector<std::string> texts();
  /// The one record received so far. Fails the test when it is not exactly one, or not a test's reply.
  Reply reply();
  /// Forgets what has been received so far.
  void forget();
  /// Whether the connection has ended: closed by the board, after all that it sent has been read, or broken.
  bool closed_by_board();

  // What a board in a process of its own sends next. These wait for it and take it; when it does not come
  // within 10 s of the PC's time, or the connection ends before, they throw std::runtime_error, which names
  // what was awaited. Records are in hexadecimal digits, as golden.h has them.

  /// Takes the next record.
  std::string next_record(std::string_view awaited = "a reply");
  /// Takes the next record that is no prompt; counts the prompts before it.
  std::string next_reply(int* prompts = nullptr);
  /// The same as a test's reply.
  Reply next_result();
  /// Takes what the board sends to every station: banner, menu and the first prompt.
  void take_greeting();
  /// Takes that many records and expects each to be a prompt, with nothing behind the last.
  void expect_prompts(int count);
  /// Waits until the board closes the connection, and takes the records before that. Half a one fails the
  /// test.
  std::vector<std::string> records_until_close();

 private:
  void drain();
  bool has_whole_record() const;
  std::string take_record(std::string_view awaited);
  void wait_for_more(std::string_view awaited);

  int socket_;
  BoardEnd board_end_;
  std::string received_;
  bool ended_ = false;
};
