#pragma once

#include <QtGlobal>

#include <array>
#include <utility>

namespace frameflow {

// Unbiased numbers from the system's cryptographic source, fetched in blocks. For one thread at a time.
class SystemRandom
{
public:
    // From 0 up to, and without, the limit, which is at least 1.
    quint64 below(quint64 limit);

private:
    quint64 next();

    // The first block is small: most lists are.
    size_t mBlockSize = 16;
    size_t mUsed = 16;
    std::array<quint64, 1024> mBlock; // filled before it is read
};

// Brings a list into random order, every order equally likely. Fewer than three entries stay as they are.
template <typename List>
void shuffle(List& list)
{
    const auto count = static_cast<quint64>(list.size());
    if (count < 3) {
        return;
    }
    SystemRandom random;
    for (quint64 i = 0; i + 1 < count; ++i) {
        const quint64 j = i + random.below(count - i);
        using std::swap;
        swap(list[i], list[j]);
    }
}

} // namespace frameflow
