#include "NameOwner.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QTest>
#include <QUuid>

namespace frameflow {

namespace {

const QString& name()
{
    static const QString text(QStringLiteral("com.quillory.Frameflow"));
    return text;
}

const QString& path()
{
    static const QString text(QStringLiteral("/com/quillory/Frameflow"));
    return text;
}

} // namespace

NameOwner::NameOwner(const QString& busAddress, OwnerAnswer answer)
    : mName(QUuid::createUuid().toString()), mBus(QDBusConnection::connectToBus(busAddress, mName)), mAnswer(answer)
{
    if (!mBus.registerObject(path(), this, QDBusConnection::ExportAllSlots) || !mBus.registerService(name())) {
        qFatal("the bus does not give the name");
    }
}

NameOwner::~NameOwner()
{
    mBus.unregisterService(name());
    QDBusConnection::disconnectFromBus(mName);
}

void NameOwner::Activate(const QVariantMap& platformData)
{
    called(QStringLiteral("Activate"), platformData);
}

void NameOwner::Open(const QStringList& urls, const QVariantMap& platformData)
{
    called(QStringLiteral("Open ") + urls.join(QLatin1Char(' ')), platformData);
}

void NameOwner::called(const QString& text, const QVariantMap& platformData)
{
    mCalls.append(text);
    mPlatformData = platformData;
    if (mAnswer == OwnerAnswer::No) {
        sendErrorReply(QDBusError::NotSupported, QStringLiteral("no"));
    } else if (mAnswer == OwnerAnswer::Never) {
        setDelayedReply(true);
    }
}

DesktopCaller::DesktopCaller(const QString& busAddress)
    : mName(QUuid::createUuid().toString()), mBus(QDBusConnection::connectToBus(busAddress, mName))
{
    if (!mBus.isConnected()) {
        qFatal("the bus does not take a connection");
    }
}

DesktopCaller::~DesktopCaller()
{
    QDBusConnection::disconnectFromBus(mName);
}

QString DesktopCaller::call(const QString& method, const QVariantList& parameters)
{
    constexpr int patience = 15000;
    auto message
        = QDBusMessage::createMethodCall(name(), path(), QStringLiteral("org.freedesktop.Application"), method);
    message.setArguments(parameters);
    const QDBusPendingCall pending = mBus.asyncCall(message, patience);
    const bool isAnswered = QTest::qWaitFor([&] { return pending.isFinished(); }, 2 * patience);
    return isAnswered ? pending.error().name() : QStringLiteral("no answer");
}

QString DesktopCaller::owner() const
{
    return mBus.interface()->serviceOwner(name()).value();
}

void DesktopCaller::reloadServices() const
{
    mBus.call(
        QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
            QStringLiteral("org.freedesktop.DBus"), QStringLiteral("ReloadConfig")));
}

} // namespace frameflow
