#include "Orvel/model/RelayStateFile.h"

#include "Orvel/desktop/FileStore.h"
#include "OrvelCore/files/FileError.h"
#include "OrvelCore/files/FileReading.h"
#include "OrvelCore/relay/RelayStateError.h"
#include "OrvelCore/relay/RelayStateJson.h"

#include <new>

namespace orvel {

RelayState readRelayState(const std::string& path) try {
    ReadableFile file(path);
    if (file.size() > maximumRelayStateSize) throw RelayStateError::tooLarge();
    const auto bytes = FileBytes::read(file, maximumRelayStateSize);
    if (!bytes) throw RelayStateError::tooLarge();
    return decodeRelayState(bytes->view(), FileBytes::padding);
} catch (const std::bad_alloc&) {
    throw RelayStateError::tooLarge();
}

RelayStateFile::RelayStateFile(std::string path, FileStore& store)
    : location(std::move(path)), store(store) {}

std::optional<RelayState> RelayStateFile::load() const try {
    return readRelayState(location);
} catch (const FileError& error) {
    if (error.kind() == FileError::Case::noSuchFile) return std::nullopt;
    throw;
}

void RelayStateFile::save(const RelayState& state) {
    store.replaceFile(location, encodeRelayState(state));
}

} // namespace orvel
