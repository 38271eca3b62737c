#pragma once
// ChatGPT's editor and the region around it: which they are, whether they are still the same, and what they
// hold.

#include "Orvel/consultation/ChatGPTElements.h"
#include "Orvel/consultation/ChatGPTPage.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/consultation/ChatGPTComposerShape.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orvel {

/// Throws as ChatGPTElements. The elements outlive the object, and the object outlives its tasks.
class ChatGPTComposerReader {
  public:
    static constexpr std::size_t shapeBudget = 200; ///< In elements.
    static constexpr std::size_t maximumRegionLevel = 8;

    /// What is known of an editor's text.
    struct Content {
        enum class Kind {
            empty,   ///< Proved, by the placeholder's shape if need be.
            draft,   ///< Somebody's text.
            unproven ///< Looks like the placeholder.
        };
        Kind kind = Kind::unproven;
        std::string text;
        std::optional<std::int64_t> characterCount; ///< What the editor says of itself, where that was asked.
    };

    explicit ChatGPTComposerReader(ChatGPTElements& elements) : elements(elements) {}

    /// The only editor of ChatGPT below the element.
    Task<AXElement> composer(AXElement in);

    /// The group around the editor that holds its controls, below the web area.
    Task<AXElement> composerRegion(AXElement editor, AXElement web);

    /// Stops unless both still are what they were, and the editor the only one in the region.
    Task<void> verifyHeldComposer(AXElement editor, AXElement region, ChatGPTPage page);

    Task<Content> content(AXElement editor, bool allowObservedPlaceholder);

    /// Stops unless the editor is empty.
    Task<void> requireEmptyComposer(AXElement editor, bool allowObservedPlaceholder);

    /// Stops unless the region is that of an empty page, with nothing attached.
    Task<void> requireInitialEmptyRegion(AXElement region);

    /// The element and all below it, as it is now. Stops at more than `budget` elements, and where one has no
    /// role.
    Task<ChatGPTComposerShape::Node> composerShapeSnapshot(AXElement element, std::size_t budget);

    /// What is attached now; nothing unless the region could be read as a whole and has a known shape. See
    /// ChatGPTComposerShape.
    Task<std::optional<std::vector<std::string>>>
    attachmentNames(AXElement region, std::optional<std::string> expectedFilename);

    /// Stops, saying `otherwise`, unless exactly this file is attached.
    Task<void> requireOnlyAttachment(AXElement region, std::string filename, const char* otherwise);

  private:
    Task<std::optional<ChatGPTComposerShape::Node>> shapeOf(AXElement element, std::size_t budget);
    Task<std::optional<std::int64_t>> characterCount(AXElement editor);
    Task<bool> showsPlaceholder(AXElement editor, Content content);

    ChatGPTElements& elements;
};

} // namespace orvel
