// Storage media on a board that has no memory left for a block.
#include <gtest/gtest.h>
#include <string>

#include "tests/comm/storage_board.h"
#include "tests/harness/gbk.h"
#include "tests/platform/tight_memory.h"

namespace {

class StorageMemoryTest : public StorageRun {
 protected:
  void SetUp() override {
    if (!kMemoryCanBeRefused) GTEST_SKIP() << "memory cannot be refused here";
    make_folder();
    run_medium();  // whatever is set up once is set up now
    console.clear();
    board.clear_trace();
  }
};

TEST_F(StorageMemoryTest, WithoutABlockTheTestEndsWithCode3AndTheMediumUnmounted) {
  {
    const TightMemory memory;
    run_medium();
  }
  EXPECT_EQ(result, 3);
  EXPECT_EQ(utf8(verdict), "创建测试文件失败");
  EXPECT_EQ(console.out(), "磁盘分区大小:4.00(G)\n磁盘剩余空间:4.00(G)\n创建测试文件失败\n") << "said once";
  EXPECT_EQ(calls("mount"), 1U) << "another attempt would find no more memory";
  EXPECT_EQ(calls("write") + calls("read") + calls("sleep"), 0U);
  EXPECT_EQ(calls_named({"close", "umount"}),
            (Lines{"close /mnt/test/usbtest.dat = 0", "umount /mnt/test = 0"}));
  EXPECT_EQ(file().size(), 0U) << "the file was made and stays";
  run_medium();
  EXPECT_EQ(result, 0) << "with memory again the medium passes";
}

TEST_F(StorageMemoryTest, TheSecondFormOfTheTestEndsToo) {
  std::string node = kStickNode;
  int status = 0;
  {
    const TightMemory memory;
    status = sd_test_rw(node.data(), verdict);
  }
  EXPECT_EQ(status, -1);
  EXPECT_EQ(console.out(), "创建SD盘测试文件失败\n");
  EXPECT_EQ(calls_named({"close", "umount"}), (Lines{"close /mnt/usbtest.dat = 0", "umount /mnt = 0"}));
}

}  // namespace
