// The command channel to the camera's main application: TCP to 127.0.0.1, port 7001.
#pragma once

#include <cstdint>

/// The command record, every field big-endian.
struct TOOL_HEADER {
  std::uint32_t length;  ///< 12
  std::uint32_t code;    ///< the command
  std::uint32_t argc;    ///< its value
};
static_assert(sizeof(TOOL_HEADER) == 12);

/// What the application answers, as the board's own processor stores it.
struct CMD_SERVER_TEST {
  std::int32_t cmd;
  std::uint32_t test_data[128];
};
static_assert(sizeof(CMD_SERVER_TEST) == 516);

/// The last reply of the application; it stays until the next one. A reply that is shorter counts as followed
/// by zeros.
extern CMD_SERVER_TEST test_item;

namespace boardtest {

// Commands to the application, and the value that goes with each.
inline constexpr int kAppMaSelfTest = 0x23;         ///< 0 asks for the state of its self-test
inline constexpr int kAppShellIrisOff = 40;         ///< 0 takes from it an iris that shell commands move
inline constexpr int kAppShellIrisOn = 39;          ///< 1 gives that iris back
inline constexpr int kAppSensorUse = 0x31248;       ///< 0 takes sensor and iris from it, 1 gives them back
inline constexpr int kAppStopDetector = 0x1333D0D;  ///< 0 ends the thread in it that uses the RS485 ports

}  // namespace boardtest

/// Sends one command and reads replies into `test_item`, printing one line for each, until the application
/// closes the connection, for as long as that takes. Prints "connect failre errno=%d" without a line end when
/// nobody listens; a command that cannot be sent whole is given up.
void enableAPPCMD(int toolCmd, unsigned int val);
