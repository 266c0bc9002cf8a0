#include "PropertyList.h"

#include "SettingsKeys.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QTest>

using namespace frameflow;

namespace {

QByteArray list(const QByteArray& contents)
{
    return R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0">)" + contents + "</plist>";
}

} // namespace

class PropertyListTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsEveryElement_data();
    void readsEveryElement();
    void malformedTextIsAnError_data();
    void malformedTextIsAnError();
    void everyTruncationIsAnError();
    void nestingIsLimited();
    void expandingEntitiesAreRefused();
    void readsTheRegisteredDefaults();
};

void PropertyListTest::readsEveryElement_data()
{
    QTest::addColumn<QByteArray>("xml");
    QTest::addColumn<QVariant>("value");
    const auto row
        = [](const char* name, const QByteArray& xml, const QVariant& value) { QTest::newRow(name) << xml << value; };
    row("string", "<string>a &amp; b</string>", QStringLiteral("a & b"));
    row("string keeps its blanks", "<string> a\n</string>", QStringLiteral(" a\n"));
    row("empty string", "<string/>", QString());
    row("string with CDATA", "<string><![CDATA[<x>]]></string>", QStringLiteral("<x>"));
    row("integer", "<integer>-7</integer>", qlonglong(-7));
    row("integer with blanks", "<integer> 7 </integer>", qlonglong(7));
    row("largest integer", "<integer>9223372036854775807</integer>", qlonglong(9223372036854775807LL));
    row("real", "<real>2.5</real>", 2.5);
    row("real with exponent", "<real>1e-3</real>", 0.001);
    row("true", "<true/>", true);
    row("false", "<false></false>", false);
    row("date", "<date>2024-02-29T12:30:00Z</date>", QDateTime(QDate(2024, 2, 29), QTime(12, 30), Qt::UTC));
    row("data", "<data>\n\tAAEC\n\t/w==\n</data>", QByteArray("\0\1\2\xFF", 4));
    row("empty data", "<data/>", QByteArray());
    row("array", "<array><integer>1</integer><string>b</string><array/></array>",
        QVariantList{qlonglong(1), QStringLiteral("b"), QVariantList()});
    row("dictionary", "<dict><key>a</key><true/><key>b</key><dict><key>c</key><real>1</real></dict></dict>",
        QVariantMap{{QStringLiteral("a"), true}, {QStringLiteral("b"), QVariantMap{{QStringLiteral("c"), 1.0}}}});
    row("empty dictionary", "<dict/>", QVariantMap());
    row("comments", "<!-- a --><array><!-- b --><true/><!-- c --></array>", QVariantList{true});
    row("last of equal keys", "<dict><key>a</key><true/><key>a</key><false/></dict>",
        QVariantMap{{QStringLiteral("a"), false}});
}

void PropertyListTest::readsEveryElement()
{
    QFETCH(QByteArray, xml);
    QFETCH(QVariant, value);
    const auto read = readPropertyList(list(xml));
    QVERIFY2(read.has_value(), read ? "" : qPrintable(read.error()));
    QCOMPARE(read->typeId(), value.typeId());
    QCOMPARE(*read, value);
}

void PropertyListTest::malformedTextIsAnError_data()
{
    QTest::addColumn<QByteArray>("xml");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("no XML") << QByteArray("slideInterval = 5");
    QTest::newRow("binary") << QByteArray("bplist00\xD1\x01\x02\0\0\0", 14);
    QTest::newRow("zeros") << QByteArray(1000, '\0');
    QTest::newRow("another root") << QByteArray("<dict><key>a</key><true/></dict>");
    QTest::newRow("no value") << list("");
    QTest::newRow("text alone") << list("text");
    QTest::newRow("unknown element") << list("<text>a</text>");
    QTest::newRow("unknown element inside") << list("<array><true/><set/></array>");
    QTest::newRow("bad integer") << list("<integer>seven</integer>");
    QTest::newRow("empty integer") << list("<integer/>");
    QTest::newRow("integer with fraction") << list("<integer>7.5</integer>");
    QTest::newRow("integer too large") << list("<integer>9223372036854775808</integer>");
    QTest::newRow("bad real") << list("<real>1,5</real>");
    QTest::newRow("bad date") << list("<date>yesterday</date>");
    QTest::newRow("impossible date") << list("<date>2023-02-29T12:30:00Z</date>");
    QTest::newRow("bad data") << list("<data>A*==</data>");
    QTest::newRow("element inside text") << list("<string>a<b/></string>");
    QTest::newRow("value without key") << list("<dict><true/></dict>");
    QTest::newRow("key without value") << list("<dict><key>a</key></dict>");
    QTest::newRow("two keys") << list("<dict><key>a</key><key>b</key></dict>");
    QTest::newRow("mismatched tags") << list("<array><true/></dict>");
    QTest::newRow("bad encoding") << list("<string>\xFF\xFE</string>");
    QTest::newRow("two values") << list("<true/><false/>");
    QTest::newRow("something after the end") << list("<true/>") + "<plist/>";
}

void PropertyListTest::malformedTextIsAnError()
{
    QFETCH(QByteArray, xml);
    const auto read = readPropertyList(xml);
    QVERIFY(!read.has_value());
    QVERIFY(!read.error().isEmpty());
}

void PropertyListTest::everyTruncationIsAnError()
{
    const QByteArray whole = list("<dict><key>a</key><array><true/><data>AA==</data></array></dict>");
    QVERIFY(readPropertyList(whole).has_value());
    for (qsizetype length = 0; length < whole.size(); ++length) {
        QVERIFY2(!readPropertyList(whole.left(length)).has_value(), qPrintable(QString::number(length)));
    }
}

void PropertyListTest::nestingIsLimited()
{
    const auto nested = [](int levels) {
        return list(QByteArray("<array>").repeated(levels) + QByteArray("</array>").repeated(levels));
    };
    QVERIFY(readPropertyList(nested(64)).has_value());
    QVERIFY(!readPropertyList(nested(100)).has_value());
    QVERIFY(!readPropertyList(nested(200000)).has_value());
    QVERIFY(!readPropertyList(list(QByteArray("<dict><key>a</key>").repeated(200000))).has_value());
}

void PropertyListTest::expandingEntitiesAreRefused()
{
    QByteArray bomb = "<?xml version=\"1.0\"?><!DOCTYPE plist [<!ENTITY a0 \"aaaaaaaaaaaaaaaa\">";
    for (int level = 1; level < 30; ++level) {
        const QByteArray inner = "&a" + QByteArray::number(level - 1) + ";";
        bomb += "<!ENTITY a" + QByteArray::number(level) + " \"" + inner.repeated(10) + "\">";
    }
    bomb += "]><plist><string>&a29;</string></plist>";
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!readPropertyList(bomb).has_value());
    QVERIFY(timer.elapsed() < 2000);
    // Nor is a file read that an entity names.
    const auto outside = readPropertyList(
        "<!DOCTYPE plist [<!ENTITY a SYSTEM \"file:///etc/passwd\">]><plist><string>&a;</string></plist>");
    QVERIFY(!outside.has_value() || !outside->toString().contains(QLatin1String("root")));
}

void PropertyListTest::readsTheRegisteredDefaults()
{
    QFile file(QStringLiteral(":/frameflow/UserDefaults.plist"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const auto read = readPropertyList(file.readAll());
    QVERIFY2(read.has_value(), read ? "" : qPrintable(read.error()));
    const QVariantMap expected{
        {keys::slideInterval, 5LL},
        {keys::sort, QStringLiteral("name")},
        {keys::endMode, QStringLiteral("EndModeRewind")},
        {keys::transition, QStringLiteral("Cross Fade")},
        {keys::cursor, QStringLiteral("Arrow")},
        {keys::imageFitMode, QStringLiteral("FitModeFit")},
        {keys::maxFolderLevel, 0LL},
        {keys::showNewItemsASAP, true},
        {keys::autoStart, true},
        {keys::showAdds, false},
        {keys::addInterval, 5LL},
        {keys::showFilePath, false},
        {keys::showFileName, false},
        {keys::openLastUsedFolder, false},
        {keys::showWelcome, true},
        {keys::hintsShown, false},
        {keys::autoCheckNewVersion, true},
    };
    const QVariantMap values = read->toMap();
    QCOMPARE(values.keys(), expected.keys());
    for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
        QCOMPARE(values.value(it.key()), it.value());
    }
}

QTEST_GUILESS_MAIN(PropertyListTest)
#include "PropertyListTest.moc"
