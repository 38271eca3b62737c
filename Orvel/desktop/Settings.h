#pragma once
// Values that are kept between runs and aren't data, such as the window's position.

#include <optional>
#include <string>
#include <string_view>

namespace orvel {

class Settings {
  public:
    virtual ~Settings() = default;

    virtual std::optional<std::string> string(std::string_view key) const = 0;
    virtual void setString(std::string_view key, std::string_view value) = 0;
};

} // namespace orvel
