// The errors of the station client. What went wrong decides how a test is reported and the exit code.
#pragma once

#include <stdexcept>

namespace t1station {

/// The board sent something that is no record, no document, or not the document that was due.
class ProtocolError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The connection cannot be made, or is gone.
class LinkError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The command line asks for something that does not exist.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace t1station
