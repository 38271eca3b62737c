#pragma once
// A browser with a page of ChatGPT on a simulated desktop where nothing takes time but what a test makes
// slow, and the readers over it.

#include "Orvel/consultation/ChatGPTComposerReader.h"
#include "Orvel/consultation/ChatGPTElements.h"
#include "Orvel/consultation/ChatGPTOperations.h"
#include "Orvel/consultation/ChatGPTPageReader.h"
#include "Orvel/consultation/ChatGPTPointerProof.h"
#include "Orvel/consultation/ChatGPTReceiptReader.h"
#include "Orvel/consultation/ChatGPTStableSnapshot.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"

#include <memory>
#include <optional>
#include <string>

namespace orvel {

struct ChatGPTDesk {
    using Element = SimulatedElement::Shared;

    ChatGPTDesk() {
        auto& latency = desktop.accessibility.latency;
        latency.median = latency.rare = latency.worst = {};
        desktop.applications.install(dia);
        process = desktop.applications.start(dia);
        desktop.applications.bringToFront(process);
        desktop.accessibility.setApplication(process, application);
        application->append(window);
        application->set("AXFocusedWindow", window->handle());
        application->set("AXWindows", AXElements{window->handle()});
        window->set("AXPosition", AXPoint{0, 0});
        window->set("AXSize", AXSize{400, 300});
        window->append(web);
        go("/");
        region->set("AXValue", std::string());
        main->append(region);
        add(region, "AXButton", "AXTitle", "Add files and more");
        add(region, "AXButton", "AXTitle", "Dictate");
        voice->set("AXEnabled", true);
        region->append(voice);
        region->append(editor);
        editor->set("AXDescription", std::string("Ask ChatGPT"));
        writable(editor);
        placeholder();
        desktop.steps.observer = [this](SimulatedStep& step) {
            if (step.isWrite) ++writes;
            if (onStep) onStep(step);
        };
    }

    // What a test lets an element say may hold the element itself.
    ~ChatGPTDesk() {
        for (const auto& element : {application, window, web, main, region, voice, editor})
            element->overrides.clear();
    }
    ChatGPTDesk(const ChatGPTDesk&) = delete;
    ChatGPTDesk& operator=(const ChatGPTDesk&) = delete;

    Element add(const Element& parent, std::string_view role, std::string_view attribute = {},
                const std::string& text = {}) {
        auto made = desktop.accessibility.makeElement(role);
        if (!attribute.empty()) made->set(attribute, text);
        parent->append(made);
        return made;
    }
    void go(const std::string& path, const std::string& origin = "https://chatgpt.com") const {
        web->set("AXURL", AXURL{origin + path});
    }
    static void fail(const Element& element, const std::string& attribute, AXStatus status) {
        element->statuses.emplace_back(attribute, status);
    }
    static void writable(const Element& element) {
        element->write = [](std::string_view, const AXValue&) { return AXStatus::success; };
    }

    /// The editor as an empty page draws it.
    void placeholder() {
        type("Ask ChatGPT\n");
        editor->set("AXNumberOfCharacters", 12.0);
        const auto outer = add(editor, "AXGroup", "AXValue");
        writable(outer);
        add(add(outer, "AXGroup", "AXValue"), "AXStaticText", "AXValue", "Ask ChatGPT");
    }
    /// The editor with somebody's text.
    void type(const std::string& text) {
        while (!editor->below().empty()) editor->below().front()->remove();
        editor->set("AXValue", text);
        editor->set("AXNumberOfCharacters", static_cast<double>(text.size()));
    }
    /// The ZIP in the region, with Send.
    void attach(const std::string& name) {
        const auto chip = add(region, "AXGroup");
        add(chip, "AXButton", "AXTitle", name);
        add(chip, "AXButton", "AXDescription", "Remove " + name);
        add(chip, "AXStaticText", "AXValue", name);
        voice->set("AXTitle", std::string("Send"));
    }
    /// An area beside ChatGPT's.
    Element addArea(const AXValue& url) {
        auto area = add(window, "AXWebArea");
        area->set("AXURL", url);
        return area;
    }
    /// As many elements in the window.
    void grow(std::size_t size) {
        std::vector<Element> all{window};
        for (std::size_t i = 0; i < all.size(); ++i) {
            const auto each = all[i];
            all.insert(all.end(), each->below().begin(), each->below().end());
        }
        for (auto count = all.size(); count < size; ++count) add(main, "AXGroup");
    }
    void openAnotherWindow() { application->set("AXFocusedWindow", add(application, "AXWindow")->handle()); }

    ChatGPTPage page() const { return {process, web->handle(), window->handle(), "https://chatgpt.com/"}; }

    template <typename T>
    static Task<void> keep(Task<T> work, std::optional<T>& result) {
        result = co_await work;
    }
    static Task<void> observe(Task<void> work, std::string& end) {
        try {
            co_await work;
            end = "done";
        } catch (const std::exception& failure) {
            end = failure.what();
        }
    }
    /// "done", or the words of the failure.
    std::string run(Task<void> work) {
        std::string end = "still waiting";
        TaskScope tasks;
        tasks.start(observe(std::move(work), end));
        loop.runUntil([&] { return tasks.isIdle(); }, std::chrono::minutes(2));
        return end;
    }
    template <typename T>
    std::string run(Task<T> work, std::optional<T>& result) {
        return run(keep(std::move(work), result));
    }
    template <typename T>
    std::string run(Task<T> work) {
        std::optional<T> result;
        return run(keep(std::move(work), result));
    }

    std::string report() { return operations.trace()->report().text(); }
    bool tells(const std::string& words) { return (report() + "\n").find(words) != std::string::npos; }

    SimulatedDesktop desktop;
    SimulatedLoop& loop = desktop.loop;
    SimulatedApplication dia{std::string(diaBundleID), "1", "/Applications/Dia.app"};
    ProcessID process = 0;
    Element application = desktop.accessibility.makeElement("AXApplication"),
            window = desktop.accessibility.makeElement("AXWindow"),
            web = desktop.accessibility.makeElement("AXWebArea"), main = add(web, "AXGroup"),
            region = desktop.accessibility.makeElement("AXGroup"),
            editor = desktop.accessibility.makeElement("AXTextArea");
    Element voice = [this] {
        auto made = desktop.accessibility.makeElement("AXButton");
        made->set("AXTitle", std::string("Start Voice"));
        return made;
    }();

    Desktop ports = desktop.ports();
    ChatGPTOperations operations{loop};
    ChatGPTElements elements{ports, operations};
    ChatGPTPageReader pages{ports, operations, elements};
    ChatGPTComposerReader composers{elements};
    ChatGPTReceiptReader receipts{loop, operations, elements, pages, composers};
    ChatGPTOperations::Running operation = operations.begin(ChatGPTDeliveryTrace::Kind::send);

    std::function<void(SimulatedStep&)> onStep;
    int writes = 0; ///< Of anything, which no reader does.
};

} // namespace orvel
