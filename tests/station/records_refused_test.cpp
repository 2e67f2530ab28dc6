// Files that are no records, or not this station's to write, are refused in words and left as they are.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "station/records/check.h"
#include "station/records/place.h"
#include "station/records/reader.h"
#include "station/records/records.h"
#include "station/records/schema.h"
#include "tests/harness/own_directory.h"
#include "tests/station/recording_disk.h"
#include "tests/station/records_support.h"

namespace {

using namespace records_support;
using t1station::Records;
using t1station::RecordsBroken;
using t1station::RecordsRefused;
using testing::HasSubstr;

class RecordsRefusedTest : public testing::Test {
 protected:
  // The text of the refusal; empty when it was opened. Nothing may be there afterwards that was not before.
  template <typename Refusal>
  std::string refusal(const std::string& file, const std::string& vfs = {}) {
    const auto before = listing();
    const std::string content = content_of(file_);
    try {
      Records records(file, vfs);
    } catch (const Refusal& reason) {
      EXPECT_EQ(listing(), before);
      EXPECT_EQ(content_of(file_), content);
      return reason.what();
    }
    return {};
  }
  std::vector<std::string> listing() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory_.path()))
      names.push_back(entry.path());
    std::sort(names.begin(), names.end());
    return names;
  }

  const OwnDirectory directory_;
  const std::string file_ = directory_.file("records.db");
};

TEST_F(RecordsRefusedTest, AFolderIsNoRecords) {
  EXPECT_THAT(refusal<RecordsRefused>(directory_.path()), HasSubstr("is a folder"));
}

TEST_F(RecordsRefusedTest, ATextIsNoDatabase) {
  write(file_, "these are not the records that a station writes");
  EXPECT_THAT(refusal<RecordsRefused>(file_), HasSubstr("is no database"));
}

TEST_F(RecordsRefusedTest, AnotherApplicationsDatabaseIsLeftAlone) {
  sql(file_, "CREATE TABLE contact (name TEXT)");
  EXPECT_THAT(refusal<RecordsRefused>(file_), HasSubstr("is another application's database"));
  sql(file_, "PRAGMA application_id = 7");
  EXPECT_THAT(refusal<RecordsRefused>(file_), HasSubstr("is another application's database"));
  EXPECT_THROW(t1station::RecordsReader{file_}, RecordsRefused);
  EXPECT_THROW(t1station::check_records(file_), RecordsRefused);
}

TEST_F(RecordsRefusedTest, AFolderThatIsNotThereIsNotMade) {
  EXPECT_THAT(refusal<RecordsBroken>(directory_.file("shift/records.db")), HasSubstr("there is no folder"));
}

TEST_F(RecordsRefusedTest, AFileThatNobodyMayWriteIsNotWritten) {
  { Records records(file_); }
  chmod(file_.c_str(), 0444);
  EXPECT_THAT(refusal<RecordsBroken>(file_), HasSubstr("is read-only"));
}

TEST_F(RecordsRefusedTest, AFileWithASecondNameIsRefused) {
  { Records records(file_); }
  std::filesystem::create_hard_link(file_, directory_.file("copy.db"));
  EXPECT_THAT(refusal<RecordsRefused>(file_), HasSubstr("has a second name"));
}

TEST_F(RecordsRefusedTest, ADiskWithoutSharedMemoryHasNoWriteAheadFile) {
  RecordingDisk disk;
  disk.forbid_shared_memory();
  EXPECT_THROW(Records(file_, disk.name()), RecordsRefused);
}

TEST_F(RecordsRefusedTest, AFullDiskIsSaidWhenTheFileIsMade) {
  RecordingDisk disk;
  disk.fault = [](std::string_view call, std::string_view) {
    return call == "write" ? SQLITE_FULL : SQLITE_OK;
  };
  try {
    Records records(file_, disk.name());
    FAIL() << "opened";
  } catch (const RecordsBroken& reason) {
    EXPECT_THAT(reason.what(), HasSubstr("database or disk is full"));
  }
}

TEST_F(RecordsRefusedTest, NetworkFileSystemsAreNotTrusted) {
  EXPECT_EQ(t1station::untrusted_file_system(0x6969), "NFS");
  constexpr auto kSigned = static_cast<unsigned long>(static_cast<std::int32_t>(0xFF534D42));
  EXPECT_EQ(t1station::untrusted_file_system(kSigned), "CIFS");  // as some systems give it
  EXPECT_EQ(t1station::untrusted_file_system(0xEF53), "");       // ext4
}

TEST_F(RecordsRefusedTest, ASecondOwnerIsToldWhoHasTheFile) {
  const Records records(file_);
  std::filesystem::create_symlink(file_, directory_.file("link.db"));
  for (const std::string& name : {file_, directory_.file("link.db")}) {
    EXPECT_THAT(refusal<RecordsRefused>(name),
                HasSubstr("belongs to another process: process " + std::to_string(getpid()) + " on "));
  }
  EXPECT_TRUE(runs_of(file_).empty());  // reading is nobody's right alone
}

TEST_F(RecordsRefusedTest, ANewerFileIsRefused) {
  { Records records(file_); }
  sql(file_, "PRAGMA user_version = 2");
  EXPECT_THAT(refusal<RecordsRefused>(file_), HasSubstr("newer t1station"));
}

TEST_F(RecordsRefusedTest, AnOlderFileIsMigratedStepByStepBehindACopy) {
  { Records records(file_); }
  const std::vector<t1station::Migration> steps{{1, "CREATE TABLE first (a TEXT)"},
                                                {2, "CREATE TABLE second (a TEXT)"}};
  {
    t1station::Database database(file_, t1station::Database::Access::write);
    t1station::bring_up_to_date(database, file_, steps, 3);
    EXPECT_EQ(database.single("SELECT count(*) FROM sqlite_schema WHERE name IN ('first', 'second')"),
              t1station::Value(std::int64_t{2}));
    EXPECT_THROW(t1station::bring_up_to_date(database, file_, steps, 4), RecordsRefused);
  }
  std::string copy;
  for (const std::string& name : listing()) {
    if (name.find(".version-1-") != std::string::npos) copy = name;
  }
  EXPECT_EQ(t1station::check_records(copy).findings, std::vector<std::string>{});
}

TEST_F(RecordsRefusedTest, AFileOfVersion1CanStillBeReadAndWritten) {
  ASSERT_EQ(sql(file_, content_of(STATION_DATA "/records-1.sql")), "");
  EXPECT_EQ(t1station::check_records(file_).findings, std::vector<std::string>{});
  Records records(file_);
  EXPECT_EQ(pass(records, "AB00000009").sequence, 4);
  EXPECT_EQ(t1station::check_records(file_).findings, std::vector<std::string>{});
}

}  // namespace
