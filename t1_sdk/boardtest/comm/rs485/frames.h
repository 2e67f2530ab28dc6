// The frames that travel on RS485 lines.
#pragma once

#include <sys/select.h>

namespace boardtest {

/// Size of a receive buffer.
inline constexpr int kFrameBuffer = 128;
/// What every frame starts with.
inline constexpr unsigned char kStartMark = 0xD0;
/// Bytes up to the length byte, which counts them too.
inline constexpr int kHeaderSize = 4;

/// The two test frames; their last byte is the checksum.
inline constexpr unsigned char kFrameA[] = {0xD0, 0x01, 0x06, 0x0F, 0x11, 0x62, 0x80, 0x32,
                                            0x34, 0x12, 0x78, 0x56, 0x9A, 0xBC, 0x75};
inline constexpr unsigned char kFrameB[] = {0xD0, 0x01, 0x02, 0x07, 0x5A, 0xA5, 0xD9};

/// A set with one descriptor in it; without one when its number is beyond what a set can hold.
[[nodiscard]] fd_set only(int fd);

/// What a frame's header claims, from 0 to 255.
[[nodiscard]] inline int claimed_length(const unsigned char* frame) {
  return frame[3];
}

/// Receives behind the header what it claims, as far as a buffer of kFrameBuffer bytes holds it. `time_out`
/// (seconds, counted from here) and `wait` (for `wait` / 10 + 1 looks) are those of recvRS485Data(). After a
/// header that claims no more than itself, something is waited for all the same.
void receive_rest(int fd, fd_set& set, unsigned char* frame, int time_out, int wait);

/// Whether the frame has the length of a frame and its last byte is the sum of the others.
[[nodiscard]] bool is_sealed(const unsigned char* frame);

}  // namespace boardtest
