#include "Core/VLError.h"

#include "Core/VLException.h"

namespace {

// Whether `value` holds anything that VLError::bounded would cut.
bool holdsLongText(const VLValue& value, size_t limit) {
  if (auto text = value.string()) return text->size() > limit && vl_boundedText(*text, limit) != *text;
  if (auto data = value.data()) return data->length() > limit;
  if (auto array = value.array()) {
    for (const auto& each : *array) {
      if (holdsLongText(each, limit)) return true;
    }
  }
  if (auto dictionary = value.dictionary()) {
    for (const auto& [key, each] : *dictionary) {
      if (holdsLongText(key, limit) || holdsLongText(each, limit)) return true;
    }
  }
  if (auto error = value.objectAs<VLError>()) return VLError::bounded(error, limit) != error;
  return false;
}

VLValue boundedValue(const VLValue& value, size_t limit) {
  if (auto text = value.string()) return vl_boundedText(*text, limit);
  if (auto data = value.data()) return data->length() > limit ? VLData(data->bytes(), limit) : *data;
  if (auto array = value.array()) {
    VLValue::Array out;
    for (const auto& each : *array) out.push_back(boundedValue(each, limit));
    return out;
  }
  if (auto dictionary = value.dictionary()) {
    VLValue::Dictionary out;
    for (const auto& [key, each] : *dictionary) out.emplace(vl_boundedText(key, limit), boundedValue(each, limit));
    return out;
  }
  if (auto error = value.objectAs<VLError>()) return VLError::bounded(error, limit);
  return value;
}

}  // namespace

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

VLErrorRef VLError::bounded(const VLErrorRef& error, size_t limit) {
  if (!error) return error;
  bool fits = !holdsLongText(error->domain_, limit);
  for (auto entry = error->userInfo_.begin(); fits && entry != error->userInfo_.end(); ++entry) {
    fits = !holdsLongText(entry->first, limit) && !holdsLongText(entry->second, limit);
  }
  if (fits) return error;
  auto userInfo = boundedValue(VLValue(error->userInfo_), limit);
  return make(vl_boundedText(error->domain_, limit), error->code_, *userInfo.dictionary());
}
