#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

namespace frameflow {

// A list in pieces that copies share until one of them is changed. Copying it, putting one list into another and taking
// an entry out cost as much as there are pieces, not as there are entries. Each copy may be used on another thread.
template <typename T>
class ChunkedList
{
public:
    using Entries = std::vector<T>;

    ChunkedList() = default;
    ~ChunkedList() = default;
    // From now on each of the two lists copies a piece before changing it.
    ChunkedList(const ChunkedList& other) : mChunks(other.sharedChunks()), mEnds(other.mEnds) { }
    ChunkedList& operator=(const ChunkedList& other)
    {
        mChunks = other.sharedChunks();
        mEnds = other.mEnds;
        return *this;
    }
    ChunkedList(ChunkedList&& other) noexcept
        : mChunks(std::exchange(other.mChunks, {})), mEnds(std::exchange(other.mEnds, {}))
    {
    }
    ChunkedList& operator=(ChunkedList&& other) noexcept
    {
        mChunks = std::exchange(other.mChunks, {});
        mEnds = std::exchange(other.mEnds, {});
        return *this;
    }
    explicit ChunkedList(Entries&& entries) { assign(std::move(entries)); }

    size_t size() const { return mEnds.empty() ? 0 : mEnds.back(); }
    bool isEmpty() const { return mChunks.empty(); }
    const T& at(size_t index) const
    {
        const size_t chunk = chunkOf(index);
        return (*mChunks[chunk].entries)[index - beginOf(chunk)];
    }

    void append(T entry)
    {
        writableEnd().push_back(std::move(entry));
        ++mEnds.back();
    }
    // Moves the entries behind those of the list.
    void append(Entries&& entries)
    {
        for (T& entry : entries) {
            append(std::move(entry));
        }
        entries.clear();
    }
    // Puts all of the other list before the entry at the index, or behind all for the size.
    void insert(size_t index, ChunkedList&& list);
    T takeAt(size_t index);
    // The whole list, which is left empty.
    Entries takeAll();
    void assign(Entries&& entries);
    Entries copy() const;

    // In order, with the index.
    template <typename Visitor>
    void forEach(const Visitor& visit) const
    {
        size_t index = 0;
        for (const Chunk& chunk : mChunks) {
            for (const T& entry : *chunk.entries) {
                visit(entry, index++);
            }
        }
    }
    // The same in pieces, each with the index of its first entry.
    template <typename Visitor>
    void forEachPiece(const Visitor& visit) const
    {
        for (size_t chunk = 0; chunk < mChunks.size(); ++chunk) {
            visit(std::as_const(*mChunks[chunk].entries), beginOf(chunk));
        }
    }
    // Whether it has so many more pieces than entries would fill that it is better made anew than changed.
    bool isScattered() const { return mChunks.size() > 4 * (size() / chunkSize) + 64; }

private:
    static constexpr size_t chunkSize = 512;

    struct Chunk
    {
        std::shared_ptr<Entries> entries; // never empty
        mutable bool isShared = false; // with another list, or it was once
    };

    size_t beginOf(size_t chunk) const { return chunk == 0 ? 0 : mEnds[chunk - 1]; }
    size_t chunkOf(size_t index) const { return std::upper_bound(mEnds.begin(), mEnds.end(), index) - mEnds.begin(); }
    static std::shared_ptr<Entries> makeEntries()
    {
        auto entries = std::make_shared<Entries>();
        entries->reserve(chunkSize);
        return entries;
    }
    Entries& writable(size_t chunk)
    {
        Chunk& place = mChunks[chunk];
        if (place.isShared) {
            auto own = makeEntries();
            own->assign(place.entries->begin(), place.entries->end());
            place = {std::move(own), false};
        }
        return *place.entries;
    }
    // With room for one more.
    Entries& writableEnd()
    {
        // A shared piece is only copied while it is short: else there would soon be as many pieces as entries.
        const bool isFull = mChunks.empty() || mChunks.back().entries->size() >= chunkSize
            || (mChunks.back().isShared && mChunks.back().entries->size() >= chunkSize / 2);
        if (isFull) {
            mChunks.push_back({makeEntries(), false});
            mEnds.push_back(size());
        }
        return writable(mChunks.size() - 1);
    }
    std::vector<Chunk> sharedChunks() const;
    void splitBefore(size_t index);
    void updateEnds(size_t fromChunk);

    std::vector<Chunk> mChunks;
    std::vector<size_t> mEnds; // for each piece, the index after its last entry
};

template <typename T>
void ChunkedList<T>::insert(size_t index, ChunkedList&& list)
{
    if (list.isEmpty()) {
        return;
    }
    const size_t place = index == size() && !mChunks.empty() ? mChunks.size() - 1 : chunkOf(index);
    if (place < mChunks.size() && list.size() + mChunks[place].entries->size() <= chunkSize) {
        Entries& into = writable(place);
        auto at = into.begin() + static_cast<std::ptrdiff_t>(index - beginOf(place));
        for (T& entry : list.takeAll()) {
            at = std::next(into.insert(at, std::move(entry)));
        }
        updateEnds(place);
        return;
    }
    splitBefore(index);
    const size_t before = index == size() ? mChunks.size() : chunkOf(index);
    mChunks.insert(mChunks.begin() + static_cast<std::ptrdiff_t>(before), list.mChunks.begin(), list.mChunks.end());
    list = {};
    updateEnds(before);
}

// Afterwards a piece begins at the index.
template <typename T>
void ChunkedList<T>::splitBefore(size_t index)
{
    const size_t chunk = chunkOf(index);
    if (chunk == mChunks.size() || beginOf(chunk) == index) {
        return;
    }
    Entries& front = writable(chunk);
    const auto middle = front.begin() + static_cast<std::ptrdiff_t>(index - beginOf(chunk));
    auto back = makeEntries();
    std::move(middle, front.end(), std::back_inserter(*back));
    front.erase(middle, front.end());
    mChunks.insert(mChunks.begin() + static_cast<std::ptrdiff_t>(chunk) + 1, {std::move(back), false});
    updateEnds(chunk);
}

template <typename T>
T ChunkedList<T>::takeAt(size_t index)
{
    const size_t chunk = chunkOf(index);
    Entries& entries = writable(chunk);
    const auto place = entries.begin() + static_cast<std::ptrdiff_t>(index - beginOf(chunk));
    T taken = std::move(*place);
    entries.erase(place);
    for (size_t later = chunk; later < mEnds.size(); ++later) {
        --mEnds[later];
    }
    if (entries.empty()) {
        mChunks.erase(mChunks.begin() + static_cast<std::ptrdiff_t>(chunk));
        mEnds.erase(mEnds.begin() + static_cast<std::ptrdiff_t>(chunk));
    }
    return taken;
}

template <typename T>
typename ChunkedList<T>::Entries ChunkedList<T>::takeAll()
{
    Entries all;
    all.reserve(size());
    for (Chunk& chunk : mChunks) {
        if (chunk.isShared) {
            all.insert(all.end(), chunk.entries->begin(), chunk.entries->end());
        } else {
            std::move(chunk.entries->begin(), chunk.entries->end(), std::back_inserter(all));
        }
    }
    mChunks.clear();
    mEnds.clear();
    return all;
}

template <typename T>
void ChunkedList<T>::assign(Entries&& entries)
{
    mChunks.clear();
    mEnds.clear();
    append(std::move(entries));
}

template <typename T>
typename ChunkedList<T>::Entries ChunkedList<T>::copy() const
{
    Entries all;
    all.reserve(size());
    for (const Chunk& chunk : mChunks) {
        all.insert(all.end(), chunk.entries->begin(), chunk.entries->end());
    }
    return all;
}

template <typename T>
std::vector<typename ChunkedList<T>::Chunk> ChunkedList<T>::sharedChunks() const
{
    for (const Chunk& chunk : mChunks) {
        chunk.isShared = true;
    }
    return mChunks;
}

template <typename T>
void ChunkedList<T>::updateEnds(size_t fromChunk)
{
    mEnds.resize(mChunks.size());
    for (size_t chunk = fromChunk; chunk < mChunks.size(); ++chunk) {
        mEnds[chunk] = beginOf(chunk) + mChunks[chunk].entries->size();
    }
}

} // namespace frameflow
