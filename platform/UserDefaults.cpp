#include "UserDefaults.h"

#include "MainThread.h"
#include "SettingsText.h"

#include <QRegularExpression>
#include <QStandardPaths>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

namespace frameflow {

namespace {

double leadingNumber(const QString& text)
{
    static const QRegularExpression pattern(QStringLiteral(R"(^\s*[-+]?(\d+\.?\d*([eE][-+]?\d+)?|\.\d+))"));
    const auto match = pattern.match(text);
    return match.hasMatch() ? match.captured(0).toDouble() : 0.0;
}

bool isText(const QVariant& value)
{
    return value.typeId() == QMetaType::QString || value.typeId() == QMetaType::QByteArray;
}

double numberFrom(const QVariant& value)
{
    double number = 0.0;
    if (isText(value)) {
        const QString text = value.toString().trimmed();
        number = text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0 ? 1.0 : leadingNumber(text);
    } else {
        number = value.toDouble();
    }
    return std::isfinite(number) ? number : 0.0;
}

bool boolFrom(const QVariant& value)
{
    return numberFrom(value) != 0.0
        || (isText(value) && value.toString().trimmed().compare(QLatin1String("yes"), Qt::CaseInsensitive) == 0);
}

// As a double with the decimal places that the float is meant to have: 2.1, not 2.0999999046325684.
double doubleFromFloat(float value)
{
    std::array<char, 32> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    return QByteArray(digits.data(), end - digits.data()).toDouble();
}

} // namespace

QString UserDefaults::standardFilePath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
        + QStringLiteral("/quillory/frameflow.conf");
}

UserDefaults::UserDefaults(const QString& filePath) : mFile(filePath)
{
    auto values = mFile.read();
    if (!values && values.error() == SettingsFileError::Damaged) {
        values = mFile.merge({}, {});
    }
    if (values) {
        mUsers = *values;
    } else {
        mFileIsUsable = false;
        qWarning("The settings in %s cannot be used; changes last until the program ends.", qPrintable(filePath));
    }
}

UserDefaults::~UserDefaults()
{
    writeRest();
}

void UserDefaults::writeRest()
{
    if (mFileIsUsable && !mUnwritten.isEmpty() && mFile.merge(mUnwritten, mUsers)) {
        mUnwritten.clear();
    }
}

void UserDefaults::registerDefaults(const QVariantMap& values)
{
    mRegistered = values;
}

QVariant UserDefaults::value(const QString& key) const
{
    const QVariant users = mUsers.value(key);
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
    return static_cast<qint64>(std::clamp(number, -limit, limit));
}

float UserDefaults::floatValue(const QString& key) const
{
    constexpr double limit = std::numeric_limits<float>::max();
    return static_cast<float>(std::clamp(numberFrom(value(key)), -limit, limit));
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
    // A float would be stored as a dump of its bytes.
    const bool isFloat = newValue.typeId() == QMetaType::Float;
    change(key, isFloat ? QVariant(doubleFromFloat(newValue.toFloat())) : newValue);
}

void UserDefaults::removeValue(const QString& key)
{
    change(key, {});
}

void UserDefaults::change(const QString& key, const QVariant& newValue)
{
    const QVariant old = value(key);
    if (newValue.isValid()) {
        mUsers.insert(key, newValue);
    } else {
        mUsers.remove(key);
    }
    mUnwritten.insert(key, newValue);
    scheduleSynchronize();
    if (!isSameSetting(value(key), old)) {
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
    if (!mFileIsUsable) {
        return false;
    }
    auto merged = mUnwritten.isEmpty() ? mFile.read() : mFile.merge(mUnwritten, mUsers);
    if (!merged && merged.error() == SettingsFileError::Damaged) {
        merged = mFile.merge({}, mUsers);
    }
    if (!merged) {
        return false;
    }
    mUnwritten.clear();
    QVariantMap before;
    for (auto it = mObservers.cbegin(); it != mObservers.cend(); ++it) {
        before.insert(it.key(), value(it.key()));
    }
    mUsers = std::move(*merged);
    for (auto it = before.cbegin(); it != before.cend(); ++it) {
        if (!isSameSetting(value(it.key()), it.value())) {
            notify(it.key());
        }
    }
    return true;
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
