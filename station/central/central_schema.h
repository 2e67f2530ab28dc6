// The tables of a central database, and who may do what with them.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "station/central/postgres.h"

namespace t1station {

/// The version of the tables that this program makes and writes.
inline constexpr std::int64_t kCentralVersion = 1;

/// Takes a central database from one version to the next.
struct CentralMigration {
  std::int64_t from = 0;
  std::vector<std::string> statements;
};

/// The steps from the oldest version that can still be used to kCentralVersion.
std::span<const CentralMigration> central_migrations();

/// Makes the tables where there are none, and takes older ones to the version `target`, each step in a
/// transaction of its own. Returns the version that was there, 0 without tables. Throws CentralTrouble;
/// RecordsRefused for a newer version and an older one for which there is no step.
std::int64_t bring_central_up_to_date(Postgres& database, std::span<const CentralMigration> steps,
                                      std::int64_t target = kCentralVersion);

/// Makes the tables where there are none and this role may. Throws RecordsRefused when they are of another
/// version, or missing still; CentralTrouble.
void expect_central_tables(Postgres& database);
/// Throws RecordsRefused when they are missing or of another version; makes nothing.
void expect_central_tables_for_reading(Postgres& database);

/// Throws RecordsRefused when there is no such role; CentralTrouble.
void expect_role(Postgres& database, std::string_view role);

/// Lets a role insert and read, and nothing else. Throws RecordsRefused for one that owns the tables or is a
/// superuser, which no rights hold back, and when who asks may not let it; CentralTrouble.
void grant_to_station(Postgres& database, std::string_view role);

}  // namespace t1station
