#include "t1_sdk/boardtest/platform/node.h"

#include <fcntl.h>
#include <cstdio>

const char boardtest::kNoIo[] = "打开/dev/qznio失败";

int boardtest::open_node(const char* path) {
  const int fd = open(path, O_RDWR);
  if (fd < 0) std::printf("Open %s error.\n", path);
  return fd;
}

int boardtest::open_io(const char* complaint) {
  const int fd = open(kIoNode, O_RDWR);
  if (fd < 0 && complaint != nullptr) std::puts(complaint);
  return fd;
}

int boardtest::open_io_aloud() {
  const int fd = open_io();
  if (fd < 0) {
    std::perror("Open /dev/qznio");
    std::puts(kNoIo);
  }
  return fd;
}
