// VLRemoteTransport: the byte stream to one provider session: a child process's standard
// input and output, or a Unix domain socket.
//
// The connection reads from readFD() and writes to writeFD() on its own threads and tells
// the transport when the input has ended (to learn why) and when the session is over. Made
// by the subclasses' factories; neither copyable nor movable; the functions below may be
// called from any one thread at a time, except readFD()/writeFD()/name(), which never change.
#pragma once

#include <functional>
#include <string>

class VLRemoteTransport {
 public:
  virtual ~VLRemoteTransport() = default;

  // The descriptor the provider's messages arrive on, and the one to write to.
  virtual int readFD() const = 0;
  virtual int writeFD() const = 0;
  // The provider's name for log lines and errors ("vlprovider-sim", "unix:/run/drive.sock").
  virtual std::string name() const = 0;
  // Called once the input has ended (or failed): returns why, as the end of a sentence
  // beginning "The provider <name> ", e.g. "exited with status 3".
  virtual std::string endReason() = 0;
  // Ends the session once the writer has stopped: closes the writing side, gives the provider
  // a bounded time to finish, then forces it. After it returns, reading ends promptly.
  virtual void shutdown() = 0;
  // Calls `handler` with each line the provider writes to its standard error from now on, on
  // the transport's own thread (only a child process has one; the default ignores it).
  virtual void setStandardErrorHandler(std::function<void(const std::string& line)> handler) { (void)handler; }

  VLRemoteTransport(const VLRemoteTransport&) = delete;
  VLRemoteTransport& operator=(const VLRemoteTransport&) = delete;

 protected:
  VLRemoteTransport() = default;
};
