#pragma once
// A folder to be packed, with a real git and a real ZIP.

#include "Orvel/consultation/ArchiveStaging.h"
#include "Orvel/consultation/ChatGPTRepositoryArchive.h"
#include "Orvel/platform/zip/LibzipArchives.h"
#include "PollWorld.h"
#include "TemporaryFolder.h"

#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

#include <zip.h>

namespace orvel {

/// What the files of a ZIP hold, by their names.
inline std::map<std::string, std::string> filesInZip(const std::string& path) {
    std::map<std::string, std::string> files;
    auto* archive = zip_open(path.c_str(), ZIP_RDONLY | ZIP_CHECKCONS, nullptr);
    if (!archive) return files;
    for (zip_uint64_t i = 0; i < static_cast<zip_uint64_t>(zip_get_num_entries(archive, 0)); ++i) {
        zip_stat_t facts;
        zip_stat_index(archive, i, ZIP_FL_ENC_RAW, &facts);
        std::string bytes(facts.size, '\0');
        auto* file = zip_fopen_index(archive, i, 0);
        EXPECT_EQ(zip_fread(file, bytes.data(), facts.size), static_cast<zip_int64_t>(facts.size));
        zip_fclose(file);
        files.emplace(facts.name, std::move(bytes));
    }
    zip_discard(archive);
    return files;
}

struct ArchiveWorld : PollWorld {
    ArchiveWorld() { std::filesystem::create_directory(folder.path("code")); }

    /// Runs a command of the shell in the folder that is packed.
    void shell(const std::string& command) const {
        const auto whole = "cd '" + folder.path("code") + "' && export GIT_CONFIG_GLOBAL=/dev/null && { " +
                           command + "; } >/dev/null 2>&1";
        ASSERT_EQ(std::system(whole.c_str()), 0) << command;
    }
    void commit() const {
        shell("git add -fA && git -c user.name=A -c user.email=a@localhost commit -qm one");
    }

    /// Gives the text of the failure, or "done" with `archive`.
    std::string prepare(const std::string& code, const std::string& output,
                        ChatGPTRepositoryArchive::Control control = {}) {
        archive.reset();
        return outcomeOf(keep(code, output, std::move(control)));
    }
    std::string prepare() { return prepare(folder.path("code"), folder.path("out")); }

    std::size_t stagingFolders() const {
        return std::filesystem::exists(folder.path("out")) ? entriesOf(folder.path("out")) : 0;
    }
    static std::size_t entriesOf(const std::string& path) {
        const std::filesystem::directory_iterator entries(path);
        return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
    }

    TemporaryFolder folder;
    LibzipArchives libzip{loop};
    ZipArchives* zipArchives = &libzip;
    std::optional<ChatGPTRepositoryArchive> archive;

    Task<void> keep(std::string code, std::string output, ChatGPTRepositoryArchive::Control control) {
        const ChatGPTRepositoryArchive::Ports ports{loop, processes, *zipArchives};
        auto work = ChatGPTRepositoryArchive::prepare(ports, code, output, control);
        archive = co_await work;
    }
};

} // namespace orvel
