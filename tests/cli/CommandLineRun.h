#pragma once
// Runs the command line inside the test program: a home of its own, an environment of its own, and both
// streams as text.

#include "Orvel/cli/CommandLine.h"
#include "Orvel/cli/Output.h"
#include "TemporaryFolder.h"

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>

namespace orvel {

/// Sets a variable of the environment, or takes it away, for as long as the object lives.
class ScopedVariable {
  public:
    ScopedVariable(const char* name, const std::optional<std::string>& value) : name(name) {
        if (const char* old = std::getenv(name)) before = old;
        set(value);
    }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;
    ~ScopedVariable() { set(before); }

  private:
    void set(const std::optional<std::string>& value) {
        if (value)
            setenv(name, value->c_str(), 1);
        else
            unsetenv(name);
    }

    const char* name;
    std::optional<std::string> before;
};

struct CapturedOutput : Output {
    void write(std::string_view text) override { out += text; }
    void writeError(std::string_view text) noexcept override { err += text; }
    bool isTerminal() const override { return onTerminal; }

    std::string out, err;
    bool onTerminal = false;
};

using Words = std::vector<std::string>;

struct RunResult {
    int status;
    std::string out, err;
};

inline RunResult run(const Words& arguments) {
    CapturedOutput output;
    const int status = runCommandLine(arguments, output);
    return {status, output.out, output.err};
}

/// Every test has an empty home, which HOME names, and none of the variables that lead elsewhere.
class CommandLine : public testing::Test {
  protected:
    CommandLine() { tzset(); }

    TemporaryFolder home;

    /// Writes a transcript and dates it noon of 12 March 2001, so that lists look the same every day.
    std::string write(const std::string& name, std::string_view text) const {
        const auto path = home.write(name, text);
        const timespec date{984'398'400, 0};
        const timespec times[2] = {date, date};
        EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
        return path;
    }

  private:
    ScopedVariable homeVariable{"HOME", home.path()};
    ScopedVariable codexHome{"CODEX_HOME", std::nullopt};
    ScopedVariable claudeConfigDir{"CLAUDE_CONFIG_DIR", std::nullopt};
    ScopedVariable dataHome{"XDG_DATA_HOME", std::nullopt};
    ScopedVariable configHome{"XDG_CONFIG_HOME", std::nullopt};
    ScopedVariable noColour{"NO_COLOR", std::nullopt};
    ScopedVariable terminal{"TERM", "xterm"};
    ScopedVariable timeZone{"TZ", "UTC"};
};

} // namespace orvel
