#include "Orvel/platform/linux/AtSpiRounds.h"

#include <algorithm>
#include <iterator>

namespace orvel {

void AtSpiRounds::goOn() {
    // One program after the other, each on its own connection.
    const auto asking = std::exchange(waiting, {});
    const auto nameOf = [](const AtSpiQuestion* question) -> const std::string& {
        return question->calls.front().object.name;
    };
    std::vector<bool> isAsked(asking.size());
    for (std::size_t first = 0; first < asking.size(); ++first) {
        if (isAsked[first]) continue;
        const auto name = nameOf(asking[first]);
        std::vector<BusCall> calls;
        std::vector<AtSpiQuestion*> together;
        for (auto i = first; i < asking.size(); ++i) {
            if (isAsked[i] || nameOf(asking[i]) != name) continue;
            isAsked[i] = true;
            together.push_back(asking[i]);
            std::move(asking[i]->calls.begin(), asking[i]->calls.end(), std::back_inserter(calls));
        }
        const auto replies = bus.exchange(calls, end);
        std::size_t next = 0;
        for (auto* question : together) {
            question->answers = replies.all().subspan(next, question->calls.size());
            next += question->calls.size();
            question->waiting.resume();
        }
    }
}

} // namespace orvel
