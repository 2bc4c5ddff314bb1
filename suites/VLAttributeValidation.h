// VLAttributeValidation: checks that a provider carries out the actions that change one
// attribute of an item, and that the change shows in the item collections: tags, the
// last-used date and the favourite rank (each seen in the container and in the working
// set), a rename, a move out of a container and back, and downloading and evicting a
// file's contents.
//
// Five validations run once per variant: in the provider's validation root itself, and in
// a new test folder inside it; the download-and-evict validation runs once. Cases run on
// the background thread of case execution and block there in cursor waits; the suite keeps
// no state of its own between validations.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Validations/Validations.h"

class VLAttributeValidation : public VLValidationCase {
 public:
  using Validator = std::shared_ptr<VLValidator>;

  // Returns the suite's operations in listing order, for registration.
  static std::vector<VLValidationOperation> operations();

  // Returns the provider's validation root (its alternateRootContainer); creates nothing.
  VLValue variantRootContainer(const Validator& validator);
  // Creates a test folder in the validation root and returns its identifier, or none.
  VLValue variantFolder(const Validator& validator);

  // A file tagged "Red" (colour 7) shows the tag in its container, then in the working set.
  void validateTags(const Validator& validator, const std::string& container);
  // A file's new last-used date shows in the working set, then in its container.
  void validateLastUsedDate(const Validator& validator, const std::string& container);
  // A folder's favourite rank 12345 shows in the working set, then in its container.
  void validateFavoriteRank(const Validator& validator, const std::string& container);
  // A renamed file keeps its identifier and parent and is not left downloading; in strict
  // mode its contents must also stay local.
  void validateRename(const Validator& validator, const std::string& container);
  // A file moved into a sibling folder leaves its container's collection as a deletion, and
  // moved back shows there again; each move's result names the new parent.
  void validateReparent(const Validator& validator, const std::string& container);
  // A downloaded file shows as downloaded and uploaded; in strict mode an evicted file then
  // shows as not downloaded. Inconclusive for a provider that does not sync.
  void validateDownloadEvict(const Validator& validator);

 private:
  using ActionMaker = std::function<std::shared_ptr<VLActionOperation>(const VLItemRef& item)>;

  // What the tag, last-used-date and favourite-rank validations share: watches the container
  // and the working set, creates a file (or a folder), schedules the action `makeAction`
  // builds for it, and waits in each stream (the container first, or the working set first)
  // for the item with the value `setValue` expects.
  void watchAttributeChange(const Validator& validator, const std::string& container, bool isDirectory,
                            const ActionMaker& makeAction, const std::function<void(VLExpectedItem&)>& setValue,
                            bool containerFirst);
};
