#pragma once
// What the fakes of the frameworks hold: the tests set it up and look at it.

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace orvel {

/// The general pasteboard. A write is taken only after `clearContents` and before another program's change.
struct FakePasteboard {
    /// A representation without bytes is promised and never given.
    using Item = std::map<std::string, std::optional<std::string>>;

    std::optional<std::vector<Item>> items = std::vector<Item>(); ///< Nothing: they can't be read.
    std::vector<std::string> typesWithoutItems;
    std::set<std::string> refusedTypes;
    std::int64_t changeCount = 1;
    bool isEmptiedByUs = false;

    void copyElsewhere(std::vector<Item> copied) {
        items = std::move(copied);
        isEmptiedByUs = false;
        ++changeCount;
    }
};

struct FakeApplication {
    int process = 0;
    std::string bundleID;     ///< Empty: it has none.
    std::string bundlePath{}; ///< Empty: it can't be found.
    double start = 0;         ///< Zero: it isn't known.
    bool isTerminated = false, refusesActivation = false;
};

/// The applications and what is asked of them.
struct FakeWorkspace {
    std::vector<FakeApplication> applications; ///< The first one is in front.
    std::map<std::string, std::string> installed;
    std::vector<std::string> calls;
    /// Answers the last request to open an application: with one or not, and with an error or not.
    std::function<void(bool hasApplication, bool hasError)> answer;
};

/// The open panel: what it was shown with, and what the person does.
struct FakePanel {
    bool choosesFiles = false, choosesFolders = false, choosesSeveral = false, showsHidden = false;
    std::string message, prompt, folder; ///< A folder in which nothing was set is empty.
    bool isConfirmed = true;
    std::string chosen;
};

/// Timers run a thousand times as fast.
struct FakeTimers {
    double lastInterval = 0;
    int made = 0, fired = 0;
};

struct FakeUpdates {
    bool failsToStart = false;
    bool startedByItself = false, hasDelegates = false;
    int starts = 0, checks = 0;
};

/// The values in the bundle of this program: a text, a boolean or a whole number.
struct FakeBundle {
    std::map<std::string, std::string> texts;
    std::map<std::string, bool> booleans;
    std::map<std::string, int> numbers;
};

struct Fakes {
    FakePasteboard pasteboard;
    FakeWorkspace workspace;
    FakePanel panel;
    FakeTimers timers;
    FakeUpdates updates;
    FakeBundle bundle;
};

/// The one that the frameworks' classes use.
Fakes& fakes();

} // namespace orvel
