#include <gtest/gtest.h>

#include <filesystem>

#include <unistd.h>

#include "Core/VLException.h"
#include "Core/VLURL.h"

namespace {

TEST(VLURL, AbsoluteStringEncodesPathAndMarksDirectories) {
  EXPECT_EQ(VLURL::fileURLWithPath("/tmp/plain.txt", false).absoluteString(), "file:///tmp/plain.txt");
  EXPECT_EQ(VLURL::fileURLWithPath("/tmp/dir", true).absoluteString(), "file:///tmp/dir/");
  EXPECT_EQ(VLURL::fileURLWithPath("/tmp/dir/", true).absoluteString(), "file:///tmp/dir/");
  EXPECT_EQ(VLURL::fileURLWithPath("/", true).absoluteString(), "file:///");
  // Space, '%', '?', '#' and non-ASCII bytes are escaped; sub-delimiters are not.
  EXPECT_EQ(VLURL::fileURLWithPath("/a b/100%?#é", false).absoluteString(), "file:///a%20b/100%25%3F%23%C3%A9");
  EXPECT_EQ(VLURL::fileURLWithPath("/x/a+b,c=d;e@f", false).absoluteString(), "file:///x/a+b,c=d;e@f");
  EXPECT_EQ(VLURL::fileURLWithPath("/a/./b/../c", false).path(), "/a/c");
  EXPECT_EQ(VLURL::fileURLWithPath("rel", false).path(), (std::filesystem::current_path() / "rel").string());
}

TEST(VLURL, RelativePathWithoutAWorkingDirectoryThrows) {
  auto previous = std::filesystem::current_path();
  auto gone = std::filesystem::temp_directory_path() / ("vlurl-gone-" + std::to_string(::getpid()));
  std::filesystem::create_directory(gone);
  std::filesystem::current_path(gone);
  std::filesystem::remove(gone);
  EXPECT_THROW(VLURL::fileURLWithPath("rel", false), VLException);
  EXPECT_EQ(VLURL::fileURLWithPath("/abs", false).path(), "/abs");
  std::filesystem::current_path(previous);
}

TEST(VLURL, ComponentsAndExtensions) {
  auto file = VLURL::fileURLWithPath("/Users/me/Archive.tar.gz", false);
  EXPECT_EQ(file.lastPathComponent(), "Archive.tar.gz");
  EXPECT_EQ(file.pathExtension(), "gz");
  EXPECT_EQ(VLURL::fileURLWithPath("/a/.hidden", false).pathExtension(), "");
  EXPECT_EQ(VLURL::fileURLWithPath("/dir.d/file", false).pathExtension(), "");

  auto parent = file.URLByDeletingLastPathComponent();
  EXPECT_EQ(parent.path(), "/Users/me");
  EXPECT_TRUE(parent.hasDirectoryPath());
  EXPECT_EQ(VLURL::fileURLWithPath("/top", false).URLByDeletingLastPathComponent().absoluteString(), "file:///");
  EXPECT_EQ(parent.URLByAppendingPathComponent("sub", true).absoluteString(), "file:///Users/me/sub/");
  EXPECT_EQ(VLURL::fileURLWithPath("/", true).URLByAppendingPathComponent("x", false).path(), "/x");
  EXPECT_EQ(VLURL::fileURLWithPath("/d/name", false).URLByAppendingPathExtension("jpeg").lastPathComponent(),
            "name.jpeg");
}

TEST(VLURL, ShortDescriptionShowsParentAndName) {
  EXPECT_EQ(vl_shortDescription(VLURL::fileURLWithPath("/tmp/folder/a.txt", false)), "…/folder/a.txt");
  EXPECT_EQ(vl_shortDescription(VLURL::fileURLWithPath("/tmp/folder/sub", true)), "…/folder/sub/");
  EXPECT_EQ(vl_shortDescription(VLURL::fileURLWithPath("/a.txt", false)), "a.txt");
}

}  // namespace
