// The state that lives on from one test to the next, and the request.
#include "tests/harness/ask.h"

#include <string>

#include "t1_sdk/boardtest/platform/app_channel.h"
#include "t1_sdk/boardtest/platform/gpio.h"
#include "t1_sdk/boardtest/platform/pins.h"
#include "t1_sdk/boardtest/sensor/vsub/vsub.h"
#include "t1_sdk/boardtest/service/dispatch.h"
#include "t1_sdk/boardtest/service/server.h"

namespace {

constexpr int kSetVsub6484 = 10240;

}  // namespace

void start_anew() {
  test_item = {};
  gpiofd = -1;
  g_sub_value = 0;
  g_iTimeCount = 0;
  t1_sdk_reset_trim_vsub();
  gpio_pin_cfg();
}

void ask(int code) {
  const int entry = code == kSetVsub6484 ? 950 : 650;  // hundredths of a volt that the model has
  std::string xml = "<TestItem><TestCode>" + std::to_string(code) + "</TestCode><Parameters>" +
                    std::to_string(entry) + "</Parameters></TestItem>";
  process_client_operation(reinterpret_cast<unsigned char*>(xml.data()), static_cast<int>(xml.size()));
}
