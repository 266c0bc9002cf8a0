#include "ByteTable.h"

#include <QHash>
#include <QRandomGenerator>
#include <QTest>

namespace frameflow {

class ByteTableTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void emptyTable();
    void behavesAsAHash();
};

void ByteTableTest::emptyTable()
{
    const ByteTable table(0);
    QCOMPARE(table.find("a", [](quint32) { return QByteArrayView(); }), ByteTable::none);
}

void ByteTableTest::behavesAsAHash()
{
    QRandomGenerator random(7);
    constexpr int most = 5000;
    QByteArrayList keys;
    for (int i = 0; i < most; ++i) {
        keys.append(QByteArray::number(random.bounded(most)));
    }
    keys[3] = "";
    const auto keyOf = [&](quint32 number) { return QByteArrayView(keys[number]); };
    ByteTable table(most);
    QHash<QByteArray, quint32> hash;
    for (quint32 i = 0; i < most; ++i) {
        if (!hash.contains(keys[i])) {
            hash.insert(keys[i], i);
        }
        QCOMPARE(table.findOrInsert(keys[i], i, keyOf), hash.value(keys[i]));
    }
    for (int i = -10; i < most + 10; ++i) {
        const auto key = QByteArray::number(i);
        QCOMPARE(table.find(key, keyOf), hash.value(key, ByteTable::none));
    }
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::ByteTableTest)
#include "ByteTableTest.moc"
