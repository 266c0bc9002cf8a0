#pragma once

#include <QString>

class QCheckBox;

namespace frameflow {

class UserDefaults;

// Ties the box to a boolean setting that counts as true when it is absent, both ways: a click is stored, and what is
// changed elsewhere shows at once. The settings must outlive the box.
void bindCheckBox(QCheckBox* box, UserDefaults& defaults, const QString& key);

} // namespace frameflow
