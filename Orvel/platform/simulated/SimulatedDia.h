#pragma once
// The browser Dia as a simulated program, with ChatGPT's page in its tabs: an editor with files beside it, a
// menu that leads to the system's open panel, an upload that takes its time, and conversations. It knows
// nothing of how Orvel reads it.

#include "Orvel/platform/simulated/SimulatedScreen.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

/// How the browser, the page and the panel behave; all of it can be changed at any time.
struct SimulatedDiaHabits {
    using Duration = std::chrono::nanoseconds;

    // How long things take
    Duration switching{60'000'000};     ///< From the choice of a tab to its page.
    Duration loading{0};                ///< From there to what stands on it.
    Duration menuOpens{120'000'000};    ///< From the press of the button for files to its menu.
    Duration panelOpens{350'000'000};   ///< From the choice of the upload to the panel.
    Duration goToOpens{180'000'000};    ///< From the shortcut to the field for a path.
    Duration goToTakes{260'000'000};    ///< From Return there to the selected file.
    Duration panelCloses{150'000'000};  ///< From the panel's answer to its end.
    Duration uploading{1'200'000'000};  ///< From a file's choice to its upload.
    Duration textShows{15'000'000};     ///< From what is typed to what can be read of it.
    Duration writtenShows{40'000'000};  ///< The same for what another program writes.
    Duration sendEnables{90'000'000};   ///< From readable text to an enabled Send button.
    Duration newRoute{450'000'000};     ///< From Send to the address of a new conversation.
    Duration messageShows{700'000'000}; ///< From Send to the message on the page.
    Duration reply{4'000'000'000};      ///< From Send to the end of the reply.
    Duration hitTestLag{0};             ///< From the drawing of a control to when the hit test finds it.
    Duration redraws{0};                ///< Between two drawings of the composer as other elements; 0: never.
    Duration jitters{0};                ///< Between two small moves of all controls; 0: never.

    // What it is like
    bool pressesNeedPointer = false; ///< Controls of the page offer no action.
    bool isLocalized = false;        ///< Not in English.
    bool isSignedOut = false;
    std::string model = "Pro";     ///< As the menu of models names it; empty if it doesn't.
    bool hasSidePanel = false;     ///< A web page of the browser's own stands beside the tab's.
    bool hasSecondChatGPT = false; ///< Another page of ChatGPT stands beside the tab's.
    std::string goToHolds;         ///< What the field for a path holds at first.

    // What can go wrong
    bool ignoresWrites = false;              ///< Says that it took a text, and doesn't.
    bool ignoresPresses = false;             ///< Says that a control was pressed, and does nothing.
    bool trims = false, smartQuotes = false; ///< What it does to a text.
    bool spinsForever = false;               ///< The upload shows no end.
    bool redrawsAtUpload = false;            ///< The composer becomes other elements with the file.
    std::optional<std::string> alsoAttaches; ///< The path of another file that comes with the first.
    bool selectsAnother = false;             ///< The panel selects a neighbour of the file.
    bool ignoresPastedFiles = false;
    bool keepsFocus = false;    ///< Says that the keyboard went into the editor, and leaves it where it is.
    bool staysAtRoot = false;   ///< After Send.
    bool losesFiles = false;    ///< Sends the text alone.
    bool hidesMessages = false; ///< Never shows what was sent.
};

class SimulatedDia : public SimulatedApplication {
  public:
    using Duration = std::chrono::nanoseconds;
    using Element = SimulatedElement::Shared;

    struct File {
        std::string path, name;
        std::string bytes; ///< As they were when the file was chosen.
    };
    struct Message {
        std::string text;
        std::vector<File> files;
    };
    struct Conversation {
        std::string id;
        std::vector<Message> messages;
    };
    struct Tab {
        std::string host = "chatgpt.com", path = "/", query;
        std::string draft;
        std::vector<File> files;
        bool isUploading = false, isReplying = false;

        /// Of the conversation that it shows, or empty.
        std::string conversation() const { return path.starts_with("/c/") ? path.substr(3) : ""; }
    };
    /// The page of the tab that a window shows. Null what isn't there.
    struct Page {
        Element web, main, messages, region, chips, editor, toolbar, add;
        Element action; ///< Send, or what stands in its place.
        Element menu;
    };
    /// The system's, in which a file is chosen.
    struct Panel {
        Element sheet, rows, ok, goTo, field;
        std::vector<std::string> selected; ///< Paths.
    };
    struct Window {
        std::list<Tab> tabs;
        std::size_t selected = 0;
        Element element, frame;
        Page page;
        std::optional<Panel> panel;
        std::uint64_t visit = 0; ///< Which page it is.

        Tab& tab() { return *std::next(tabs.begin(), static_cast<std::ptrdiff_t>(selected)); }
    };

    /// Something that was done to a page, by the person or by another program.
    struct Deed {
        enum class Kind {
            written,      ///< The text of an editor, by another program; `after` is the new one.
            attached,     ///< A file; `after` is its path.
            pressedSend,  ///< Whether or not it does anything.
            pressedOther, ///< `after` is the label in English.
            sent
        };

        Kind kind;
        bool byPerson = false;
        std::size_t window = 0;
        std::string host;
        std::string conversation; ///< Empty at the root.
        std::string before;       ///< The text in the editor.
        std::string after;
        std::vector<File> files; ///< In the composer.
    };

    explicit SimulatedDia(SimulatedScreen& screen);

    // Before it starts

    Conversation& addConversation(const std::string& id, const std::vector<std::string>& messages);
    /// What the first window's tab shows first.
    Tab firstTab;

    // The person

    /// Opens a tab behind the others of the focused window, without showing it.
    std::size_t opensTab(Tab tab);
    void selectsTab(std::size_t number);
    /// Goes to another place in the tab that is shown.
    void navigates(const std::string& path);
    std::size_t opensWindow(Tab tab); ///< Gives its number; it takes the focus.
    void focuses(std::size_t window);
    void closesWindow();
    void setsDraft(const std::string& text);
    void attaches(const std::string& path);
    void removesFiles();
    void closesPanel();
    void selectsInPanel(const std::string& path); ///< This file and no other.
    void userSends();
    void movesFocus(bool toEditor); ///< The keyboard, within the page.
    // The same again as other elements
    void redrawsComposer();
    void redrawsSend();
    void redrawsPage();
    /// Everything on the page moves so many points down.
    void scrolls(double points);

    // What there is

    const std::list<Conversation>& conversations() const { return all; }
    const Conversation* conversation(const std::string& id) const;
    const std::vector<Deed>& deeds() const { return done; }
    const std::list<Window>& windows() const { return opened; }
    Window* window(std::size_t number);
    std::size_t focusedWindow() const { return focused; }
    Element applicationElement() const { return application; }
    /// The page in the focused window; empty without a window.
    Page page() const;

    SimulatedDiaHabits habits;
    /// Called as each deed is done.
    std::function<void(const Deed&)> onDeed;

    // SimulatedApplication
    void started(ProcessID newProcess) override;
    void ended() override;
    void pressed(const SimulatedKey& key) override;
    void typed(const std::string& text) override;
    void pasted(const std::string& text) override;
    void clicked(AXPoint point) override;

  private:
    Element child(const Element& parent, std::string_view role, std::string_view attribute = {},
                  std::string_view text = {});
    Element group(const Element& parent);
    Element text(const Element& parent, const std::string& value);
    Element control(const Element& parent, std::string_view english, AXPoint corner, AXSize size,
                    std::function<void()> press);
    Element button(Window& window, const Element& parent, std::string_view english, AXPoint corner,
                   std::function<void()> press);
    static void place(const Element& element, AXPoint corner, AXSize size);
    std::string label(std::string_view english) const;
    static std::string address(const Tab& tab);
    std::size_t number(const Window& window) const;

    void showWindows();
    void showFocus();
    void makePage(Window& window);
    void fillPage(Window& window);
    void dropPage(Window& window);
    void showMessages(Window& window);
    void makeComposer(Window& window);
    void showEditor(Window& window);
    void showAction(Window& window);
    void watchPresses(Window& window);
    void showFiles(Window& window);
    void clearFiles(Window& window);
    void openMenu(Window& window);
    static void closeMenu(Window& window);
    void openPanel(Window& window);
    void openGoTo(Window& window);
    void acceptPath(Window& window);
    void selectIn(Window& window, const std::string& path);
    void acceptPanel(Window& window);
    void dropPanel(Window& window);
    void upload(Window& window, std::vector<std::string> paths, bool byPerson);
    AXStatus takeWrite(Window& window, std::string_view name, const AXValue& value);
    void pastes(Window& window);
    void submit(Window& window, bool byPerson);
    void repeat(Duration interval, void (SimulatedDia::*deed)());
    void moves() { scrolls(0.05); }
    void note(Window& window, Deed::Kind kind, bool byPerson, std::string after = {});
    /// Does the action later, unless the page was left or the window closed before.
    void onThisPage(Window& window, Duration delay, std::function<void(Window&)> action);

    SimulatedScreen& screen;
    std::list<Conversation> all;
    std::list<Window> opened;
    std::size_t focused = 0;
    std::vector<Deed> done;
    ProcessID process = 0;
    std::uint64_t run = 0; ///< Which start of the program this is.
    std::size_t begun = 0; ///< Conversations.
    bool editorHasFocus = true;
    double offset = 0; ///< By which the page is scrolled.
    Element application;
};

} // namespace orvel
