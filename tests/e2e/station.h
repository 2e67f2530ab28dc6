// A station at the other end of the wire: plain sockets of the PC, bytes and records as they come.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tests/e2e/board_under_test.h"
#include "tests/harness/framing.h"

/// The XML of a request.
std::string request_of(int code);

/// How much of what it has not read a station has room for.
enum class Room {
  plenty,
  little,  ///< some hundred records fill the connection: then the board can send no more
};

/// A station. Records are hexadecimal digits of the whole record, length field and GBK text. What waits for
/// the board throws std::runtime_error, which names what was awaited, after kPatience.
class Station {
 public:
  /// Connects as soon as the server listens.
  explicit Station(BoardUnderTest& board, Room room = Room::plenty);
  /// Closes in good order, unless it has left before.
  ~Station();
  Station(const Station&) = delete;
  Station& operator=(const Station&) = delete;

  /// Sends bytes; when it returns, they have arrived at the board.
  void send(std::string_view bytes);
  /// Sends bytes and does not wait for their arrival.
  void send_at_once(std::string_view bytes);
  /// Sends a document in a record.
  void send_record(std::string_view xml);
  /// Requests a test.
  void request(int code);

  /// Takes the next record. Waits for it.
  std::string next_record(std::string_view awaited = "a reply");
  /// Takes the next record that is no prompt; counts the prompts before it.
  std::string next_reply(int& prompts);
  /// Takes what the board sends to every station: banner, menu and the first prompt.
  void take_greeting();
  /// Takes all whole records that have arrived. Does not wait.
  std::vector<std::string> pending();
  /// Takes that many records and expects each to be a prompt, with nothing behind the last.
  void expect_prompts(int count);
  /// Waits until the board closes the connection. Takes the records before that; half a one is a failure.
  std::vector<std::string> records_until_close();
  /// Whether the board has closed the connection or broken it. Does not wait.
  bool is_closed();

  /// Sends no more: the board reads what came before, then the end. Its records can still be read.
  void shut_down();
  /// Breaks the connection. When it returns, the board's end is broken.
  void reset();
  /// Breaks the connection and does not wait for its arrival.
  void reset_at_once();

 private:
  bool has_whole_record() const;
  std::string take_record();
  void wait_for_more(std::string_view awaited);

  std::string address_;
  int socket_;
  std::string received_;
  bool ended_ = false;
};
