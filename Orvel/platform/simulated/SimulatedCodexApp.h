#pragma once
// The Codex application as a simulated program: a window that shows one conversation with a composer, which
// it exposes when it is asked to, messages that go into transcripts on the disk, and a shortcut that copies
// the conversation's link. It knows nothing of how Orvel reads it. The server behind it is SimulatedCodex.

#include "Orvel/desktop/EventPosting.h"
#include "Orvel/platform/simulated/SimulatedScreen.h"
#include "samples/SampleCodexHome.h"

#include <chrono>
#include <functional>
#include <list>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace orvel {

/// How the program behaves; all of it can be changed at any time.
struct SimulatedCodexAppHabits {
    using Duration = std::chrono::nanoseconds;

    // How long things take
    Duration exposing{300'000'000};    ///< From the request to expose its elements to that.
    Duration opening{80'000'000};      ///< From the request for another conversation to that.
    Duration textShows{15'000'000};    ///< From what is typed to what can be read of it.
    Duration writtenShows{15'000'000}; ///< The same for what another program writes.
    Duration receipt{200'000'000};     ///< From Return to the message in the transcript.
    Duration copying{60'000'000};      ///< From the shortcut to the link on the clipboard.

    // What it is like
    AXStatus answersRequest = AXStatus::success; ///< To be exposed; anything else refuses it.
    bool isExposed = false;                      ///< Without being asked.
    int messagesShown = 3;
    std::string submitLabel = "Send", contextLabel = "Add files and more";
    SyntheticKey copyShortcut{37, SyntheticKey::command | SyntheticKey::option};
    int copies = 1;                ///< How often it writes the link that is asked for once.
    bool reportsMarkedText = true; ///< An open composition can be read from the editor.

    // What can go wrong
    bool ignoresWrites = false;             ///< Says that it took a text, and doesn't.
    std::optional<std::string> copiesOther; ///< Copies the link to this thread instead.
};

class SimulatedCodexApp : public SimulatedApplication {
  public:
    using Duration = std::chrono::nanoseconds;

    struct Conversation {
        std::string threadID, title;
        std::string draft;
    };

    /// Something that was done in the window, by the person or by another program.
    struct Deed {
        enum class Kind {
            written, ///< By another program, into the editor.
            sent,    ///< By Return.
            copied,  ///< The link; it stands on the clipboard.
        };

        Kind kind;
        std::string threadID;
        std::string before;     ///< The text in the editor.
        std::string after;      ///< What was written or copied.
        Duration asked{0};      ///< When the copy was asked for, as uptime.
        bool isPosted = false;  ///< By a key that a program posted.
        bool isFurther = false; ///< Another copy of what was asked for once.
    };

    /// `home` holds its threads, and is shared with the server.
    SimulatedCodexApp(SimulatedScreen& screen, SampleCodexHome home);

    /// The thread stands on the disk already, or nothing is sent in it.
    void addConversation(const std::string& threadID, const std::string& title);
    /// The conversation that is shown first.
    void show(const std::string& threadID) { current = threadID; }

    // The person

    void userNavigates(const std::string& threadID);
    void userSetsDraft(const std::string& threadID, const std::string& text);
    void opensWindow();
    void closesWindow();
    void opensAnotherWindow(); ///< An empty one, which takes the focus.
    // The same again as other elements
    void redrawsPage();
    void redrawsEditor();
    /// Every call on its elements takes so much longer from now on.
    void hangs(Duration duration) { application->slowness = duration; }

    // What there is

    const std::string& shown() const { return current; }
    /// The text in the editor that is shown, open composition included.
    std::string editorText() const;
    const std::vector<Deed>& deeds() const { return done; }
    int requests() const { return requestCount; } ///< To expose its elements.
    /// Whether an element with this number is or was the editor.
    bool wasEditor(std::uint64_t number) const { return editors.contains(number); }
    SimulatedElement::Shared applicationElement() const { return application; }
    SimulatedElement::Shared windowElement() const { return window; }
    SimulatedElement::Shared pageElement() const { return page; }
    SimulatedElement::Shared composerElement() const { return composer; }
    /// Null while nothing is exposed.
    SimulatedElement::Shared editorElement() const { return editor; }
    SimulatedElement::Shared submitElement() const { return submit; }

    SimulatedCodexAppHabits habits;
    /// Called as each deed is done.
    std::function<void(const Deed&)> onDeed;

    // SimulatedApplication
    void started(ProcessID newProcess) override;
    void ended() override;
    bool takesURL(const std::string& url) override;
    void openURL(const std::string& url) override;
    void pressed(const SimulatedKey& key) override;
    void typed(const std::string& text) override;
    void composes(const std::string& text) override;

  private:
    using Element = SimulatedElement::Shared;

    Element child(const Element& parent, std::string_view role, std::string_view attribute = {},
                  std::string_view text = {});
    Conversation* conversation(const std::string& threadID);
    AXStatus takeRequest(std::string_view name, const AXValue& value);
    AXStatus takeWrite(std::string_view name, const AXValue& value);
    void expose();
    void makePage();
    void dropPage();
    void makeEditor();
    void textChanged(Duration shows);
    void showText();
    void send();
    void copy(bool isPosted);
    void note(Deed deed);
    void whileRunning(Duration delay, std::function<void()> action);

    SimulatedScreen& screen;
    SampleCodexHome home;
    std::list<Conversation> all;
    std::vector<Deed> done;
    std::string current, composition;
    ProcessID process = 0;
    std::uint64_t run = 0; ///< Which start of the program this is.
    int requestCount = 0;
    bool isExposed = false;
    std::set<std::uint64_t> editors;
    Element application, window, frame, page, composer, editor, submit;
};

} // namespace orvel
