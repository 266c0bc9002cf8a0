#pragma once

#include "UserDefaults.h"

#include <functional>
#include <vector>

class QSpinBox;

namespace frameflow {

class NumberField;

// Controls that stand for a setting each: what a person changes is stored at once, and what is changed elsewhere is
// shown at once. A value that a control cannot show is left as it is. Main thread; controls and settings outlive it.
class Bindings
{
public:
    explicit Bindings(UserDefaults& defaults) : mDefaults(defaults) { }

    void bind(QSpinBox* box, const QString& key);
    void bind(NumberField* field, const QString& key);

    // Calls now, and after every change of the setting.
    void follow(const QString& key, std::function<void()> show);

private:
    UserDefaults& mDefaults;
    std::vector<UserDefaults::Observation> mObservations;
};

} // namespace frameflow
