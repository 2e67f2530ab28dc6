// A recorded session for tests, and the command that they run on it.
#pragma once

#include <fstream>
#include <string>
#include <vector>

#include "tests/boardrec/tool/recording_writer.h"
#include "tests/e2e/child.h"
#include "tests/harness/own_directory.h"

/// A document of the station's or the board's behind its length.
inline std::string framed(const std::string& document) {
  return words({static_cast<std::uint32_t>(document.size())}) + document;
}

inline std::string request(int code) {
  return "<TestItem><TestCode>" + std::to_string(code) + "</TestCode></TestItem>";
}

inline std::string reply(int code, const std::string& value) {
  return framed(
      "<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n<TestItem>\r\n<TestCode>" + std::to_string(code) +
      "</TestCode>\r\n<Result>\r\n<ResultItem>\r\n<Name>\xb2\xe2\xca\xd4\xbd\xe1\xb9\xfb</Name>\r\n<Value>" +
      value + "</Value>\r\n</ResultItem>\r\n</Result>\r\n</TestItem>\r\n");
}

/// The bytes of a reading of the clock.
inline std::string clock_reading(std::uint32_t seconds) {
  return words({seconds, 30, 8, 17, 4, 124, 5, 137, 0});
}

inline void add_start(RecordingWriter& session) {
  using boardrec::Call;
  session.add({.call = Call::start, .in = {"/usr/bin/boardtest", std::string("boardtest\0", 10)}})
      .add({.call = Call::socket, .in = {2, 1, 0}, .result = 3})
      .add({.call = Call::bind, .in = {3, "10.20.30.40:36001"}})
      .add({.call = Call::listen, .in = {3, 128}})
      .add({.call = Call::accept, .in = {3}, .out = {"10.20.30.7:50112"}, .result = 4, .took = 2});
}

inline void add_request(RecordingWriter& session, int code) {
  using boardrec::Call;
  const std::string text = request(code);
  const auto size = static_cast<std::int64_t>(text.size());
  session.add({.call = Call::recv, .in = {4, 4, 0}, .out = {framed(text).substr(0, 4)}, .result = 4})
      .add({.call = Call::recv, .in = {4, size, 0}, .out = {text}, .result = size});
}

inline void add_reply(RecordingWriter& session, int code, const std::string& value) {
  const std::string bytes = reply(code, value);
  const auto size = static_cast<std::int64_t>(bytes.size());
  session.add({.call = boardrec::Call::send, .in = {4, size, bytes, 0}, .result = size});
}

/// The clock test: two readings, a second apart.
inline void add_clock_test(RecordingWriter& session, std::uint32_t seconds) {
  using boardrec::Call;
  const auto reads = [&](std::uint32_t shown) {
    session.add({.call = Call::ioctl,
                 .in = {5, 0x80247009, std::string(36, '\0')},
                 .out = {clock_reading(shown)},
                 .took = 0.001});
  };
  add_request(session, 1536);
  session.add({.call = Call::open, .in = {"/dev/rtc", 2, 0}, .result = 5});
  reads(seconds);
  session.add({.call = Call::sleep, .in = {1}, .took = 1});
  reads(seconds + 1);
  session.add({.call = Call::close, .in = {5}});
  add_reply(session, 1536, "Pass");
}

/// A session of one clock test, which ended by itself.
inline RecordingWriter clock_session(std::uint32_t seconds = 12) {
  RecordingWriter session;
  add_start(session);
  add_clock_test(session, seconds);
  session.add({.call = boardrec::Call::finish, .in = {0}});
  return session;
}

/// What a command said, and how it ended.
struct Said {
  int status;
  std::string out, err;
};

/// Files of a test's own, and boardrec on them.
class Desk {
 public:
  std::string file(const std::string& name) const { return folder_.file(name); }
  /// Puts a recording there: its path.
  std::string put(const std::string& name, const std::string& bytes) const {
    std::ofstream(file(name), std::ios::binary) << bytes;
    return file(name);
  }

  static Said run(std::vector<std::string> words) {
    words.insert(words.begin(), BOARDREC_PROGRAM);
    Child command(words);
    std::string out = command.rest();
    std::string err = command.err();
    return {command.exit_status(), std::move(out), std::move(err)};
  }

 private:
  OwnDirectory folder_;
};
