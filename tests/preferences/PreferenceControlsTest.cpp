#include "NumberField.h"
#include "PreferencesFixture.h"

#include <QCheckBox>
#include <QLabel>
#include <QSpinBox>
#include <QTabWidget>

#include <limits>

using namespace frameflow;

// The controls that stand for a setting each, and the number that is validated.
class PreferenceControlsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { mFixture = std::make_unique<PreferencesFixture>(); }
    void cleanup() { mFixture.reset(); }

    void aBoxShowsItsSetting_data();
    void aBoxShowsItsSetting();
    void aBoxStoresAndFollows_data() { boxes(); }
    void aBoxStoresAndFollows();
    void aNumberShowsItsSetting_data();
    void aNumberShowsItsSetting();
    void aNumberStoresAndFollows_data();
    void aNumberStoresAndFollows();
    void lookingAtSettingsChangesNone();

    void theIntervalShowsItsSetting_data();
    void theIntervalShowsItsSetting();
    void anEditMayEndByItsNumber_data();
    void anEditMayEndByItsNumber();
    void anAcceptedNumberIsStored_data();
    void anAcceptedNumberIsStored();
    void aRefusedNumberKeepsTheFocusAndSaysWhy_data();
    void aRefusedNumberKeepsTheFocusAndSaysWhy();
    void aRefusedNumberKeepsTheFocusFromTheMouse();
    void correctingARefusedNumberTakesTheSentenceBack();
    void closingTheWindowDropsARefusedNumber();
    void leavingThePageDropsARefusedNumber();
    void returnStoresTheNumberAndKeepsTheWindow();
    void arrowsStepTheNumber();
    void aNumberThatWasNotEditedMayBeLeft();
    void theIntervalFollowsDigitsOfTheShow();
    void anEditInProgressIsNotOverwritten();

private:
    static void boxes()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<bool>("absent");
        for (const QString& key : {keys::showNewItemsASAP, keys::autoStart, keys::showAdds, keys::openLastUsedFolder}) {
            QTest::newRow(qPrintable(key)) << key << false;
        }
        for (const QString& key : {keys::showWelcome, keys::autoCheckNewVersion}) {
            QTest::newRow(qPrintable(key)) << key << true;
        }
    }
    QCheckBox* box(const QString& key) const { return mFixture->find<QCheckBox>(key.toLatin1().constData()); }
    QSpinBox* number(const QString& key) const { return mFixture->find<QSpinBox>(key.toLatin1().constData()); }
    NumberField* interval() const { return mFixture->find<NumberField>("slideInterval"); }
    QString note() const { return mFixture->find<QLabel>("intervalNote")->text(); }
    double stored() const { return mFixture->defaults.value(keys::slideInterval).toDouble(); }
    // Types into the field as a person does who has just come to it.
    void enter(const QString& text) const
    {
        interval()->setFocus();
        interval()->selectAll();
        if (text.isEmpty()) {
            QTest::keyClicks(interval(), QStringLiteral("7"));
            QTest::keyClick(interval(), Qt::Key_Backspace);
        } else {
            QTest::keyClicks(interval(), text);
        }
    }

    std::unique_ptr<PreferencesFixture> mFixture;
};

void PreferenceControlsTest::aBoxShowsItsSetting_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("ordinary");
    QTest::addColumn<bool>("trueWhenAbsent");
    QTest::newRow("absent") << QVariant() << false << true;
    QTest::newRow("true") << QVariant(true) << true << true;
    QTest::newRow("false") << QVariant(false) << false << false;
    QTest::newRow("yes") << QVariant(QStringLiteral("YES")) << true << true;
    QTest::newRow("1") << QVariant(1) << true << true;
    QTest::newRow("0 as text") << QVariant(QStringLiteral("0")) << false << false;
    QTest::newRow("garbage") << QVariant(QStringLiteral("\x01#!")) << false << false;
    QTest::newRow("list") << QVariant(QVariantList{true, true}) << false << false;
    QTest::newRow("not a number") << QVariant(std::numeric_limits<double>::quiet_NaN()) << false << false;
}

void PreferenceControlsTest::aBoxShowsItsSetting()
{
    QFETCH(QVariant, value);
    QFETCH(bool, ordinary);
    QFETCH(bool, trueWhenAbsent);
    if (value.isValid()) {
        mFixture->set(keys::autoStart, value);
        mFixture->set(keys::showWelcome, value);
    }
    mFixture->load();
    QCOMPARE(box(keys::autoStart)->isChecked(), ordinary);
    QCOMPARE(box(keys::showWelcome)->isChecked(), trueWhenAbsent);
}

void PreferenceControlsTest::aBoxStoresAndFollows()
{
    QFETCH(QString, key);
    QFETCH(bool, absent);
    mFixture->load();
    QCOMPARE(box(key)->isChecked(), absent);
    box(key)->click();
    QCOMPARE(mFixture->defaults.value(key), QVariant(!absent));
    mFixture->set(key, absent);
    QCOMPARE(box(key)->isChecked(), absent);
    mFixture->set(key, !absent);
    QCOMPARE(box(key)->isChecked(), !absent);
    mFixture->defaults.removeValue(key);
    QCOMPARE(box(key)->isChecked(), absent);
}

void PreferenceControlsTest::aNumberShowsItsSetting_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<int>("shown");
    QTest::newRow("absent") << QVariant() << 0;
    QTest::newRow("3") << QVariant(3) << 3;
    QTest::newRow("text") << QVariant(QStringLiteral("3")) << 3;
    QTest::newRow("-1") << QVariant(-1) << 0;
    QTest::newRow("too large") << QVariant(9e18) << 9999;
    QTest::newRow("far too large") << QVariant(QStringLiteral("9").repeated(400)) << 0;
    QTest::newRow("garbage") << QVariant(QStringLiteral("many")) << 0;
    QTest::newRow("list") << QVariant(QVariantList{3}) << 0;
}

void PreferenceControlsTest::aNumberShowsItsSetting()
{
    QFETCH(QVariant, value);
    QFETCH(int, shown);
    for (const QString& key : {keys::maxFolderLevel, keys::addInterval}) {
        if (value.isValid()) {
            mFixture->set(key, value);
        }
    }
    mFixture->load();
    for (const QString& key : {keys::maxFolderLevel, keys::addInterval}) {
        QCOMPARE(number(key)->value(), shown);
        QCOMPARE(mFixture->defaults.value(key), value);
    }
    QCOMPARE(number(keys::maxFolderLevel)->text() == QLatin1String("All"), shown == 0);
}

void PreferenceControlsTest::aNumberStoresAndFollows_data()
{
    QTest::addColumn<QString>("key");
    QTest::newRow("MaxFolderLevel") << keys::maxFolderLevel;
    QTest::newRow("AddInterval") << keys::addInterval;
}

void PreferenceControlsTest::aNumberStoresAndFollows()
{
    QFETCH(QString, key);
    mFixture->load();
    QVERIFY(mFixture->show());
    mFixture->find<QTabWidget>("mPages")->setCurrentIndex(1);
    auto* field = number(key);
    field->setFocus();
    field->selectAll();
    QTest::keyClicks(field, QStringLiteral("12"));
    QVERIFY(!mFixture->defaults.contains(key)); // not 1, on the way to 12
    QTest::keyClick(field, Qt::Key_Return);
    QCOMPARE(mFixture->defaults.value(key).toInt(), 12);
    QTest::keyClick(field, Qt::Key_Up);
    QCOMPARE(mFixture->defaults.value(key).toInt(), 13);
    mFixture->set(key, 4);
    QCOMPARE(field->value(), 4);
    QVERIFY(mFixture->controller->window()->isVisible());
}

void PreferenceControlsTest::lookingAtSettingsChangesNone()
{
    mFixture->load();
    QVERIFY(mFixture->show());
    auto* pages = mFixture->find<QTabWidget>("mPages");
    for (int page = 0; page < pages->count(); ++page) {
        pages->setCurrentIndex(page);
        for (int i = 0; i < 12; ++i) {
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        }
    }
    mFixture->controller->window()->close();
    for (const QString& key : {keys::slideInterval, keys::sort, keys::endMode, keys::transition, keys::cursor,
             keys::maxFolderLevel, keys::showNewItemsASAP, keys::autoStart, keys::showAdds, keys::addInterval,
             keys::addFolder, keys::imageEditorPath, keys::movieEditorPath, keys::openLastUsedFolder, keys::showWelcome,
             keys::autoCheckNewVersion, keys::navLastRootDirectory}) {
        QVERIFY2(!mFixture->defaults.contains(key), qPrintable(key));
    }
}

void PreferenceControlsTest::theIntervalShowsItsSetting_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("shown");
    QTest::newRow("absent") << QVariant() << QStringLiteral("0");
    QTest::newRow("5") << QVariant(5) << QStringLiteral("5");
    QTest::newRow("2.1") << QVariant(2.1F) << QStringLiteral("2.1");
    QTest::newRow("text") << QVariant(QStringLiteral("3.5")) << QStringLiteral("3.5");
    QTest::newRow("1, from a key of the show") << QVariant(1.0F) << QStringLiteral("1");
    QTest::newRow("infinite") << QVariant(std::numeric_limits<double>::infinity()) << QStringLiteral("0");
    QTest::newRow("garbage") << QVariant(QStringLiteral("often")) << QStringLiteral("0");
    QTest::newRow("list") << QVariant(QVariantList{5}) << QStringLiteral("0");
    QTest::newRow("days") << QVariant(123456) << QStringLiteral("123456");
}

void PreferenceControlsTest::theIntervalShowsItsSetting()
{
    QFETCH(QVariant, value);
    QFETCH(QString, shown);
    if (value.isValid()) {
        mFixture->set(keys::slideInterval, value);
    }
    mFixture->load();
    QCOMPARE(interval()->text(), shown);
}

void PreferenceControlsTest::anEditMayEndByItsNumber_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("accepted");
    const auto row
        = [](const char* text, bool accepted) { QTest::newRow(text) << QString::fromUtf8(text) << accepted; };
    row("2", true);
    row("1", false);
    row("1.9", false);
    row("2.5", true);
    row("2,5", true);
    row("0", false);
    row("-5", false);
    row("+7", true);
    row("", false);
    row("   ", false);
    row("  3  ", true);
    row("ten", false);
    row("ten 10", false);
    row("10 seconds", true);
    row("1e9", false);
    row(".9", false);
    row("٩", false);
    row("999999", true);
    QTest::newRow("endless") << QString(100000, QLatin1Char('9')) << false;
}

void PreferenceControlsTest::anEditMayEndByItsNumber()
{
    QFETCH(QString, text);
    QFETCH(bool, accepted);
    QCOMPARE(PreferenceController::control(text), accepted);
}

void PreferenceControlsTest::anAcceptedNumberIsStored_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("shown");
    QTest::newRow("2") << QStringLiteral("2") << QStringLiteral("2");
    QTest::newRow("2.5") << QStringLiteral("2.5") << QStringLiteral("2.5");
    QTest::newRow("2,5") << QStringLiteral("2,5") << QStringLiteral("2.5");
    QTest::newRow("30 s") << QStringLiteral("30 s") << QStringLiteral("30");
    QTest::newRow("as many digits as there is room for") << QStringLiteral("9876543") << QStringLiteral("987654");
}

void PreferenceControlsTest::anAcceptedNumberIsStored()
{
    QFETCH(QString, text);
    QFETCH(QString, shown);
    mFixture->load();
    QVERIFY(mFixture->show());
    enter(text);
    QVERIFY(!mFixture->defaults.contains(keys::slideInterval)); // before the edit has ended
    QTest::keyClick(interval(), Qt::Key_Tab);
    QVERIFY(!interval()->hasFocus());
    QCOMPARE(stored(), shown.toDouble());
    QCOMPARE(interval()->text(), shown);
}

void PreferenceControlsTest::aRefusedNumberKeepsTheFocusAndSaysWhy_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("why");
    const QString few = QStringLiteral("A slide stays for at least 2 seconds.");
    const QString none = QStringLiteral("Enter a number of seconds, at least 2.");
    QTest::newRow("1") << QStringLiteral("1") << few;
    QTest::newRow("0") << QStringLiteral("0") << few;
    QTest::newRow("word") << QStringLiteral("abc") << none;
    QTest::newRow("nothing") << QString() << none;
    QTest::newRow("negative") << QStringLiteral("-4") << none;
}

void PreferenceControlsTest::aRefusedNumberKeepsTheFocusAndSaysWhy()
{
    QFETCH(QString, text);
    QFETCH(QString, why);
    mFixture->set(keys::slideInterval, 5);
    mFixture->load();
    QVERIFY(mFixture->show());
    const QString usual = note();
    QCOMPARE(usual, QStringLiteral("At least 2 seconds"));
    for (const int key : {int(Qt::Key_Tab), int(Qt::Key_Backtab), int(Qt::Key_Return)}) {
        enter(text);
        QCOMPARE(note(), usual);
        QTest::keyClick(interval(), static_cast<Qt::Key>(key));
        QVERIFY(interval()->hasFocus());
        QCOMPARE(note(), why);
        QCOMPARE(interval()->accessibleDescription(), why);
        QCOMPARE(stored(), 5.0);
    }
}

void PreferenceControlsTest::aRefusedNumberKeepsTheFocusFromTheMouse()
{
    mFixture->set(keys::slideInterval, 5);
    mFixture->load();
    QVERIFY(mFixture->show());
    enter(QStringLiteral("1"));
    box(keys::autoStart)->setFocus(Qt::MouseFocusReason);
    QTRY_VERIFY(interval()->hasFocus());
    QCOMPARE(interval()->text(), QStringLiteral("1"));
    QCOMPARE(stored(), 5.0);
}

void PreferenceControlsTest::correctingARefusedNumberTakesTheSentenceBack()
{
    mFixture->load();
    QVERIFY(mFixture->show());
    const QString usual = note();
    enter(QStringLiteral("1"));
    QTest::keyClick(interval(), Qt::Key_Tab);
    QVERIFY(note() != usual);
    QTest::keyClicks(interval(), QStringLiteral("8")); // in place of what is selected
    QCOMPARE(note(), usual);
    QTest::keyClick(interval(), Qt::Key_Tab);
    QCOMPARE(stored(), 8.0);
}

void PreferenceControlsTest::closingTheWindowDropsARefusedNumber()
{
    mFixture->set(keys::slideInterval, 5);
    mFixture->load();
    QVERIFY(mFixture->show());
    const QString usual = note();
    enter(QStringLiteral("1"));
    QTest::keyClick(interval(), Qt::Key_Return);
    QTest::keyClick(interval(), Qt::Key_Escape);
    QVERIFY(!mFixture->controller->window()->isVisible());
    QVERIFY(mFixture->show());
    QCOMPARE(interval()->text(), QStringLiteral("5"));
    QCOMPARE(note(), usual);
    QCOMPARE(stored(), 5.0);
}

void PreferenceControlsTest::leavingThePageDropsARefusedNumber()
{
    mFixture->set(keys::slideInterval, 5);
    mFixture->load();
    QVERIFY(mFixture->show());
    enter(QStringLiteral("1"));
    mFixture->find<QTabWidget>("mPages")->setCurrentIndex(1);
    mFixture->find<QTabWidget>("mPages")->setCurrentIndex(0);
    QCOMPARE(interval()->text(), QStringLiteral("5"));
    QCOMPARE(stored(), 5.0);
}

void PreferenceControlsTest::returnStoresTheNumberAndKeepsTheWindow()
{
    mFixture->load();
    QVERIFY(mFixture->show());
    enter(QStringLiteral("9"));
    QTest::keyClick(interval(), Qt::Key_Return);
    QCOMPARE(stored(), 9.0);
    QVERIFY(interval()->hasFocus());
    QVERIFY(mFixture->controller->window()->isVisible());
}

void PreferenceControlsTest::arrowsStepTheNumber()
{
    mFixture->set(keys::slideInterval, 3.5F);
    mFixture->load();
    QVERIFY(mFixture->show());
    interval()->setFocus();
    QTest::keyClick(interval(), Qt::Key_Up);
    QCOMPARE(stored(), 4.0);
    for (int i = 0; i < 5; ++i) {
        QTest::keyClick(interval(), Qt::Key_Down);
    }
    QCOMPARE(stored(), 2.0);
    QCOMPARE(interval()->text(), QStringLiteral("2"));
}

void PreferenceControlsTest::aNumberThatWasNotEditedMayBeLeft()
{
    mFixture->set(keys::slideInterval, 1.0F);
    mFixture->load();
    QVERIFY(mFixture->show());
    interval()->setFocus();
    QTest::keyClick(interval(), Qt::Key_Tab);
    QVERIFY(!interval()->hasFocus());
    QCOMPARE(stored(), 1.0);
}

void PreferenceControlsTest::theIntervalFollowsDigitsOfTheShow()
{
    mFixture->load();
    QVERIFY(mFixture->show());
    mFixture->set(keys::slideInterval, 7.0F);
    QCOMPARE(interval()->text(), QStringLiteral("7"));
}

void PreferenceControlsTest::anEditInProgressIsNotOverwritten()
{
    mFixture->load();
    QVERIFY(mFixture->show());
    enter(QStringLiteral("4"));
    mFixture->set(keys::slideInterval, 7.0F);
    QCOMPARE(interval()->text(), QStringLiteral("4"));
    QTest::keyClick(interval(), Qt::Key_Return);
    QCOMPARE(stored(), 4.0);
}

QTEST_MAIN(PreferenceControlsTest)
#include "PreferenceControlsTest.moc"
