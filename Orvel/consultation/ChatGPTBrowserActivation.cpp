#include "Orvel/consultation/ChatGPTBrowserActivation.h"

#include "Orvel/desktop/Applications.h"
#include "OrvelCore/relay/RelaySendError.h"

#include <exception>

#include <fmt/format.h>

namespace orvel {

namespace {

using namespace std::chrono_literals;

constexpr std::string_view anotherInFront = "The foreground app changed. Nothing was entered in the browser.";

} // namespace

void ChatGPTBrowserActivation::look(Course& course) const {
    const auto front = ports.applications.frontmost();
    course.actual = front ? front->process : 0;
    if (!front)
        course.front = Front::none;
    else if (front->process == course.target)
        course.front = Front::browser;
    else
        course.front = front->process == ports.applications.ownProcess() ? Front::own : Front::other;
}

Task<void> ChatGPTBrowserActivation::activateSelectedBrowser(ChatGPTPage page) {
    Course course{.target = page.pid, .began = ports.loop.uptime()};
    look(course);
    course.source = course.actual;
    if (course.front != Front::own && course.front != Front::browser)
        fail(anotherInFront, "before_request", course);
    std::string_view request = "Not needed";
    if (course.front == Front::own) request = ports.applications.activate(page.pid) ? "true" : "false";
    const auto outcome = fmt::format(" Activation request={}, same view=false.", request);
    for (int check = 1; check <= maximumChecks; ++check) {
        if (check > 1) co_await ports.loop.sleep(pause);
        look(course);
        if (course.front == Front::own) continue;
        if (course.front != Front::browser)
            fail(std::string(anotherInFront) + outcome, "activation_wait", course);
        const auto failure = co_await identityFailure(page);
        if (failure) fail(*failure + outcome, "identity_check", course);
        co_return;
    }
    fail("Couldn't confirm activation of the selected Dia window. Nothing was entered." + outcome,
         "activation_timeout", course);
}

Task<std::optional<std::string>> ChatGPTBrowserActivation::identityFailure(ChatGPTPage page) {
    try {
        co_await pages.verifySamePage(page);
    } catch (const std::exception& failure) {
        co_return failure.what();
    }
    co_return std::nullopt;
}

// Other applications are not named.
void ChatGPTBrowserActivation::fail(std::string_view message, std::string_view stage,
                                    const Course& course) const {
    const auto nameOf = [](Front front) -> std::string_view {
        switch (front) {
        case Front::none: return "none";
        case Front::own: return "Orvel";
        case Front::browser: return "Dia";
        case Front::other: break;
        }
        return "other";
    };
    const bool isOwn = course.front == Front::own, isBrowser = course.front == Front::browser;
    throw RelaySendError(fmt::format(
        "{}\nstage={} front={} front_bundle={} source_pid={} target_pid={} actual_pid={} app_active={} "
        "running_active={} key_window=unknown policy=unknown elapsed={}",
        message, stage, nameOf(course.front), isBrowser ? diaBundleID : nameOf(course.front), course.source,
        course.target, course.actual, isOwn, isBrowser, (ports.loop.uptime() - course.began) / 1ms));
}

} // namespace orvel
