#pragma once
// Finds the Code page that a window of Claude shows, by the URLs of its web areas.

#include "OrvelCore/text/Failure.h"

#include <optional>
#include <span>
#include <string>

namespace orvel::ClaudeCodePageSelection {

/// The URL attribute of one web area.
struct URLValue {
    enum class Kind { url, missing, invalidType };

    Kind kind = Kind::missing;
    std::string url; ///< Empty unless `kind` is `url`.
};

class Failure : public orvel::Failure {
  public:
    enum class Case { invalidURLValue, multipleCodePages };

    explicit Failure(Case kind);

    Case kind() const noexcept { return which; }

  private:
    Case which;
};

/// The path of the only Code page among them; nothing if there is none. Throws Failure.
std::optional<std::string> select(std::span<const URLValue> values);

} // namespace orvel::ClaudeCodePageSelection
