#include "Orvel/model/RelayStateFile.h"

#include "Orvel/platform/posix/PosixFileStore.h"
#include "Orvel/platform/simulated/SimulatedDesktop.h"
#include "OrvelCore/files/FileError.h"
#include "OrvelCore/relay/RelayStateError.h"
#include "TemporaryFolder.h"
#include "relay/RelaySamples.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace orvel {
namespace {

class RelayStateFiles : public testing::Test {
  protected:
    TemporaryFolder folder;
    std::string path = folder.path("data/relay-state.json");
    PosixFileStore disk;
    SimulatedFileStore store{disk};
};

TEST_F(RelayStateFiles, giveBackWhatWasSavedLast) {
    RelayStateFile file(path, store);
    EXPECT_EQ(file.load(), std::nullopt) << "no file yet";
    samples::Desk desk;
    file.save(desk.state);
    desk.prepareFromCodex("go");
    file.save(desk.state);
    EXPECT_TRUE(file.load() == desk.state);
}

TEST_F(RelayStateFiles, stayAsTheyAreWhenSavingFails) {
    RelayStateFile file(path, store);
    samples::Desk desk;
    file.save(desk.state);
    const auto before = contentsOf(path);

    auto unstorable = desk.state;
    unstorable.drafts.set("P1:codex", {"\xff", std::nullopt, std::nullopt});
    EXPECT_THROW(file.save(unstorable), RelayStateError);
    store.beforeReplacing = [](const std::string& target) {
        throw FileError(FileError::Case::outOfSpace, "save", target, "No space left on device");
    };
    desk.prepareFromCodex("go");
    EXPECT_THROW(file.save(desk.state), FileError);
    EXPECT_EQ(contentsOf(path), before);
}

TEST_F(RelayStateFiles, areNotTouchedWhenTheyCannotBeRead) {
    RelayStateFile file(path, store);
    disk.replaceFile(path, R"({"pairs":7})");
    EXPECT_THROW(file.load(), RelayStateError);
    EXPECT_EQ(contentsOf(path), R"({"pairs":7})");

    // Two billion bytes without a single one on the disk.
    std::filesystem::resize_file(path, 2'000'000'000);
    try {
        file.load();
        ADD_FAILURE();
    } catch (const RelayStateError& error) {
        EXPECT_EQ(error.kind(), RelayStateError::Case::tooLarge);
    }

    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    EXPECT_THROW(file.load(), FileError) << "a folder is not an absent file";
}

} // namespace
} // namespace orvel
