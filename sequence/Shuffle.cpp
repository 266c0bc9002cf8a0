#include "Shuffle.h"

#include <QRandomGenerator>

#include <limits>

#include <sys/random.h>

namespace frameflow {

namespace {

void fill(quint64* numbers, size_t count)
{
    // In blocks the kernel's own generator is far faster than the processor's, which Qt asks.
    const auto size = static_cast<ssize_t>(count * sizeof(quint64));
    if (getrandom(numbers, static_cast<size_t>(size), 0) != size) {
        QRandomGenerator::system()->generate(numbers, numbers + count);
    }
}

} // namespace

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
    if (mUsed == mBlockSize) {
        fill(mBlock.data(), mBlockSize);
        mUsed = 0;
    }
    const quint64 number = mBlock.at(mUsed++);
    if (mUsed == mBlockSize && mBlockSize < mBlock.size()) {
        mBlockSize = mBlock.size();
        mUsed = mBlockSize;
    }
    return number;
}

} // namespace frameflow
