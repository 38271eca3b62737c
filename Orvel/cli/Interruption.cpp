#include "Orvel/cli/Interruption.h"

#include <cstddef>

namespace orvel {

namespace {

volatile std::sig_atomic_t noted = 0;

void note(int number) {
    noted = number;
}

} // namespace

// Calls that wait are not taken up again, so that a command that waits for its reader notices too.
Interruption::Interruption() {
    noted = 0;
    struct sigaction action {};
    action.sa_handler = note;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        sigaction(numbers[i], nullptr, &before[i]);
        if (before[i].sa_handler != SIG_IGN) sigaction(numbers[i], &action, nullptr);
    }
}

Interruption::~Interruption() {
    for (std::size_t i = 0; i < numbers.size(); ++i) sigaction(numbers[i], &before[i], nullptr);
}

int Interruption::signal() noexcept {
    return noted;
}

void Interruption::check() {
    if (noted) throw Interrupted();
}

} // namespace orvel
