// VLProviderKit: serves a VLProviderStore over the provider protocol (docs/provider-protocol.md)
// on standard input and output, or to every client of a Unix domain socket. Every session
// shares the one store; the kit attaches the store to its change hub when it is made. See
// docs/writing-a-provider.md for a walk from an empty file to a first verdict.
//
//   int main(int argc, char** argv) {
//     return VLProviderKit::main(argc, argv, std::make_shared<MyStore>());
//   }
//
// Thread-safe: sessions may be served from several threads at once.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "ProviderKit/VLProviderChanges.h"
#include "ProviderKit/VLProviderStore.h"

class VLProviderKit : public std::enable_shared_from_this<VLProviderKit> {
 public:
  // Makes a kit for `store` and calls store->attach() with its change hub. The first call
  // limits the process to two malloc arenas (see VLProviderKit.cpp).
  static std::shared_ptr<VLProviderKit> make(std::shared_ptr<VLProviderStore> store);

  // Serves the store as the command line asks ([--socket PATH] [--trace] [--help]) and
  // returns the exit status. An argument the kit does not know goes to `extraArgument`,
  // which returns false for one it does not know either (status 2, with the usage).
  static int main(int argc, char** argv, std::shared_ptr<VLProviderStore> store,
                  const std::function<bool(const std::string&)>& extraArgument = nullptr,
                  const std::string& usage = "");

  // Serves one session on these descriptors until the input ends; returns once the session's
  // subscriptions are closed. With `trace`, every line in and out is copied to standard error.
  void serve(int input, int output, bool trace = false);

  // Serves every connection to the Unix domain socket at `path` as a session of its own until
  // SIGINT or SIGTERM; returns the exit status (1 when the socket cannot be made).
  int serveSocket(const std::string& path, bool trace = false);

  const std::shared_ptr<VLProviderStore>& store() const { return store_; }
  const std::shared_ptr<VLProviderChanges>& changes() const { return changes_; }

 private:
  explicit VLProviderKit(std::shared_ptr<VLProviderStore> store);
  std::shared_ptr<VLProviderStore> store_;
  std::shared_ptr<VLProviderChanges> changes_;
};
