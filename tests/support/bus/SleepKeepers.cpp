#include "SleepKeepers.h"

#include <QUuid>

namespace frameflow {

namespace {

// A connection of its own, so that what is said goes through the bus.
QDBusConnection connectTo(const QString& address, const QString& name)
{
    auto bus = QDBusConnection::connectToBus(address, name);
    if (!bus.isConnected()) {
        qFatal("no bus at %s", qPrintable(address));
    }
    return bus;
}

class PortalRequest : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Request")

public:
    PortalRequest(QObject* parent, QString what) : QObject(parent), text(std::move(what)) { }

    const QString text;
    bool isClosed = false;

public Q_SLOTS: // the interface on the bus
    void Close() { isClosed = true; }
};

} // namespace

FakeScreenSaver::FakeScreenSaver(const QString& busAddress, KeeperAnswer answer)
    : mName(QUuid::createUuid().toString()), mBus(connectTo(busAddress, mName)), mAnswer(answer)
{
    mClients.setConnection(mBus);
    mClients.setWatchMode(QDBusServiceWatcher::WatchForUnregistration);
    connect(&mClients, &QDBusServiceWatcher::serviceUnregistered, this, [this](const QString& client) {
        mRequests.removeIf([&](const Request& request) { return request.client == client; });
    });
    if (!mBus.registerObject(QStringLiteral("/org/freedesktop/ScreenSaver"), this, QDBusConnection::ExportAllSlots)
        || !mBus.registerService(QStringLiteral("org.freedesktop.ScreenSaver"))) {
        qFatal("the bus takes no screen saver");
    }
}

FakeScreenSaver::~FakeScreenSaver()
{
    QDBusConnection::disconnectFromBus(mName);
}

QStringList FakeScreenSaver::held() const
{
    QStringList texts;
    for (const Request& request : mRequests) {
        texts.append(request.text);
    }
    return texts;
}

uint FakeScreenSaver::Inhibit(const QString& application, const QString& reason)
{
    ++mAsked;
    if (mAnswer == KeeperAnswer::No) {
        sendErrorReply(QDBusError::AccessDenied, QStringLiteral("not now"));
        return 0;
    }
    ++mLastCookie;
    mRequests.append({message().service(), mLastCookie, application + QStringLiteral(": ") + reason});
    mClients.addWatchedService(message().service());
    if (mAnswer == KeeperAnswer::Late) {
        setDelayedReply(true);
        mOwed.append(message().createReply(mLastCookie));
    }
    return mLastCookie;
}

void FakeScreenSaver::answerNow()
{
    for (const QDBusMessage& answer : std::exchange(mOwed, {})) {
        mBus.send(answer);
    }
}

void FakeScreenSaver::UnInhibit(uint cookie)
{
    mRequests.removeIf([&](const Request& request) { return request.cookie == cookie; });
}

FakePortal::FakePortal(const QString& busAddress)
    : mName(QUuid::createUuid().toString()), mBus(connectTo(busAddress, mName))
{
    if (!mBus.registerObject(QStringLiteral("/org/freedesktop/portal/desktop"), this, QDBusConnection::ExportAllSlots)
        || !mBus.registerService(QStringLiteral("org.freedesktop.portal.Desktop"))) {
        qFatal("the bus takes no portal");
    }
}

FakePortal::~FakePortal()
{
    QDBusConnection::disconnectFromBus(mName);
}

QStringList FakePortal::held() const
{
    QStringList texts;
    for (const QObject* child : mRequests) {
        const auto* const request = static_cast<const PortalRequest*>(child);
        if (!request->isClosed) {
            texts.append(request->text);
        }
    }
    return texts;
}

QDBusObjectPath FakePortal::Inhibit(const QString& /*window*/, uint flags, const QVariantMap& options)
{
    auto* const request = new PortalRequest(
        this, QStringLiteral("%1: %2").arg(flags).arg(options.value(QStringLiteral("reason")).toString()));
    mRequests.append(request);
    const QString path = QStringLiteral("/org/freedesktop/portal/desktop/request/%1").arg(mRequests.size());
    mBus.registerObject(path, request, QDBusConnection::ExportAllSlots);
    return QDBusObjectPath(path);
}

} // namespace frameflow

#include "SleepKeepers.moc"
