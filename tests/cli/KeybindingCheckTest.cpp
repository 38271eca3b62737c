// What the command line says about Codex's keybindings.

#include "cli/CommandLineRun.h"

#include <nlohmann/json.hpp>

using namespace orvel;
using nlohmann::json;
using testing::HasSubstr;

TEST_F(CommandLine, TellsWhatKeybindingsMean) {
    const auto file = home.write("keybindings.json", R"([{"command":"copyDeeplink","key":"Cmd+Alt+Shift+L"},
                                                         {"command":"x","key":"Shift+Return"}])");
    const auto result = run({"keybindings", file});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(
        result.out,
        "Send keys: conflicting\n"
        "  Shift+Return is assigned to another action. Japanese Return verification is disabled.\n"
        "Copy shortcut: custom\n"
        "  A supported custom shortcut can copy the conversation URL in the confirmed settings.\n"
        "Japanese Return: stopped\n"
        "  Codex keybindings contain an unsupported override for Japanese Return or an unreadable format.\n");

    const auto said = json::parse(run({"keybindings", "--json", file}).out);
    EXPECT_EQ(said.at("sendKeys").at("disposition"), "conflicting");
    EXPECT_EQ(said.at("sendKeys").at("hasCustomSubmit"), false);
    EXPECT_EQ(said.at("copyShortcut").at("disposition"), "custom");
    EXPECT_EQ(said.at("copyShortcut").at("shortcut"),
              json::parse(R"({"keyCode":37,"command":true,"control":false,"option":true,"shift":true})"));
    EXPECT_EQ(said.at("allowsDefaultReturn"), false);
}

TEST_F(CommandLine, JudgesKeybindingsThatAreNotThereOrTooLarge) {
    const auto absent = run({"keybindings", home.path("nowhere.json"), "--json"});
    EXPECT_EQ(absent.status, 0);
    EXPECT_EQ(absent.err, "There is no such file; without one Codex has its own shortcuts.\n");
    EXPECT_EQ(json::parse(absent.out).at("copyShortcut").at("disposition"), "standard");
    EXPECT_EQ(json::parse(absent.out).at("allowsDefaultReturn"), true);

    const auto large = home.write("large.json", "[" + std::string(65'535, ' ') + "]");
    EXPECT_THAT(run({"keybindings", large}).out, HasSubstr("Copy shortcut: oversized\n"));
    const auto folder = run({"keybindings", home.path("")});
    EXPECT_EQ(folder.status, 1);
    EXPECT_EQ(folder.out, "");
}
