#include "Orvel/platform/posix/PosixFileStore.h"

#include "Failures.h"
#include "Finish.h"
#include "Orvel/platform/posix/PollLoop.h"
#include "PollWorld.h"
#include "TemporaryFolder.h"

#include <chrono>
#include <optional>
#include <stdexcept>
#include <thread>

#include <sys/stat.h>

namespace orvel {
namespace {

TEST(PosixFileStoreTest, ReplacesTheWholeFileAndMakesItsFolders) {
    const TemporaryFolder folder;
    const auto path = folder.path("a/b/file.json");
    PollLoop loop;
    PosixFileStore store(loop);
    finish(loop, store.replaceFile(path, std::string(100'000, 'x')));
    finish(loop, store.replaceFile(path, "short"));
    EXPECT_EQ(contentsOf(path), "short");
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
    for (const auto& [path, failure] : {
             std::pair(folder.path("file/child"), "noSuchFile"), // A file where a folder should be.
             std::pair(folder.path("kept"), "isFolder"),         // A folder where the file should be.
             std::pair(folder.path(std::string(300, 'n')), "invalidFileName"), // Too long a name.
             std::pair(folder.path(std::string("a\0b", 3)), "invalidFileName"),
         })
        EXPECT_EQ(caseOf([&] { finish(loop, store.replaceFile(path, "new")); }), failure) << path;
    EXPECT_EQ(contentsOf(folder.path("file")), "old");
    EXPECT_EQ(contentsOf(folder.path("kept/inside")), "old");
    EXPECT_EQ(folder.count(), 2U);
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
