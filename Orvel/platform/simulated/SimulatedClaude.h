#pragma once
// The Claude application as a simulated program: windows and pages by route, an editor that keeps a draft for
// each conversation, replies that take their time, and transcripts on the disk behind it. It knows nothing of
// how Orvel reads it.

#include "Orvel/platform/simulated/SimulatedScreen.h"
#include "samples/TranscriptWriter.h"

#include <chrono>
#include <functional>
#include <list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

/// Where in the tree something stands that does not belong there.
enum class SimulatedIntruder { first, last };

/// How the program behaves; all of it can be changed at any time.
struct SimulatedClaudeHabits {
    using Duration = std::chrono::nanoseconds;

    // How long things take
    Duration leaving{60'000'000};        ///< From the request for another page to the end of the old one.
    Duration loading{120'000'000};       ///< From there to the new page.
    Duration settling{0};                ///< From there to its composer.
    Duration textShows{15'000'000};      ///< From what is typed to what can be read of it.
    Duration writtenShows{15'000'000};   ///< The same for what another program writes.
    Duration sendAppears{30'000'000};    ///< From readable text to the Send button.
    Duration sendEnables{90'000'000};    ///< From there to its being enabled.
    Duration receipt{250'000'000};       ///< From Send to the message in the transcript.
    Duration reply{3'000'000'000};       ///< From Send to the end of the reply.
    Duration recordWritten{400'000'000}; ///< From Send to the record of a new conversation.
    Duration newRoute{300'000'000};      ///< From Send to the address of a new conversation.

    // What it is like
    bool makesNewPages = true; ///< Another page is another element; else the same with another address.
    bool hasShellPage = false; ///< A page of the application's own stands around the conversation's.
    int messagesShown = 3;     ///< Elements of the conversation, four for each message.
    int groupsAround = 1;      ///< Between the page and its composer.
    int groupsInside = 4;      ///< Between the composer and its editor.
    std::string sendLabelAttribute = "AXDescription";
    /// Another page with an editor in the window, besides the conversation's.
    std::optional<SimulatedIntruder> page;
    std::string pageOrigin = "https://claude.ai"; ///< Of that page, which has the address of what is shown.
    /// Another prompt on the page.
    std::optional<SimulatedIntruder> editor;
    bool showsStop = true, showsReplyNote = true; ///< How a reply in progress is told; at least one.
    std::string attachmentLabel = "Remove notes.txt";
    bool hasDialog = false;          ///< Above the composer.
    bool hasTwoSends = false;        ///< Whenever there is one.
    bool sendsWhileReplying = false; ///< Send is there during a reply, too.
    std::string answer = "As you wish.";
    bool reportsMarkedText = true; ///< An open composition can be read from the editor.

    // What can go wrong
    bool ignoresWrites = false;               ///< Says that it took a text, and doesn't.
    bool joinsLines = false;                  ///< Takes a text without its empty lines.
    bool ignoresPresses = false;              ///< Says that Send was pressed, and does nothing.
    bool ignoresURLs = false;                 ///< Stays where it is.
    std::optional<std::string> goesElsewhere; ///< Shows this conversation instead of the one asked for.
    bool sendEnabledIsUnreadable = false;
    bool losesReceipts = false; ///< Never writes what was sent into the transcript.
};

class SimulatedClaude : public SimulatedApplication {
  public:
    using Duration = std::chrono::nanoseconds;

    struct Conversation {
        std::string desktopID; ///< "local_" and a UUID.
        std::string transcriptPath;
        ClaudeTranscript transcript;
        std::string draft;
        bool hasAttachment = false;
        bool isReplying = false;
        std::vector<std::string> received; ///< The messages that stand in its transcript.
        bool isOnDisk = false;
        std::size_t written = 0; ///< How much of `transcript` is on the disk.
    };

    /// Something that was done to an editor or a button, by the person or by another program.
    struct Deed {
        enum class Kind { written, pressedSend, pressedOther, sent, lostComposition };

        Kind kind;
        bool byPerson = false;
        std::string desktopID; ///< Of the conversation, empty on the page of a new one.
        std::string before;    ///< The text in the editor.
        std::string after;     ///< What was written, or the label of another button.
        bool isStray = false;  ///< To a prompt that is no conversation's.
    };

    /// Keeps transcripts below `projects` and its records below `records`.
    SimulatedClaude(SimulatedScreen& screen, std::string projects, std::string records);

    // Before it starts

    /// A conversation with these questions and answers, one after the other, written to the disk.
    Conversation& addConversation(const std::string& sessionID, const std::string& desktopID,
                                  const std::vector<std::string>& messages);
    /// A conversation whose transcript is on the disk; what is added to it follows there.
    Conversation& adoptConversation(const std::string& desktopID, const std::string& transcriptPath,
                                    ClaudeTranscript continued);
    /// The conversation that is shown first; empty for the page of a new one.
    void show(const std::string& desktopID) { route = desktopID; }

    // The person

    void userNavigates(const std::string& desktopID);
    void userSetsDraft(const std::string& desktopID, const std::string& text);
    void userAttaches(const std::string& desktopID);
    void userComposes(const std::string& text); ///< Opens a composition with this unconfirmed text.
    void userFinishesComposing();
    void userSends();
    void closesWindow();
    void opensWindow();
    void repliesOnItsOwn(const std::string& desktopID); ///< A reply begins that nobody asked for here.
    /// Another window takes the focus; it shows this conversation with an editor of its own.
    void opensAnotherWindow(const std::string& desktopID);
    void returnsToWindow(); ///< The focus goes back to the first.
    void opensDialog();     ///< Above the composer.
    // The same again as other elements, as a page that is drawn anew.
    void redrawsPage();
    void replacesPage(); ///< Only its element; what stands on it stays the same.
    void redrawsEditor();
    void redrawsSend();

    // What there is

    Conversation* conversation(const std::string& desktopID);
    const std::list<Conversation>& conversations() const { return all; }
    const std::string& shown() const { return route; }
    const std::vector<Deed>& deeds() const { return done; }
    /// Since when a composition is open in the focused window, as uptime.
    std::optional<Duration> composingSince() const {
        return composition.empty() || other ? std::nullopt : std::optional(compositionBegan);
    }
    /// The text in the editor that is shown, open composition included.
    std::string editorText();
    SimulatedElement::Shared windowElement() const { return window; }
    SimulatedElement::Shared pageElement() const { return page; }
    SimulatedElement::Shared editorElement() const { return editor; }
    SimulatedElement::Shared sendElement() const { return sendButton; }
    SimulatedElement::Shared applicationElement() const { return application; }
    SimulatedElement::Shared composerElement() const { return composerRoot; }
    SimulatedElement::Shared messagesElement() const { return messages; }
    // What a person sees around the editor
    bool showsStop() const { return stopButton != nullptr; }
    bool showsReplyNote() const { return replyNote != nullptr; }
    bool showsAttachment() const { return attachment != nullptr; }
    bool showsDialog() const { return dialog != nullptr; }
    /// A window beside the first, which shows a conversation in an empty editor, and nothing more.
    struct OtherWindow {
        SimulatedElement::Shared window, page, composer, editor;
        std::string conversation;
    };
    /// The one that has the focus instead of the first.
    const std::optional<OtherWindow>& otherWindow() const { return other; }

    SimulatedClaudeHabits habits;
    /// Called as each deed is done.
    std::function<void(const Deed&)> onDeed;

    // SimulatedApplication
    void started(ProcessID newProcess) override;
    void ended() override;
    bool takesURL(const std::string& url) override;
    void openURL(const std::string& url) override;
    void typed(const std::string& text) override;
    void composes(const std::string& text) override { userComposes(text); }
    void pasted(const std::string& text) override;

  private:
    using Element = SimulatedElement::Shared;

    Element make(std::string_view role, std::string_view attribute = {}, std::string_view text = {});
    Element child(const Element& parent, std::string_view role, std::string_view attribute = {},
                  std::string_view text = {});
    Element button(const Element& parent, std::string_view attribute, const std::string& label,
                   std::function<void()> pressed);
    void setFocus();
    void makeSidebar();
    void makePage();
    void makeComposer();
    void makeEditor();
    static void makePrompt(const Element& element);
    Element groupsBelow(Element parent, int count);
    Element promptBelow(const Element& root, std::function<std::string()> conversation);
    Element intrude(const Element& parent, std::string_view role, SimulatedIntruder where);
    Element makeSend();
    void focusWindow(const Element& focused);
    void makeTranscriptView();
    void dropPage();
    void goTo(const std::string& desktopID);
    static std::string address(const std::string& desktopID);
    std::string address() const { return address(route); }

    Conversation& known(const std::string& desktopID);
    Conversation& current();
    std::string& draft();
    bool isReplying();
    bool hasAttachment();
    void textChanged(Duration shows);
    void textChanged() { textChanged(habits.textShows); }
    void showText();
    void showReply();
    void showAttachment();
    bool offersSend(const std::string& text);
    void announceSend();
    void pressSend(bool byPerson);
    void submit();
    void finishNewConversation(Conversation& made);
    void receive(Conversation& conversation, const std::string& text);
    void flush(Conversation& conversation);
    AXStatus takeWrite(std::string_view name, const AXValue& value);
    void note(Deed deed);
    void note(Deed::Kind kind, bool byPerson, std::string before, std::string after = {});
    /// Does the action later, unless the page was left before.
    void onThisPage(Duration delay, std::function<void()> action);
    /// Does it later, unless the application has ended before.
    void whileRunning(Duration delay, std::function<void()> action);

    SimulatedScreen& screen;
    std::string projects, records;
    SampleIDs ids{"claude"};
    std::list<Conversation> all;
    std::vector<Deed> done;

    ProcessID process = 0;
    std::uint64_t run = 0, visit = 0;
    std::string route, newDraft, composition;
    bool newHasAttachment = false;
    Element application, window, shell, page, messages, composerRoot, toolbar, editor;
    Element sendButton, secondSend, stopButton, replyNote, attachment, dialog;
    std::optional<OtherWindow> other;
    bool isSendComing = false;
    Duration compositionBegan{0};
};

} // namespace orvel
