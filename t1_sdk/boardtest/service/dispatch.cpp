#include "t1_sdk/boardtest/service/dispatch.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "t1_sdk/boardtest/comm/restart.h"
#include "t1_sdk/boardtest/comm/rs485/rs485.h"
#include "t1_sdk/boardtest/comm/storage.h"
#include "t1_sdk/boardtest/comm/temperature.h"
#include "t1_sdk/boardtest/peripheral/alarm/alarm.h"
#include "t1_sdk/boardtest/peripheral/ircut.h"
#include "t1_sdk/boardtest/peripheral/iris.h"
#include "t1_sdk/boardtest/peripheral/light.h"
#include "t1_sdk/boardtest/peripheral/rtc.h"
#include "t1_sdk/boardtest/sensor/abf.h"
#include "t1_sdk/boardtest/sensor/correction.h"
#include "t1_sdk/boardtest/sensor/ma.h"
#include "t1_sdk/boardtest/sensor/timing_generator/timing_generator.h"
#include "t1_sdk/boardtest/sensor/vsub/vsub.h"
#include "t1_sdk/boardtest/service/server.h"
#include "t1_sdk/util/text.h"
#include "t1_sdk/xmldocument/xml_document.h"

using namespace boardtest;

namespace {

/// How a test stands to the substrate voltage.
enum class Vsub {
  none,  ///< as every request but the steps of a trim, it discards an unfinished trim
  set,   ///< takes the operator's entry from the request, and discards an unfinished trim
  trim,  ///< a step of a trim, which goes on from the one before
};

struct TestRow {
  int code;
  const char* name;  ///< printed when the test is called; some have none
  void (*handler)();
  Vsub vsub = Vsub::none;
};

// clang-format off
constexpr TestRow kTests[] = {
    {   -16, "T1_TESTCODE_RS485_PTZ", rs485_ptz_test},
    {   -15, "T1_TESTCODE_CENTAURUS", t1_sdk_centaurus_test},
    {   513, "T1_TESTCODE_ARLARM_1in1out", t1_sdk_alarm_test_1in1out},
    {   518, "T1_TESTCODE_ARLARM_4in5out", t1_sdk_alarm_test_4in5out},
    {   519, "T1_TESTCODE_ARLARM_4in7out", t1_sdk_alarm_test_4in7out},
    {   520, "T1_TESTCODE_ARLARM_5in3out", t1_sdk_alarm_test_5in3out},
    {   521, "T1_TESTCODE_ARLARM_5in4out", t1_sdk_alarm_test_5in4out},
    {   528, "T1_TESTCODE_ARLARM_5in5out", t1_sdk_alarm_test_5in5out},
    {   530, "T1_TESTCODE_ARLARM_8in9out", t1_sdk_alarm_test_8in9out},
    {   531, "T1_TESTCODE_ARLARM_10in10out_SWITCH", t1_sdk_alarm_test_10in10out_switch},
    {   532, "T1_TESTCODE_ARLARM_10in10out_LEVEL", t1_sdk_alarm_test_10in10out_level},
    {   534, "T1_TESTCODE_ARLARM_3in2out", t1_sdk_alarm_test_3in2out},
    {   535, "T1_TESTCODE_ARLARM_2in4out", t1_sdk_alarm_test_2in4out},
    {  1024, "T1_TESTCODE_RS485", t1_sdk_rs485_test},
    {  1536, nullptr, t1_sdk_rtc_test},
    {  1792, nullptr, t1_sdk_icrcut_test},
    {  4352, nullptr, t1_sdk_sd_rw_test},
    {  4608, "T1_TESTCODE_USB", t1_sdk_usb_test},
    {  7426, "T1_TESTCODE_TEMP", t1_sdk_tmp_test},
    {  9472, "T1_TESTCODE_AUTO_IRIS", t1_sdk_auto_iris_test},
    {  9728, "T1_TESTCODE_SET_SUB_6455", t1_sdk_setVsub6455, Vsub::set},
    {  9984, "T1_TESTCODE_SET_SUB_6485", t1_sdk_setVsub6485, Vsub::set},
    { 10240, "T1_TESTCODE_SET_SUB_6484", t1_sdk_setVsub6484, Vsub::set},
    { 10496, "T1_TESTCODE_SET_TG_PARAM", t1_sdk_setTGParam},
    { 10752, "T1_TESTCODE_GET_TG_PARAM", t1_sdk_printTGParam},
    { 10768, "T1_TESTCODE_ABF", t1_sdk_abf},
    { 10769, "T1_TESTCODE_MA", t1_sdk_ma},
    { 11009, "T1_TESTCODE_ADD_SUB_6455", t1_sdk_addVsub6455, Vsub::trim},
    { 11010, "T1_TESTCODE_DEC_SUB_6455", t1_sdk_decVsub6455, Vsub::trim},
    { 11011, "T1_TESTCODE_SAVE_SUB_6455", t1_sdk_saveVsub6455, Vsub::trim},
    { 11265, "T1_TESTCODE_ADD_SUB_6485", t1_sdk_addVsub6485, Vsub::trim},
    { 11266, "T1_TESTCODE_DEC_SUB_6485", t1_sdk_decVsub6485, Vsub::trim},
    { 11267, "T1_TESTCODE_SAVE_SUB_6485", t1_sdk_saveVsub6485, Vsub::trim},
    { 11521, "T1_TESTCODE_ADD_SUB_6484", t1_sdk_addVsub6484, Vsub::trim},
    { 11522, "T1_TESTCODE_DEC_SUB_6484", t1_sdk_decVsub6484, Vsub::trim},
    { 11523, "T1_TESTCODE_SAVE_SUB_6484", t1_sdk_saveVsub6484, Vsub::trim},
    { 11776, "T1_TESTCODE_AUTO_SUB", t1_sdk_autoCCDLevel},
    { 12032, "T1_TESTCODE_PRINT_SUB", t1_sdk_printVsub},
    { 13568, "T1_TESTCODE_CHECK_CAMERA_DPI", t1_sdk_check_camera_dpi},
    { 13824, "T1_TESTCODE_CHECK_FF_CORR", t1_sdk_check_ff_corr},
    { 14592, "T1_TESTCODE_LIGHT", t1_sdk_in_light},
    { 69633, "T1_TESTCODE_IN_LIGHT", t1_sdk_in_light_rkd},
    { 69634, "T1_TESTCODE_ARLARM_1in3out", t1_sdk_alarm_test_1in3out},
};

// clang-format on

constexpr int kQuit = 62208;

/// The request that is served: kept, so that its memory is allocated once and not for each.
XmlDocument g_request;

/// The number in the next child of that name; 0 when there is none.
int child_number(XmlDocument& request, const char* name) {
  return request.FindChildElem(name) ? parse_int(request.GetChildData().c_str()) : 0;
}

}  // namespace

int process_client_operation(unsigned char* pcRecvBuf, int /*iLen*/) {
  if (pcRecvBuf == nullptr) return -1;
  char text[kMaxRequest + 1] = {};
  std::memcpy(text, pcRecvBuf, strnlen(reinterpret_cast<const char*>(pcRecvBuf), kMaxRequest));
  XmlDocument& request = g_request;
  request.SetDoc(text);
  const int code = child_number(request, "TestCode");

  if (code == kQuit) {
    std::puts("recv q command");
    return kQuitRequested;
  }
  const auto* test = std::find_if(std::begin(kTests), std::end(kTests),
                                  [code](const TestRow& row) { return row.code == code; });
  const Vsub vsub = test == std::end(kTests) ? Vsub::none : test->vsub;
  if (vsub == Vsub::set) {
    g_sub_value = child_number(request, "Parameters");
    std::printf("g_sub_value = %d\n", g_sub_value);
  }
  if (vsub != Vsub::trim) t1_sdk_reset_trim_vsub();

  if (test == std::end(kTests)) {
    std::puts("testCode is invalid");
    return 0;
  }
  if (test->name != nullptr) std::puts(test->name);
  g_iTimeCount = 0;
  test->handler();
  return 0;
}
