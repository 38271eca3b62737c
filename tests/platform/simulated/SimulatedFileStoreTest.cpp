#include "Orvel/platform/simulated/SimulatedFileStore.h"

#include "Orvel/platform/simulated/SimulatedLoop.h"
#include "Orvel/runtime/Task.h"
#include "OrvelCore/files/FileError.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

namespace orvel {
namespace {

using namespace std::chrono_literals;

Task<void> report(Task<void> work, std::string& told) {
    try {
        co_await work;
        told += "done ";
    } catch (const FileError& error) {
        told += std::string(error.caseName()) + " ";
    }
}

class SimulatedFileStoreTest : public testing::Test {
  protected:
    void replace(const std::string& contents) {
        scope.start(report(store.replaceFile(path, contents), told));
    }

    TemporaryFolder folder = TemporaryFolder::quick();
    std::string path = folder.write("file", "old"), told;
    SimulatedLoop loop;
    SimulatedFileStore store{loop};
    TaskScope scope;
};

TEST_F(SimulatedFileStoreTest, refusesAndIsFull) {
    store.beforeReplacing = [](const std::string& target) {
        throw FileError(FileError::Case::noPermission, "save", target, "refused");
    };
    replace("one");
    loop.run();
    store.beforeReplacing = nullptr;
    store.isFull = true;
    for (int i = 0; i < 3; ++i) replace("two");
    loop.run();
    EXPECT_EQ(told, "noPermission outOfSpace outOfSpace outOfSpace ");
    EXPECT_EQ(contentsOf(path), "old");
    store.isFull = false;
    replace("three");
    loop.run();
    EXPECT_EQ(contentsOf(path), "three");
    EXPECT_EQ(store.underWay(), 0U);
}

TEST_F(SimulatedFileStoreTest, endsWithItsProcessBeforeOrAfterTheFileIsReplaced) {
    const auto die = [&](const std::string&) { store.die(); };
    for (const bool isAfter : {false, true}) {
        (isAfter ? store.afterReplacing : store.beforeReplacing) = die;
        store.duration = 1s;
        replace("new");
        replace("later");
        loop.runFor(10s);
        EXPECT_EQ(contentsOf(path), isAfter ? "new" : "old");
        store.beforeReplacing = store.afterReplacing = nullptr;
        store.startAgain();
        loop.runFor(10s);
        EXPECT_EQ(contentsOf(path), isAfter ? "new" : "old") << "the dead one does nothing more";
    }
    EXPECT_EQ(told, "");
}

} // namespace
} // namespace orvel
