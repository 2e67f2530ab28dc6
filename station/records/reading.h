// How records are read, for those who do.
#pragma once

#include "station/records/database.h"
#include "station/records/reader.h"
#include "station/records/records.h"

namespace t1station {

/// What damage shows while reading is said with the file's name, as RecordsBroken.
template <typename Reading>
auto read_records(const std::string& file, const Reading& read) {
  try {
    return read();
  } catch (const SqlError& error) {
    throw RecordsBroken("cannot read " + file + ": " + error.what());
  }
}

template <typename Reading>
auto RecordsReader::reading(const Reading& read) {
  return read_records(file_, read);
}

}  // namespace t1station
