#include "Orvel/cli/Arguments.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>

namespace orvel {

namespace {

constexpr auto globalOptions = "Global options";
// CLI11 allows no bar in a name.
constexpr std::string_view conversationArgument = "FILE_OR_ID", conversationArgumentShown = "FILE|ID";

class HelpFormatter : public CLI::Formatter {
  public:
    HelpFormatter() {
        column_width(28);
        label("SUBCOMMAND", "COMMAND");
        label("Positionals", "Arguments");
    }

    // Never more than one empty line, and none at the end.
    std::string make_help(const CLI::App* command, std::string name, CLI::AppFormatMode mode) const override {
        auto text = CLI::Formatter::make_help(command, std::move(name), mode);
        for (std::size_t at = 0; (at = text.find("\n\n\n", at)) != text.npos;) text.erase(at, 1);
        while (text.ends_with("\n\n")) text.pop_back();
        return text;
    }

    std::string make_option_name(const CLI::Option* option, bool isPositional) const override {
        const auto name = CLI::Formatter::make_option_name(option, isPositional);
        return std::string(name == conversationArgument ? conversationArgumentShown : name);
    }

    std::string make_option_opts(const CLI::Option* option) const override {
        return option->get_type_name().empty() || option->get_positional() ? ""
                                                                           : " " + option->get_type_name();
    }

    // Of the options that stand before or behind every command, and which CLI11 shows only in the general
    // help.
    std::string make_footer(const CLI::App* command) const override {
        const auto* program = command->get_parent();
        if (!program) return CLI::Formatter::make_footer(command);
        while (program->get_parent()) program = program->get_parent();
        return make_group(globalOptions, false, program->get_options([](const CLI::Option* option) {
            return option->get_group() == globalOptions;
        }));
    }
};

// An empty value most often is a variable of a script that was never set.
std::string complaintAboutFolder(const std::string& folder) {
    return folder.empty() ? "must not be empty" : "";
}

std::string complaintAboutAgent(const std::string& name) {
    return agentNamed(name) ? "" : "must be codex or claude, not “" + name + "”";
}

constexpr int longestWait = 86'400;

// Nothing for a text that is no number of seconds, or too large a one.
std::optional<std::chrono::seconds> secondsIn(const std::string& text) {
    int count = 0;
    const auto* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, count);
    if (error != std::errc() || stop != end || count < 1 || count > longestWait) return std::nullopt;
    return std::chrono::seconds(count);
}

std::string complaintAboutWait(const std::string& text) {
    return secondsIn(text) ? "" : "must be from 1 to 86400 seconds, not “" + text + "”";
}

// The grammar of the command line; it parses once.
class Grammar {
    using Command = Arguments::Command;

  public:
    Grammar() {
        program.formatter(std::make_shared<HelpFormatter>());
        program.fallthrough();
        program.require_subcommand(0, 1);
        program.set_help_flag("-h,--help", "Print help and exit");
        addGlobalOptions();

        auto& list =
            addCommand(Command::list, "list", "List the conversations on this machine, newest first");
        addAgent(list, "Only those of this agent: codex or claude");

        auto& show = addCommand(Command::show, "show", "Print a conversation with the IDs of its messages");
        addConversation(show);

        auto& preview = addCommand(Command::preview, "preview",
                                   "Print the exact text that would be relayed, and nothing else");
        addConversation(preview);
        addText(preview, "--from", "MESSAGE-ID", "Begin at the message with this ID, as show prints it",
                [this](const std::string& id) { result.from = id; });
        addNote(preview);

        auto& url = addCommand(Command::url, "url", "Print what a handoff URL asks for");
        url.add_option("URL", result.subject, "An orvel://handoff URL")->required();

        addCommand(Command::recent, "recent", "List the conversations that were opened last");

        auto& relay = *program.add_subcommand("relay", "Look into a file of relay records");
        relay.group("Commands");
        relay.require_subcommand(1);
        auto& check = addCommand(relay, Command::relayCheck, "check",
                                 "Print what the file holds, and whether its records keep their rules");
        check.add_option("FILE", result.subject, "A relay-state.json; with --json it is written again")
            ->required();

        auto& keybindings =
            addCommand(Command::keybindings, "keybindings", "Print what Orvel makes of Codex's keybindings");
        keybindings.add_option("FILE", result.subject, "Codex's keybindings.json")->required();

        auto& typed = addCommand(Command::typedCommand, "command",
                                 "Print what Orvel makes of a text that somebody types");
        typed.add_option("TEXT", result.text, "All that is in the editor; standard input where it is absent");

        addRelayCommands();

        auto& doctor =
            addCommand(Command::doctor, "doctor", "Look whether what Orvel needs of this machine is there");
        doctor.add_flag("--try-keyboard", result.tryKeyboard,
                        "Hold Return for a moment, to see whether that works");
    }

    std::variant<Arguments, UsageReply> parse(std::span<const std::string> arguments) try {
        program.parse(inParsingOrder(arguments));
        if (result.command != Command::none) return result;
        if (result.sample && !result.json) return result;
        if (result.sample) return complaint("--json needs a command.");
        return UsageReply{program.help(), true};
    } catch (const CLI::CallForHelp&) {
        return UsageReply{program.help()};
    } catch (const CLI::CallForVersion& version) {
        return UsageReply{std::string(version.what()) + "\n"};
    } catch (const CLI::ParseError& error) {
        return complaint(error.what());
    }

  private:
    void addRelayCommands() {
        auto& link = addCommand(Command::link, "link", "Link two conversations and print the link's ID");
        link.add_option("CODEX-ID", result.subject, "A conversation with Codex, as list prints it")
            ->required();
        link.add_option("CLAUDE-ID", result.claudeID, "A conversation with Claude")->required();

        addCommand(Command::links, "links", "List the links");

        auto& send = addCommand(Command::send, "send", "Send what is new on one side of a link to the other");
        addLink(send);
        addAgentOption(send, "--source", "Whose conversation it comes from: codex or claude")->required();
        addNote(send);
        addText(send, "--from", "MESSAGE-ID", "Begin at the message with this ID, as show prints it",
                [this](const std::string& id) { result.from = id; });
        addWait(send);
        addClaudeCode(send);

        addCommand(Command::pending, "pending", "List the saved messages that have not been seen yet");

        auto& retry = addCommand(Command::retry, "retry", "Send a saved message again, where that is safe");
        addLink(retry);
        addWait(retry);
        addClaudeCode(retry);

        addLink(addCommand(Command::copySaved, "copy-saved",
                           "Print the saved message of a link, and nothing else"));
        addCommand(Command::receipts, "receipts", "Look for saved messages where they went, once");
    }

    void addLink(CLI::App& command) {
        command.add_option("LINK", result.subject, "A link's ID as links prints it, or how it begins")
            ->required();
    }

    void addNote(CLI::App& command) {
        addText(command, "--note", "TEXT", "Instructions, which stand before the messages",
                [this](const std::string& text) { result.note = text; });
    }

    void addWait(CLI::App& command) {
        addText(command, "--wait", "SECONDS", "Wait so long until the message stands in the transcript",
                [this](const std::string& text) { result.wait = secondsIn(text); })
            ->check(complaintAboutWait);
    }

    void addClaudeCode(CLI::App& command) {
        command.add_flag("--through-claude-code", result.throughClaudeCode,
                         "Let the command “claude” continue a conversation that\n"
                         "Claude's application does not know; this time only");
    }

    void addGlobalOptions() {
        auto* home = addText(program, "--home", "DIR", "Take this folder for the user's home",
                             [this](const std::string& folder) { result.home = folder; });
        auto* data = addText(program, "--data", "DIR", "Take this folder for Orvel's data folder",
                             [this](const std::string& folder) { result.data = folder; });
        auto* json = program.add_flag("--json", result.json, "Print JSON");
        auto* sample = program.add_flag("--sample", result.sample,
                                        "Work on sample conversations, made for this run;\n"
                                        "without a command, show step by step what Orvel does");
        auto* version =
            program.set_version_flag("--version", "orvel-cli " ORVEL_VERSION, "Print the version and exit");
        for (auto* folder : {home, data}) folder->excludes(sample)->check(complaintAboutFolder);
        for (auto* option : {home, data, json, sample, version}) option->group(globalOptions);
    }

    CLI::App& addCommand(Command command, const char* name, const char* description) {
        return addCommand(program, command, name, description);
    }

    CLI::App& addCommand(CLI::App& parent, Command command, const char* name, const char* description) {
        auto& added = *parent.add_subcommand(name, description);
        added.group("Commands");
        added.final_callback([this, command] { result.command = command; });
        return added;
    }

    template <typename Take>
    CLI::Option* addText(CLI::App& command, const char* name, const char* type, const char* description,
                         Take take) {
        namesWithValue.emplace_back(name);
        return command.add_option_function<std::string>(name, take, description)->type_name(type);
    }

    void addAgent(CLI::App& command, const char* description) {
        addAgentOption(command, "--agent", description);
    }

    CLI::Option* addAgentOption(CLI::App& command, const char* name, const char* description) {
        const auto take = [this](const std::string& agent) { result.agent = agentNamed(agent); };
        return addText(command, name, "AGENT", description, take)->check(complaintAboutAgent);
    }

    void addConversation(CLI::App& command) {
        command
            .add_option(
                std::string(conversationArgument), result.subject,
                "A transcript file, or the ID of a session as list prints it;\nwhat holds a slash is a file")
            ->required();
        addAgent(command, "Whose conversation it is, codex or claude; recognised where not given");
    }

    // CLI11 wants the arguments from the last to the first, and takes the value of “--note=” for missing.
    std::vector<std::string> inParsingOrder(std::span<const std::string> arguments) const {
        const auto takesValue = [&](std::string_view name) {
            return std::find(namesWithValue.begin(), namesWithValue.end(), name) != namesWithValue.end();
        };
        std::vector<std::string> order;
        for (const auto& argument : arguments) {
            const bool isValue = !order.empty() && takesValue(order.back());
            const std::string_view name(argument.data(), argument.empty() ? 0 : argument.size() - 1);
            if (!isValue && argument.ends_with('=') && takesValue(name))
                order.insert(order.end(), {std::string(name), std::string()});
            else
                order.push_back(argument);
        }
        std::reverse(order.begin(), order.end());
        return order;
    }

    UsageReply complaint(std::string text) const {
        const auto at = text.find(conversationArgument);
        if (at != text.npos) text.replace(at, conversationArgument.size(), conversationArgumentShown);
        const auto commands = program.get_subcommands();
        const auto command = commands.empty() ? std::string() : " " + commands.front()->get_name();
        return {text + "\nTry “orvel-cli" + command + " --help”.\n", true};
    }

    CLI::App program{"Carries the substance of one agent's conversation into another.", "orvel-cli"};
    std::vector<std::string_view> namesWithValue;
    Arguments result;
};

} // namespace

std::variant<Arguments, UsageReply> parseArguments(std::span<const std::string> arguments) {
    return Grammar().parse(arguments);
}

} // namespace orvel
