#include "VersionText.h"

#include <QTest>

using namespace frameflow;

class VersionTextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void trimmingKeepsFromTheFirstToTheLastVersionCharacter_data();
    void trimmingKeepsFromTheFirstToTheLastVersionCharacter();
    void versionsAreParsedFieldByField_data();
    void versionsAreParsedFieldByField();
    void whatIsZeroThroughoutIsNoVersion();
    void theFirstFieldThatDiffersSaysWhatIsNewer_data();
    void theFirstFieldThatDiffersSaysWhatIsNewer();
    void plainTextsReadTheSame();
    void comparingGoesFieldByFieldAndThenByTheirNumber_data();
    void comparingGoesFieldByFieldAndThenByTheirNumber();
};

void VersionTextTest::trimmingKeepsFromTheFirstToTheLastVersionCharacter_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("trimmed");
    QTest::newRow("blanks and a line end") << QByteArray("  2.4.1\r\n") << QByteArray("2.4.1");
    QTest::newRow("nothing to trim") << QByteArray("2.4.1") << QByteArray("2.4.1");
    QTest::newRow("words around") << QByteArray("version 2.4 is out!") << QByteArray("2.4");
    QTest::newRow("letters within stay") << QByteArray("<b>2.4</b> of 2026") << QByteArray("2.4</b> of 2026");
    QTest::newRow("dots count") << QByteArray("x.2x") << QByteArray(".2");
    QTest::newRow("a single character") << QByteArray("version 5") << QByteArray();
    QTest::newRow("a single dot") << QByteArray("None.") << QByteArray();
    QTest::newRow("none") << QByteArray("no version here") << QByteArray();
    QTest::newRow("empty") << QByteArray() << QByteArray();
    QTest::newRow("two characters") << QByteArray("v42") << QByteArray("42");
    QTest::newRow("a null byte within") << QByteArray("2\0.4", 4) << QByteArray("2\0.4", 4);
}

void VersionTextTest::trimmingKeepsFromTheFirstToTheLastVersionCharacter()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, trimmed);
    std::string inPlace = text.toStdString();
    trimToVersionChars(inPlace);
    QCOMPARE(QByteArray::fromStdString(inPlace), trimmed);
}

void VersionTextTest::versionsAreParsedFieldByField_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("isVersion");
    QTest::addColumn<QList<int>>("numbers");
    const auto good = [](const char* text, const QList<int>& numbers) {
        QTest::newRow(text) << QByteArray(text) << true << numbers;
    };
    const auto bad = [](const char* text) {
        QTest::newRow(*text == '\0' ? "empty" : text) << QByteArray(text) << false << QList<int>{0, 0, 0};
    };
    good("2.4", {2, 4, 0});
    good("2.4.1", {2, 4, 1});
    good("1.2.3.4.5.6", {1, 2, 3});
    good("1.2.3.x", {1, 2, 3});
    good("3b.4rc.1beta", {3, 4, 1});
    good(" \t\n2. 4.\v1", {2, 4, 1});
    good("+2.-4.+1", {2, -4, 1});
    good("007.010", {7, 10, 0});
    good("2147483647.-2147483648", {2147483647, -2147483647 - 1, 0});
    good("0.0", {0, 0, 0});
    bad("");
    bad("5");
    bad("2,4");
    bad(".");
    bad("5.");
    bad(".5");
    bad("2..1");
    bad("2.4.");
    bad("2.4..1");
    bad("a.b");
    bad("2.b");
    bad("2.4.b");
    bad("2.+.1");
    bad("2.+-4");
    bad("2.--4");
    bad("2.- 4");
    bad("2147483648.0");
    bad("1.-2147483649");
    bad("1.2.99999999999999999999");
}

void VersionTextTest::versionsAreParsedFieldByField()
{
    QFETCH(QByteArray, text);
    QFETCH(bool, isVersion);
    QFETCH(QList<int>, numbers);
    int major = 9;
    int minor = 9;
    int patch = 9;
    QCOMPARE(parseVersion(std::string_view(text.constData(), static_cast<size_t>(text.size())), major, minor, patch),
        isVersion);
    QCOMPARE((QList<int>{major, minor, patch}), numbers);
}

void VersionTextTest::whatIsZeroThroughoutIsNoVersion()
{
    QVERIFY(isValidVersion(std::string_view("0.1")));
    QVERIFY(isValidVersion(std::string_view("0.0.1")));
    QVERIFY(isValidVersion(std::string_view("-1.0")));
    QVERIFY(!isValidVersion(std::string_view("0.0")));
    QVERIFY(!isValidVersion(std::string_view("0.0.0.7")));
    QVERIFY(!isValidVersion(std::string_view("5")));
}

void VersionTextTest::theFirstFieldThatDiffersSaysWhatIsNewer_data()
{
    QTest::addColumn<QByteArray>("current");
    QTest::addColumn<QByteArray>("candidate");
    QTest::addColumn<bool>("isNewer");
    const auto row = [](const char* current, const char* candidate, bool isNewer) {
        QTest::addRow("%s to %s", current, candidate) << QByteArray(current) << QByteArray(candidate) << isNewer;
    };
    row("2.4", "2.4.1", true);
    row("2.9.5", "2.10", true);
    row("2.9.9", "3.0", true);
    row("2.4.1", "2.4.1", false);
    row("2.4.0", "2.4", false);
    row("2.4.1", "2.4", false);
    row("3.0", "2.9.9", false);
    row("2.4.1", "2.4.1.9", false);
    row("2.4", "", false);
    row("2.4", "5", false);
    row("2.4", "9.9.x", false);
    row("nonsense", "0.0.1", true);
    row("nonsense", "nothing", false);
    row("0.1", "-1.9", false);
}

void VersionTextTest::theFirstFieldThatDiffersSaysWhatIsNewer()
{
    QFETCH(QByteArray, current);
    QFETCH(QByteArray, candidate);
    QFETCH(bool, isNewer);
    QCOMPARE(isNewerVersion(current.toStdString(), candidate.toStdString()), isNewer);
}

void VersionTextTest::plainTextsReadTheSame()
{
    const char* const none = nullptr;
    QVERIFY(isValidVersion("2.4"));
    QVERIFY(!isValidVersion("5"));
    QVERIFY(!isValidVersion(none));
    QVERIFY(isNewerVersion("2.4", "2.4.1"));
    QVERIFY(!isNewerVersion("2.4.1", "2.4"));
    QVERIFY(isNewerVersion(none, "0.1"));
    QVERIFY(!isNewerVersion("0.1", none));
}

void VersionTextTest::comparingGoesFieldByFieldAndThenByTheirNumber_data()
{
    QTest::addColumn<QString>("receiver");
    QTest::addColumn<QString>("other");
    QTest::addColumn<int>("result");
    const auto row = [](const char* receiver, const char* other, int result) {
        QTest::addRow("%s with %s", receiver, other)
            << QString::fromUtf8(receiver) << QString::fromUtf8(other) << result;
    };
    row("2.4.1", "2.4.1", 0);
    row("2.4.1", "2.4.2", -1);
    row("2.10", "2.9.5", 1);
    row("1.2.0", "1.2", 1);
    row("1.2", "1.2.0", -1);
    row("2.4", "2.4.0", -1);
    row("1.2.3.4.5", "1.2.3.4.6", -1);
    row("3", "2.9", 1);
    row("3b", "3", 0);
    row("1.x", "1.0", 0);
    row("1.x", "1.1", -1);
    row("", "", 0);
    row("", "0", 0);
    row("", "0.1", -1);
    row("1.", "1", 1);
    row("-1.0", "0.0", -1);
    row("99999999999.0", "2147483647.0", 0);
}

void VersionTextTest::comparingGoesFieldByFieldAndThenByTheirNumber()
{
    QFETCH(QString, receiver);
    QFETCH(QString, other);
    QFETCH(int, result);
    QCOMPARE(static_cast<int>(compareVersion(receiver, other)), result);
    QCOMPARE(static_cast<int>(compareVersion(other, receiver)), -result);
}

QTEST_GUILESS_MAIN(VersionTextTest)
#include "VersionTextTest.moc"
