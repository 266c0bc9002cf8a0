#include "AssertionFailure.h"
#include "GridFixture.h"
#include "RectText.h"
#include "SettingsKeys.h"

#include <QAbstractButton>
#include <QLabel>
#include <QMenuBar>
#include <QPushButton>
#include <QScreen>
#include <QScrollBar>
#include <QSignalSpy>
#include <QStackedWidget>
#include <QTest>

using namespace frameflow;
using namespace std::chrono_literals;

// The window of the thumbnails: its frame, its columns, its keys, and what it shows when there is nothing to show.
class GridWindowTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { mGrid = std::make_unique<GridFixture>(); }
    void cleanup() { mGrid.reset(); }

    void theWindowIsFilledWithColumns_data();
    void theWindowIsFilledWithColumns();
    void aWindowThatMustBeThereAndIsNotIsAnError();
    void withoutAWindowAZeroFrameIsStored();
    void theWindowOpensMaximisedAndItsColumnsAreThoseOfTheDisplay();
    void anUnmaximisedWindowHasTheFrameThatWasStored();
    void withoutAStoredFrameTheWindowHasItsOwn();
    void aFrameThatIsNoneIsPassedOver_data();
    void aFrameThatIsNoneIsPassedOver();
    void closingStoresTheFrameAndTheNextOpeningRestoresIt();
    void aMaximisedWindowStoresTheFrameThatItReturnsTo();
    void everyColumnComputationStoresTheFrame();
    void columnsChangeOnlyWhenAResizeHasEnded();
    void movingIsNoResize();
    void anotherDisplayRefitsTheWindowWhenItHasRested();
    void aWindowThatIsStillMovedIsNotRefitted();
    void exactlyTheRestingTimeIsNotEnough();
    void withoutAnotherDisplayNothingIsRefitted();
    void hidingIsNotClosing();
    void theKeyToCloseClosesAndEscapeDoesNot();
    void theWindowHasTheMenuBarThatItIsGiven();
    void withoutFilesItSaysWhatToDoNext();
    void withoutASequenceNothingIsShown();
    void everythingHasANameForReadersOfTheScreen();
    void tinyAndHugeWindows_data();
    void tinyAndHugeWindows();
    void darkColoursAreTaken();
    void rightToLeftBeginsAtTheRight();

private:
    QStackedWidget* pages() { return mGrid->grid().window()->findChild<QStackedWidget*>(); }

    std::unique_ptr<GridFixture> mGrid;
};

void GridWindowTest::theWindowIsFilledWithColumns_data()
{
    QTest::addColumn<int>("window");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("width");
    QTest::newRow("1944") << 1944 << 6 << 295;
    QTest::newRow("624") << 624 << 2 << 275;
}

void GridWindowTest::theWindowIsFilledWithColumns()
{
    QFETCH(int, window);
    QFETCH(int, count);
    QFETCH(int, width);
    mGrid->show(QSize(window, 700));
    QCOMPARE(mGrid->table().numberOfColumns(), count);
    QCOMPARE(mGrid->table().columns().width, width);
    QCOMPARE(mGrid->table().rowHeight(), 200);
}

void GridWindowTest::aWindowThatMustBeThereAndIsNotIsAnError()
{
    delete mGrid->grid().window();
    try {
        mGrid->grid().windowDidLoad();
        QFAIL("nothing was thrown");
    } catch (const AssertionFailure& failure) {
        QCOMPARE(failure.source(), std::string("KLGridWindowController"));
        QCOMPARE(failure.line(), 51);
        QCOMPARE(QByteArray(failure.what()), QByteArray("Invalid parameter not satisfying: self.window != nil"));
    }
}

void GridWindowTest::withoutAWindowAZeroFrameIsStored()
{
    delete mGrid->grid().window();
    mGrid->grid().saveWindowSize();
    QCOMPARE(mGrid->storedFrame(), QStringLiteral("{{0, 0}, {0, 0}}"));
}

void GridWindowTest::theWindowOpensMaximisedAndItsColumnsAreThoseOfTheDisplay()
{
    QVERIFY(mGrid->grid().window()->isMaximized());
    const int width = mGrid->grid().window()->screen()->availableGeometry().width();
    mGrid->grid().adjustColumns();
    QCOMPARE(mGrid->table().columns(), columnsForWidth(width, 200));
    mGrid->grid().showWindow();
    QVERIFY(QTest::qWaitForWindowExposed(mGrid->grid().window()));
    QVERIFY(mGrid->grid().window()->isMaximized());
}

void GridWindowTest::anUnmaximisedWindowHasTheFrameThatWasStored()
{
    const QRect stored(40, 50, 640, 480);
    mGrid->settings->setValue(keys::gridWindowRect, textFromRect(QRectF(stored)));
    auto& grid = mGrid->restart();
    QVERIFY(grid.window()->isMaximized());
    grid.window()->setWindowState(Qt::WindowNoState);
    QCOMPARE(grid.window()->geometry(), stored);
}

void GridWindowTest::withoutAStoredFrameTheWindowHasItsOwn()
{
    QVERIFY(!mGrid->settings->contains(keys::gridWindowRect));
    mGrid->grid().window()->setWindowState(Qt::WindowNoState);
    QCOMPARE(mGrid->grid().window()->size(), QSize(960, 640));
}

void GridWindowTest::aFrameThatIsNoneIsPassedOver_data()
{
    QTest::addColumn<QString>("stored");
    QTest::newRow("empty") << QString();
    QTest::newRow("words") << QStringLiteral("at the left");
    QTest::newRow("zero") << QStringLiteral("{{0, 0}, {0, 0}}");
    QTest::newRow("negative") << QStringLiteral("{{0, 0}, {-10, -10}}");
    QTest::newRow("not a number") << QStringLiteral("{{nan, nan}, {nan, nan}}");
    QTest::newRow("infinite") << QStringLiteral("{{0, 0}, {inf, inf}}");
}

void GridWindowTest::aFrameThatIsNoneIsPassedOver()
{
    QFETCH(QString, stored);
    mGrid->settings->setValue(keys::gridWindowRect, stored);
    auto& grid = mGrid->restart();
    grid.window()->setWindowState(Qt::WindowNoState);
    QCOMPARE(grid.window()->size(), QSize(960, 640));
}

void GridWindowTest::closingStoresTheFrameAndTheNextOpeningRestoresIt()
{
    mGrid->addPictures(3);
    mGrid->collect();
    auto& first = mGrid->show();
    QSignalSpy closed(&first, &KLGridWindowController::closed);
    first.window()->setGeometry(60, 70, 700, 500);
    QTRY_COMPARE(first.window()->size(), QSize(700, 500));
    const QRect before = first.window()->geometry();
    mGrid->settings->removeValue(keys::gridWindowRect);
    first.window()->close();
    QCOMPARE(closed.size(), 1);
    QCOMPARE(mGrid->storedFrame(), textFromRect(QRectF(before)));
    auto& second = mGrid->restart();
    QVERIFY(second.window()->isMaximized());
    second.window()->setWindowState(Qt::WindowNoState);
    QCOMPARE(second.window()->geometry(), before);
}

void GridWindowTest::aMaximisedWindowStoresTheFrameThatItReturnsTo()
{
    const QString stored = QStringLiteral("{{40, 50}, {640, 480}}");
    mGrid->settings->setValue(keys::gridWindowRect, stored);
    auto& grid = mGrid->restart();
    grid.adjustColumns();
    grid.showWindow();
    QVERIFY(QTest::qWaitForWindowExposed(grid.window()));
    grid.window()->close();
    QCOMPARE(mGrid->storedFrame(), stored);
}

void GridWindowTest::everyColumnComputationStoresTheFrame()
{
    mGrid->show();
    mGrid->settings->removeValue(keys::gridWindowRect);
    mGrid->grid().adjustColumns();
    QCOMPARE(mGrid->storedFrame(), textFromRect(QRectF(mGrid->grid().window()->geometry())));
}

void GridWindowTest::columnsChangeOnlyWhenAResizeHasEnded()
{
    auto& grid = mGrid->show(QSize(1000, 700));
    mGrid->clock.advance(1s);
    QCOMPARE(mGrid->table().numberOfColumns(), 3);
    for (const int width : {900, 800, 700, 660}) {
        grid.window()->resize(width, 700);
        QCoreApplication::processEvents();
        mGrid->clock.advance(149ms); // not at rest yet
        QCOMPARE(mGrid->table().numberOfColumns(), 3);
    }
    mGrid->clock.advance(1ms);
    QCOMPARE(mGrid->table().numberOfColumns(), 2);
    // Maximising is one too.
    grid.window()->showMaximized();
    QTRY_VERIFY(grid.window()->width() > 700);
    const auto columns = columnsForWidth(grid.window()->width(), 200);
    mGrid->clock.advance(150ms);
    QCOMPARE(mGrid->table().columns(), columns);
}

void GridWindowTest::movingIsNoResize()
{
    auto& grid = mGrid->show();
    mGrid->clock.advance(1s);
    mGrid->settings->removeValue(keys::gridWindowRect);
    grid.window()->move(100, 120);
    QCoreApplication::processEvents();
    mGrid->clock.advance(1s);
    QVERIFY(mGrid->storedFrame().isEmpty());
}

void GridWindowTest::anotherDisplayRefitsTheWindowWhenItHasRested()
{
    auto& grid = mGrid->show();
    mGrid->clock.advance(1s);
    QVERIFY(!grid.didChangeScreen());
    grid.windowDidChangeScreen();
    QVERIFY(grid.didChangeScreen());
    QVERIFY(!grid.window()->isMaximized());
    mGrid->clock.advance(401ms); // the first look, at 0.4 seconds, comes a little too early
    QVERIFY(grid.didChangeScreen());
    mGrid->clock.advance(399ms);
    QVERIFY(!grid.didChangeScreen());
    QVERIFY(grid.window()->isMaximized());
}

void GridWindowTest::aWindowThatIsStillMovedIsNotRefitted()
{
    auto& grid = mGrid->show();
    mGrid->clock.advance(1s);
    grid.windowDidChangeScreen();
    for (int move = 0; move < 20; ++move) {
        mGrid->clock.advance(200ms);
        grid.windowDidMove();
        QVERIFY(grid.didChangeScreen());
        QVERIFY(!grid.window()->isMaximized());
    }
    mGrid->clock.advance(800ms);
    QVERIFY(!grid.didChangeScreen());
    QVERIFY(grid.window()->isMaximized());
}

void GridWindowTest::exactlyTheRestingTimeIsNotEnough()
{
    auto& grid = mGrid->show();
    grid.windowDidChangeScreen();
    mGrid->clock.jump(400'000'005ns);
    grid.adjustToScreenAferMoving();
    QVERIFY(grid.didChangeScreen());
    mGrid->clock.jump(2ns);
    grid.adjustToScreenAferMoving();
    QVERIFY(!grid.didChangeScreen());
}

void GridWindowTest::withoutAnotherDisplayNothingIsRefitted()
{
    auto& grid = mGrid->show();
    grid.windowDidMove();
    mGrid->clock.advance(5s);
    grid.adjustToScreenAferMoving();
    QVERIFY(!grid.window()->isMaximized());
}

void GridWindowTest::hidingIsNotClosing()
{
    auto& grid = mGrid->show();
    QSignalSpy closed(&grid, &KLGridWindowController::closed);
    mGrid->settings->removeValue(keys::gridWindowRect);
    grid.hideWindow();
    QVERIFY(grid.window()->isHidden());
    QVERIFY(closed.isEmpty());
    QVERIFY(mGrid->storedFrame().isEmpty());
    grid.showWindow();
    QVERIFY(grid.window()->isVisible());
}

void GridWindowTest::theKeyToCloseClosesAndEscapeDoesNot()
{
    mGrid->addPictures(3);
    mGrid->collect();
    auto& grid = mGrid->show();
    QTRY_VERIFY(grid.window()->isActiveWindow());
    QTest::keyClick(&mGrid->table(), Qt::Key_Escape);
    QVERIFY(grid.window()->isVisible());
    QTest::keyClick(&mGrid->table(), Qt::Key_W, Qt::ControlModifier);
    QTRY_VERIFY(grid.window()->isHidden());
}

void GridWindowTest::theWindowHasTheMenuBarThatItIsGiven()
{
    auto* bar = new QMenuBar;
    bar->addMenu(QStringLiteral("File"));
    mGrid->grid().setMenuBar(bar);
    mGrid->show();
    QCOMPARE(bar->window(), mGrid->grid().window());
    QCOMPARE(bar->geometry().topLeft(), QPoint(0, 0));
    QVERIFY(mGrid->table().mapTo(mGrid->grid().window(), QPoint()).y() >= bar->height());
}

void GridWindowTest::withoutFilesItSaysWhatToDoNext()
{
    mGrid->addPictures(2);
    mGrid->collect();
    auto& grid = mGrid->show();
    QCOMPARE(pages()->currentWidget()->objectName(), QStringLiteral("myTableView"));
    mGrid->sequence->clear();
    grid.refresh();
    QCOMPARE(pages()->currentWidget()->objectName(), QStringLiteral("emptyPage"));
    const auto* message = grid.window()->findChild<QLabel*>(QStringLiteral("emptyMessage"));
    QVERIFY(message->isVisible());
    QVERIFY(message->text().contains(QStringLiteral("Open a folder or some files")));
    QSignalSpy open(&grid, &KLGridWindowController::openSelected);
    auto* button = grid.window()->findChild<QPushButton*>(QStringLiteral("openButton"));
    QTRY_VERIFY(button->hasFocus()); // ready for the Return key
    QTest::keyClick(button, Qt::Key_Space);
    QCOMPARE(open.size(), 1);
    mGrid->collect();
    grid.refresh();
    QCOMPARE(pages()->currentWidget()->objectName(), QStringLiteral("myTableView"));
    QTRY_VERIFY(mGrid->table().hasFocus());
}

void GridWindowTest::withoutASequenceNothingIsShown()
{
    auto& grid = mGrid->grid();
    grid.setImages(nullptr);
    grid.setDelegate(nullptr);
    mGrid->show();
    QCOMPARE(grid.numberOfRowsInTableView(), 0LL);
    grid.gotoImageIndex(3);
    grid.currentSlideChanged();
    grid.sequenceChanged();
    QCOMPARE(pages()->currentWidget()->objectName(), QStringLiteral("emptyPage"));
}

void GridWindowTest::everythingHasANameForReadersOfTheScreen()
{
    auto& grid = mGrid->show();
    QVERIFY(!grid.window()->windowTitle().isEmpty());
    QVERIFY(!mGrid->table().accessibleName().isEmpty());
    for (const auto* button : grid.window()->findChildren<QPushButton*>()) {
        QVERIFY(!button->text().isEmpty());
        QVERIFY(button->text().contains(QLatin1Char('&')));
    }
}

void GridWindowTest::tinyAndHugeWindows_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("1 x 1") << QSize(1, 1);
    QTest::newRow("240 x 200") << QSize(240, 200);
    QTest::newRow("16000 x 300") << QSize(16000, 300);
    QTest::newRow("300 x 9000") << QSize(300, 9000);
}

void GridWindowTest::tinyAndHugeWindows()
{
    QFETCH(QSize, size);
    mGrid->addPictures(120);
    mGrid->collect();
    auto& grid = mGrid->show(size);
    QVERIFY(grid.window()->width() >= 240);
    QVERIFY(mGrid->table().numberOfColumns() >= 1);
    QVERIFY(!mGrid->cells().empty());
    // The last file can be reached by the keyboard and its whole cell seen.
    QTest::keyClick(&mGrid->table(), Qt::Key_End);
    const auto* last = mGrid->cellOf("119.png");
    QVERIFY(last != nullptr);
    QTest::keyClick(&mGrid->table(), Qt::Key_Home);
    QVERIFY(mGrid->cellOf("000.png") != nullptr);
}

void GridWindowTest::darkColoursAreTaken()
{
    mGrid->addPictures(1);
    mGrid->collect();
    auto& grid = mGrid->show();
    QPalette dark = grid.window()->palette();
    dark.setColor(QPalette::Base, QColor(30, 30, 30));
    dark.setColor(QPalette::Window, QColor(40, 40, 40));
    dark.setColor(QPalette::Text, Qt::white);
    grid.window()->setPalette(dark);
    const QImage now = mGrid->table().viewport()->grab().toImage();
    QCOMPARE(now.pixelColor(now.width() - 2, now.height() - 2), QColor(30, 30, 30));
}

void GridWindowTest::rightToLeftBeginsAtTheRight()
{
    mGrid->addPictures(4);
    mGrid->collect();
    mGrid->grid().window()->setLayoutDirection(Qt::RightToLeft);
    mGrid->show();
    QVERIFY(mGrid->cellOf("000.png")->x() > mGrid->cellOf("001.png")->x());
    mGrid->grid().window()->setLayoutDirection(Qt::LeftToRight);
    QVERIFY(mGrid->cellOf("000.png")->x() < mGrid->cellOf("001.png")->x());
}

QTEST_MAIN(GridWindowTest)
#include "GridWindowTest.moc"
