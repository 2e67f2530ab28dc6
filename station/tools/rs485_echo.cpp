#include "station/tools/rs485_echo.h"

#include <array>
#include <cstdio>
#include <string_view>

namespace t1station {
namespace {

// Seconds behind the request. The board opens its port after five and waits for a minute then; what comes
// before is lost.
constexpr double kBoardListens = 6;
constexpr std::size_t kMostNoise = 4096;
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

const std::string& first_frame() {
  static const std::string frame = frame_of(6, "\x11\x62\x80\x32\x34\x12\x78\x56\x9A\xBC");
  return frame;
}

const std::string& second_frame() {
  static const std::string frame = frame_of(2, "\x5A\xA5");
  return frame;
}

std::string sent_line(const std::string& frame) {
  return "sent     " + hexadecimal(frame);
}

std::string received_line(const std::string& bytes) {
  return "received " + hexadecimal(bytes);
}

std::string finding(const std::string& echo) {
  if (echo.empty()) return "no echo: the board is not waiting for it, or the line is open or turned round";
  if (echo == first_frame()) return "the echo is right";
  return echo.size() == first_frame().size() ? "the echo differs" : "the echo has another length";
}

}  // namespace

Echoed rs485_echo(const Rs485Echo& wanted, const Interrupt& interrupt, std::ostream& out) {
  const SerialLine line(wanted.device, wanted.speed, interrupt);
  const auto send = [&](const std::string& frame) {
    line.send(frame);
    out << sent_line(frame) << std::endl;
  };
  send(first_frame());
  std::string echo = line.receive(first_frame().size(), wanted.timeout);
  if (echo.size() == first_frame().size()) echo += line.receive(first_frame().size(), kEndOfEcho);
  if (!echo.empty()) out << received_line(echo) << std::endl;
  if (interrupt.is_raised()) {
    out << "interrupted" << std::endl;
    return Echoed::interrupted;
  }
  if (echo == first_frame()) send(second_frame());
  out << finding(echo) << std::endl;
  if (echo.empty()) return Echoed::nothing;
  return echo == first_frame() ? Echoed::right : Echoed::wrong;
}

Rs485Partner::Rs485Partner(const std::string& device, double speed, const Interrupt& interrupt)
    : line_(device, Rs485Echo().speed, interrupt), begins_(kBoardListens / speed) {}

void Rs485Partner::begin() {
  is_sent_ = is_right_ = false;
  echo_.clear();
  words_.clear();
  line_.receive(kMostNoise, 0);  // what is left of an attempt before
}

void Rs485Partner::tick(double elapsed) {
  if (elapsed < begins_) return;
  if (!is_sent_) {
    is_sent_ = true;
    line_.send(first_frame());
    words_ = sent_line(first_frame()) + "\n";
  }
  echo_ += line_.receive(kMostNoise, 0);
  if (echo_ == first_frame() && !is_right_) {
    is_right_ = true;
    line_.send(second_frame());
    words_ += received_line(echo_) + "\n" + sent_line(second_frame()) + "\n";
  } else if (is_right_ && echo_ != first_frame()) {
    is_right_ = false;  // more came behind it
  }
}

std::string Rs485Partner::words() const {
  if (!is_sent_) return "nothing was sent: the reply came first";
  const std::string heard = is_right_ || echo_.empty() ? "" : received_line(echo_) + "\n";
  return words_ + heard + finding(echo_);
}

}  // namespace t1station
