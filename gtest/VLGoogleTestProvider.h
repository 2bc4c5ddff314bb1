// VLGoogleTestProvider: the one provider whose cases the registered GoogleTest tests run,
// with what every test shares: the installed platform, the list of cases, and the answer to
// the eligibility question, asked once. Made by VLRegisterGoogleTests(); lives as long as a
// registered test does. Tests call it one at a time (GoogleTest runs them in turn).
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "Validations/VLGoogleTest.h"
#include "Vaultline/VLPlatform.h"
#include "Vaultline/VLProvider.h"
#include "vlgtest/VLGoogleTestVerdict.h"
#include "vlvalidate/VLCaseCatalog.h"

class VLGoogleTestProvider {
 public:
  // Installs `platform` and lists the cases of `provider` that `options.filter` selects.
  // `label` names the provider in messages. Throws VLUsageError when the filter selects none.
  static std::shared_ptr<VLGoogleTestProvider> make(std::string label, std::shared_ptr<VLPlatform> platform,
                                                    std::shared_ptr<VLProvider> provider,
                                                    const VLGoogleTestOptions& options);
  // Lists the cases without a provider; every test fails with `reason`.
  static std::shared_ptr<VLGoogleTestProvider> unavailable(std::string label, std::string reason,
                                                           const VLGoogleTestOptions& options);

  // Every case, and the indices of those selected, in listing order.
  const VLCaseCatalog& catalog() const { return *catalog_; }
  const std::vector<size_t>& selected() const { return selected_; }

  // Returns why no case can run (the provider could not be reached or is not eligible), or
  // none. Asks the provider's eligibility on the first call, and only then.
  std::optional<std::string> blocker();
  // Runs the case at `index` of the catalog as the runner runs a case (VLRunPipeline: a
  // fresh copy, a fresh validator), and returns what GoogleTest is to be told.
  VLGoogleTestVerdict run(size_t index) const;

 private:
  VLGoogleTestProvider(std::string label, VLGoogleTestOptions options, std::shared_ptr<VLPlatform> platform,
                       std::shared_ptr<VLProvider> provider);

  const std::string label_;
  const VLGoogleTestOptions options_;
  const std::shared_ptr<VLPlatform> platform_;  // kept alive: it plays the provider
  const std::shared_ptr<VLProvider> provider_;  // none when the provider could not be reached
  std::shared_ptr<const VLCaseCatalog> catalog_;
  std::vector<size_t> selected_;
  std::once_flag decided_;
  std::optional<std::string> blocker_;  // written once under decided_
};
