// The errors of the provider protocol: faults of a provider that runs in its own process
// (it exited, timed out, sent something malformed or invalid) and failures to start or
// greet it. They are reported in their own domain on the operation concerned; a provider
// that cannot be started or fails the handshake is a VLProviderProtocolException.
#pragma once

#include <cstdint>
#include <string>

#include "Core/VLError.h"
#include "Core/VLException.h"

// The domain of the errors that the host makes about a provider process.
extern const std::string& VLProviderProtocolErrorDomain;

enum : int64_t {
  VLProviderProtocolErrorGone = 1,             // the provider exited or closed its output
  VLProviderProtocolErrorTimedOut = 2,         // no answer within the request's time-out
  VLProviderProtocolErrorMalformed = 3,        // a line that is not a JSON-RPC 2.0 message
  VLProviderProtocolErrorInvalidAnswer = 4,    // a result with a missing or mistyped field
  VLProviderProtocolErrorRejected = 5,         // the provider answered with a JSON-RPC error
  VLProviderProtocolErrorHandshakeFailed = 6,  // no acceptable answer to "initialize"
  VLProviderProtocolErrorCannotStart = 7,      // the command or socket could not be reached
  VLProviderProtocolErrorClosed = 8,           // the host ended the session
};

// Returns an error of the protocol domain with `code` and the description `text`.
VLErrorRef vl_providerProtocolError(int64_t code, const std::string& text);

// Returns the service's "no such item" error about `what`, for calls the host refuses itself
// (an item ID or a collection of another provider, a missing item).
VLErrorRef vl_noSuchItemError(const std::string& what);
// Returns the service's "not supported" error with the description `text`.
VLErrorRef vl_notSupportedError(const std::string& text);

// A provider that cannot be started, connected or greeted. The runner reports its message
// and stops with exit code 4.
class VLProviderProtocolException : public VLException {
 public:
  VLProviderProtocolException(int64_t code, const std::string& message) : VLException(message), code_(code) {}
  // Returns the protocol error code (VLProviderProtocolErrorCannotStart, …HandshakeFailed, …).
  int64_t code() const { return code_; }

 private:
  int64_t code_;
};
