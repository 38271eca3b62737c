#include "Orvel/platform/mac/MacApplications.h"

#include "Orvel/platform/mac/FoundationText.h"
#include "Orvel/platform/mac/MacBundle.h"

#include <algorithm>
#include <limits>
#include <mutex>
#include <utility>

#include <unistd.h>

#import <AppKit/AppKit.h>

namespace orvel {

namespace {

std::optional<std::string> nonEmpty(NSString* _Nullable text) {
    auto result = utf8Text(text);
    return result.empty() ? std::nullopt : std::optional(std::move(result));
}

// One that has ended has no process any more.
std::optional<RunningApplication> described(NSRunningApplication* _Nullable application) {
    if (!application || application.terminated || application.processIdentifier <= 0) return std::nullopt;
    return RunningApplication{.bundleID = nonEmpty(application.bundleIdentifier),
                              .process = application.processIdentifier};
}

NSRunningApplication* _Nullable found(ProcessID process) {
    NSRunningApplication* const application =
        [NSRunningApplication runningApplicationWithProcessIdentifier:process];
    return described(application) ? application : nil;
}

// In seconds; the system doesn't tell it of what it has started itself, which is taken for the first.
double startOf(NSRunningApplication* application) {
    NSDate* const date = application.launchDate;
    return date ? date.timeIntervalSinceReferenceDate : std::numeric_limits<double>::lowest();
}

// The answer comes on any thread.
void startOpening(const std::string& location, const std::function<void(bool isRunning)>& answer) {
    NSString* const path = location.starts_with('/') ? foundationText(location) : nil;
    if (!path) return answer(false);
    const auto kept = answer; // A block would hold the reference.
    NSWorkspaceOpenConfiguration* const configuration = [NSWorkspaceOpenConfiguration configuration];
    configuration.activates = YES;
    [[NSWorkspace sharedWorkspace]
        openApplicationAtURL:[NSURL fileURLWithPath:path]
               configuration:configuration
           completionHandler:^(NSRunningApplication* _Nullable application, NSError* _Nullable error) {
             kept(application != nil && error == nil);
           }];
}

} // namespace

// Takes answers to the loop, until the loop may be gone.
struct MacApplications::Answers {
    explicit Answers(MainLoop& loop) : loop(&loop) {}

    void post(std::function<void()> action) {
        const std::lock_guard lock(mutex);
        if (loop) loop->post(std::move(action));
    }
    void shut() {
        const std::lock_guard lock(mutex);
        loop = nullptr;
    }

    std::mutex mutex;
    MainLoop* loop;
};

// Waits for the first of the system's answer and the limit. Lives in the frame of the waiting coroutine.
class MacApplications::Opening {
  public:
    Opening(MainLoop& loop, std::shared_ptr<Answers> answers, std::string location)
        : loop(loop), answers(std::move(answers)), location(std::move(location)) {}
    Opening(const Opening&) = delete;
    Opening& operator=(const Opening&) = delete;
    ~Opening() {
        state->waiting = nullptr;
        state->limit.reset();
    }

    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> handle) const {
        state->waiting = handle;
        state->limit = loop.after(openLimit, [state = state] { state->settle(false); });
        startOpening(location, [state = state, answers = answers](bool isRunning) {
            answers->post([state, isRunning] { state->settle(isRunning); });
        });
    }
    bool await_resume() const noexcept { return state->isRunning; }

  private:
    struct State {
        void settle(bool answer) {
            const auto next = std::exchange(waiting, nullptr);
            if (!next) return;
            isRunning = answer;
            next.resume();
        }

        std::coroutine_handle<> waiting; // Until it is settled.
        std::unique_ptr<Timer> limit;
        bool isRunning = false;
    };

    MainLoop& loop;
    std::shared_ptr<Answers> answers;
    std::string location;
    std::shared_ptr<State> state = std::make_shared<State>();
};

MacApplications::MacApplications(MainLoop& loop, Applications& own)
    : loop(loop), own(own), answers(std::make_shared<Answers>(loop)) {}

MacApplications::~MacApplications() {
    answers->shut();
}

ProcessID MacApplications::ownProcess() {
    return getpid();
}

void MacApplications::activateSelf() {
    own.activateSelf();
    [[NSApplication sharedApplication] activateIgnoringOtherApps:YES];
}

bool MacApplications::revealFile(const std::string& path) {
    return own.revealFile(path);
}

std::optional<RunningApplication> MacApplications::frontmost() {
    return described([[NSWorkspace sharedWorkspace] frontmostApplication]);
}

std::vector<RunningApplication> MacApplications::running(const std::string& bundleID) {
    NSString* const wanted = foundationText(bundleID);
    if (!wanted) return {};
    NSArray<NSRunningApplication*>* const all =
        [NSRunningApplication runningApplicationsWithBundleIdentifier:wanted];
    std::vector<std::pair<double, RunningApplication>> started;
    for (NSUInteger i = 0; i < all.count; ++i) {
        NSRunningApplication* const application = [all objectAtIndex:i];
        if (auto description = described(application))
            started.emplace_back(startOf(application), std::move(*description));
    }
    std::ranges::stable_sort(started, {}, &std::pair<double, RunningApplication>::first);
    std::vector<RunningApplication> result;
    result.reserve(started.size());
    for (auto& application : started) result.push_back(std::move(application.second));
    return result;
}

std::optional<RunningApplication> MacApplications::application(ProcessID process) {
    return described(found(process));
}

std::optional<ApplicationBundle> MacApplications::bundleOf(ProcessID process) {
    const auto path = nonEmpty(found(process).bundleURL.path);
    return path ? MacBundle::at(*path) : std::nullopt;
}

bool MacApplications::activate(ProcessID process) {
    NSRunningApplication* const other = found(process);
    if (!other) return false;
    [[NSApplication sharedApplication] yieldActivationToApplication:other];
    return [other activateFromApplication:[NSRunningApplication currentApplication] options:0];
}

std::optional<std::string> MacApplications::location(const std::string& bundleID) {
    NSString* const wanted = foundationText(bundleID);
    if (!wanted) return std::nullopt;
    return nonEmpty([[NSWorkspace sharedWorkspace] URLForApplicationWithBundleIdentifier:wanted].path);
}

std::optional<ApplicationBundle> MacApplications::bundleAt(const std::string& path) {
    return MacBundle::at(path);
}

Task<bool> MacApplications::openApplication(std::string location) {
    const Opening opening(loop, answers, std::move(location));
    const bool isRunning = co_await opening;
    co_return isRunning;
}

bool MacApplications::openURL(const std::string& url) {
    NSString* const text = foundationText(url);
    NSURL* const address = text ? [NSURL URLWithString:text] : nil;
    return address && utf8Text(address.absoluteString) == url &&
           [[NSWorkspace sharedWorkspace] openURL:address];
}

} // namespace orvel
