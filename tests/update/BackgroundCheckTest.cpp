#include "BackgroundCheck.h"

#include "HttpsServer.h"
#include "StaysTrue.h"

#include <QElapsedTimer>
#include <QTest>

#include <optional>

using namespace frameflow;
using namespace std::chrono_literals;

class BackgroundCheckTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { mAuthority = std::make_unique<TestAuthority>(); }

    void aCheckIsDueAWeekAfterTheLast_data();
    void aCheckIsDueAWeekAfterTheLast();
    void theAnswerComesOnTheMainThread();
    void aFailureIsAnAnswerToo();
    void whoeverStartsItDoesNotWait();
    void destroyedItIsSilentAndWaitsForNoServer();
    void itMayBeDestroyedByItsOwnAnswer();

private:
    UpdateServer at(const std::string& host) const { return {host, {mAuthority->certificateFile(), 60s, nullptr}}; }

    std::unique_ptr<TestAuthority> mAuthority;
};

void BackgroundCheckTest::aCheckIsDueAWeekAfterTheLast_data()
{
    QTest::addColumn<QDateTime>("last");
    QTest::addColumn<bool>("isDue");
    const QDateTime now(QDate(2026, 3, 31), QTime(12, 0), Qt::UTC);
    QTest::newRow("never") << QDateTime() << true;
    QTest::newRow("just now") << now << false;
    QTest::newRow("a week ago") << now.addSecs(-604800) << false;
    QTest::newRow("a moment more") << now.addMSecs(-604800001) << true;
    QTest::newRow("in another time zone") << now.addSecs(-604801).toOffsetFromUtc(9 * 3600) << true;
    QTest::newRow("to come") << now.addDays(30) << false;
}

void BackgroundCheckTest::aCheckIsDueAWeekAfterTheLast()
{
    QFETCH(QDateTime, last);
    QFETCH(bool, isDue);
    QCOMPARE(isUpdateCheckDue(last, QDateTime(QDate(2026, 3, 31), QTime(12, 0), Qt::UTC)), isDue);
}

void BackgroundCheckTest::theAnswerComesOnTheMainThread()
{
    const HttpsServer server(*mAuthority, QStringLiteral("text"), QStringLiteral("2.4.1"));
    std::optional<UpdateAnswer> answer;
    const QThread* thread = nullptr;
    const BackgroundCheck check(QStringLiteral("2.4"), at(server.host()), [&](const UpdateAnswer& given) {
        answer = given;
        thread = QThread::currentThread();
    });
    QTRY_VERIFY_WITH_TIMEOUT(answer, 20000);
    QCOMPARE(answer->result, 1);
    QCOMPARE(answer->version, QStringLiteral("2.4.1"));
    QCOMPARE(thread, QThread::currentThread());
}

void BackgroundCheckTest::aFailureIsAnAnswerToo()
{
    const HttpsServer server(*mAuthority, QStringLiteral("hang-up"));
    std::optional<UpdateAnswer> answer;
    const BackgroundCheck check(
        QStringLiteral("2.4"), at(server.host()), [&](const UpdateAnswer& given) { answer = given; });
    QTRY_VERIFY_WITH_TIMEOUT(answer, 20000);
    QCOMPARE(answer->result, -1);
}

void BackgroundCheckTest::whoeverStartsItDoesNotWait()
{
    const HttpsServer server(*mAuthority, QStringLiteral("silent"));
    bool answered = false;
    const BackgroundCheck check(
        QStringLiteral("2.4"), at(server.host()), [&](const UpdateAnswer& /*answer*/) { answered = true; });
    QVERIFY(!answered); // the server never answers, and this point was reached
}

void BackgroundCheckTest::destroyedItIsSilentAndWaitsForNoServer()
{
    HttpsServer server(*mAuthority, QStringLiteral("silent"));
    bool answered = false;
    auto check = std::make_unique<BackgroundCheck>(
        QStringLiteral("2.4"), at(server.host()), [&](const UpdateAnswer& /*answer*/) { answered = true; });
    QTRY_COMPARE_WITH_TIMEOUT(server.requests().size(), 1, 20000);
    QElapsedTimer timer;
    timer.start();
    check.reset();
    QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
    QVERIFY(staysTrueFor(100ms, [&] { return !answered; }));
}

void BackgroundCheckTest::itMayBeDestroyedByItsOwnAnswer()
{
    const HttpsServer server(*mAuthority, QStringLiteral("text"), QStringLiteral("2.4.1"));
    std::unique_ptr<BackgroundCheck> check;
    check = std::make_unique<BackgroundCheck>(
        QStringLiteral("2.4"), at(server.host()), [&](const UpdateAnswer& /*answer*/) { check.reset(); });
    QTRY_VERIFY_WITH_TIMEOUT(!check, 20000);
}

QTEST_GUILESS_MAIN(BackgroundCheckTest)
#include "BackgroundCheckTest.moc"
