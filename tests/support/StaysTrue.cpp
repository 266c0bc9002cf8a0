#include "StaysTrue.h"

#include <QTest>

namespace frameflow {

bool staysTrueFor(std::chrono::milliseconds span, const std::function<bool()>& condition)
{
    return !QTest::qWaitFor([&] { return !condition(); }, static_cast<int>(span.count()));
}

} // namespace frameflow
