#pragma once
// Files replaced atomically on a POSIX file system, on other threads. ReplacedFile says how.

#include "Orvel/desktop/FileStore.h"

#include <functional>
#include <map>
#include <memory>
#include <string>

namespace orvel {

class MainLoop;
class ReplacedFile;

class PosixFileStore : public FileStore {
  public:
    /// The loop outlives this object.
    explicit PosixFileStore(MainLoop& loop);
    ~PosixFileStore() override;

    using FileStore::replaceFile;
    Task<void> replaceFile(std::string path, std::shared_ptr<FileContents> contents) override;
    Task<void> expectContents(std::string path, std::shared_ptr<FileContents> contents) override;

  private:
    class Place;
    using Work = std::function<void(ReplacedFile&)>;

    Task<void> perform(std::string path, Work work);
    std::shared_ptr<Place> placeOf(const std::string& path);
    void makeStandbyLater(const std::shared_ptr<Place>& place);

    MainLoop& loop;
    std::map<std::string, std::shared_ptr<Place>> places;
};

} // namespace orvel
