#include "Orvel/platform/posix/ReplacedFile.h"

#include "Orvel/platform/posix/Leftovers.h"
#include "OrvelCore/files/FileError.h"
#include "OrvelCore/files/FileReading.h"
#include "TemporaryFolder.h"

#include <algorithm>
#include <csignal>
#include <functional>
#include <utility>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace orvel {
namespace {

using Step = ReplacedFile::Step;
using testing::ElementsAre;

// Contents that know by comparison where they differ from older ones.
class TestContents : public FileContents {
  public:
    explicit TestContents(std::string bytes) : bytes(std::move(bytes)) {}

    Tail tail(const FileContents* older) override {
        if (!older) return {0, bytes};
        const auto& before = dynamic_cast<const TestContents&>(*older).bytes;
        const auto from = static_cast<std::size_t>(
            std::mismatch(bytes.begin(), bytes.end(), before.begin(), before.end()).first - bytes.begin());
        return {from, bytes.substr(from)};
    }

  private:
    std::string bytes;
};

// A history of a large file: each version changes something near the end of the one before it. Compared as a
// whole: looking for the lines in which two versions differ takes gigabytes.
std::string version(int number) {
    std::string bytes;
    for (int line = 0; bytes.size() < 3'500'000; ++line) bytes += "line " + std::to_string(line) + '\n';
    bytes.resize(bytes.size() - static_cast<std::size_t>(number) * 100);
    return bytes += "version " + std::to_string(number);
}

ino_t inodeOf(const std::string& path) {
    struct stat facts {};
    EXPECT_EQ(stat(path.c_str(), &facts), 0);
    return facts.st_ino;
}

class ReplacedFileTest : public testing::Test {
  protected:
    // Calls `atStep` with the number of each step from now on; false fails it.
    void watch(std::function<bool(int)> atStep) {
        steps.clear();
        gate = std::move(atStep);
    }

    void replace(ReplacedFile& file, int number) {
        file.replace(std::make_shared<TestContents>(version(number)));
    }

    // Two versions, so that there is a standby.
    std::unique_ptr<ReplacedFile> begun() {
        auto file = std::make_unique<ReplacedFile>(path, [this](Step step) {
            steps.push_back(step);
            return !gate || gate(static_cast<int>(steps.size()) - 1);
        });
        replace(*file, 0);
        replace(*file, 1);
        watch({});
        return file;
    }

    std::string standbyPath() const {
        for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
            if (entry.path().string().starts_with(path + ".standby-")) return entry.path();
        return {};
    }

    TemporaryFolder folder = TemporaryFolder::quick();
    std::string path = folder.path("file");
    std::vector<Step> steps;
    std::function<bool(int)> gate;
};

const std::vector<Step> inPart{Step::cut, Step::write, Step::syncFile, Step::exchange, Step::syncFolder};

TEST_F(ReplacedFileTest, WritesWhatChangesInAnOrderThatKeepsTheOldFile) {
    auto file = begun();
    const auto before = inodeOf(path);
    for (int number = 2; number < 6; ++number) {
        steps.clear();
        replace(*file, number);
        EXPECT_EQ(steps, inPart);
        EXPECT_TRUE(contentsOf(path) == version(number));
        EXPECT_EQ(inodeOf(path) == before, number % 2 == 1) << "two files that change places";
        EXPECT_EQ(folder.count(), 2U);
    }
    file->replace(std::make_shared<TestContents>("small"));
    EXPECT_EQ(contentsOf(path), "small");
    EXPECT_EQ(folder.count(), 1U) << "a small file has no standby";
}

TEST_F(ReplacedFileTest, FailsOrDiesAtAnyStepWithTheOldContentsOrTheNewOnes) {
    for (int faulty = 0; faulty < static_cast<int>(inPart.size()); ++faulty) {
        SCOPED_TRACE(faulty);
        const bool isInPlace = inPart[static_cast<std::size_t>(faulty)] == Step::syncFolder;

        auto file = begun();
        watch([=](int step) { return step != faulty; });
        replace(*file, 2);
        EXPECT_TRUE(contentsOf(path) == version(2)) << "written as a whole after the failure";
        replace(*file, 3);
        EXPECT_TRUE(contentsOf(path) == version(3));

        file = begun();
        watch([=](int step) { return step < faulty; });
        if (isInPlace)
            replace(*file, 2);
        else
            EXPECT_THROW(replace(*file, 2), FileError);
        EXPECT_TRUE(contentsOf(path) == version(isInPlace ? 2 : 1));
        EXPECT_EQ(folder.count(), 1U) << "what can't be trusted is removed";
        watch({});
        replace(*file, 3);
        EXPECT_TRUE(contentsOf(path) == version(3));
        file.reset();

        const auto child = fork();
        if (child == 0) {
            file = begun();
            watch([=](int step) { return step < faulty || (_exit(7), false); });
            replace(*file, 2);
            _exit(0);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(WEXITSTATUS(status), 7);
        EXPECT_TRUE(contentsOf(path) == version(isInPlace ? 2 : 1));
        EXPECT_EQ(folder.count(), 2U);
        removeLeftovers(path);
        EXPECT_EQ(folder.count(), 1U);
        file = begun();
        EXPECT_EQ(folder.count(), 2U) << "there is a new standby";
    }
}

TEST_F(ReplacedFileTest, WritesEverythingInAnyDoubt) {
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"the standby was written to",
         [&] {
             usleep(10'000); // The file system's clock has ticked.
             std::fstream(standbyPath(), std::ios::in | std::ios::out | std::ios::binary) << "X";
         }},
        {"the standby was cut", [&] { std::filesystem::resize_file(standbyPath(), 100); }},
        {"the standby was removed", [&] { std::filesystem::remove(standbyPath()); }},
        {"the standby became a link",
         [&] {
             const auto name = standbyPath();
             std::filesystem::rename(name, folder.path("moved"));
             std::filesystem::create_symlink(folder.path("moved"), name);
         }},
        {"the standby has a second name",
         [&] { std::filesystem::create_hard_link(standbyPath(), folder.path("backup")); }},
    };
    for (const auto& [name, act] : cases) {
        SCOPED_TRACE(name);
        auto file = begun();
        act();
        replace(*file, 2);
        EXPECT_THAT(steps, testing::Not(testing::Contains(Step::cut)));
        EXPECT_TRUE(contentsOf(path) == version(2));
    }
    EXPECT_TRUE(contentsOf(folder.path("backup")) == version(0)) << "nobody writes to what has another name";

    // A file of somebody else's at the path never becomes a standby.
    auto file = begun();
    std::filesystem::remove(path);
    folder.write("file", version(9));
    for (int number = 2; number < 5; ++number) {
        replace(*file, number);
        EXPECT_TRUE(contentsOf(path) == version(number));
    }
}

TEST_F(ReplacedFileTest, NeverChangesAFileUnderItsReader) {
    auto file = begun();
    ReadableFile reader(path), late(path);
    ASSERT_TRUE(reader.holdsStill());
    for (int number = 2; number < 5; ++number) replace(*file, number);
    const auto bytes = FileBytes::read(reader, 100'000'000);
    EXPECT_TRUE(bytes->view() == version(1));
    EXPECT_FALSE(late.holdsStill()) << "the path leads elsewhere by now";

    // While the standby is written nobody can read it, and before the path leads to it everybody can.
    file = begun();
    watch([&](int) {
        EXPECT_TRUE(ReadableFile(path).holdsStill());
        if (steps.back() == Step::syncFolder) return true; // It leads there by now.
        EXPECT_EQ(ReadableFile(standbyPath()).holdsStill(), steps.back() == Step::exchange);
        return true;
    });
    replace(*file, 2);
    EXPECT_EQ(steps, inPart);
}

TEST_F(ReplacedFileTest, LeavesTheFileWhenTheDiskIsFull) {
    const auto replaceInASmallWorld = [&] {
        auto file = begun();
        // The limit of a process's file size fails its writes as a full disk does.
        const rlimit limit{2'000'000, 2'000'000};
        setrlimit(RLIMIT_FSIZE, &limit);
        std::signal(SIGXFSZ, SIG_IGN);
        try {
            replace(*file, 2);
        } catch (const FileError&) {
            const bool wasCut = std::count(steps.begin(), steps.end(), Step::cut) == 1;
            _exit(wasCut && contentsOf(path) == version(1) && folder.count() == 1 ? 0 : 1);
        }
        _exit(2);
    };
    EXPECT_EXIT(replaceInASmallWorld(), testing::ExitedWithCode(0), "");
}

TEST_F(ReplacedFileTest, TrustsAFileThatHoldsWhatItShould) {
    for (const bool isAsExpected : {true, false}) {
        auto found = version(1);
        if (!isAsExpected) found[2'000'000] = '#'; // As large, and another one.
        folder.write("file", found);
        std::vector<Step> taken;
        ReplacedFile file(path, [&](Step step) { return taken.push_back(step), true; });
        file.expect(std::make_shared<TestContents>(version(1)));
        EXPECT_EQ(file.lacksStandby(), isAsExpected);
        file.makeStandby();
        EXPECT_TRUE(contentsOf(path) == found);
        taken.clear();
        replace(file, 3);
        EXPECT_EQ(taken == inPart, isAsExpected);
        EXPECT_TRUE(contentsOf(path) == version(3));
    }
}

} // namespace
} // namespace orvel
