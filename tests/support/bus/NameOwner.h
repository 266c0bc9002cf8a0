#pragma once

#include <QDBusConnection>
#include <QDBusContext>
#include <QList>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

namespace frameflow {

// What the owner of the program's name does when it is called.
enum class OwnerAnswer
{
    Yes,
    No, // with an error
    Never,
};

// Some other program that has the program's name on a bus, and what it is asked for.
class NameOwner : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    // Ends the program (qFatal) when the bus does not give it the name.
    NameOwner(const QString& busAddress, OwnerAnswer answer = OwnerAnswer::Yes);
    ~NameOwner() override;

    // Each call as one text: the method and its parameters but the last.
    const QStringList& calls() const { return mCalls; }
    const QVariantMap& lastPlatformData() const { return mPlatformData; }

public Q_SLOTS: // the interface on the bus
    void Activate(const QVariantMap& platformData);
    void Open(const QStringList& urls, const QVariantMap& platformData);

private:
    void called(const QString& text, const QVariantMap& platformData);

    QString mName;
    QDBusConnection mBus;
    OwnerAnswer mAnswer;
    QStringList mCalls;
    QVariantMap mPlatformData;
};

// Speaks on a bus as a desktop does that has the program show something. A call that the program does not answer within
// fifteen seconds has failed.
class DesktopCaller
{
public:
    // Ends the program (qFatal) when the bus does not take it.
    explicit DesktopCaller(const QString& busAddress);
    ~DesktopCaller();
    DesktopCaller(const DesktopCaller&) = delete;
    DesktopCaller& operator=(const DesktopCaller&) = delete;

    // Turns the event loop until there is an answer: the name of the error, empty for none.
    QString call(const QString& method, const QVariantList& parameters);
    QString activate(const QVariantMap& platformData = {}) { return call(QStringLiteral("Activate"), {platformData}); }
    QString open(const QStringList& urls, const QVariantMap& platformData = {})
    {
        return call(QStringLiteral("Open"), {urls, platformData});
    }
    QString perform(const QString& command, const QVariantList& values = {})
    {
        return call(QStringLiteral("ActivateAction"), {command, QVariant(values), QVariantMap()});
    }
    // Who has the program's name; empty for nobody.
    QString owner() const;
    // Has the bus read its service files anew.
    void reloadServices() const;

private:
    QString mName;
    QDBusConnection mBus;
};

} // namespace frameflow
