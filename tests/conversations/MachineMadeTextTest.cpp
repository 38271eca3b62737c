#include "OrvelCore/conversations/MachineMadeText.h"

#include <string>

using namespace orvel;

TEST(MachineMadeText, IsToldFromTheUsersOwnWords) {
    const std::tuple<Agent, std::string, std::optional<MachineMade>> cases[] = {
        {Agent::claude, "[Request interrupted by user]", MachineMade::interruption},
        {Agent::claude, "[Request interrupted by user for tool use]\n", MachineMade::interruption},
        {Agent::claude, "[Request interrupted by user] is what it says. Why?", std::nullopt},
        {Agent::claude, "<system-reminder>\nThe user named this session.\n</system-reminder>",
         MachineMade::reminder},
        {Agent::claude, "\n<system-reminder>a</system-reminder>\n<system-reminder>b</system-reminder> ",
         MachineMade::reminder},
        {Agent::claude, "Why?\n<system-reminder>a</system-reminder>", std::nullopt},
        {Agent::claude, "<system-reminder>a</system-reminder> is what I see.", std::nullopt},
        {Agent::claude, "<system-reminder> never ends", std::nullopt},
        {Agent::claude, "<system-reminder", std::nullopt},
        {Agent::claude,
         "This session is being continued from a previous conversation that ran out of context. The …",
         MachineMade::summary},
        {Agent::claude,
         "<command-name>/rename</command-name>\n            <command-message>rename</command-message>\n"
         "            <command-args>Typed title</command-args>",
         MachineMade::localCommand},
        {Agent::claude, "<local-command-stdout></local-command-stdout>", MachineMade::localCommand},
        {Agent::claude, "<bash-input>ls</bash-input>", MachineMade::localCommand},
        {Agent::claude, "<html></html>", std::nullopt},
        {Agent::claude, "<turn_aborted>\nx\n</turn_aborted>", std::nullopt}, // Codex's, pasted.
        {Agent::claude, "", std::nullopt},
        {Agent::codex, "<turn_aborted>\nThe user interrupted.\n</turn_aborted>", MachineMade::interruption},
        {Agent::codex, "<environment_context>\n  <cwd>/w</cwd>\n</environment_context>",
         MachineMade::setting},
        {Agent::codex, "# AGENTS.md instructions for /w\n\n<INSTRUCTIONS>\nx\n</INSTRUCTIONS>",
         MachineMade::setting},
        {Agent::codex, "# AGENTS.md instructions are too long. Please cut them.", std::nullopt},
        {Agent::codex, "<system-reminder>a</system-reminder>", std::nullopt},
    };
    for (const auto& [agent, text, kind] : cases) EXPECT_EQ(machineMade(agent, text), kind) << text;
}
