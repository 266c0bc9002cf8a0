#pragma once

#include <QByteArray>

#include <optional>

namespace frameflow {

// By what right a program comes to the front: given to it by the one that had the keyboard when a person asked for it.
struct LaunchToken
{
    QByteArray startupId; // as X11 knows it; empty for none
    QByteArray activationToken; // as Wayland knows it; empty for none

    // What this program was started with. Before the toolkit starts, which takes it away.
    static LaunchToken fromEnvironment();
    // No token for what is none: too long, or no text.
    static QByteArray checked(const QByteArray& token);

    // The moment of the person's wish by the X server's clock; absent where the startup id does not say.
    std::optional<quint32> time() const;

    friend bool operator==(const LaunchToken& a, const LaunchToken& b)
    {
        return a.startupId == b.startupId && a.activationToken == b.activationToken;
    }
};

} // namespace frameflow
