// Fuzzes the simulated provider's settings parser: any text either parses into settings the
// service can safely use or is refused with a VLException; nothing else may escape.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "Core/VLException.h"
#include "Simulated/VLSimulatedSettings.h"
#include "Simulated/VLSimulatedStore.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  VLSimulatedSettings settings;
  try {
    settings = VLSimulatedSettings::parse(text);
  } catch (const VLException&) {
    return 0;
  }
  // What the parser accepts must be safe to act on: the alternate root is one item name (the
  // clean-up deletes inside it) and every latency is bounded.
  if (settings.alternateRootName && !VLSimulatedStore::isValidName(*settings.alternateRootName)) std::abort();
  for (auto latency : {settings.actionLatency, settings.collectionLatency, settings.uploadLatency}) {
    if (latency < VLSimulatedSettings::Duration(0) || latency > std::chrono::hours(1)) std::abort();
  }
  return 0;
}
