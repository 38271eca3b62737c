#pragma once
// The base of every failure that the user may see: its what() is the text for the user, its caseName() the
// stable name by which programs tell failures apart.

#include <exception>
#include <string>
#include <string_view>
#include <utility>

namespace orvel {

/// The name of an error case and its text for the user.
struct FailureWords {
    std::string_view name, text;
};

class Failure : public std::exception {
  public:
    /// UTF-8 text for the user; owned by the failure.
    const char* what() const noexcept override { return message.c_str(); }

    /// Name of the error case, such as "malformedLine"; a string literal.
    std::string_view caseName() const noexcept { return name; }

  protected:
    explicit Failure(const FailureWords& words) : Failure(words.name, std::string(words.text)) {}
    Failure(std::string_view caseName, std::string text) : name(caseName), message(std::move(text)) {}

  private:
    std::string_view name;
    std::string message;
};

} // namespace orvel
