// The errors of the station client. What went wrong decides how a test is reported and the exit code.
#pragma once

#include <exception>
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

/// Nobody is there to connect to: the board is starting, or not switched on, or its name is not known yet.
class NotThereYet : public LinkError {
 public:
  using LinkError::LinkError;
};

/// The connection stands, and no banner and menu came in the time that they had.
class NoGreeting : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The wait was ended by the operator.
class Interrupted : public std::exception {
 public:
  const char* what() const noexcept override { return "interrupted"; }
};

/// A wait whose time is over.
class TimedOut : public std::exception {
 public:
  const char* what() const noexcept override { return "timed out"; }
};

/// The command line asks for something that does not exist.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The command line asks for a file that cannot be made where it is wanted.
class Unwritable : public UsageError {
 public:
  using UsageError::UsageError;
};

}  // namespace t1station
