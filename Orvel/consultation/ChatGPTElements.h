#pragma once
// Reads single elements and trees of the browser that shows ChatGPT: bounded, with pauses for the loop, and
// with every failure noted in the trace of the operation under way.

#include "Orvel/accessibility/AccessibilityReads.h"
#include "Orvel/accessibility/AccessibilityWalk.h"
#include "Orvel/consultation/ChatGPTOperations.h"
#include "Orvel/consultation/ChatGPTReadFailures.h"
#include "Orvel/desktop/Desktop.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/consultation/ChatGPTPointerHit.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace orvel {

/// Serves one operation at a time. Throws ChatGPTAXReadFailure where an attribute can't be read, and
/// RelaySendError where what was read is not as it must be. A value that is absent is no failure. The ports
/// and the operations outlive the object, and the object outlives its tasks.
class ChatGPTElements {
  public:
    static constexpr std::size_t maximumElements = 4000; ///< Of a walk.
    static constexpr int maximumLevels = 40;             ///< Of a climb by "AXParent".
    static constexpr std::chrono::milliseconds applicationTimeout{500};

    using Labels = std::set<std::string, std::less<>>;
    using Nodes = AccessibilityWalk::Nodes;

    ChatGPTElements(const Desktop& ports, ChatGPTOperations& operations);

    /// The application's element, whose reads are bounded from now on.
    AXElement application(ProcessID process) const;

    // Single attributes

    AXValue checkedAttribute(const AXElement& element, std::string_view attribute) const;
    /// Nothing if there is none; stops at a value that is no string.
    std::optional<std::string> checkedString(const AXElement& element, std::string_view attribute) const;
    /// Nothing if there is no element.
    std::optional<AXElement> element(const AXElement& of, std::string_view attribute) const;
    /// The text of an editor. Stops where there is none: it is not taken for empty.
    std::string requiredText(const AXElement& editor) const;
    /// Whether the element says that it is enabled.
    bool checkedEnabled(const AXElement& element) const;
    /// Nothing where it can't be told.
    std::optional<bool> isSettable(const AXElement& element, std::string_view attribute) const;
    /// Where the element lies on the screen.
    Task<ChatGPTPointerHit::Frame> frame(AXElement element);

    // Several elements

    /// Stops where the children are no list.
    AXElements children(const AXElement& element) const;
    /// Title, description and help of an element, those that are not empty.
    Task<Labels> labels(AXElement element);
    /// `root` and all below it, breadth-first, each with its role, which is read before its children and is
    /// empty where there is none. Stops at more than `maximumElements`.
    Task<Nodes> descendants(AXElement root);
    /// The elements with this role among them.
    Task<AXElements> elementsOfRole(AXElement root, std::string role);
    /// The elements with this role and at least one of the labels.
    Task<AXElements> find(AXElement in, std::string role, Labels labels);
    /// The one that `find` finds. Stops if there is none, and if there are several.
    Task<AXElement> findControl(AXElement in, std::string role, Labels labels);

    // Ancestors. An element lies within itself.

    /// The ancestors of an element, the parent first.
    struct Ancestry {
        enum class End { found, top, tooFar };

        AXElements ancestors; ///< `maximumLevels` at most; the last one is what was sought, if it was found.
        End end = End::tooFar;
    };
    Task<Ancestry> ancestry(AXElement element, AXElement sought);
    /// False for an ancestor that lies too far away.
    Task<bool> isWithin(AXElement element, AXElement ancestor);
    /// Stops if the ancestors go on for too long.
    Task<bool> checkedWithin(AXElement element, AXElement ancestor);

    /// The reads underneath, for what has no name here.
    AccessibilityReads& attributes() { return reads; }

    /// Pauses for the loop when it is time to: `co_await elements.step()` before a read.
    auto step() { return reads.step(); }

  private:
    [[noreturn]] void refuse(AccessibilityWalk::Refusal refusal);

    AccessibilityReads reads;
    ChatGPTOperations& operations;
};

} // namespace orvel
