#pragma once
// The files of a simulated desktop. They lie on the real disk, so that whatever reads files finds them, but
// replacing one takes the time of the simulated clock, can fail, and ends with the process.

#include "Orvel/desktop/FileStore.h"
#include "Orvel/runtime/MainLoop.h"

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace orvel {

class SimulatedFileStore : public FileStore {
  public:
    /// The loop outlives this object.
    explicit SimulatedFileStore(MainLoop& loop) : loop(loop) {}
    ~SimulatedFileStore() override { die(); }

    /// What a replacement takes that begins from now on: one half until the new contents are in their place,
    /// the other until that is told.
    MainLoop::Duration duration{0};

    /// While this is set, every replacement fails for lack of space.
    bool isFull = false;

    /// Called before new contents take their place, and refuses them by throwing; and afterwards.
    std::function<void(const std::string&path)> beforeReplacing, afterReplacing;

    /// The process ends: what is not in its place never gets there, and nobody is told of anything any more.
    void die();
    /// Another process begins.
    void startAgain() { isDead = false; }

    using FileStore::replaceFile;
    Task<void> replaceFile(std::string path, std::shared_ptr<FileContents> contents) override;
    Task<void> expectContents(std::string path, std::shared_ptr<FileContents> contents) override;

    /// How many replacements are under way or wait for their turn.
    std::size_t underWay() const;

    /// Writes a file where it is, making its folder; takes no time.
    static void write(const std::string& path, std::string_view contents);
    /// Puts a file in the place of another; takes no time.
    static void replace(const std::string& path, std::string_view contents);

  private:
    struct Job;

    void startNext(const std::string& path);
    void replaceNow(const std::string& path, FileContents& contents);
    void put(const std::shared_ptr<Job>& job);
    void finish(const std::shared_ptr<Job>& job);

    MainLoop& loop;
    std::map<std::string, std::deque<std::shared_ptr<Job>>> queues; ///< By path; the first is under way.
    bool isDead = false;
};

} // namespace orvel
