// The provider choice that every front end shares: what each kind accepts and refuses, with
// messages that name the mistake; settings added per kind so that they survive the command
// line's splitting; the help listing every row; bringing a provider up or saying why not.
#include <gtest/gtest.h>

#include <sstream>

#include "Choice/VLProviderChoice.h"
#include "Remote/VLRemoteChildProcess.h"

namespace {

TEST(VLProviderChoice, EachKindAcceptsWhatItCanBringUpAndNamesWhatItCannot) {
  struct Row {
    std::string text;
    std::string prefix;  // of the parsed kind; "" when parsing must fail
    std::string words;   // in the message of the failure
  };
  const std::vector<Row> rows = {
      {"sim", "sim", ""},
      {"sim:case-sensitive-names,upload-latency=200ms", "sim", ""},
      {"sim:case-sensitive-names,nope", "", "--provider sim:case-sensitive-names,nope: "},
      {"sim:upload-latency=soon", "", "upload-latency"},
      {"exec:provider --flag 'two words'", "exec", ""},
      {"exec", "", "--provider exec: exec needs a command"},
      {"exec:   ", "", "exec needs a command"},
      {"exec:'unclosed", "", "unterminated ' quote"},
      {"unix:/run/provider.sock", "unix", ""},
      {"unix:", "", "--provider unix:: unix needs a socket path"},
      {"ftp:host", "", "--provider ftp:host: unknown provider kind 'ftp'; kinds:\n"},
      {"", "", "unknown provider kind ''"},
      {"Sim", "", "unknown provider kind 'Sim'"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    if (!row.prefix.empty()) {
      const auto choice = VLProviderChoice::parse(row.text);
      EXPECT_EQ(choice.kind().prefix, row.prefix);
      EXPECT_EQ(choice.text(), row.text);
      EXPECT_EQ(row.prefix + (choice.argument().empty() ? "" : ":" + choice.argument()), row.text);
      continue;
    }
    try {
      VLProviderChoice::parse(row.text);
      ADD_FAILURE() << "accepted";
    } catch (const VLUsageError& error) {
      EXPECT_NE(std::string(error.what()).find(row.words), std::string::npos) << error.what();
    }
  }
}

TEST(VLProviderChoice, SettingsAreAddedAsEachKindTakesThem) {
  struct Row {
    std::string choice, settings, result;
  };
  const std::vector<Row> rows = {
      {"sim", "case-sensitive-names", "sim:case-sensitive-names"},
      {"sim:case-sensitive-names", "no-child-count", "sim:case-sensitive-names,no-child-count"},
      {"exec:provider", "case-sensitive-names,upload-latency=1ms",
       "exec:provider 'case-sensitive-names,upload-latency=1ms'"},
      {"exec:provider", "", "exec:provider"},
      {"unix:/run/provider.sock", "", "unix:/run/provider.sock"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(VLProviderChoice::parse(row.choice).withSettings(row.settings).text(), row.result) << row.choice;
  }
  // Whatever the settings hold, the program gets them back as one argument.
  for (const std::string settings : {"a b", "it's", "'", "\\ \"x\"", "$HOME;*"}) {
    const auto choice = VLProviderChoice::parse("exec:provider").withSettings(settings);
    EXPECT_EQ(VLRemoteChildProcess::splitCommandLine(choice.argument()),
              (std::vector<std::string>{"provider", settings}))
        << choice.text();
  }

  const auto daemon = VLProviderChoice::parse("unix:/run/provider.sock");
  EXPECT_FALSE(daemon.takesSettings());
  EXPECT_TRUE(VLProviderChoice::parse("sim").takesSettings());
  try {
    daemon.withSettings("case-sensitive-names");
    ADD_FAILURE() << "a daemon took settings";
  } catch (const VLUsageError& error) {
    EXPECT_NE(std::string(error.what()).find("use sim or exec:COMMAND"), std::string::npos) << error.what();
  }
}

TEST(VLProviderChoice, HelpListsEveryFormOfEveryKindInOneColumn) {
  const std::string help = "\n" + VLProviderChoice::kindsHelp();
  size_t forms = 0;
  for (const auto& kind : VLProviderKind::all()) {
    EXPECT_EQ(VLProviderKind::find(kind.prefix), &kind);
    for (const auto& form : kind.help) {
      ++forms;
      EXPECT_NE(help.find("\n  " + form.usage + " "), std::string::npos) << form.usage;
    }
  }
  EXPECT_EQ(VLProviderKind::find("ftp"), nullptr);
  // Every line is a form (two spaces, the form) or continues one, and meanings start in one column.
  std::istringstream lines(help);
  size_t formLines = 0;
  for (std::string line; std::getline(lines, line);) {
    if (line.empty()) continue;
    ASSERT_GT(line.size(), 17u) << line;
    EXPECT_EQ(line.substr(0, 2), "  ") << line;
    EXPECT_EQ(line[16], ' ') << line;
    EXPECT_NE(line[17], ' ') << line;
    formLines += line[2] != ' ';
  }
  EXPECT_EQ(formLines, forms);
}

class VLProviderChoiceInstall : public ::testing::Test {
 protected:
  void TearDown() override { VLPlatform::install(nullptr); }
};

TEST_F(VLProviderChoiceInstall, BringsTheProviderUpOrSaysWhyNot) {
  const auto installed = VLProviderChoice::parse("sim:alternate-root=Tests").install();
  ASSERT_TRUE(installed.platform && installed.provider);
  EXPECT_EQ(VLPlatform::current(), installed.platform);

  const std::vector<std::pair<std::string, std::string>> unreachable = {
      {"exec:/nonexistent-folder/provider", "--provider exec:/nonexistent-folder/provider: "},
      {"unix:/nonexistent-folder/provider.sock", "--provider unix:/nonexistent-folder/provider.sock: "},
  };
  for (const auto& [text, words] : unreachable) {
    try {
      VLProviderChoice::parse(text).install();
      ADD_FAILURE() << text << " was brought up";
    } catch (const VLProviderUnavailable& error) {
      EXPECT_EQ(std::string(error.what()).rfind(words, 0), 0u) << error.what();
    }
  }
}

}  // namespace
