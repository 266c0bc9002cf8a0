#include "DisplaySleep.h"

#include "MainThread.h"
#include "SerialQueue.h"
#include "SessionBusAddress.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QUuid>

#include <optional>

namespace frameflow {

namespace {

// One way to ask.
struct Keeper
{
    QString service;
    QString path;
    QString interface;
};

const Keeper& screenSaver()
{
    static const Keeper keeper{QStringLiteral("org.freedesktop.ScreenSaver"),
        QStringLiteral("/org/freedesktop/ScreenSaver"), QStringLiteral("org.freedesktop.ScreenSaver")};
    return keeper;
}

const Keeper& portal()
{
    static const Keeper keeper{QStringLiteral("org.freedesktop.portal.Desktop"),
        QStringLiteral("/org/freedesktop/portal/desktop"), QStringLiteral("org.freedesktop.portal.Inhibit")};
    return keeper;
}

QDBusMessage callTo(const Keeper& keeper, const QString& method)
{
    return QDBusMessage::createMethodCall(keeper.service, keeper.path, keeper.interface, method);
}

// A connection, and what watches on it for a screen saver that is started again.
struct Opened
{
    QDBusConnection bus;
    std::unique_ptr<QDBusServiceWatcher> watcher;
};

} // namespace

class DisplaySleep::Session : public QObject
{
public:
    Session(QString reason, const QString& busAddress);
    ~Session() override;

    void setWanted(bool isWanted);
    bool isPrevented() const { return mRelease.has_value(); }

private:
    enum class Step
    {
        Idle,
        Opening, // the connection
        Asking,
    };

    void open();
    void opened(const std::shared_ptr<Opened>& opened);
    void askScreenSaver();
    void askPortal();
    template <typename Promise>
    void ask(const QDBusMessage& question, std::function<QDBusMessage(const Promise&)> release,
        void (Session::*otherwise)());
    void answered(const QDBusMessage& release);
    void failed();
    void ownerChanged(const QString& newOwner);

    const QString mReason;
    const QString mAddress;
    const QString mName = QUuid::createUuid().toString(); // of the connection, in this process
    SerialQueue mOpening{"opening the bus"};
    std::shared_ptr<Opened> mOpened;
    bool mIsWanted = false;
    Step mStep = Step::Idle;
    std::optional<QDBusMessage> mRelease; // what takes the promise back; absent while there is none
    // Gone with this, so that what was posted finds out.
    std::shared_ptr<bool> mAlive = std::make_shared<bool>(true);
};

DisplaySleep::Session::Session(QString reason, const QString& busAddress)
    : mReason(std::move(reason)), mAddress(busAddress.isEmpty() ? sessionBusAddress() : busAddress)
{
}

DisplaySleep::Session::~Session()
{
    setWanted(false);
    mOpening.abandonRunning();
    if (mOpened) {
        mOpened->watcher.reset();
        QDBusConnection::disconnectFromBus(mName);
    }
}

void DisplaySleep::Session::setWanted(bool isWanted)
{
    mIsWanted = isWanted;
    if (!isWanted) {
        if (mRelease) {
            mOpened->bus.send(*mRelease);
            mRelease.reset();
        }
    } else if (mStep == Step::Idle && !mRelease) {
        if (mOpened) {
            askScreenSaver();
        } else {
            open();
        }
    }
}

// Elsewhere: a bus that does not answer would hold up whoever connects to it.
void DisplaySleep::Session::open()
{
    mStep = Step::Opening;
    mOpening.async([this, address = mAddress, name = mName, alive = std::weak_ptr(mAlive)] {
        std::shared_ptr<Opened> result;
        if (!address.isEmpty()) {
            const auto bus = QDBusConnection::connectToBus(address, name);
            if (bus.isConnected()) {
                result = std::make_shared<Opened>(Opened{bus, nullptr});
                result->watcher = std::make_unique<QDBusServiceWatcher>(
                    screenSaver().service, bus, QDBusServiceWatcher::WatchForOwnerChange);
                result->watcher->moveToThread(QCoreApplication::instance()->thread());
            } else {
                QDBusConnection::disconnectFromBus(name);
            }
        }
        postToMainThread([this, alive, name, result] {
            if (alive.lock()) {
                opened(result);
            } else if (result) {
                QDBusConnection::disconnectFromBus(name);
            }
        });
    });
}

void DisplaySleep::Session::opened(const std::shared_ptr<Opened>& opened)
{
    mStep = Step::Idle;
    mOpened = opened;
    if (!mOpened) {
        failed();
        return;
    }
    connect(mOpened->watcher.get(), &QDBusServiceWatcher::serviceOwnerChanged, this,
        [this](const QString&, const QString&, const QString& newOwner) { ownerChanged(newOwner); });
    if (mIsWanted) {
        askScreenSaver();
    }
}

void DisplaySleep::Session::askScreenSaver()
{
    auto question = callTo(screenSaver(), QStringLiteral("Inhibit"));
    question << QCoreApplication::applicationName() << mReason;
    ask<uint>(
        question, [](const uint& cookie) { return callTo(screenSaver(), QStringLiteral("UnInhibit")) << cookie; },
        &Session::askPortal);
}

void DisplaySleep::Session::askPortal()
{
    constexpr uint idle = 8;
    auto question = callTo(portal(), QStringLiteral("Inhibit"));
    question << QString() << idle << QVariantMap{{QStringLiteral("reason"), mReason}};
    ask<QDBusObjectPath>(
        question,
        [](const QDBusObjectPath& handle) {
            return QDBusMessage::createMethodCall(portal().service, handle.path(),
                QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Close"));
        },
        &Session::failed);
}

template <typename Promise>
void DisplaySleep::Session::ask(
    const QDBusMessage& question, std::function<QDBusMessage(const Promise&)> release, void (Session::*otherwise)())
{
    mStep = Step::Asking;
    auto* const watcher = new QDBusPendingCallWatcher(mOpened->bus.asyncCall(question), this);
    connect(
        watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, release = std::move(release), otherwise] {
            watcher->deleteLater();
            mStep = Step::Idle;
            const QDBusPendingReply<Promise> reply = *watcher;
            if (!reply.isError()) {
                answered(release(reply.value()));
            } else if (mIsWanted) {
                (this->*otherwise)();
            }
        });
}

void DisplaySleep::Session::answered(const QDBusMessage& release)
{
    if (mIsWanted) {
        mRelease = release;
    } else {
        mOpened->bus.send(release); // nobody wants it any more
    }
}

void DisplaySleep::Session::failed()
{
    if (mIsWanted) {
        qWarning("Failed to prevent sleep!");
    }
}

// A screen saver that was started again knows nothing of what its predecessor promised.
void DisplaySleep::Session::ownerChanged(const QString& newOwner)
{
    if (mRelease && mRelease->service() == screenSaver().service) {
        mRelease.reset();
    }
    if (!newOwner.isEmpty() && mIsWanted && mStep == Step::Idle && !mRelease) {
        askScreenSaver();
    }
}

DisplaySleep::DisplaySleep(const QString& reason, const QString& busAddress)
    : mSession(std::make_unique<Session>(reason, busAddress))
{
}

DisplaySleep::~DisplaySleep() = default;

void DisplaySleep::prevent()
{
    mSession->setWanted(true);
}

void DisplaySleep::allow()
{
    mSession->setWanted(false);
}

bool DisplaySleep::isPrevented() const
{
    return mSession->isPrevented();
}

} // namespace frameflow
