#include "bench/loader.h"

#include <algorithm>
#include <utility>

namespace om::bench {

namespace {

/// Maximum number of ended jobs whose status was not read.
constexpr std::size_t mostEnded = 64;

} // namespace

bool Loader::Job::has(unsigned int serial) const
{
    return std::any_of(description.cameras.begin(), description.cameras.end(),
                       [serial](const CameraConfig& c) { return c.serialNumber == serial; });
}

double Loader::Job::part() const
{
    const auto bytes = static_cast<double>(progress.bytes.load());
    return bytes > 0.0 ? std::min(static_cast<double>(progress.read.load()) / bytes, 1.0) : 0.0;
}

Loader::~Loader()
{
    stop();
}

bool Loader::start(BenchDescription description, const std::string& name, Finish finish)
{
    auto job = std::make_shared<Job>();
    job->description = std::move(description);
    job->name = name;
    job->finish = std::move(finish);
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_atAnEnd) {
        return false;
    }
    const auto ended = [](const JobPtr& j) { return j->ended; };
    if (static_cast<std::size_t>(std::count_if(m_jobs.begin(), m_jobs.end(), ended)) >= mostEnded) {
        m_jobs.erase(std::find_if(m_jobs.begin(), m_jobs.end(), ended));
    }
    m_jobs.push_back(std::move(job));
    if (!m_thread.joinable()) {
        m_thread = std::thread([this] { run(); });
    }
    m_changed.notify_all();
    return true;
}

void Loader::run()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        JobPtr job;
        m_changed.wait(lock, [this, &job] {
            const auto next = std::find_if(m_jobs.begin(), m_jobs.end(),
                                           [](const JobPtr& j) { return !j->ended; });
            job = next != m_jobs.end() ? *next : nullptr;
            return m_stopping || job;
        });
        if (m_stopping) {
            return;
        }
        const std::function<void()> hook = m_hook;
        lock.unlock();
        if (hook) {
            hook();
        }
        // A copy, because other threads read the cameras for their status.
        BenchDescription description = job->description;
        std::string error;
        const bool whole = readRecordings(description, job->name, error, &job->progress);
        lock.lock();
        job->finishing = !job->progress.cancelled.load() && (whole || !error.empty());
        if (job->finishing) {
            lock.unlock();
            const std::string problem = job->finish(description, error);
            lock.lock();
            job->error = problem;
        } else {
            job->error = "it was removed before it had been read";
        }
        job->ended = true;
    }
}

std::optional<Loader::Status> Loader::takeStatus(unsigned int serial)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = std::find_if(m_jobs.rbegin(), m_jobs.rend(),
                                    [serial](const JobPtr& j) { return j->has(serial); });
    if (found == m_jobs.rend()) {
        return std::nullopt;
    }
    const JobPtr job = *found;
    if (job->ended) {
        m_jobs.erase(std::next(found).base());
    }
    return Status{!job->ended, job->part(), job->error};
}

bool Loader::isReading(unsigned int serial) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return std::any_of(m_jobs.begin(), m_jobs.end(), [serial](const JobPtr& j) {
        return !j->ended && !j->progress.cancelled.load() && j->has(serial);
    });
}

std::optional<unsigned int> Loader::cameraWithId(int id) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const JobPtr& job : m_jobs) {
        for (const CameraConfig& camera : job->description.cameras) {
            if (!job->ended && !job->progress.cancelled.load() && camera.id == id) {
                return camera.serialNumber;
            }
        }
    }
    return std::nullopt;
}

std::size_t Loader::camerasToCome() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::size_t count = 0;
    for (const JobPtr& job : m_jobs) {
        count += job->ended ? 0 : job->description.cameras.size();
    }
    return count;
}

std::optional<double> Loader::part() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    double sum = 0.0;
    int reading = 0;
    for (const JobPtr& job : m_jobs) {
        if (!job->ended) {
            sum += job->part();
            ++reading;
        }
    }
    return reading > 0 ? std::optional<double>(sum / reading) : std::nullopt;
}

bool Loader::cancel(unsigned int serial)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = std::find_if(m_jobs.begin(), m_jobs.end(), [serial](const JobPtr& j) {
        return !j->ended && !j->finishing && !j->progress.cancelled.load() &&
               j->description.cameras.size() == 1 && j->has(serial);
    });
    if (found == m_jobs.end()) {
        return false;
    }
    (*found)->progress.cancelled.store(true);
    return true;
}

void Loader::end()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_atAnEnd = true;
    }
    stop();
}

void Loader::stop()
{
    std::thread ending;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (const JobPtr& job : m_jobs) {
            job->progress.cancelled.store(true);
        }
        m_stopping = true;
        ending.swap(m_thread);
        m_changed.notify_all();
    }
    if (ending.joinable()) {
        ending.join();
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_stopping = false;
    m_jobs.clear();
}

void Loader::setHook(std::function<void()> hook)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_hook = std::move(hook);
}

} // namespace om::bench
