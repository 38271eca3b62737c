// The accessibility of the simulated desktop keeps the promises of the port, in virtual time.

#include "Orvel/platform/simulated/SimulatedDesktop.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace orvel {
namespace {

using namespace std::chrono_literals;

class SimulatedAccessibilityTest : public testing::Test {
  protected:
    SimulatedAccessibilityTest() {
        root = access.makeElement("AXApplication");
        window = access.makeElement("AXWindow");
        field = access.makeElement("AXTextArea");
        root->append(window);
        window->append(field);
        field->set("AXValue", std::string("draft"));
        field->set("AXHelp", std::monostate());
        access.setApplication(7, root);
    }

    AXStatus statusOf(const SimulatedElement::Shared& element, std::string_view name) {
        return access.attribute(element->handle(), name).status;
    }

    SimulatedDesktop desktop;
    SimulatedAccessibility& access = desktop.accessibility;
    SimulatedElement::Shared root, window, field;
};

TEST_F(SimulatedAccessibilityTest, tellsAbsentFromUnknownAndGoneFromThere) {
    EXPECT_EQ(statusOf(field, "AXValue"), AXStatus::success);
    EXPECT_EQ(statusOf(field, "AXHelp"), AXStatus::noValue);
    EXPECT_EQ(statusOf(field, "AXURL"), AXStatus::attributeUnsupported);
    field->statuses.emplace_back("AXValue", AXStatus::failure);
    EXPECT_EQ(statusOf(field, "AXValue"), AXStatus::failure);
    EXPECT_EQ(access.process(field->handle()), 7);
    EXPECT_EQ(access.attribute(access.application(8), "AXRole").status, AXStatus::invalidElement);

    window->remove();
    EXPECT_EQ(statusOf(field, "AXRole"), AXStatus::invalidElement);
    EXPECT_EQ(access.process(field->handle()), std::nullopt);
    const auto children = access.attribute(root->handle(), "AXChildren");
    EXPECT_TRUE(children.as<AXElements>()->empty());

    access.trusted = false;
    EXPECT_EQ(statusOf(root, "AXRole"), AXStatus::apiDisabled);
}

TEST_F(SimulatedAccessibilityTest, latencyIsAsMeasuredAndTheSameEveryTime) {
    const auto draw = [] {
        SimulatedChance chance(5);
        std::vector<std::chrono::nanoseconds> times;
        for (int i = 0; i < 20'000; ++i) times.push_back(SimulatedLatency().draw(chance));
        return times;
    };
    auto times = draw();
    EXPECT_EQ(times, draw());
    std::sort(times.begin(), times.end());
    EXPECT_NEAR(static_cast<double>(times[10'000].count()), 200e3, 10e3);
    EXPECT_NEAR(static_cast<double>(times[19'800].count()), 4e6, 500e3);
    EXPECT_GT(times.back(), 10ms);
    EXPECT_LE(times.back(), 20ms);
}

TEST_F(SimulatedAccessibilityTest, callEndsWithinTheElementsTimeout) {
    access.latency = {40ms, 40ms, 40ms};
    access.setMessagingTimeout(field->handle(), 15ms);
    const auto began = desktop.loop.uptime();
    EXPECT_EQ(statusOf(field, "AXValue"), AXStatus::cannotComplete);
    EXPECT_EQ(desktop.loop.uptime() - began, 15ms);
    EXPECT_EQ(statusOf(window, "AXRole"), AXStatus::success) << "the timeout is the element's alone";

    // A write that is not answered in time goes its way all the same.
    std::string written;
    field->write = [&](std::string_view, const AXValue& value) {
        written = std::get<std::string>(value);
        return AXStatus::success;
    };
    access.writeTime = 50ms;
    EXPECT_EQ(access.setAttribute(field->handle(), "AXValue", std::string("new")), AXStatus::cannotComplete);
    EXPECT_EQ(written, "new");
}

TEST_F(SimulatedAccessibilityTest, readsTogetherTakeAsLongAsTheSlowestOfThem) {
    access.latency.median = access.latency.rare = access.latency.worst = 1ms;
    const std::vector<AXRequest> requests(4, {field->handle(), "AXValue"});
    for (const bool together : {false, true}) {
        access.supportsBatches = together;
        const auto began = desktop.loop.uptime();
        const auto readings = access.attributes(requests);
        EXPECT_EQ(desktop.loop.uptime() - began < 1100us, together);
        ASSERT_EQ(readings.size(), 4U);
        EXPECT_EQ(readings.back().value, AXValue(std::string("draft")));
    }
}

// Hands on what is pasted into it.
struct PastedInto : SimulatedApplication {
    explicit PastedInto(SimulatedElement& field)
        : SimulatedApplication("app", "1", "/Applications/App.app"), field(field) {}
    void pasted(const std::string& text) override { field.write("AXValue", text); }
    SimulatedElement& field;
};

TEST_F(SimulatedAccessibilityTest, composedWriteGoesToTheKeyboardAndEndsWhenItsTextCanBeRead) {
    PastedInto application(*field);
    desktop.applications.install(application);
    desktop.applications.bringToFront(desktop.applications.start(application));
    desktop.pasteboard.copiedElsewhere("kept");
    access.composesWrites = true;
    access.writeTime = 20ms;
    access.setMessagingTimeout(field->handle(), 100ms);
    const std::tuple<const char*, MainLoop::Duration, const char*, AXStatus, MainLoop::Duration> rows[] = {
        {"shown in time", 15ms, "new", AXStatus::success, 35ms},
        {"shown too late", 90ms, "new", AXStatus::mayHaveHappened, 100ms},
        {"something else is shown", 15ms, "ne", AXStatus::mayHaveHappened, 100ms},
    };
    for (const auto& [name, shows, shown, expected, takes] : rows) {
        SCOPED_TRACE(name);
        field->set("AXValue", std::string("draft"));
        field->write = [&](std::string_view, const AXValue&) {
            desktop.loop.outside(shows, [&] { field->set("AXValue", std::string(shown)); });
            return AXStatus::success;
        };
        const auto began = desktop.loop.uptime();
        EXPECT_EQ(access.setAttribute(field->handle(), "AXValue", std::string("new")), expected);
        EXPECT_EQ(desktop.loop.uptime() - began, takes);
        EXPECT_EQ(desktop.pasteboard.text, "kept");
        desktop.loop.runFor(1s);
    }

    field->write = [](std::string_view, const AXValue&) { return AXStatus::success; };
    const auto write = [&] { return access.setAttribute(field->handle(), "AXValue", std::string("new")); };
    desktop.loop.outside(10ms, [&] { desktop.pasteboard.copiedElsewhere("copied"); });
    EXPECT_EQ(write(), AXStatus::failure) << "the clipboard is no longer ours";
    EXPECT_EQ(desktop.pasteboard.text, "copied");
    desktop.loop.outside(10ms, [&] { desktop.applications.bringToFront(SimulatedApplications::self); });
    EXPECT_EQ(write(), AXStatus::mayHaveHappened) << "another has the keyboard";
    EXPECT_EQ(desktop.applications.strayPastes, std::vector<std::string>{"new"});
}

TEST_F(SimulatedAccessibilityTest, observerDecidesWhatBecomesOfAStep) {
    const std::tuple<const char*, std::optional<AXStatus>, bool, AXStatus, int> rows[] = {
        {"as usual", std::nullopt, false, AXStatus::success, 1},
        {"refused", AXStatus::failure, false, AXStatus::failure, 0},
        {"done and denied", AXStatus::cannotComplete, true, AXStatus::cannotComplete, 1},
        {"not done and half-known", AXStatus::mayHaveHappened, false, AXStatus::mayHaveHappened, 0},
    };
    for (const auto& [name, report, happens, expected, written] : rows) {
        SCOPED_TRACE(name);
        int writes = 0;
        field->write = [&](std::string_view, const AXValue&) {
            ++writes;
            return AXStatus::success;
        };
        desktop.steps.observer = [&](SimulatedStep& step) {
            EXPECT_EQ(step.operation, "setAttribute");
            EXPECT_EQ(step.element, field->number);
            EXPECT_TRUE(step.isWrite);
            step.report = report;
            step.happens = happens;
        };
        EXPECT_EQ(access.setAttribute(field->handle(), "AXValue", std::string("x")), expected);
        EXPECT_EQ(writes, written);
    }
}

TEST_F(SimulatedAccessibilityTest, theWorldGoesOnWhileACallTakesItsTime) {
    access.latency = {2ms, 2ms, 2ms};
    desktop.loop.outside(1ms, [&] { field->set("AXValue", std::string("typed")); });
    EXPECT_EQ(*access.attribute(field->handle(), "AXValue").as<std::string>(), "typed");
    desktop.loop.outside(1ms, [&] { field->remove(); });
    EXPECT_EQ(statusOf(field, "AXValue"), AXStatus::invalidElement) << "it went during the call";
}

Task<void> searchInto(Accessibility& access, AXElement root, std::size_t limit,
                      std::optional<AXElements>& found) {
    found = co_await access.search(root, std::vector<std::string>(1, "AXTextArea"), limit);
}

TEST_F(SimulatedAccessibilityTest, hintsChangeTheCostAndNotTheResult) {
    const std::string_view names[] = {"AXRole", "AXValue"};
    EXPECT_EQ(access.readAhead(root->handle(), names, 100), nullptr);
    access.supportsReadAhead = access.supportsSearch = true;
    access.latency = {5ms, 5ms, 5ms};
    {
        const auto ahead = access.readAhead(root->handle(), names, 100);
        desktop.loop.spend(10ms); // The fetch has arrived.
        field->set("AXValue", std::string("typed since"));
        const auto began = desktop.loop.uptime();
        EXPECT_EQ(*access.attribute(field->handle(), "AXValue").as<std::string>(), "draft");
        EXPECT_LT(desktop.loop.uptime() - began, 1ms);
        EXPECT_EQ(*access.attribute(field->handle(), "AXValue").as<std::string>(), "typed since");
        EXPECT_GE(desktop.loop.uptime() - began, 2ms) << "each attribute is answered once from the fetch";
    }
    const auto began = desktop.loop.uptime();
    EXPECT_EQ(statusOf(field, "AXRole"), AXStatus::success);
    EXPECT_GE(desktop.loop.uptime() - began, 2ms);

    for (const auto& [limit, finds] : {std::pair{3U, true}, std::pair{2U, false}}) {
        TaskScope scope;
        std::optional<AXElements> found;
        scope.start(searchInto(access, root->handle(), limit, found));
        desktop.loop.run();
        EXPECT_EQ(found, finds ? std::optional(AXElements{field->handle()}) : std::nullopt);
    }
}

} // namespace
} // namespace orvel
