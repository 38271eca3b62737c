#include "Orvel/cli/ArchiveCommand.h"

#include "Orvel/cli/Interruption.h"
#include "Orvel/cli/JsonLine.h"
#include "Orvel/cli/Output.h"
#include "Orvel/cli/TerminalText.h"
#include "Orvel/consultation/ArchiveStaging.h"
#include "Orvel/consultation/ChatGPTRepositoryArchive.h"
#include "Orvel/platform/posix/PollLoop.h"
#include "Orvel/platform/posix/PosixProcesses.h"
#include "Orvel/platform/zip/LibzipArchives.h"
#include "OrvelCore/files/FilePath.h"

#include <chrono>
#include <exception>
#include <optional>
#include <string>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace orvel {

namespace {

using namespace std::chrono_literals;
using Archive = ChatGPTRepositoryArchive;
using Json = nlohmann::ordered_json;

constexpr auto lookInterval = 10ms;
constexpr auto tellInterval = 1s;
constexpr auto patienceAfterSignal = 10s; // A file may lie on a disk that does not answer.

// One preparation, from its start to its end or a signal.
class PackingRun {
  public:
    PackingRun(Output& output, bool tellsProgress) : output(output), tellsProgress(tellsProgress) {}

    // Throws what the preparation throws, and Interrupted.
    Archive archiveOf(const std::string& folder, const std::string& outputFolder) {
        Archive::Control control;
        control.told = [this](const ArchiveProgress& progress) { tell(progress); };
        stop = control.stop;
        tasks.start(prepare(folder, outputFolder, control));
        look();
        loop.run();
        if (failure && !Interruption::signal()) std::rethrow_exception(failure);
        if (archive) return std::move(*archive);
        output.writeError(failure ? "The packing was stopped. No ZIP was kept.\n"
                                  : "The packing was broken off. Files may be left in the output folder.\n");
        throw Interrupted();
    }

  private:
    Task<void> prepare(std::string folder, std::string outputFolder, Archive::Control control) {
        const Archive::Ports ports{loop, processes, zipArchives};
        auto work = Archive::prepare(ports, folder, outputFolder, control);
        try {
            archive = co_await work;
        } catch (...) {
            failure = std::current_exception();
        }
        loop.stop();
    }

    void look() {
        if (Interruption::signal() && !*stop) {
            *stop = true;
            end = loop.after(patienceAfterSignal, [this] { loop.stop(); });
        }
        next = loop.after(lookInterval, [this] { look(); });
    }

    void tell(const ArchiveProgress& progress) {
        if (!tellsProgress || loop.uptime() < toldAt + tellInterval) return;
        toldAt = loop.uptime();
        output.writeError(
            fmt::format("{} of {} paths, {} bytes\n", progress.files, progress.paths, progress.bytes));
    }

    Output& output;
    bool tellsProgress;
    PollLoop loop;
    PosixProcesses processes{loop, loop};
    LibzipArchives zipArchives{loop};
    std::unique_ptr<Timer> next, end;
    MainLoop::Duration toldAt = loop.uptime();
    StopFlag stop;
    std::optional<Archive> archive;
    std::exception_ptr failure;
    TaskScope tasks; // Last: ends before what its work uses.
};

Json jsonOf(const std::vector<LeftOutPath>& paths) {
    auto array = Json::array();
    for (const auto& each : paths)
        array.push_back({{"path", each.path}, {"reason", nameOf(each.reason)}, {"detail", describe(each)}});
    return array;
}

std::string jsonOf(const Archive& archive) {
    auto packed = Json::array();
    for (const auto& file : archive.contents->packed)
        packed.push_back({{"path", file.path}, {"byteCount", file.size}});
    return jsonLine({{"file", archive.fileURL},
                     {"sourceFolder", archive.sourceFolder},
                     {"isListedByGit", archive.contents->isListedByGit},
                     {"fileCount", archive.fileCount},
                     {"byteCount", archive.byteCount},
                     {"excludedCount", archive.excludedCount},
                     {"sha256", archive.sha256},
                     {"archiveByteCount", archive.archiveByteCount},
                     {"packed", packed},
                     {"leftOut", jsonOf(archive.contents->leftOut)},
                     {"skippedFolders", jsonOf(archive.contents->skippedFolders)}});
}

} // namespace

ChatGPTRepositoryArchive packedFolder(const std::string& folder, const std::string& outputFolder,
                                      Output& output, bool tellsProgress) {
    return PackingRun(output, tellsProgress).archiveOf(folder, outputFolder);
}

std::string linesOf(const ChatGPTRepositoryArchive& archive, const Stylist& stylist) {
    const auto& contents = *archive.contents;
    std::string lines;
    const auto add = [&](std::string_view name, const std::string& value) {
        lines += fmt::format("{:<12} {}\n", name, value);
    };
    add("ZIP", stylist(TextStyle::strong, visibleLine(archive.fileURL)));
    add("Folder", visibleLine(archive.sourceFolder));
    add("Files", fmt::format("{}, {} bytes; {}", archive.fileCount, archive.byteCount,
                             contents.isListedByGit ? "those that git tracks or would offer"
                                                    : "outside git, so everything but what is left out"));
    add("ZIP bytes", std::to_string(archive.archiveByteCount));
    add("SHA-256", archive.sha256);
    add("Left out", std::to_string(archive.excludedCount));
    const auto addPaths = [&](const std::vector<LeftOutPath>& paths) {
        for (const auto& each : paths)
            lines += "  " + visibleLine(each.path) + ": " + stylist(TextStyle::faint, describe(each)) + "\n";
    };
    addPaths(contents.leftOut);
    if (!contents.skippedFolders.empty()) add("Not entered", std::to_string(contents.skippedFolders.size()));
    addPaths(contents.skippedFolders);
    return lines;
}

void packFolder(const Arguments& arguments, Output& output, const Stylist& stylist) {
    const auto outputFolder =
        arguments.folder ? standardizedPath(*arguments.folder) : ArchiveStaging::usualOutputFolder();
    const auto archive = packedFolder(standardizedPath(arguments.subject), outputFolder, output,
                                      output.isTerminal() && !arguments.json);
    output.write(arguments.json ? jsonOf(archive) : linesOf(archive, stylist));
}

} // namespace orvel
