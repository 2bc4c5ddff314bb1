#include "Validations/VLGoogleTest.h"

#include <gtest/gtest.h>

#include <atomic>

#include "CaseRun/VLCaseRunner.h"
#include "Choice/VLProviderChoice.h"
#include "vlgtest/VLGoogleTestName.h"
#include "vlgtest/VLGoogleTestProvider.h"

const double VLGoogleTestOptions::kDefaultTimeout = VLCaseRunOptions::kDefaultTimeout;

namespace {

// One case as a GoogleTest test.
class VLGoogleTestCase : public testing::Test {
 public:
  VLGoogleTestCase(std::shared_ptr<VLGoogleTestProvider> provider, size_t index)
      : provider_(std::move(provider)), index_(index) {}

  void TestBody() override {
    const VLCaseRecord& names = provider_->catalog().names().at(index_);
    RecordProperty("nameForMarlin", names.nameForMarlin);
    RecordProperty("category", names.category);
    if (auto reason = provider_->blocker()) FAIL() << *reason;
    const VLGoogleTestVerdict verdict = provider_->run(index_);
    switch (verdict.kind) {
      case VLGoogleTestVerdict::Pass: break;
      case VLGoogleTestVerdict::Skip: GTEST_SKIP() << verdict.messages.front();
      case VLGoogleTestVerdict::Fail:
        for (const auto& message : verdict.messages) ADD_FAILURE() << message;
        break;
    }
  }

 private:
  std::shared_ptr<VLGoogleTestProvider> provider_;
  size_t index_;
};

std::atomic<bool> registeredBefore{false};

size_t registerCases(const std::shared_ptr<VLGoogleTestProvider>& provider) {
  registeredBefore = true;
  for (size_t index : provider->selected()) {
    const VLCaseRecord& names = provider->catalog().names()[index];
    const VLGoogleTestName name = VLGoogleTestName::of(names.suite, names.shortID);
    testing::RegisterTest(name.suite.c_str(), name.test.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                          [provider, index]() -> testing::Test* { return new VLGoogleTestCase(provider, index); });
  }
  return provider->selected().size();
}

// One platform is current per process: a second provider would take the first one's place
// under its tests.
void checkFirstRegistration() {
  if (registeredBefore) {
    throw VLUsageError("VLRegisterGoogleTests: a provider was registered before; a process validates one provider");
  }
}

}  // namespace

size_t VLRegisterGoogleTests(const std::string& provider, const VLGoogleTestOptions& options) {
  const VLProviderChoice choice = VLProviderChoice::parse(provider);
  checkFirstRegistration();
  try {
    VLInstalledProvider installed = choice.install();
    return registerCases(VLGoogleTestProvider::make(choice.text(), installed.platform, installed.provider, options));
  } catch (const VLProviderUnavailable& error) {
    return registerCases(VLGoogleTestProvider::unavailable(
        choice.text(), "Provider " + choice.text() + " could not be started or reached: " + error.what(), options));
  }
}

size_t VLRegisterGoogleTests(std::shared_ptr<VLPlatform> platform, std::shared_ptr<VLProvider> provider,
                             const VLGoogleTestOptions& options) {
  checkFirstRegistration();
  const std::string label = provider ? provider->identifier() : "";
  return registerCases(VLGoogleTestProvider::make(label, std::move(platform), std::move(provider), options));
}
