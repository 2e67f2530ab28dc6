#include "station/tools/rs485_echo.h"

#include <array>
#include <cstdio>
#include <string_view>

#include "station/link/serial_line.h"
#include "station/run/result.h"

namespace t1station {
namespace {

constexpr double kEndOfEcho = 0.05;  // seconds of silence that show that nothing comes behind it

// A frame: a mark, the address, the kind, the length of the whole, the content, and the low 8 bits of the
// sum.
std::string frame_of(char kind, std::string_view content) {
  constexpr char mark = '\xD0';
  constexpr char address = 1;
  constexpr std::size_t around_content = 5;
  std::string frame{mark, address, kind, static_cast<char>(content.size() + around_content)};
  frame += content;
  unsigned sum = 0;
  for (const char byte : frame) sum += static_cast<unsigned char>(byte);
  frame.push_back(static_cast<char>(sum & 0xFF));
  return frame;
}

std::string hexadecimal(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    std::array<char, 4> digits{};
    std::snprintf(digits.data(), digits.size(), "%02x",
                  static_cast<unsigned>(static_cast<unsigned char>(byte)));
    text += (text.empty() ? "" : " ") + std::string(digits.data());
  }
  return text;
}

}  // namespace

int rs485_echo(const Rs485Echo& wanted, const Interrupt& interrupt, std::ostream& out) {
  const std::string first = frame_of(6, "\x11\x62\x80\x32\x34\x12\x78\x56\x9A\xBC");
  const std::string second = frame_of(2, "\x5A\xA5");

  const SerialLine line(wanted.device, wanted.speed, interrupt);
  const auto send = [&](const std::string& frame) {
    line.send(frame);
    out << "sent     " << hexadecimal(frame) << std::endl;
  };
  send(first);
  std::string echo = line.receive(first.size(), wanted.timeout);
  if (echo.size() == first.size()) echo += line.receive(first.size(), kEndOfEcho);
  if (!echo.empty()) out << "received " << hexadecimal(echo) << std::endl;
  if (interrupt.is_raised()) {
    out << "interrupted" << std::endl;
    return exit_code::kInterrupted;
  }
  if (echo.empty()) {
    out << "no echo: the board is not waiting for it, or the line is open or turned round" << std::endl;
    return exit_code::kBroken;
  }
  if (echo != first) {
    out << (echo.size() == first.size() ? "the echo differs" : "the echo has another length") << std::endl;
    return exit_code::kFailed;
  }
  send(second);
  out << "the echo is right" << std::endl;
  return exit_code::kPassed;
}

}  // namespace t1station
