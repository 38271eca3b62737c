#pragma once
// Writes the files that Orvel owns.

#include "Orvel/desktop/FileContents.h"
#include "Orvel/runtime/Task.h"

#include <memory>
#include <string>
#include <utility>

namespace orvel {

/// Replaces files without holding the main loop. What is asked for one path is done in the order in which it
/// is awaited, and goes on if nobody waits for it any more.
class FileStore {
  public:
    virtual ~FileStore() = default;

    /// Replaces the file's contents as a whole and makes its folder where needed. After a crash at any moment
    /// the old file or the new one is there, never a mixture, and once this ends, the new one stays. Throws
    /// FileError and what the contents throw, and then the old file is untouched. `contents` are new ones at
    /// every call; what the file held last may serve for making them.
    virtual Task<void> replaceFile(std::string path, std::shared_ptr<FileContents> contents) = 0;

    Task<void> replaceFile(std::string path, std::string contents) {
        return replaceFile(std::move(path), std::make_shared<PlainContents>(std::move(contents)));
    }

    /// Says what a file should hold that has just been read, so that its first replacement can cost as little
    /// as later ones. Changes nothing there, and never fails.
    virtual Task<void> expectContents(std::string path, std::shared_ptr<FileContents> contents) = 0;
};

} // namespace orvel
