#pragma once
// One writer at a time for a data folder: a lock that ends with its holder, however that ends.

#include "Orvel/platform/posix/Descriptor.h"
#include "OrvelCore/text/Failure.h"

#include <string>
#include <string_view>

namespace orvel {

/// Another program holds the lock; the text names it where it can be known.
class DataFolderInUse : public Failure {
  public:
    explicit DataFolderInUse(std::string text) : Failure("dataFolderInUse", std::move(text)) {}
};

/// Holds the lock while it lives. Children do not inherit it. Its file `lock` stays in the folder and is only
/// ever locked, never replaced; what it says is for people.
class DataFolderLock {
  public:
    /// Makes the folder where it is missing, and removes what killed saves left there. `program` is the name
    /// by which others are told of the holder. Never waits. Throws DataFolderInUse, or FileError where the
    /// folder can't be locked at all.
    DataFolderLock(const std::string& dataFolder, std::string_view program);
    DataFolderLock(const DataFolderLock&) = delete;
    DataFolderLock& operator=(const DataFolderLock&) = delete;
    ~DataFolderLock();

  private:
    Descriptor file;
};

} // namespace orvel
