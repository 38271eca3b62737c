#include "Orvel/platform/posix/PosixLocalFiles.h"

#include "TemporaryFolder.h"

#include <sys/stat.h>
#include <unistd.h>

namespace orvel {
namespace {

TEST(PosixLocalFilesTest, OnlyAReadableRegularFileIsReadAndAMissingOneIsKnownToBeMissing) {
    const TemporaryFolder folder;
    folder.write("plain", "[]");
    folder.write("full", std::string(10, 'x'));
    folder.write("large", std::string(11, 'x'));
    ASSERT_EQ(mkfifo(folder.path("fifo").c_str(), 0600), 0);
    ASSERT_EQ(mkdir(folder.path("folder").c_str(), 0700), 0);
    ASSERT_EQ(symlink("plain", folder.path("link").c_str()), 0);
    ASSERT_EQ(symlink("nowhere", folder.path("broken").c_str()), 0);
    struct Case {
        std::string path;
        bool failed;
        std::optional<std::size_t> size;
    };
    const Case cases[] = {
        {folder.path("plain"), false, 2},        {folder.path("full"), false, 10},
        {folder.path("large"), false, 11}, // One more than is wanted.
        {folder.path("link"), false, 2},         {folder.path("missing"), false, {}},
        {folder.path("broken"), true, {}}, // Something lies there.
        {folder.path("fifo"), true, {}},         {folder.path("folder"), true, {}},
        {folder.path("nowhere/file"), true, {}}, {"/proc/self/status/x", true, {}},
    };
    PosixLocalFiles files;
    const auto read = files.reader();
    for (const auto& [path, failed, size] : cases) {
        const auto reading = read(path, 10, [] { return false; });
        EXPECT_EQ(reading.failed, failed) << path;
        EXPECT_EQ(reading.bytes ? std::optional(reading.bytes->size()) : std::nullopt, size) << path;
    }
}

TEST(PosixLocalFilesTest, LateAtAnyStepIsAFailure) {
    const TemporaryFolder folder;
    folder.write("plain", "[]");
    PosixLocalFiles files;
    for (const auto* name : {"plain", "missing"}) {
        int asked = 0, failures = 0;
        for (int lateAfter = 0; lateAfter < 20; ++lateAfter) {
            asked = 0;
            const auto reading = files.reader()(folder.path(name), 10, [&] { return ++asked > lateAfter; });
            failures += reading.failed ? 1 : 0;
            if (!reading.failed) break;
        }
        EXPECT_GE(failures, 2) << name;
        EXPECT_EQ(failures, asked) << "late at each of the steps, and once not: " << name;
    }
}

} // namespace
} // namespace orvel
