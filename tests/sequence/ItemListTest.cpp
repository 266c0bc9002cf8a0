#include "ItemList.h"

#include <QRandomGenerator>
#include <QTest>

namespace frameflow {

namespace {

SlideItemPtr item(int number)
{
    return SlideItemPtr(new SlideItem(FileUrl::fromPath("/" + QByteArray::number(number)), {}, {}));
}

} // namespace

class ItemListTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void behavesAsAVector();
    void insertionBehavesAsAVector();
    void copiesAreIndependent();
    void removedItemsAreReleased();
    void scatteredListIsToldFromOthers();
};

void ItemListTest::behavesAsAVector()
{
    QRandomGenerator random(3);
    ItemList list;
    SlideItems twin;
    int number = 0;
    for (int step = 0; step < 20000; ++step) {
        const int kind = random.bounded(100);
        if (kind < 30) {
            const auto one = item(number++);
            list.append(one);
            twin.push_back(one);
        } else if (kind < 40) {
            SlideItems several{item(number++), item(number++), item(number++)};
            twin.insert(twin.end(), several.begin(), several.end());
            list.append(std::move(several));
        } else if (kind < 97 && !twin.empty()) {
            const auto index = random.bounded(static_cast<int>(twin.size()));
            QCOMPARE(list.takeAt(index), twin.at(index));
            twin.erase(twin.begin() + index);
        } else if (kind == 97) {
            auto all = list.takeAll();
            QVERIFY(list.isEmpty());
            QVERIFY(all == twin);
            std::reverse(all.begin(), all.end());
            std::reverse(twin.begin(), twin.end());
            list.assign(std::move(all));
        } else {
            QVERIFY(list.copy() == twin);
        }
        QCOMPARE(list.size(), twin.size());
        QCOMPARE(list.isEmpty(), twin.empty());
        for (size_t i = 0; i < twin.size(); ++i) {
            QVERIFY(list.at(i) == twin[i]);
        }
    }
}

void ItemListTest::insertionBehavesAsAVector()
{
    QRandomGenerator random(4);
    for (int round = 0; round < 20; ++round) {
        ItemList list;
        SlideItems twin;
        int number = 0;
        for (int step = 0; step < 60; ++step) {
            // Few ones and many, so that pieces are filled, split and taken over whole.
            SlideItems several;
            const int count = random.bounded(4) == 0 ? random.bounded(2000) : random.bounded(4);
            for (int i = 0; i < count; ++i) {
                several.push_back(item(number++));
            }
            const auto index = random.bounded(static_cast<int>(twin.size()) + 1);
            twin.insert(twin.begin() + index, several.begin(), several.end());
            ItemList inserted(SlideItems{several});
            list.insert(index, std::move(inserted));
            for (int i = random.bounded(5); i > 0 && !twin.empty(); --i) {
                const auto place = random.bounded(static_cast<int>(twin.size()));
                QCOMPARE(list.takeAt(place), twin.at(place));
                twin.erase(twin.begin() + place);
            }
            QCOMPARE(list.size(), twin.size());
            QVERIFY(list.copy() == twin);
        }
        for (size_t i = 0; i < twin.size(); ++i) {
            QVERIFY(list.at(i) == twin[i]);
        }
        SlideItems inPieces;
        list.forEachPiece([&](const SlideItems& piece, size_t begin) {
            QCOMPARE(begin, inPieces.size());
            inPieces.insert(inPieces.end(), piece.begin(), piece.end());
        });
        QVERIFY(inPieces == twin);
        size_t visited = 0;
        list.forEach([&](const SlideItemPtr& one, size_t place) { visited += place == visited && one == twin[place]; });
        QCOMPARE(visited, twin.size());
    }
}

void ItemListTest::copiesAreIndependent()
{
    QRandomGenerator random(6);
    std::vector<ItemList> lists(1);
    std::vector<SlideItems> twins(1);
    int number = 0;
    for (int step = 0; step < 5000; ++step) {
        const auto which = random.bounded(static_cast<int>(lists.size()));
        ItemList& list = lists[which];
        SlideItems& twin = twins[which];
        const int kind = random.bounded(100);
        if (kind < 60) {
            twin.push_back(item(number++));
            list.append(twin.back());
        } else if (kind < 80 && !twin.empty()) {
            const auto place = random.bounded(static_cast<int>(twin.size()));
            QCOMPARE(list.takeAt(place), twin.at(place));
            twin.erase(twin.begin() + place);
        } else if (kind < 90) {
            const auto place = random.bounded(static_cast<int>(twin.size()) + 1);
            SlideItems several(700, item(number++));
            twin.insert(twin.begin() + place, several.begin(), several.end());
            list.insert(place, ItemList(std::move(several)));
        } else if (kind == 90) {
            QVERIFY(list.takeAll() == twin);
            QVERIFY(list.isEmpty());
            twin.clear();
        } else if (lists.size() < 5) {
            const auto copy = list;
            lists.push_back(copy);
            twins.push_back(SlideItems(twin));
        } else {
            const auto other = random.bounded(static_cast<int>(lists.size()));
            lists[other] = lists[which];
            twins[other] = SlideItems(twins[which]);
        }
        if (step % 50 == 0) {
            for (size_t i = 0; i < lists.size(); ++i) {
                QVERIFY(lists[i].copy() == twins[i]);
            }
        }
    }
}

void ItemListTest::removedItemsAreReleased()
{
    const auto first = item(1);
    const auto second = item(2);
    ItemList list;
    list.append(first);
    list.append(second);
    QCOMPARE(int(first->ref), 2);
    list.takeAt(0);
    QCOMPARE(int(first->ref), 1);
    list.takeAt(0);
    QCOMPARE(int(second->ref), 1);
}

void ItemListTest::scatteredListIsToldFromOthers()
{
    ItemList list(SlideItems(200000, item(0)));
    for (size_t place = 0; place < 1000; ++place) {
        list.insert(place * 190, ItemList({item(1)}));
    }
    QVERIFY(!list.isScattered());
    for (size_t place = list.size(); place > 0; --place) {
        if (place % 256 != 0) {
            list.takeAt(place - 1);
        }
    }
    QVERIFY(list.isScattered());
    list.assign(list.copy());
    QVERIFY(!list.isScattered());
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::ItemListTest)
#include "ItemListTest.moc"
