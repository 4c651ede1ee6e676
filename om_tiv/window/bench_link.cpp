#include "window/bench_link.h"

#include "control/bench_client.h"
#include "control/bench_path.h"
#include "world/degrees.h"

#include <algorithm>
#include <chrono>

namespace benchwindow {

namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using om::bench::BenchClient;
using om::bench::degreesPerRadian;

constexpr std::chrono::milliseconds searchPeriod = 400ms;
constexpr std::chrono::milliseconds lookPeriod = 33ms;
constexpr std::chrono::milliseconds quietLookPeriod = 200ms;
constexpr std::chrono::milliseconds unwatchedLookPeriod = 1s;
constexpr auto quietAfter = 1s;
constexpr auto farewell = 1s; ///< time for the remaining requests at the end
constexpr int looksPerField = 10;

} // namespace

BenchLink::BenchLink(const QString& socket, QObject* parent)
    : QObject(parent), m_socket(socket.isEmpty() ? om::bench::namedPath() : socket.toStdString())
{}

void BenchLink::start()
{
    m_thread = std::thread([this] { run(); });
}

BenchLink::~BenchLink()
{
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_stopping = true;
        m_wake.notify_all();
        if (!m_wake.wait_for(lock, farewell, [this] { return m_client == nullptr; })) {
            m_client->interrupt();
        }
    }
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

std::uint64_t BenchLink::send(const json& request, const std::string& key)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_lastTicket;
    if (m_client != nullptr) {
        const auto same =
            std::find_if(m_requests.begin(), m_requests.end(), [&](const QueuedRequest& queued) {
                return !key.empty() && queued.key == key;
            });
        if (same != m_requests.end()) {
            same->request = request;
        } else {
            m_requests.push_back({key, request});
        }
        m_wake.notify_all();
    }
    return m_lastTicket;
}

std::uint64_t BenchLink::setPose(unsigned int serial, const om::bench::Quaternion& pose,
                                 const om::bench::Vector& spin, double glide)
{
    return send(
        {{"command", "pose"},
         {"serialNumber", serial},
         {"pose", {{"quaternion", {pose.x, pose.y, pose.z, pose.w}}}},
         {"spin",
          {degreesPerRadian * spin.x, degreesPerRadian * spin.y, degreesPerRadian * spin.z}},
         {"glide", glide}},
        "pose " + std::to_string(serial));
}

void BenchLink::choose(const QString& path)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const std::string chosen = path.toStdString();
    if (m_client != nullptr && chosen != m_chosen) {
        m_client->interrupt(); // the former choice may be a program that does not answer
    }
    m_chosen = chosen;
    m_wake.notify_all();
}

void BenchLink::setWatched(bool watched)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_watched = watched;
    m_looksAtOnce = watched;
    m_wake.notify_all();
}

Snapshot BenchLink::snapshot() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_announced = false;
    return m_snapshot;
}

void BenchLink::run()
{
    for (;;) {
        std::unique_lock<std::mutex> lock(m_mutex);
        const std::string chosen = m_chosen;
        lock.unlock();
        std::unique_ptr<BenchClient> client = findBench();
        lock.lock();
        if (!client) {
            m_wake.wait_for(lock, searchPeriod, [&] { return m_stopping || m_chosen != chosen; });
        }
        if (m_stopping) {
            return;
        }
        // A choice during the search comes first: the bench that was found may not answer.
        if (client && m_chosen == chosen) {
            m_client = client.get();
            m_requests.clear();
            lock.unlock();
            serve(*client);
            lock.lock();
            m_client = nullptr;
            m_wake.notify_all();
            if (m_stopping) {
                return;
            }
        }
    }
}

std::unique_ptr<BenchClient> BenchLink::findBench()
{
    std::string error;
    m_path = m_socket;
    m_choices.clear();
    if (m_path.empty()) {
        const std::vector<std::string> running = BenchClient::running();
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (std::find(running.begin(), running.end(), m_chosen) != running.end()) {
                m_path = m_chosen;
            } else if (running.size() == 1) {
                m_path = running.front();
            }
        }
        if (running.size() > 1) {
            for (const std::string& path : running) {
                m_choices << QString::fromStdString(path);
            }
        }
        if (m_path.empty()) {
            reportSearching({});
            return nullptr;
        }
    }
    auto client = BenchClient::connect(m_path, error, BenchClient::WAIT::NO);
    if (!client) {
        reportSearching(error);
    }
    return client;
}

void BenchLink::reportSearching(const std::string& reason)
{
    if (reason != m_lastReason || m_choices != m_lastChoices) {
        m_lastReason = reason;
        m_lastChoices = m_choices;
        emit searching(QString::fromStdString(reason), m_choices);
    }
}

void BenchLink::serve(BenchClient& client)
{
    m_field = json();
    m_isNew = true;
    bool reported = false;
    auto next = std::chrono::steady_clock::now();
    m_lastChange = next;
    for (;;) {
        json request;
        std::uint64_t ticket = 0;
        bool watched = true;
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_wake.wait_until(
                lock, next, [this] { return m_stopping || m_looksAtOnce || !m_requests.empty(); });
            m_looksAtOnce = false;
            watched = m_watched;
            if (!m_requests.empty()) {
                request = m_requests.front().request;
                m_requests.pop_front();
            } else if (m_stopping) {
                return;
            }
            // Without a queued request all of them have been executed.
            ticket = m_lastTicket;
        }
        std::string error;
        bool alive = false;
        if (!request.is_null()) {
            alive = deliver(client, request, error);
            m_lastChange = std::chrono::steady_clock::now();
            next = std::min(next, m_lastChange + lookPeriod);
        } else {
            alive = look(client, ticket, error);
            next = std::chrono::steady_clock::now() + (!watched    ? unwatchedLookPeriod
                                                       : isQuiet() ? quietLookPeriod
                                                                   : lookPeriod);
        }
        if (!alive) {
            if (reported) {
                emit lost(QString::fromStdString(error));
            } else {
                reportSearching(error);
            }
            // After an invalid answer the thread waits, so that it does not repeat the request
            // without a pause.
            std::unique_lock<std::mutex> lock(m_mutex);
            m_wake.wait_for(lock, searchPeriod, [this] { return m_stopping; });
            return;
        }
        if (!reported) {
            reported = true;
            m_lastReason.reset();
            emit connected(QString::fromStdString(m_path));
        }
    }
}

bool BenchLink::deliver(BenchClient& client, const json& request, std::string& error)
{
    json answer;
    if (!client.ask(request, answer, error)) {
        return false;
    }
    const auto ok = answer.find("ok");
    if (ok == answer.end() || *ok != true) {
        const auto why = answer.find("error");
        emit refused(why != answer.end() && why->is_string()
                         ? QString::fromStdString(why->get<std::string>())
                         : tr("refused without a reason"));
    }
    if (request.value("command", "") == "field") {
        m_looks = 0;
        m_field = answer.contains("field") ? answer : m_field;
    }
    return true;
}

bool BenchLink::isQuiet() const
{
    return std::chrono::steady_clock::now() - m_lastChange >= quietAfter;
}

bool BenchLink::look(BenchClient& client, std::uint64_t ticket, std::string& error)
{
    if (m_field.is_null() || ++m_looks >= looksPerField || isQuiet()) {
        m_looks = 0;
        if (!client.ask({{"command", "field"}}, m_field, error)) {
            return false;
        }
    }
    json list;
    if (!client.ask({{"command", "list"}}, list, error)) {
        return false;
    }
    Snapshot snapshot;
    try {
        snapshot = readSnapshot(list, m_field);
    } catch (const json::exception&) {
        error = om::bench::invalidAnswer;
        return false;
    }
    snapshot.ticket = ticket;
    bool announce = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_isNew && isSame(snapshot, m_snapshot)) {
            return true;
        }
        m_snapshot = std::move(snapshot);
        announce = !m_announced;
        m_announced = true;
    }
    m_isNew = false;
    m_lastChange = std::chrono::steady_clock::now();
    if (announce) {
        emit changed();
    }
    return true;
}

} // namespace benchwindow
