#pragma once

namespace frameflow {

// What the preferences window tells its owner.
class PreferenceDelegate
{
public:
    virtual ~PreferenceDelegate() = default;
    // A person has chosen an order, which is stored already.
    virtual void sortOrderChanged() = 0;
};

} // namespace frameflow
