// Fuzz target: anything that a station sends, received, dispatched and run on a simulated board in virtual
// time.
//
// The input: a byte for the board family, then the bytes off the socket, after which the station sends no
// more.
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#include <memory>

#include "boardsim/board.h"
#include "t1_sdk/boardtest/platform/app_channel.h"
#include "t1_sdk/boardtest/protocol/message.h"
#include "t1_sdk/boardtest/sensor/vsub_set.h"
#include "t1_sdk/boardtest/sensor/vsub_trim.h"
#include "t1_sdk/boardtest/service/dispatch.h"
#include "t1_sdk/boardtest/service/server.h"
#include "tests/fuzz/descriptors.h"
#include "tests/fuzz/fuzz.h"
#include "tests/harness/wire.h"

namespace {

constexpr int kMostRequests = 6;  // a record without bytes repeats the one before, which may take a while
constexpr std::size_t kLongestDocument = 2047;

/// A loopback connection. The board's end is g_iSockClient; the station's end breaks it at last, so that no
/// port of the PC stays taken.
class Connection {
 public:
  Connection() : station_(wire::connect("127.0.0.1", port())) {
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

  void send_last(const std::string& bytes) const {
    require(wire::send_all(station_, bytes), "the station cannot send");
    wire::wait_until_delivered(station_, g_iSockClient);
    wire::shut_down_sending(station_);
    wire::wait_until_ended(g_iSockClient);
  }

  std::string received() const {
    std::string bytes;
    wire::receive(station_, bytes);
    return bytes;
  }

 private:
  static std::uint16_t& port() {
    static std::uint16_t number = 0;
    return number;
  }

  int station_;
};

/// What the server does with a connection, without its heartbeat.
void serve() {
  const auto buffer = std::make_unique<unsigned char[]>(kMaxRequest);
  for (int requests = 0; requests < kMostRequests;) {
    const int length = recv_client_operation(buffer.get());
    if (length == -1) return;
    if (length == -2) continue;
    ++requests;
    if (process_client_operation(buffer.get(), length) == kQuitRequested) return;
  }
}

/// Requires whole records, no longer than a record can be.
void check_records(std::string bytes) {
  while (!bytes.empty()) {
    require(bytes.size() >= 4, "a record has no length");
    std::size_t length = 0;
    for (std::size_t i = 0; i < 4; ++i) length |= std::size_t{static_cast<unsigned char>(bytes[i])} << 8 * i;
    require(length <= kLongestDocument && bytes.size() >= 4 + length, "a record is cut or too long");
    bytes.erase(0, 4 + length);
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  require(Connection::listener() >= 0, "no loopback socket");
  const DescriptorSweep sweep;
  const auto families = boardsim::families();
  boardsim::Board board(families[input.byte() % families.size()].name);
  for (const char* node : {"/dev/mmc01", "/dev/mmc11", "/dev/msbd1", "/dev/msb1"}) {
    board.set_medium_space(node, 64, 20);  // too little for the long part of the storage tests
  }
  g_iTimeCount = 0;
  g_sub_value = 0;
  test_item = {};
  t1_sdk_reset_trim_vsub();

  const Connection connection;
  connection.send_last(input.rest());
  serve();
  check_records(connection.received());
  require(board.violations().empty(), "a call that the board does not know");
  return 0;
}
