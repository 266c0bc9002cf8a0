#pragma once

#include "SettingsFile.h"

#include <QDateTime>
#include <QHash>
#include <QString>
#include <QVariant>

#include <functional>
#include <memory>
#include <vector>

namespace frameflow {

// The store of settings: the user's values, kept in a file, over a layer of registered defaults. Main thread only.
//
// A value that was set is on disk after the event loop's next turn, written atomically and merged key by key with what
// other programs wrote meanwhile. A file that cannot be read at the start is left alone and the values live in memory;
// one that holds garbage is set aside under another name.
class UserDefaults
{
public:
    // Told the key, after the change, on the main thread. May call back into the store.
    using Observer = std::function<void(const QString& key)>;

    // Ends its observation when destroyed. May outlive the store.
    class Observation
    {
    public:
        Observation() = default;

    private:
        friend class UserDefaults;
        explicit Observation(std::shared_ptr<Observer> observer) : mObserver(std::move(observer)) { }
        std::shared_ptr<Observer> mObserver;
    };

    // Where the program keeps its settings: quillory/frameflow.conf in the user's configuration folder.
    static QString standardFilePath();

    explicit UserDefaults(const QString& filePath);
    ~UserDefaults();
    UserDefaults(const UserDefaults&) = delete;
    UserDefaults& operator=(const UserDefaults&) = delete;

    // Replaces the layer beneath the user's values.
    void registerDefaults(const QVariantMap& values);

    // The user's value, else the registered one, else invalid.
    QVariant value(const QString& key) const;
    bool contains(const QString& key) const { return value(key).isValid(); }

    // Lenient conversions. Text counts by its leading number; "yes" and "true" count as true; absent and unusable
    // values, infinities and not-a-number among them, give false, 0, 0, an empty text, an invalid date or no bytes.
    // Numbers too large for the type give its limit.
    bool boolValue(const QString& key) const;
    // As boolValue, but an absent value counts as true.
    bool boolValueOrTrue(const QString& key) const;
    qint64 integerValue(const QString& key) const;
    float floatValue(const QString& key) const;
    QString stringValue(const QString& key) const;
    QDateTime dateValue(const QString& key) const;
    QByteArray dataValue(const QString& key) const;

    // Observers are told when the value that is read changes by it.
    void setValue(const QString& key, const QVariant& value);
    // Makes the registered default, or absence, visible again.
    void removeValue(const QString& key);

    [[nodiscard]] Observation observe(const QString& key, Observer observer);

    // Writes now, and takes over what other programs wrote, telling observers. False when the file cannot be written;
    // the values are kept and written with the next success.
    bool synchronize();
    // Writes what is not written yet, and tells nobody anything; so does the destructor. For an end of the program that
    // destroys nothing.
    void writeRest();

private:
    void change(const QString& key, const QVariant& value);
    void scheduleSynchronize();
    void notify(const QString& key);

    SettingsFile mFile;
    bool mFileIsUsable = true;
    QVariantMap mUsers;
    QVariantMap mUnwritten; // invalid: to be removed
    QVariantMap mRegistered;
    QHash<QString, std::vector<std::weak_ptr<Observer>>> mObservers;
    std::shared_ptr<bool> mSynchronizeScheduled = std::make_shared<bool>(false);
};

} // namespace frameflow
