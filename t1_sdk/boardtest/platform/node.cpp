// Opening a device node.
#include "t1_sdk/boardtest/platform/node.h"

#include <fcntl.h>
#include <cstdio>

int boardtest::open_node(const char* path) {
  const int fd = open(path, O_RDWR);
  if (fd < 0) std::printf("Open %s error.\n", path);
  return fd;
}
