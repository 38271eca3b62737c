#include "Orvel/cli/RelayCheck.h"

#include "Orvel/cli/CommandFailure.h"
#include "Orvel/cli/Output.h"
#include "Orvel/cli/TerminalText.h"
#include "Orvel/model/RelativeTime.h"
#include "Orvel/model/RelayStateFile.h"
#include "Orvel/platform/posix/SystemClock.h"
#include "OrvelCore/relay/RelayStateJson.h"
#include "OrvelCore/relay/RelayStateReport.h"

#include <fmt/format.h>

namespace orvel {

namespace {

std::string counts(const RelayStateReport& report) {
    std::string lines;
    lines += fmt::format("Pairs           {} active, {} closed\n", report.activePairs, report.archivedPairs);
    lines += fmt::format("Links           {} active, {} closed\n", report.activeLinks, report.archivedLinks);
    lines += fmt::format("Transfers       {} pending, {} received\n", report.pendingTransfers,
                         report.receivedTransfers);
    lines += fmt::format("First messages  {} pending, {} bound\n", report.pendingInitialTransfers,
                         report.boundInitialTransfers);
    lines += fmt::format("Positions       {} checkpoints, {} incoming starts\n", report.checkpoints,
                         report.incomingStarts);
    return lines + fmt::format("Drafts          {}\n", report.drafts);
}

std::string pendingTransfers(const RelayState& state, const Stylist& stylist) {
    const auto now = SystemClock::now();
    TextTable table;
    const auto add = [&](const std::string& id, Agent source, Date createdAt, std::string_view what) {
        table.add({{std::string(what)},
                   {fmt::format("{} to {}", label(source), label(other(source)))},
                   {relativeTime(createdAt, now, localUTCOffset(now)), TextStyle::faint},
                   {id, TextStyle::faint}});
    };
    for (const auto& transfer : state.pendingTransfers())
        add(transfer.id, transfer.source, transfer.createdAt, "Pending");
    for (const auto& initial : state.pendingInitialTransfers())
        add(initial.id, initial.sourceReference.agent, initial.createdAt, "Pending first message");
    return table.text(stylist);
}

std::string links(const RelayState& state, const Stylist& stylist) {
    TextTable table;
    for (const auto& link : state.links) {
        std::string titles;
        for (const auto& member : link.conversations) titles += (titles.empty() ? "" : " ↔ ") + member.title;
        table.add({{link.isActive() ? "Link" : "Closed link"}, {titles}, {link.id, TextStyle::faint}});
    }
    return table.text(stylist);
}

std::string rules(const RelayStateReport& report) {
    if (report.violations.empty()) return "All rules of the records hold.\n";
    std::string lines;
    for (const auto& violation : report.violations) lines += visibleLine(violation) + "\n";
    return lines;
}

} // namespace

void checkRelayRecords(const Arguments& arguments, Output& output, const Stylist& stylist) {
    const auto state = readRelayState(arguments.subject);
    if (arguments.json) return output.write(encodeRelayState(state) + "\n");
    const auto report = RelayStateReport::of(state);
    output.write(counts(report) + pendingTransfers(state, stylist) + links(state, stylist) + rules(report));
    if (const auto broken = report.violations.size())
        throw CommandFailure("brokenRules",
                             fmt::format("The records break {} {}.", broken, broken == 1 ? "rule" : "rules"));
}

} // namespace orvel
