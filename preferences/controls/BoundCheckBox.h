#pragma once

#include <QString>

class QCheckBox;

namespace frameflow {

class UserDefaults;

enum class WhenAbsent
{
    Off,
    On,
};

// Ties the box to a boolean setting, both ways: a click is stored, and what is changed elsewhere shows at once. The
// settings must outlive the box.
void bindCheckBox(QCheckBox* box, UserDefaults& defaults, const QString& key, WhenAbsent whenAbsent);

} // namespace frameflow
