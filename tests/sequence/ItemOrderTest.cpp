#include "ItemOrder.h"

#include "NameKey.h"
#include "SettingsKeys.h"
#include "Shuffle.h"

#include <QRandomGenerator>
#include <QTest>

#include <algorithm>
#include <map>
#include <numeric>

namespace frameflow {

namespace {

SlideItemPtr item(const QByteArray& path, qint64 seconds = 0)
{
    return SlideItemPtr(new SlideItem(FileUrl::fromPath(path), {seconds, 0}, {}));
}

QByteArray paths(const SlideItems& items)
{
    QByteArrayList all;
    for (const auto& one : items) {
        all.append(one->mURL().path());
    }
    return all.join(' ');
}

// Names of few different parts, so that equal, nearly equal and prefix names are frequent.
QByteArray randomName(QRandomGenerator& random)
{
    static const QByteArrayList parts{"img", "IMG", "0", "00", "1", "01", "9", "10", "999999999999999999999", "_", ".",
        "a", "B", "\xc3\xa4", "\xc3\x84", "\xff", "\xc3", "\xf0\x9f\x98\x80", ";", "\n"};
    QByteArray name;
    const int count = random.bounded(1, 7);
    for (int i = 0; i < count; ++i) {
        name += parts.at(random.bounded(static_cast<int>(parts.size())));
    }
    return name;
}

// The number that a run of digits stands for, without any limit, and where it ends.
QByteArray numberAt(const QByteArray& text, qsizetype& at)
{
    QByteArray digits;
    while (at < text.size() && text[at] >= '0' && text[at] <= '9') {
        digits += text[at++];
    }
    while (digits.startsWith('0')) {
        digits.remove(0, 1);
    }
    return digits;
}

// The rule as it is told, for ASCII: character by character, numbers by value, letters in lower case.
int naiveCompare(const QByteArray& left, const QByteArray& right)
{
    const QByteArray a = left.toLower();
    const QByteArray b = right.toLower();
    qsizetype i = 0;
    qsizetype j = 0;
    while (i < a.size() && j < b.size()) {
        if (std::isdigit(a[i]) && std::isdigit(b[j])) {
            const auto x = numberAt(a, i);
            const auto y = numberAt(b, j);
            if (x != y) {
                return x.size() != y.size() ? (x.size() < y.size() ? -1 : 1) : (x < y ? -1 : 1);
            }
        } else if (a[i] != b[j]) {
            return a[i] < b[j] ? -1 : 1;
        } else {
            ++i;
            ++j;
        }
    }
    return i < a.size() ? 1 : j < b.size() ? -1 : 0;
}

} // namespace

class ItemOrderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keysAgreeWithTheNaiveComparison();
    void sortsAgreeWithTheComparators_data();
    void sortsAgreeWithTheComparators();
    void sameFilesMakeTheSameSequence();
    void itemsWithoutDateAreFirst();
    void namesThatAreTheBeginningOfOthers();
    void settingNamesTheOrder_data();
    void settingNamesTheOrder();
    void fewerThanThreeAreNotShuffled();
    void everyOrderIsEquallyLikely();
    void randomNumbersStayBelowTheLimit();
};

void ItemOrderTest::keysAgreeWithTheNaiveComparison()
{
    QRandomGenerator random(1);
    const auto ascii = [&] {
        QByteArray name = randomName(random);
        for (char& byte : name) {
            byte = static_cast<char>(byte & 0x7f);
        }
        return name;
    };
    const auto sign = [](int value) { return (value > 0) - (value < 0); };
    for (int i = 0; i < 100000; ++i) {
        const QByteArray a = ascii();
        const QByteArray b = ascii();
        if (sign(nameKey(a).compare(nameKey(b))) != naiveCompare(a, b)) {
            QFAIL(("'" + a + "' and '" + b + "'").constData());
        }
    }
}

void ItemOrderTest::sortsAgreeWithTheComparators_data()
{
    QTest::addColumn<int>("order");
    QTest::newRow("name") << static_cast<int>(SortOrder::Name);
    QTest::newRow("url") << static_cast<int>(SortOrder::Url);
    QTest::newRow("date") << static_cast<int>(SortOrder::Date);
}

void ItemOrderTest::sortsAgreeWithTheComparators()
{
    QFETCH(const int, order);
    QRandomGenerator random(2);
    SlideItems items;
    for (int i = 0; i < 5000; ++i) {
        items.push_back(item("/d" + QByteArray::number(i % 3) + '/' + randomName(random), random.bounded(-50, 50)));
    }
    SlideItems expected = items;
    std::stable_sort(expected.begin(), expected.end(), [&](const auto& a, const auto& b) {
        const auto main = order == static_cast<int>(SortOrder::Name) ? a->nameCompare(*b)
            : order == static_cast<int>(SortOrder::Url)              ? a->urlCompare(*b)
                                                                     : a->dateCompare(*b);
        return main != 0 ? main < 0 : a->urlCompare(*b) < 0;
    });
    sortItems(items, static_cast<SortOrder>(order));
    QCOMPARE(paths(items), paths(expected));
    for (size_t i = 1; i < items.size(); ++i) {
        const bool isEqual = items[i - 1]->isEqual(*items[i]);
        QCOMPARE(comesBefore(*items[i - 1], *items[i], static_cast<SortOrder>(order)), !isEqual);
        QVERIFY(!comesBefore(*items[i], *items[i - 1], static_cast<SortOrder>(order)));
    }
}

void ItemOrderTest::sameFilesMakeTheSameSequence()
{
    SlideItems items{item("/b/IMG_1.jpg"), item("/a/img_1.JPG"), item("/c/img_01.jpg"), item("/b/img_1.jpg")};
    const QByteArray expected = "/a/img_1.JPG /b/IMG_1.jpg /b/img_1.jpg /c/img_01.jpg";
    for (int i = 0; i < 24; ++i) {
        std::next_permutation(
            items.begin(), items.end(), [](const auto& a, const auto& b) { return a.data() < b.data(); });
        SlideItems sorted = items;
        sortItems(sorted, SortOrder::Name);
        QCOMPARE(paths(sorted), expected);
        sorted = items;
        sortItems(sorted, SortOrder::Date);
        QCOMPARE(paths(sorted), expected);
    }
}

void ItemOrderTest::itemsWithoutDateAreFirst()
{
    SlideItems items{
        item("/b", -100), SlideItem::itemWithURL(FileUrl::fromPath(QByteArray("/no/such"))), item("/a", 5)};
    sortItems(items, SortOrder::Date);
    QCOMPARE(paths(items), "/no/such /b /a");
    QVERIFY(comesBefore(*items[0], *items[1], SortOrder::Date));
    QVERIFY(!comesBefore(*items[1], *items[0], SortOrder::Date));
}

void ItemOrderTest::namesThatAreTheBeginningOfOthers()
{
    SlideItems items{item("/d/abc"), item("/d/ab"), item(QByteArray("/d/a\0b", 6)), item("/d/a")};
    sortItems(items, SortOrder::Name);
    QCOMPARE(items[0]->mFileName(), QByteArrayView("a"));
    QCOMPARE(items[1]->mFileName().size(), 3);
    QCOMPARE(items[2]->mFileName(), QByteArrayView("ab"));
    QCOMPARE(items[3]->mFileName(), QByteArrayView("abc"));
}

void ItemOrderTest::settingNamesTheOrder_data()
{
    QTest::addColumn<QString>("setting");
    QTest::addColumn<int>("expected");
    const auto row = [](const char* name, const QString& setting, SortOrder order) {
        QTest::newRow(name) << setting << static_cast<int>(order);
    };
    row("name", keys::sortByName, SortOrder::Name);
    row("url", keys::sortByUrl, SortOrder::Url);
    row("date", keys::sortByDate, SortOrder::Date);
    row("random", keys::sortRandom, SortOrder::Random);
    row("absent", QString(), SortOrder::Random);
    row("unknown", QStringLiteral("Name"), SortOrder::Random);
}

void ItemOrderTest::settingNamesTheOrder()
{
    QFETCH(const QString, setting);
    QTEST(static_cast<int>(sortOrderFromSetting(setting)), "expected");
}

void ItemOrderTest::fewerThanThreeAreNotShuffled()
{
    for (int i = 0; i < 100; ++i) {
        std::vector<int> list{1, 2};
        shuffle(list);
        QCOMPARE(list, (std::vector<int>{1, 2}));
    }
}

void ItemOrderTest::everyOrderIsEquallyLikely()
{
    constexpr int rounds = 24000;
    std::map<std::vector<int>, int> seen;
    for (int i = 0; i < rounds; ++i) {
        std::vector<int> list{1, 2, 3, 4};
        shuffle(list);
        ++seen[list];
    }
    QCOMPARE(seen.size(), size_t(24));
    for (const auto& [order, count] : seen) {
        // 1000 expected, standard deviation 31; a swap with any place would give some orders 750 or 1400.
        QVERIFY2(count > 780 && count < 1220, qPrintable(QString::number(count)));
    }
}

void ItemOrderTest::randomNumbersStayBelowTheLimit()
{
    SystemRandom random;
    QCOMPARE(random.below(1), quint64(0));
    std::vector<int> seen(3);
    for (int i = 0; i < 3000; ++i) {
        ++seen.at(random.below(3));
    }
    for (const int count : seen) {
        QVERIFY(count > 800 && count < 1200);
    }
    // Half of all numbers lie past the last whole multiple of this limit.
    const quint64 limit = (quint64(1) << 63U) + 1;
    for (int i = 0; i < 1000; ++i) {
        QVERIFY(random.below(limit) < limit);
    }
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::ItemOrderTest)
#include "ItemOrderTest.moc"
