#pragma once
// What a file is to hold. Large contents that change little are made only from the first change on.

#include <cstddef>
#include <memory>
#include <string>
#include <utility>

namespace orvel {

/// Made when they are to be written, on another thread, but never on two at once.
class FileContents {
  public:
    virtual ~FileContents() = default;

    /// The end of the contents: their bytes from this one on.
    struct Tail {
        std::size_t from = 0;
        std::string bytes;
    };

    /// What stands behind bytes with which `older`, made before, begins as well; all bytes without one. May
    /// throw, and then can be called again.
    virtual Tail tail(const FileContents* older) = 0;
};

/// Contents that are there as a whole.
class PlainContents : public FileContents {
  public:
    explicit PlainContents(std::string bytes) : bytes(std::move(bytes)) {}

    Tail tail(const FileContents*) override { return {0, bytes}; }

  private:
    std::string bytes;
};

} // namespace orvel
