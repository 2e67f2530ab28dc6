// How the reader of records reads, for the files of this room.
#pragma once

#include "station/records/database.h"
#include "station/records/reader.h"
#include "station/records/records.h"

namespace t1station {

// What damage shows while reading is said with the file's name.
template <typename Reading>
auto RecordsReader::reading(const Reading& read) {
  try {
    return read();
  } catch (const SqlError& error) {
    throw RecordsBroken("cannot read " + file_ + ": " + error.what());
  }
}

}  // namespace t1station
