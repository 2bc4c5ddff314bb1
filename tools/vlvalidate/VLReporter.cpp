#include "vlvalidate/VLReporter.h"

#include <mutex>

#include "Core/VLException.h"
#include "vlvalidate/VLConsoleReporter.h"
#include "vlvalidate/VLJUnitReporter.h"
#include "vlvalidate/VLJsonReporter.h"

namespace {

struct Registry {
  std::mutex mutex;
  std::map<std::string, VLReporterRegistry::Factory> factories;  // guarded by mutex
};

// The standard reporters are in the table from the start: a static library would drop
// registrations made by static initialisers in their own files.
Registry& registry() {
  static Registry* shared = [] {
    auto* made = new Registry;
    made->factories["console"] = [](const VLReporterConfig& config) {
      return std::make_unique<VLConsoleReporter>(config.terminal, config.verbose);
    };
    made->factories["json"] = [](const VLReporterConfig& config) {
      return std::make_unique<VLJsonReporter>(config.path);
    };
    made->factories["junit"] = [](const VLReporterConfig& config) {
      return std::make_unique<VLJUnitReporter>(config.path);
    };
    return made;
  }();
  return *shared;
}

}  // namespace

void VLReporterRegistry::registerReporter(const std::string& name, Factory factory) {
  auto& shared = registry();
  std::lock_guard lock(shared.mutex);
  shared.factories[name] = std::move(factory);
}

std::unique_ptr<VLReporter> VLReporterRegistry::make(const std::string& name, const VLReporterConfig& config) {
  Factory factory;
  {
    auto& shared = registry();
    std::lock_guard lock(shared.mutex);
    if (auto found = shared.factories.find(name); found != shared.factories.end()) factory = found->second;
  }
  if (!factory) {
    std::string known;
    for (const auto& each : names()) known += (known.empty() ? "" : ", ") + each;
    throw VLException("unknown reporter '" + name + "'; known reporters: " + known);
  }
  return factory(config);
}

std::vector<std::string> VLReporterRegistry::names() {
  auto& shared = registry();
  std::lock_guard lock(shared.mutex);
  std::vector<std::string> names;
  for (const auto& [name, factory] : shared.factories) names.push_back(name);
  return names;
}
