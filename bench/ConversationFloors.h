#pragma once
// The least work that gives anything like the same results: what the measured code is compared with.

#include "OrvelCore/conversations/Agent.h"

#include <cstddef>
#include <string>
#include <vector>

namespace orvel::bench {

/// What was found in a transcript, to check that everybody did the same work.
struct MessageDigests {
    std::size_t count = 0;
    std::string last; ///< The digest of the last message, in hexadecimal.

    bool operator==(const MessageDigests&) const = default;
};

/// Maps the file, so that nothing of it is cleared or copied, validates UTF-8, parses each line with simdjson
/// and hashes role and text of each message.
MessageDigests readFloor(const std::string& path, Agent agent);

/// Opens each file and reads its first 64 KiB; gives how many bytes that were.
std::size_t openFloor(const std::vector<std::string>& paths);

} // namespace orvel::bench
