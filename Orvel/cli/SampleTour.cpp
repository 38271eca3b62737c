#include "Orvel/cli/SampleTour.h"

#include "Orvel/cli/CommandFailure.h"
#include "Orvel/cli/Output.h"
#include "Orvel/cli/RelaySessionRunner.h"
#include "Orvel/cli/TerminalText.h"
#include "Orvel/shell/CommandMonitoring.h"
#include "Orvel/shell/DesktopConsent.h"
#include "OrvelCore/files/FilePath.h"
#include "OrvelCore/files/FileReading.h"

#include <algorithm>
#include <chrono>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace orvel {

namespace {

using Json = nlohmann::ordered_json;

// A tour fits a terminal of a hundred columns.
constexpr std::size_t columns = 92;
constexpr std::size_t valueColumns = 40;
constexpr std::chrono::seconds patience{30};
constexpr std::chrono::milliseconds betweenKeys{300}; // As somebody types.
constexpr std::size_t maximumStateSize = 1'000'000;

Json shortened(Json json) {
    if (json.is_string())
        return fittedToColumns(visibleLine(json.get_ref<const std::string&>()), valueColumns);
    if (!json.is_structured()) return json;
    for (auto& value : json) value = shortened(std::move(value));
    return json;
}

class SampleTour {
  public:
    SampleTour(const Places& places, Output& output, const Stylist& stylist)
        : output(output),
          stylist(stylist),
          statePath(joinedPath(places.dataFolder, "relay-state.json")),
          runner(places),
          model(runner.model()),
          workspace(runner.workspace()) {}

    void show() {
        findConversations();
        chooseTwo();
        chooseRange();
        writeNote();
        preview();
        send();
        watch();
        showEnd(Agent::codex);
        sendBack();
        showEnd(Agent::claude);
        typeCommand();
        showRecords();
    }

  private:
    void findConversations() {
        heading("Find the conversations on this machine");
        model.catalogue.discoverConversations();
        runner.settle();
        for (const auto& reference : model.catalogue.state().catalog.get())
            say(fmt::format("{:<6}  {}", label(reference.agent), titleOf(reference)));
    }

    void chooseTwo() {
        heading("Choose one with Claude to send from, and one with Codex to send to");
        const auto catalog = model.catalogue.state().catalog.get();
        for (const auto& from : catalog)
            for (const auto& to : catalog)
                if (from.agent == Agent::claude && to.agent == Agent::codex &&
                    from.workingDirectory == to.workingDirectory && tryPair(from, to))
                    return;
        throw CommandFailure("notFound", "No two sample conversations fit together.");
    }

    bool tryPair(const ConversationReference& from, const ConversationReference& to) {
        model.workspace.chooseSource(from);
        runner.settle();
        checkModel();
        if (workspace.conversation.get()->isBusy) {
            say(fmt::format("“{}”: Claude is still at work, so another one.", titleOf(from)));
            return false;
        }
        model.links.connectDestination(to);
        runner.settle();
        checkModel();
        destination = to;
        say(fmt::format("From  “{}”", titleOf(from)));
        say(fmt::format("To    “{}”", titleOf(to)));
        return true;
    }

    void chooseRange() {
        heading("Choose where the range starts");
        const auto& messages = workspace.conversation.get()->messages;
        const auto lastQuestion = std::find_if(messages.rbegin(), messages.rend(),
                                               [](const auto& message) { return message.role == "user"; });
        if (lastQuestion != messages.rend()) model.workspace.selectRange(lastQuestion->id);
        checkModel();
        say(fmt::format("At the last question: {} of {} messages.",
                        model.workspace.relay().selectedMessages().span().size(), messages.size()));
    }

    void writeNote() {
        heading("Write a note");
        model.workspace.setInstruction(
            "Please fix this in parse_operand, and add the test that would have found it.");
        checkModel();
        say(workspace.instruction.get());
    }

    void preview() {
        heading("See the exact text");
        quote(model.workspace.relay().preview());
        say(fmt::format("{} bytes.", model.workspace.relay().preview().size()));
    }

    void send() {
        heading("Send");
        beginToSend();
        say("Saved, before Codex hears of it. Orvel's relay-state.json holds the message:");
        showJson(savedState().at("transfers").back());
        runner.settle();
        checkModel();
        if (transfer().deliveryMode != RelayDeliveryMode::submitted)
            throw CommandFailure("notSent", "The message was not delivered.");
        say("Delivered: Codex has taken the message. That does not prove yet that it arrived.");
    }

    // Until the message stands in Orvel's records and the destination may be touched.
    void beginToSend() {
        model.outbox.sendRelay();
        if (!runner.runUntil([&] { return model.outbox.state().operation.isSending() || model.isIdle(); },
                             patience))
            tooLong();
        checkModel();
        transferID = savedState().at("transfers").back().at("id");
    }

    void watch() {
        heading("Watch until it is seen");
        model.receipts.startReceiptPolling();
        if (model.outbox.watchedTurns().contains(destination.sessionID))
            say("Codex's turn is being watched.");
        if (!runner.runUntil([&] { return !transfer().isPending(); }, patience)) tooLong();
        say("Seen: the message stands in Codex's own transcript. Only that counts as received.");
        const auto isOver = [&] { return !model.outbox.watchedTurns().contains(destination.sessionID); };
        if (!runner.runUntil(isOver, patience)) tooLong();
        model.workspace.refresh();
        runner.settle();
        checkModel();
        say("Codex has answered, and the watch is over.");
    }

    void showRecords() {
        heading("What Orvel has kept");
        auto state = savedState();
        for (const auto* list : {"initialTransfers", "links"})
            if (state.at(list).empty()) state.erase(list);
        showJson(state);
    }

    // The workspace has turned round: the conversation that received the message is the source now.
    void sendBack() {
        heading("Send the answer back to Claude");
        model.workspace.setInstruction("Does this settle it? Tell me if the release notes need a line.");
        checkModel();
        quote(model.workspace.relay().preview());
        beginToSend();
        say("Saved. Now Orvel shows the conversation in Claude, proves that its editor is empty, writes");
        say("the message there once, presses Send once, and looks for it in Claude's transcript.");
        runner.settle();
        checkModel();
        if (transfer().isPending())
            throw CommandFailure("notReceived", "The message was not seen in Claude's transcript.");
        say("Seen: the message stands in Claude's own transcript.");
        if (!runner.runUntil([&] { return !workspace.conversation.get()->isBusy; }, patience)) tooLong();
        say("Claude has answered. (A conversation that Claude's application does not know can go through");
        say("Claude Code's own command: send --through-claude-code.)");
    }

    // As somebody who works in Claude's window and does not want to leave it.
    void typeCommand() {
        heading("The same from Claude's own window");
        auto* claude = runner.claudeOfSample();
        const auto& source = workspace.sourceReference;
        if (!claude || !source || !source->desktopSessionID)
            throw CommandFailure("sampleFailed", "The sample has no window of Claude.");
        const auto& ports = runner.ports();
        const DesktopConsent consent(model.changes(), ports.loop, ports.settings, ports.session);
        CommandMonitoring monitoring(model.changes(), ports, model.commandInbox, consent, {});
        monitoring.start();
        claude->sitDown(*source->desktopSessionID);
        const auto claudeIsReadable = [&] {
            return monitoring.preparation.readyProcess(Agent::claude).has_value();
        };
        if (!runner.runUntil(claudeIsReadable, patience)) tooLong();
        claude->type("/orvel Thank you. Please do that.");
        say("You type this into Claude's editor and press Return:");
        quote(claude->program().editorText());
        runner.runUntil([] { return false; }, betweenKeys);
        const auto before = runner.records().transfers.size();
        claude->pressReturn();
        const auto isSaved = [&] {
            return runner.records().transfers.size() > before || model.notices.error();
        };
        if (!runner.runUntil(isSaved, patience)) tooLong();
        checkModel();
        if (!claude->program().editorText().empty())
            throw CommandFailure("sampleFailed", "The command was not removed from Claude's editor.");
        say("Claude never got the Return. Orvel has removed the command from the editor, and since this "
            "link");
        say("has proved itself, the message goes out on its own.");
        transferID = savedState().at("transfers").back().at("id");
        if (!runner.runUntil([&] { return !transfer().isPending(); }, patience)) tooLong();
        say("Seen: the message stands in Codex's own transcript.");
    }

    void showEnd(Agent agent) {
        heading(fmt::format("What the conversation with {} ends with", label(agent)));
        const auto& messages = workspace.conversation.get()->messages;
        const auto received = std::find_if(messages.begin(), messages.end(), [&](const Message& message) {
            return message.id == transfer().receivedMessageID;
        });
        for (auto message = received; message != messages.end(); ++message) {
            say(stylist(TextStyle::strong,
                        message->role == "user" ? std::string_view("You, by way of Orvel") : label(agent)));
            quote(message->text);
        }
    }

    std::string titleOf(const ConversationReference& reference) const {
        return visibleLine(model.catalogue.state().conversationTitle(reference));
    }

    RelayTransfer transfer() const { return *runner.records().transfers.find(transferID); }

    Json savedState() const { return Json::parse(readFile(statePath, maximumStateSize)); }

    void heading(std::string_view text) {
        output.write((step > 0 ? "\n" : "") +
                     stylist(TextStyle::strong, fmt::format("{}. {}", step + 1, text)) + "\n");
        ++step;
    }

    void say(std::string_view text) { print("   ", text); }
    void quote(std::string_view text) { print("   │ ", wrappedToColumns(visibleText(text), columns)); }
    void showJson(const Json& json) { print("     ", shortened(json).dump(2)); }

    void print(std::string_view margin, std::string_view text) {
        std::string lines;
        for (std::size_t begin = 0, end = 0; end != text.npos; begin = end + 1) {
            end = text.find('\n', begin);
            lines += std::string(margin) + std::string(text.substr(begin, end - begin)) + "\n";
        }
        output.write(lines);
    }

    void checkModel() const {
        if (const auto& error = model.notices.error()) throw CommandFailure("sampleFailed", *error);
    }

    [[noreturn]] static void tooLong() {
        throw CommandFailure("timedOut", "The sample took too long to answer.");
    }

    Output& output;
    const Stylist& stylist;
    std::string statePath;
    int step = 0;
    RelaySessionRunner runner;
    OrvelModel& model;
    const WorkspaceState& workspace;
    ConversationReference destination;
    std::string transferID;
};

} // namespace

void showSampleTour(const Places& places, Output& output, const Stylist& stylist) {
    SampleTour(places, output, stylist).show();
}

} // namespace orvel
