// Who the board is: the boot parameter block of the general I/O driver, the device type code in it,
// and the board families that the tests tell apart.
//
// Nothing is cached: every query reads the block afresh. A query that fails prints one line and
// yields 0, which callers take for a board of some other family.
#pragma once

#include <cstddef>
#include <cstdint>

/// The driver's boot parameter block, little-endian, shared with the boot loader and the flash.
/// Only devTypeHigh, devType and alarmoutNums take part in identification. The program never writes it.
struct __attribute__((packed)) boot_parms {
  std::uint32_t magicNumber;
  std::uint32_t paraChecksum;
  std::uint32_t paraLength;
  std::uint32_t encryptVer;
  std::uint32_t language;
  std::uint32_t deviceClass;
  std::uint32_t oemCode;
  std::uint16_t devTypeHigh;  ///< high half of the device type code
  std::uint8_t reservedFeature[14];
  std::uint16_t encodeChans;
  std::uint16_t decodeChans;
  std::uint16_t ipcChans;
  std::uint16_t ivsChans;
  std::uint8_t alarminNum;
  std::uint8_t macAddr[2][6];
  std::uint8_t prodDate[8];
  std::uint8_t prodNo[9];
  std::uint8_t devHigh;
  std::uint8_t cpuFreq;
  std::uint8_t dspFreq;
  std::uint8_t zone;
  std::uint8_t audioInSupport;
  std::uint8_t sensorType;
  std::uint8_t usbNums;
  std::uint8_t resetSupport;
  std::uint8_t alarmoutNums;  ///< number of alarm outputs; also tells two board variants apart
  std::uint8_t sensorVersion;
  std::uint8_t audiooutSupport;
  std::uint8_t videooutType;
  std::uint8_t videoinType;
  std::uint8_t FPGAType;
  std::uint8_t FPGAVersion;
  std::uint8_t IRSupport;
  std::uint8_t wifiSupport;
  std::uint8_t eZoomLensSupport;
  std::uint16_t devType;  ///< low half of the device type code
  std::uint8_t ICRSupport;
  std::uint8_t deviceTypeSecond;
  std::uint32_t ubootAdrs;
  std::uint32_t ubootSize;
  std::uint32_t ubootCheckSum;
  std::uint32_t tinyKernelAdrs;
  std::uint32_t tinyKernelSize;
  std::uint32_t tinyKernelCheckSum;
  std::uint8_t devModel[64];  ///< model string, NUL-padded
  std::uint8_t writeDate[8];
  std::uint32_t crypto;
  std::uint8_t abfType;
  std::uint8_t DMRes;
  std::uint8_t pirisSupport;
  std::uint8_t PTRes;
  std::uint8_t moNetSupport;
  std::uint8_t res4[47];
};
static_assert(sizeof(boot_parms) == 256);
static_assert(offsetof(boot_parms, devTypeHigh) == 28 && offsetof(boot_parms, encodeChans) == 44);
static_assert(offsetof(boot_parms, macAddr) == 53 && offsetof(boot_parms, prodNo) == 73);
static_assert(offsetof(boot_parms, alarmoutNums) == 90 && offsetof(boot_parms, devType) == 100);
static_assert(offsetof(boot_parms, ubootAdrs) == 104 && offsetof(boot_parms, devModel) == 128);
static_assert(offsetof(boot_parms, crypto) == 200 && offsetof(boot_parms, res4) == 209);

/// The board classes of get_device_type(). 0 means that the query failed.
enum device_type : std::int32_t {
  DEV_TYPE_NORMAL = 1,
  DEV_TYPE_K = 2,
  DEV_TYPE_63XX = 3,
  DEV_TYPE_68XX = 4,
  DEV_TYPE_68XX_FPGA = 5,
  DEV_TYPE_WPF44X = 6,
  DEV_TYPE_WPF44X_J = 7,
  DEV_TYPE_WPFX5X = 8,
  DEV_TYPE_61XX = 9,
  DEV_TYPE_65XX = 10,
};

namespace boardtest {

/// Reads the block from a descriptor of /dev/qznio. The request's result, 0 when it was read.
[[nodiscard]] int request_boot_parms(int fd, boot_parms& parms);
/// Opens the node, reads the block and closes it again. False after one line of text.
[[nodiscard]] bool read_boot_parms(boot_parms& parms);

}  // namespace boardtest

/// The device type code of a block: devTypeHigh << 16 | devType, or devType alone when the high half is 0.
int getDevType(boot_parms parms);
/// The board's device type code; 0 when the block cannot be read.
int get_dev_type();
/// The board's class, a device_type; 0 when the block cannot be read.
int get_device_type();
/// DEV_TYPE_68XX (4) for 0xA6005, 0xA6006, 0xA60A0, 0xA60A3, else DEV_TYPE_NORMAL (1); 0 on failure.
int get_device_type_MA533();
/// 1 for the K boards, else 0. Its list is longer than that of get_device_type().
int is_K_devType();
/// 1 for 0xA6001 to 0xA6004, else 0.
int is_MA_devType();
/// 1 for 0xA60A0, 2 for 0xA60A3 (two product variants), else 0.
int is_RKD_devType();
/// 1 for 0x96C1 to 0x96C3, else 0.
int is_loop_devType();
/// 1 for 0x96C4 and 0x96C5, else 0.
int is_loop_devType_c();
/// For 0x96C0: 4 with 7 alarm outputs, else 3. 0 for any other code.
int is_6444_u();
/// 1 for 0x27201 and 0x97C0, else 0.
int is_63xx_devType();
/// 1 for 0x9C0A, else 0.
int is_65xx_devType();
/// 1 for the FPGA variant 0x27251, 2 for the other 68xx boards, else 0.
int is_68xx_devType();
/// 0 when the block can be read, -1 when not. No test calls it.
int is_bootInfo_ok();
