#include "Validations/VLExpectationValues.h"

#include <cmath>
#include <cstdint>

#include "Core/VLFormat.h"

std::string vl_expectationDescription(const VLValue& value) {
  if (const VLDate* date = value.date()) return vl_expectationDescription(*date);
  if (const VLValue::Array* array = value.array()) return vl_expectationDescription(*array);
  if (auto tag = value.objectAs<VLTag>()) return vl_expectationDescription(*tag);
  return value.description();
}

std::string vl_expectationDescription(const VLDate& date) {
  return VLFormat("%@ (%lld)", date.description(), static_cast<int64_t>(date.timeIntervalSince1970()));
}

std::string vl_expectationDescription(const VLTag& tag) { return VLFormat("%@#%i", tag.label(), tag.color()); }

namespace {
template <class Range, class Describe>
std::string describeList(const Range& range, Describe describe) {
  std::string joined;
  const char* separator = "";
  for (const auto& element : range) {
    joined += separator;
    joined += describe(element);
    separator = ", ";
  }
  return VLFormat("( %@ )", joined);
}
}  // namespace

std::string vl_expectationDescription(const VLValue::Array& array) {
  return describeList(array, [](const VLValue& element) { return vl_expectationDescription(element); });
}

std::string vl_expectationDescription(const std::vector<std::shared_ptr<const VLTag>>& tags) {
  return describeList(tags, [](const std::shared_ptr<const VLTag>& tag) {
    return tag ? vl_expectationDescription(*tag) : std::string("(null)");
  });
}

bool vl_expectationIsEqual(const VLValue& expected, const VLValue& candidate) {
  if (expected.isNone()) return false;
  if (const VLDate* date = expected.date()) return vl_expectationIsEqual(*date, candidate);
  return expected.isEqual(candidate);
}

bool vl_expectationIsEqual(const VLDate& expected, const VLValue& candidate) {
  const VLDate* other = candidate.date();
  if (!other) return VLValue(expected).isEqual(candidate);
  return std::fabs(expected.timeIntervalSinceDate(*other)) < 1.0;
}
