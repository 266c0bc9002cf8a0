#include "ManualClock.h"
#include "ProbeApplications.h"
#include "SettingsKeys.h"
#include "TestFiles.h"
#include "UpdateWindowController.h"
#include "UserDefaults.h"
#include "WebAddresses.h"

#include <QCheckBox>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

using namespace frameflow;

class UpdateWindowTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void theLabelNamesBothVersions();
    void aVersionIsShownAsTextWhateverItHolds();
    void theWindowClosesAfterAMinute();
    void itLivesAsLongAsItsWindow();
    void downloadOpensThePageAndCloses();
    void ignoreStoresTheVersionAndCloses();
    void notNowOnlyCloses();
    void escapeOnlyCloses();
    void closingByTheWindowManagerOnlyCloses();
    void theTimerEndsWithTheWindow();
    void theBoxIsTheSetting_data();
    void theBoxIsTheSetting();
    void whatIsNotClickedIsNotStored();
    void everyControlHasANameAndAKey();
    void theTabKeyGoesRoundTheControls();

private:
    QPushButton* button(const char* name) const
    {
        return mController->window()->findChild<QPushButton*>(QString::fromLatin1(name));
    }
    static void letItGo() { QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); }
    // What is opened in a browser.
    QByteArrayList opened() const { return mBrowser->openedBy("browser"); }
    QVariant ignored() const { return mDefaults->value(keys::ignoreVersion); }

    std::unique_ptr<TestFolder> mFolder;
    std::unique_ptr<UserDefaults> mDefaults;
    ManualClock mClock;
    QPointer<UpdateWindowController> mController;
    std::unique_ptr<ProbeApplications> mBrowser;
};

void UpdateWindowTest::initTestCase()
{
    mBrowser = std::make_unique<ProbeApplications>();
    mBrowser->add("browser", "Network;", {"x-scheme-handler/https"}, "%u");
    mBrowser->setDefault("x-scheme-handler/https", "browser");
}

void UpdateWindowTest::init()
{
    mFolder = std::make_unique<TestFolder>();
    mDefaults = std::make_unique<UserDefaults>(QString::fromUtf8(mFolder->pathOf("frameflow.conf")));
    mBrowser->forget();
    mController = new UpdateWindowController(*mDefaults, mClock);
    mController->setUpdateVersion(QStringLiteral("2.4.1"));
    mController->setCurrentVersion(QStringLiteral("2.4"));
    mController->showWindow(UpdateWindowController::TakesKeyboard::Yes);
}

void UpdateWindowTest::cleanup()
{
    delete mController;
    mDefaults.reset();
}

void UpdateWindowTest::theLabelNamesBothVersions()
{
    QVERIFY(mController->window()->isVisible());
    QCOMPARE(mController->versionLabel()->text(), QStringLiteral("Found v2.4.1, you have v2.4."));
    QCOMPARE(mController->updateVersion(), QStringLiteral("2.4.1"));
    QCOMPARE(mController->currentVersion(), QStringLiteral("2.4"));
}

void UpdateWindowTest::aVersionIsShownAsTextWhateverItHolds()
{
    delete mController;
    mController = new UpdateWindowController(*mDefaults, mClock);
    mController->setUpdateVersion(QStringLiteral("2.4<b>\n%2%1"));
    mController->setCurrentVersion(QStringLiteral("2.4"));
    mController->showWindow(UpdateWindowController::TakesKeyboard::No);
    QCOMPARE(mController->versionLabel()->text(), QStringLiteral("Found v2.4<b>\uFFFD%2%1, you have v2.4."));
    QCOMPARE(mController->versionLabel()->textFormat(), Qt::PlainText);
}

void UpdateWindowTest::theWindowClosesAfterAMinute()
{
    mClock.advanceSeconds(59.9);
    QVERIFY(mController->window()->isVisible());
    mClock.advanceSeconds(0.1);
    QVERIFY(!mController->window()->isVisible());
    letItGo();
    QVERIFY(!mController);
    QVERIFY(!ignored().isValid());
}

void UpdateWindowTest::itLivesAsLongAsItsWindow()
{
    letItGo();
    QVERIFY(mController);
    const QSignalSpy closed(mController, &UpdateWindowController::closed);
    mController->cancel();
    QCOMPARE(closed.count(), 1);
    letItGo();
    QVERIFY(!mController);
}

void UpdateWindowTest::downloadOpensThePageAndCloses()
{
    QTest::mouseClick(button("gotoDownload"), Qt::LeftButton);
    QVERIFY(!mController->window()->isVisible());
    letItGo();
    QVERIFY(!mController);
    QVERIFY(!ignored().isValid());
    QTRY_COMPARE(opened(), QByteArrayList{webAddresses::downloadPage});
    QVERIFY(opened().first().startsWith("https://"));
    QVERIFY(opened().first().endsWith("/frameflow"));
}

void UpdateWindowTest::ignoreStoresTheVersionAndCloses()
{
    QTest::mouseClick(button("ignore"), Qt::LeftButton);
    QCOMPARE(ignored().toString(), QStringLiteral("2.4.1"));
    QVERIFY(!mController->window()->isVisible());
    letItGo();
    QVERIFY(!mController);
    QVERIFY(opened().isEmpty());
}

void UpdateWindowTest::notNowOnlyCloses()
{
    QTest::mouseClick(button("cancel"), Qt::LeftButton);
    letItGo();
    QVERIFY(!mController);
    QVERIFY(!ignored().isValid());
    QVERIFY(opened().isEmpty());
}

void UpdateWindowTest::escapeOnlyCloses()
{
    QTest::keyClick(mController->window(), Qt::Key_Escape);
    letItGo();
    QVERIFY(!mController);
    QVERIFY(!ignored().isValid());
}

void UpdateWindowTest::closingByTheWindowManagerOnlyCloses()
{
    QVERIFY(mController->window()->close());
    letItGo();
    QVERIFY(!mController);
    QVERIFY(!ignored().isValid());
}

void UpdateWindowTest::theTimerEndsWithTheWindow()
{
    QCOMPARE(mClock.pendingAlarms(), size_t(1));
    mController->cancel();
    QCOMPARE(mClock.pendingAlarms(), size_t(0));
    letItGo();
    mClock.advanceSeconds(120);
}

void UpdateWindowTest::theBoxIsTheSetting_data()
{
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<bool>("isChecked");
    QTest::newRow("absent") << QVariant() << true;
    QTest::newRow("on") << QVariant(true) << true;
    QTest::newRow("off") << QVariant(false) << false;
}

void UpdateWindowTest::theBoxIsTheSetting()
{
    QFETCH(QVariant, stored);
    QFETCH(bool, isChecked);
    QCheckBox* const box = mController->autoUpdateCheckbox();
    // Set elsewhere, it shows at once.
    mDefaults->setValue(keys::autoCheckNewVersion, !isChecked);
    QCOMPARE(box->isChecked(), !isChecked);
    if (stored.isValid()) {
        mDefaults->setValue(keys::autoCheckNewVersion, stored);
    } else {
        mDefaults->removeValue(keys::autoCheckNewVersion);
    }
    QCOMPARE(box->isChecked(), isChecked);
    box->click();
    QCOMPARE(mDefaults->value(keys::autoCheckNewVersion), QVariant(!isChecked));
}

void UpdateWindowTest::whatIsNotClickedIsNotStored()
{
    mController->cancel();
    QVERIFY(!mDefaults->contains(keys::autoCheckNewVersion));
}

void UpdateWindowTest::everyControlHasANameAndAKey()
{
    QSet<QString> keysSeen;
    for (const QAbstractButton* control : mController->window()->findChildren<QAbstractButton*>()) {
        const QString key = control->shortcut().toString();
        QVERIFY2(!key.isEmpty() && !keysSeen.contains(key), qPrintable(control->text()));
        keysSeen.insert(key);
    }
    QCOMPARE(keysSeen.size(), 4);
    QVERIFY(button("gotoDownload")->isDefault());
    QVERIFY(!mController->window()->windowTitle().isEmpty());
}

void UpdateWindowTest::theTabKeyGoesRoundTheControls()
{
    QStringList names;
    const QWidget* widget = button("gotoDownload");
    do {
        if (widget->focusPolicy() & Qt::TabFocus) {
            names.append(widget->objectName());
        }
        widget = widget->nextInFocusChain();
    } while (widget != button("gotoDownload"));
    QCOMPARE(names,
        (QStringList{QStringLiteral("gotoDownload"), QStringLiteral("cancel"), QStringLiteral("ignore"),
            QStringLiteral("autoUpdateCheckbox")}));
}

QTEST_MAIN(UpdateWindowTest)
#include "UpdateWindowTest.moc"
