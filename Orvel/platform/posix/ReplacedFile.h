#pragma once
// One file that is replaced again and again, and of which only what changes is written.
//
// A file of less than 1 MB is written beside the old one, reaches the disk, and takes the old one's name;
// then the folder reaches the disk. Of a larger one the file that was replaced last stays beside it as a
// standby: the next replacement cuts the standby where the new contents begin to differ from what it holds,
// writes the rest, waits for the disk, and has both exchange their names at once. So the path leads to the
// old contents or to the new ones at every moment, and each of them is on the disk before the path leads
// there.
//
// The standby is written to only if this object has made or read every byte of it, it has the same inode,
// size and time as then and no second name, and no reader holds it (ReadableFile::holdsStill). In any doubt,
// and after any failure, it is removed, and the whole contents are written to a new file.

#include "Orvel/desktop/FileContents.h"
#include "Orvel/platform/posix/Descriptor.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace orvel {

/// Not for several threads at once.
class ReplacedFile {
  public:
    /// What a replacement does to the disk. Of a large text every megabyte is a step.
    enum class Step { cut, write, syncFile, exchange, rename, syncFolder };

    /// Asked before each step; false fails it.
    using Gate = std::function<bool(Step)>;

    /// From this size on a file has a standby, in bytes.
    static constexpr std::size_t standbySize = 1'000'000;

    /// The path is standardised.
    explicit ReplacedFile(std::string path, Gate gate = {});
    /// Removes the standby.
    ~ReplacedFile();
    ReplacedFile(const ReplacedFile&) = delete;
    ReplacedFile& operator=(const ReplacedFile&) = delete;

    /// As FileStore::replaceFile.
    void replace(const std::shared_ptr<FileContents>& contents);

    /// As FileStore::expectContents.
    void expect(const std::shared_ptr<FileContents>& contents);

    /// Whether the next replacement would have to write everything although it need not.
    bool lacksStandby() const { return current && !standby; }

    /// Makes the standby that is lacking. Never fails: without one everything is written.
    void makeStandby();

  private:
    struct Facts {
        std::uint64_t device = 0, inode = 0, size = 0;
        std::int64_t seconds = 0, nanoseconds = 0; ///< Last change of the contents.

        /// Nothing for what is no regular file, or has a second name.
        static std::optional<Facts> of(const Descriptor& file);
        static std::optional<Facts> of(const std::string& name);
        bool operator==(const Facts&) const = default;
    };
    struct Held {
        Facts facts;
        std::shared_ptr<FileContents> contents;
    };
    struct Standby {
        std::string name;
        Held held;
    };
    class NewFile;

    Descriptor openFolder();
    Descriptor openStandby();
    void dropStandby();
    bool replaceByStandby(const Descriptor& file, const FileContents::Tail& tail,
                          const std::shared_ptr<FileContents>& contents);
    void replaceWhole(std::string_view bytes, const std::shared_ptr<FileContents>& contents);
    void takePlace(const std::string& name, Held held);
    void syncFolder(const Descriptor& opened);

    bool allows(Step step) const;
    void write(const Descriptor& file, std::string_view bytes, std::size_t at) const;
    Facts sync(const Descriptor& file) const;
    [[noreturn]] void fail() const;

    std::string path, folder;
    Gate gate;
    std::optional<Held> current; ///< What `path` leads to, if it is large and known.
    std::optional<Standby> standby;
};

} // namespace orvel
