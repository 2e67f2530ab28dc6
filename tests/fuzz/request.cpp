// Fuzz target: anything that a station sends, received, dispatched and run on a simulated board in virtual
// time.
//
// The input: a byte for the board family (its five lower bits) and the station's habits (the upper three),
// then what the station sends. With no habits that is the bytes off the socket: they come at once, and the
// station sends no more. In packets, it is for each a byte for its size, a byte for the pause before it, and
// its bytes.
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#include <chrono>
#include <csignal>
#include <memory>

#include "boardsim/board.h"
#include "t1_sdk/boardtest/platform/app_channel.h"
#include "t1_sdk/boardtest/protocol/message.h"
#include "t1_sdk/boardtest/sensor/vsub/vsub.h"
#include "t1_sdk/boardtest/service/dispatch.h"
#include "t1_sdk/boardtest/service/heartbeat.h"
#include "t1_sdk/boardtest/service/server.h"
#include "tests/fuzz/fuzz.h"
#include "tests/harness/descriptor_sweep.h"
#include "tests/harness/framing.h"
#include "tests/harness/wire.h"

namespace {

using namespace boardtest;

constexpr int kMostRequests = 6;  // a record without bytes repeats the one before, which may take a while
constexpr std::size_t kLongestDocument = 2047;

/// What a station may do otherwise than all at once.
struct StationHabits {
  explicit StationHabits(unsigned bits)
      : packets((bits & 1) != 0), resets((bits & 2) != 0), prompts((bits & 4) != 0) {}
  bool packets;  ///< sends in packets, with pauses between them
  bool resets;   ///< breaks the connection at the end, rather than hanging up
  bool prompts;  ///< has a heartbeat beside
};

/// Up to more than the 100 seconds that the board waits: in hundredths of a second below 128, then in
/// seconds.
boardsim::Time pause_of(std::uint8_t byte) {
  if (byte < 128) return std::chrono::milliseconds(10 * byte);
  return std::chrono::seconds(byte - 127);
}

/// A loopback connection. The board's end is g_iSockClient; the station's end breaks it at last, so that no
/// port of the PC stays taken.
class Connection {
 public:
  explicit Connection(boardsim::Board& board) : board_(board), station_(wire::connect("127.0.0.1", port())) {
    require(station_ >= 0, "no loopback connection");
    g_iSockClient = accept(listener(), nullptr, nullptr);
    require(g_iSockClient >= 0, "the board does not accept");
  }
  ~Connection() {
    wire::reset(station_);
    close(g_iSockClient);
    g_iSockClient = -1;
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// Makes the listening socket, which stays; at best before the board is there.
  static int listener() {
    static const int socket = wire::listen(port());
    return socket;
  }

  /// Plays the station. What has a pause before it comes while the board waits.
  void play(Input& input, StationHabits habits) {
    if (!habits.packets) {
      send(input.rest());
      leave(habits);
    } else if (input.empty()) {
      leave(habits);
    } else {
      const std::size_t size = input.byte();
      const boardsim::Time pause = pause_of(input.byte());
      board_.at(board_.now() + pause, [this, &input, habits, packet = input.bytes(size)] {
        send(packet);
        play(input, habits);
      });
    }
  }

  /// What the board has sent, up to a reset.
  std::string received() {
    if (station_ >= 0) {
      wire::wait_until_delivered(g_iSockClient, station_);
      wire::receive(station_, received_);
    }
    return received_;
  }

 private:
  static std::uint16_t& port() {
    static std::uint16_t number = 0;
    return number;
  }

  void send(const std::string& bytes) const {
    if (!wire::send_all(station_, bytes)) return;  // the board has closed the connection
    wire::wait_until_delivered(station_, g_iSockClient);
  }
  void leave(StationHabits habits) {
    if (habits.resets) {
      received();
      wire::reset(station_);
      station_ = -1;
    } else {
      wire::shut_down_sending(station_);
    }
    wire::wait_until_ended(g_iSockClient);
  }

  boardsim::Board& board_;
  int station_;
  std::string received_;
};

/// What the server does with a connection.
void serve(bool with_prompts) {
  Heartbeat heartbeat;
  if (with_prompts) require(heartbeat.start(), "no heartbeat");
  const auto buffer = std::make_unique<unsigned char[]>(kMaxRequest);
  for (int requests = 0; requests < kMostRequests;) {
    const int length = recv_client_operation(buffer.get());
    if (length == -1) break;
    if (length == -2) continue;
    ++requests;
    if (process_client_operation(buffer.get(), length) == kQuitRequested) break;
  }
  shutdown(g_iSockClient, SHUT_RDWR);
}

/// Requires whole records, no longer than a record can be.
void check_records(std::string bytes) {
  while (!bytes.empty()) {
    require(bytes.size() >= 4, "a record has no length");
    const std::size_t length = length_in(bytes);
    require(length <= kLongestDocument && bytes.size() >= 4 + length, "a record is cut or too long");
    bytes.erase(0, 4 + length);
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::signal(SIGPIPE, SIG_IGN);
  Input input(data, size);
  require(Connection::listener() >= 0, "no loopback socket");
  const DescriptorSweep sweep;
  const auto families = boardsim::families();
  const unsigned first = input.byte();
  boardsim::Board board(families[first % 32 % families.size()].name);
  for (const char* node : {"/dev/mmc01", "/dev/mmc11", "/dev/msbd1", "/dev/msb1"}) {
    board->mounts.at(node).set_space(64, 20);  // too little for the long part of the storage tests
  }
  g_iTimeCount = 0;
  g_sub_value = 0;
  test_item = {};
  t1_sdk_reset_trim_vsub();

  Connection connection(board);
  const StationHabits habits(first / 32);
  connection.play(input, habits);
  serve(habits.prompts);
  check_records(connection.received());
  require(board.live_threads() == 0, "a heartbeat goes on without its connection");
  require(board.violations().empty(), "a call that the board does not know");
  return 0;
}
