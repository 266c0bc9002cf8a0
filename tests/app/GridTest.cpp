#include "ControllerFixture.h"
#include "HeldPictures.h"
#include "KLGridWindowController.h"
#include "KLThumbnailCache.h"
#include "KLThumbnailView.h"
#include "Presentation.h"
#include "ThumbnailTable.h"
#include "WelcomeController.h"

#include <QAction>
#include <QMenuBar>
#include <QTest>

using namespace frameflow;
using namespace std::chrono_literals;

// The thumbnails of a running show: opening them, choosing from them, and what reaches them.
class GridTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { HeldPictures::useDecoder(); }
    void init();
    void cleanup();

    void withoutFilesThereIsNoGrid();
    void aShowThatHasEndedHasNoGrid();
    void theCommandShowsTheGridOfTheShow();
    void theGridIsMadeOnceAndKept();
    void theGridHasTheMenusAndTheirKeys();
    void aChoiceIsShown();
    void aChoiceGoesForwardsOrBackwards_data();
    void aChoiceGoesForwardsOrBackwards();
    void aChoiceBehindTheLastFileChangesNothing();
    void theCurrentFileCanBeChosen();
    void aChoiceDoesNotStopTheShow();
    void aChoiceWaitsForItsTurn();
    void aChoiceOfAFileThatGoesMeanwhileChangesNothing();
    void aChoiceOfADamagedFileStepsOverIt();
    void choosingRestoresAMinimisedShow();
    void aChoiceClearsTheHint();
    void endingTheShowHidesTheGrid();
    void theWelcomeWindowHidesTheGrid();
    void closingTheGridLeavesTheShow();
    void aDamagedFileLeavesTheGrid();
    void aTrashedFileLeavesTheGrid();
    void newFilesReachTheGrid();
    void vanishedFilesLeaveTheGrid();
    void shufflingAndSortingReachTheGrid();
    void theSelectionGoesWithTheShow();
    void endingTheShowForgetsTheThumbnails();

private:
    SlideController& openWith(const QList<QByteArray>& names)
    {
        mFixture->addPictures(names);
        auto& controller = mFixture->start();
        mFixture->openFolder();
        return controller;
    }
    SlideController& openFour() { return openWith({"1.png", "2.png", "3.png", "4.png"}); }
    KLGridWindowController& grid() const { return *mFixture->controller().gridController(); }
    bool isGridVisible() const
    {
        const auto* const grid = mFixture->controller().gridController();
        return grid != nullptr && grid->window()->isVisible();
    }
    QList<QByteArray> inGrid() const
    {
        QList<QByteArray> names;
        for (QWidget* cell : grid().tableView()->visibleCells()) {
            const FileUrl& url = static_cast<KLThumbnailView*>(cell)->url();
            if (!url.isEmpty()) {
                names.append(url.fileName().toByteArray());
            }
        }
        return names;
    }
    QByteArray shown() const { return mFixture->shown(); }
    QByteArray onScreen() const { return mFixture->onScreen(); }
    // Has what the sequence brings reach the grid, which it does not do too often.
    void settle()
    {
        QCoreApplication::processEvents();
        mFixture->clock.advance(200ms);
    }

    std::unique_ptr<ControllerFixture> mFixture;
    std::unique_ptr<HeldPictures> mHeld;
};

void GridTest::init()
{
    mFixture = std::make_unique<ControllerFixture>();
    mHeld = std::make_unique<HeldPictures>(mFixture->folder);
}

void GridTest::cleanup()
{
    mFixture.reset();
    mHeld.reset();
}

void GridTest::withoutFilesThereIsNoGrid()
{
    auto& controller = mFixture->start();
    controller.ShowWelcomeScreen();
    controller.ShowGridScreen();
    QVERIFY(controller.gridController() == nullptr);
    QCOMPARE(mFixture->visibleWindows(), QStringList{QStringLiteral("Welcome")});
}

void GridTest::aShowThatHasEndedHasNoGrid()
{
    auto& controller = openFour();
    controller.endSlideShow();
    controller.ShowGridScreen(); // the files are still in the sequence
    QVERIFY(!isGridVisible());
}

void GridTest::theCommandShowsTheGridOfTheShow()
{
    openFour();
    QVERIFY(mFixture->trigger("ShowGridScreen"));
    QVERIFY(isGridVisible());
    QVERIFY(mFixture->visibleWindows().contains(QStringLiteral("KLGridWindowController")));
    QCOMPARE(inGrid(), (QList<QByteArray>{"1.png", "2.png", "3.png", "4.png"}));
    QCOMPARE(grid().tableView()->selected(), std::optional<size_t>(0));
    QCOMPARE(shown(), QByteArray("1.png"));
}

void GridTest::theGridIsMadeOnceAndKept()
{
    auto& controller = openFour();
    controller.ShowGridScreen();
    const auto* const first = controller.gridController();
    grid().hideWindow();
    controller.ShowGridScreen();
    QCOMPARE(controller.gridController(), first);
    QVERIFY(isGridVisible());
    // Another show has other files in the same grid.
    controller.endSlideShow();
    QTRY_COMPARE(controller.fileSequence().count(), size_t(0));
    mFixture->addPicture("0.png");
    mFixture->openFolder();
    controller.ShowGridScreen();
    QCOMPARE(controller.gridController(), first);
    QCOMPARE(inGrid().first(), QByteArray("0.png"));
}

void GridTest::theGridHasTheMenusAndTheirKeys()
{
    auto& controller = openFour();
    QAction* const command = controller.mainMenu().action(QStringLiteral("ShowGridScreen"));
    QCOMPARE(command->shortcuts(), QList<QKeySequence>{QKeySequence(Qt::CTRL | Qt::Key_T)});
    controller.ShowGridScreen();
    QVERIFY(grid().window()->findChild<QMenuBar*>() != nullptr);
    QVERIFY(grid().window()->actions().contains(command));
    QVERIFY(grid().window()->actions().contains(controller.mainMenu().action(QStringLiteral("quit"))));
    // Keys without Control are the grid's own.
    QVERIFY(!grid().window()->actions().contains(controller.mainMenu().action(QStringLiteral("trashSlide"))));
    QVERIFY(!grid().window()->actions().contains(controller.mainMenu().action(QStringLiteral("cancel"))));
}

void GridTest::aChoiceIsShown()
{
    auto& controller = openFour();
    controller.ShowGridScreen();
    QTest::keyClick(grid().tableView(), Qt::Key_End);
    QTest::keyClick(grid().tableView(), Qt::Key_Return);
    QTRY_COMPARE(onScreen(), QByteArray("4.png"));
    QCOMPARE(controller.fileSequence().currentIndex(), size_t(3));
    QVERIFY(isGridVisible());
}

void GridTest::aChoiceGoesForwardsOrBackwards_data()
{
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("to");
    QTest::addColumn<bool>("forward");
    QTest::newRow("to a later one") << 1 << 3 << true;
    QTest::newRow("to an earlier one") << 2 << 1 << false;
}

void GridTest::aChoiceGoesForwardsOrBackwards()
{
    QFETCH(int, from);
    QFETCH(int, to);
    QFETCH(bool, forward);
    auto& controller = openFour();
    controller.gotoImageIndex(from);
    QVERIFY(mFixture->rest());
    mFixture->set(keys::transition, QStringLiteral("Slide"));
    controller.gotoImageIndex(to);
    QTRY_VERIFY(controller.slideView()->isBusy());
    // Forwards the slide comes from the right.
    mFixture->clock.advance(300ms);
    const Layer& layer = *controller.slideView()->currentLayer();
    const double x = presentedValues(layer, mFixture->clock.now()).position.x();
    const double middle = controller.slideView()->width() / 2.0;
    QVERIFY2(forward ? x > middle : x < middle, QByteArray::number(x).constData());
}

void GridTest::aChoiceBehindTheLastFileChangesNothing()
{
    auto& controller = openFour();
    controller.gotoImageIndex(1);
    QVERIFY(mFixture->rest());
    controller.gotoImageIndex(4);
    QVERIFY(mFixture->rest());
    QCOMPARE(onScreen(), QByteArray("2.png"));
    QCOMPARE(controller.fileSequence().currentIndex(), size_t(1));
}

void GridTest::theCurrentFileCanBeChosen()
{
    auto& controller = openFour();
    controller.ShowGridScreen();
    controller.gotoImageIndex(0);
    QVERIFY(mFixture->rest());
    QCOMPARE(onScreen(), QByteArray("1.png"));
}

void GridTest::aChoiceDoesNotStopTheShow()
{
    auto& controller = openFour();
    controller.Start();
    controller.gotoImageIndex(2);
    QVERIFY(mFixture->rest());
    QVERIFY(controller.timerRuns());
    mFixture->clock.advance(6s);
    QTRY_COMPARE(onScreen(), QByteArray("4.png"));
}

void GridTest::aChoiceWaitsForItsTurn()
{
    mFixture->addPictures({"1.png", "y.png", "z.png"});
    mHeld->add("held.png", Qt::green);
    auto& controller = mFixture->start();
    mFixture->collectFolder();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    controller.nextSlide();
    QVERIFY(controller.isWaitingForSlide());
    controller.ShowGridScreen();
    QVERIFY(!isGridVisible());
    controller.gotoImageIndex(3);
    QCOMPARE(shown(), QByteArray("held.png"));
    mHeld->release("held.png");
    QTRY_COMPARE(onScreen(), QByteArray("z.png"));
    QVERIFY(isGridVisible());
}

void GridTest::aChoiceOfAFileThatGoesMeanwhileChangesNothing()
{
    mFixture->addPictures({"1.png", "y.png", "z.png"});
    mHeld->add("held.png", Qt::green);
    auto& controller = mFixture->start();
    mFixture->collectFolder();
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
    controller.nextSlide();
    controller.gotoImageIndex(2); // y.png
    controller.fileSequence().remove(mFixture->folder.urlOf("y.png"));
    mHeld->release("held.png");
    QVERIFY(mFixture->rest());
    QCOMPARE(onScreen(), QByteArray("held.png"));
    QCOMPARE(controller.fileSequence().currentIndex(), size_t(1));
}

void GridTest::aChoiceOfADamagedFileStepsOverIt()
{
    mFixture->folder.addFile("2a.png", "no picture");
    auto& controller = openFour();
    controller.ShowGridScreen();
    QCOMPARE(inGrid().size(), 5);
    controller.gotoImageIndex(2);
    QTRY_COMPARE(onScreen(), QByteArray("3.png"));
    settle();
    QCOMPARE(inGrid(), (QList<QByteArray>{"1.png", "2.png", "3.png", "4.png"}));
}

void GridTest::choosingRestoresAMinimisedShow()
{
    auto& controller = openFour();
    controller.ShowGridScreen();
    controller.screenWindow()->showMinimized();
    QVERIFY(controller.screenWindow()->isMinimized());
    controller.gotoImageIndex(2);
    QVERIFY(!controller.screenWindow()->isMinimized());
}

void GridTest::aChoiceClearsTheHint()
{
    mFixture->set(keys::hintsShown, false);
    QImage hint(40, 30, QImage::Format_RGB32);
    hint.fill(Qt::gray);
    QVERIFY(hint.save(QString::fromUtf8(mFixture->resourceFolder.pathOf("hint screen.png"))));
    auto& controller = openFour();
    QTRY_VERIFY(controller.hintsScreenShown());
    controller.gotoImageIndex(2);
    QTRY_COMPARE(onScreen(), QByteArray("3.png"));
    QVERIFY(!controller.hintsScreenShown());
}

void GridTest::endingTheShowHidesTheGrid()
{
    auto& controller = openFour();
    controller.ShowGridScreen();
    QVERIFY(mFixture->trigger("cancel"));
    QVERIFY(!isGridVisible());
    QTRY_COMPARE(mFixture->visibleWindows(), QStringList{QStringLiteral("Welcome")});
    QVERIFY(controller.gridController()->isIdle());
}

void GridTest::theWelcomeWindowHidesTheGrid()
{
    auto& controller = openFour();
    controller.ShowGridScreen();
    controller.ShowWelcomeScreen();
    QVERIFY(!isGridVisible());
    QVERIFY(controller.welcomeController()->window()->isVisible());
}

void GridTest::closingTheGridLeavesTheShow()
{
    auto& controller = openFour();
    controller.ShowGridScreen();
    grid().window()->close();
    settle();
    QCOMPARE(mFixture->visibleWindows(), QStringList{QStringLiteral("SlideWindow")});
    QCOMPARE(onScreen(), QByteArray("1.png"));
    QVERIFY(mFixture->settings().contains(keys::gridWindowRect));
}

void GridTest::aDamagedFileLeavesTheGrid()
{
    mFixture->folder.addFile("2.png", "no picture");
    mFixture->addPictures({"1.png", "3.png"});
    auto& controller = mFixture->start();
    mFixture->openFolder();
    controller.ShowGridScreen();
    settle();
    QCOMPARE(grid().tableView()->visibleCells().empty(), false);
    QCOMPARE(inGrid(), (QList<QByteArray>{"1.png", "2.png", "3.png"}));
    controller.nextSlide();
    QTRY_COMPARE(onScreen(), QByteArray("3.png"));
    settle();
    QCOMPARE(inGrid(), (QList<QByteArray>{"1.png", "3.png"}));
}

void GridTest::aTrashedFileLeavesTheGrid()
{
    auto& controller = openFour();
    controller.ShowGridScreen();
    settle();
    QVERIFY(mFixture->trigger("trashSlide"));
    QTRY_COMPARE(onScreen(), QByteArray("2.png"));
    settle();
    QCOMPARE(inGrid(), (QList<QByteArray>{"2.png", "3.png", "4.png"}));
    QCOMPARE(grid().tableView()->selected(), std::optional<size_t>(0));
}

void GridTest::newFilesReachTheGrid()
{
    auto& controller = openFour();
    controller.ShowGridScreen();
    mFixture->addPicture("3a.png");
    controller.fileSequence().updateHotFolder();
    QTRY_COMPARE(controller.fileSequence().count(), size_t(5));
    QTRY_COMPARE(inGrid().size(), 5);
    QVERIFY(inGrid().contains("3a.png"));
}

void GridTest::vanishedFilesLeaveTheGrid()
{
    auto& controller = openFour();
    controller.ShowGridScreen();
    QVERIFY(QFile::remove(QString::fromUtf8(mFixture->folder.pathOf("3.png"))));
    controller.fileSequence().updateHotFolder();
    QTRY_COMPARE(controller.fileSequence().count(), size_t(3));
    settle();
    QTRY_COMPARE(inGrid(), (QList<QByteArray>{"1.png", "2.png", "4.png"}));
}

void GridTest::shufflingAndSortingReachTheGrid()
{
    auto& controller = openFour();
    controller.ShowGridScreen();
    const auto order = [&] {
        QList<QByteArray> names;
        for (size_t index = 0; index < controller.fileSequence().count(); ++index) {
            names.append(controller.fileSequence().URLAtIndex(index).fileName().toByteArray());
        }
        return names;
    };
    const auto before = order();
    for (int attempt = 0; attempt < 50 && order() == before; ++attempt) {
        controller.shuffle();
    }
    QVERIFY(order() != before);
    QCOMPARE(inGrid(), order());
    controller.sortOrderChanged();
    QCOMPARE(inGrid(), before);
}

void GridTest::theSelectionGoesWithTheShow()
{
    auto& controller = openFour();
    controller.ShowGridScreen();
    controller.nextSlide();
    QTRY_COMPARE(onScreen(), QByteArray("2.png"));
    QCOMPARE(grid().tableView()->selected(), std::optional<size_t>(1));
}

void GridTest::endingTheShowForgetsTheThumbnails()
{
    auto& controller = openFour();
    controller.ShowGridScreen();
    QTRY_VERIFY(!KLThumbnailCache::imageWithURL(mFixture->folder.urlOf("1.png")).isNull());
    controller.endSlideShow();
    for (const char* name : {"1.png", "2.png", "3.png", "4.png"}) {
        QVERIFY(KLThumbnailCache::imageWithURL(mFixture->folder.urlOf(name)).isNull());
    }
}

QTEST_MAIN(GridTest)
#include "GridTest.moc"
