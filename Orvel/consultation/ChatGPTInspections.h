#pragma once
// Descriptions of ChatGPT's page and of the open panel for reports: shapes, and kinds of texts. They hold no
// text of the page, no name and no path.

#include "Orvel/consultation/ChatGPTAttaching.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/consultation/ChatGPTComposerShape.h"
#include "OrvelCore/diagnostics/DiagnosticText.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace orvel {

/// What kind of text an element shows. `filename` may be empty.
FixedWords chatGPTTextKind(const std::optional<std::string>& text, std::string_view filename);

/// Each during an operation, whose trace the caller has begun. They change nothing. Throw as ChatGPTElements.
/// The rooms outlive the object, and the object outlives its tasks.
class ChatGPTInspections {
  public:
    static constexpr std::size_t maximumLines = 200; ///< Of each description.

    explicit ChatGPTInspections(const ChatGPTRooms& rooms) : rooms(rooms) {}

    /// The editor and what stands around it. The question, if it is not empty, is compared with the text.
    Task<std::string> composer(std::string expectedQuestion);
    /// The menu that leads to the panel, and the panel, as far as they are open.
    Task<std::string> filePanel(ChatGPTRepositoryArchive expectedArchive);
    /// Which page is shown, told by the operation's trace.
    Task<std::string> pageStability();

  private:
    Task<ChatGPTPage> shownPage(ChatGPTDeliveryTrace::Caller caller);
    Task<DiagnosticText> panelElement(AccessibilityWalk::Node node, std::string path);

    const ChatGPTRooms& rooms;
};

} // namespace orvel
