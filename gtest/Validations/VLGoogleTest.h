// VLGoogleTest: every validation case as a GoogleTest test, so that a provider's validations
// run in the test program its author already has (target Vaultline::gtest).
//
// Call VLRegisterGoogleTests() once, after testing::InitGoogleTest() and before
// RUN_ALL_TESTS(). Each case becomes the test "Suite.BaseName/Variant" (the suite class, then
// the rest of the case's short ID with characters GoogleTest filters treat specially made
// "_"), with the case's unit-test runner name and category as recorded properties. A case
// that failed adds one failure per expectation that did not pass; an inconclusive case is
// skipped with its reason. Eligibility is asked once, when the first test runs; when the
// provider is not eligible or cannot be reached, every test fails saying why. Every run of a
// test (--gtest_repeat) runs its case anew with a fresh validator. Tests run one at a time,
// on the thread that called RUN_ALL_TESTS().
#pragma once

#include <cstddef>
#include <memory>
#include <string>

class VLPlatform;
class VLProvider;

// How the registered tests run their cases.
struct VLGoogleTestOptions {
  // vlvalidate's default time-out, seconds.
  static const double kDefaultTimeout;

  bool strict = false;               // the suites' stricter optional checks (vlvalidate --strict)
  double timeout = kDefaultTimeout;  // the validators' default time-out, seconds (vlvalidate --timeout)
  std::string filter = "*";          // register only the cases this pattern selects (vlvalidate --filter)
  bool ignoreEligibility = false;    // run the cases although the provider is not eligible
};

// Registers one test per case of `provider`, written as `vlvalidate --provider` takes it:
// "sim", "sim:SETTINGS", "exec:COMMAND" or "unix:PATH", and brings the provider up. Returns
// how many tests it registered. Throws VLException (a usage error) naming what is wrong with
// `provider` or `options.filter`, or when a provider was registered before in this process
// (one platform serves a process). A provider that cannot be started registers every case
// all the same, each failing with the reason.
size_t VLRegisterGoogleTests(const std::string& provider, const VLGoogleTestOptions& options = {});

// Registers one test per case of `provider`, played by `platform`: a platform implemented in
// this process, which this call installs as the current one. Returns how many tests it
// registered; throws as the overload above.
size_t VLRegisterGoogleTests(std::shared_ptr<VLPlatform> platform, std::shared_ptr<VLProvider> provider,
                             const VLGoogleTestOptions& options = {});
