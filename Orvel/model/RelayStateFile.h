#pragma once
// The file that holds the relay state, and nothing but whole states: what was saved last is what is loaded.

#include "OrvelCore/relay/RelayState.h"

#include <optional>
#include <string>

namespace orvel {

class FileStore;

/// The state in a file. Throws FileError, also if there is no file, or RelayStateError. Never writes.
RelayState readRelayState(const std::string& path);

class RelayStateFile {
  public:
    /// The store must outlive this object.
    RelayStateFile(std::string path, FileStore& store);

    const std::string& path() const { return location; }

    /// The state in the file, or nothing if there is no file. Throws FileError or RelayStateError. Never
    /// writes.
    std::optional<RelayState> load() const;

    /// Replaces the file. Once this returns, the state is on the disk to stay. Throws FileError or
    /// RelayStateError, and then the file still holds what it held.
    void save(const RelayState& state);

  private:
    std::string location;
    FileStore& store;
};

} // namespace orvel
