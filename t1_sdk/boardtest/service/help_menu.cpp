#include "t1_sdk/boardtest/service/help_menu.h"

#include <cstdio>

#include "t1_sdk/boardtest/protocol/message.h"

using namespace boardtest;

namespace {

constexpr std::uint8_t kEndOfMenu = 0xFF;
constexpr int kAnnouncedLines = 19;  // what stations have always received, whatever the menu holds

}  // namespace

t1_cmd t1_cmds[3] = {
    {"帮助菜单", 'h', nullptr},
    {"退出测试", 'q', nullptr},
    {nullptr, kEndOfMenu, nullptr},
};

int send_help_info(int /*sock*/) {
  XmlDocument menu;
  start_service_message(menu, kAnnouncedLines);
  menu.AddChildElem("TestContext", "\n\tT1 test menu:\n");
  for (const t1_cmd* row = t1_cmds; row->cmd != kEndOfMenu; ++row) {
    char line[256];
    std::snprintf(line, sizeof line, "\t[%c] %s\n", row->cmd, row->cmd_desc != nullptr ? row->cmd_desc : " ");
    menu.AddChildElem("TestContext", line);
  }
  return tcp_send_xml_msg(&menu);
}
