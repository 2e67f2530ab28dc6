// A program's end of a connection to the camera's main application.
#pragma once

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace application_client {

inline constexpr std::uint16_t kPort = 7001;

inline int connect_to_application(int fd) {
  sockaddr_in place{};
  place.sin_family = AF_INET;
  place.sin_port = htons(kPort);
  place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return connect(fd, reinterpret_cast<const sockaddr*>(&place), sizeof place);
}

/// A program's connection, 127.0.0.1 port 7001.
inline int open_connection() {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  EXPECT_EQ(connect_to_application(fd), 0);
  return fd;
}

/// Three big-endian words.
inline std::string command_bytes(std::uint32_t length, std::uint32_t code, std::uint32_t value) {
  std::string bytes;
  for (const std::uint32_t word : {length, code, value}) {
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(word >> shift & 0xFF);
  }
  return bytes;
}

inline void send_all(int fd, std::string_view bytes) {
  ASSERT_EQ(send(fd, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
}

inline void send_command(int fd, std::uint32_t code, std::uint32_t value) {
  send_all(fd, command_bytes(12, code, value));
}

/// One recv of at most 4096 bytes: what it got; nothing when it failed.
inline std::optional<std::string> receive(int fd, int flags = 0) {
  std::array<char, 4096> buffer{};
  const ssize_t size = recv(fd, buffer.data(), buffer.size(), flags);
  if (size < 0) return std::nullopt;
  return std::string(buffer.data(), static_cast<std::size_t>(size));
}

inline std::string receive_all(int fd) {
  std::string all;
  for (;;) {
    const auto part = receive(fd);
    if (!part || part->empty()) return all;
    all += *part;
  }
}

/// A little-endian word of a reply.
inline std::uint32_t word(const std::string& reply, std::size_t index) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    value |= std::uint32_t{static_cast<unsigned char>(reply.at(4 * index + i))} << (8 * i);
  }
  return value;
}

}  // namespace application_client
