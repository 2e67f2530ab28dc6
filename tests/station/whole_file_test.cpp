// Report files: whole, or not at all.
#include "station/report/whole_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include "station/text/errors.h"
#include "tests/harness/own_directory.h"

namespace {

namespace fs = std::filesystem;
using t1station::check_writable;
using t1station::write_whole_file;

class WholeFileTest : public testing::Test {
 protected:
  std::string path(const std::string& name) const { return directory_.file(name); }

  static std::string content(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
  }

  std::size_t files() const {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(directory_.path()), fs::directory_iterator()));
  }

  const OwnDirectory directory_;
};

TEST_F(WholeFileTest, AReportIsWrittenAndNothingElseStays) {
  write_whole_file(path("report"), "all of it");
  EXPECT_EQ(content(path("report")), "all of it");
  EXPECT_EQ(files(), 1U);
}

TEST_F(WholeFileTest, AnOlderReportIsReplaced) {
  write_whole_file(path("report"), "old and long");
  write_whole_file(path("report"), "new");
  EXPECT_EQ(content(path("report")), "new");
  EXPECT_EQ(files(), 1U);
}

TEST_F(WholeFileTest, AReportHasTheRightsOfAnyNewFile) {
  const mode_t before = umask(027);
  write_whole_file(path("report"), "x");
  umask(before);
  struct stat status {};
  ASSERT_EQ(stat(path("report").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0640U);
}

TEST_F(WholeFileTest, ALinkStaysALinkAndItsTargetIsReplaced) {
  write_whole_file(path("target"), "old");
  fs::create_symlink(path("target"), path("link"));
  write_whole_file(path("link"), "new");
  EXPECT_TRUE(fs::is_symlink(path("link")));
  EXPECT_EQ(content(path("target")), "new");
}

TEST_F(WholeFileTest, AMissingDirectoryIsAnErrorAndLeavesNothing) {
  EXPECT_THROW(write_whole_file(path("missing/report"), "x"), std::system_error);
  EXPECT_EQ(files(), 0U);
}

TEST_F(WholeFileTest, ADiskThatIsFullKeepsTheOlderReport) {
  write_whole_file(path("report"), "old");
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  rlimit small = before;
  small.rlim_cur = 1000;
  std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  EXPECT_THROW(write_whole_file(path("report"), std::string(5000, 'x')), std::system_error);
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, SIG_DFL);
  EXPECT_EQ(content(path("report")), "old");
  EXPECT_EQ(files(), 1U);
}

TEST_F(WholeFileTest, AReplacementThatCannotBePutInPlaceLeavesNothingBehind) {
  fs::create_directory(path("taken"));
  EXPECT_THROW(write_whole_file(path("taken"), "x"), std::system_error);
  EXPECT_EQ(files(), 1U);
}

TEST_F(WholeFileTest, WhereNoReportCanBeWrittenIsKnownBeforehand) {
  EXPECT_NO_THROW(check_writable(path("report")));
  EXPECT_THROW(check_writable(path("missing/report")), t1station::Unwritable);
  EXPECT_THROW(check_writable(directory_.path().string()), t1station::UsageError);
  EXPECT_THROW(check_writable("/dev/null"), t1station::UsageError);
  EXPECT_THROW(check_writable(""), t1station::UsageError);
  EXPECT_EQ(files(), 0U);
}

}  // namespace
