// Socket calls that go around the simulated board: plain system calls of the PC.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace wire {

/// A socket connected to a loopback address, or -1 with errno. What is sent there goes out at once.
int connect(const std::string& address, std::uint16_t port);
/// The same for a station with little room: some hundred records that it does not read fill the connection.
int connect_narrowly(const std::string& address, std::uint16_t port);
/// A socket that listens on 127.0.0.1, its port in `port`; -1 with errno.
int listen(std::uint16_t& port);
/// Sends everything; false with errno when that fails.
bool send_all(int socket, std::string_view bytes);
/// Tells the peer now what has arrived, not some 40 ms later: small records of the peer wait for that.
void acknowledge(int socket);
/// Appends what can be read at once to `received`. True when the peer has closed or broken the connection.
bool receive(int socket, std::string& received);
/// Fills the connection with zero bytes until nothing more goes out before the peer reads. The socket's send
/// buffer is small from then on. Throws std::runtime_error when the connection takes bytes without end.
void fill(int socket);
void shut_down_sending(int socket);
/// Closes with a reset.
void reset(int socket);
void close(int socket);
/// Whether a TCP socket without address reuse can be bound there now.
bool is_free(const std::string& address, std::uint16_t port);

/// Whether these two sockets are the two ends of one connection; false when one is -1 or closed.
bool are_connected(int one, int other);

// All waits throw std::runtime_error when what they wait for does not come within 10 s of the PC's time.

/// Returns when everything that `from` sent stands in the receive buffer of `to`; when `to` is not its other
/// end, as soon as the PC has received it; at once when `from` is -1, closed or broken, or when `enough` says
/// so.
void wait_until_delivered(int from, int to, const std::function<bool()>& enough = {});
/// Returns when `done` says so.
void wait_until(const std::function<bool()>& done, std::string_view what);
/// Returns when there is something to read, be it the end. `awaited` is for the exception.
void wait_until_readable(int socket, std::string_view awaited);
/// Returns when the peer has received the end of what `socket` sends.
void wait_until_end_has_arrived(int socket);
/// Returns when the peer's close or reset has reached `socket`; at once when that is no socket.
void wait_until_ended(int socket);
/// Returns when there is room in the socket's send buffer again.
void wait_until_writable(int socket);

}  // namespace wire
