#include "Orvel/platform/posix/PosixFileStore.h"

#include "Finish.h"
#include "Orvel/platform/posix/PollLoop.h"
#include "OrvelCore/files/FileError.h"
#include "PollWorld.h"
#include "TemporaryFolder.h"

#include <chrono>
#include <csignal>
#include <optional>
#include <stdexcept>
#include <thread>

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
    PollLoop loop;
    PosixFileStore store(loop);
    finish(loop, store.replaceFile(path, std::string(100'000, 'x')));
    finish(loop, store.replaceFile(path, "short"));
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
    PollLoop loop;
    PosixFileStore store(loop);
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
            finish(loop, store.replaceFile(path, "new"));
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
            PollLoop loop;
            PosixFileStore store(loop);
            finish(loop, store.replaceFile(path, std::string(100'000, 'x')));
        } catch (const FileError&) {
            _exit(contentsOf(path) == "old" && filesIn(folder.path()) == 1 ? 0 : 1);
        }
        _exit(2);
    };
    EXPECT_EXIT(replaceInASmallWorld(), testing::ExitedWithCode(0), "");
}

// Notes on which thread it is made, and in which order with others.
class NotedContents : public FileContents {
  public:
    NotedContents(std::string bytes, std::vector<std::string>& made) : bytes(std::move(bytes)), made(made) {}

    Tail tail(const FileContents*) override {
        EXPECT_NE(std::this_thread::get_id(), mainThread);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        made.push_back(bytes); // No two at once.
        if (bytes == "fails") throw std::runtime_error("can't be made");
        return {0, bytes};
    }

  private:
    std::string bytes;
    std::vector<std::string>& made;
    std::thread::id mainThread = std::this_thread::get_id();
};

TEST(PosixFileStoreTest, WorksOnOtherThreadsOneAfterTheOther) {
    const TemporaryFolder folder;
    const auto path = folder.path("file");
    PollWorld world;
    PosixFileStore store(world.loop);
    std::vector<std::string> made, expected;
    TaskScope scope;
    const auto replace = [&](const std::string& bytes) {
        expected.push_back(bytes);
        return store.replaceFile(path, std::make_shared<NotedContents>(bytes, made));
    };
    for (int i = 0; i < 20; ++i) scope.start(replace(std::to_string(i)));
    EXPECT_EQ(world.outcomeOf(replace("fails")), "can't be made");
    EXPECT_EQ(made, expected);
    EXPECT_EQ(contentsOf(path), "19") << "a failure leaves the file";

    // What nobody waits for any more is done all the same, and in its turn.
    std::optional<TaskScope> left(std::in_place);
    left->start(replace("left"));
    left.reset();
    EXPECT_EQ(world.outcomeOf(replace("last")), "done");
    EXPECT_EQ(made, expected);
    EXPECT_EQ(contentsOf(path), "last");
}

} // namespace
} // namespace orvel
