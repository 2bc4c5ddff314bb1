// The platform's own operations (thumbnail fetches, actions) turn work that throws into an
// error their completion reports, instead of letting the exception escape the queue.
#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Vaultline/VLActionOperation.h"
#include "Vaultline/VLItem.h"
#include "Vaultline/VLThumbnailFetchOperation.h"

namespace {

// Work that throws after reporting its first item.
class ThrowingThumbnails : public VLThumbnailFetchOperation {
 public:
  explicit ThrowingThumbnails(std::vector<VLItemRef> items) : VLThumbnailFetchOperation(std::move(items), {8, 8}, 1) {}

 protected:
  void main() override {
    deliverThumbnail(items().front(), VLData::fromString("png"), "png", nullptr);
    throw std::bad_alloc();
  }
};

class ThrowingAction : public VLActionOperation {
 protected:
  std::string argumentsDescription() const override { return ""; }
  void main() override { throw std::length_error("too long"); }
};

TEST(VLOperation, WorkThatThrowsCompletesWithAnError) {
  auto item = [](const std::string& name) {
    VLItemAttributes attributes;
    attributes.itemIdentifier = name;
    return VLItem::make(attributes);
  };
  auto thumbnails = std::make_shared<ThrowingThumbnails>(std::vector<VLItemRef>{item("a"), item("b"), item("c")});
  std::vector<std::pair<std::string, std::string>> reports;
  thumbnails->setPerThumbnailCompletionBlock(
      [&](const VLItemRef& reported, const std::optional<VLData>&, const std::string&, const VLErrorRef& error) {
        reports.emplace_back(reported->itemIdentifier(), error ? error->localizedDescription() : "");
      });
  thumbnails->start();
  EXPECT_TRUE(thumbnails->isFinished());
  const std::string failure = "ThrowingThumbnails failed with an exception: std::bad_alloc";
  EXPECT_EQ(reports, (std::vector<std::pair<std::string, std::string>>{{"a", ""}, {"b", failure}, {"c", failure}}));

  auto action = std::make_shared<ThrowingAction>();
  VLErrorRef completed;
  action->setActionCompletionBlock([&](VLErrorRef error) { completed = error; });
  action->start();
  EXPECT_TRUE(action->isFinished());
  ASSERT_TRUE(completed);
  EXPECT_EQ(completed->domain(), VLExceptionErrorDomain);
  EXPECT_EQ(completed->localizedDescription(), "ThrowingAction failed with an exception: std::length_error: too long");
}

}  // namespace
