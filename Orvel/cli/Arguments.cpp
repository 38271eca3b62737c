#include "Orvel/cli/Arguments.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <numeric>
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
               })) +
               "\n" + CLI::Formatter::make_footer(command);
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

constexpr int mostMessages = 1'000'000;

// Nothing for a text that is no number from 1 to the largest.
std::optional<int> numberIn(const std::string& text, int largest) {
    int count = 0;
    const auto* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, count);
    if (error != std::errc() || stop != end || count < 1 || count > largest) return std::nullopt;
    return count;
}

std::string complaintAboutLast(const std::string& text) {
    return numberIn(text, mostMessages) ? "" : "must be from 1 to 1000000 messages, not “" + text + "”";
}

std::string complaintAboutWait(const std::string& text) {
    return numberIn(text, longestWait) ? "" : "must be from 1 to 86400 seconds, not “" + text + "”";
}

// How many letters have to be changed, added, taken out or exchanged with their neighbours.
std::size_t distance(std::string_view one, std::string_view two) {
    std::vector<std::size_t> before(two.size() + 1), last(two.size() + 1), row(two.size() + 1);
    std::iota(last.begin(), last.end(), std::size_t{0});
    for (std::size_t i = 1; i <= one.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= two.size(); ++j) {
            const bool isSame = one[i - 1] == two[j - 1];
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (isSame ? 0 : 1)});
            if (i > 1 && j > 1 && one[i - 1] == two[j - 2] && one[i - 2] == two[j - 1])
                row[j] = std::min(row[j], before[j - 2] + 1);
        }
        before = last;
        last = row;
    }
    return last[two.size()];
}

// The one name that is much like the word; nothing if there is none, or if two are as near.
std::optional<std::string> nearestName(std::string_view word, const std::vector<std::string>& names) {
    constexpr std::size_t farthest = 2;
    std::optional<std::string> nearest;
    std::size_t least = std::min(farthest, word.size() / 2) + 1;
    for (const auto& name : names) {
        const auto away = distance(word, name);
        if (away > least || (away == least && !nearest)) continue;
        if (away == least && *nearest != name) {
            nearest.reset();
            continue;
        }
        least = away;
        nearest = name;
    }
    return nearest;
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
        addRange(preview);
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

        auto& archive = addCommand(Command::archive, "archive",
                                   "Pack a folder into a ZIP, without what should stay on this machine");
        archive.add_option("FOLDER", result.subject, "A repository or any other folder")->required();
        addText(archive, "--to", "DIR", "Make the ZIP in a new folder in this one",
                [this](const std::string& folder) { result.folder = folder; })
            ->check(complaintAboutFolder);

        auto& ask = addCommand(Command::ask, "ask",
                               "Show in the sample how a folder and a question get into ChatGPT");
        ask.add_option("FOLDER", result.subject,
                       "A repository or any other folder; made up where it is absent");
        addText(ask, "--question", "TEXT", "What to ask",
                [this](const std::string& text) { result.note = text; });

        addRelayCommands();

        auto& doctor =
            addCommand(Command::doctor, "doctor", "Look whether what Orvel needs of this machine is there");
        doctor.add_flag("--try-keyboard", result.tryKeyboard,
                        "Hold Return for a moment, to see whether that works");
        doctor
            .add_option(
                "--tree", result.tree,
                "Print instead what the interface of codex, claude or dia looks like, without any text")
            ->type_name("APP")
            ->check(CLI::IsMember({"codex", "claude", "dia"}, CLI::ignore_case));
    }

    std::variant<Arguments, UsageReply> parse(std::span<const std::string> arguments) try {
        program.parse(inParsingOrder(arguments));
        if (result.command == Command::ask && !result.sample)
            return complaint(
                "ask shows the road in the sample: add --sample. Orvel’s window asks ChatGPT itself.");
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
        link.add_option("CLAUDE-ID", result.conversationID, "A conversation with Claude")->required();

        auto& links = addCommand(Command::links, "links", "List the links");
        links.add_flag("--closed", result.closed, "Those that were closed, instead of the open ones");

        auto& send = addCommand(Command::send, "send", "Send what is new on one side of a link to the other");
        addLink(send);
        addAgentOption(send, "--source", "Whose conversation it comes from: codex or claude")->required();
        addNote(send);
        addRange(send);
        addWait(send);
        addClaudeCode(send);

        addCommand(Command::pending, "pending", "List the saved messages that have not been seen yet");

        auto& retry = addCommand(Command::retry, "retry", "Send a saved message again, where that is safe");
        addLink(retry);
        addFolder(retry);
        addWait(retry);
        addClaudeCode(retry);

        addLink(addCommand(Command::copySaved, "copy-saved",
                           "Print the saved message of a link, and nothing else"));
        addCommand(Command::receipts, "receipts", "Look for saved messages where they went, once");

        addLinkCommands();
        addExamples();
    }

    void addLinkCommands() {
        auto& create = addCommand(Command::create, "new",
                                  "Begin a new conversation with the other agent, told by this one");
        addSession(create, result.subject, "CONVERSATION", "The conversation that is carried over");
        addAgentOption(create, "--to", "With whom the new conversation is: codex or claude")->required();
        addFolder(create);
        addNote(create);
        addRange(create);
        addWait(create);

        auto& extend = addCommand(Command::extend, "extend", "Add a conversation at an end of a link");
        addLink(extend);
        addSession(extend, result.conversationID, "CONVERSATION", "The conversation that joins it");
        auto* leading = extend.add_flag_callback(
            "--leading", [this] { result.end = RelayLinkEnd::leading; },
            "Before the first, as links lists them");
        extend
            .add_flag_callback(
                "--trailing", [this] { result.end = RelayLinkEnd::trailing; }, "Behind the last")
            ->excludes(leading);

        addLink(addCommand(Command::close, "close", "Close a link; all of it is kept"));
        addLink(addCommand(Command::reopen, "reopen", "Open a closed link again"));

        auto& bind = addCommand(Command::bind, "bind", "Say in which conversation a first message arrived");
        bind.add_option("MESSAGE", result.subject,
                        "A first message's ID as pending prints it, or how it begins")
            ->required();
        addSession(bind, result.conversationID, "CONVERSATION", "The new conversation that holds it");

        auto& complete = addCommand(Command::complete, "complete", "Print what the shells complete");
        complete.group(""); // For the shells alone.
        complete.add_option("KIND", result.subject)
            ->required()
            ->check(CLI::IsMember({"conversations", "codex", "claude", "links", "closed", "saved", "first"}));
    }

    void addExamples() {
        const std::pair<const char*, const char*> examples[] = {
            {"list", "orvel-cli list --agent codex"},
            {"show", "orvel-cli show 0199f0c2"},
            {"preview", "orvel-cli preview 0199f0c2 --last 4 --note \"Please review this.\""},
            {"command", "orvel-cli command '/orvel Please review this.'"},
            {"archive", "orvel-cli archive ~/code/lark"},
            {"ask", "orvel-cli --sample ask ~/code/lark --question \"Why is parse_operand slow?\""},
            {"link", "orvel-cli link 0199f0c2 5b0d714f"},
            {"links", "orvel-cli links --closed"},
            {"send", "orvel-cli send 965c --source claude --note \"Please fix this.\" --wait 60"},
            {"retry", "orvel-cli retry 965c --wait 60"},
            {"new", "orvel-cli new 5b0d714f --to codex --folder ~/code/lark --last 2"},
            {"extend", "orvel-cli extend 965c 0199f0c2 --trailing"},
            {"close", "orvel-cli close 965c"},
            {"reopen", "orvel-cli reopen 965c"},
            {"bind", "orvel-cli bind 77d0 0199f0c2"}};
        for (const auto& [command, example] : examples)
            program.get_subcommand(command)->footer(std::string("Example:\n  ") + example + "\n");
        program.footer("\nExamples:\n  orvel-cli list\n  orvel-cli show 0199f0c2\n  orvel-cli --sample");
    }

    void addSession(CLI::App& command, std::string& place, const char* name, const char* description) {
        command
            .add_option(name, place,
                        std::string(description) + ", by its ID as list\nprints it, or how it begins")
            ->required();
    }

    void addFolder(CLI::App& command) {
        addText(command, "--folder", "DIR", "Where a new conversation with Codex works",
                [this](const std::string& folder) { result.folder = folder; })
            ->check(complaintAboutFolder);
    }

    void addRange(CLI::App& command) {
        auto* from =
            addText(command, "--from", "MESSAGE",
                    "Begin at this message: its ID, how it begins, or its\nnumber, as show prints them",
                    [this](const std::string& id) { result.from = id; });
        addText(command, "--last", "COUNT", "Take only so many messages, the last ones",
                [this](const std::string& text) { result.last = numberIn(text, mostMessages); })
            ->check(complaintAboutLast)
            ->excludes(from);
    }

    void addLink(CLI::App& command) {
        command.add_option("LINK", result.subject, "The ID of a link, or how it begins")->required();
    }

    void addNote(CLI::App& command) {
        addText(command, "--note", "TEXT", "Instructions, which stand before the messages",
                [this](const std::string& text) { result.note = text; });
    }

    void addWait(CLI::App& command) {
        addText(command, "--wait", "SECONDS", "Wait so long until the message stands in the transcript",
                [this](const std::string& text) {
                    if (const auto count = numberIn(text, longestWait))
                        result.wait = std::chrono::seconds(*count);
                })
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

    // What the first word that nobody knows may have been meant for.
    std::string meant() const {
        const CLI::App* chosen = &program;
        while (!chosen->get_subcommands().empty()) chosen = chosen->get_subcommands().front();
        const auto unknown = program.remaining(true);
        if (unknown.empty()) return {};
        const auto word = unknown.front().substr(0, unknown.front().find('='));
        std::vector<std::string> names;
        for (const auto* app : {chosen, &program})
            for (const auto* option : app->get_options())
                if (!option->get_lnames().empty()) names.push_back("--" + option->get_lnames().front());
        for (const auto* command : chosen->get_subcommands([](const CLI::App*) { return true; }))
            if (!command->get_group().empty()) names.push_back(command->get_name());
        const auto nearest = nearestName(word, names);
        return nearest ? "\nDid you mean “" + *nearest + "”?" : "";
    }

    UsageReply complaint(std::string text) const {
        const auto at = text.find(conversationArgument);
        if (at != text.npos) text.replace(at, conversationArgument.size(), conversationArgumentShown);
        const auto commands = program.get_subcommands();
        const auto command = commands.empty() ? std::string() : " " + commands.front()->get_name();
        return {text + meant() + "\nTry “orvel-cli" + command + " --help”.\n", true};
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
