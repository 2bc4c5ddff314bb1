// The provider choice that every front end shares: what each kind accepts and refuses, with
// messages that name the mistake; the parsed value and its text agreeing both ways; settings
// added per kind so that a program gets them as one word; the help listing every row;
// bringing a provider up (with exactly the words given) or saying why not.
#include <gtest/gtest.h>

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

#include "Choice/VLExecProviderArgument.h"
#include "Choice/VLProviderChoice.h"
#include "Choice/VLSimulatedProviderArgument.h"
#include "Core/VLText.h"
#include "Remote/VLRemoteChildProcess.h"
#include "Simulated/Simulated.h"

namespace {

TEST(VLProviderChoice, EachKindAcceptsWhatItCanBringUpAndNamesWhatItCannot) {
  struct Row {
    std::string text;
    std::string prefix;  // of the parsed kind; "" when parsing must fail
    std::string words;   // in the message of the failure; for exec, the command's words joined by '|'
  };
  const std::vector<Row> rows = {
      {"sim", "sim", ""},
      {"sim:case-sensitive-names,upload-latency=200ms", "sim", ""},
      {"sim:case-sensitive-names,nope", "", "--provider sim:case-sensitive-names,nope: "},
      {"sim:upload-latency=soon", "", "upload-latency"},
      {"exec:provider --flag 'two words'", "exec", "provider|--flag|two words"},
      {R"(exec:"a b" c\ d 'it'\''s' "x\"y" '')", "exec", "a b|c d|it's|x\"y|"},
      {"exec", "", "--provider exec: exec needs a command"},
      {"exec:   ", "", "exec needs a command"},
      {"exec:'unclosed", "", "unterminated ' quote"},
      {"unix:/run/provider.sock", "unix", ""},
      {"unix:", "", "--provider unix:: unix needs a socket path"},
      {"ftp:host", "", "--provider ftp:host: unknown provider kind 'ftp'; kinds:\n"},
      {"", "", "unknown provider kind ''"},
      {"Sim", "", "unknown provider kind 'Sim'"},
  };
  std::set<std::string> accepted;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    if (!row.prefix.empty()) {
      accepted.insert(row.prefix);
      const auto choice = VLProviderChoice::parse(row.text);
      EXPECT_EQ(choice.kind().prefix, row.prefix);
      EXPECT_EQ(choice.text(), row.text);
      // Parse → value → text → parse gives the same value, through the choice's text and
      // through the argument's own (which for exec is quoted anew).
      EXPECT_EQ(VLProviderChoice::parse(choice.text()), choice);
      const VLProviderChoice remade(choice.kind(), choice.kind().parse(choice.argument().text()));
      EXPECT_EQ(remade, choice);
      EXPECT_EQ(VLProviderChoice::parse(remade.text()), choice) << remade.text();
      if (const auto* exec = choice.argumentAs<VLExecProviderArgument>()) {
        EXPECT_EQ(vl_join(exec->words(), "|"), row.words);
      }
      continue;
    }
    try {
      VLProviderChoice::parse(row.text);
      ADD_FAILURE() << "accepted";
    } catch (const VLUsageError& error) {
      EXPECT_NE(std::string(error.what()).find(row.words), std::string::npos) << error.what();
    }
  }  // A new kind gets its rows here: the round trip above is what lets choices compare.
  for (const auto& kind : VLProviderKind::all()) EXPECT_TRUE(accepted.count(kind.prefix)) << kind.prefix << " has no row";
}

TEST(VLProviderChoice, SettingsAreAddedAsEachKindTakesThem) {
  struct Row {
    std::string choice, settings, result;
  };
  const std::vector<Row> rows = {
      {"sim", "case-sensitive-names", "sim:case-sensitive-names"},
      {"sim:case-sensitive-names", "no-child-count", "sim:case-sensitive-names,no-child-count"},
      {"exec:provider", "case-sensitive-names,upload-latency=1ms", "exec:provider case-sensitive-names,upload-latency=1ms"},
      {"exec:'my provider' -v", "a b", "exec:'my provider' -v 'a b'"},
      {"exec:provider", "", "exec:provider"},
      {"unix:/run/provider.sock", "", "unix:/run/provider.sock"},
  };
  for (const auto& row : rows) {
    const auto choice = VLProviderChoice::parse(row.choice).withSettings(row.settings);
    EXPECT_EQ(choice.text(), row.result) << row.choice;
    EXPECT_EQ(VLProviderChoice::parse(choice.text()), choice) << row.choice;
  }
  // The simulated provider's settings are parsed once, with the choice.
  const auto withQuirk = VLProviderChoice::parse("sim:alternate-root=Tests").withSettings("case-sensitive-names");
  const auto* sim = withQuirk.argumentAs<VLSimulatedProviderArgument>();
  ASSERT_NE(sim, nullptr);
  EXPECT_EQ(sim->settings().alternateRootName, "Tests");
  EXPECT_TRUE(sim->settings().has(VLSimulatedQuirk::CaseSensitiveNames));
  // Whatever the settings hold, the program gets them as one word, and the text says so.
  for (const std::string settings : {"a b", "it's", "'", "\\ \"x\"", "$HOME;*", "tab\there"}) {
    const auto choice = VLProviderChoice::parse("exec:provider").withSettings(settings);
    const std::vector<std::string> words = {"provider", settings};
    EXPECT_EQ(choice.argumentAs<VLExecProviderArgument>()->words(), words) << choice.text();
    EXPECT_EQ(VLRemoteChildProcess::splitCommandLine(choice.argument().text()), words) << choice.text();
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

// The words of an exec: choice reach the program as they were parsed, however they were quoted,
// and the settings added to it arrive as one word: no quoting and splitting on the way. The
// program writes its arguments to a file and ends without a handshake.
TEST_F(VLProviderChoiceInstall, ExecWordsArriveInTheProgramUnchanged) {
  char folder[] = "/tmp/vlchoice-XXXXXX";
  ASSERT_NE(::mkdtemp(folder), nullptr);
  const std::string file = std::string(folder) + "/arguments";
  const std::vector<std::string> arguments = {"a b", "it's", "\"q\"", "back\\slash", "$HOME", "*", "", "tab\tnew\nline"};
  std::vector<std::string> words = {"/bin/sh", "-c", "printf '%s\\0' \"$@\" > \"$0\"", file};
  words.insert(words.end(), arguments.begin(), arguments.end());
  const VLProviderChoice made(*VLProviderKind::find("exec"), VLExecProviderArgument::of(words));
  const auto choice = VLProviderChoice::parse(made.text()).withSettings("upload-latency=1ms,it's");
  EXPECT_THROW(choice.install(), VLProviderUnavailable);

  std::ifstream in(file, std::ios::binary);
  const std::string written((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::vector<std::string> received;
  for (size_t start = 0, end; (end = written.find('\0', start)) != std::string::npos; start = end + 1) {
    received.push_back(written.substr(start, end - start));
  }
  auto expected = arguments;
  expected.push_back("upload-latency=1ms,it's");
  EXPECT_EQ(received, expected) << choice.text();
  std::filesystem::remove_all(folder);
}

}  // namespace
