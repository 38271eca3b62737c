#include "Orvel/cli/CommandLine.h"

#include "Orvel/apps/Places.h"
#include "Orvel/cli/Arguments.h"
#include "Orvel/cli/Commands.h"
#include "Orvel/cli/KeybindingCheck.h"
#include "Orvel/cli/Output.h"
#include "Orvel/cli/RelayCheck.h"
#include "Orvel/cli/SampleTour.h"
#include "Orvel/cli/TerminalText.h"
#include "Orvel/cli/TypedCommandCheck.h"
#include "OrvelCore/Failure.h"
#include "samples/SampleHome.h"

#include <cstdlib>
#include <exception>
#include <optional>

#include <nlohmann/json.hpp>

namespace orvel {

namespace {

constexpr int success = 0, failed = 1, wrongUsage = 2;

bool isSet(const char* variable) {
    const char* value = std::getenv(variable);
    return value && *value;
}

Stylist stylistFor(const Output& output) {
    const char* terminal = std::getenv("TERM");
    const bool isDumb = terminal && std::string_view(terminal) == "dumb";
    return Stylist(output.isTerminal() && !isDumb && !isSet("NO_COLOR"));
}

// What a person reads where there is nothing to list.
std::string emptyNotice(const Arguments& arguments, const Places& places) {
    if (arguments.command == Arguments::Command::recent) return "No conversation has been opened yet.\n";
    std::string text = "No conversations were found. Looked in:\n";
    for (const auto& root : places.folders.defaultRoots())
        if (!arguments.agent || root.agent == *arguments.agent) text += "  " + root.path + "\n";
    return text;
}

void printList(const std::string& lines, const Arguments& arguments, const Places& places, Output& output) {
    output.write(lines);
    if (lines.empty()) output.writeError(visibleText(emptyNotice(arguments, places)));
}

void runCommand(const Arguments& arguments, const Places& places, Output& output) {
    using enum Arguments::Command;
    const auto stylist = stylistFor(output);
    switch (arguments.command) {
    case none: return showSampleTour(places, output, stylist);
    case list: return printList(Commands::list(arguments, places, stylist), arguments, places, output);
    case recent: return printList(Commands::recent(arguments, places, stylist), arguments, places, output);
    case show: return output.write(Commands::show(arguments, places, stylist));
    case preview: return output.write(Commands::preview(arguments, places));
    case url: return output.write(Commands::url(arguments, stylist));
    case relayCheck: return checkRelayRecords(arguments, output, stylist);
    case keybindings: return checkKeybindings(arguments, output, stylist);
    case typedCommand: return checkTypedCommand(arguments, output, stylist);
    }
}

void run(const Arguments& arguments, Output& output) {
    if (!arguments.sample)
        return runCommand(arguments, Places::fromEnvironment(arguments.home, arguments.data), output);
    output.writeError("This is a sample: made-up conversations in a temporary folder.\n");
    const SampleHome sample;
    runCommand(arguments, {sample.folders(), sample.dataFolder()}, output);
}

void writeFailureAsJson(const std::exception& failure, Output& output) {
    const auto* known = dynamic_cast<const Failure*>(&failure);
    const nlohmann::ordered_json json{{"error", known ? known->caseName() : "unexpected"},
                                      {"message", failure.what()}};
    output.write(json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n");
}

int reply(const UsageReply& usage, Output& output) {
    if (!usage.isComplaint) {
        output.write(usage.text);
        return success;
    }
    output.writeError(visibleText(usage.text));
    return wrongUsage;
}

} // namespace

int runCommandLine(std::span<const std::string> commandLine, Output& output) {
    bool wantsJson = false;
    try {
        const auto parsed = parseArguments(commandLine);
        if (const auto* usage = std::get_if<UsageReply>(&parsed)) return reply(*usage, output);
        const auto& arguments = std::get<Arguments>(parsed);
        wantsJson = arguments.json;
        run(arguments, output);
        return success;
    } catch (const std::exception& failure) {
        output.writeError(visibleText(failure.what()) + "\n");
        try {
            if (wantsJson) writeFailureAsJson(failure, output);
        } catch (const std::exception&) { // NOLINT(bugprone-empty-catch)
            // Standard output takes nothing more; the failure stands on standard error.
        }
        return failed;
    }
}

} // namespace orvel
