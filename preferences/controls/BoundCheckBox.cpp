#include "BoundCheckBox.h"

#include "UserDefaults.h"

#include <QCheckBox>

namespace frameflow {

void bindCheckBox(QCheckBox* box, UserDefaults& defaults, const QString& key, WhenAbsent whenAbsent)
{
    const auto show = [box, whenAbsent, &defaults](const QString& changed) {
        box->setChecked(whenAbsent == WhenAbsent::On ? defaults.boolValueOrTrue(changed) : defaults.boolValue(changed));
    };
    show(key);
    // Goes with the box.
    const auto observation = std::make_shared<UserDefaults::Observation>(defaults.observe(key, show));
    // A click, not every change: what was only read is not to be stored.
    QObject::connect(box, &QCheckBox::clicked, box,
        [&defaults, key, observation](bool isChecked) { defaults.setValue(key, isChecked); });
}

} // namespace frameflow
