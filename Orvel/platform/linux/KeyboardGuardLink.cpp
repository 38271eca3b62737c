#include "Orvel/platform/linux/KeyboardGuardLink.h"

#include <cerrno>
#include <cstring>
#include <string_view>
#include <type_traits>

#include <poll.h>
#include <sys/socket.h>

namespace orvel {

namespace {

static_assert(std::is_trivially_copyable_v<GuardMessage>);

struct Greeting {
    char name[16] = {};
    std::uint32_t version = 1; ///< Counted up with every change of what messages hold or mean.
    std::uint32_t messageSize = sizeof(GuardMessage);
    char build[32] = ORVEL_VERSION;
};

Greeting greetingOf(GuardLink::Side side) {
    Greeting greeting;
    const std::string_view name = side == GuardLink::Side::orvel ? "Orvel" : "Orvel's guard";
    name.copy(greeting.name, sizeof greeting.name - 1);
    return greeting;
}

} // namespace

bool GuardLink::send(const GuardMessage& message) const {
    ssize_t count = 0;
    do count = ::send(socket.get(), &message, sizeof message, MSG_DONTWAIT | MSG_NOSIGNAL);
    while (count < 0 && errno == EINTR);
    return count == sizeof message;
}

GuardLink::Receipt GuardLink::receive(GuardMessage& message) const {
    ssize_t count = 0;
    // An end that closes with something unread is told as a reset, ahead of what it has said.
    do count = recv(socket.get(), &message, sizeof message, MSG_DONTWAIT | MSG_TRUNC);
    while (count < 0 && (errno == EINTR || errno == ECONNRESET));
    if (count < 0 && errno == EAGAIN) return Receipt::nothing;
    return count == sizeof message ? Receipt::received : Receipt::closed;
}

bool GuardLink::waitUntil(Clock::time_point deadline) const {
    pollfd wanted{.fd = socket.get(), .events = POLLIN, .revents = 0};
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        const int count = poll(&wanted, 1, left > 0 ? static_cast<int>(left) : 0);
        if (count >= 0 || errno != EINTR) return count > 0;
    }
}

bool GuardLink::greet(Side side, Clock::time_point deadline) const {
    const auto own = greetingOf(side);
    const auto expected = greetingOf(side == Side::orvel ? Side::guard : Side::orvel);
    if (::send(socket.get(), &own, sizeof own, MSG_DONTWAIT | MSG_NOSIGNAL) != sizeof own) return false;
    if (!waitUntil(deadline)) return false;
    Greeting said;
    const auto count = recv(socket.get(), &said, sizeof said, MSG_DONTWAIT | MSG_TRUNC);
    return count == sizeof said && std::memcmp(&said, &expected, sizeof said) == 0;
}

} // namespace orvel
