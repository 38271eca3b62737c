#pragma once
// The input source of macOS, by its text input services.

#include "Orvel/desktop/InputSources.h"

namespace orvel {

class MacInputSources : public InputSources {
  public:
    std::optional<InputSource> current() override;
    std::optional<std::string> currentLayoutID() override;
};

} // namespace orvel
