#pragma once

#include <QStringList>
#include <functional>

namespace zor {

// Keeps one running app per user: a later start hands its arguments to the
// running app and ends.
class SingleInstance {
public:
    enum class Role {
        running,       // this process is the app; later starts reach it
        handedOver,    // another process is the app and has the arguments; end quietly
        notHandedOver, // another process is the app but did not take them; the user
                       // has been told why; end with a failure status
    };
    using Receiver = std::function<void(const QStringList& arguments)>;

    virtual ~SingleInstance() = default;

    // Called once, on the main thread, before any window exists. When this
    // process runs the app, `receiver` gets, on the main thread, the arguments
    // of each later start; it must treat them as untrusted text.
    virtual Role start(const QStringList& arguments, Receiver receiver) = 0;
    // Hands the arguments to the running app without ever becoming it, where
    // this process cannot: `running` when no app runs to take them.
    virtual Role handOver(const QStringList& arguments) = 0;

    // Called as the app quits, on the main thread: later starts no longer
    // reach this process, where their links would be lost, and run the app
    // themselves.
    virtual void stop() = 0;
};

// Where the system itself starts the app only once and delivers later opens
// to it, every process runs the app.
class SystemSingleInstance final : public SingleInstance {
public:
    Role start(const QStringList&, Receiver) override { return Role::running; }
    Role handOver(const QStringList&) override { return Role::running; }
    void stop() override {}
};

} // namespace zor
