// VLStoreTypes: the type identifier a store reports for a file or directory by its name,
// from the host's own type table, so that the library's type checks agree with it: a file gets
// the first type of its extension that is data ("dyn.…" when none is), a directory whose
// extension names a package type is that package, any other directory is "public.folder".
// Immutable once made; safe from any thread.
#pragma once

#include <string>

#include "Vaultline/VLTypeDatabase.h"

class VLStoreTypes {
 public:
  VLStoreTypes();
  // The type of an item named `name` (extension included).
  std::string typeFor(const std::string& name, bool isDirectory) const;
  // Whether a directory named `name` is a package (a document, not a folder).
  bool isPackage(const std::string& name) const;
  const VLTypeDatabase& database() const { return types_; }

  // The extension of `name`: what follows its last dot, unless that dot begins the name.
  static std::string extensionOf(const std::string& name);

 private:
  VLTypeDatabase types_;
};
