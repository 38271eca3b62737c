// Somebody exchanges links, files, folders, FIFOs and devices below the folder all the while it is packed.

#include "Orvel/consultation/ContainedFiles.h"
#include "consultation/ArchiveWorld.h"

#include <chrono>
#include <cstdio>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#ifdef __linux__

namespace orvel {
namespace {

namespace fs = std::filesystem;

constexpr const char* canary = "canary, which lies elsewhere";

void exchange(const std::string& one, const std::string& other) {
    renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE);
}

// How long each goes on, in seconds; ORVEL_ATTACK_SECONDS says it for a longer run.
std::chrono::duration<double> share() {
    const char* seconds = std::getenv("ORVEL_ATTACK_SECONDS");
    return std::chrono::duration<double>(seconds ? std::atof(seconds) : 0.5);
}

struct Attack {
    std::string name;
    std::string one, other; ///< What changes places, all the time.
};

class ArchiveAttack : public testing::TestWithParam<Attack> {
  protected:
    ArchiveAttack() {
        const auto& folder = world.folder;
        folder.write("elsewhere/secret", canary);
        folder.write("elsewhere/a", canary);
        folder.write("elsewhere/sub/a", canary);
        folder.write("elsewhere/code/sub/a", canary);
        folder.write("elsewhere/code/a", canary);
        // The folder lies in one that can be exchanged too, and what takes the places outside of it.
        folder.write("p/code/a", "a");
        folder.write("p/code/sub/a", "a");
        folder.write("p/code/.env", canary);
        for (int i = 0; i < 20; ++i) folder.write("p/code/sub/" + std::to_string(i), "more");
        fs::create_directory_symlink(folder.path("elsewhere"), folder.path("folder-link"));
        fs::create_symlink(folder.path("elsewhere/secret"), folder.path("file-link"));
        fs::create_symlink(".env", folder.path("env-link"));
        fs::create_symlink(".env", folder.path("p/code/sub/env-link"));
        EXPECT_EQ(mkfifo(folder.path("fifo").c_str(), 0600), 0);
        hasDevice = mknod(folder.path("device").c_str(), S_IFCHR | 0600, makedev(1, 5)) == 0;
        folder.write("file", "b");
        fs::create_directory(folder.path("folder"));
    }

    // Checks and reads alone, without what else takes time between them.
    void readAgainAndAgain(const std::string& code, std::chrono::steady_clock::time_point until) {
        const std::atomic<bool> stop = false;
        while (std::chrono::steady_clock::now() < until) {
            for (const auto* path : {"a", "sub/a"}) {
                try {
                    if (!hasNoSymlinkComponents(path, code)) continue;
                    EXPECT_EQ(readRegularFile(path, code, 1'000, stop).find(canary), std::string::npos);
                    ++reads;
                } catch (const Failure& failure) {
                    ++ends[failure.what()];
                }
            }
        }
    }

    ArchiveWorld world;
    bool hasDevice = false;
    std::uint64_t reads = 0;
    std::map<std::string, int> ends;
};

TEST_P(ArchiveAttack, NothingFromElsewhereGetsIn) {
    const auto& attack = GetParam();
    if (attack.other == "device" && !hasDevice) GTEST_SKIP() << "No device may be made here.";
    const auto& folder = world.folder;
    const auto code = fs::canonical(folder.path("p/code")).native();
    std::atomic<bool> isOver = false;
    std::uint64_t swaps = 0;
    std::thread swapping([&] {
        const auto one = folder.path(attack.one), other = folder.path(attack.other);
        for (; !isOver; ++swaps) exchange(one, other);
    });
    const auto begun = std::chrono::steady_clock::now();
    const auto part = std::chrono::duration_cast<std::chrono::nanoseconds>(share() / 2);
    readAgainAndAgain(code, begun + part);
    const auto until = begun + 2 * part;
    while (std::chrono::steady_clock::now() < until) {
        ++ends[world.prepare(folder.path("p/code"), folder.path("out"))];
        if (!world.archive) continue;
        // Chosen while a link led elsewhere, it was that folder that was chosen.
        const bool isOwn = world.archive->sourceFolder == code;
        for (const auto& [name, bytes] : filesInZip(world.archive->fileURL))
            EXPECT_TRUE(!isOwn || bytes.find(canary) == bytes.npos) << name;
        fs::remove_all(fs::path(world.archive->fileURL).parent_path());
    }
    isOver = true;
    swapping.join();
    EXPECT_EQ(world.stagingFolders(), 0);
    EXPECT_GT(swaps, 1'000);
    std::printf("%s: %llu exchanges, %llu reads\n", attack.name.c_str(),
                static_cast<unsigned long long>(swaps), static_cast<unsigned long long>(reads));
    for (const auto& [end, count] : ends) {
        std::printf("  %5d  %s\n", count, end.c_str());
        EXPECT_NE(end, "late");
    }
}

INSTANTIATE_TEST_SUITE_P(Exchanges, ArchiveAttack,
                         testing::Values(Attack{"folderAndLink", "p/code/sub", "folder-link"},
                                         Attack{"fileAndLink", "p/code/sub/a", "file-link"},
                                         Attack{"fileAndLinkToExcluded", "p/code/a", "env-link"},
                                         Attack{"fileAndFIFO", "p/code/sub/a", "fifo"},
                                         Attack{"fileAndDevice", "p/code/a", "device"},
                                         Attack{"fileAndFile", "p/code/sub/a", "file"},
                                         Attack{"fileAndFolder", "p/code/a", "folder"},
                                         Attack{"folderAndFile", "p/code/sub", "file"},
                                         Attack{"chosenFolderAndLink", "p/code", "folder-link"},
                                         Attack{"whatHoldsItAndLink", "p", "folder-link"}),
                         [](const auto& attack) { return attack.param.name; });

} // namespace
} // namespace orvel

#endif
