#pragma once
// The last reading of each conversation that was opened or looked at.

#include "Orvel/reading/ConversationReader.h"
#include "Orvel/runtime/Observable.h"

#include <cstdint>
#include <utility>

namespace orvel {

class ConversationReadings {
  public:
    using Readings = ConversationReader::Readings;

    explicit ConversationReadings(const ChangeSignal& changes) : pairReadings(changes) {}

    /// By ConversationReader::key.
    const Readings& latest() const { return pairReadings; }
    /// Another number with every change.
    std::uint64_t revision() const { return pairReadings.revision(); }

    /// Takes over new readings. Listeners hear of it only if something is new.
    void merge(const Readings& fresh) {
        auto merged = pairReadings.get();
        for (const auto& [key, conversation] : fresh) merged[key] = conversation;
        if (merged != pairReadings.get()) pairReadings = std::move(merged);
    }

  private:
    Observable<Readings> pairReadings;
};

} // namespace orvel
