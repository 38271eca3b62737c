#pragma once
// The ports to other programs' user interfaces where there are none: everything answers that it is not here,
// so that whoever asks does nothing.

#include "Orvel/desktop/Accessibility.h"
#include "Orvel/desktop/EventPosting.h"
#include "Orvel/desktop/InputSources.h"
#include "Orvel/desktop/KeyboardTap.h"
#include "Orvel/desktop/LocalFiles.h"
#include "Orvel/desktop/SideQueue.h"
#include "Orvel/desktop/WindowList.h"

namespace orvel {

class UnavailableAccessibility : public Accessibility {
  public:
    bool isTrusted() override { return false; }
    AXElement application(ProcessID) override { return nothing; }
    void setMessagingTimeout(const AXElement&, std::chrono::milliseconds) override {}
    AXReading attribute(const AXElement&, std::string_view) override { return {}; }
    AXSettable isSettable(const AXElement&, std::string_view) override { return {}; }
    AXStatus setAttribute(const AXElement&, std::string_view, const AXValue&) override {
        return AXStatus::apiDisabled;
    }
    AXActionNames actionNames(const AXElement&) override { return {}; }
    AXStatus performAction(const AXElement&, std::string_view) override { return AXStatus::apiDisabled; }
    AXReading elementAtPosition(AXPoint) override { return {}; }
    std::optional<ProcessID> process(const AXElement&) override { return std::nullopt; }

  private:
    struct Nothing : AXIdentity {
        bool equals(const AXIdentity&) const override { return false; }
    };
    const AXElement nothing{std::make_shared<Nothing>()};
};

class UnavailableInputSources : public InputSources {
  public:
    std::optional<InputSource> current() override { return std::nullopt; }
    std::optional<std::string> currentLayoutID() override { return std::nullopt; }
};

class UnavailableWindowList : public WindowList {
  public:
    Read reader() override {
        return [](std::size_t) { return std::nullopt; };
    }
};

class UnavailableEventPosting : public EventPosting {
  public:
    std::unique_ptr<PreparedEvents> key(SyntheticKey, std::optional<ProcessID>) override { return nullptr; }
    std::unique_ptr<PreparedEvents> click(AXPoint) override { return nullptr; }
};

class UnavailableKeyboardTap : public KeyboardTap {
  public:
    bool isAvailable() const override { return false; }
    bool isListeningGranted() override { return false; }
    void requestListening() override {}
    TapStart start(Handler) override { return TapStart::refused; }
    void stop() override {}
    bool isEnabled() override { return false; }
};

class UnavailableLocalFiles : public LocalFiles {
  public:
    Read reader() override {
        return [](const auto&, std::size_t, const auto&) { return Reading{}; };
    }
};

/// Runs nothing: no work ever ends in time.
class UnavailableSideQueue : public SideQueue {
  public:
    bool run(std::function<void()>, MainLoop::Duration) override { return false; }
};

} // namespace orvel
