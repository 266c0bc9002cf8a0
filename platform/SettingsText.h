#pragma once

#include <QByteArray>
#include <QVariantMap>

#include <tl/expected.hpp>

namespace frameflow {

enum class SettingsTextError
{
    Damaged, // not the text of a settings file
    Failed, // the system had no room for it
};

// The text of a settings file, as QSettings' INI format has it, as values. Keys without a group stand under [General].
// Numbers and booleans come back as text. An empty list comes back as an invalid value. A key that could not be
// written again is left out.
tl::expected<QVariantMap, SettingsTextError> readSettingsText(const QByteArray& text);

// Makes the file hold these values and no others, on disk when it returns. Each call must be given a path of its own.
bool writeSettingsText(const QString& path, const QVariantMap& values);

// Whether two values are the same once they have been written and read.
bool isSameSetting(const QVariant& a, const QVariant& b);

} // namespace frameflow
