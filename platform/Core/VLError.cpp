#include "Core/VLError.h"

#include "Core/VLException.h"

const std::string& VLLocalizedDescriptionKey = *new std::string("VLLocalizedDescription");
const std::string& VLUnderlyingErrorKey = *new std::string("VLUnderlyingError");
const std::string& VLExceptionErrorDomain = *new std::string("VLExceptionErrorDomain");

VLError::VLError(std::string domain, int64_t code, VLValue::Dictionary userInfo)
    : domain_(std::move(domain)), code_(code), userInfo_(std::move(userInfo)) {}

VLErrorRef VLError::make(std::string domain, int64_t code, VLValue::Dictionary userInfo) {
  return VLErrorRef(new VLError(std::move(domain), code, std::move(userInfo)));
}

VLErrorRef VLError::makeWithDescription(std::string domain, int64_t code, const std::string& text) {
  return make(std::move(domain), code, {{VLLocalizedDescriptionKey, text}});
}

VLErrorRef VLError::makeWithCurrentException(const std::string& work) {
  return makeWithDescription(VLExceptionErrorDomain, 0,
                             work + " failed with an exception: " + vl_describeCurrentException());
}

std::string VLError::localizedDescription() const {
  auto found = userInfo_.find(VLLocalizedDescriptionKey);
  if (found != userInfo_.end() && found->second.string()) return *found->second.string();
  return "The operation couldn't be completed. (" + domain_ + " error " + std::to_string(code_) + ".)";
}

VLErrorRef VLError::underlyingError() const {
  auto found = userInfo_.find(VLUnderlyingErrorKey);
  return found == userInfo_.end() ? nullptr : found->second.objectAs<VLError>();
}

std::string VLError::description() const {
  return "Error Domain=" + domain_ + " Code=" + std::to_string(code_) + " \"" + localizedDescription() + "\"";
}

bool VLError::isEqual(const VLObject& other) const {
  auto error = dynamic_cast<const VLError*>(&other);
  return error && error->domain_ == domain_ && error->code_ == code_ && error->userInfo_ == userInfo_;
}
