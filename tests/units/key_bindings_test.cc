// The key bindings in both of their branches, and the keymaps, over a stand-in for the editor.
#include "Cli/keys/key_bindings.h"

#include <gtest/gtest.h>

#include <cstddef>

#include "Cli/keys/completion.h"
#include "keymaps_editor.h"

namespace {

// Taken before any test can have changed them.
const int supported_at_load = keymapsSupported;
const int flag_at_load = keyBindingsEnabledFlag;

char **other_hook(const char *, int, int) { return nullptr; }

class KeyBindings : public testing::Test {
 protected:
  void TearDown() override {
    editor = {};
    keymapsSupported = 0;
    lineedit::rl_attempted_completion_function = nullptr;
  }
};

// --- The keymaps ---------------------------------------------------------------------------------

TEST_F(KeyBindings, NothingIsSetAtLoad) {
  EXPECT_EQ(supported_at_load, 0);
  EXPECT_EQ(flag_at_load, 0);
}

TEST_F(KeyBindings, MapsHoldsTheFiveKeymapsInOrder) {
  ASSERT_EQ(sizeof maps / sizeof maps[0], 5U);
  EXPECT_EQ(maps[0], emacs_standard_keymap);
  EXPECT_EQ(maps[1], emacs_meta_keymap);
  EXPECT_EQ(maps[2], emacs_ctlx_keymap);
  EXPECT_EQ(maps[3], vi_movement_keymap);
  EXPECT_EQ(maps[4], vi_insertion_keymap);
}

TEST_F(KeyBindings, KeymapsHave256UnboundKeys) {
  EXPECT_EQ(sizeof emacs_standard_keymap / sizeof emacs_standard_keymap[0], 256U);
  EXPECT_EQ(sizeof emacs_meta_keymap / sizeof emacs_meta_keymap[0], 256U);
  EXPECT_EQ(sizeof emacs_ctlx_keymap / sizeof emacs_ctlx_keymap[0], 256U);
  EXPECT_EQ(sizeof vi_movement_keymap / sizeof vi_movement_keymap[0], 256U);
  EXPECT_EQ(sizeof vi_insertion_keymap / sizeof vi_insertion_keymap[0], 256U);
  for (const lineedit::Keymap map : maps) {
    for (int key = 0; key < 256; ++key) {
      EXPECT_EQ(map[key].type, 0) << key;
      EXPECT_EQ(map[key].function, nullptr) << key;
    }
  }
}

TEST_F(KeyBindings, KeymapEntryIsTypeByteThenFunction) {
  EXPECT_EQ(offsetof(lineedit::KeymapEntry, type), 0U);
  EXPECT_EQ(sizeof(lineedit::KeymapEntry::type), 1U);
  EXPECT_EQ(offsetof(lineedit::KeymapEntry, function), sizeof(void *));
}

// --- bind_key_in_map -----------------------------------------------------------------------------

TEST_F(KeyBindings, WithoutKeymapsOnlyTheStandardKeymapBinds) {
  editor.results = {7};
  EXPECT_EQ(bind_key_in_map(65, complete_line, emacs_standard_keymap), 7);
  EXPECT_EQ(editor.log, Log{"key 65 to complete_line"});
  for (int i = 1; i < keymap_count; ++i)
    EXPECT_EQ(bind_key_in_map(65, complete_line, maps[i]), -1) << i;
  EXPECT_EQ(editor.log.size(), 1U);
}

TEST_F(KeyBindings, WithKeymapsEveryKeymapBinds) {
  keymapsSupported = 1;
  editor.results = {1, 2, 3, 4, 5};
  Log wanted;
  for (int i = 0; i < keymap_count; ++i) {
    EXPECT_EQ(bind_key_in_map(66, nullptr, maps[i]), i + 1);
    wanted.push_back("key 66 to null in " + std::to_string(i));
  }
  EXPECT_EQ(editor.log, wanted);
}

TEST_F(KeyBindings, AnyNonZeroIndicatorMeansKeymaps) {
  keymapsSupported = -2;
  bind_key_in_map(1, complete_line, vi_movement_keymap);
  EXPECT_EQ(editor.log, Log{"key 1 to complete_line in 3"});
}

// --- setup_key_bindings --------------------------------------------------------------------------

TEST_F(KeyBindings, WithoutKeymapsBindsEditorCommandsInOrder) {
  setup_key_bindings();
  EXPECT_EQ(editor.log,
            (Log{"line bind ^I rl_complete", "line bind ? rl_complete",
                 "line bind ^R em-inc-search-prev", "line bind ^W ed-delete-prev-word"}));
}

TEST_F(KeyBindings, WithoutKeymapsInstallsTheHookBeforeItBinds) {
  lineedit::rl_attempted_completion_function = other_hook;
  editor.observer = [] {
    EXPECT_EQ(lineedit::rl_attempted_completion_function, complete_line_wrapper);
  };
  setup_key_bindings();
  EXPECT_FALSE(editor.log.empty());
}

TEST_F(KeyBindings, WithoutKeymapsARefusalStopsNothingAndTheLastResultCounts) {
  editor.results = {1, 1, 1, 0};
  EXPECT_EQ(setup_key_bindings(), 0);
  editor.results = {0, 0, 0, 1};
  editor.results_used = 0;
  EXPECT_EQ(setup_key_bindings(), 1);
  EXPECT_EQ(editor.log.size(), 8U);
}

TEST_F(KeyBindings, WithKeymapsBindsAndUnbindsInOrder) {
  keymapsSupported = 1;
  setup_key_bindings();
  EXPECT_EQ(editor.log, (Log{"key 9 to complete_line", "key 63 to complete_line",
                             // Standard, vi movement, vi insertion.
                             "key 9 to complete_line in 0", "key 63 to complete_line in 0",
                             "key 9 to complete_line in 3", "key 63 to complete_line in 3",
                             "key 9 to complete_line in 4", "key 63 to complete_line in 4",
                             // = * # of vi movement.
                             "key 61 to null in 3", "key 42 to null in 3", "key 35 to null in 3",
                             // ? = * Escape ~ & # after Meta.
                             "key 63 to null in 1", "key 61 to null in 1", "key 42 to null in 1",
                             "key 27 to null in 1", "key 126 to null in 1", "key 38 to null in 1",
                             "key 35 to null in 1"}));
}

TEST_F(KeyBindings, WithKeymapsReturnsTheLastResult) {
  keymapsSupported = 1;
  for (int i = 0; i < 18; ++i) editor.results.push_back(100 + i);
  EXPECT_EQ(setup_key_bindings(), 117);
}

TEST_F(KeyBindings, WithKeymapsLeavesTheHook) {
  keymapsSupported = 1;
  lineedit::rl_attempted_completion_function = other_hook;
  setup_key_bindings();
  EXPECT_EQ(lineedit::rl_attempted_completion_function, other_hook);
}

TEST_F(KeyBindings, SettingUpLeavesTheFlag) {
  for (const unsigned char flag : {0, 1}) {
    for (const int supported : {0, 1}) {
      keyBindingsEnabledFlag = flag;
      keymapsSupported = supported;
      setup_key_bindings();
      EXPECT_EQ(keyBindingsEnabledFlag, flag);
    }
  }
  keyBindingsEnabledFlag = 0;
}

}  // namespace
