#include "t1_sdk/boardtest/comm/storage.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "t1_sdk/boardtest/comm/storage_speed.h"
#include "t1_sdk/boardtest/platform/device_type.h"
#include "t1_sdk/boardtest/protocol/report.h"
#include "t1_sdk/util/descriptor.h"
#include "t1_sdk/util/text.h"

using namespace boardtest;

namespace {

constexpr char kMountPoint[] = "/mnt/test";
constexpr char kTestFile[] = "/mnt/test/usbtest.dat";
constexpr char kFileSystem[] = "vfat";
constexpr unsigned kMostRemounts = 5;  // so there are six attempts, with a pause after each

/// A disk type: its node, and what stands before and behind its result. Type 3 is called sda1 though its node
/// is /dev/msb1.
struct Medium {
  int type;
  const char* node;
  const char* name;
  const char* line_end;
};
constexpr Medium kMedia[] = {
    {0, "/dev/mmc01", "SD卡", "\n\n"}, {1, "/dev/msbd1", "USB1", "\n"}, {3, "/dev/msb1", "sda1", "\n\n"},
    {4, "/dev/mmc11", "mmc11", "\n"},  {2, "/dev/msb1", "USB2", "\n"},  // and every other type
};

const Medium& medium_of(int type) {
  const auto* found = std::find_if(std::begin(kMedia), std::end(kMedia),
                                   [type](const Medium& row) { return row.type == type; });
  return found == std::end(kMedia) ? kMedia[std::size(kMedia) - 1] : *found;
}

/// Size of a file system and what is free of it, in MB.
struct Space {
  double size;
  double free;
};

bool read_space(const char* path, Space& space) {
  struct statfs status {};
  if (statfs(path, &status) != 0) return false;
  const double block = static_cast<double>(status.f_bsize) / 1024;
  space.size = static_cast<double>(status.f_blocks) / 1024 * block;
  space.free = static_cast<double>(status.f_bavail) / 1024 * block;
  return true;
}

bool mount_on(const char* place, const char* node) {
  return mount(node, place, kFileSystem, 0, nullptr) == 0;
}

int create(const char* path) {
  return open(path, O_CREAT | O_TRUNC | O_RDWR, 0777);
}

/// Where a test of one medium puts its verdict.
struct Verdict {
  int* result;
  char* description;

  void fail(int code, const char* text) const {
    *result = code;
    copy_gbk(description, kDescriptionSize, text);
  }
};

/// Mounts the medium and creates the test file, again and again with growing pauses. The file's descriptor,
/// or -1 with the verdict given and nothing mounted.
int open_test_file(const Medium& medium, const Verdict& verdict) {
  for (unsigned mount_tries = 0;;) {
    if (!mount_on(kMountPoint, medium.node)) {
      std::puts("挂载失败");
      verdict.fail(1, "挂载失败");
      return -1;
    }
    unlink(kTestFile);
    if (check_disksize(kMountPoint, kTestSize) < 0) {
      umount(kMountPoint);
      std::puts("挂载失败");
      verdict.fail(2, "空间不足");
      return -1;
    }
    const int fd = create(kTestFile);
    if (fd >= 0) return fd;
    sleep(mount_tries);
    ++mount_tries;
    if (mount_tries > kMostRemounts) {
      std::puts("创建测试文件失败");
      umount(kMountPoint);
      std::puts("创建测试文件失败");
      verdict.fail(3, "创建测试文件失败");
      return -1;
    }
    umount(kMountPoint);
    std::printf("goto remount the %u time\n", mount_tries);
  }
}

/// One medium of a USB test: what it is called in the frames around it.
struct Turn {
  int type;
  const char* name;
  const char* node;
  const char* end;  ///< line ends behind the last frame
};

void test_usb_medium(const Turn& turn, int& result, char* description) {
  std::printf("**********%s[%s]测试开始**********\n", turn.name, turn.node);
  int medium_result = 0;
  t1_sdk_hdisk_test(turn.type, &medium_result, description);
  if (medium_result != 0) result = medium_result;
  std::printf("**********%s[%s]测试完毕**********%s", turn.name, turn.node, turn.end);
}

void test_usb_media(int& result, char* description) {
  if (is_MA_devType() == 1) {
    test_usb_medium({3, "USB", "/dev/sda1", "\n\n"}, result, description);
  } else if (is_K_devType() == 1) {
    test_usb_medium({1, "USB1", "/dev/msbd1", "\n\n\n"}, result, description);
    test_usb_medium({2, "USB2", "/dev/msb1", "\n\n"}, result, description);
  } else if (is_65xx_devType() == 1) {
    test_usb_medium({2, "USB1", "/dev/msb1", "\n\n\n"}, result, description);
    test_usb_medium({1, "USB2", "/dev/msbd1", "\n\n"}, result, description);
  } else {
    test_usb_medium({2, "USB", "/dev/msb1", "\n\n"}, result, description);
  }
}

void test_sd_card(int& result, char* description) {
  const bool second_slot = is_MA_devType() == 1 || get_device_type_MA533() == DEV_TYPE_68XX;
  const char* const node = second_slot ? "/dev/mmc11" : "/dev/mmc01";
  std::printf("SD[%s]测试开始.\n", node);
  int medium_result = 0;
  t1_sdk_hdisk_test(second_slot ? 4 : 0, &medium_result, description);
  if (medium_result != 0) result = medium_result;
  std::printf("SD[%s]测试完毕.\n\n", node);
}

/// Prints a failure. -1, which the caller returns.
int refuse(const char* text) {
  std::fputs(text, stdout);
  return -1;
}

/// The card's test once it is mounted.
int test_mounted_card(const char* file_name, char* summary) {
  unlink(file_name);
  Space space;
  if (!read_space("/mnt", space)) {
    std::printf("检查硬盘容量失败 %s\n", std::strerror(errno));
    return -1;
  }
  if (space.free < kTestSize) {
    std::printf("检查硬盘容量失败 %s\n", std::strerror(ENOSPC));
    return -1;
  }
  const Descriptor file(create(file_name));
  StorageResult result{};
  if (file.get() < 0 || !measure_storage(file.get(), result)) return refuse("创建SD盘测试文件失败\n");
  std::printf("SD盘完成%d(M)读写数据测试,错误数据%d(8bit)\n\n", kTestSize, result.wrong_bytes);
  std::snprintf(
      summary, kDescriptionSize,
      "SD盘:%4.2f(G)剩余:%4.2f(G)完成%d(M)读写测试,错误%d(8bit),写速度:%4.2f(M/S),读速度:%4.2f(M/S)\n",
      space.size / 1024, space.free / 1024, kTestSize, result.wrong_bytes, result.write_speed,
      result.read_speed);
  return 0;
}

/// Tests media on a mount point that is made for them and removed again, whatever they did.
void run(TestReport& report, int no_directory, void (*test)(int& result, char* description)) {
  if (mkdir(kMountPoint, 0777) != 0) return report.fail_aloud(no_directory, "创建test测试目录失败");
  int result = 0;
  char description[kDescriptionSize];
  copy_gbk(description, sizeof description, report.description());
  test(result, description);
  if (result != 0) report.fail(result, description);
  if (rmdir(kMountPoint) != 0) report.fail_aloud(5, "删除test测试目录失败");
}

}  // namespace

int check_disksize(const char* path, u_int needsize) {
  Space space;
  if (!read_space(path, space)) {
    std::printf("获取硬盘信息失败,%s\n", std::strerror(errno));
    return -10;
  }
  std::printf("磁盘分区大小:%4.2f(G)\n", space.size / 1024);
  std::printf("磁盘剩余空间:%4.2f(G)\n", space.free / 1024);
  if (needsize > space.free) {
    std::printf("磁盘空间不足,请释放磁盘空间,测试需要%d(M)磁盘空间\n", static_cast<int>(needsize));
    return -1;
  }
  return 0;
}

void t1_sdk_hdisk_test(int diskType, int* pIResault, char* description) {
  const Medium& medium = medium_of(diskType);
  const Verdict verdict{pIResault, description};
  Descriptor file(open_test_file(medium, verdict));
  if (file.get() < 0) return;
  StorageResult result{};
  const bool measured = measure_storage(file.get(), result);
  file.close();
  umount(kMountPoint);
  if (!measured) {
    std::puts("创建测试文件失败");
    return verdict.fail(3, "创建测试文件失败");
  }
  std::printf("%s完成%d(M)读写数据测试,错误数据%d(8bit)%s", medium.name, kTestSize, result.wrong_bytes,
              medium.line_end);
  std::fflush(stdout);
  usleep(500000);
  *pIResault = 0;
}

void t1_sdk_usb_test() {
  TestReport report(4608, "测试USB");
  run(report, 4, test_usb_media);
  report.send();
}

void t1_sdk_sd_rw_test() {
  std::puts("sd_rw_test");
  TestReport report(4352, "测试SD卡");
  run(report, 1, test_sd_card);
  report.send();
}

int sd_test_rw(char* dev_name, char* pDescript) {
  if (dev_name == nullptr || pDescript == nullptr) return refuse("参数错误\n");
  if (!mount_on("/mnt", dev_name)) return refuse("挂载SD盘失败\n");
  const int result = test_mounted_card("/mnt/usbtest.dat", pDescript);
  umount("/mnt");
  return result;
}
