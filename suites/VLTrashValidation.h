// VLTrashValidation: checks, through the working set, that a provider can move a folder
// to the trash and back: the folder and its child leave normal view when the folder is
// trashed, and come back, in their hierarchy, when it is untrashed.
//
// One validation runs twice: with a child folder and with a child file. Events are matched
// by filename, so a provider that gives untrashed items new identifiers still passes the
// event checks; where the items went back is judged by their parents at the end. Cases run
// on the background thread of case execution and block there; no state is kept between
// validations.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Validations/Validations.h"

class VLTrashValidation : public VLValidationCase {
 public:
  using Validator = std::shared_ptr<VLValidator>;

  // Returns the suite's operations in listing order, for registration.
  static std::vector<VLValidationOperation> operations();

  // Returns "public.folder": the trashed folder's child is a folder.
  VLValue variantTrashingFolder(const Validator& validator);
  // Returns "public.item": the trashed folder's child is a file.
  VLValue variantTrashingFile(const Validator& validator);

  // Trashes a test folder holding one child of type `childType` (a folder when it is
  // "public.folder", else a file) and untrashes it. The folder must come back to the
  // validation root (otherwise the run is inconclusive) and the child inside the folder.
  void validateTrashUntrash(const Validator& validator, const std::string& childType);
};
