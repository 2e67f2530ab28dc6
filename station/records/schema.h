// The tables of a records file, and the triggers that keep what was said.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "station/records/database.h"

namespace t1station {

/// Says in a file's header whose it is: "T1rc".
inline constexpr std::int64_t kApplicationId = 0x54317263;
/// The version that this program writes.
inline constexpr std::int64_t kSchemaVersion = 1;

/// One thing that a schema is made of.
struct SchemaPart {
  std::string_view name;  ///< of the table, index or trigger
  std::string_view sql;   ///< that makes it; the file keeps it in these words
};

/// All parts of the version that this program writes, tables first.
std::span<const SchemaPart> schema_parts();

/// Makes an older file one of the version above it, inside the caller's transaction.
struct Migration {
  std::int64_t from = 0;
  std::string sql;
};

/// The steps from the oldest version that can still be read to kSchemaVersion.
std::span<const Migration> migrations();

/// Sets what a connection needs to be trusted with: foreign keys, no mapped memory, and for a writer the
/// write-ahead file, synced at each commit. Throws SqlError, RecordsRefused where there can be none.
void prepare_connection(Database& database, const std::string& file, Database::Access access);

/// Makes the tables in an empty file. An older file is taken, step by step, to the version `target`, after a
/// copy of it was made and synced beside it. Throws SqlError; RecordsRefused for a newer file, one of another
/// application, and an older one for which there is no step.
void bring_up_to_date(Database& database, const std::string& file, std::span<const Migration> steps,
                      std::int64_t target = kSchemaVersion);

}  // namespace t1station
