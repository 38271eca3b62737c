#include "OrvelCore/commands/ReturnKeys.h"

using namespace orvel;

// All sequences of five events of two keys, of which the first is suppressed, against the rule told as a
// story: everything up to and with the release is swallowed, unless a fresh press comes before.
TEST(SuppressedKeySequence, SwallowsRepeatsAndTheReleaseAndNothingElse) {
    enum Event { freshPress, repeat, release, strangeRelease, eventsOfAKey };
    constexpr int kinds = 2 * eventsOfAKey, length = 5;
    int sequences = 1;
    for (int i = 0; i < length; ++i) sequences *= kinds;
    for (int sequence = 0; sequence < sequences; ++sequence) {
        SuppressedKeySequence keys;
        keys.begin(36);
        bool pending = true;
        for (int i = 0, rest = sequence; i < length; ++i, rest /= kinds) {
            const int event = rest % kinds % eventsOfAKey;
            const bool isSuppressedKey = rest % kinds < eventsOfAKey;
            const bool swallowed =
                keys.consumes(isSuppressedKey ? 36 : 76, event == freshPress || event == repeat,
                              event == repeat || event == strangeRelease);
            ASSERT_EQ(swallowed, isSuppressedKey && pending && event != freshPress) << sequence << ' ' << i;
            if (isSuppressedKey && event != repeat) pending = false;
        }
        ASSERT_EQ(keys.keys.empty(), !pending);
    }
}

TEST(CommandReleaseAllowance, ExcusesTheReleaseOfTheCommandKeyOnce) {
    for (const auto shortcut : {OrvelReturnShortcut::plain, OrvelReturnShortcut::command})
        for (const bool cancelled : {false, true})
            for (std::int64_t key = 50; key < 60; ++key)
                for (int modifiers = 0; modifiers < 32; ++modifiers) {
                    CommandReleaseAllowance allowance;
                    allowance.arm(shortcut);
                    if (cancelled) allowance.cancel();
                    const bool excused = shortcut == OrvelReturnShortcut::command && !cancelled &&
                                         (key == 54 || key == 55) && modifiers == 0;
                    EXPECT_EQ(allowance.consume(key, {modifiers}), excused) << key << ' ' << modifiers;
                    EXPECT_FALSE(allowance.consume(55, {}));
                }
    CommandReleaseAllowance allowance;
    allowance.arm(OrvelReturnShortcut::command);
    allowance.arm(OrvelReturnShortcut::plain);
    EXPECT_FALSE(allowance.consume(55, {}));
}
