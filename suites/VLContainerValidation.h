// VLContainerValidation: checks that a provider behaves as a container of items: a new
// folder reports and updates its child count, an imported file comes back byte for byte, a
// created folder comes back, a look-up by identifier returns that very item, a rename keeps
// the item identifier, a second copy under the same name (also in other letter case) is
// refused with a filename-collision error, the children of a deleted folder are gone, and
// every item of the tree names the container that enumerates it as its parent.
//
// Eight validations run once per variant: in the provider's validation root itself, and in
// a new test folder inside it. Cases run on the background thread of case execution and
// block there; the suite keeps no state of its own between validations.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Validations/Validations.h"

class VLContainerValidation : public VLValidationCase {
 public:
  using Validator = std::shared_ptr<VLValidator>;

  // Returns the suite's operations in listing order, for registration.
  static std::vector<VLValidationOperation> operations();

  // Returns the provider's validation root (its alternateRootContainer); creates nothing.
  VLValue variantRootContainer(const Validator& validator);
  // Creates a test folder in the validation root and returns its identifier, or none.
  VLValue variantFolder(const Validator& validator);

  // A new folder has child count 0; five children (file, file, folder, file, file) raise it
  // one by one, each change seen on the container's stream.
  void validateItemCount(const Validator& validator, const std::string& container);
  // An imported text file can be located and read back byte for byte.
  void validateImportAddsToContainer(const Validator& validator, const std::string& container);
  // Creating a folder succeeds and the folder shows up (all checks are the utility's).
  void validateFolderCreation(const Validator& validator, const std::string& container);
  // Looking the container up returns an item with the same identifier.
  void validateLookupIdentity(const Validator& validator, const std::string& container);
  // A renamed file keeps its identifier and its parent.
  void validateRenamingPreservesItemIdentifier(const Validator& validator, const std::string& container);
  // A second copy of a file name is refused with a collision error naming the first copy.
  void validateSecondItemIsBounced(const Validator& validator, const std::string& container);
  // The same with the second file's name in lower case: collisions ignore letter case.
  void validateSecondItemIsBouncedWithCaseMismatch(const Validator& validator, const std::string& container);
  // The body both collision validations share. It takes three arguments, so discovery does
  // not list it as a case of its own.
  void validateSecondItemIsBounced(const Validator& validator, bool changeCase, const std::string& container);
  // After a folder is deleted, its child no longer resolves by its URL.
  void validateSubitemsAreGoneAfterDeletingFolder(const Validator& validator, const std::string& container);
  // Walks the tree from the validation root: every item names its enumerating container as
  // its parent, and the walk finishes within 20 seconds.
  void validateHierarchy(const Validator& validator);
};
