#pragma once
// Which Code conversation a window of Claude shows, by what its web areas say of their URLs.

#include "OrvelCore/text/Failure.h"

#include <optional>
#include <span>
#include <string>

namespace orvel::ClaudeCodePageSelection {

/// What one web area offers.
struct URLValue {
    enum class Kind { url, missing, invalidType };

    Kind kind = Kind::missing;
    std::string url; ///< If it is one.
};

class Failure : public orvel::Failure {
  public:
    enum class Case { invalidURLValue, multipleCodePages };

    explicit Failure(Case kind);

    Case kind() const noexcept { return which; }

  private:
    Case which;
};

/// The path of the one Code page among them; nothing if there is none. Throws Failure.
std::optional<std::string> select(std::span<const URLValue> values);

} // namespace orvel::ClaudeCodePageSelection
