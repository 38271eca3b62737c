// Runs the Objective-C++ sources of the macOS backend over GNUstep and the fakes of what it lacks. What it
// shows is how they speak with the frameworks; not how macOS behaves, nor who owns an object.

#include "Fakes.h"

#include <gtest/gtest.h>

orvel::Fakes& orvel::fakes() {
    static Fakes all;
    return all;
}

int main(int count, char** arguments) {
    [[NSAutoreleasePool alloc] init];
    testing::InitGoogleTest(&count, arguments);
    [NSApplication sharedApplication];
    return RUN_ALL_TESTS();
}
