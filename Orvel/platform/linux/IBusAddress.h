#pragma once
// Where the IBus daemon of this display has its bus.

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace orvel {

struct IBusPlaces {
    std::optional<std::string> address; ///< If the environment names it.
    std::vector<std::string> files;     ///< In which the daemon writes it otherwise; the first that exists.
};

/// As IBus's own library looks for them. `variable` reads the environment.
IBusPlaces ibusPlaces(const std::function<std::optional<std::string>(const char* name)>& variable);
/// Those of this process's environment.
IBusPlaces ibusPlaces();

/// The address of the bus; nothing if no daemon runs. Reads the files anew, as each daemon has an address of
/// its own. A file stays behind after a daemon that was killed, so its process must be there.
std::optional<std::string> ibusAddress(const IBusPlaces& places);

} // namespace orvel
