// VLValidationCase: the base class of every validation suite. One instance is one runnable
// case: a suite class, one of its validation operations and, for a validation with
// variants, one variant operation.
//
// Suites register once at start-up, before the first allValidations(), listing their own
// operations by full selector string and member pointer:
//
//   VLValidationCase::registerSuiteClass<VLTrashValidation>({
//       {"validateTrashUntrash:variant:", &VLTrashValidation::validateTrashUntrash},
//       {"variantTrashingFolder:", &VLTrashValidation::variantTrashingFolder},
//   });
//
// Discovery applies the naming rules to those lists: "validate…" operations taking the
// validator (and, ending in ":variant:", a variant value) and returning nothing are cases;
// "variant…" operations taking at most the validator give the variant values.
//
// Lifetime and threads: the registry and the template cases live until the process ends and
// may be read from any thread. A case made for a provider is owned by its runner and runs
// once; while it runs, its collections, observers and clean-up list belong to the one
// background thread running it, and the runner reads them only after the completion.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <typeindex>
#include <vector>

#include "Core/VLData.h"
#include "Core/VLObject.h"
#include "Core/VLURL.h"
#include "Validations/VLValidationOperation.h"
#include "Validations/VLValidationSuiteClass.h"
#include "Validations/VLValidator.h"
#include "Vaultline/VLActionOperation.h"
#include "Vaultline/VLItem.h"
#include "Vaultline/VLItemCollection.h"
#include "Vaultline/VLProvider.h"
#include "Vaultline/VLRemoteObjectProxy.h"

class VLEventGeneratingDelegate;
class VLEventStream;

class VLValidationCase : public VLObject, public std::enable_shared_from_this<VLValidationCase> {
 public:
  using CaseList = std::vector<std::shared_ptr<VLValidationCase>>;
  // From suite class name to that class's cases, in discovery order.
  using ValidationTable = std::map<std::string, CaseList>;
  using HelperCompletion = std::function<void(std::shared_ptr<VLRemoteObjectProxy> proxy, VLErrorRef error)>;

  // ---- Registry -------------------------------------------------------------------------

  // Registers `Suite` with the operations it defines itself. The class name is the suite's
  // own C++ class name. Call at start-up; throws VLException when called after the first
  // allValidations(), for a class registered before, or for a malformed list.
  template <class Suite>
  static void registerSuiteClass(std::vector<VLValidationOperation> operations);
  // Returns the record registerSuiteClass<Suite>() would add, without adding it (for
  // discovery over a list of one's own, see validationsOfSuiteClasses()).
  template <class Suite>
  static VLValidationSuiteClassRef describeSuiteClass(std::vector<VLValidationOperation> operations);
  // Adds `suiteClass` to the registry; every registration goes through here. Throws
  // VLException for none, for a class registered before, or after the first allValidations().
  static void registerSuiteClass(VLValidationSuiteClassRef suiteClass);
  // Returns the registered classes in registration order.
  static std::vector<VLValidationSuiteClassRef> registeredSuiteClasses();
  // Returns the registered record of `type`, or nullptr.
  static VLValidationSuiteClassRef suiteClassForType(std::type_index type);

  // Returns the process-wide template cases (no provider), built once on first call from the
  // registered classes; every later call returns the same table.
  static const ValidationTable& allValidations();
  // Returns new cases, bound to `provider`, for every template, with the same keys and order.
  static ValidationTable allValidationsForProvider(const std::shared_ptr<VLProvider>& provider);
  // Applies the discovery rules to `classes`, in order. Stops the process when a class has a
  // validation with variants but no variant operation.
  static ValidationTable validationsOfSuiteClasses(const std::vector<VLValidationSuiteClassRef>& classes);
  // Returns the fixed table from description fragment ("VLTrashValidation TrashUntrash:")
  // to category ("1" or "2"), new on each call.
  static std::map<std::string, std::string> casesByCategories();

  // ---- Names kept exactly: outside callers use these spellings. A double underscore is
  // reserved in C++; the marker keeps it because suites are recognised by whether they
  // redefine this very name, and no implementation uses the "__vl__" prefix.
  // Builds a template table from the registered classes (what allValidations() keeps).
  static ValidationTable _allValidations();
  // Marks suite classes: a registered class that redefines it contributes no case.
  static std::type_index __vl__validation__class();

  // ---- Cases ----------------------------------------------------------------------------

  // Makes a case of the registered class `Suite` running `selector`, with or without a
  // variant. Throws VLException when `Suite` is not registered or does not list the
  // selector or the variant.
  template <class Suite>
  static std::shared_ptr<Suite> make(const std::string& selector, std::shared_ptr<VLProvider> provider);
  template <class Suite>
  static std::shared_ptr<Suite> make(const std::string& selector, std::shared_ptr<VLProvider> provider,
                                     std::optional<std::string> variantSelector);
  // Makes a case of the class `suiteClass` describes; the registry's own factory path.
  static std::shared_ptr<VLValidationCase> makeWithSuiteClass(const VLValidationSuiteClassRef& suiteClass,
                                                              const std::string& selector,
                                                              std::shared_ptr<VLProvider> provider,
                                                              std::optional<std::string> variantSelector);

  // Returns the provider the case runs against (null in the process-wide templates).
  std::shared_ptr<VLProvider> provider() const { return provider_; }
  // Replaces the provider; only before the case runs, from the thread that will run it.
  void setProvider(std::shared_ptr<VLProvider> provider) { provider_ = std::move(provider); }
  // Returns the validation operation's selector, e.g. "validateTrashUntrash:variant:".
  const std::string& selector() const { return selector_; }
  // Returns the variant operation's selector, e.g. "variantTrashingFolder:", or none.
  const std::optional<std::string>& variantSelector() const { return variantSelector_; }
  // Returns the registered record of the case's suite class (null only for a bare base case).
  const VLValidationSuiteClassRef& suiteClass() const { return suiteClass_; }
  // Returns the validator of the run in progress, or null before and after it. Safe to call
  // from any thread (the case's own thread clears it when the run finishes).
  std::shared_ptr<VLValidator> validator() const;
  // Sets the (weakly held) validator; running the case sets and clears it. Thread-safe.
  void setValidator(const std::shared_ptr<VLValidator>& validator);

  // Returns the variant name without "variant" and the final ":" ("TrashingFolder").
  static std::string prettyNameFromVariantSelector(const std::string& variantSelector);
  // Returns "TrashUntrash: (TrashingFolder)" or "PlaceholderIsWritten:".
  std::string selectorDescription() const;
  // Returns "- [VLTrashValidation TrashUntrash: (TrashingFolder)]".
  std::string description() const override;
  // Returns the unit-test runner's name, "VLTrashValidation_validateTrashUntrash:variantTrashingFolder:".
  std::string nameForMarlin() const;
  // Returns the title for people, "Trash Untrash (TrashingFolder)".
  std::string displayTitle() const;
  // Returns the category of the first table key found in description(), or "<uncategorized>".
  std::string category() const;
  // Returns the documentation as plain text: the describe<BaseName> hook's string, else the
  // Documentation/<Class>-<BaseName>.rtf (or .rtfd) file's text; none (after an error line)
  // when there is neither.
  std::optional<std::string> documentationText() const;
  // Sets the folder searched first for documentation files (none restores the defaults:
  // next to the executable, then the source tree's Documentation folder). For tests and
  // relocated installs; thread-safe.
  static void setDocumentationDirectory(std::optional<std::string> directory);

  // ---- Running (VLValidationCaseExecution.cpp) ------------------------------------------

  // Runs the case on the shared background queue, tears it down, then calls `completion` on
  // that thread. Returns at once. Throws VLException without a validator. A VLException from
  // the case becomes a failed expectation; any other exception stops the process with a
  // "[CRIT]" line naming the case and the exception.
  void performWithValidator(const std::shared_ptr<VLValidator>& validator, std::function<void()> completion);
  // Runs the case without tear-down; `completion` is called on the background thread.
  void _performWithValidator(const std::shared_ptr<VLValidator>& validator, std::function<void()> completion);
  // Stops every observed collection and runs the clean-up actions within cleanupTimeout(),
  // failing "Cleanup within timeout" on the validator if they take longer.
  void _tearDown(const std::shared_ptr<VLValidator>& validator);
  // Returns how long tear-down waits for clean-up actions: 15 seconds unless set (NaN counts
  // as 0).
  double cleanupTimeout() const { return cleanupTimeout_; }
  void setCleanupTimeout(double seconds) { cleanupTimeout_ = seconds; }

  // ---- Streams and clean-up (VLValidationCaseCollections.cpp) ---------------------------

  // Observes the container `identifier` of the provider and returns its event stream,
  // described "events for <identifier>"; the identifier gets a mark.
  std::shared_ptr<VLEventStream> newCollectionStreamWithIdentifier(const std::string& identifier);
  // Observes the provider's alternate root container ("root collection events"). The
  // argument is not used; suites may pass their validator.
  std::shared_ptr<VLEventStream> newRootCollectionStream(const std::shared_ptr<VLValidator>& unused = nullptr);
  // Observes the working set ("working set events"), or for a provider without one every
  // item in the search index ("glimmer events").
  std::shared_ptr<VLEventStream> newWorkingSetCollectionStream();
  // Same as newWorkingSetCollectionStream().
  std::shared_ptr<VLEventStream> createWorkingSetCollectionStream();
  // Installs a new event-generating observer on `collection`, with its own "collection-queue"
  // as working queue, starts observing, and returns the observer's stream.
  std::shared_ptr<VLEventStream> _addCollection(const std::shared_ptr<VLItemCollection>& collection);
  // Appends `action` to the actions run at tear-down.
  void addCleanupOperation(std::shared_ptr<VLActionOperation> action);
  // Marks the item's display name with its identifier and deletes the item at tear-down.
  // Does nothing for none.
  void registerItemToCleanup(const VLItemRef& item);

  // Return the observed collections (emptied by tear-down), their observers (kept for the
  // case's lifetime) and the pending clean-up actions. Read them from the case's thread, or
  // after the completion.
  const std::vector<std::shared_ptr<VLItemCollection>>& collections() const { return collections_; }
  const std::vector<std::shared_ptr<VLEventGeneratingDelegate>>& delegates() const { return delegates_; }
  const std::vector<std::shared_ptr<VLActionOperation>>& cleanupOperations() const { return cleanupOperations_; }

  // ---- Test items (VLValidationCaseTestItems.cpp) ----------------------------------------
  // These run on the case's thread and block, through the validator's expectations, until
  // the provider has answered. Each records its own expectations; one that returns null has
  // already reported why, so its caller simply returns. Items they create are registered for
  // clean-up, names they make are marked.

  // Looks up item `identifier` of the provider ("Looking up container <identifier>") through
  // the validator's item manager and waits for the validator's expectations. Returns the
  // item, whose display name and identifier then share a mark, or null.
  VLItemRef lookupItemWithIdentifier(const std::string& identifier, const std::shared_ptr<VLValidator>& validator);
  // Returns a fresh test name from the running validator ("ValidationFolder-…" for a folder,
  // "Validation-…" for a file), marked on its own.
  std::string newFilenameForDirectory(bool isDirectory);
  // Writes a file with a fresh name (plus "." and `extension` when one is given, even an
  // empty one, so that "" gives a name ending in ".") into the process's temporary directory, holding `contents` or,
  // without any, the five bytes "Hello", and imports it into `container`. Returns the imported item or null.
  VLItemRef createTestFile(const std::shared_ptr<VLValidator>& validator, const std::string& container,
                           const std::optional<VLData>& contents, const std::optional<std::string>& extension);
  // Imports a new folder (a fresh, empty temporary directory) or a new "Hello" file without
  // extension into `container`. Returns the imported item or null.
  VLItemRef createTestItem(const std::shared_ptr<VLValidator>& validator, const std::string& container,
                           bool isDirectory);
  // Imports the local file, package or folder at `url` into `container`: a URL marked as a
  // directory becomes a new folder of the same name, anything else (a package too) is
  // copied. Watches the container's stream from before the look-up, and returns the item of
  // the first event that shows it there (not pending; a folder typed "public.folder").
  VLItemRef importTestItem(const std::shared_ptr<VLValidator>& validator, const std::string& container,
                           const VLURL& url);

  // ---- Validation service (VLValidationCaseService.cpp) ---------------------------------

  // Reaches the provider's validation service through `item`. Calls back once, on a service
  // thread, with the proxy, or with none and the error (KsTarragonErrorDomain 3328 when the
  // provider offers no validation service).
  void fetchValidationHelperForItem(const VLItemRef& item, HelperCompletion completion);

 protected:
  VLValidationCase() = default;

  // Returns the completion callback most actions of the suites take: no error fulfils
  // `expectation`, an error fails it with that error.
  static std::function<void(VLErrorRef error)> completionSettling(std::shared_ptr<VLExpectation> expectation);

 private:
  template <class Suite>
  static std::shared_ptr<VLValidationCase> makeSuiteInstance();
  const VLValidationOperation& requireOperation(const std::string& selector) const;
  std::shared_ptr<VLEventStream> streamForContainer(const std::string& identifier, const std::string& description);
  // _addCollection() with the stream named `description` before observing starts, so that
  // the stream's first events and its trace already carry the name.
  std::shared_ptr<VLEventStream> observe(const std::shared_ptr<VLItemCollection>& collection,
                                         const std::string& description);
  void runOnBackgroundThread(const std::shared_ptr<VLValidator>& validator, const std::function<void()>& completion);

  // Set at creation; the provider may be replaced before the case runs.
  std::shared_ptr<VLProvider> provider_;
  std::string selector_;
  std::optional<std::string> variantSelector_;
  VLValidationSuiteClassRef suiteClass_;

  // Owned by the thread running the case.
  std::vector<std::shared_ptr<VLItemCollection>> collections_;
  std::vector<std::shared_ptr<VLEventGeneratingDelegate>> delegates_;
  std::vector<std::shared_ptr<VLActionOperation>> cleanupOperations_;
  mutable std::mutex validatorMutex_;
  std::weak_ptr<VLValidator> validator_;  // guarded by validatorMutex_
  double cleanupTimeout_ = 15.0;
};

template <class Suite>
std::shared_ptr<VLValidationCase> VLValidationCase::makeSuiteInstance() {
  // A suite's implicit default constructor is public and may call the protected base one.
  return std::make_shared<Suite>();
}

template <class Suite>
void VLValidationCase::registerSuiteClass(std::vector<VLValidationOperation> operations) {
  registerSuiteClass(describeSuiteClass<Suite>(std::move(operations)));
}

template <class Suite>
VLValidationSuiteClassRef VLValidationCase::describeSuiteClass(std::vector<VLValidationOperation> operations) {
  static_assert(std::is_base_of_v<VLValidationCase, Suite>, "a suite class derives from VLValidationCase");
  bool redefinesMarker = false;
  if constexpr (!std::is_same_v<decltype(&Suite::__vl__validation__class),
                                decltype(&VLValidationCase::__vl__validation__class)>) {
    redefinesMarker = true;
  } else {
    redefinesMarker = &Suite::__vl__validation__class != &VLValidationCase::__vl__validation__class;
  }
  std::string name = makeSuiteInstance<Suite>()->className();
  return VLValidationSuiteClass::make(std::move(name), std::type_index(typeid(Suite)), !redefinesMarker,
                                      &makeSuiteInstance<Suite>, std::move(operations));
}

template <class Suite>
std::shared_ptr<Suite> VLValidationCase::make(const std::string& selector, std::shared_ptr<VLProvider> provider) {
  return make<Suite>(selector, std::move(provider), std::nullopt);
}

template <class Suite>
std::shared_ptr<Suite> VLValidationCase::make(const std::string& selector, std::shared_ptr<VLProvider> provider,
                                              std::optional<std::string> variantSelector) {
  auto suiteClass = suiteClassForType(std::type_index(typeid(Suite)));
  if (!suiteClass) throw VLException("VLValidationCase::make: the suite class is not registered");
  return std::static_pointer_cast<Suite>(
      makeWithSuiteClass(suiteClass, selector, std::move(provider), std::move(variantSelector)));
}
