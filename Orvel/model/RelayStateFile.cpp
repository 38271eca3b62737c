#include "Orvel/model/RelayStateFile.h"

#include "Orvel/desktop/FileStore.h"
#include "OrvelCore/files/FileError.h"
#include "OrvelCore/files/FileReading.h"
#include "OrvelCore/relay/RelayStateError.h"
#include "OrvelCore/relay/RelayStateJson.h"

#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace orvel {

namespace {

// A file takes another place at most once a save, so that more than a few looks in vain mean something else.
constexpr int maximumLooks = 100;

class RelayStateContents : public FileContents {
  public:
    explicit RelayStateContents(RelayState state) : document(std::move(state)) {}

    Tail tail(const FileContents* older) override {
        const auto* before = dynamic_cast<const RelayStateContents*>(older);
        auto [from, text] = document.encode(before ? &before->document : nullptr);
        return {from, std::move(text)};
    }

  private:
    RelayStateDocument document;
};

template <typename Record, typename Resolve>
void resolveIn(RecordList<Record>& records, Resolve resolve) {
    std::vector<Record> resolved(records.begin(), records.end());
    for (auto& record : resolved) resolve(record);
    records = RecordList<Record>(std::move(resolved));
}

void resolveReferences(RelayState& state) {
    PathResolver paths;
    const auto resolve = [&](ConversationReference& reference) {
        reference.target.path = paths.target(reference.transcriptPath);
    };
    resolveIn(state.pairs, [&](RelayPair& pair) {
        resolve(pair.codex);
        resolve(pair.claude);
    });
    resolveIn(state.links, [&](RelayLink& link) {
        for (auto& member : link.conversations) resolve(member);
    });
    resolveIn(state.initialTransfers,
              [&](RelayInitialTransfer& initial) { resolve(initial.sourceReference); });
}

RelayState stateIn(ReadableFile& file) {
    if (file.size() > maximumRelayStateSize) throw RelayStateError::tooLarge();
    const auto bytes = FileBytes::read(file, maximumRelayStateSize);
    if (!bytes) throw RelayStateError::tooLarge();
    auto state = decodeRelayState(bytes->view(), FileBytes::padding);
    resolveReferences(state);
    return state;
}

} // namespace

RelayState readRelayState(const std::string& path) try {
    for (int look = 0; look < maximumLooks; ++look) {
        ReadableFile file(path);
        if (file.holdsStill()) return stateIn(file);
    }
    throw FileError(FileError::Case::other, "read", path, "Another program keeps changing it");
} catch (const std::bad_alloc&) {
    throw RelayStateError::tooLarge();
}

std::optional<RelayState> loadRelayState(const std::string& path) try {
    return readRelayState(path);
} catch (const FileError& error) {
    if (error.kind() == FileError::Case::noSuchFile) return std::nullopt;
    throw;
}

RelayStateFile::RelayStateFile(std::string path, FileStore& store)
    : location(std::move(path)), store(store) {}

Task<void> RelayStateFile::prepare(RelayState loaded) {
    return store.expectContents(location, std::make_shared<RelayStateContents>(std::move(loaded)));
}

Task<void> RelayStateFile::save(RelayState state) {
    return store.replaceFile(location, std::make_shared<RelayStateContents>(std::move(state)));
}

} // namespace orvel
