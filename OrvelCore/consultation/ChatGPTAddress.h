#pragma once
// Which page of ChatGPT a URL shows.

#include <optional>
#include <string>
#include <string_view>

namespace orvel {

inline constexpr std::string_view chatGPTWebOrigin = "https://chatgpt.com";

/// What is known of the URL of a page.
enum class ChatGPTURLKind {
    notRead,
    root,         ///< Of ChatGPT's web origin, with the path "/".
    chat,         ///< Of ChatGPT's web origin, with a path that begins with "/c/".
    otherChatGPT, ///< Any other of ChatGPT's web origin.
    otherHost,
    invalid, ///< No URL.
    unknown  ///< There is none, or it could not be read.
};

struct ChatGPTAddress {
    ChatGPTURLKind kind = ChatGPTURLKind::invalid;
    bool hasQuery = false;

    ChatGPTAddress() = default;
    explicit ChatGPTAddress(std::string_view url);

    bool isOfChatGPT() const {
        return kind == ChatGPTURLKind::root || kind == ChatGPTURLKind::chat ||
               kind == ChatGPTURLKind::otherChatGPT;
    }
    /// Where a new conversation begins.
    bool isEmptyPage() const { return kind == ChatGPTURLKind::root && !hasQuery; }
    bool isConversation() const { return kind == ChatGPTURLKind::chat && !hasQuery; }
};

} // namespace orvel
