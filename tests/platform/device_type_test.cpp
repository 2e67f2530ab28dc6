// The boot parameter block, the device type code in it, and how every query reaches it.
#include "t1_sdk/boardtest/platform/device_type.h"

#include <gtest/gtest.h>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/harness/console.h"
#include "tests/harness/on_board.h"

namespace {

using Lines = std::vector<std::string>;

struct Field {
  const char* name;
  std::size_t offset, size;                // as the driver writes it
  std::size_t actual_offset, actual_size;  // as the program reads it
};

#define FIELD(name, offset, size)                                             \
  Field {                                                                     \
#name, offset, size, offsetof(boot_parms, name), sizeof(boot_parms::name) \
  }

// clang-format off
const Field kFields[] = {
    FIELD(magicNumber, 0, 4),        FIELD(paraChecksum, 4, 4),     FIELD(paraLength, 8, 4),
    FIELD(encryptVer, 12, 4),        FIELD(language, 16, 4),        FIELD(deviceClass, 20, 4),
    FIELD(oemCode, 24, 4),           FIELD(devTypeHigh, 28, 2),     FIELD(reservedFeature, 30, 14),
    FIELD(encodeChans, 44, 2),       FIELD(decodeChans, 46, 2),     FIELD(ipcChans, 48, 2),
    FIELD(ivsChans, 50, 2),          FIELD(alarminNum, 52, 1),      FIELD(macAddr, 53, 12),
    FIELD(prodDate, 65, 8),          FIELD(prodNo, 73, 9),          FIELD(devHigh, 82, 1),
    FIELD(cpuFreq, 83, 1),           FIELD(dspFreq, 84, 1),         FIELD(zone, 85, 1),
    FIELD(audioInSupport, 86, 1),    FIELD(sensorType, 87, 1),      FIELD(usbNums, 88, 1),
    FIELD(resetSupport, 89, 1),      FIELD(alarmoutNums, 90, 1),    FIELD(sensorVersion, 91, 1),
    FIELD(audiooutSupport, 92, 1),   FIELD(videooutType, 93, 1),    FIELD(videoinType, 94, 1),
    FIELD(FPGAType, 95, 1),          FIELD(FPGAVersion, 96, 1),     FIELD(IRSupport, 97, 1),
    FIELD(wifiSupport, 98, 1),       FIELD(eZoomLensSupport, 99, 1), FIELD(devType, 100, 2),
    FIELD(ICRSupport, 102, 1),       FIELD(deviceTypeSecond, 103, 1), FIELD(ubootAdrs, 104, 4),
    FIELD(ubootSize, 108, 4),        FIELD(ubootCheckSum, 112, 4),  FIELD(tinyKernelAdrs, 116, 4),
    FIELD(tinyKernelSize, 120, 4),   FIELD(tinyKernelCheckSum, 124, 4), FIELD(devModel, 128, 64),
    FIELD(writeDate, 192, 8),        FIELD(crypto, 200, 4),         FIELD(abfType, 204, 1),
    FIELD(DMRes, 205, 1),            FIELD(pirisSupport, 206, 1),   FIELD(PTRes, 207, 1),
    FIELD(moNetSupport, 208, 1),     FIELD(res4, 209, 47),
};
// clang-format on

#undef FIELD

TEST(BootBlockTest, EveryFieldLiesWhereTheDriverPutsIt) {
  std::size_t end = 0;
  for (const Field& field : kFields) {
    EXPECT_EQ(field.actual_offset, field.offset) << field.name;
    EXPECT_EQ(field.actual_size, field.size) << field.name;
    EXPECT_EQ(field.offset, end) << field.name << " follows the field before it without a gap";
    end = field.offset + field.size;
  }
  EXPECT_EQ(end, 256U);
  EXPECT_EQ(sizeof(boot_parms), 256U);
}

TEST(BootBlockTest, TheFieldsThatTellBoardsApartAreUnsigned) {
  static_assert(std::is_same_v<decltype(boot_parms::devTypeHigh), std::uint16_t>);
  static_assert(std::is_same_v<decltype(boot_parms::devType), std::uint16_t>);
  static_assert(std::is_same_v<decltype(boot_parms::alarmoutNums), std::uint8_t>);
}

TEST(BootBlockTest, BoardClassesHaveTheirFixedNumbers) {
  static_assert(sizeof(device_type) == 4);
  EXPECT_EQ(static_cast<int>(DEV_TYPE_NORMAL), 1);
  EXPECT_EQ(static_cast<int>(DEV_TYPE_K), 2);
  EXPECT_EQ(static_cast<int>(DEV_TYPE_63XX), 3);
  EXPECT_EQ(static_cast<int>(DEV_TYPE_68XX), 4);
  EXPECT_EQ(static_cast<int>(DEV_TYPE_68XX_FPGA), 5);
  EXPECT_EQ(static_cast<int>(DEV_TYPE_WPF44X), 6);
  EXPECT_EQ(static_cast<int>(DEV_TYPE_WPF44X_J), 7);
  EXPECT_EQ(static_cast<int>(DEV_TYPE_WPFX5X), 8);
  EXPECT_EQ(static_cast<int>(DEV_TYPE_61XX), 9);
  EXPECT_EQ(static_cast<int>(DEV_TYPE_65XX), 10);
}

TEST(DeviceTypeCodeTest, TheHighHalfStandsAboveTheLowHalfAndNoOtherFieldTakesPart) {
  const std::array<std::uint32_t, 3> rows[] = {{0, 0x96C0, 0x96C0},  {0xA, 0x6005, 0xA6005},
                                               {2, 0x7201, 0x27201}, {1, 0, 0x10000},
                                               {0, 0xFFFF, 0xFFFF},  {0xFFFF, 0xFFFF, 0xFFFFFFFF}};
  for (const auto& [high, low, code] : rows) {
    for (const int filling : {0, 0xFF}) {
      boot_parms block;
      std::memset(&block, filling, sizeof block);
      block.devTypeHigh = static_cast<std::uint16_t>(high);
      block.devType = static_cast<std::uint16_t>(low);
      EXPECT_EQ(static_cast<std::uint32_t>(getDevType(block)), code);
    }
  }
}

class DeviceTypeTest : public OnBoard {
 protected:
  Console console;
};

TEST_F(DeviceTypeTest, TheCodeIsReadFromTheLittleEndianHalvesInTheBlock) {
  board.boot_block().fill(0);
  board.boot_block()[28] = 0x0A;
  board.boot_block()[100] = 0xA3;
  board.boot_block()[101] = 0x60;
  EXPECT_EQ(get_dev_type(), 0xA60A3);
  EXPECT_EQ(is_RKD_devType(), 2);
}

/// One question about the board.
struct Query {
  const char* name;
  int (*ask)();
  int failure;
};

void PrintTo(const Query& query, std::ostream* out) {
  *out << query.name;
}

class DeviceQueryTest : public OnBoard, public ::testing::WithParamInterface<Query> {
 protected:
  Console console;
};

TEST_P(DeviceQueryTest, OpensTheDriverReadsTheBlockAndClosesItEachTime) {
  Lines expected;
  for (int time = 0; time < 2; ++time) {
    GetParam().ask();
    expected.insert(expected.end(),
                    {"open /dev/qznio = ok", "ioctl /dev/qznio 0x80044801 {} = 0", "close /dev/qznio = 0"});
  }
  EXPECT_EQ(board.hardware_trace(), expected);
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(console.err(), "");
}

TEST_P(DeviceQueryTest, AFailureIsSaidOnOneLineAndForgottenByTheNextQuery) {
  const int healthy = GetParam().ask();
  const std::pair<const char*, const char*> rows[] = {
      {"open /dev/qznio", "open /dev/qznio error.\n"},
      {"ioctl /dev/qznio 0x80044801", "ioctl error,ret = -1\n"},
      {"ioctl /dev/qznio 0x80044801 result 5", "ioctl error,ret = 5\n"}};
  for (const auto& [fault, said] : rows) {
    SCOPED_TRACE(fault);
    console.clear();
    board.clear_trace();
    board.fault(fault);
    EXPECT_EQ(GetParam().ask(), GetParam().failure);
    EXPECT_EQ(console.out(), said);
    const bool opened = fault != rows[0].first;
    EXPECT_EQ(board.hardware_trace().back(), opened ? "close /dev/qznio = 0" : "open /dev/qznio = -1 ENODEV");
    board.clear_faults();
    EXPECT_EQ(GetParam().ask(), healthy);
  }
}

INSTANTIATE_TEST_SUITE_P(
    All, DeviceQueryTest,
    ::testing::Values(
        Query{"get_dev_type", get_dev_type, 0}, Query{"get_device_type", get_device_type, 0},
        Query{"get_device_type_MA533", get_device_type_MA533, 0}, Query{"is_K_devType", is_K_devType, 0},
        Query{"is_MA_devType", is_MA_devType, 0}, Query{"is_RKD_devType", is_RKD_devType, 0},
        Query{"is_loop_devType", is_loop_devType, 0}, Query{"is_loop_devType_c", is_loop_devType_c, 0},
        Query{"is_6444_u", is_6444_u, 0}, Query{"is_63xx_devType", is_63xx_devType, 0},
        Query{"is_65xx_devType", is_65xx_devType, 0}, Query{"is_68xx_devType", is_68xx_devType, 0},
        Query{"is_bootInfo_ok", is_bootInfo_ok, -1}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(DeviceTypeTest, ABlockThatCanBeReadIsOkWhateverItHolds) {
  EXPECT_EQ(is_bootInfo_ok(), 0);
  board.boot_block().fill(0);
  EXPECT_EQ(is_bootInfo_ok(), 0);
  board.boot_block().fill(0xFF);
  EXPECT_EQ(is_bootInfo_ok(), 0);
}

}  // namespace
