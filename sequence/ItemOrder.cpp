#include "ItemOrder.h"

#include "NameKey.h"
#include "SettingsKeys.h"
#include "Shuffle.h"

#include <QtEndian>

#include <algorithm>
#include <array>
#include <compare>
#include <cstring>
#include <limits>
#include <string_view>

namespace frameflow {

namespace {

// One item's place in the order: the first bytes of its key as a number, which decides most comparisons without
// touching memory elsewhere.
struct Entry
{
    quint64 prefix = 0;
    std::string_view rest;
    SlideItemPtr item;
};

quint64 leadingNumber(std::string_view key)
{
    std::array<char, sizeof(quint64)> bytes{};
    std::memcpy(bytes.data(), key.data(), std::min(key.size(), bytes.size()));
    return qFromBigEndian<quint64>(bytes.data());
}

size_t commonLength(std::string_view a, std::string_view b)
{
    return std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first - a.begin();
}

bool pathIsLess(const SlideItem& a, const SlideItem& b)
{
    return std::is_lt(a.urlCompare(b));
}

bool isLess(const Entry& a, const Entry& b)
{
    if (a.prefix != b.prefix) {
        return a.prefix < b.prefix;
    }
    const int rest = a.rest.compare(b.rest);
    return rest != 0 ? rest < 0 : pathIsLess(*a.item, *b.item);
}

// keys[i] belongs to items[i]. What all keys have in common is left out of the comparisons.
void sortByKeys(SlideItems& items, const std::vector<std::string_view>& keys)
{
    size_t common = keys.front().size();
    for (const auto& key : keys) {
        common = commonLength(keys.front().substr(0, common), key);
    }
    std::vector<Entry> entries;
    entries.reserve(items.size());
    for (size_t i = 0; i < items.size(); ++i) {
        const auto rest = keys[i].substr(common);
        entries.push_back({leadingNumber(rest), rest, std::move(items[i])});
    }
    std::sort(entries.begin(), entries.end(), isLess);
    std::transform(entries.begin(), entries.end(), items.begin(), [](Entry& entry) { return std::move(entry.item); });
}

void sortByName(SlideItems& items)
{
    std::string arena;
    std::vector<size_t> ends;
    ends.reserve(items.size());
    for (const auto& item : items) {
        appendNameKey(item->mFileName(), arena);
        ends.push_back(arena.size());
    }
    std::vector<std::string_view> keys;
    keys.reserve(items.size());
    size_t begin = 0;
    for (const size_t end : ends) {
        keys.push_back(std::string_view(arena).substr(begin, end - begin));
        begin = end;
    }
    sortByKeys(items, keys);
}

void sortByUrl(SlideItems& items)
{
    std::vector<std::string_view> keys;
    keys.reserve(items.size());
    for (const auto& item : items) {
        const QByteArray& path = item->mURL().path();
        keys.emplace_back(path.constData(), path.size());
    }
    sortByKeys(items, keys);
}

// Items without a date are first.
FileDate dateForOrder(const SlideItem& item)
{
    constexpr FileDate beforeAll{std::numeric_limits<qint64>::min(), -1};
    return item.fileModificationDate().value_or(beforeAll);
}

void sortByDate(SlideItems& items)
{
    struct Dated
    {
        FileDate date;
        SlideItemPtr item;
    };
    std::vector<Dated> entries;
    entries.reserve(items.size());
    for (auto& item : items) {
        const auto date = dateForOrder(*item);
        entries.push_back({date, std::move(item)});
    }
    std::sort(entries.begin(), entries.end(), [](const Dated& a, const Dated& b) {
        return a.date != b.date ? a.date < b.date : pathIsLess(*a.item, *b.item);
    });
    std::transform(entries.begin(), entries.end(), items.begin(), [](Dated& entry) { return std::move(entry.item); });
}

} // namespace

SortOrder sortOrderFromSetting(const QString& setting)
{
    if (setting == keys::sortByName) {
        return SortOrder::Name;
    }
    if (setting == keys::sortByUrl) {
        return SortOrder::Url;
    }
    return setting == keys::sortByDate ? SortOrder::Date : SortOrder::Random;
}

void sortItems(SlideItems& items, SortOrder order)
{
    if (items.size() < 2) {
        return;
    }
    switch (order) {
    case SortOrder::Name:
        sortByName(items);
        return;
    case SortOrder::Url:
        sortByUrl(items);
        return;
    case SortOrder::Date:
        sortByDate(items);
        return;
    case SortOrder::Random:
        shuffle(items);
        return;
    }
}

bool comesBefore(const SlideItem& item, const SlideItem& other, SortOrder order)
{
    std::weak_ordering place = std::weak_ordering::equivalent;
    if (order == SortOrder::Name) {
        place = item.nameCompare(other);
    } else if (order == SortOrder::Date) {
        place = dateForOrder(item) <=> dateForOrder(other);
    }
    return std::is_lt(place) || (std::is_eq(place) && pathIsLess(item, other));
}

} // namespace frameflow
