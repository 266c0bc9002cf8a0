#include "ControllerFixture.h"
#include "PreferenceController.h"
#include "WelcomeController.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QLineEdit>
#include <QTest>

using namespace frameflow;
using namespace std::chrono_literals;

// The preferences beside a show.
class PreferencesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { mFixture = std::make_unique<ControllerFixture>(); }
    void cleanup() { mFixture.reset(); }

    void theCommandMakesTheWindowOnceAndShowsIt();
    void anotherOrderIsSortedAndBegunWithItsFirst();
    void withoutAShowAnOrderIsOnlyStored();
    void aNewIntervalRetimesTheShow();
    void aChosenTransitionIsThatOfTheNextStep();
    void closingTheWindowLeavesTheShow();
    void aShowThatEndsLeavesTheWindow();
    void theProgramGoesOnAsLongAsTheWindowIsOpen();
    void theProgramEndsWithTheWindowOpen();

private:
    SlideController& openThree()
    {
        mFixture->addPictures({"1.png", "2.png", "3.png"});
        // The newest first, by their names.
        mFixture->folder.setModified("1.png", 3000);
        mFixture->folder.setModified("2.png", 2000);
        mFixture->folder.setModified("3.png", 1000);
        mFixture->start();
        mOpened = mFixture->openFolder();
        return mFixture->controller();
    }
    QDialog* openPreferences()
    {
        mFixture->controller().mainMenu().action(QStringLiteral("ShowPreferences"))->trigger();
        auto* controller = mFixture->controller().preferenceController();
        return controller != nullptr ? controller->window() : nullptr;
    }
    static void choose(const QWidget* window, const char* menu, int index)
    {
        auto* box = window->findChild<QComboBox*>(QString::fromLatin1(menu));
        box->setCurrentIndex(index);
        Q_EMIT box->activated(index);
    }

    bool mOpened = false;
    std::unique_ptr<ControllerFixture> mFixture;
};

void PreferencesTest::theCommandMakesTheWindowOnceAndShowsIt()
{
    auto& controller = openThree();
    QVERIFY(mOpened);
    QCOMPARE(controller.preferenceController(), nullptr);
    auto* window = openPreferences();
    QVERIFY(window != nullptr && window->isVisible());
    QCOMPARE(controller.preferenceController()->Delegate(), &controller);
    window->close();
    QVERIFY(!window->isVisible());
    QCOMPARE(openPreferences(), window);
    QVERIFY(window->isVisible());
}

void PreferencesTest::anotherOrderIsSortedAndBegunWithItsFirst()
{
    openThree();
    QVERIFY(mOpened);
    QVERIFY(mFixture->trigger("nextSlide"));
    QVERIFY(mFixture->rest());
    QCOMPARE(mFixture->shown(), QByteArray("2.png"));
    auto* window = openPreferences();
    choose(window, "mOrderingMenu", 2);
    QVERIFY(mFixture->rest());
    QCOMPARE(mFixture->shown(), QByteArray("3.png"));
    QVERIFY(window->isVisible());
}

void PreferencesTest::withoutAShowAnOrderIsOnlyStored()
{
    auto& controller = mFixture->start();
    auto* window = openPreferences();
    choose(window, "mOrderingMenu", 1);
    QCOMPARE(mFixture->settings().stringValue(keys::sort), keys::sortByUrl);
    QVERIFY(controller.screenWindow() == nullptr);
}

void PreferencesTest::aNewIntervalRetimesTheShow()
{
    auto& controller = openThree();
    QVERIFY(mOpened);
    controller.Start();
    auto* window = openPreferences();
    auto* field = window->findChild<QLineEdit*>(QStringLiteral("slideInterval"));
    field->setFocus();
    field->selectAll();
    QTest::keyClicks(field, QStringLiteral("8"));
    QTest::keyClick(field, Qt::Key_Return);
    QVERIFY(controller.timerRuns());
    QVERIFY(controller.nextSlideChange() == mFixture->clock.now() + 8s);
}

void PreferencesTest::aChosenTransitionIsThatOfTheNextStep()
{
    auto& controller = openThree();
    QVERIFY(mOpened);
    choose(openPreferences(), "mTransitionMenu", 1);
    QVERIFY(!controller.slideView()->compositor().isMoving());
    QVERIFY(mFixture->trigger("nextSlide"));
    QVERIFY(mFixture->rest());
    QCOMPARE(mFixture->shown(), QByteArray("2.png"));
    QVERIFY(controller.slideView()->compositor().isMoving());
    mFixture->letTransitionEnd();
}

void PreferencesTest::closingTheWindowLeavesTheShow()
{
    auto& controller = openThree();
    QVERIFY(mOpened);
    auto* window = openPreferences();
    QApplication::setActiveWindow(window);
    QTest::keyClick(window, Qt::Key_Escape);
    QVERIFY(!window->isVisible());
    QCoreApplication::sendPostedEvents();
    QVERIFY(controller.screenWindow() != nullptr && controller.screenWindow()->isVisible());
    QCOMPARE(mFixture->shown(), QByteArray("1.png"));
}

void PreferencesTest::aShowThatEndsLeavesTheWindow()
{
    auto& controller = openThree();
    QVERIFY(mOpened);
    auto* window = openPreferences();
    controller.endSlideShow();
    QTRY_COMPARE(controller.fileSequence().count(), size_t(0));
    QCoreApplication::sendPostedEvents();
    QVERIFY(window->isVisible());
    QVERIFY(controller.screenWindow() == nullptr);
}

void PreferencesTest::theProgramGoesOnAsLongAsTheWindowIsOpen()
{
    auto& controller = openThree();
    QVERIFY(mOpened);
    auto* window = openPreferences();
    controller.endSlideShow();
    QTRY_COMPARE(controller.fileSequence().count(), size_t(0));
    QCoreApplication::sendPostedEvents();
    QVERIFY(controller.welcomeController() == nullptr || !controller.welcomeController()->window()->isVisible());
    // The last window: what stands on screen next is what there is to begin with.
    window->close();
    QTRY_VERIFY(!mFixture->visibleWindows().isEmpty());
}

void PreferencesTest::theProgramEndsWithTheWindowOpen()
{
    openThree();
    QVERIFY(mOpened);
    QVERIFY(openPreferences() != nullptr);
    mFixture->destroyController();
    QVERIFY(mFixture->visibleWindows().isEmpty());
}

QTEST_MAIN(PreferencesTest)
#include "PreferencesTest.moc"
