// VLExpectation: one check of a validation run, created on a VLValidator and settled once
// by fulfilling or failing it.
//
// Settling hands the expectation to its validator, which records it (once) on its own
// queue. A settled expectation no longer refers to its validator, so a later fulfil or fail
// only rewrites the expectation's own result, comment and error (last call wins), which
// still counts in a later finishValidation(). Fields may be read and written from any
// thread; each access is atomic on its own. Texts and errors are kept cut to
// kVLKeptTextLimit bytes each (vl_boundedText, VLError::bounded): they often quote the
// provider, and a provider must not decide how much memory a run keeps.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "Core/VLError.h"
#include "Core/VLFormat.h"
#include "Core/VLObject.h"
#include "Validations/VLValidationResult.h"

class VLValidator;

class VLExpectation : public VLObject, public std::enable_shared_from_this<VLExpectation> {
 public:
  // Makes an expectation with description "", comment "", result Inconclusive, no error and
  // no validator. Validations make theirs through VLValidator::expectationWithDescription.
  static std::shared_ptr<VLExpectation> make();

  // The expectation's text; also what "%@" prints for it.
  std::string description() const override;
  void setDescription(std::string text);
  // The validator that records the expectation when it is settled (held weakly); null once
  // the validator has recorded it, or when the validator is gone.
  std::shared_ptr<VLValidator> validator() const;
  void setValidator(std::weak_ptr<VLValidator> validator);
  // The comment: "" initially, none after a fail without an error.
  std::optional<std::string> comment() const;
  void setComment(std::optional<std::string> comment);
  // The verdict: Inconclusive initially, Passed after a fulfil, Failed after a fail (the
  // last call wins, even after the validator has recorded the expectation).
  VLValidationResult result() const;
  void setResult(VLValidationResult result);
  // The error of the last failWithError() (or failWithComment()), or none.
  VLErrorRef error() const;
  void setError(VLErrorRef error);

  // Sets the result to Passed and hands the expectation to its validator.
  void fulfill();
  // Stores the formatted comment, then fulfil() (plain text: fulfillWithCommentText()).
  template <class... Args>
  void fulfillWithComment(const char* format, const Args&... args) {
    fulfillWithCommentText(VLFormat(format, args...));
  }
  void fulfillWithCommentText(const std::string& text);
  // failWithError() with no error: comment and error both end up none.
  void fail();
  // Stores `error`, sets the comment to its diagnostic description (none without an error),
  // sets the result to Failed and hands the expectation to its validator.
  void failWithError(VLErrorRef error);
  // Fails with an error in KsVaultlineValidationErrorDomain, code 0, whose localized
  // description is the formatted text (plain text, which may contain "%":
  // failWithCommentText()).
  template <class... Args>
  void failWithComment(const char* format, const Args&... args) {
    failWithCommentText(VLFormat(format, args...));
  }
  void failWithCommentText(const std::string& text);

 private:
  VLExpectation() = default;
  void handOver();

  mutable std::mutex mutex_;
  std::string description_;                                     // guarded by mutex_
  std::weak_ptr<VLValidator> validator_;                        // guarded by mutex_
  std::optional<std::string> comment_{""};                      // guarded by mutex_
  VLValidationResult result_ = VLValidationResultInconclusive;  // guarded by mutex_
  VLErrorRef error_;                                            // guarded by mutex_
};
