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

    /// A choice between two; false until it has been made.
    bool flag(std::string_view key) const { return string(key) == "yes"; }
    void setFlag(std::string_view key, bool isChosen) { setString(key, isChosen ? "yes" : "no"); }
};

} // namespace orvel
