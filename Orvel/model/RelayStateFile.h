#pragma once
// The file that holds the relay state, and nothing but whole states: what was saved last is what is loaded.
//
// A save encodes and writes on another thread, and only from the first record on that changed; FileStore says
// what it guarantees. Reading never sees a state that is half written.

#include "Orvel/runtime/Task.h"
#include "OrvelCore/relay/RelayState.h"

#include <optional>
#include <string>

namespace orvel {

class FileStore;

/// The state in a file, its references with the targets of their paths. Throws FileError, also if there is no
/// file, or RelayStateError. Never writes. Callable from any thread.
RelayState readRelayState(const std::string& path);

/// The same, or nothing if there is no file.
std::optional<RelayState> loadRelayState(const std::string& path);

class RelayStateFile {
  public:
    /// The store must outlive this object.
    RelayStateFile(std::string path, FileStore& store);

    const std::string& path() const { return location; }

    /// Has the first save of a state that was loaded cost as little as later ones. Never fails.
    Task<void> prepare(RelayState loaded);

    /// Replaces the file. Once this ends, the state is on the disk to stay. Throws FileError or
    /// RelayStateError, and then the file still holds what it held. One save goes on after the other.
    Task<void> save(RelayState state);

  private:
    std::string location;
    FileStore& store;
};

} // namespace orvel
