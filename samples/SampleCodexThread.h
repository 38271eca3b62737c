#pragma once
// A conversation of Codex as its own server sees it: turns with items, read from the transcript.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orvel {

struct SampleCodexTurn {
    struct Item {
        enum class Kind { user, agent, command };

        Kind kind = Kind::user;
        std::string id;
        std::string text;
        std::string phase; ///< Of what the agent says.

        bool operator==(const Item&) const = default;
    };

    enum class Status { inProgress, completed, failed, interrupted };

    std::string id;
    std::vector<Item> items;
    Status status = Status::inProgress;
    std::string error;                           ///< Of a failed turn.
    std::int64_t startedAt = 0, completedAt = 0; ///< Seconds of the Unix epoch; 0 where unknown.

    bool operator==(const SampleCodexTurn&) const = default;
};

struct SampleCodexThread {
    std::string id;
    std::string path;
    std::string workingDirectory;
    std::int64_t updatedAt = 0;   ///< Seconds of the Unix epoch.
    std::int64_t nextOrdinal = 0; ///< Of the record that comes next.
    std::optional<std::string> forkedFrom;
    std::int64_t inheritedRecords = 0;  ///< How many records of that conversation belong to this one.
    std::vector<SampleCodexTurn> turns; ///< Its own, without those of `forkedFrom`.

    /// Reads the transcript, or only what stands before the record `endOrdinal`. Throws std::exception where
    /// it is none.
    static SampleCodexThread read(const std::string& path,
                                  std::optional<std::int64_t> endOrdinal = std::nullopt);
};

} // namespace orvel
