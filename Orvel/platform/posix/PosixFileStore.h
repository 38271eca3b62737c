#pragma once
// Files replaced atomically on a POSIX file system.

#include "Orvel/desktop/FileStore.h"

namespace orvel {

/// The new contents go to a file beside the old one, which only its owner may read, reach the disk, and take
/// the old one's name; then the folder reaches the disk.
class PosixFileStore : public FileStore {
  public:
    void replaceFile(const std::string& path, std::string_view contents) override;
};

} // namespace orvel
