#include "Orvel/cli/SampleTour.h"

#include "Orvel/cli/CommandFailure.h"
#include "Orvel/cli/Output.h"
#include "Orvel/cli/TerminalPorts.h"
#include "Orvel/cli/TerminalText.h"
#include "Orvel/desktop/MemorySettings.h"
#include "Orvel/model/OrvelModel.h"
#include "Orvel/model/OrvelWorkspacePresentation.h"
#include "Orvel/platform/posix/PollLoop.h"
#include "Orvel/platform/posix/PosixFileStore.h"

#include <algorithm>
#include <chrono>

#include <fmt/format.h>

namespace orvel {

namespace {

constexpr std::chrono::seconds patience{30};

class SampleTour {
  public:
    SampleTour(const Places& places, Output& output, const Stylist& stylist)
        : output(output),
          stylist(stylist),
          model({loop, pasteboard, panels, applications, settings, files}, places.folders,
                places.statePath()) {}

    void show() {
        findConversations();
        openOne();
        chooseRange();
        writeInstruction();
        preview();
        copy();
    }

  private:
    void findConversations() {
        heading("Find the conversations on this machine");
        model.discoverConversations();
        waitForModel();
        for (const auto& reference : model.relay().catalog.get())
            say(fmt::format("{:<6}  {}", label(reference.agent), titleOf(reference)));
    }

    void openOne() {
        heading("Open one whose agent is done");
        const auto catalog = model.relay().catalog.get();
        for (const auto& reference : catalog) {
            model.chooseSource(reference);
            waitForModel();
            checkModel();
            const auto& conversation = *model.session().conversation.get();
            if (!conversation.isBusy) {
                say(fmt::format("“{}”, {} messages. It will go to {}.", titleOf(reference),
                                conversation.messages.size(), label(model.session().destination)));
                return;
            }
            say(fmt::format("“{}”: {} is still at work, so the next one.", titleOf(reference),
                            label(reference.agent)));
        }
        throw CommandFailure("notFound", "No sample conversation could be opened.");
    }

    void chooseRange() {
        heading("Choose where the range starts");
        const auto& messages = model.session().conversation.get()->messages;
        const auto lastQuestion = std::find_if(messages.rbegin(), messages.rend(),
                                               [](const auto& message) { return message.role == "user"; });
        if (lastQuestion != messages.rend()) model.selectRange(lastQuestion->id);
        say(fmt::format("At the last question: {} of {} messages.", model.selectedMessages().span().size(),
                        messages.size()));
    }

    void writeInstruction() {
        heading("Write an instruction");
        model.setInstruction("Please check this with fresh eyes, and say what you would do next.");
        say(model.session().instruction.get());
    }

    void preview() {
        heading("See the exact text");
        output.write(visibleText(model.preview()) + "\n");
    }

    void copy() {
        heading("Copy it");
        if (!model.copy(pasteboard)) checkModel();
        say(fmt::format("{} bytes are on the sample's clipboard; yours is untouched.",
                        pasteboard.text.value_or("").size()));
        say(model.session().status.get());
    }

    std::string titleOf(const ConversationReference& reference) const {
        return visibleLine(conversationTitle(model.relay(), reference));
    }

    void heading(std::string_view text) {
        output.write((step > 0 ? "\n" : "") +
                     stylist(TextStyle::strong, fmt::format("{}. {}", step + 1, text)) + "\n");
        ++step;
    }

    void say(std::string_view text) { output.write("   " + visibleText(text) + "\n"); }

    void checkModel() const {
        if (const auto& error = model.session().error.get()) throw CommandFailure("sampleFailed", *error);
    }

    // Runs the loop until the model has finished what it began. It is idle only after its last notification.
    void waitForModel() {
        const auto stopWhenIdle = [this] {
            if (model.isIdle()) loop.stop();
        };
        const auto watching = model.changes().subscribe([&] { loop.post(stopWhenIdle); });
        const auto deadline = loop.after(patience, [this] { loop.stop(); });
        if (!model.isIdle()) loop.run();
        if (!model.isIdle()) throw CommandFailure("timedOut", "The sample took too long to answer.");
    }

    Output& output;
    const Stylist& stylist;
    int step = 0;
    PollLoop loop;
    MemoryPasteboard pasteboard;
    NoPanels panels;
    NoApplications applications;
    MemorySettings settings;
    PosixFileStore files;
    OrvelModel model;
};

} // namespace

void showSampleTour(const Places& places, Output& output, const Stylist& stylist) {
    SampleTour(places, output, stylist).show();
}

} // namespace orvel
