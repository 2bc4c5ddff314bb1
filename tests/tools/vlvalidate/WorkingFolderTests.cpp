// Another user who plants a folder or a symbolic link where a run's working folder could be
// expected (named after the run's process ID) gains nothing: the run writes nothing through
// them, leaves them as they were, and removes its own folder when it ends.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "ReportFiles.h"

namespace fs = std::filesystem;

namespace {

std::set<std::string> entriesOf(const fs::path& folder) {
  std::set<std::string> names;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) names.insert(entry.path().lexically_relative(folder));
  return names;
}

struct Plant {
  std::string name;
  std::string script;  // shell lines run before vlvalidate; $W is the predictable folder, $O the outside one
};

// The process ID in the planted folder's name: the one entry whose suffix is all digits.
std::string plantedPid(const fs::path& tmp) {
  for (const auto& entry : fs::directory_iterator(tmp)) {
    const std::string name = entry.path().filename();
    const std::string suffix = name.substr(name.find('-') + 1);
    if (!suffix.empty() && suffix.find_first_not_of("0123456789") == std::string::npos) return suffix;
  }
  return "";
}

TEST(WorkingFolder, PlantedFoldersAndLinksAreNeverWrittenThrough) {
  const Plant plants[] = {
      {"the folder is a link", "ln -s \"$O\" \"$W\""},
      {"the folder exists, open to all, with links inside",
       "mkdir -m 777 \"$W\" && ln -s \"$O\" \"$W/SimulatedProvider-1\" && ln -s \"$O/stolen\" \"$W/Hello.txt\""},
  };
  for (const auto& plant : plants) {
    SCOPED_TRACE(plant.name);
    const fs::path root = fs::path(::testing::TempDir()) / ("vlvalidate-plant-" + std::to_string(::getpid()));
    fs::remove_all(root);
    const fs::path tmp = root / "tmp", outside = root / "outside";
    fs::create_directories(tmp);
    fs::create_directories(outside);
    const fs::path log = root / "run.log";

    // The shell's process ID is the one vlvalidate runs with after exec, so the plant sits
    // exactly where a folder named after it would be.
    std::ostringstream command;
    command << "TMPDIR='" << tmp.string() << "'; export TMPDIR; O='" << outside.string()
            << "'; W=\"$TMPDIR/VaultlineValidations-$$\"; " << plant.script << " && exec '" << VLVALIDATE_PATH
            << "' --filter 'VLContainerValidation.SecondItem*:VLFileTypeValidation.*' > '" << log.string()
            << "' 2>&1";
    const int status = std::system(command.str().c_str());
    const std::string output = e2e::readText(log);
    ASSERT_TRUE(WIFEXITED(status)) << output;
    EXPECT_EQ(WEXITSTATUS(status), 0) << output;

    EXPECT_TRUE(fs::is_empty(outside)) << "written through a planted link";
    // The plant is left in TMPDIR as it was; anything else is the run's own private folder
    // (normally removed at exit; one still being emptied by a provider thread is harmless).
    const fs::path predictable = tmp / ("VaultlineValidations-" + plantedPid(tmp));
    for (const auto& entry : fs::directory_iterator(tmp)) {
      if (entry.path() == predictable) continue;
      EXPECT_TRUE(fs::is_directory(fs::symlink_status(entry.path()))) << entry.path();
      EXPECT_EQ(fs::status(entry.path()).permissions() & fs::perms::all, fs::perms::owner_all) << entry.path();
    }
    if (fs::is_symlink(predictable)) {
      EXPECT_EQ(fs::read_symlink(predictable), outside);
    } else {
      EXPECT_EQ(entriesOf(predictable), (std::set<std::string>{"Hello.txt", "SimulatedProvider-1"}));
    }
    fs::remove_all(root);
  }
}

}  // namespace
