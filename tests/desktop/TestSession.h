#pragma once
// A desktop of the test's own: an X server with a window manager, a session bus with the accessibility bus, a
// server of pages, two browsers in application mode that stand in for the agents, and one with tabs for
// ChatGPT. All of it ends with the test.

#include "Person.h"
#include "TemporaryFolder.h"
#include "platform/linux/MozcSession.h"
#include "platform/linux/PrivateBus.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace orvel {

/// A conversation with Claude Code that a page can show, and the transcript behind it.
struct PageConversation {
    std::string desktopID; ///< "local_" and a UUID.
    std::string sessionID;
    int messages = 3; ///< On the page, three elements each.
};

class TestSession {
  public:
    enum class Typing {
        plain,   ///< An ordinary keyboard layout.
        japanese ///< IBus with Mozc, which composes Hiragana when it is selected. Not as a superuser.
    };

    /// Why there can be none on this machine; empty if there can.
    static std::string whatIsMissing();

    /// Starts all but the browsers. The environment of this process becomes that of the session.
    TestSession(const std::vector<PageConversation>& claude, const std::string& codexThread,
                Typing typing = Typing::plain);
    ~TestSession();
    TestSession(const TestSession&) = delete;
    TestSession& operator=(const TestSession&) = delete;

    /// Begins an agent's browser on a conversation, and waits until the page shows it.
    void startClaude(const std::string& desktopID);
    void startCodex();
    /// The same with a browser that has tabs, on an empty page of ChatGPT.
    void startDia();
    OwnChild& claude() { return *claudeBrowser; }
    OwnChild& codex() { return *codexBrowser; }
    OwnChild& dia() { return *diaBrowser; }

    /// What the pages told since the start, in the order in which they did. Each has `app`, `what` and `at`,
    /// in milliseconds of the Unix epoch.
    const std::vector<nlohmann::json>& told();
    std::size_t count(const std::string& app, const std::string& what);
    /// The text that stood in an agent's editor last.
    std::string editorText(const std::string& app);
    /// What was submitted in an agent's page.
    std::vector<std::string> sent(const std::string& app);
    void order(const std::string& app, const std::string& order, const nlohmann::json& value = nullptr);

    std::string path(const std::string& name) const { return folder.path(name); }
    std::string display() const { return displayName; }
    std::string busAddress() const { return bus.address(); }
    Person& person() { return *typist; }
    /// The input method; null with an ordinary keyboard layout.
    const MozcSession* japanese() const { return mozc.get(); }

    TemporaryFolder folder;

  private:
    void begin(Typing typing);
    void writeGiven(const std::vector<PageConversation>& claude, const std::string& codexThread);
    void registerLinks();
    std::unique_ptr<OwnChild> browser(const std::string& app, const std::string& windowClass,
                                      const std::string& address);

    PrivateBus bus;
    std::map<std::string, std::string> environment;
    std::string displayName, port, codexThread;
    std::unique_ptr<OwnChild> server, manager, pages, claudeBrowser, codexBrowser, diaBrowser;
    std::unique_ptr<MozcSession> mozc;
    std::unique_ptr<Person> typist;
    std::vector<nlohmann::json> events;
    std::size_t eventsRead = 0; ///< Bytes of the file.
};

} // namespace orvel
