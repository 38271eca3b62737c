#pragma once
// The state of the relay session: the conversations found on this machine and the identity of the open one.

#include "Orvel/model/Generation.h"
#include "Orvel/runtime/Observable.h"
#include "OrvelCore/conversations/ConversationReference.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace orvel {

struct RelaySession {
    explicit RelaySession(const ChangeSignal& changes)
        : catalog(changes), codexThreadTitles(changes), isDiscovering(changes) {}

    Observable<std::vector<ConversationReference>> catalog; ///< The last discovery, newest first.
    Observable<std::map<std::string, std::string>> codexThreadTitles;
    Observable<bool> isDiscovering;

    std::optional<ConversationReference>
        sourceReference; ///< The open source conversation, if the catalogue knows it.
    Generation relayLoadGeneration;
};

} // namespace orvel
