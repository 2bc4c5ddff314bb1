// VLException: the one exception kind that the library raises and catches.
//
// Bad input to a public entry point throws a VLException whose message names what was
// wrong. Case execution turns a VLException escaping a validation into a failed
// expectation; exceptions of other kinds are not caught by the harness.
#pragma once

#include <stdexcept>
#include <string>

class VLException : public std::runtime_error {
 public:
  explicit VLException(const std::string& message) : std::runtime_error(message) {}

  // Returns the message, which is also what "%@" prints for the exception.
  std::string description() const { return what(); }
};

// Returns a one-line text for the exception being handled: a VLException's message, or the
// exception's type and message ("std::runtime_error: boom"). Call only inside a catch block.
std::string vl_describeCurrentException();
