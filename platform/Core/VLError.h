// VLError: an immutable error record: a domain string, an integer code and a user-info
// dictionary. Shared as std::shared_ptr<const VLError> (VLErrorRef) across threads.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Core/VLObject.h"
#include "Core/VLText.h"
#include "Core/VLValue.h"

// User-info key of the human-readable text of an error (a string).
extern const std::string& VLLocalizedDescriptionKey;
// User-info key of the error that caused this one (a VLError object).
extern const std::string& VLUnderlyingErrorKey;
// The domain of errors that stand for an exception escaping some work (code 0).
extern const std::string& VLExceptionErrorDomain;

class VLError;
using VLErrorRef = std::shared_ptr<const VLError>;

class VLError : public VLObject {
 public:
  // Makes an error with the given domain, code and user info.
  static VLErrorRef make(std::string domain, int64_t code, VLValue::Dictionary userInfo = {});
  // Makes an error whose localized description is `text`.
  static VLErrorRef makeWithDescription(std::string domain, int64_t code, const std::string& text);
  // Makes the error that reports the exception being handled as the failure of `work`:
  // VLExceptionErrorDomain, code 0, "<work> failed with an exception: <exception>". Call only
  // inside a catch block.
  static VLErrorRef makeWithCurrentException(const std::string& work);

  // Returns `error` itself when every text in it (domain, user-info strings, data, and the
  // same in its underlying errors) fits in `limit` bytes, else a copy with each longer one cut
  // by vl_boundedText (data to its first `limit` bytes). For keeping errors that came from
  // outside the process without keeping whatever size they arrived with.
  static VLErrorRef bounded(const VLErrorRef& error, size_t limit = kVLKeptTextLimit);

  const std::string& domain() const { return domain_; }
  int64_t code() const { return code_; }
  const VLValue::Dictionary& userInfo() const { return userInfo_; }

  // Returns the user info's localized description, or a generic sentence naming domain and code.
  std::string localizedDescription() const;
  // Returns the underlying error from the user info, or nullptr.
  VLErrorRef underlyingError() const;

  // Returns "Error Domain=<domain> Code=<code> \"<localized description>\"".
  std::string description() const override;
  // Equal when domain, code and user info are equal.
  bool isEqual(const VLObject& other) const override;

 private:
  VLError(std::string domain, int64_t code, VLValue::Dictionary userInfo);

  std::string domain_;
  int64_t code_;
  VLValue::Dictionary userInfo_;
};
