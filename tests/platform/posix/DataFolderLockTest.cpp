#include "Orvel/platform/posix/DataFolderLock.h"

#include "OrvelCore/files/FileError.h"
#include "TemporaryFolder.h"
#include "platform/posix/Lifeline.h"

#include <algorithm>
#include <csignal>
#include <optional>
#include <vector>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace orvel {
namespace {

// Tries to take the lock; gives what stands against it.
std::optional<std::string> refusal(const std::string& folder) {
    try {
        const DataFolderLock lock(folder, "orvel");
        return std::nullopt;
    } catch (const DataFolderInUse& failure) {
        return failure.what();
    }
}

std::string inUse(const std::string& folder, const std::string& holder) {
    return "Orvel's data in “" + folder + "” is in use by " + holder + ". Nothing was changed.";
}

// A process that ends at once.
pid_t endedProcess() {
    const pid_t process = fork();
    if (process == 0) _exit(0);
    waitpid(process, nullptr, 0);
    return process;
}

TEST(DataFolderLockTest, MakesWhatIsMissingAndNamesTheHolderUntilItLetsGo) {
    const TemporaryFolder parent;
    const auto folder = parent.path("a/b");
    {
        const DataFolderLock lock(folder, "orvel-cli");
        EXPECT_EQ(refusal(folder), inUse(folder, "orvel-cli (process " + std::to_string(getpid()) + ")"));
        EXPECT_EQ(refusal(parent.path("other")), std::nullopt);
    }
    EXPECT_EQ(refusal(folder), std::nullopt);
    EXPECT_EQ(contentsOf(folder + "/lock"), "");
    struct stat facts {};
    ASSERT_EQ(stat((folder + "/lock").c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777, 0600U);
    ASSERT_EQ(stat(folder.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777, 0700U);
}

TEST(DataFolderLockTest, OnlyTheHolderRemovesWhatKilledSavesLeftAndNothingThatMayBeAPersons) {
    const TemporaryFolder folder;
    const std::vector<std::string> left{"relay-state.json.standby-abc123", "relay-state.json.aB3xY9",
                                        "recent-conversations.json.standby-A1b2C3"};
    const std::vector<std::string> kept{
        "relay-state.json",        "relay-state.json.backup",          "relay-state.json.Before",
        "relay-state.json.241231", "relay-state.json.old123",          "relay-state.json.aB3xY9z",
        "relay-state.json.aB3-Y9", "relay-state.json.standby-of mine", "other.json.standby-abc123"};
    const auto count = [&](const auto& names) {
        return std::count_if(names.begin(), names.end(), [&](const auto& name) {
            return std::filesystem::exists(std::filesystem::symlink_status(folder.path(name)));
        });
    };
    {
        const DataFolderLock lock(folder.path(), "orvel");
        for (const auto& name : left) folder.write(name, "left");
        EXPECT_NE(refusal(folder.path()), std::nullopt);
        EXPECT_EQ(count(left), 3) << "another program may be saving";
    }
    for (const auto& name : kept) folder.write(name, "kept");
    std::filesystem::create_symlink("none", folder.path("relay-state.json.standby-abc124"));
    std::filesystem::create_hard_link(folder.path(kept[0]), folder.path("relay-state.json.aB3xY8"));
    EXPECT_EQ(refusal(folder.path()), std::nullopt);
    EXPECT_EQ(count(left), 0);
    EXPECT_EQ(count(kept), 9);
    EXPECT_EQ(count(std::vector<std::string>{"relay-state.json.standby-abc124", "relay-state.json.aB3xY8"}),
              2);
}

TEST(DataFolderLockTest, AFileThatNamesNoLivingHolderLocksAllTheSame) {
    const auto here = std::to_string(getpid());
    const TemporaryFolder folder;
    const DataFolderLock lock(folder.path(), "orvel");
    for (const auto& contents :
         {std::string(), std::string("orvel\n"), "orvel " + here, "orvel " + here + "x\n",
          "or\x1B[2Jvel " + here + "\n", std::string("orvel 0\n"),
          std::string("orvel 99999999999999999999\n"), "orvel " + std::to_string(endedProcess()) + "\n",
          std::string(1'000'000, 'x'), std::string("\0\xFF", 2)}) {
        SCOPED_TRACE(contents.substr(0, 50));
        folder.write("lock", contents);
        EXPECT_EQ(refusal(folder.path()), inUse(folder.path(), "another program"));
    }
}

TEST(DataFolderLockTest, AFileThatCannotBeWrittenLocksAllTheSame) {
    const TemporaryFolder folder;
    const auto file = folder.write("lock", "text of somebody");
    chmod(file.c_str(), 0444);
    const auto lockAsAnOrdinaryUser = [&] {
        constexpr uid_t somebody = 65'534;
        if (getuid() == 0 && (chown(folder.path().c_str(), somebody, somebody) != 0 || setuid(somebody) != 0))
            _exit(1);
        if (open(file.c_str(), O_RDWR) >= 0) _exit(2);
        const DataFolderLock lock(folder.path(), "orvel");
        _exit(refusal(folder.path()) == inUse(folder.path(), "another program") ? 0 : 3);
    };
    EXPECT_EXIT(lockAsAnOrdinaryUser(), testing::ExitedWithCode(0), "");

    // Where it is missing and can't be made, that is what is said.
    const auto lockWhereNothingCanBeMade = [&] {
        constexpr uid_t somebody = 65'534;
        std::filesystem::remove(file);
        chmod(folder.path().c_str(), 0555);
        if (getuid() == 0 && setuid(somebody) != 0) _exit(1);
        try {
            const DataFolderLock lock(folder.path(), "orvel");
        } catch (const FileError& failure) {
            _exit(failure.kind() == FileError::Case::noPermission ? 0 : 2);
        }
        _exit(3);
    };
    EXPECT_EXIT(lockWhereNothingCanBeMade(), testing::ExitedWithCode(0), "");
    chmod(folder.path().c_str(), 0700);
}

TEST(DataFolderLockTest, AFolderThatCannotBeLockedIsAFailureOfItsFile) {
    const TemporaryFolder folder;
    folder.write("file", "");
    folder.write("a/lock/inside", "");
    folder.write("target", "kept");
    std::filesystem::create_directory(folder.path("b"));
    std::filesystem::create_symlink(folder.path("target"), folder.path("b/lock"));
    for (const auto* name : {"file", "file/below", "a", "b"}) {
        SCOPED_TRACE(name);
        EXPECT_THROW(DataFolderLock(folder.path(name), "orvel"), FileError);
    }
    EXPECT_EQ(contentsOf(folder.path("target")), "kept");
}

TEST(DataFolderLockTest, AKilledHolderHoldsNoLonger) {
    const TemporaryFolder folder;
    const Lifeline lifeline;
    const pid_t holder = fork();
    if (holder == 0) {
        const DataFolderLock lock(folder.path(), "orvel-cli");
        const Descriptor held(open(lifeline.path().c_str(), O_WRONLY));
        if (write(held.get(), "+", 1) != 1) _exit(1);
        while (true) pause();
    }
    ASSERT_TRUE(lifeline.isHeld());
    EXPECT_EQ(refusal(folder.path()),
              inUse(folder.path(), "orvel-cli (process " + std::to_string(holder) + ")"));
    kill(holder, SIGKILL);
    waitpid(holder, nullptr, 0);
    EXPECT_EQ(refusal(folder.path()), std::nullopt);
}

TEST(DataFolderLockTest, ChildrenDoNotInheritIt) {
    const TemporaryFolder folder;
    const Lifeline lifeline;
    pid_t child = -1;
    {
        const DataFolderLock lock(folder.path(), "orvel");
        child = fork();
        if (child == 0) {
            execl(CHILD_PROGRAM, CHILD_PROGRAM, "hold", lifeline.path().c_str(), nullptr);
            _exit(1);
        }
        ASSERT_TRUE(lifeline.isHeld());
    }
    EXPECT_EQ(refusal(folder.path()), std::nullopt);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

} // namespace
} // namespace orvel
