// A server whose records take long to read: figures of a large file do, and nothing else may wait for them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "tests/station/figures_file.h"
#include "tests/station/recording_disk.h"
#include "tests/station/records_support.h"
#include "tests/station/web_line.h"

namespace {

constexpr auto kHanging = std::chrono::seconds(20);

/// The disk of all who name no other, until this is gone.
class UsualDisk {
 public:
  UsualDisk() {
    disk.is_recording = false;
    sqlite3_vfs_register(sqlite3_vfs_find(disk.name().c_str()), 1);
  }
  ~UsualDisk() { sqlite3_vfs_register(usual_, 1); }
  UsualDisk(const UsualDisk&) = delete;
  UsualDisk& operator=(const UsualDisk&) = delete;

  RecordingDisk disk;

 private:
  sqlite3_vfs* usual_ = sqlite3_vfs_find(nullptr);
};

/// Holds the next reading of the records up, from its beginning.
class SlowReadingTest : public testing::Test {
 protected:
  SlowReadingTest() {
    line_.start();
    records_support::pass(*line_.records, "AB00000001");
    usual_.disk.fault = [this](std::string_view call, std::string_view file) {
      if (call == "read" && file == "records.db") ++reads_;
      if (call == "open" && file == "records.db" && is_armed_.exchange(false)) {
        is_held_.set_value();
        go_on_.get_future().wait();
      }
      return SQLITE_OK;
    };
  }
  ~SlowReadingTest() override { let_go(); }

  /// Asks, and returns when the answer's reading is held up.
  void hold(WebClient& client, const std::string& target) {
    is_armed_ = true;
    client.send(line_.words("GET", target));
    ASSERT_EQ(is_held_.get_future().wait_for(kHanging), std::future_status::ready);
  }
  void let_go() {
    if (!is_let_go_) go_on_.set_value();
    is_let_go_ = true;
  }

  UsualDisk usual_;
  std::atomic<int> reads_ = 0;
  std::atomic<bool> is_armed_ = false;
  std::promise<void> is_held_, go_on_;
  bool is_let_go_ = false;
  WebLine line_;
};

TEST_F(SlowReadingTest, ARunAndListsAreShownWhileFiguresAreRead) {
  WebClient first(line_.port()), second(line_.port());
  hold(first, "/results");
  second.send(line_.words("GET", "/api/stats"));
  const std::string run = line_.json("/api/runs")["runs"][0]["id"];
  for (const std::string& target :
       {"/runs/" + run, "/api/runs/" + run, std::string("/runs"), std::string("/metrics")}) {
    EXPECT_EQ(line_.get(target).status, 200) << target;
  }
  let_go();
  EXPECT_EQ(first.reply().status, 200);
  EXPECT_EQ(second.reply().status, 200);
}

TEST_F(SlowReadingTest, AServerThatEndsDoesNotWaitForFigures) {
  figures_model::Runs runs(3000);
  for (std::size_t i = 0; i < runs.size(); ++i) {
    figures_model::Run& run = runs[i];
    run.id = std::to_string(100000 + i);
    run.serial = "AB" + run.id;
    run.plan = run.version = run.station = "x";
    run.kind = "production";
    run.started = "2026-11-22T10:00:00.000Z";
    run.verdict = "passed";
  }
  figures_model::store(line_.file.records, runs);
  WebClient client(line_.port());
  hold(client, "/results?from=");
  std::thread ending([this] { line_.server.reset(); });
  EXPECT_TRUE(client.ends());
  reads_ = 0;
  let_go();
  ending.join();
  EXPECT_LT(reads_, 100) << "of some hundred pages";
}

}  // namespace
