// The process's working folder is private to the user and never a folder someone else made,
// and file writes never follow a symbolic link planted where a file is about to be written.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "support/ActionRecordingPlatform.h"

namespace fs = std::filesystem;

namespace {

std::string contentsOf(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

TEST(VLWorkingFolder, IsNewPrivateAndOwnedByTheUser) {
  auto platform = ActionRecordingPlatform::install();
  const fs::path folder = VLFileManager::defaultManager().temporaryDirectory().path();
  struct stat status {};
  ASSERT_EQ(::lstat(folder.c_str(), &status), 0) << folder;
  EXPECT_TRUE(S_ISDIR(status.st_mode));
  EXPECT_EQ(status.st_mode & 07777, 0700u);
  EXPECT_EQ(status.st_uid, ::getuid());
  // Not a name anyone could have guessed from the process ID and made beforehand.
  EXPECT_EQ(folder.filename().string().find(std::to_string(::getpid())), std::string::npos) << folder;
  EXPECT_EQ(folder.filename().string().rfind("VaultlineValidations-", 0), 0u) << folder;
  VLPlatform::install(nullptr);
}

TEST(VLWorkingFolder, WritesNeverFollowAPlantedLink) {
  auto platform = ActionRecordingPlatform::install();
  auto& files = VLFileManager::defaultManager();
  const fs::path folder = files.temporaryDirectory().path();
  const fs::path victim = folder / "victim.txt";
  { std::ofstream(victim) << "precious"; }

  for (bool atomically : {false, true}) {
    SCOPED_TRACE(atomically ? "atomically" : "in place");
    const fs::path link = folder / "planted-link";
    fs::remove(link);
    fs::create_symlink(victim, link);
    VLErrorRef error;
    const bool wrote = files.writeData(VLData::fromString("overwritten"), VLURL::fileURLWithPath(link.string(), false),
                                       atomically, &error);
    if (atomically) {
      // The rename replaces the link itself: the file it pointed at is left alone.
      EXPECT_TRUE(wrote);
      EXPECT_FALSE(fs::is_symlink(link));
      EXPECT_EQ(contentsOf(link), "overwritten");
    } else {
      EXPECT_FALSE(wrote);
      ASSERT_TRUE(error);
      EXPECT_NE(error->localizedDescription().find("planted-link"), std::string::npos) << error->description();
    }
    EXPECT_EQ(contentsOf(victim), "precious");
  }

  // Atomic writes leave no scratch file beside their target.
  ASSERT_TRUE(files.writeData(VLData::fromString("a"), VLURL::fileURLWithPath((folder / "plain").string(), false), true));
  for (const auto& entry : fs::directory_iterator(folder)) {
    EXPECT_EQ(entry.path().filename().string().find(".vltmp-"), std::string::npos) << entry.path();
  }
  VLPlatform::install(nullptr);
}

}  // namespace
