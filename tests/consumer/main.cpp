// Uses the harness as an outside program would: a validator, expectations fulfilled,
// failed and left open, a wait, and the result and texts read back.
#include <cstdio>

#include "Validations/Validations.h"

int main() {
  auto validator = VLValidator::make();
  validator->startValidation();
  validator->expectationWithDescription("fulfilled %d", 1)->fulfill();
  validator->expectationWithDescription("failed")->failWithComment("went wrong: %@", "badly");
  auto open = validator->expectationWithDescription("never settled");
  validator->waitForExpectationsWithTimeout(0.2);
  validator->finishValidation();

  bool ok = validator->result() == VLValidationResultFailed && open->result() == VLValidationResultFailed &&
            open->comment() == "Timed out (0.2s)" && open->error() && open->error()->code() == 2 &&
            validator->handledExpectations().size() == 3;
  std::printf("%sresult %u, %zu handled\n%s", ok ? "" : "UNEXPECTED: ", validator->result(),
              validator->handledExpectations().size(), validator->description().c_str());
  return ok ? 0 : 1;
}
