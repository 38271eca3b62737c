#include "Orvel/platform/linux/AtSpiReadAhead.h"

#include "Orvel/platform/linux/AtSpiElement.h"

#include <algorithm>
#include <iterator>
#include <system_error>
#include <utility>

namespace orvel {

namespace {

constexpr std::string_view children = "AXChildren";
// So many that the program always has some to answer, and so few that nobody waits long for the first of
// them.
constexpr std::size_t pieceSize = 48;

bool isAnswer(AXStatus status) {
    return status == AXStatus::success || status == AXStatus::noValue ||
           status == AXStatus::attributeUnsupported;
}

} // namespace

class AtSpiReadAhead::Held : public AXReadAhead {
  public:
    Held(AtSpiReadAhead& owner, std::shared_ptr<Job> job) : owner(owner), job(std::move(job)) {}
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    ~Held() override { owner.end(job); }

  private:
    AtSpiReadAhead& owner;
    std::shared_ptr<Job> job;
};

AtSpiReadAhead::~AtSpiReadAhead() {
    {
        const std::lock_guard lock(mutex);
        isStopping = true;
    }
    changed.notify_all();
    if (thread.joinable()) thread.join();
}

std::unique_ptr<AXReadAhead>
AtSpiReadAhead::begin(const BusReference& root, std::span<const std::string_view> names, std::size_t limit) {
    auto job = std::make_shared<Job>();
    job->root = root;
    job->names.assign(names.begin(), names.end());
    job->limit = limit;
    const bool readsTree = std::find(names.begin(), names.end(), children) != names.end();
    {
        const std::lock_guard lock(mutex);
        job->isTreeKnown = !readsTree && (limit == 1 || (!lastTree.empty() && lastTree.front() == root));
        queue(*job, root);
        if (job->isTreeKnown)
            for (std::size_t i = 1; i < lastTree.size() && limit > 1; ++i) queue(*job, lastTree[i]);
        try {
            if (!thread.joinable()) thread = std::thread([this] { run(); });
        } catch (const std::system_error&) {
            return nullptr;
        }
        jobs.push_back(job);
    }
    changed.notify_all();
    return std::make_unique<Held>(*this, std::move(job));
}

void AtSpiReadAhead::queue(Job& job, const BusReference& object) {
    if (job.queue.size() >= job.limit) return;
    const bool isNew = job.entries.try_emplace(object, Entry{job.queue.size(), {}, {}}).second;
    if (isNew) job.queue.push_back(object);
}

void AtSpiReadAhead::end(const std::shared_ptr<Job>& job) {
    const std::lock_guard lock(mutex);
    job->isOver = true;
    jobs.remove(job);
    changed.notify_all();
}

std::optional<AXReading> AtSpiReadAhead::take(const BusReference& object, std::string_view name,
                                              BusDeadline deadline) {
    std::unique_lock lock(mutex);
    for (const auto& each : jobs) {
        const auto found = each->entries.find(object);
        const auto wanted = std::find(each->names.begin(), each->names.end(), name);
        if (found == each->entries.end() || wanted == each->names.end()) continue;
        const auto job = each; // Whoever waits may be left by the others.
        auto& entry = found->second;
        const auto number = static_cast<std::size_t>(wanted - job->names.begin());
        entry.isTaken.resize(job->names.size());
        if (entry.isTaken[number]) continue;
        entry.isTaken[number] = true;
        const auto isDecided = [&] { return !entry.readings.empty() || job->isOver; };
        if (!isDecided() && entry.place >= job->next + pieceSize) return std::nullopt;
        // Asked at the same time, the program would answer later still.
        if (!changed.wait_until(lock, deadline, isDecided) || entry.readings.empty()) return std::nullopt;
        auto& reading = entry.readings[number];
        return isAnswer(reading.status) ? std::optional(std::move(reading)) : std::nullopt;
    }
    return std::nullopt;
}

void AtSpiReadAhead::run() {
    std::unique_lock lock(mutex);
    while (!isStopping) {
        const auto pieces = nextPieces();
        if (pieces.empty())
            changed.wait(lock);
        else
            fetch(pieces, lock);
    }
}

// What is asked for together: of one program, and of several jobs where one has too little.
std::vector<AtSpiReadAhead::Piece> AtSpiReadAhead::nextPieces() {
    std::vector<Piece> pieces;
    std::size_t count = 0;
    for (const auto& job : jobs) {
        const bool isOfAnother = !pieces.empty() && pieces.front().job->root.name != job->root.name;
        if (job->isOver || isOfAnother || count == pieceSize) continue;
        const auto to = std::min(job->queue.size(), job->next + pieceSize - count);
        if (to == job->next) continue;
        pieces.push_back({job, job->next, to});
        count += to - job->next;
        job->next = to;
    }
    return pieces;
}

// Among the readings of an element, behind those that were announced if they aren't; nothing if they aren't
// needed.
std::optional<std::size_t> AtSpiReadAhead::placeOfChildren(const Job& job) {
    if (job.isTreeKnown) return std::nullopt;
    const auto found = std::find(job.names.begin(), job.names.end(), children);
    return static_cast<std::size_t>(found - job.names.begin());
}

void AtSpiReadAhead::fetch(const std::vector<Piece>& pieces, std::unique_lock<std::mutex>& lock) {
    std::vector<Wanted> wanted;
    for (const auto& [job, from, to] : pieces) {
        for (auto place = from; place < to; ++place) {
            for (const auto& name : job->names) wanted.push_back({job->queue[place], name});
            if (placeOfChildren(*job) == job->names.size()) wanted.push_back({job->queue[place], children});
        }
    }
    lock.unlock();
    auto readings = read(wanted);
    lock.lock();
    const auto hasAnswer = [](const AXReading& reading) { return isAnswer(reading.status); };
    const bool isDead = std::none_of(readings.begin(), readings.end(), hasAnswer);
    std::span<AXReading> rest(readings);
    for (const auto& [job, from, to] : pieces) {
        const auto each = job->names.size() + (placeOfChildren(*job) == job->names.size() ? 1 : 0);
        for (auto place = from; place < to; ++place, rest = rest.subspan(each))
            store(*job, place, rest.first(each));
        if (isDead) job->isOver = true; // Nobody waits for a program that doesn't answer.
        const bool isWhole = job->next == job->queue.size() && !job->isOver;
        if (isWhole && !job->isTreeKnown && job->queue.size() < job->limit) lastTree = job->queue;
    }
    changed.notify_all();
}

void AtSpiReadAhead::store(Job& job, std::size_t place, std::span<AXReading> readings) {
    if (const auto at = placeOfChildren(job)) {
        if (const auto* below = readings[*at].as<AXElements>())
            for (const auto& child : *below)
                if (const auto* known = dynamic_cast<const AtSpiElement*>(&child.identity()))
                    queue(job, known->object);
    }
    auto& entry = job.entries.at(job.queue[place]);
    entry.readings.assign(
        std::make_move_iterator(readings.begin()),
        std::make_move_iterator(readings.begin() + static_cast<std::ptrdiff_t>(job.names.size())));
}

} // namespace orvel
