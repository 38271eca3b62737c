#pragma once
// What must hold of the page directly before Send.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

struct ChatGPTDeliverySnapshot {
    bool samePage = false;
    std::optional<std::string> composerText;
    std::optional<std::vector<std::string>> attachmentNames;
    bool sendEnabled = false;

    /// Throws RelaySendError unless the same page holds exactly this question and this one file, and Send can
    /// be pressed.
    void require(std::string_view expectedQuestion, const std::string& expectedFilename) const;
};

/// Throws RelaySendError if the question is empty but for blanks.
void requireChatGPTQuestion(std::string_view question);

} // namespace orvel
