// The rich-text package the file type suite imports: a styled string written by the platform as
// a package directory, read back by the reader the suite uses.
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>

#include "Validations/Implementation/VLRichTextReader.h"
#include "Vaultline/VLAttributedString.h"
#include "Vaultline/VLFileManager.h"
#include "Vaultline/VLUIToolkit.h"

namespace {

namespace fs = std::filesystem;

VLValue::Dictionary typed(const std::string& type) { return {{VLUIToolkit::documentTypeDocumentAttribute(), type}}; }

TEST(VLRichTextPackage, WritesItsTextAsAPackageDirectory) {
  fs::path folder = fs::temp_directory_path() / ("VLRichTextPackage-" + std::to_string(::getpid()));
  fs::create_directories(folder);
  VLURL url = VLURL::fileURLWithPath((folder / "Letter.rtfd").string(), false);
  for (const std::string text : {"Not very fancy", "Grüße {aus} \\ Köln"}) {
    VLAttributedString string(text);
    VLErrorRef error;
    auto package = string.fileWrapperFromRange(0, string.length(), typed(VLUIToolkit::rtfdTextDocumentType()), &error);
    ASSERT_TRUE(package) << error->description();
    ASSERT_TRUE(package->writeToURL(url, &error)) << error->description();  // the second round replaces the first
    EXPECT_TRUE(fs::is_directory(url.path()));
    auto written = VLFileManager::defaultManager().contentsAtURL(url.URLByAppendingPathComponent("TXT.rtf", false));
    ASSERT_TRUE(written);
    EXPECT_EQ(VLRichTextReader::plainText(written->stringValue()), text);
  }
  EXPECT_EQ(VLAttributedString("Not very fancy").length(), 14u);
  fs::remove_all(folder);
}

}  // namespace
