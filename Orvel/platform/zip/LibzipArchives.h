#pragma once
// ZIP archives by libzip, on other threads.

#include "Orvel/desktop/ZipArchives.h"
#include "Orvel/runtime/MainLoop.h"

namespace orvel {

class LibzipArchives : public ZipArchives {
  public:
    /// The loop outlives this object.
    explicit LibzipArchives(MainLoop& loop) : loop(loop) {}

    Task<void> make(std::string folder, std::string path, StopFlag stop) override;
    Task<std::vector<std::string>> entries(std::string path) override;

  private:
    MainLoop& loop;
};

} // namespace orvel
