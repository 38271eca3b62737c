#pragma once
// What is being done with a message. One thing at a time, since it works on the note and the range that the
// window shows.

#include "Orvel/model/WorkspaceState.h"
#include "Orvel/runtime/Observable.h"

#include <utility>

namespace orvel {

class MessageOperation {
  public:
    enum class Kind {
        none,
        linking,   ///< Two conversations are being joined.
        preparing, ///< The conversations are read afresh, for a message that is to be sent or copied.
        sending,   ///< The destination may be touched.
        inspecting ///< An application's window is in front and looked at.
    };

    /// Keeps an operation under way and ends it on every way out.
    class Guard {
      public:
        Guard(Guard&& other) noexcept : operation(std::exchange(other.operation, nullptr)) {}
        Guard& operator=(Guard&&) = delete;
        ~Guard() { end(); }

        /// From here on the destination may be touched.
        void beginSending() { operation->current = Kind::sending; }

        /// Does nothing if it has ended.
        void end() {
            if (operation) std::exchange(operation, nullptr)->current = Kind::none;
        }

      private:
        friend class MessageOperation;
        explicit Guard(MessageOperation& operation) : operation(&operation) {}

        MessageOperation* operation;
    };

    explicit MessageOperation(const ChangeSignal& changes) : current(changes, Kind::none) {}

    bool isUnderWay() const { return current != Kind::none; }
    /// Whether the note and the range are being worked on, so that they can't be edited.
    bool isBusyWithMessage() const { return isPreparing() || isSending(); }
    bool isPreparing() const { return current == Kind::preparing; }
    bool isSending() const { return current == Kind::sending; }

    /// Only while nothing is under way.
    [[nodiscard]] Guard begin(Kind kind) {
        current = kind;
        return Guard(*this);
    }

  private:
    Observable<Kind> current;
};

/// Whether nothing else may begin with what is open: a message is worked on, or a conversation is loading.
inline bool isOccupied(const MessageOperation& operation, const WorkspaceState& workspace) {
    return operation.isUnderWay() || workspace.isLoading;
}

} // namespace orvel
