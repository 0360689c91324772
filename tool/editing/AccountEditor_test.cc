// Tests of how often an edit reads and writes the settings in all, however many accounts they hold.
#include "tool/editing/AccountEditor.h"

#include <gtest/gtest.h>

#include "store/ShortCuts.h"
#include "testing/ToolRun.h"

namespace accountsettings {

// Is looked up where gtest prints one.
void PrintTo(const SettingsWork& work, std::ostream* stream) {
  *stream << work.parsed << " parsed, " << work.serialized << " serialised, " << work.storesBuilt
          << " built";
}

namespace testing {
namespace {

class EditorWork : public ::testing::TestWithParam<int> {
 protected:
  EditorWork() {
    Array accounts;
    for (int i = 0; i < GetParam(); ++i) accounts.append(mailAccount("A" + std::to_string(i)));
    root.putSettings(12, accounts);
    options.root = root.path();
    options.log = root.at("/edit.log");
  }

  // What is done with the settings while the first account gets this name.
  SettingsWork workToSet(const std::string& name) {
    std::vector<std::string> notes;
    Output output(notes);
    Session session{options, output};
    AccountEditor editor(session, {});
    editor.set(editor.account("A0"), "DisplayName", PropertyList(name));
    EXPECT_EQ(editor.finish("set", "A0"), ExitStatus::Done);
    return settingsWork();
  }

  ToolRoot root;
  CommonOptions options;
};

INSTANTIATE_TEST_SUITE_P(Accounts, EditorWork, ::testing::Values(10, 1000));

TEST_P(EditorWork, AnEditParsesAndSerialisesTheSettingsOnce) {
  const SettingsWork work = workToSet("Another");
  EXPECT_EQ(work, (SettingsWork{.parsed = 1, .serialized = 1, .storesBuilt = 1}));
  EXPECT_EQ(root.account(0).string("DisplayName"), "Another");
}

TEST_P(EditorWork, WhatIsThereAlreadyIsNotSerialised) {
  workToSet("Another");
  const auto before = root.snapshot();
  EXPECT_EQ(workToSet("Another"), (SettingsWork{.parsed = 1, .serialized = 0, .storesBuilt = 1}));
  EXPECT_EQ(root.snapshot().at(ToolRoot::kSettings), before.at(ToolRoot::kSettings));
}

}  // namespace
}  // namespace testing
}  // namespace accountsettings
