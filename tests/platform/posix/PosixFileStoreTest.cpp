#include "Orvel/platform/posix/PosixFileStore.h"

#include "OrvelCore/files/FileError.h"
#include "TemporaryFolder.h"

#include <csignal>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace orvel {
namespace {

std::size_t filesIn(const std::string& folder) {
    const std::filesystem::directory_iterator files(folder);
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

TEST(PosixFileStoreTest, ReplacesTheWholeFileAndMakesItsFolders) {
    const TemporaryFolder folder;
    const auto path = folder.path("a/b/c/file.json");
    PosixFileStore store;
    store.replaceFile(path, std::string(100'000, 'x'));
    store.replaceFile(path, "short");
    EXPECT_EQ(contentsOf(path), "short");
    EXPECT_EQ(filesIn(folder.path("a/b/c")), 1U);
    struct stat facts {};
    ASSERT_EQ(stat(path.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777, 0600U);
}

TEST(PosixFileStoreTest, AFailureLeavesTheOldFileAndNothingElse) {
    const TemporaryFolder folder;
    folder.write("file", "old");
    folder.write("kept/inside", "old");
    PosixFileStore store;
    struct Case {
        std::string path;
        FileError::Case kind;
    };
    const std::vector<Case> cases{
        {folder.path("file/child"), FileError::Case::noSuchFile}, // A file where a folder should be.
        {folder.path("kept"), FileError::Case::isFolder},         // A folder where the file should be.
        {folder.path(std::string(300, 'n')), FileError::Case::invalidFileName}, // Too long a name.
        {folder.path(std::string("a\0b", 3)), FileError::Case::invalidFileName},
    };
    for (const auto& [path, kind] : cases) {
        SCOPED_TRACE(path);
        try {
            store.replaceFile(path, "new");
            ADD_FAILURE() << "was replaced";
        } catch (const FileError& failure) {
            EXPECT_EQ(failure.kind(), kind) << failure.what();
        }
    }
    EXPECT_EQ(contentsOf(folder.path("file")), "old");
    EXPECT_EQ(contentsOf(folder.path("kept/inside")), "old");
    EXPECT_EQ(filesIn(folder.path()), 2U);
}

TEST(PosixFileStoreTest, AFullDiskLeavesTheOldFile) {
    // The limit of a process's file size fails its writes as a full disk does.
    const TemporaryFolder folder;
    const auto path = folder.write("file", "old");
    const auto replaceInASmallWorld = [&] {
        const rlimit limit{1000, 1000};
        setrlimit(RLIMIT_FSIZE, &limit);
        std::signal(SIGXFSZ, SIG_IGN);
        try {
            PosixFileStore().replaceFile(path, std::string(100'000, 'x'));
        } catch (const FileError&) {
            _exit(contentsOf(path) == "old" && filesIn(folder.path()) == 1 ? 0 : 1);
        }
        _exit(2);
    };
    EXPECT_EXIT(replaceInASmallWorld(), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace orvel
