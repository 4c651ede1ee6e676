/// @file
/// The window's connection to the bench of a running program.
#pragma once

#include "window/snapshot.h"

#include "world/geometry.h"

#include <QObject>
#include <QStringList>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace om::bench {
class BenchClient;
}

namespace benchwindow {

/// Finds the running program, asks it some thirty times a second how its bench stands, and carries
/// orders to it. All talk is done on a thread of its own: no call here waits for the program.
///
/// The signals are sent on that thread; connected to objects of the interface thread they arrive
/// there. Operations: interface thread.
class BenchLink : public QObject
{
    Q_OBJECT

public:
    /// @param socket the control socket; empty takes OM_TIV_CONTROL, or finds the program that runs
    explicit BenchLink(const QString& socket = {}, QObject* parent = nullptr);
    /// Orders that were given are still delivered, unless the program does not answer.
    ~BenchLink() override;

    /// Begins; once, after the signals are connected.
    void start();

    /// Gives an order, a request of docs/bench-control.md. With a key it takes the place of one
    /// with the same key that has not been delivered yet. Without a connection nothing happens.
    /// @return its ticket, larger than all before it
    std::uint64_t send(const nlohmann::json& request, const std::string& key = {});

    /// Turns a camera to a pose within the glide (seconds), from where it turns on at the spin
    /// (rad/s, body frame).
    std::uint64_t setPose(unsigned int serial, const om::bench::Quaternion& pose,
                          const om::bench::Vector& spin, double glide);

    /// Where several programs run: which one to take.
    void choose(const QString& path);

    /// The newest state; changed() tells of it.
    Snapshot snapshot() const;

signals:
    void searching(const QString& reason, const QStringList& choices); ///< at each change of these
    void connected(const QString& path);
    void lost(const QString& reason);
    void refused(const QString& reason); ///< an order
    void changed();                      ///< once until snapshot() is taken

private:
    struct Order
    {
        std::string key;
        nlohmann::json request;
    };

    void run();
    std::unique_ptr<om::bench::BenchClient> findBench();
    void tellSearching(const std::string& reason, const QStringList& choices);
    void serve(om::bench::BenchClient& client);
    bool deliver(om::bench::BenchClient& client, const nlohmann::json& request, std::string& error);
    bool look(om::bench::BenchClient& client, std::uint64_t ticket, std::string& error);

    const std::string m_socket;

    mutable std::mutex m_mutex; ///< guards what follows
    std::condition_variable m_wake;
    bool m_stopping = false;
    om::bench::BenchClient* m_client = nullptr; ///< while connected
    std::string m_chosen;
    std::deque<Order> m_orders;
    std::uint64_t m_lastTicket = 0;
    Snapshot m_snapshot;
    mutable bool m_told = false; ///< changed() has been sent and snapshot() not been taken

    // The thread's own.
    std::string m_path; ///< of the client
    std::string m_toldReason;
    QStringList m_toldChoices;
    nlohmann::json m_field;
    int m_looks = 0; ///< since the field was asked for

    std::thread m_thread;
};

} // namespace benchwindow
