// A process that has so many descriptors open that sets of descriptors no longer hold the next ones.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

/// While it lives, every descriptor that is opened has the number `first` or a higher one. Make it before
/// whatever is to have such a number, and end that first.
class ManyDescriptors {
 public:
  explicit ManyDescriptors(int first) {
    EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &limit_), 0);
    rlimit raised = limit_;
    raised.rlim_cur = kEnough;
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &raised), 0) << "this PC allows no more than " << limit_.rlim_max;
    int fd = lowest_free();
    for (; fd >= 0 && fd < first; fd = lowest_free()) fillers_.push_back(fd);
    ::close(fd);
  }
  ~ManyDescriptors() {
    for (const int fd : fillers_) ::close(fd);
    setrlimit(RLIMIT_NOFILE, &limit_);
  }
  ManyDescriptors(const ManyDescriptors&) = delete;
  ManyDescriptors& operator=(const ManyDescriptors&) = delete;

 private:
  static constexpr rlim_t kEnough = 4096;

  static int lowest_free() { return ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0); }

  rlimit limit_{};
  std::vector<int> fillers_;
};
