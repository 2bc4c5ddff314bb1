#include "Validations/VLExpectation.h"

#include "Core/VLText.h"
#include "Validations/VLValidationErrors.h"
#include "Validations/VLValidator.h"

std::shared_ptr<VLExpectation> VLExpectation::make() { return std::shared_ptr<VLExpectation>(new VLExpectation()); }

std::string VLExpectation::description() const {
  std::lock_guard lock(mutex_);
  return description_;
}

void VLExpectation::setDescription(std::string text) {
  std::lock_guard lock(mutex_);
  description_ = vl_boundedText(std::move(text));
}

std::shared_ptr<VLValidator> VLExpectation::validator() const {
  std::lock_guard lock(mutex_);
  return validator_.lock();
}

void VLExpectation::setValidator(std::weak_ptr<VLValidator> validator) {
  std::lock_guard lock(mutex_);
  validator_ = std::move(validator);
}

std::optional<std::string> VLExpectation::comment() const {
  std::lock_guard lock(mutex_);
  return comment_;
}

void VLExpectation::setComment(std::optional<std::string> comment) {
  std::lock_guard lock(mutex_);
  comment_ = comment ? std::optional<std::string>(vl_boundedText(std::move(*comment))) : std::nullopt;
}

VLValidationResult VLExpectation::result() const {
  std::lock_guard lock(mutex_);
  return result_;
}

void VLExpectation::setResult(VLValidationResult result) {
  std::lock_guard lock(mutex_);
  result_ = result;
}

VLErrorRef VLExpectation::error() const {
  std::lock_guard lock(mutex_);
  return error_;
}

void VLExpectation::setError(VLErrorRef error) {
  std::lock_guard lock(mutex_);
  error_ = VLError::bounded(error);
}

void VLExpectation::handOver() {
  if (auto validator = this->validator()) validator->fulfillExpectation(shared_from_this());
}

void VLExpectation::fulfill() {
  setResult(VLValidationResultPassed);
  handOver();
}

void VLExpectation::fulfillWithCommentText(const std::string& text) {
  setComment(text);
  fulfill();
}

void VLExpectation::fail() { failWithError(nullptr); }

void VLExpectation::failWithError(VLErrorRef error) {
  error = VLError::bounded(error);
  {
    std::lock_guard lock(mutex_);
    comment_ = error ? std::optional<std::string>(vl_boundedText(vl_prettyDescription(error))) : std::nullopt;
    error_ = std::move(error);
    result_ = VLValidationResultFailed;
  }
  handOver();
}

void VLExpectation::failWithCommentText(const std::string& text) {
  failWithError(VLError::makeWithDescription(KsVaultlineValidationErrorDomain, VLValidationErrorFailure, text));
}
