#pragma once

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusServiceWatcher>
#include <QList>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

namespace frameflow {

// What answers, and how, when it is asked to keep the display awake.
enum class KeeperAnswer
{
    Yes,
    No,
    Late, // when the test says so
};

// A desktop's screen saver on a bus, as the program sees it.
class FakeScreenSaver : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.ScreenSaver")

public:
    // Ends the program (qFatal) when the bus does not take it.
    explicit FakeScreenSaver(const QString& busAddress, KeeperAnswer answer = KeeperAnswer::Yes);
    ~FakeScreenSaver() override;

    // Who keeps the display awake now: "application: reason".
    QStringList held() const;
    // How often it was asked.
    int asked() const { return mAsked; }
    bool owesAnswer() const { return !mOwed.isEmpty(); }
    void answerNow();

public Q_SLOTS: // the interface on the bus
    uint Inhibit(const QString& application, const QString& reason);
    void UnInhibit(uint cookie);

private:
    struct Request
    {
        QString client;
        uint cookie;
        QString text;
    };

    QString mName;
    QDBusConnection mBus;
    QDBusServiceWatcher mClients;
    KeeperAnswer mAnswer;
    QList<Request> mRequests;
    QList<QDBusMessage> mOwed;
    int mAsked = 0;
    uint mLastCookie = 4000000000; // larger than what a signed number holds
};

// A desktop's portal on a bus, of which only what keeps the display awake is there.
class FakePortal : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Inhibit")

public:
    // Ends the program (qFatal) when the bus does not take it.
    explicit FakePortal(const QString& busAddress);
    ~FakePortal() override;

    // Who keeps what from happening: "flags: reason".
    QStringList held() const;

public Q_SLOTS: // the interface on the bus
    QDBusObjectPath Inhibit(const QString& window, uint flags, const QVariantMap& options);

private:
    QString mName;
    QDBusConnection mBus;
    QList<QObject*> mRequests; // children
};

} // namespace frameflow
