#pragma once
// The operation on ChatGPT's page that is under way, of which there is at most one, and the traces of the
// latest ones.

#include "Orvel/desktop/Accessibility.h"
#include "Orvel/runtime/MainLoop.h"
#include "OrvelCore/consultation/ChatGPTDeliveryTrace.h"

#include <memory>
#include <optional>
#include <utility>

namespace orvel {

/// What an operation remembers of its reads.
struct ChatGPTTraceContext {
    std::shared_ptr<ChatGPTDeliveryTrace> record;
    std::optional<AXElement> firstWindow, firstWeb; ///< Of the operation's first look at the page.
    ChatGPTURLKind lastURLKind = ChatGPTURLKind::notRead;
    bool pageReadTruncated = false;
};

/// Lives as long as the process, whoever sends; outlives the operations. Belongs to the main loop's thread.
class ChatGPTOperations {
  public:
    /// An operation under way. Its destruction ends it, also where its task is cancelled.
    class Running {
      public:
        Running(Running&& other) noexcept : owner(std::exchange(other.owner, nullptr)), keeps(other.keeps) {}
        Running& operator=(Running&&) = delete;
        ~Running();

        ChatGPTDeliveryTrace& trace() const { return *owner->context->record; }

        /// The trace goes to no history.
        void discardTrace() { keeps = false; }

      private:
        friend ChatGPTOperations;
        explicit Running(ChatGPTOperations& owner) : owner(&owner) {}

        ChatGPTOperations* owner;
        bool keeps = true;
    };

    /// The loop outlives this object.
    explicit ChatGPTOperations(MainLoop& loop) : loop(loop) {}
    ChatGPTOperations(const ChatGPTOperations&) = delete;
    ChatGPTOperations& operator=(const ChatGPTOperations&) = delete;

    /// Begins an operation. Throws RelaySendError while another one is running.
    [[nodiscard]] Running begin(ChatGPTDeliveryTrace::Kind kind);

    bool isRunning() const { return context.has_value(); }

    /// Of the operation under way; null if there is none.
    ChatGPTTraceContext* current() { return context ? &*context : nullptr; }
    ChatGPTDeliveryTrace* trace() { return context ? context->record.get() : nullptr; }

    const ChatGPTDeliveryTraceHistory& history() const { return finished; }

  private:
    MainLoop& loop;
    std::optional<ChatGPTTraceContext> context;
    ChatGPTDeliveryTraceHistory finished;
};

} // namespace orvel
