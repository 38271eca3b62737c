#pragma once
// Makes ZIP archives of folders, and tells what finished ones hold.

#include "Orvel/runtime/Task.h"

#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace orvel {

/// Tells work on any thread that nobody wants it any more: true from some moment on.
using StopFlag = std::shared_ptr<std::atomic<bool>>;

class ZipArchives {
  public:
    virtual ~ZipArchives() = default;

    /// Writes every file below `folder` into a new ZIP at `path`, which only its owner can read: in the order
    /// of their names, each with the folder's own name and a slash before it. Paths are absolute, names
    /// UTF-8. Throws FileError, also soon after `stop` is set, and then there is no ZIP. If nobody waits for
    /// it any more it goes on until then.
    virtual Task<void> make(std::string folder, std::string path, StopFlag stop) = 0;

    /// The names in the ZIP at `path`, in their exact bytes, as the finished file has them. Those of folders
    /// end with a slash. Throws FileError.
    virtual Task<std::vector<std::string>> entries(std::string path) = 0;
};

} // namespace orvel
