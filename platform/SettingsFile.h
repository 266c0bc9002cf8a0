#pragma once

#include <QString>
#include <QVariantMap>

#include <tl/expected.hpp>

namespace frameflow {

enum class SettingsFileError
{
    Unreadable, // not a file, too large, or closed to this user; left alone
    Damaged, // holds something else than settings
    NotWritten, // the disk is full, the folder is closed to this user, another program keeps the lock, ...
};

// The file in which several programs at once keep settings. Every call looks at the disk anew.
class SettingsFile
{
public:
    using Values = tl::expected<QVariantMap, SettingsFileError>;

    explicit SettingsFile(QString path) : mPath(std::move(path)) { }

    // What the file holds; no values when it does not exist.
    Values read() const;

    // Puts the changes (invalid: remove the key) into what the file holds now, replaces the file in one step, and
    // answers the result. No other program's call falls in between. A damaged file is renamed first, and the values
    // that are known take its place.
    Values merge(const QVariantMap& changes, const QVariantMap& known) const;

private:
    Values replaced(const QVariantMap& changes, QVariantMap values) const;
    bool setAside() const;

    QString mPath;
};

} // namespace frameflow
