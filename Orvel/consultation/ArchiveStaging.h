#pragma once
// The folder in which an archive is made, and the copies that go into it. For any thread, one at a time.

#include <string>
#include <string_view>

namespace orvel {

/// A folder of its own below an output folder, which its owner alone can enter. What it holds stays until it
/// is removed.
class ArchiveStaging {
  public:
    /// Makes the folder, and the output folder where that is missing, and clears away what killed
    /// preparations left there. Throws FileError, also if others could exchange what lies in the output
    /// folder.
    explicit ArchiveStaging(const std::string& outputFolder);
    ArchiveStaging(const ArchiveStaging&) = delete;
    ArchiveStaging& operator=(const ArchiveStaging&) = delete;
    ~ArchiveStaging();

    const std::string& path() const { return folder; }
    /// Where the copies lie.
    std::string repository() const;
    /// Where the ZIP belongs.
    std::string zip() const;

    /// Writes a copy below `repository`, with the folders above it. Throws FileError.
    void write(const std::string& path, std::string_view bytes) const;
    /// Removes the copies. Throws FileError.
    void removeRepository() const;
    /// Removes the folder and all in it, as far as possible.
    void remove() const noexcept;

    /// The output folder where the person chose none: `orvel-chatgpt` in the folder for temporary files, with
    /// a number behind it where that belongs to somebody else.
    static std::string usualOutputFolder();

  private:
    std::string folder;
    int lock = -1; ///< Open and locked while this process works here.
};

} // namespace orvel
