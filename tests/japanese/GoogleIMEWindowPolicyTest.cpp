// What the candidate window of Google Japanese Input proves, and how its presence is told.

#include "OrvelCore/japanese/GoogleIMEWindowPolicy.h"
#include "OrvelCore/japanese/GoogleIMEWindowDiagnostic.h"

#include <limits>
#include <vector>

using namespace orvel;
using namespace orvel::GoogleIMEWindowPolicy;

namespace {

// An observation of the last 24 ms, in which nothing else changed.
constexpr Evidence timely{State::absent, 100, 100.01, 99.5, 100.024, true, true};

} // namespace

TEST(GoogleIMEWindowPolicy, KnowsOneInputMethodAndFewVersions) {
    const Setting codex{"26.1016.62342",
                        "com.google.inputmethod.Japanese.base",
                        "com.apple.inputmethod.Japanese",
                        "TISTypeKeyboardInputMode",
                        "3.34.6260",
                        "com.apple.keylayout.ABC"};
    auto claude = codex;
    claude.targetVersion = "3.6556.2";
    const std::tuple<Setting, std::string_view Setting::*, std::string_view, bool, bool> cases[] = {
        {codex, &Setting::targetVersion, "26.1016.62342", true, false},
        {codex, &Setting::targetVersion, "26.1021.31345", true, false},
        {codex, &Setting::targetVersion, "26.1016.6234", false, false},
        {codex, &Setting::targetVersion, "3.6556.2", false, true},
        {claude, &Setting::layoutID, "com.apple.keylayout.US", false, true},
        {claude, &Setting::layoutID, "com.apple.keylayout.Dvorak", false, false},
        {codex, &Setting::layoutID, "", false, false},
        {codex, &Setting::imeVersion, "3.34.6261", false, false},
        {claude, &Setting::imeVersion, "", false, false},
        {codex, &Setting::mode, "com.apple.inputmethod.Japanese.Katakana", false, false},
        {codex, &Setting::sourceID, "com.apple.inputmethod.Kotoeri.RomajiTyping", false, false},
        {codex, &Setting::type, "TISTypeKeyboardInputMethodModeEnabled", false, false},
    };
    for (const auto& [base, field, value, forCodex, forClaude] : cases) {
        auto setting = base;
        setting.*field = value;
        EXPECT_EQ(isCompatible(Profile::codex, setting), forCodex) << value;
        EXPECT_EQ(isCompatible(Profile::claudeCode, setting), forClaude) << value;
    }
}

TEST(GoogleIMEWindowPolicy, DecidesByTheWindowTheCaretAndTheKey) {
    constexpr auto plain = OrvelReturnShortcut::plain, command = OrvelReturnShortcut::command;
    const std::tuple<State, bool, OrvelReturnShortcut, Decision> cases[] = {
        {State::present, false, plain, Decision::confirmOriginalReturn},
        {State::present, true, command, Decision::stop},
        {State::absent, true, plain, Decision::captureWithWindowEvidence},
        {State::absent, true, command, Decision::captureWithWindowEvidence},
        {State::absent, false, plain, Decision::stop},
        {State::unavailable, true, plain, Decision::stop},
    };
    using enum MarkedTextEvidence;
    for (const auto& [state, endCaret, shortcut, decision] : cases)
        for (const bool contextUnchanged : {false, true})
            for (const bool compatible : {false, true}) {
                const bool counts = contextUnchanged && compatible;
                auto evidence = timely;
                evidence.state = state;
                evidence.contextUnchanged = contextUnchanged;
                evidence.compatible = compatible;
                EXPECT_EQ(decide(evidence, endCaret, shortcut), counts ? decision : Decision::stop);
                for (const MarkedTextEvidence text : {marked, absent, unsupported, unavailable})
                    EXPECT_EQ(allowsPreservingDraftNavigation(evidence, text),
                              counts && state == State::absent && (text == absent || text == unsupported));
            }
}

TEST(GoogleIMEWindowPolicy, TakesNoObservationFromAnotherTime) {
    constexpr double infinity = std::numeric_limits<double>::infinity(),
                     none = std::numeric_limits<double>::quiet_NaN();
    const std::tuple<double, double, double, double, bool> cases[] = {
        {0, 0, 0, 0, true},
        {0, 0, 0.01, 0.025, true},
        {-5, 0, 0.025, 0.025, true},
        {0, 0, 0.01, 0.026, false},
        {0, 0, 0.01, std::nextafter(0.025, 1), false},
        {0.001, 0, 0.01, 0.02, false},  // Begun before the verification.
        {0, 0.002, 0.001, 0.02, false}, // Finished before it began.
        {0, 0, 0.021, 0.02, false},     // Finished in the future.
        {0, none, 0.01, 0.02, false},
        {0, 0, none, 0.02, false},
        {none, 0, 0.01, 0.02, false},
        {0, 0, 0.01, none, false},
        {-infinity, 0, 0.01, 0.02, false},
        {infinity, infinity, infinity, infinity, false},
    };
    for (const auto& [verification, started, finished, now, counts] : cases) {
        const Evidence evidence{State::absent, started, finished, verification, now, true, true};
        EXPECT_EQ(decide(evidence, true, OrvelReturnShortcut::plain) == Decision::captureWithWindowEvidence,
                  counts)
            << now;
        EXPECT_EQ(allowsPreservingDraftNavigation(evidence, MarkedTextEvidence::absent), counts) << now;
        auto present = evidence;
        present.state = State::present;
        EXPECT_EQ(decide(present, true, OrvelReturnShortcut::plain) == Decision::confirmOriginalReturn,
                  counts)
            << now;
    }
}

TEST(GoogleIMEWindowDiagnostic, TellsTheWindowByTheNamesOfOwners) {
    using Names = std::vector<std::optional<std::string>>;
    const std::optional<std::string> renderer = "GoogleJapaneseInputRenderer", unreadable;
    const auto manyWith = [&](std::size_t count, std::optional<std::string> last) {
        Names names(count, "Dock");
        names.back() = std::move(last);
        return names;
    };
    const std::pair<Names, State> cases[] = {
        {{}, State::absent},
        {{"Dock", renderer}, State::present},
        {{"GoogleJapaneseInputRenderer "}, State::absent},
        {{"Dock", unreadable}, State::unavailable},
        {{unreadable, renderer}, State::present},
        {manyWith(2048, renderer), State::present},
        {manyWith(2048, "Dock"), State::absent},
        {manyWith(2049, renderer), State::unavailable},
    };
    for (const auto& [names, state] : cases)
        EXPECT_EQ(GoogleIMEWindowDiagnostic::classify(names), state) << names.size();
    EXPECT_EQ(GoogleIMEWindowDiagnostic::classify(std::nullopt), State::unavailable);
}
