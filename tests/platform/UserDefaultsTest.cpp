#include "UserDefaults.h"

#include "MainThread.h"
#include "PropertyList.h"
#include "RectText.h"
#include "SettingsKeys.h"
#include "TestFiles.h"

#include <QFile>
#include <QTest>

#include <cmath>
#include <limits>
#include <optional>
#include <vector>

using namespace frameflow;

namespace {

const QString someKey = QStringLiteral("someKey");

QByteArray contentsOf(const QByteArray& path)
{
    QFile file(QString::fromUtf8(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(not readable)");
}

} // namespace

class UserDefaultsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void standardFileIsInTheConfigurationFolder();
    void registeredValuesStandBeneathTheUsers();
    void removalMakesTheRegisteredValueVisible();
    void setInvalidIsARemoval();
    void missingDefaultsResourceRegistersNothing();
    void absentValues_data();
    void absentValues();
    void conversions_data();
    void conversions();
    void conversionsOfTheFilesText_data();
    void conversionsOfTheFilesText();
    void observersAreToldTheKeyAfterTheChange();
    void observersAreNotToldOfTheSameValue_data();
    void observersAreNotToldOfTheSameValue();
    void removalIsTold();
    void observerMayEndItsOwnObservation();
    void observerMayEndAnothersObservation();
    void observerMayAddAnObservation();
    void observerMayWrite();
    void observationMayOutliveTheStore();
    void everyValueSurvivesARestart_data();
    void everyValueSurvivesARestart();
    void keysStandInGeneralAsNamed();
    void numbersAreWrittenForPeople();
    void foreignGroupsAndKeysAreKept();

private:
    QString path() const { return QString::fromUtf8(mFolder->pathOf("frameflow.conf")); }

    std::optional<TestFolder> mFolder;
};

void UserDefaultsTest::init()
{
    mFolder.emplace();
}

void UserDefaultsTest::standardFileIsInTheConfigurationFolder()
{
    QCOMPARE(UserDefaults::standardFilePath(),
        qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/quillory/frameflow.conf"));
}

void UserDefaultsTest::registeredValuesStandBeneathTheUsers()
{
    UserDefaults defaults(path());
    QVERIFY(!defaults.contains(keys::sort));
    defaults.registerDefaults({{keys::sort, QStringLiteral("name")}});
    QCOMPARE(defaults.stringValue(keys::sort), QStringLiteral("name"));
    QVERIFY(defaults.contains(keys::sort));
    defaults.setValue(keys::sort, QStringLiteral("date"));
    QCOMPARE(defaults.stringValue(keys::sort), QStringLiteral("date"));
    defaults.registerDefaults({});
    QCOMPARE(defaults.stringValue(keys::sort), QStringLiteral("date"));
    defaults.removeValue(keys::sort);
    QVERIFY(!defaults.contains(keys::sort));
    defaults.synchronize();
    QVERIFY(!contentsOf(mFolder->pathOf("frameflow.conf")).contains("sort"));
}

void UserDefaultsTest::removalMakesTheRegisteredValueVisible()
{
    UserDefaults defaults(path());
    defaults.registerDefaults({{keys::imageEditorPath, QStringLiteral("/registered")}});
    defaults.setValue(keys::imageEditorPath, QStringLiteral("/users"));
    QVERIFY(defaults.synchronize());
    defaults.removeValue(keys::imageEditorPath);
    QCOMPARE(defaults.stringValue(keys::imageEditorPath), QStringLiteral("/registered"));
    QVERIFY(defaults.synchronize());
    const UserDefaults again(path());
    QVERIFY(!again.contains(keys::imageEditorPath));
}

void UserDefaultsTest::setInvalidIsARemoval()
{
    UserDefaults defaults(path());
    defaults.setValue(keys::sort, QStringLiteral("date"));
    defaults.setValue(keys::sort, QVariant());
    QVERIFY(!defaults.contains(keys::sort));
    QVERIFY(defaults.synchronize());
    QVERIFY(!UserDefaults(path()).contains(keys::sort));
}

void UserDefaultsTest::missingDefaultsResourceRegistersNothing()
{
    UserDefaults defaults(path());
    const auto read = readPropertyList(QByteArray());
    defaults.registerDefaults(read ? read->toMap() : QVariantMap());
    QVERIFY(!defaults.contains(keys::slideInterval));
    QCOMPARE(defaults.floatValue(keys::slideInterval), 0.0F);
    QVERIFY(defaults.boolValueOrTrue(keys::showWelcome));
}

void UserDefaultsTest::absentValues_data()
{
    QTest::addColumn<QString>("key");
    for (const auto& key : {keys::slideInterval, keys::sort, keys::endMode, keys::transition, keys::cursor,
             keys::imageFitMode, keys::maxFolderLevel, keys::showNewItemsASAP, keys::autoStart, keys::showAdds,
             keys::addInterval, keys::addFolder, keys::showFilePath, keys::showFileName, keys::imageEditorPath,
             keys::movieEditorPath, keys::recentFolderBookmarks, keys::lastUsedOpenDirectory, keys::openLastUsedFolder,
             keys::showWelcome, keys::hintsShown, keys::screenRectFrame, keys::gridWindowRect,
             keys::autoCheckNewVersion, keys::lastUpdateChecked, keys::ignoreVersion, keys::navLastRootDirectory}) {
        QTest::newRow(qPrintable(key)) << key;
    }
}

void UserDefaultsTest::absentValues()
{
    QFETCH(QString, key);
    const UserDefaults defaults(path());
    QVERIFY(!defaults.contains(key));
    QVERIFY(!defaults.value(key).isValid());
    QCOMPARE(defaults.boolValue(key), false);
    QCOMPARE(defaults.boolValueOrTrue(key), true);
    QCOMPARE(defaults.integerValue(key), qint64(0));
    QCOMPARE(defaults.floatValue(key), 0.0F);
    QCOMPARE(defaults.stringValue(key), QString());
    QVERIFY(!defaults.dateValue(key).isValid());
    QCOMPARE(defaults.dataValue(key), QByteArray());
    QVERIFY(defaults.value(key).toList().isEmpty());
    QVERIFY(rectFromText(defaults.stringValue(key)).isNull());
    QVERIFY(!QFile::exists(path())); // reading creates nothing
}

void UserDefaultsTest::conversions_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("truth");
    QTest::addColumn<qint64>("integer");
    QTest::addColumn<float>("number");
    const auto row = [](const char* name, const QVariant& value, bool truth, qint64 integer, float number) {
        QTest::newRow(name) << value << truth << integer << number;
    };
    constexpr qint64 largest = 9000000000000000000;
    constexpr float largestFloat = std::numeric_limits<float>::max();
    row("true", true, true, 1, 1);
    row("false", false, false, 0, 0);
    row("integer", 3, true, 3, 3);
    row("zero", 0, false, 0, 0);
    row("negative", -1, true, -1, -1);
    row("fraction", 2.75, true, 2, 2.75F);
    row("negative fraction", -2.75, true, -2, -2.75F);
    row("float", 0.1F, true, 0, 0.1F);
    row("digit as text", QStringLiteral("3"), true, 3, 3);
    row("fraction as text", QStringLiteral("2.5"), true, 2, 2.5F);
    row("exponent as text", QStringLiteral("25e-1"), true, 2, 2.5F);
    row("leading point", QStringLiteral(".5"), true, 0, 0.5F);
    row("sign", QStringLiteral("-3"), true, -3, -3);
    row("plus", QStringLiteral("+3"), true, 3, 3);
    row("blanks around", QStringLiteral(" 3 "), true, 3, 3);
    row("number with unit", QStringLiteral("3 seconds"), true, 3, 3);
    row("text zero", QStringLiteral("0"), false, 0, 0);
    row("text zeros", QStringLiteral("00.0"), false, 0, 0);
    row("YES", QStringLiteral("YES"), true, 0, 0);
    row("NO", QStringLiteral("NO"), false, 0, 0);
    row("yes with blanks", QStringLiteral(" yes "), true, 0, 0);
    row("text true", QStringLiteral("True"), true, 1, 1);
    row("text false", QStringLiteral("false"), false, 0, 0);
    row("word", QStringLiteral("abc"), false, 0, 0);
    row("empty text", QString(), false, 0, 0);
    row("bytes of a digit", QByteArray("3"), true, 3, 3);
    row("other bytes", QByteArray("\xFF\0\1", 3), false, 0, 0);
    row("list", QVariantList{1, 2}, false, 0, 0);
    row("empty list", QVariantList(), false, 0, 0);
    row("date", QDateTime(QDate(2024, 1, 2), QTime(3, 4), Qt::UTC), false, 0, 0);
    row("not a number", std::nan(""), false, 0, 0);
    row("text nan", QStringLiteral("nan"), false, 0, 0);
    row("infinite", std::numeric_limits<double>::infinity(), false, 0, 0);
    row("huge", 1e300, true, largest, largestFloat);
    row("huge and negative", -1e300, true, -largest, -largestFloat);
    row("huge text", QStringLiteral("1e999"), false, 0, 0);
    row("many digits", QString(300, QLatin1Char('9')), true, largest, largestFloat);
    row("too many digits", QString(5000, QLatin1Char('9')), false, 0, 0);
}

void UserDefaultsTest::conversions()
{
    QFETCH(QVariant, value);
    const auto check = [&](const UserDefaults& defaults) {
        QTEST(defaults.boolValue(someKey), "truth");
        QTEST(defaults.boolValueOrTrue(someKey), "truth");
        QTEST(defaults.integerValue(someKey), "integer");
        QTEST(defaults.floatValue(someKey), "number");
    };
    {
        UserDefaults defaults(path());
        defaults.registerDefaults({{someKey, value}});
        check(defaults);
        defaults.registerDefaults({});
        defaults.setValue(someKey, value);
        check(defaults);
    }
    UserDefaults restarted(path());
    // The file has no empty lists: an empty list comes back as an absent value.
    const bool isEmptyList = value.typeId() == QMetaType::QVariantList && value.toList().isEmpty();
    QCOMPARE(restarted.contains(someKey), !isEmptyList);
    if (!isEmptyList) {
        check(restarted);
    }
}

void UserDefaultsTest::conversionsOfTheFilesText_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("string");
    QTest::addColumn<qint64>("integer");
    QTest::newRow("number") << QByteArray("3") << QStringLiteral("3") << qint64(3);
    QTest::newRow("quoted number") << QByteArray("\"3\"") << QStringLiteral("3") << qint64(3);
    QTest::newRow("blank in a word") << QByteArray("Cross Fade") << QStringLiteral("Cross Fade") << qint64(0);
    QTest::newRow("decimal comma is a list") << QByteArray("2,5") << QString() << qint64(0);
    QTest::newRow("nothing") << QByteArray() << QString() << qint64(0);
    QTest::newRow("bytes of an unknown type")
        << QByteArray("@Variant(\\0\\0\\x4\\0\\0\\0\\0\\0\\x5Thing)") << QString() << qint64(0);
    QTest::newRow("broken bytes") << QByteArray("@Variant(\\0\\0)") << QString() << qint64(0);
    QTest::newRow("list without end") << QByteArray("@Variant(\\0\\0\\0\\t\\xff\\xff\\xff\\xfe)") << QString()
                                      << qint64(0);
    QTest::newRow("bytes without end") << QByteArray("@Variant(\\0\\0\\0\\f\\0\\x7f\\xff\\xff\\xff)") << QString()
                                       << qint64(0);
}

void UserDefaultsTest::conversionsOfTheFilesText()
{
    QFETCH(QByteArray, text);
    mFolder->addFile("frameflow.conf", "[General]\nsomeKey=" + text + "\n");
    const UserDefaults defaults(path());
    QTEST(defaults.stringValue(someKey), "string");
    QTEST(defaults.integerValue(someKey), "integer");
}

void UserDefaultsTest::observersAreToldTheKeyAfterTheChange()
{
    UserDefaults defaults(path());
    QStringList told;
    const auto note = [&](const QString& key) { told.append(key + QLatin1Char('=') + defaults.stringValue(key)); };
    const auto first = defaults.observe(keys::slideInterval, note);
    const auto second = defaults.observe(keys::slideInterval, note);
    const auto other = defaults.observe(keys::sort, note);
    defaults.setValue(keys::slideInterval, 7);
    QCOMPARE(told, (QStringList{QStringLiteral("slideInterval=7"), QStringLiteral("slideInterval=7")}));
}

void UserDefaultsTest::observersAreNotToldOfTheSameValue_data()
{
    QTest::addColumn<QVariant>("registered");
    QTest::addColumn<QVariant>("set");
    QTest::newRow("number") << QVariant(5) << QVariant(5);
    QTest::newRow("number of another type") << QVariant(5LL) << QVariant(5.0);
    QTest::newRow("number as text") << QVariant(5) << QVariant(QStringLiteral("5"));
    QTest::newRow("boolean as text") << QVariant(true) << QVariant(QStringLiteral("true"));
    QTest::newRow("list of one text") << QVariant(QStringList{QStringLiteral("a")}) << QVariant(QStringLiteral("a"));
    QTest::newRow("list of bytes") << QVariant(QVariantList{QByteArray("a"), QByteArray("b")})
                                   << QVariant(QVariantList{QByteArray("a"), QByteArray("b")});
}

void UserDefaultsTest::observersAreNotToldOfTheSameValue()
{
    QFETCH(QVariant, registered);
    QFETCH(QVariant, set);
    UserDefaults defaults(path());
    defaults.registerDefaults({{someKey, registered}});
    int told = 0;
    const auto observation = defaults.observe(someKey, [&](const QString&) { ++told; });
    defaults.setValue(someKey, set);
    QVERIFY(defaults.synchronize());
    QVERIFY(defaults.synchronize());
    defaults.removeValue(someKey);
    QCOMPARE(told, 0);
    defaults.setValue(someKey, QStringLiteral("another"));
    QCOMPARE(told, 1);
}

void UserDefaultsTest::removalIsTold()
{
    UserDefaults defaults(path());
    int told = 0;
    const auto observation = defaults.observe(keys::sort, [&](const QString&) { ++told; });
    defaults.removeValue(keys::sort);
    QCOMPARE(told, 0);
    defaults.setValue(keys::sort, QStringLiteral("date"));
    defaults.removeValue(keys::sort);
    QCOMPARE(told, 2);
}

void UserDefaultsTest::observerMayEndItsOwnObservation()
{
    UserDefaults defaults(path());
    int told = 0;
    UserDefaults::Observation observation;
    const std::vector<int> captured(1000, 7);
    observation = defaults.observe(someKey, [&told, &observation, captured](const QString&) {
        observation = {};
        told += captured.back() == 7 ? 1 : 100;
    });
    defaults.setValue(someKey, 1);
    defaults.setValue(someKey, 2);
    QCOMPARE(told, 1);
}

void UserDefaultsTest::observerMayEndAnothersObservation()
{
    UserDefaults defaults(path());
    int told = 0;
    UserDefaults::Observation second;
    const auto first = defaults.observe(someKey, [&](const QString&) { second = {}; });
    second = defaults.observe(someKey, [&](const QString&) { ++told; });
    defaults.setValue(someKey, 1);
    QCOMPARE(told, 0);
}

void UserDefaultsTest::observerMayAddAnObservation()
{
    UserDefaults defaults(path());
    int told = 0;
    std::vector<UserDefaults::Observation> added;
    const auto first = defaults.observe(someKey, [&](const QString&) {
        for (int number = 0; number < 50; ++number) {
            added.push_back(defaults.observe(someKey, [&](const QString&) { ++told; }));
            added.push_back(defaults.observe(QString::number(number), [](const QString&) {}));
        }
    });
    defaults.setValue(someKey, 1);
    QCOMPARE(told, 0);
    added.resize(2);
    defaults.setValue(someKey, 2);
    QCOMPARE(told, 1);
}

void UserDefaultsTest::observerMayWrite()
{
    UserDefaults defaults(path());
    QStringList seen;
    const auto first = defaults.observe(someKey, [&](const QString&) {
        seen.append(defaults.stringValue(someKey));
        if (defaults.integerValue(someKey) < 3) {
            defaults.setValue(someKey, defaults.integerValue(someKey) + 1);
            QVERIFY(defaults.synchronize());
        }
    });
    defaults.setValue(someKey, 1);
    QCOMPARE(seen, (QStringList{QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3")}));
    QVERIFY(defaults.synchronize());
    QCOMPARE(UserDefaults(path()).integerValue(someKey), qint64(3));
}

void UserDefaultsTest::observationMayOutliveTheStore()
{
    UserDefaults::Observation observation;
    {
        UserDefaults defaults(path());
        observation = defaults.observe(someKey, [](const QString&) {});
        defaults.setValue(someKey, 1);
    }
    // What the store had posted finds no store.
    bool turned = false;
    postToMainThread([&] { turned = true; });
    QTRY_VERIFY(turned);
    QCOMPARE(UserDefaults(path()).integerValue(someKey), qint64(1));
}

void UserDefaultsTest::everyValueSurvivesARestart_data()
{
    QTest::addColumn<QVariant>("value");
    QByteArray allBytes;
    for (int byte = 0; byte < 256; ++byte) {
        allBytes += static_cast<char>(byte);
    }
    QTest::newRow("text") << QVariant(QStringLiteral("Cross Fade"));
    QTest::newRow("odd text") << QVariant(QStringLiteral(u" a;b,c\"d\\e%41#[x]=\n\t@Invalid()\u00E4\U0001F3D4 "));
    QTest::newRow("text like bytes") << QVariant(QStringLiteral("@ByteArray(x)"));
    QTest::newRow("at sign") << QVariant(QStringLiteral("@"));
    QTest::newRow("text with NUL") << QVariant(QStringLiteral("a") + QChar(0) + QStringLiteral("b"));
    QTest::newRow("bytes") << QVariant(allBytes);
    QTest::newRow("no bytes") << QVariant(QByteArray(""));
    QTest::newRow("date") << QVariant(QDateTime(QDate(2024, 2, 29), QTime(12, 30, 5, 123), Qt::UTC));
    QTest::newRow("local date") << QVariant(QDateTime(QDate(1969, 7, 20), QTime(20, 17)));
    QTest::newRow("one bookmark") << QVariant(QVariantList{allBytes});
    QTest::newRow("ten bookmarks") << QVariant(
        QVariantList{allBytes, QByteArray("b"), QByteArray(","), QByteArray("\""), QByteArray("\\"), QByteArray("@"),
            QByteArray("\n"), QByteArray("\0", 1), QByteArray("a, b"), allBytes});
    QTest::newRow("rectangle") << QVariant(textFromRect(QRectF(-1280.25, 0, 1280, 800)));
    QTest::newRow("url text") << QVariant(QStringLiteral("file:///a%20b/%FF%2C"));
    QTest::newRow("long text") << QVariant(QString(200000, QLatin1Char('x')));
}

void UserDefaultsTest::everyValueSurvivesARestart()
{
    QFETCH(QVariant, value);
    {
        UserDefaults defaults(path());
        defaults.setValue(someKey, value);
        QCOMPARE(defaults.value(someKey), value);
        QVERIFY(defaults.synchronize());
    }
    UserDefaults again(path());
    QCOMPARE(again.value(someKey).typeId(), value.typeId());
    QCOMPARE(again.value(someKey), value);
    // And a second time, written by one that had read it.
    again.setValue(QStringLiteral("another"), 1);
    QVERIFY(again.synchronize());
    QCOMPARE(UserDefaults(path()).value(someKey), value);
}

void UserDefaultsTest::keysStandInGeneralAsNamed()
{
    QStringList names;
    {
        UserDefaults defaults(path());
        for (const auto& key : {keys::slideInterval, keys::endMode, keys::imageFitMode, keys::screenRectFrame,
                 keys::addFolder, keys::recentFolderBookmarks, keys::showNewItemsASAP, keys::navLastRootDirectory}) {
            defaults.setValue(key, QStringLiteral("x"));
            names.append(key);
        }
    }
    names.sort();
    const QByteArrayList lines = contentsOf(mFolder->pathOf("frameflow.conf")).trimmed().split('\n');
    QCOMPARE(lines.front(), QByteArray("[General]"));
    QStringList written;
    for (const QByteArray& line : lines.sliced(1)) {
        QVERIFY(line.endsWith("=x"));
        written.append(QString::fromUtf8(line.chopped(2)));
    }
    written.sort();
    QCOMPARE(written, names);
}

void UserDefaultsTest::numbersAreWrittenForPeople()
{
    {
        UserDefaults defaults(path());
        defaults.setValue(keys::slideInterval, 2.1F);
        defaults.setValue(keys::autoStart, true);
        defaults.setValue(keys::maxFolderLevel, -1);
        defaults.setValue(keys::screenRectFrame, textFromRect(QRectF(0, 0, 1280, 800)));
    }
    QCOMPARE(contentsOf(mFolder->pathOf("frameflow.conf")),
        QByteArray("[General]\nKLScreenRectFrameTHING=\"{{0, 0}, {1280, 800}}\"\nMaxFolderLevel=-1\nautoStart=true\n"
                   "slideInterval=2.1\n"));
}

void UserDefaultsTest::foreignGroupsAndKeysAreKept()
{
    mFolder->addFile("frameflow.conf", "[General]\nforeign=1\n\n[Other%20Group]\nsort=size\na\\b=2\n");
    {
        UserDefaults defaults(path());
        QVERIFY(!defaults.contains(keys::sort));
        defaults.setValue(keys::sort, QStringLiteral("url"));
    }
    const QByteArray text = contentsOf(mFolder->pathOf("frameflow.conf"));
    QVERIFY2(text.contains("foreign=1\nsort=url\n"), text.constData());
    QVERIFY2(text.contains("[Other%20Group]\na\\b=2\nsort=size\n"), text.constData());
}

QTEST_GUILESS_MAIN(UserDefaultsTest)
#include "UserDefaultsTest.moc"
