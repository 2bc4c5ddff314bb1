// VLFileManager: the host file services that the library uses with URLs: the provider's
// services for an item URL, the temporary directory, directory creation, file writes and
// reads, reachability of a file and of a placeholder, security-scoped access.
//
// Plain file operations act on the local file system; the provider-dependent ones go to
// the current platform. Stateless; safe from any thread.
#pragma once

#include <optional>

#include "Core/VLData.h"
#include "Core/VLError.h"
#include "Core/VLURL.h"
#include "Vaultline/VLPlatform.h"

class VLFileManager {
 public:
  // Returns the shared file manager.
  static VLFileManager& defaultManager();

  // Looks up the provider services for the item at `url` (asynchronous; see VLPlatform).
  void getVaultlineServicesForItemAtURL(const VLURL& url, VLServicesCompletion completion);
  // Returns the process's temporary directory (a directory URL that exists).
  VLURL temporaryDirectory();

  // Creates a directory; with `intermediates`, its missing parents too. An existing
  // directory is not an error.
  bool createDirectoryAtURL(const VLURL& url, bool intermediates, VLErrorRef* error = nullptr);
  // Writes `data` to the file at `url`; atomically means through a new temporary file beside it
  // and a rename. A symbolic link at `url` is refused (EPERM), never written through.
  bool writeData(const VLData& data, const VLURL& url, bool atomically, VLErrorRef* error = nullptr);
  // Returns the whole contents of the file at `url`, or none if it cannot be read.
  std::optional<VLData> contentsAtURL(const VLURL& url, VLErrorRef* error = nullptr);
  // Removes the file or directory tree at `url`.
  bool removeItemAtURL(const VLURL& url, VLErrorRef* error = nullptr);

  // Returns whether the file itself is at `url` (a placeholder does not count).
  bool checkResourceIsReachable(const VLURL& url, VLErrorRef* error = nullptr);
  // Returns whether a placeholder or the file stands at `url`.
  bool checkPromisedItemIsReachable(const VLURL& url, VLErrorRef* error = nullptr);
  bool startAccessingSecurityScopedResource(const VLURL& url);
  void stopAccessingSecurityScopedResource(const VLURL& url);

  // Returns a POSIX-domain error for errno value `code` about `url`.
  static VLErrorRef posixError(int code, const VLURL& url);
};
