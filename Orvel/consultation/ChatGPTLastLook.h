#pragma once
// The look at ChatGPT's page in the moment before something is done there. A proof walks over the page, and
// is as old as that takes.

#include "Orvel/consultation/ChatGPTElements.h"
#include "Orvel/consultation/ChatGPTPage.h"
#include "Orvel/consultation/ChatGPTPageReader.h"
#include "Orvel/runtime/MainLoop.h"
#include "Orvel/runtime/Task.h"

#include <chrono>
#include <optional>
#include <string>

namespace orvel {

/// What an editor must hold, and what is said if it doesn't.
struct ChatGPTExpectedText {
    AXElement editor;
    std::string text;
    std::string otherwise;
};

/// Throws as ChatGPTElements. The loop and the readers outlive the object, and the object outlives its tasks.
class ChatGPTLastLook {
  public:
    static constexpr int maximumLooks = 10;
    static constexpr MainLoop::Duration maximumAge = std::chrono::milliseconds(5);

    ChatGPTLastLook(MainLoop& loop, ChatGPTElements& elements, ChatGPTPageReader& pages)
        : loop(loop), elements(elements), pages(pages) {}

    /// Stops unless the page is still the one of the focused window, under its URL, with its browser in
    /// front, and the editor, if there is one, holds the text. What it saw is at most `maximumAge` old when
    /// it ends, unless so many looks in a row take longer that the calls themselves are slow. The act follows
    /// without a pause.
    Task<void> verify(ChatGPTPage page, std::optional<ChatGPTExpectedText> expected = std::nullopt);

  private:
    MainLoop& loop;
    ChatGPTElements& elements;
    ChatGPTPageReader& pages;
};

} // namespace orvel
