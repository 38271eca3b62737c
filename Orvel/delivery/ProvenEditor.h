#pragma once
// What a delivery may write to and press. Two snapshots that agree, one taken after the other, are the only
// way to make these types.

#include "Orvel/delivery/ClaudeSnapshot.h"

#include <optional>
#include <string>

namespace orvel {

/// An empty editor of Claude, with nothing around it that somebody could lose.
class ProvenEditor {
  public:
    /// Throws RelaySendError unless both snapshots show the same idle editor.
    static ProvenEditor in(const ClaudeSnapshot& first, const ClaudeSnapshot& second);

    const AXElement& element() const { return shown.editor; }
    /// The second snapshot.
    const ClaudeSnapshot& snapshot() const { return shown; }

  private:
    explicit ProvenEditor(const ClaudeSnapshot& shown) : shown(shown) {}

    ClaudeSnapshot shown;
};

/// An enabled Send button beside an editor that holds the message and nothing else.
class ProvenSendButton {
  public:
    /// Nothing if the button can't be pressed yet. Throws RelaySendError unless both snapshots show the
    /// message and the same button in the editor of `earlier`.
    static std::optional<ProvenSendButton> in(const ClaudeSnapshot& first, const ClaudeSnapshot& second,
                                              const std::string& message, const ClaudeSnapshot& earlier);

    const AXElement& element() const { return button; }

  private:
    explicit ProvenSendButton(const AXElement& button) : button(button) {}

    AXElement button;
};

} // namespace orvel
