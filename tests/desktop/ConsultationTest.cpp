// A folder and a question on their whole road into ChatGPT's page, and what a person or the page may do
// meanwhile.

#include "Orvel/consultation/ChatGPTBrowserSender.h"
#include "OrvelCore/text/Digest.h"
#include "desktop/OrvelDesk.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <filesystem>

namespace orvel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr auto precious = "what the person copied last";
constexpr auto app = "chatgpt";

/// Passes everything on, and counts it.
class WatchedAccessibility : public Accessibility {
  public:
    explicit WatchedAccessibility(Accessibility& real) : real(real) {}

    bool isTrusted() override { return real.isTrusted(); }
    AXElement application(ProcessID process) override { return real.application(process); }
    void setMessagingTimeout(const AXElement& element, std::chrono::milliseconds timeout) override {
        real.setMessagingTimeout(element, timeout);
    }
    AXReading attribute(const AXElement& element, std::string_view name) override {
        ++reads;
        return real.attribute(element, name);
    }
    std::vector<AXReading> attributes(std::span<const AXRequest> requests) override {
        reads += requests.size();
        return real.attributes(requests);
    }
    AXSettable isSettable(const AXElement& element, std::string_view name) override {
        ++reads;
        return real.isSettable(element, name);
    }
    AXStatus setAttribute(const AXElement& element, std::string_view name, const AXValue& value) override {
        writes += name == "AXValue" ? 1 : 0;
        return real.setAttribute(element, name, value);
    }
    AXActionNames actionNames(const AXElement& element) override {
        ++reads;
        return real.actionNames(element);
    }
    AXStatus performAction(const AXElement& element, std::string_view name) override {
        ++presses;
        return real.performAction(element, name);
    }
    AXReading elementAtPosition(AXPoint point) override {
        ++reads;
        return real.elementAtPosition(point);
    }
    std::optional<ProcessID> process(const AXElement& element) override {
        ++reads;
        return real.process(element);
    }
    std::unique_ptr<AXReadAhead> readAhead(const AXElement& root, std::span<const std::string_view> names,
                                           std::size_t limit) override {
        return real.readAhead(root, names, limit);
    }
    Task<std::optional<AXElements>> search(AXElement root, std::vector<std::string> roles,
                                           std::size_t limit) override {
        ++searches;
        return real.search(std::move(root), std::move(roles), limit);
    }

    std::size_t reads = 0, searches = 0, writes = 0, presses = 0;

  private:
    Accessibility& real;
};

/// How long the loop was kept from what is due.
class LoopHolds {
  public:
    explicit LoopHolds(MainLoop& loop) : loop(loop) { wait(); }

    MainLoop::Duration longest{0};

  private:
    void wait() {
        const auto due = loop.uptime() + 1ms;
        timer = loop.after(1ms, [this, due] {
            longest = std::max(longest, loop.uptime() - due);
            wait();
        });
    }

    MainLoop& loop;
    std::unique_ptr<Timer> timer;
};

struct ConsultationDesk {
    ConsultationDesk() {
        session.folder.write("home/project/notes.txt", "Ein Gruß.\n");
        session.folder.write("home/project/source/main.c", "int main(void) { return 0; }\n");
        session.startDia();
        EXPECT_TRUE(desktop.runUntil([this] {
            static_cast<void>(desktop.applications.activate(session.dia().id()));
            const auto front = desktop.applications.frontmost();
            return front && front->process == session.dia().id();
        }));
        EXPECT_TRUE(elsewhere.setString(precious));
        const ChatGPTRepositoryArchive::Ports ports{desktop.world.loop, desktop.world.processes,
                                                    desktop.zipArchives};
        EXPECT_EQ(outcomeOf(pack(ports, session.path("home/project"), session.path("out"))), "done");
    }

    /// An empty page again.
    void startAnew(const nlohmann::json& habits = {{"uploading", 700}, {"isDoubled", false}}) {
        session.order(app, "habits", habits);
        const auto shown = session.count(app, "shown");
        session.order(app, "show", "/");
        EXPECT_TRUE(desktop.runUntil([&] { return session.count(app, "shown") > shown; }));
    }

    std::string deliver(const std::string& question) { return outcomeOf(send(question)); }

    TestSession session{{}, OrvelDesk::codexID};
    RealDesktop desktop{session};
    WatchedAccessibility accessibility{desktop.accessibility};
    ChatGPTOperations operations{desktop.world.loop};
    ChatGPTBrowserSender sender{ports(), operations, ChatGPTAttachingWay::paste};
    std::unique_ptr<XConnection> others = XConnection::open(session.display());
    XPasteboard elsewhere{*others, session.display()};
    ChatGPTRepositoryArchive archive;
    std::optional<ChatGPTDeliveryResult> result;

  private:
    Desktop ports() {
        auto ports = desktop.ports();
        return {ports.loop,     ports.sideQueue,   ports.files,        ports.processes,
                ports.settings, ports.pasteboard,  ports.panels,       ports.applications,
                accessibility,  ports.keyboardTap, ports.eventPosting, ports.inputSources,
                ports.windows,  ports.localFiles,  ports.zipArchives,  ports.session};
    }
    std::string outcomeOf(Task<void> work) { return desktop.world.outcomeOf(std::move(work)); }
    Task<void> pack(ChatGPTRepositoryArchive::Ports ports, std::string folder, std::string output) {
        auto work = ChatGPTRepositoryArchive::prepare(ports, folder, output, {});
        archive = co_await work;
    }
    Task<void> send(std::string question) {
        result.reset();
        auto work = sender.send(archive, question);
        result = co_await work;
    }
};

class ConsultationTest : public OrvelDeskTest {};

TEST_F(ConsultationTest, aFolderAndAQuestionArriveOnce) {
    ConsultationDesk desk;
    const std::string question = "What does \"main\" return, and what's 'ß'?\nAnswer briefly: größer → ja.";
    LoopHolds holds(desk.desktop.world.loop);
    const auto began = unixMilliseconds();
    ASSERT_EQ(desk.deliver(question), "done");
    const auto took = unixMilliseconds() - began;

    const nlohmann::json* sent = nullptr;
    const nlohmann::json* uploaded = nullptr;
    std::size_t pastedTexts = 0;
    for (const auto& event : desk.session.told()) {
        if (event["what"] == "sent") sent = &event;
        if (event["what"] == "uploaded") uploaded = &event;
        pastedTexts += event["what"] == "pasted" && event["files"].empty() ? 1 : 0;
    }
    ASSERT_TRUE(sent && uploaded);
    EXPECT_EQ(sha256Hex({contentsOf((*uploaded)["path"])}), desk.archive.sha256);
    EXPECT_EQ((*sent)["text"], question);
    EXPECT_EQ((*sent)["files"].size(), 1U);
    EXPECT_EQ(desk.accessibility.writes, 1U);
    EXPECT_EQ(pastedTexts, 1U);
    for (const auto* once : {"uploaded", "pressed", "sent"}) EXPECT_EQ(desk.session.count(app, once), 1U);
    EXPECT_EQ(desk.result->conversationURL,
              "https://chatgpt.com/c/" + (*sent)["conversation"].get<std::string>());
    EXPECT_EQ(desk.elsewhere.data(0, std::string(PasteboardType::string)), precious);
    std::printf(
        "delivered in %.1f s, with %zu reads and %zu searches; the loop was held for %.0f ms at most\n",
        took / 1000, desk.accessibility.reads, desk.accessibility.searches,
        std::chrono::duration<double, std::milli>(holds.longest).count());
}

} // namespace
} // namespace orvel
