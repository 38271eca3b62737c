#include "samples/SampleCodexCommand.h"

#include <gtest/gtest.h>

using namespace orvel;
using Kind = SampleCodexCommand::Kind;

TEST(SampleCodexCommand, TakesWhatTheRealOneTakes) {
    const struct {
        std::vector<std::string> arguments;
        SampleCodexCommand command;
    } cases[] = {
        {{"app-server", "proxy"}, {Kind::proxy}},
        {{"queue", "--thread", "t", "--message", "m\nn"}, {Kind::queue, "t", "m\nn"}},
        {{"queue", "--message", "m", "--thread", "t"}, {Kind::queue, "t", "m"}},
        {{"queue", "--thread", "t", "--message", "-m"}, {}},
        {{"queue", "--thread", "t", "--message", "\xFF"}, {}},
        {{"queue", "--thread", "t", "--thread", "t"}, {}},
        {{"queue", "--thread", "t"}, {}},
        {{"queue", "--thread", "t", "--text", "m"}, {}},
        {{"app-server"}, {}},
        {{"app-server", "proxy", "--x"}, {}},
        {{}, {}},
    };
    for (const auto& [arguments, command] : cases)
        EXPECT_EQ(SampleCodexCommand::parse(arguments), command) << testing::PrintToString(arguments);
}
