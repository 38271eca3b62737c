#pragma once
// Enters the question into ChatGPT's editor: one write, whatever follows, and reads until the page shows it.

#include "Orvel/consultation/ChatGPTAttaching.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/text/Failure.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace orvel {

namespace ChatGPTQuestionReadback {

/// The page shows something else than was written.
class Failure : public orvel::Failure {
  public:
    Failure()
        : orvel::Failure("changedText", "The ChatGPT editor does not match the question. It was written "
                                        "only once and kept without sending.") {}
};

} // namespace ChatGPTQuestionReadback

/// Throws as ChatGPTElements. The rooms outlive the object, and the object outlives its tasks.
class ChatGPTQuestionEntry {
  public:
    static constexpr int maximumReads = 20;
    static constexpr MainLoop::Duration timeout = std::chrono::seconds(2);

    explicit ChatGPTQuestionEntry(const ChatGPTRooms& rooms) : rooms(rooms) {}

    /// Stops where a readback could not tell the question from an empty editor.
    static void requireDistinguishable(std::string_view question, std::string_view original);

    /// Writes the question into the target's editor, which must be empty, with the ZIP attached beside it.
    Task<void> enter(std::string question, ChatGPTAttachingTarget target);

  private:
    Task<std::optional<bool>> readBack(std::string question, std::string original,
                                       ChatGPTAttachingTarget target, int number);
    Task<void> awaitQuestion(std::string question, std::string original, ChatGPTAttachingTarget target);

    const ChatGPTRooms& rooms;
};

} // namespace orvel
