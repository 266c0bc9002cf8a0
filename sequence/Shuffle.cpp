#include "Shuffle.h"

#include <QRandomGenerator>

#include <limits>

namespace frameflow {

quint64 SystemRandom::below(quint64 limit)
{
    // Numbers past the last whole multiple of the limit would favour the small remainders.
    const quint64 excess = (std::numeric_limits<quint64>::max() % limit + 1) % limit;
    const quint64 last = std::numeric_limits<quint64>::max() - excess;
    quint64 number = next();
    while (number > last) {
        number = next();
    }
    return number % limit;
}

quint64 SystemRandom::next()
{
    if (mUsed == mBlock.size()) {
        QRandomGenerator::system()->generate(mBlock.begin(), mBlock.end());
        mUsed = 0;
    }
    return mBlock.at(mUsed++);
}

} // namespace frameflow
