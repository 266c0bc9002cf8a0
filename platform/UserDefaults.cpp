#include "UserDefaults.h"

#include "MainThread.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStandardPaths>

#include <utility>

namespace frameflow {

namespace {

// The name under which a damaged file is kept: the first that is free.
QString freeNameBeside(const QString& filePath)
{
    for (int number = 1;; ++number) {
        const QString name = QStringLiteral("%1.damaged-%2").arg(filePath).arg(number);
        if (!QFile::exists(name)) {
            return name;
        }
    }
}

bool isReadable(const QString& filePath)
{
    const QFileInfo info(filePath);
    if (!info.exists() && !info.isSymLink()) {
        return true; // a new file
    }
    QFile file(filePath);
    return info.isFile() && file.open(QIODevice::ReadOnly);
}

double leadingNumber(const QString& text)
{
    static const QRegularExpression pattern(QStringLiteral(R"(^\s*[-+]?(\d+\.?\d*([eE][-+]?\d+)?|\.\d+))"));
    const auto match = pattern.match(text);
    return match.hasMatch() ? match.captured(0).toDouble() : 0.0;
}

double numberFrom(const QVariant& value)
{
    if (value.typeId() == QMetaType::QString || value.typeId() == QMetaType::QByteArray) {
        const QString text = value.toString();
        if (text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0) {
            return 1.0;
        }
        return leadingNumber(text);
    }
    return value.toDouble();
}

bool boolFrom(const QVariant& value)
{
    if (value.typeId() == QMetaType::QString || value.typeId() == QMetaType::QByteArray) {
        const QString text = value.toString().trimmed().toLower();
        return text == QLatin1String("yes") || text == QLatin1String("true") || leadingNumber(text) != 0.0;
    }
    return value.toBool();
}

} // namespace

QString UserDefaults::standardFilePath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
        + QStringLiteral("/quillory/frameflow.conf");
}

UserDefaults::UserDefaults(const QString& filePath)
{
    if (!isReadable(filePath)) {
        qWarning("The settings in %s cannot be read; changes last until the program ends.", qPrintable(filePath));
        return;
    }
    mSettings = std::make_unique<QSettings>(filePath, QSettings::IniFormat);
    if (mSettings->status() == QSettings::FormatError) {
        // The store that has seen the damage must never write. Only a renamed file is out of its way for certain.
        mSettings.reset();
        if (QFile::rename(filePath, freeNameBeside(filePath))) {
            mSettings = std::make_unique<QSettings>(filePath, QSettings::IniFormat);
        }
    }
}

UserDefaults::~UserDefaults()
{
    if (*mSynchronizeScheduled) {
        synchronize();
    }
}

void UserDefaults::registerDefaults(const QVariantMap& values)
{
    mRegistered = values;
}

QVariant UserDefaults::value(const QString& key) const
{
    const QVariant users = mSettings ? mSettings->value(key) : mMemory.value(key);
    return users.isValid() ? users : mRegistered.value(key);
}

bool UserDefaults::boolValue(const QString& key) const
{
    return boolFrom(value(key));
}

bool UserDefaults::boolValueOrTrue(const QString& key) const
{
    const QVariant present = value(key);
    return !present.isValid() || boolFrom(present);
}

qint64 UserDefaults::integerValue(const QString& key) const
{
    const double number = numberFrom(value(key));
    constexpr double limit = 9.0e18; // inside qint64, so that the conversion is defined
    return number != number ? 0 : static_cast<qint64>(std::min(std::max(number, -limit), limit));
}

float UserDefaults::floatValue(const QString& key) const
{
    return static_cast<float>(numberFrom(value(key)));
}

QString UserDefaults::stringValue(const QString& key) const
{
    return value(key).toString();
}

QDateTime UserDefaults::dateValue(const QString& key) const
{
    return value(key).toDateTime();
}

QByteArray UserDefaults::dataValue(const QString& key) const
{
    return value(key).toByteArray();
}

void UserDefaults::setValue(const QString& key, const QVariant& newValue)
{
    const QVariant old = value(key);
    if (mSettings) {
        mSettings->setValue(key, newValue);
        scheduleSynchronize();
    } else {
        mMemory.insert(key, newValue);
    }
    if (value(key) != old) {
        notify(key);
    }
}

void UserDefaults::removeValue(const QString& key)
{
    const QVariant old = value(key);
    if (mSettings) {
        mSettings->remove(key);
        scheduleSynchronize();
    } else {
        mMemory.remove(key);
    }
    if (value(key) != old) {
        notify(key);
    }
}

UserDefaults::Observation UserDefaults::observe(const QString& key, Observer observer)
{
    auto shared = std::make_shared<Observer>(std::move(observer));
    mObservers[key].push_back(shared);
    return Observation(std::move(shared));
}

bool UserDefaults::synchronize()
{
    *mSynchronizeScheduled = false;
    if (!mSettings) {
        return false;
    }
    QVariantMap before;
    for (auto it = mObservers.cbegin(); it != mObservers.cend(); ++it) {
        before.insert(it.key(), value(it.key()));
    }
    mSettings->sync();
    const bool written = mSettings->status() == QSettings::NoError;
    for (auto it = before.cbegin(); it != before.cend(); ++it) {
        if (value(it.key()) != it.value()) {
            notify(it.key());
        }
    }
    return written;
}

void UserDefaults::scheduleSynchronize()
{
    if (std::exchange(*mSynchronizeScheduled, true)) {
        return;
    }
    postToMainThread([this, alive = std::weak_ptr<bool>(mSynchronizeScheduled)] {
        const auto scheduled = alive.lock();
        if (scheduled && *scheduled) {
            synchronize();
        }
    });
}

void UserDefaults::notify(const QString& key)
{
    auto& observers = mObservers[key];
    std::erase_if(observers, [](const auto& observer) { return observer.expired(); });
    // A copy: an observer may add or end observations.
    const auto current = observers;
    for (const auto& weak : current) {
        if (const auto observer = weak.lock()) {
            (*observer)(key);
        }
    }
}

} // namespace frameflow
