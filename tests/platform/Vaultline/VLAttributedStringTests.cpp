// A styled string refuses to become a rich-text package, saying why, for a bad range or
// document type.
#include <gtest/gtest.h>

#include <string>

#include "Vaultline/VLAttributedString.h"
#include "Vaultline/VLUIToolkit.h"

namespace {

VLValue::Dictionary typed(const std::string& type) { return {{VLUIToolkit::documentTypeDocumentAttribute(), type}}; }

TEST(VLRichTextPackage, RefusesABadRangeOrDocumentTypeSayingWhy) {
  VLAttributedString string("Grüße");
  struct Refusal {
    size_t location, length;
    VLValue::Dictionary attributes;
    std::string reason;
  };
  for (const auto& refusal :
       {Refusal{3, 3, typed(VLUIToolkit::rtfdTextDocumentType()), "outside the string"},
        Refusal{6, 0, typed(VLUIToolkit::rtfdTextDocumentType()), "outside the string"},
        Refusal{0, 5, {}, "name no document type"}, Refusal{0, 5, typed("Plain"), "Plain cannot be written"}}) {
    VLErrorRef error;
    EXPECT_FALSE(string.fileWrapperFromRange(refusal.location, refusal.length, refusal.attributes, &error));
    ASSERT_TRUE(error);
    EXPECT_NE(error->localizedDescription().find(refusal.reason), std::string::npos) << error->localizedDescription();
  }
}

}  // namespace
