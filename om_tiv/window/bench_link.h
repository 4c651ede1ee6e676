/// @file
/// The window's connection to the bench of a running program.
#pragma once

#include "window/snapshot.h"

#include "world/geometry.h"

#include <QObject>
#include <QStringList>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace om::bench {
class BenchClient;
}

namespace benchwindow {

/// Finds the running program, reads the state of its bench, and sends requests to it. All
/// communication is on a separate thread: no call here waits for the program.
///
/// It reads the state about thirty times a second while it changes, five times a second after a
/// second without a change or request, and once a second while nobody watches.
///
/// The signals are emitted on that thread; connections to objects of the interface thread are
/// queued. Operations: interface thread.
class BenchLink : public QObject
{
    Q_OBJECT

public:
    /// @param socket the control socket; empty uses OM_TIV_CONTROL, or finds the running program
    explicit BenchLink(const QString& socket = {}, QObject* parent = nullptr);
    /// Sends the remaining requests first, unless the program does not answer.
    ~BenchLink() override;

    /// Starts the thread; once, after the signals are connected.
    void start();

    /// Queues a request (docs/bench-control.md). It replaces a queued request with the same key, if
    /// it has a key. Without a connection nothing happens.
    /// @return its ticket, larger than all previous ones
    std::uint64_t send(const nlohmann::json& request, const std::string& key = {});

    /// Turns a camera to a pose within the glide (seconds), after which it continues to turn with
    /// the spin (rad/s, body frame).
    std::uint64_t setPose(unsigned int serial, const om::bench::Quaternion& pose,
                          const om::bench::Vector& spin, double glide);

    /// Selects one of several running programs.
    void choose(const QString& path);

    /// Whether the state is shown; at first it is.
    void setWatched(bool watched);

    /// The newest state; changed() announces it.
    Snapshot snapshot() const;

signals:
    /// At each change of the arguments.
    /// @param reason why the program cannot be used; empty if none runs or one must be chosen
    /// @param choices the running programs if there are several
    void searching(const QString& reason, const QStringList& choices);
    void connected(const QString& path);
    void lost(const QString& reason);
    void refused(const QString& reason); ///< a request was refused
    void changed(); ///< the state or its ticket; once until snapshot() is called

private:
    struct QueuedRequest
    {
        std::string key;
        nlohmann::json request;
    };

    void run();
    std::unique_ptr<om::bench::BenchClient> findBench();
    void reportSearching(const std::string& reason);
    void serve(om::bench::BenchClient& client);
    bool deliver(om::bench::BenchClient& client, const nlohmann::json& request, std::string& error);
    bool look(om::bench::BenchClient& client, std::uint64_t ticket, std::string& error);
    bool isQuiet() const;

    const std::string m_socket;

    mutable std::mutex m_mutex; ///< guards the following members
    std::condition_variable m_wake;
    bool m_stopping = false;
    bool m_watched = true;
    bool m_looksAtOnce = false;                 ///< watched again
    om::bench::BenchClient* m_client = nullptr; ///< while connected
    std::string m_chosen;
    std::deque<QueuedRequest> m_requests;
    std::uint64_t m_lastTicket = 0;
    Snapshot m_snapshot;
    mutable bool m_announced = false; ///< changed() was emitted and snapshot() not called yet

    // Used only by the thread.
    std::string m_path;                      ///< of the client
    QStringList m_choices;                   ///< the running programs if there are several
    std::optional<std::string> m_lastReason; ///< of searching() since the last connected()
    QStringList m_lastChoices;
    nlohmann::json m_field;
    bool m_isNew = true;                                ///< the connection: no state was read yet
    std::chrono::steady_clock::time_point m_lastChange; ///< or request
    int m_looks = 0;                                    ///< polls since the field was last read

    std::thread m_thread;
};

} // namespace benchwindow
