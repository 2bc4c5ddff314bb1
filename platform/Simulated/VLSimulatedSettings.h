// VLSimulatedSettings: how one simulated provider service behaves: who it claims to be,
// which platform revision it plays, how slow it is, and which faults (quirks) it has.
//
// Parsed once from a comma-separated list of quirk names and name=value settings, e.g.
// "case-sensitive-names,upload-latency=200ms". Immutable after parsing; safe to share
// between threads.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Simulated/VLSimulatedQuirks.h"

// Which revision of the platform interface the service plays.
enum class VLSimulatedRevision {
  Current,  // newest initialisers, VLFetchItemOperation, newCollectionWithItemID
  Older,    // older item-ID and copy initialisers only
};

struct VLSimulatedSettings {
  using Duration = std::chrono::microseconds;

  std::string providerIdentifier = "net.vaultline.simulated";
  std::optional<std::string> domainIdentifier;
  bool syncing = true;
  bool workingSet = true;
  std::optional<std::string> alternateRootName;  // a folder in the root reported as the validation root
  bool validationServicePresent = true;
  bool validationAllowed = true;
  bool internalBuild = false;
  VLSimulatedRevision revision = VLSimulatedRevision::Current;
  Duration actionLatency{0};
  Duration collectionLatency{0};
  Duration uploadLatency{0};
  bool sampleTree = true;    // a fresh provider holds a small sample tree in its root
  uint64_t seedItems = 0;    // further files, in folders under "Bulk", all in the working set
  VLSimulatedQuirks quirks;  // the faults it has (see VLSimulatedQuirks.h for the list)

  // Parses `text`. Throws VLException naming the unknown name or bad value and listing the
  // valid names.
  static VLSimulatedSettings parse(const std::string& text);

  bool has(VLSimulatedQuirk quirk) const { return quirks.has(quirk); }

  // Returns every quirk name, in declaration order.
  static std::vector<std::string> quirkNames();
  // Returns every name=value setting name.
  static std::vector<std::string> settingNames();
};
