#pragma once

#include <QByteArrayView>
#include <QHashFunctions>

#include <vector>

namespace frameflow {

// Finds numbered entries by byte strings that are kept elsewhere: a few bytes for each, and one look into memory for
// most questions. keyOf(number) gives the byte string of an entry that was put in.
class ByteTable
{
public:
    static constexpr quint32 none = 0xffffffff;

    // For at most that many entries.
    explicit ByteTable(size_t mostEntries)
    {
        size_t slots = 16;
        while (slots < mostEntries * 2) {
            slots *= 2;
        }
        mSlots.resize(slots);
    }

    // The number of the entry with that key; none when there is none.
    template <typename KeyOf>
    quint32 find(QByteArrayView key, const KeyOf& keyOf) const
    {
        if ((mSizes & sizeBit(key)) == 0) {
            return none;
        }
        return mSlots[slotOf(key, keyOf)].number;
    }

    // The number of the entry with that key, which is the given one when there was none before.
    template <typename KeyOf>
    quint32 findOrInsert(QByteArrayView key, quint32 number, const KeyOf& keyOf)
    {
        Slot& slot = mSlots[slotOf(key, keyOf)];
        if (slot.number == none) {
            slot = {tagOf(hashOf(key)), number};
            mSizes |= sizeBit(key);
        }
        return slot.number;
    }

private:
    struct Slot
    {
        quint32 tag = 0;
        quint32 number = none;
    };

    static quint64 sizeBit(QByteArrayView key) { return quint64(1) << (key.size() % 64); }
    static size_t hashOf(QByteArrayView key) { return qHashBits(key.data(), key.size(), QHashSeed::globalSeed()); }
    static quint32 tagOf(size_t hash) { return static_cast<quint32>(hash >> 32); }

    // Where the key is, or would be.
    template <typename KeyOf>
    size_t slotOf(QByteArrayView key, const KeyOf& keyOf) const
    {
        const size_t hash = hashOf(key);
        const quint32 tag = tagOf(hash);
        size_t place = hash & (mSlots.size() - 1);
        while (mSlots[place].number != none && (mSlots[place].tag != tag || keyOf(mSlots[place].number) != key)) {
            place = (place + 1) & (mSlots.size() - 1);
        }
        return place;
    }

    std::vector<Slot> mSlots;
    quint64 mSizes = 0; // of the keys; most of a table of few are told apart by them alone
};

} // namespace frameflow
