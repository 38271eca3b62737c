// A folder and a question on their whole road into ChatGPT's page, and what a person or the page may do
// meanwhile.

#include "Orvel/consultation/ChatGPTBrowserSender.h"
#include "OrvelCore/text/Digest.h"
#include "desktop/OrvelDesk.h"

#include <algorithm>
#include <csignal>
#include <cstddef>

namespace orvel {
namespace {

using namespace std::chrono_literals;
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

    std::string check() {
        std::string said;
        const auto outcome = outcomeOf(check(said));
        return outcome == "done" ? said : outcome;
    }
    std::string deliver(const std::string& question) { return outcomeOf(send(question)); }

    /// The same, while somebody does something as soon as the page has told of this.
    std::string deliver(const std::string& question, const std::string& what,
                        const std::function<void()>& disturb) {
        const auto seen = session.count(app, what);
        std::unique_ptr<Timer> next;
        const std::function<void()> look = [&] {
            if (session.count(app, what) > seen)
                disturb();
            else
                next = desktop.world.loop.after(10ms, look);
        };
        next = desktop.world.loop.after(10ms, look);
        return deliver(question);
    }

    /// Whether Send may have been pressed, as the last delivery told.
    bool maySend = false;

    void chord(char letter) {
        auto& person = session.person();
        person.press(Person::control);
        person.stroke(static_cast<unsigned char>(letter));
        person.release(Person::control);
    }
    std::string clipboard() {
        return elsewhere.data(0, std::string(PasteboardType::string)).value_or("nothing");
    }

    TestSession session{{}, OrvelDesk::codexID};
    RealDesktop desktop{session};
    LoopHolds holds{desktop.world.loop};
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
    Task<void> check(std::string& said) {
        auto work = sender.checkConnection();
        said = co_await work;
    }
    Task<void> send(std::string question) {
        result.reset();
        maySend = true;
        try {
            auto work = sender.send(archive, question);
            result = co_await work;
        } catch (const ChatGPTBrowserSender::Failure& failure) {
            maySend = failure.sendWasPressed();
            throw;
        }
    }
};

class ConsultationTest : public OrvelDeskTest {};

// What came to the page was told once, and is exactly this.
void expectDelivered(ConsultationDesk& desk, const std::string& question, std::size_t from) {
    const nlohmann::json* sent = nullptr;
    const nlohmann::json* uploaded = nullptr;
    std::map<std::string, int> count;
    const auto& told = desk.session.told();
    for (auto i = from; i < told.size(); ++i) {
        const auto& event = told[i];
        const auto what = event["what"].get<std::string>();
        if (what == "sent") sent = &event;
        if (what == "uploaded") uploaded = &event;
        ++count[what == "pasted" && event["files"].empty() ? "pasted text" : what];
    }
    ASSERT_TRUE(sent && uploaded);
    EXPECT_EQ(sha256Hex({contentsOf((*uploaded)["path"])}), desk.archive.sha256);
    EXPECT_EQ((*sent)["text"], question);
    EXPECT_EQ((*sent)["files"].size(), 1U);
    for (const auto* once : {"pasted text", "uploaded", "pressed", "sent"}) EXPECT_EQ(count[once], 1) << once;
    EXPECT_EQ(desk.result->conversationURL,
              "https://chatgpt.com/c/" + (*sent)["conversation"].get<std::string>());
}

struct Delivery {
    const char* name;
    std::string question;
    std::function<void(ConsultationDesk&)> before, duringUpload;
    std::string clipboard = precious; ///< In the end.
};

const Delivery deliveries[] = {
    {"a question", "What does \"main\" return, and what's 'ß'?\nAnswer briefly: größer → ja.", nullptr,
     nullptr},
    {"a long question",
     [] {
         std::string text = "  Compare these, please 🙂:";
         for (int i = 0; i < 40; ++i) text += "\n\n\tline " + std::to_string(i) + " of <b>many</b> & more";
         return text;
     }(),
     nullptr, nullptr},
    {"the keyboard in the address bar", "Why?", [](auto& desk) { desk.chord('l'); }, nullptr},
    {"the person copies during the upload", "Why?", nullptr,
     [](auto& desk) { EXPECT_TRUE(desk.elsewhere.setString("newer")); }, "newer"},
};

TEST_F(ConsultationTest, aFolderAndAQuestionArriveOnce) {
    ConsultationDesk desk;
    EXPECT_THAT(desk.check(), HasSubstr("an empty editor, and no attachments"));
    for (const auto& row : deliveries) {
        SCOPED_TRACE(row.name);
        desk.startAnew();
        ASSERT_TRUE(desk.elsewhere.setString(precious));
        if (row.before) row.before(desk);
        desk.desktop.world.runFor(300ms);
        const auto from = desk.session.told().size();
        auto& accessibility = desk.accessibility;
        accessibility.reads = accessibility.searches = accessibility.writes = accessibility.presses = 0;
        desk.holds.longest = {};
        const auto began = unixMilliseconds();
        EXPECT_EQ(desk.deliver(row.question, "pasted",
                               [&] {
                                   if (row.duringUpload) row.duringUpload(desk);
                               }),
                  "done");
        const auto took = unixMilliseconds() - began;
        expectDelivered(desk, row.question, from);
        EXPECT_EQ(accessibility.writes, 1U);
        EXPECT_EQ(accessibility.presses, 1U);
        EXPECT_EQ(desk.clipboard(), row.clipboard);
        std::printf(
            "%s: received %.1f s after the start, by %zu reads and %zu searches; the loop was held for "
            "%.0f ms at most\n",
            row.name, took / 1000, accessibility.reads, accessibility.searches,
            std::chrono::duration<double, std::milli>(desk.holds.longest).count());
    }
}

struct Case {
    const char* name;
    std::function<void(ConsultationDesk&)> before, duringUpload;
    const char* told;
    const char* left; ///< In the editor.
    std::function<void(ConsultationDesk&)> after;
};

const Case cases[] = {
    {"another tab during the upload", nullptr, [](auto& desk) { desk.chord('t'); }, "tab", "",
     [](auto& desk) { desk.chord('w'); }},
    {"another address during the upload", nullptr,
     [](auto& desk) { desk.session.order(app, "show", "/c/another"); }, "tab changed", "", nullptr},
    {"words during the upload", nullptr, [](auto& desk) { desk.session.person().type("mine"); },
     "has a draft", "mine", nullptr},
    {"two files",
     [](auto& desk) {
         desk.session.order(app, "habits", {{"isDoubled", true}});
     },
     nullptr, "exactly one ZIP", "", nullptr},
    {"a draft", [](auto& desk) { desk.session.order(app, "draft", "my own words"); }, nullptr, "has a draft",
     "my own words", nullptr},
    {"the placeholder's words", [](auto& desk) { desk.session.order(app, "draft", "Ask ChatGPT"); }, nullptr,
     "Couldn't verify an empty ChatGPT editor", "Ask ChatGPT", nullptr},
};

TEST_F(ConsultationTest, nothingIsSentOfWhatIsNotProved) {
    ConsultationDesk desk;
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        desk.startAnew({{"uploading", row.duringUpload ? 2'500 : 300}, {"isDoubled", false}});
        if (row.before) row.before(desk);
        desk.desktop.world.runFor(300ms);
        const auto outcome = desk.deliver("What is this?", "pasted", [&] {
            if (row.duringUpload) row.duringUpload(desk);
        });
        std::printf("%s: %s\n", row.name, outcome.substr(0, outcome.find('\n')).c_str());
        EXPECT_THAT(outcome, HasSubstr(row.told));
        for (const auto* never : {"pressed", "sent"}) EXPECT_EQ(desk.session.count(app, never), 0U);
        EXPECT_EQ(desk.accessibility.writes + desk.accessibility.presses, 0U);
        EXPECT_EQ(desk.session.editorText(app), row.left);
        EXPECT_EQ(desk.clipboard(), precious);
        if (row.after) row.after(desk);
    }
}

TEST_F(ConsultationTest, nothingIsDoubledWhereTheBrowserHangs) {
    ConsultationDesk desk;
    for (const auto* what : {"pasted", "uploaded", "text", "pressed"}) {
        SCOPED_TRACE(what);
        desk.startAnew();
        ASSERT_TRUE(desk.elsewhere.setString(precious));
        desk.desktop.world.runFor(300ms);
        const auto sent = desk.session.count(app, "sent"), pressed = desk.session.count(app, "pressed");
        const auto from = desk.session.told().size();
        std::unique_ptr<Timer> end;
        desk.holds.longest = {};
        const auto outcome = desk.deliver("What \"is\" this?\nWhy?", what, [&] {
            desk.session.dia().signal(SIGSTOP);
            end = desk.desktop.world.loop.after(1500ms, [&] { desk.session.dia().signal(SIGCONT); });
        });
        desk.session.dia().signal(SIGCONT);
        desk.desktop.world.runFor(1500ms);
        const auto arrived = desk.session.count(app, "sent") - sent;
        EXPECT_LE(arrived, 1U);
        EXPECT_LE(desk.session.count(app, "pressed") - pressed, 1U);
        EXPECT_TRUE(desk.maySend || arrived == 0) << "it said that nothing was sent";
        if (outcome == "done") expectDelivered(desk, "What \"is\" this?\nWhy?", from);
        EXPECT_EQ(desk.clipboard(), precious);
        std::printf("hangs once the page told \"%s\": %s; %zu sent; the loop was held for %.0f ms at most\n",
                    what, outcome.substr(0, outcome.find('\n')).c_str(), arrived,
                    std::chrono::duration<double, std::milli>(desk.holds.longest).count());
    }
}

} // namespace
} // namespace orvel
