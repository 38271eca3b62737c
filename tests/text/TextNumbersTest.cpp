#include "OrvelCore/text/TextNumbers.h"

#include <map>
#include <string>

#include <rapidcheck/gtest.h>

using namespace orvel;

RC_GTEST_PROP(TextNumbers, CountDistinctTextsInTheOrderInWhichTheyCome, ()) {
    const auto range = *rc::gen::element(5, 500, 50'000); // Many repetitions, some, hardly any.
    const auto steps = *rc::gen::inRange(0, 3'000);
    const auto seed = *rc::gen::inRange<unsigned>(0, 1'000'000);
    TextNumbers numbers;
    std::map<std::string, TextNumbers::Number> known;
    unsigned state = seed;
    for (int i = 0; i < steps; ++i) {
        state = state * 1'664'525 + 1'013'904'223;
        const auto value = state / 65'536 % static_cast<unsigned>(range);
        const auto text = value == 0 ? std::string() : std::to_string(value);
        const auto expected =
            known.try_emplace(text, static_cast<TextNumbers::Number>(known.size())).first->second;
        RC_ASSERT(numbers.numberOf(text) == expected);
    }
}
