#include "Orvel/platform/simulated/SimulatedFileStore.h"

#include "OrvelCore/files/FileError.h"

#include <cerrno>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <utility>

namespace orvel {

struct SimulatedFileStore::Job {
    std::string path;
    std::shared_ptr<FileContents> contents;
    MainLoop::Duration duration;
    std::unique_ptr<Timer> timer;
    bool isDone = false;
    std::exception_ptr failure;
    std::coroutine_handle<> waiting;

    // Waits for the end of a job, which goes on if the waiting coroutine is destroyed.
    struct End {
        std::shared_ptr<Job> job;

        explicit End(std::shared_ptr<Job> job) : job(std::move(job)) {}
        End(const End&) = delete;
        End& operator=(const End&) = delete;
        ~End() { job->waiting = nullptr; }

        bool await_ready() const noexcept { return job->isDone; }
        void await_suspend(std::coroutine_handle<> handle) const { job->waiting = handle; }
        void await_resume() const {
            if (job->failure) std::rethrow_exception(job->failure);
        }
    };
};

void SimulatedFileStore::die() {
    isDead = true;
    for (const auto& [path, queue] : queues)
        for (const auto& job : queue) job->timer = nullptr;
    queues.clear();
}

Task<void> SimulatedFileStore::replaceFile(std::string path, std::shared_ptr<FileContents> contents) {
    const auto job = std::make_shared<Job>();
    job->path = std::move(path);
    job->contents = std::move(contents);
    job->duration = duration;
    if (!isDead) {
        auto& queue = queues[job->path];
        queue.push_back(job);
        if (queue.size() == 1) startNext(job->path);
    }
    co_await Job::End(job);
}

Task<void> SimulatedFileStore::expectContents(std::string, std::shared_ptr<FileContents>) {
    co_return;
}

void SimulatedFileStore::replaceNow(const std::string& path, FileContents& contents) {
    if (isDead) return;
    if (beforeReplacing) beforeReplacing(path);
    if (isFull) throw FileError::fromErrno(ENOSPC, "save", path);
    if (isDead) return;
    replace(path, contents.tail(nullptr).bytes);
    if (afterReplacing) afterReplacing(path);
}

std::size_t SimulatedFileStore::underWay() const {
    std::size_t count = 0;
    for (const auto& [path, queue] : queues) count += queue.size();
    return count;
}

void SimulatedFileStore::startNext(const std::string& path) {
    const auto job = queues[path].front();
    job->timer = loop.after(job->duration / 2, [this, job] { put(job); });
}

// The timer and what it holds may go with the process.
void SimulatedFileStore::put(const std::shared_ptr<Job>& started) {
    const auto job = started; // NOLINT(performance-unnecessary-copy-initialization)
    try {
        replaceNow(job->path, *job->contents);
    } catch (...) {
        job->failure = std::current_exception();
    }
    if (!isDead) job->timer = loop.after(job->duration - job->duration / 2, [this, job] { finish(job); });
}

void SimulatedFileStore::finish(const std::shared_ptr<Job>& put) {
    const auto job = put; // NOLINT(performance-unnecessary-copy-initialization)
    job->timer = nullptr;
    job->isDone = true;
    auto& queue = queues[job->path];
    queue.pop_front();
    if (!queue.empty()) startNext(job->path);
    if (job->waiting) job->waiting.resume();
}

void SimulatedFileStore::write(const std::string& path, std::string_view contents) {
    std::ofstream file(path, std::ios::binary);
    if (!file) {
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        file.open(path, std::ios::binary);
    }
    file << contents;
}

void SimulatedFileStore::replace(const std::string& path, std::string_view contents) {
    write(path + ".new", contents);
    if (std::rename((path + ".new").c_str(), path.c_str()) != 0)
        throw FileError::fromErrno(errno, "save", path);
}

} // namespace orvel
