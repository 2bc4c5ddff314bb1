#include "Simulated/VLSimulatedQuirks.h"

const std::vector<VLSimulatedQuirkInfo>& VLSimulatedQuirks::all() {
  static const auto& table = *new const std::vector<VLSimulatedQuirkInfo>{
#define VL_SIMULATED_QUIRK_INFO(enumerator, question, name, help) {VLSimulatedQuirk::enumerator, name, help},
      VL_SIMULATED_QUIRKS(VL_SIMULATED_QUIRK_INFO)
#undef VL_SIMULATED_QUIRK_INFO
  };
  return table;
}

std::optional<VLSimulatedQuirk> VLSimulatedQuirks::named(const std::string& name) {
  for (const auto& info : all()) {
    if (name == info.name) return info.quirk;
  }
  return std::nullopt;
}

std::string VLSimulatedQuirks::nameOf(VLSimulatedQuirk quirk) {
  for (const auto& info : all()) {
    if (info.quirk == quirk) return info.name;
  }
  return "?";
}
