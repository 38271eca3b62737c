#include "Orvel/delivery/ClaudeCodeRelaySender.h"

#include "Orvel/delivery/DeliveryAttempt.h"
#include "Orvel/reading/AgentTool.h"
#include "Orvel/reading/ClaudeCodeSessions.h"
#include "OrvelCore/conversations/ConversationNames.h"
#include "OrvelCore/relay/RelaySendError.h"

#include <array>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <system_error>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace orvel {

namespace {

using namespace std::chrono_literals;

constexpr auto versionTimeout = 10s;
constexpr auto recordTimeout = 30s; // A real one takes half a second.
constexpr auto turnTimeout = 3600s;
constexpr auto pollInterval = 100ms, turnPollInterval = 500ms;

using Version = std::array<int, 3>;
constexpr Version oldestTried{2, 1, 329};

constexpr std::size_t maximumOutput = 1'048'576, maximumReason = 200;

// "2.1.329 (Claude Code)"
std::optional<Version> versionIn(std::string_view text) {
    Version version{};
    const auto* at = text.data();
    const auto* end = at + text.size();
    for (auto& part : version) {
        if (&part != &version.front()) {
            if (at == end || *at != '.') return std::nullopt;
            ++at;
        }
        const auto [stop, error] = std::from_chars(at, end, part);
        if (error != std::errc() || stop == at) return std::nullopt;
        at = stop;
    }
    return std::string_view(at, end).find("Claude Code") == std::string_view::npos ? std::nullopt
                                                                                   : std::optional(version);
}

std::string inWords(const Version& version) {
    return fmt::format("{}.{}.{}", version[0], version[1], version[2]);
}

// What Claude Code says of its own failure. Anything else that it prints may hold what the agent has written.
std::string reasonIn(const std::string& output) {
    const auto result = nlohmann::json::parse(output, nullptr, false);
    if (!result.is_object() || !result.value("is_error", false)) return {};
    const auto text = result.find("result");
    if (text == result.end() || !text->is_string()) return {};
    const auto reason = text->get<std::string>();
    return reason.size() > maximumReason ? "" : "\n" + reason;
}

bool isFolder(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::is_directory(path, ignored);
}

} // namespace

ClaudeCodeRelaySender::ClaudeCodeRelaySender(MainLoop& loop, Processes& processes,
                                             ConversationReader& reading, AgentFolders folders)
    : loop(loop), processes(processes), reading(reading), folders(std::move(folders)) {}

Task<void> ClaudeCodeRelaySender::send(SavedTransfer transfer, ConversationReference to,
                                       ReceiptCheck isReceived, LifecycleFailure lifecycleFailure) {
    auto attempt = DeliveryAttempt::beforeInsertion();
    try {
        if (const auto refusal = refusalOf(*transfer->payload)) throw RelaySendError(*refusal);
        const auto tool = co_await readyTool();
        const auto now = co_await reading.readReference(to);
        if (isReceived(*now)) co_return;
        if (now->isBusy)
            throw RelaySendError("Claude has not finished its turn in this conversation. Nothing was sent.");
        if (now->hasAmbiguousBranches)
            throw RelaySendError("This conversation has branches, and Claude Code would continue only one of "
                                 "them. Nothing was sent.");
        const auto folder = co_await freeFolder(to);
        auto child =
            processes.start({.executable = tool,
                             .arguments = {"-p", "--resume", to.sessionID, "--output-format", "json"},
                             .environment = toolEnvironment(tool, processes),
                             .workingDirectory = folder,
                             .unattendedInput = *transfer->payload});
        attempt.textMayBeInserted();
        const auto outcome = co_await awaitRecord(*child, to, isReceived);
        const auto status = child->exitStatus();
        const auto reason = outcome == Outcome::ended ? reasonIn(child->said(maximumOutput)) : "";
        if (outcome != Outcome::ended)
            tasks.start(watch(std::move(child), to.sessionID, std::move(lifecycleFailure)));
        if (outcome == Outcome::ended)
            throw RelaySendError(
                fmt::format("Claude Code ended with status {} and has not recorded the message. It is not "
                            "sent again by itself.{}",
                            status.value_or(0), reason));
        if (outcome == Outcome::late)
            throw RelaySendError(
                fmt::format("Claude Code has not recorded the message within {} seconds. It is still at "
                            "work, and the message may yet arrive.",
                            recordTimeout / 1s));
    } catch (const std::exception& failure) {
        throw attempt.failure(failure);
    }
}

// The command, if it is there and no older than what Orvel was tried with.
Task<std::string> ClaudeCodeRelaySender::readyTool() {
    const auto tool = agentTool(Agent::claude, processes, folders.home);
    if (!tool) throw RelaySendError("Claude Code's command “claude” was not found. Nothing was sent.");
    const auto child = processes.start({.executable = *tool,
                                        .arguments = {"--version"},
                                        .environment = toolEnvironment(*tool, processes),
                                        .unattendedInput = ""});
    const auto deadline = loop.uptime() + versionTimeout;
    while (!child->exitStatus() && loop.uptime() < deadline) co_await loop.sleep(pollInterval);
    const auto version = versionIn(child->said(maximumOutput));
    child->kill();
    if (!version) throw RelaySendError("Claude Code's command did not tell its version. Nothing was sent.");
    if (*version < oldestTried)
        throw RelaySendError(fmt::format("Claude Code {} is too old: {} is the oldest that Orvel was tried "
                                         "with. Nothing was sent.",
                                         inWords(*version), inWords(oldestTried)));
    co_return *tool;
}

// Gives the conversation's own folder, if it is there and nobody else may continue the conversation.
Task<std::string> ClaudeCodeRelaySender::freeFolder(ConversationReference to) {
    struct OnDisk {
        std::optional<std::string> folder;
        bool isThere = false;
        std::vector<ClaudeCodeSession> sessions;
    };
    const auto look = [to, claude = folders.claude] {
        OnDisk found{.folder = to.workingDirectory ? to.workingDirectory : ConversationNames::read(to).folder,
                     .sessions = ClaudeCodeSessions::read(claude)};
        found.isThere = found.folder && isFolder(*found.folder);
        return found;
    };
    const auto found = co_await loop.background(look);
    if (!found.folder)
        throw RelaySendError("The transcript does not tell in which folder the conversation works. Nothing "
                             "was sent.");
    if (!found.isThere)
        throw RelaySendError(
            fmt::format("The folder of this conversation, {}, is gone. Nothing was sent.", *found.folder));
    if (const auto holder = ClaudeCodeSessions::holder(found.sessions, to.sessionID, processes))
        throw RelaySendError(
            fmt::format("{} (process {}). Nothing was sent. Close the conversation there, or write there.",
                        holder->sessionID.empty()
                            ? "A Claude Code is running that does not tell which conversation it has open"
                            : "A running Claude Code has this conversation open",
                        holder->process));
    co_return *found.folder;
}

Task<ClaudeCodeRelaySender::Outcome>
ClaudeCodeRelaySender::awaitRecord(ChildProcess& child, ConversationReference to, ReceiptCheck isReceived) {
    const auto deadline = loop.uptime() + recordTimeout;
    for (;;) {
        const bool hasEnded = child.exitStatus().has_value();
        const bool seen = co_await isSeen(to, isReceived);
        if (seen) co_return Outcome::recorded;
        if (hasEnded) co_return Outcome::ended;
        if (loop.uptime() >= deadline) co_return Outcome::late;
        co_await loop.sleep(pollInterval);
    }
}

// A transcript that is just being written to may be unreadable for a moment.
Task<bool> ClaudeCodeRelaySender::isSeen(ConversationReference to, ReceiptCheck isReceived) {
    try {
        const auto conversation = co_await reading.readIfChanged(to);
        co_return isReceived(*conversation);
    } catch (const std::exception&) {
        co_return false;
    }
}

Task<void> ClaudeCodeRelaySender::watch(std::unique_ptr<ChildProcess> child, std::string sessionID,
                                        LifecycleFailure lifecycleFailure) {
    const auto deadline = loop.uptime() + turnTimeout;
    watched[sessionID] = loop.uptime();
    while (!child->exitStatus() && loop.uptime() < deadline) co_await loop.sleep(turnPollInterval);
    watched.erase(sessionID);
    const auto status = child->exitStatus();
    if (!status)
        lifecycleFailure("Claude Code has been at work on a message for an hour and goes on. Orvel no longer "
                         "watches it.");
    else if (*status != 0)
        lifecycleFailure(fmt::format("Claude Code's turn ended with status {}. Check the conversation and "
                                     "delivery records without resending.{}",
                                     *status, reasonIn(child->said(maximumOutput))));
}

// "/compact" is performed, and what a person has defined as "/name" is put in its place. With a second slash
// in its first word a text is a path and arrives as it is, as does one with anything in front of the slash.
std::optional<std::string> ClaudeCodeRelaySender::refusalOf(std::string_view payload) {
    if (!payload.starts_with('/')) return std::nullopt;
    const auto firstWord = payload.substr(0, payload.find_first_of(" \t\r\n"));
    if (firstWord.find('/', 1) != firstWord.npos) return std::nullopt;
    return "Claude Code takes a text that begins with “/” for one of its commands. Nothing was sent. Begin "
           "the instructions with another word.";
}

} // namespace orvel
