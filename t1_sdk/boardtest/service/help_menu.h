// The list of station commands that follows the banner.
#pragma once

#include <cstdint>

/// One row of the menu.
struct t1_cmd {
  const char* cmd_desc;  ///< what is shown, may be null
  std::uint8_t cmd;      ///< the command character; 0xFF ends the table
  void (*cmd_func)();    ///< null in every row
};

/// The menu, ended by a row whose `cmd` is 0xFF.
extern t1_cmd t1_cmds[3];

/// Sends the menu on g_iSockClient (`sock` is not used). 0, or -1 when the send failed.
int send_help_info(int sock);
