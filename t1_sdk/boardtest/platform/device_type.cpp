#include "t1_sdk/boardtest/platform/device_type.h"

#include <sys/ioctl.h>
#include <algorithm>
#include <cstdio>
#include <iterator>

#include "t1_sdk/boardtest/platform/node.h"
#include "t1_sdk/util/contains.h"
#include "t1_sdk/util/descriptor.h"

using namespace boardtest;

namespace {

constexpr unsigned kReadBootParms =
    0x80044801;  // _IOR('H', 1, 4): the size field says 4, the driver fills 256 bytes

/// The alarm outputs that tell the two 0x96C0 boards apart.
constexpr int kAlarmOutputs44x = 7;

// Lists of the predicates and of the classifier differ on purpose: 0x9726 and 0x27254 are K and 68xx
// boards for their predicates only.
// clang-format off
constexpr int kKBoards[] = {0x960B, 0x9B05, 0x960F, 0x960E, 0x9B08, 0x9B09, 0x9B0A, 0x970F,
                            0x9715, 0x9713, 0x9614, 0x9615, 0x9716, 0x9725, 0x9726};
constexpr int kMaBoards[] = {0xA6001, 0xA6002, 0xA6003, 0xA6004};
constexpr int kLoopBoards[] = {0x96C1, 0x96C2, 0x96C3};
constexpr int kLoopCBoards[] = {0x96C4, 0x96C5};
constexpr int k63xxBoards[] = {0x27201, 0x97C0};
constexpr int k65xxBoards[] = {0x9C0A};
constexpr int k68xxBoards[] = {0x27252, 0x9A01, 0x27254, 0x9A03, 0xA6005, 0xA6006, 0xA60A0, 0xA60A3};
constexpr int kMA533Boards[] = {0xA6005, 0xA6006, 0xA60A0, 0xA60A3};
constexpr int k68xxFpgaBoard = 0x27251;
constexpr int k44xBoard = 0x96C0;
constexpr int kRkd1Board = 0xA60A0;
constexpr int kRkd2Board = 0xA60A3;

/// The classifier's table. 0x96C0 is not in it: its alarm outputs decide.
struct ClassRow { int code; device_type type; };
constexpr ClassRow kClasses[] = {
    {0x960B, DEV_TYPE_K}, {0x9B05, DEV_TYPE_K}, {0x960F, DEV_TYPE_K}, {0x960E, DEV_TYPE_K},
    {0x9B08, DEV_TYPE_K}, {0x9B09, DEV_TYPE_K}, {0x9B0A, DEV_TYPE_K}, {0x970F, DEV_TYPE_K},
    {0x9715, DEV_TYPE_K}, {0x9713, DEV_TYPE_K}, {0x9614, DEV_TYPE_K}, {0x9615, DEV_TYPE_K},
    {0x9716, DEV_TYPE_K}, {0x9725, DEV_TYPE_K},
    {0x27201, DEV_TYPE_63XX}, {0x97C0, DEV_TYPE_63XX},
    {0x27252, DEV_TYPE_68XX}, {0x9A01, DEV_TYPE_68XX}, {0x9A03, DEV_TYPE_68XX}, {0xA6005, DEV_TYPE_68XX},
    {0xA6006, DEV_TYPE_68XX}, {0xA60A0, DEV_TYPE_68XX}, {0xA60A3, DEV_TYPE_68XX},
    {0x27251, DEV_TYPE_68XX_FPGA},
    {0x96C1, DEV_TYPE_WPFX5X}, {0x96C2, DEV_TYPE_WPFX5X}, {0x96C3, DEV_TYPE_WPFX5X},
    {0xA6001, DEV_TYPE_61XX}, {0xA6002, DEV_TYPE_61XX}, {0xA6003, DEV_TYPE_61XX}, {0xA6004, DEV_TYPE_61XX},
    {0x9C0A, DEV_TYPE_65XX},
};
// clang-format on

int classify(int code, int alarm_outputs) {
  if (code == k44xBoard) return alarm_outputs == kAlarmOutputs44x ? DEV_TYPE_WPF44X : DEV_TYPE_WPF44X_J;
  const auto* row = std::find_if(std::begin(kClasses), std::end(kClasses),
                                 [code](const ClassRow& entry) { return entry.code == code; });
  return row == std::end(kClasses) ? DEV_TYPE_NORMAL : row->type;
}

}  // namespace

int boardtest::request_boot_parms(int fd, boot_parms& parms) {
  parms = boot_parms{};
  return ioctl(fd, kReadBootParms, &parms);
}

bool boardtest::read_boot_parms(boot_parms& parms) {
  const Descriptor node(open_io("open /dev/qznio error."));
  if (node.get() < 0) return false;
  const int result = request_boot_parms(node.get(), parms);
  if (result != 0) {
    std::printf("ioctl error,ret = %d\n", result);
    return false;
  }
  return true;
}

int getDevType(boot_parms parms) {
  return static_cast<int>(static_cast<std::uint32_t>(parms.devTypeHigh) << 16 | parms.devType);
}

// A failed query has code 0, which stands in no list.
int get_dev_type() {
  boot_parms parms;
  return read_boot_parms(parms) ? getDevType(parms) : 0;
}

int get_device_type() {
  boot_parms parms;
  return read_boot_parms(parms) ? classify(getDevType(parms), parms.alarmoutNums) : 0;
}

int get_device_type_MA533() {
  boot_parms parms;
  if (!read_boot_parms(parms)) return 0;
  return contains(kMA533Boards, getDevType(parms)) ? DEV_TYPE_68XX : DEV_TYPE_NORMAL;
}

int is_K_devType() {
  return contains(kKBoards, get_dev_type()) ? 1 : 0;
}

int is_MA_devType() {
  return contains(kMaBoards, get_dev_type()) ? 1 : 0;
}

int is_RKD_devType() {
  const int code = get_dev_type();
  if (code == kRkd1Board) return 1;
  return code == kRkd2Board ? 2 : 0;
}

int is_loop_devType() {
  return contains(kLoopBoards, get_dev_type()) ? 1 : 0;
}

int is_loop_devType_c() {
  return contains(kLoopCBoards, get_dev_type()) ? 1 : 0;
}

int is_6444_u() {
  boot_parms parms;
  if (!read_boot_parms(parms) || getDevType(parms) != k44xBoard) return 0;
  return parms.alarmoutNums == kAlarmOutputs44x ? 4 : 3;
}

int is_63xx_devType() {
  return contains(k63xxBoards, get_dev_type()) ? 1 : 0;
}

int is_65xx_devType() {
  return contains(k65xxBoards, get_dev_type()) ? 1 : 0;
}

int is_68xx_devType() {
  const int code = get_dev_type();
  if (code == k68xxFpgaBoard) return 1;
  return contains(k68xxBoards, code) ? 2 : 0;
}

int is_bootInfo_ok() {
  boot_parms parms;
  return read_boot_parms(parms) ? 0 : -1;
}
