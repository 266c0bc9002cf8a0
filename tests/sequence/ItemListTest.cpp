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
    void removedItemsAreReleased();
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

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::ItemListTest)
#include "ItemListTest.moc"
