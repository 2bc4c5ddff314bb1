// Running one case on the shared background queue, and tearing it down afterwards.
#include "Core/VLException.h"
#include "Core/VLFormat.h"
#include "Core/VLLog.h"
#include "Dispatch/VLBackgroundQueue.h"
#include "Dispatch/VLOperationQueue.h"
#include "Validations/VLEventGeneratingDelegate.h"
#include "Validations/VLValidationCase.h"

std::shared_ptr<VLValidator> VLValidationCase::validator() const {
  std::lock_guard lock(validatorMutex_);
  return validator_.lock();
}

void VLValidationCase::setValidator(const std::shared_ptr<VLValidator>& validator) {
  std::lock_guard lock(validatorMutex_);
  validator_ = validator;
}

void VLValidationCase::performWithValidator(const std::shared_ptr<VLValidator>& validator,
                                            std::function<void()> completion) {
  auto self = shared_from_this();
  _performWithValidator(validator, [self, validator, completion] {
    self->_tearDown(validator);
    if (completion) completion();
  });
}

void VLValidationCase::_performWithValidator(const std::shared_ptr<VLValidator>& validator,
                                             std::function<void()> completion) {
  if (!validator) throw VLException("VLValidationCase: " + description() + " can't run without a validator");
  // Resolved before anything starts, so a case that can't run fails here, on the caller's thread.
  const VLValidationOperation* validation = &requireOperation(selector_);
  const VLValidationOperation* variant = variantSelector_ ? &requireOperation(*variantSelector_) : nullptr;
  setValidator(validator);
  validator->startValidation();

  auto self = shared_from_this();
  VLBackgroundQueue::shared().async([self, validator, completion = std::move(completion), validation, variant] {
    auto finish = [&] {
      validator->finishValidation();
      self->setValidator(nullptr);
      if (completion) completion();
    };
    try {
      VLValue variantValue;
      if (variant) {
        variantValue = variant->invoke(*self, validator, VLValue());
        // No wait here: whatever the variant left open counts as inconclusive.
        if (variantValue.isNone() || validator->expectationsHaveFailed()) {
          finish();
          return;
        }
      }
      validation->invoke(*self, validator, variantValue);
      validator->waitForExpectations();
      finish();
    } catch (const VLException& exception) {
      validator->expectationWithDescription("Validation encountered an exception: %@", exception.description())->fail();
      finish();
    } catch (...) {
      // Not the case's to handle: any other exception is a broken suite. Stopping here, with
      // the case named, beats a case that never completes.
      vl_assertionFailure(VLFormat("Validation %@ raised an exception it does not handle: %@", self->description(),
                                   vl_describeCurrentException()));
    }
  });
}

void VLValidationCase::_tearDown(const std::shared_ptr<VLValidator>& validator) {
  for (const auto& collection : collections_) {
    collection->workingQueue()->sync([&] { collection->stopObserving(); });
  }
  collections_.clear();  // the observers stay in delegates_ for the case's lifetime

  // Straight onto an operation queue, not through the item manager: clean-up makes no
  // expectations of its own, and its failures are not the validation's.
  auto queue = VLOperationQueue::make();
  for (const auto& action : cleanupOperations_) queue->addOperation(action);
  if (!vl_waitUntilAllOperationsAreFinishedWithTimeout(*queue, cleanupTimeout_) && validator) {
    validator->expectationWithDescription("Cleanup within timeout")->fail();
  }
  cleanupOperations_.clear();
}
