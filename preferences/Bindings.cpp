#include "Bindings.h"

#include "NumberField.h"

#include <QSignalBlocker>
#include <QSpinBox>

#include <algorithm>

namespace frameflow {

void Bindings::follow(const QString& key, std::function<void()> show)
{
    show();
    mObservations.push_back(mDefaults.observe(key, [show = std::move(show)](const QString&) { show(); }));
}

void Bindings::bind(QSpinBox* box, const QString& key)
{
    follow(key, [box, key, &defaults = mDefaults] {
        const QSignalBlocker quiet(box);
        const qint64 value = defaults.integerValue(key);
        box->setValue(static_cast<int>(std::clamp<qint64>(value, box->minimum(), box->maximum())));
    });
    QObject::connect(
        box, &QSpinBox::valueChanged, box, [key, &defaults = mDefaults](int value) { defaults.setValue(key, value); });
}

void Bindings::bind(NumberField* field, const QString& key)
{
    follow(key,
        [field, key, &defaults = mDefaults] { field->setValue(QString::number(defaults.floatValue(key)).toDouble()); });
    QObject::connect(field, &NumberField::valueEdited, field,
        [key, &defaults = mDefaults](double value) { defaults.setValue(key, static_cast<float>(value)); });
}

} // namespace frameflow
