// The manual page and the shell completions name what the program's own help names, and nothing else.

#include "cli/CommandLineRun.h"
#include "samples/TranscriptWriter.h"

#include <cstdio>
#include <filesystem>
#include <map>
#include <set>

using namespace orvel;

namespace {

using Names = std::set<std::string>;

const std::string source = ORVEL_SOURCE_DIR;

bool isNameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || c == '-';
}

// The words behind every `prefix` in the text, such as the long options behind "--".
Names namesBehind(const std::string& text, const std::string& prefix) {
    Names names;
    for (std::size_t at = 0; (at = text.find(prefix, at)) != text.npos;) {
        at += prefix.size();
        const auto begin = at;
        while (at < text.size() && isNameCharacter(text[at])) ++at;
        if (at > begin) names.insert(text.substr(begin, at - begin));
    }
    return names;
}

// The first words of the lines behind a heading, up to an empty line.
std::vector<std::string> entriesUnder(const std::string& text, const std::string& heading) {
    std::vector<std::string> entries;
    auto at = text.find("\n" + heading + ":\n");
    if (at == text.npos) return entries;
    at += heading.size() + 3;
    while (at < text.size() && text[at] != '\n') {
        if (text[at + 2] != ' ')
            entries.push_back(text.substr(at + 2, text.find_first_of(" \n", at + 2) - at - 2));
        at = text.find('\n', at) + 1;
    }
    return entries;
}

// Finds the program under its name.
struct ProgramOnPath {
    ProgramOnPath() { std::filesystem::create_symlink(ORVEL_CLI, folder.path("orvel-cli")); }

    TemporaryFolder folder;
    ScopedVariable path{"PATH", folder.path() + ":" + std::getenv("PATH")};
};

std::string withoutBackslashes(std::string text) {
    std::erase(text, '\\');
    return text;
}

// The text between the line that equals `begin` and the next line that begins with `end`.
std::string section(const std::string& text, const std::string& begin, const std::string& end) {
    const auto from = text.find("\n" + begin + "\n");
    EXPECT_NE(from, text.npos) << begin;
    return text.substr(from, text.find("\n" + end, from + 1) - from);
}

// What the program's help says.
struct Help {
    Help() {
        const auto general = run({"--help"}).out;
        for (const auto& command : entriesUnder(general, "Commands")) {
            commands.insert(command);
            optionsOf[command] = namesBehind(run({command, "--help"}).out, " --");
            optionsOf[command].insert("help");
            allOptions.insert(optionsOf[command].begin(), optionsOf[command].end());
        }
        optionsOf[""] = namesBehind(general, " --");
        optionsOf[""].insert("help");
    }

    Names commands, allOptions;
    std::map<std::string, Names> optionsOf;
};

// What bash offers behind the words.
Names bashOffers(const std::string& words) {
    const TemporaryFolder folder;
    const auto script = folder.write(
        "script", "source '" + source + "/packaging/completions/orvel-cli.bash'\n" +
                      "COMP_WORDS=(orvel-cli " + words + ")\n" + "COMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n" +
                      "_orvel_cli\n" + "echo ${COMPREPLY[@]}\n");
    std::FILE* pipe = popen(("bash " + script).c_str(), "r");
    std::string text;
    char buffer[256];
    while (std::fgets(buffer, sizeof buffer, pipe)) text += buffer;
    EXPECT_EQ(pclose(pipe), 0);
    Names offers;
    for (std::size_t at = 0; (at = text.find_first_not_of(" \n", at)) != text.npos;) {
        const auto end = text.find_first_of(" \n", at);
        offers.insert(text.substr(at, end - at));
        at = end;
    }
    return offers;
}

Names withDashes(const Names& names) {
    Names dashed;
    for (const auto& name : names) dashed.insert("--" + name);
    return dashed;
}

} // namespace

TEST(Documentation, BashOffersWhatTheHelpNames) {
    const Help help;
    ASSERT_EQ(help.commands.size(), 23U);
    EXPECT_EQ(bashOffers("''"), help.commands);
    for (const auto& [command, options] : help.optionsOf)
        EXPECT_EQ(bashOffers(command + " --"), withDashes(options)) << command;

    const std::pair<std::string, Names> cases[] = {
        {"re", {"receipts", "recent", "relay", "reopen", "retry"}},
        {"send --source ''", {"codex", "claude"}},
        {"link ''", {}},
        {"relay ch", {"check"}},
        {"keybindings " + source + "/docs/orvel-c", {source + "/docs/orvel-cli.1"}},
        {"list --agent ''", {"codex", "claude"}},
        {"list --agent = cl", {"claude"}},
        {"--home = list pre", {"preview"}},
        {"--home list ''", help.commands},
        {"preview --note list --fr", {"--from"}},
        {"preview --note ''", {}},
        {"show " + source + "/docs/orvel-c", {source + "/docs/orvel-cli.1"}},
        {"show --home " + source + "/doc", {source + "/docs"}},
    };
    for (const auto& [words, offers] : cases) EXPECT_EQ(bashOffers(words), offers) << words;
}

TEST_F(CommandLine, BashOffersTheIdentifiersThatTheProgramKnows) {
    const ProgramOnPath program;
    const std::string codex = "c0de0000-1", claude = "c1a0de00-2";
    write(".codex/sessions/one.jsonl", CodexTranscript({.id = codex}).ask("A").answer("B").text());
    write(".claude/projects/p/" + claude + ".jsonl",
          ClaudeTranscript({.id = claude}).ask("A").answer("B").text());
    auto link = run({"link", codex, claude}).out;
    link.pop_back();
    const std::pair<std::string, Names> cases[] = {
        {"show C1", {claude}},           {"new ''", {codex, claude}}, {"link ''", {codex}},
        {"link c0de ''", {claude}},      {"send ''", {link}},         {"send " + link + " ''", {}},
        {"extend --leading ''", {link}}, {"extend x c0", {codex}},    {"reopen ''", {}},
        {"bind x ''", {codex, claude}},  {"copy-saved ''", {}},       {"send --note x ''", {link}}};
    for (const auto& [words, offers] : cases) EXPECT_EQ(bashOffers(words), offers) << words;
}

TEST(Documentation, ManualAndOtherCompletionsNameWhatTheHelpNames) {
    const Help help;
    const auto page = withoutBackslashes(contentsOf(source + "/docs/orvel-cli.1"));
    EXPECT_EQ(namesBehind(section(page, ".SH COMMANDS", ".SH"), ".TP\n.B "), help.commands);
    EXPECT_EQ(namesBehind(page, "--"), help.allOptions);
    EXPECT_EQ(namesBehind(section(page, ".SS Of every command", ".SH"), "--"), help.optionsOf.at(""));

    const auto zsh = contentsOf(source + "/packaging/completions/_orvel-cli");
    EXPECT_EQ(namesBehind(section(zsh, "    commands=(", "    )"), "'"), help.commands);
    EXPECT_EQ(namesBehind(zsh, "--"), help.allOptions);

    const auto fish = contentsOf(source + "/packaging/completions/orvel-cli.fish");
    EXPECT_EQ(namesBehind(fish, "$no_command -a "), help.commands);
    auto fishOptions = namesBehind(fish, " -l ");
    fishOptions.erase("commands"); // Variables of its own.
    fishOptions.erase("no");
    EXPECT_EQ(fishOptions, help.allOptions);
}
