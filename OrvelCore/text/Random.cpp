#include "OrvelCore/text/Random.h"

#include <stdexcept>

#include <sys/random.h>
#include <unistd.h>

namespace orvel {

std::string randomBytes(std::size_t count) {
    std::string bytes(count, '\0');
    if (getentropy(bytes.data(), count) != 0) throw std::runtime_error("The system gives no random bytes.");
    return bytes;
}

} // namespace orvel
