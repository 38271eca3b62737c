#include "Orvel/cli/ConsultationTour.h"

#include "Orvel/cli/ArchiveCommand.h"
#include "Orvel/cli/CommandFailure.h"
#include "Orvel/cli/Output.h"
#include "Orvel/cli/TerminalText.h"
#include "Orvel/consultation/ChatGPTBrowserSender.h"
#include "Orvel/consultation/ChatGPTOperations.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "Orvel/platform/simulated/SimulatedDia.h"
#include "OrvelCore/files/FilePath.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include <fmt/format.h>

namespace orvel {

namespace {

using namespace std::chrono_literals;
using Phase = ChatGPTDeliveryTrace::Phase;

constexpr auto madeUpQuestion = "Where is an integer checked for its range, and is that early enough?";
constexpr auto patience = 5min; // On the simulation's clock.

// What a phase is about; null for those that no delivery has.
const char* wordsFor(Phase phase) {
    switch (phase) {
    case Phase::initialPage: return "Find the empty tab of ChatGPT, and remember what it is";
    case Phase::activation: return "Bring the browser to the front";
    case Phase::preAdd: return "Prove that the editor is empty and nothing is attached, and open the menu";
    case Phase::uploadMenu: return "Choose the upload from this computer";
    case Phase::panel: return "Find the panel for files that belongs to this tab";
    case Phase::goTo: return "Have it go to the ZIP, and read the path back";
    case Phase::selection: return "Prove that exactly this ZIP is selected, and open it";
    case Phase::postUpload: return "Wait until exactly this one file is attached";
    case Phase::question: return "Write the question, once, and read it back";
    case Phase::preSend: return "Prove all of it again, and press Send, once";
    case Phase::receipt: return "Look for both in the new conversation";
    case Phase::diagnosticRead:
    case Phase::applicationRole:
    case Phase::roleFirstRead: break;
    }
    return nullptr;
}

class ConsultationTour {
  public:
    ConsultationTour(Output& output, const Stylist& stylist) : output(output), stylist(stylist) {}

    void show(const ChatGPTRepositoryArchive& archive, const std::string& question) {
        desktop.applications.start(dia);
        desktop.applications.bringToFront(SimulatedApplications::self);
        heading("Ask ChatGPT, in a browser that is simulated");
        say(question);
        tasks.start(deliver(archive, question));
        while (!isOver) {
            if (desktop.loop.uptime() > patience) throw CommandFailure("timedOut", "The tour did not end.");
            desktop.loop.runFor(10ms);
            if (const auto* trace = operations.trace()) tellPhases(*trace);
        }
        const auto& trace = *operations.history().finished().back();
        tellPhases(trace);
        if (failure) throw CommandFailure("notDelivered", *failure);
        say(delivered->modelDescription);
        say(delivered->conversationURL);
        heading("What was done to the page");
        for (const auto& deed : dia.deeds()) say(wordsFor(deed));
        heading("What can be told of it to others: no content, no names");
        output.write(trace.report().text() + "\n");
    }

  private:
    static std::string wordsFor(const SimulatedDia::Deed& deed) {
        using Kind = SimulatedDia::Deed::Kind;
        switch (deed.kind) {
        case Kind::written: return fmt::format("A text of {} bytes was written", deed.after.size());
        case Kind::attached: return "Attached " + std::string(lastPathComponent(deed.after));
        case Kind::pressedSend: return "Send was pressed";
        case Kind::pressedOther: return fmt::format("“{}” was pressed", deed.after);
        case Kind::sent: break;
        }
        return "The page took the message, with " + std::to_string(deed.files.size()) + " file";
    }

    Task<void> deliver(ChatGPTRepositoryArchive archive, std::string question) {
        try {
            const auto result = co_await sender.send(std::move(archive), std::move(question));
            delivered = result;
        } catch (const std::exception& failed) {
            failure = failed.what();
        }
        isOver = true;
    }

    void tellPhases(const ChatGPTDeliveryTrace& trace) {
        for (; told < trace.phases().size(); ++told)
            if (const auto* words = orvel::wordsFor(trace.phases()[told])) heading(words);
    }

    void heading(std::string_view text) {
        output.write(stylist(TextStyle::strong, fmt::format("{}. {}\n", ++step, text)));
    }
    void say(std::string_view text) { output.write("   " + visibleLine(text) + "\n"); }

    Output& output;
    const Stylist& stylist;
    int step = 1; // Packing was the first.
    std::size_t told = 0;
    SimulatedDesktop desktop;
    SimulatedDia dia{desktop};
    ChatGPTOperations operations{desktop.loop};
    ChatGPTBrowserSender sender{desktop.ports(), operations, ChatGPTAttachingWay::openPanel};
    std::optional<ChatGPTDeliveryResult> delivered;
    std::optional<std::string> failure;
    bool isOver = false;
    TaskScope tasks; // Last: ends before what its work uses.
};

struct MadeUpFile {
    const char *path, *contents;
};
constexpr MadeUpFile madeUpFiles[] = {
    {"README.md", "# Lark\n\nA small language.\n"},
    {"src/parse.cpp",
     "#include \"parse.h\"\n\nint parse_operand(const char* text) {\n    return *text;\n}\n"},
    {"src/parse.h", "int parse_operand(const char* text);\n"},
    {".env", "API_TOKEN=never-to-be-sent\n"},
    {"deploy/signing.p12", "never to be sent either\n"}};

std::string madeUpFolder(const std::string& below) {
    const auto folder = joinedPath(below, "lark");
    for (const auto& [path, contents] : madeUpFiles) {
        const std::filesystem::path file = joinedPath(folder, path);
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << contents;
    }
    return folder;
}

} // namespace

void showConsultationTour(const Arguments& arguments, const std::string& workFolder, Output& output,
                          const Stylist& stylist) {
    const auto folder =
        arguments.subject.empty() ? madeUpFolder(workFolder) : standardizedPath(arguments.subject);
    output.write(
        stylist(TextStyle::strong, "1. Pack the folder, without what should stay on this machine\n"));
    const auto archive = packedFolder(folder, joinedPath(workFolder, "zip"), output, false);
    output.write(linesOf(archive, stylist));
    ConsultationTour(output, stylist).show(archive, arguments.note.value_or(madeUpQuestion));
}

} // namespace orvel
