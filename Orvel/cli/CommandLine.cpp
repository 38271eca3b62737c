#include "Orvel/cli/CommandLine.h"

#include "Orvel/cli/ApplicationTree.h"
#include "Orvel/cli/ArchiveCommand.h"
#include "Orvel/cli/Arguments.h"
#include "Orvel/cli/Commands.h"
#include "Orvel/cli/Completions.h"
#include "Orvel/cli/ConsultationTour.h"
#include "Orvel/cli/Doctor.h"
#include "Orvel/cli/Interruption.h"
#include "Orvel/cli/JsonLine.h"
#include "Orvel/cli/KeybindingCheck.h"
#include "Orvel/cli/LinkCommands.h"
#include "Orvel/cli/Output.h"
#include "Orvel/cli/RelayCheck.h"
#include "Orvel/cli/RelayCommands.h"
#include "Orvel/cli/RelayRecords.h"
#include "Orvel/cli/SampleTour.h"
#include "Orvel/cli/TerminalText.h"
#include "Orvel/cli/TypedCommandCheck.h"
#include "Orvel/platform/posix/Places.h"
#include "OrvelCore/text/Failure.h"
#include "samples/SampleHome.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <optional>

#include <nlohmann/json.hpp>

namespace orvel {

namespace {

constexpr int success = 0, failed = 1, wrongUsage = 2, foundLimits = 3, endedBySignal = 128;

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
    using enum Arguments::Command;
    if (arguments.command == recent) return "No conversation has been opened yet.\n";
    if (arguments.command == links && arguments.closed) return "No link is closed.\n";
    if (arguments.command == links) return "There are no links yet; “orvel-cli link” makes one.\n";
    if (arguments.command == pending) return "No message waits to be seen.\n";
    std::string text = "No conversations were found. Looked in:\n";
    for (const auto& root : places.folders.defaultRoots())
        if (!arguments.agent || root.agent == *arguments.agent) text += "  " + root.path + "\n";
    return text;
}

void printList(const std::string& lines, const Arguments& arguments, const Places& places, Output& output) {
    output.write(lines);
    if (lines.empty()) output.writeError(visibleText(emptyNotice(arguments, places)));
}

// Gives the exit status.
int examine(const Arguments& arguments, const Places& places, Output& output) {
    return examineDesktop(arguments, places, output, stylistFor(output)) ? success : foundLimits;
}

void runCommand(const Arguments& arguments, const Places& places, Output& output) {
    using enum Arguments::Command;
    const auto stylist = stylistFor(output);
    switch (arguments.command) {
    case none: return showSampleTour(places, output, stylist);
    case list: return printList(Commands::list(arguments, places, stylist), arguments, places, output);
    case recent: return printList(Commands::recent(arguments, places, stylist), arguments, places, output);
    case show: return Commands::show(arguments, places, output, stylist);
    case preview: return output.write(Commands::preview(arguments, places));
    case url: return output.write(Commands::url(arguments, stylist));
    case relayCheck: return checkRelayRecords(arguments, output, stylist);
    case keybindings: return checkKeybindings(arguments, output, stylist);
    case typedCommand: return checkTypedCommand(arguments, output, stylist);
    case ask: return showConsultationTour(arguments, places.dataFolder, output, stylist);
    case archive: return packFolder(arguments, output, stylist);
    case links: return printList(RelayRecords::links(arguments, places, stylist), arguments, places, output);
    case pending:
        return printList(RelayRecords::pending(arguments, places, stylist), arguments, places, output);
    case copySaved: return output.write(RelayRecords::savedMessage(arguments, places));
    case link: return LinkCommands::link(arguments, places, output);
    case send: return RelayCommands::send(arguments, places, output, stylist);
    case retry: return RelayCommands::retry(arguments, places, output, stylist);
    case create: return RelayCommands::create(arguments, places, output, stylist);
    case extend: return LinkCommands::extend(arguments, places, output);
    case close: return LinkCommands::close(arguments, places, output);
    case reopen: return LinkCommands::reopen(arguments, places, output);
    case bind: return LinkCommands::bind(arguments, places, output);
    case complete: return output.write(completions(arguments.subject, places));
    case receipts: return RelayCommands::receipts(arguments, places, output, stylist);
    case doctor: // Otherwise it has an exit status of its own.
        if (!arguments.tree.empty()) showApplicationTree(arguments, places, output);
        return;
    }
}

bool writes(Arguments::Command command) {
    using enum Arguments::Command;
    constexpr std::array writing{link,  send,   retry, receipts, create, extend,
                                 close, reopen, bind,  archive,  doctor}; // The last lets Return go.
    return std::find(writing.begin(), writing.end(), command) != writing.end();
}

// Gives the exit status.
int run(const Arguments& arguments, Output& output) {
    // What leaves something behind ends in order.
    std::optional<Interruption> interruption;
    if (arguments.sample || writes(arguments.command)) interruption.emplace();
    const auto runIn = [&](const Places& places) {
        if (arguments.command == Arguments::Command::doctor && arguments.tree.empty())
            return examine(arguments, places, output);
        runCommand(arguments, places, output);
        return success;
    };
    if (!arguments.sample) return runIn(Places::fromEnvironment(arguments.home, arguments.data));
    output.writeError("This is a sample: made-up conversations in a temporary folder.\n");
    const SampleHome sample;
    const int status = runIn({sample.folders(), sample.dataFolder(), {}, sample.toolFolder()});
    Interruption::check();
    return status;
}

void writeFailureAsJson(const std::exception& failure, Output& output) {
    const auto* known = dynamic_cast<const Failure*>(&failure);
    const nlohmann::ordered_json json{{"error", known ? known->caseName() : "unexpected"},
                                      {"message", failure.what()}};
    output.write(jsonLine(json));
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
        return run(arguments, output);
    } catch (const Interrupted&) {
        return endedBySignal + Interruption::signal();
    } catch (const ClosedPipe&) {
        return endedBySignal + SIGPIPE; // Whoever reads has enough.
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
