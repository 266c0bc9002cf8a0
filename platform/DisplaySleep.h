#pragma once

#include <QString>

#include <memory>

namespace frameflow {

// Keeps the display awake, by asking the desktop over the session's bus: its screen saver, or where there is none, its
// portal. Asking never waits; what has become of it is known a moment later. A desktop that is not there, does not
// answer or refuses leaves one line in the log for each time it was asked. Main thread only.
class DisplaySleep
{
public:
    // The reason is shown to people who ask their desktop why the display stays awake. The bus is that of the session,
    // or the one at the address.
    explicit DisplaySleep(const QString& reason, const QString& busAddress = {});
    // Lets it sleep again; waits for nobody.
    ~DisplaySleep();
    DisplaySleep(const DisplaySleep&) = delete;
    DisplaySleep& operator=(const DisplaySleep&) = delete;

    // Each does nothing when it has been done already. A request that failed is made again by the next prevent().
    void prevent();
    void allow();

    // Whether the desktop has promised to keep the display awake.
    bool isPrevented() const;

private:
    class Session;
    std::unique_ptr<Session> mSession;
};

} // namespace frameflow
