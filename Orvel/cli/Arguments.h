#pragma once
// What a command line asks for, and the help that describes it.

#include "OrvelCore/conversations/Agent.h"
#include "OrvelCore/relay/RelayLink.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <variant>

namespace orvel {

struct Arguments {
    enum class Command {
        none,
        list,
        show,
        preview,
        url,
        recent,
        relayCheck,
        keybindings,
        typedCommand,
        link,
        links,
        send,
        pending,
        retry,
        copySaved,
        receipts,
        doctor,
        create,
        extend,
        close,
        reopen,
        bind,
        complete,
        archive,
        ask ///< In a sample only.
    };

    Command command = Command::none; ///< `none` only for a sample.
    std::optional<std::string> home; ///< Stands for the user's home.
    std::optional<std::string> data; ///< Stands for the data folder.
    bool json = false;
    bool sample = false;

    std::optional<Agent> agent;      ///< Also the source's side of a link, and the new one's agent.
    std::string subject;             ///< The FILE or ID, the URL, the LINK or MESSAGE, or what to complete.
    std::string conversationID;      ///< The second conversation of a command.
    std::optional<std::string> text; ///< The TEXT; standard input stands for it where it is absent.
    std::optional<std::string> from; ///< The first message of the range, by ID or number.
    std::optional<std::size_t> last; ///< How many messages the range holds at its end.
    std::optional<std::string> note;
    std::optional<std::chrono::seconds> wait; ///< How long to wait until a message is seen.
    bool tryKeyboard = false;                 ///< Return may be held for a moment.
    std::string tree;                         ///< The application whose tree is shown; none if empty.
    std::optional<std::string> folder;        ///< In which a new conversation works or a ZIP is made.
    std::optional<RelayLinkEnd> end;          ///< Where a link grows.
    bool closed = false;                      ///< Closed links are listed.
    bool throughClaudeCode = false;           ///< Claude Code's command may take the message.
};

/// What is said instead of running a command: help, version or a complaint.
struct UsageReply {
    std::string text;
    bool isComplaint = false;
};

/// Takes the arguments behind the program's name apart.
std::variant<Arguments, UsageReply> parseArguments(std::span<const std::string> arguments);

} // namespace orvel
