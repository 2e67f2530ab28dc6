// A recording in which one thing was told otherwise, and which is whole all the same.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "boardrec/session/encoding.h"
#include "boardrec/session/recording.h"

inline std::string bytes_of(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// Bytes of a recording of which the first record of that call with `from` among its own has `to` instead.
inline std::string changed_recording(std::string bytes, boardrec::Call call, std::string_view from,
                                     std::string_view to) {
  for (const boardrec::Record& record : boardrec::read_recording(bytes, "it").records) {
    boardrec::Frame frame{};
    std::memcpy(&frame, bytes.data() + record.offset, sizeof frame);
    const std::size_t body = record.offset + sizeof frame;
    const std::size_t place = std::string_view(bytes).substr(body, frame.size).find(from);
    if (record.call != call || place == std::string::npos) continue;
    bytes.replace(body + place, to.size(), to);
    frame.checksum =
        boardrec::checksum(reinterpret_cast<const unsigned char*>(bytes.data()) + body, frame.size);
    std::memcpy(bytes.data() + record.offset, &frame, sizeof frame);
    return bytes;
  }
  ADD_FAILURE() << "no record was changed";
  return bytes;
}

/// Bytes of a recording of which the records were changed.
inline std::string rewritten_recording(const std::string& bytes,
                                       const std::function<void(std::vector<boardrec::Record>&)>& change) {
  boardrec::Recording recording = boardrec::read_recording(bytes, "it");
  change(recording.records);
  std::string rewritten = boardrec::bytes_of(recording.header);
  for (const boardrec::Record& record : recording.records) rewritten += boardrec::bytes_of(record);
  return rewritten;
}

/// A number as it stands in a recording of this machine.
inline std::string number_in_recording(std::int64_t number) {
  return {reinterpret_cast<const char*>(&number), sizeof number};
}
