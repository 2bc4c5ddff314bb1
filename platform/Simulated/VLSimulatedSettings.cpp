#include "Simulated/VLSimulatedSettings.h"

#include <cmath>
#include <utility>

#include "Core/VLException.h"
#include "Core/VLText.h"
#include "Simulated/VLSimulatedBulkSeed.h"
#include "Simulated/VLSimulatedStore.h"

namespace {

const std::vector<std::string>& kSettingNames = *new const std::vector<std::string>{
    "provider-identifier", "domain",         "syncing",           "working-set",    "alternate-root",
    "validation-service",  "internal-build", "platform-revision", "action-latency", "collection-latency",
    "upload-latency",      "seed",           "seed-items",
};

std::string trim(const std::string& text) {
  size_t begin = text.find_first_not_of(" \t");
  if (begin == std::string::npos) return "";
  size_t end = text.find_last_not_of(" \t");
  return text.substr(begin, end - begin + 1);
}

[[noreturn]] void badValue(const std::string& name, const std::string& value, const std::string& expected) {
  throw VLException("simulated provider setting \"" + name + "\" has bad value \"" + value + "\": expected " +
                    expected);
}

bool parseBool(const std::string& name, const std::string& value) {
  if (value == "yes" || value == "true" || value == "on" || value == "1") return true;
  if (value == "no" || value == "false" || value == "off" || value == "0") return false;
  badValue(name, value, "yes or no");
}

// Reads a decimal number ("12", "1.5"): digits, then optionally a point and more digits.
// Returns false for anything else (signs, exponents, hexadecimal, "inf"). Independent of the
// C locale's decimal point.
bool parseDecimal(const std::string& text, double& amount) {
  size_t i = 0;
  amount = 0;
  while (i < text.size() && text[i] >= '0' && text[i] <= '9') amount = amount * 10 + (text[i++] - '0');
  if (i == 0) return false;
  if (i < text.size() && text[i] == '.') {
    size_t first = ++i;
    for (double place = 0.1; i < text.size() && text[i] >= '0' && text[i] <= '9'; place /= 10) {
      amount += (text[i++] - '0') * place;
    }
    if (i == first) return false;
  }
  return i == text.size();
}

// Reads "250ms", "1.5s", "800us" or "0", at most one hour.
VLSimulatedSettings::Duration parseDuration(const std::string& name, const std::string& value) {
  static const std::pair<const char*, double> units[] = {{"ms", 1e3}, {"us", 1.0}, {"s", 1e6}};
  constexpr double kLongest = 3600e6;  // microseconds
  const char* expected = "a decimal duration of at most one hour, such as 200ms, 1.5s, 800us or 0";
  if (value == "0") return VLSimulatedSettings::Duration(0);
  for (const auto& [suffix, microseconds] : units) {
    std::string unit = suffix;
    if (value.size() <= unit.size() || value.compare(value.size() - unit.size(), unit.size(), unit) != 0) continue;
    double amount = 0;
    if (!parseDecimal(value.substr(0, value.size() - unit.size()), amount) || !(amount * microseconds <= kLongest)) {
      badValue(name, value, expected);
    }
    return VLSimulatedSettings::Duration(static_cast<int64_t>(std::llround(amount * microseconds)));
  }
  badValue(name, value, expected);
}

// Reads a whole number of at most `maximum` written in decimal digits only.
uint64_t parseCount(const std::string& name, const std::string& value, uint64_t maximum) {
  uint64_t count = 0;
  bool valid = !value.empty() && value.size() <= 19;
  for (char c : value) {
    valid = valid && c >= '0' && c <= '9';
    if (valid) count = count * 10 + static_cast<uint64_t>(c - '0');
  }
  if (!valid || count > maximum) badValue(name, value, "a whole number from 0 to " + std::to_string(maximum));
  return count;
}

void applySetting(VLSimulatedSettings& settings, const std::string& name, const std::string& value) {
  if (name == "provider-identifier") {
    if (value.empty() || value.find('/') != std::string::npos)
      badValue(name, value, "a non-empty identifier without '/'");
    settings.providerIdentifier = value;
  } else if (name == "domain") {
    if (value.empty() || value.find('/') != std::string::npos)
      badValue(name, value, "a non-empty identifier without '/'");
    settings.domainIdentifier = value;
  } else if (name == "syncing") {
    settings.syncing = parseBool(name, value);
  } else if (name == "working-set") {
    settings.workingSet = parseBool(name, value);
  } else if (name == "alternate-root") {
    // The folder is the validations' root and clean-up deletes inside it: it must be one item.
    if (!VLSimulatedStore::isValidName(value)) {
      badValue(name, value, "a folder name of 1 to 255 bytes without '/' or NUL, other than \".\" and \"..\"");
    }
    settings.alternateRootName = value;
  } else if (name == "validation-service") {
    if (value == "allow") {
      settings.validationServicePresent = true, settings.validationAllowed = true;
    } else if (value == "refuse") {
      settings.validationServicePresent = true, settings.validationAllowed = false;
    } else if (value == "absent") {
      settings.validationServicePresent = false;
    } else {
      badValue(name, value, "allow, refuse or absent");
    }
  } else if (name == "internal-build") {
    settings.internalBuild = parseBool(name, value);
  } else if (name == "platform-revision") {
    if (value == "current") {
      settings.revision = VLSimulatedRevision::Current;
    } else if (value == "older") {
      settings.revision = VLSimulatedRevision::Older;
    } else {
      badValue(name, value, "current or older");
    }
  } else if (name == "action-latency") {
    settings.actionLatency = parseDuration(name, value);
  } else if (name == "collection-latency") {
    settings.collectionLatency = parseDuration(name, value);
  } else if (name == "upload-latency") {
    settings.uploadLatency = parseDuration(name, value);
  } else if (name == "seed") {
    if (value == "sample") {
      settings.sampleTree = true;
    } else if (value == "none") {
      settings.sampleTree = false;
    } else {
      badValue(name, value, "sample or none");
    }
  } else if (name == "seed-items") {
    settings.seedItems = parseCount(name, value, VLSimulatedBulkSeed::kMaximumItems);
  } else {
    throw VLException("unknown simulated provider setting \"" + name + "\"; valid settings: " + vl_join(kSettingNames));
  }
}

}  // namespace

VLSimulatedSettings VLSimulatedSettings::parse(const std::string& text) {
  VLSimulatedSettings settings;
  size_t start = 0;
  while (start <= text.size()) {
    size_t comma = text.find(',', start);
    std::string entry = trim(text.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
    start = comma == std::string::npos ? text.size() + 1 : comma + 1;
    if (entry.empty()) continue;
    size_t equals = entry.find('=');
    if (equals != std::string::npos) {
      applySetting(settings, trim(entry.substr(0, equals)), trim(entry.substr(equals + 1)));
      continue;
    }
    auto quirk = VLSimulatedQuirks::named(entry);
    if (quirk) settings.quirks.insert(*quirk);
    if (!quirk) {
      throw VLException("unknown simulated provider quirk \"" + entry + "\"; valid quirks: " + vl_join(quirkNames()) +
                        "; valid settings (name=value): " + vl_join(kSettingNames));
    }
  }
  if (settings.quirks.hidesValidationService()) settings.validationServicePresent = false;
  if (settings.quirks.refusesValidation()) settings.validationAllowed = false;
  return settings;
}

std::vector<std::string> VLSimulatedSettings::quirkNames() {
  std::vector<std::string> names;
  for (const auto& info : VLSimulatedQuirks::all()) names.push_back(info.name);
  return names;
}

std::vector<std::string> VLSimulatedSettings::settingNames() { return kSettingNames; }
