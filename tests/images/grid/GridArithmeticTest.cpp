#include "GridColumns.h"
#include "GridGeometry.h"
#include "GridNavigation.h"
#include "GridWindowFrame.h"

#include <QTest>

#include <limits>

using namespace frameflow;

// The places of cells, the keys that lead from one to another, and the frame of the window, as plain numbers.
class GridArithmeticTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void columnsFillTheWindow_data();
    void columnsFillTheWindow();
    void rowsHoldAllFiles_data();
    void rowsHoldAllFiles();
    void theColumnsNeverNeedMoreThanTheWindow();
    void cellsStandInRowsInTheMiddleOfTheView();
    void aMirroredGridBeginsAtTheRight();
    void rowsInViewAreThoseThatAnyPixelShows_data();
    void rowsInViewAreThoseThatAnyPixelShows();
    void everyPointOfACellLeadsToIt();
    void aRowIsScrolledIntoViewByTheShortestWay_data();
    void aRowIsScrolledIntoViewByTheShortestWay();
    void keysLeadFromFileToFile_data();
    void keysLeadFromFileToFile();
    void aMirroredGridMirrorsItsKeys();
    void withoutASelectionAKeyBeginsInView();
    void withoutFilesNoKeyLeadsAnywhere();
    void aStoredFrameIsBroughtToWhereItCanBeReached_data();
    void aStoredFrameIsBroughtToWhereItCanBeReached();
};

void GridArithmeticTest::columnsFillTheWindow_data()
{
    QTest::addColumn<double>("window");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("width");
    QTest::newRow("1944") << 1944.0 << 6 << 295;
    QTest::newRow("624") << 624.0 << 2 << 275;
    QTest::newRow("200: narrower than a column") << 200.0 << 1 << 276;
    QTest::newRow("just too narrow for one") << 323.0 << 1 << 276;
    QTest::newRow("just one") << 324.0 << 1 << 275;
    QTest::newRow("just too narrow for two") << 623.0 << 1 << 574;
    QTest::newRow("nothing is left of the spacing") << 24.0 << 1 << 276;
    QTest::newRow("no width") << 0.0 << 1 << 276;
    QTest::newRow("a negative width") << -500.0 << 1 << 276;
    QTest::newRow("not a number") << std::numeric_limits<double>::quiet_NaN() << 1 << 276;
    QTest::newRow("16384") << 16384.0 << 54 << 278;
}

void GridArithmeticTest::columnsFillTheWindow()
{
    QFETCH(double, window);
    QFETCH(int, count);
    QFETCH(int, width);
    const GridColumns columns = columnsForWidth(window, 200.0);
    QCOMPARE(columns.count, count);
    QCOMPARE(columns.width, width);
}

void GridArithmeticTest::rowsHoldAllFiles_data()
{
    QTest::addColumn<qulonglong>("files");
    QTest::addColumn<int>("columns");
    QTest::addColumn<qlonglong>("rows");
    QTest::newRow("13 in 6") << 13ULL << 6 << 3LL;
    QTest::newRow("12 in 6") << 12ULL << 6 << 2LL;
    QTest::newRow("1 in 6") << 1ULL << 6 << 1LL;
    QTest::newRow("none") << 0ULL << 6 << 0LL;
    QTest::newRow("100000 in 1") << 100000ULL << 1 << 100000LL;
}

void GridArithmeticTest::rowsHoldAllFiles()
{
    QFETCH(qulonglong, files);
    QFETCH(int, columns);
    QFETCH(qlonglong, rows);
    QCOMPARE(rowsFor(files, columns), rows);
}

void GridArithmeticTest::theColumnsNeverNeedMoreThanTheWindow()
{
    for (int window = 324; window < 8000; ++window) {
        GridGeometry grid;
        grid.columns = columnsForWidth(window, 200.0);
        QVERIFY2(grid.contentWidth() <= window - gridSpacing, QByteArray::number(window).constData());
    }
}

void GridArithmeticTest::cellsStandInRowsInTheMiddleOfTheView()
{
    const GridGeometry grid{{6, 295}, 3, 200, QSize(1934, 1000), false};
    QCOMPARE(grid.contentWidth(), 1914);
    QCOMPARE(grid.contentHeight(), 672LL);
    QCOMPARE(grid.cellRect({0, 0}, 0), QRect(10 + 12, 12, 295, 200));
    QCOMPARE(grid.cellRect({0, 1}, 0), QRect(10 + 12 + 319, 12, 295, 200));
    QCOMPARE(grid.cellRect({2, 5}, 100), QRect(10 + 12 + 5 * 319, 2 * 224 + 12 - 100, 295, 200));
    // A view too narrow for its column shows its beginning.
    const GridGeometry narrow{{1, 276}, 3, 200, QSize(200, 1000), false};
    QCOMPARE(narrow.cellRect({0, 0}, 0).left(), 12);
}

void GridArithmeticTest::aMirroredGridBeginsAtTheRight()
{
    const GridGeometry grid{{2, 275}, 3, 200, QSize(598, 1000), true};
    QCOMPARE(grid.cellRect({0, 0}, 0).left(), 12 + 299);
    QCOMPARE(grid.cellRect({0, 1}, 0).left(), 12);
    QCOMPARE(grid.placeAt(QPoint(20, 20), 0), (GridPlace{0, 1}));
}

void GridArithmeticTest::rowsInViewAreThoseThatAnyPixelShows_data()
{
    QTest::addColumn<qlonglong>("top");
    QTest::addColumn<int>("height");
    QTest::addColumn<qlonglong>("first");
    QTest::addColumn<qlonglong>("last");
    QTest::newRow("from the top") << 0LL << 448 << 0LL << 1LL;
    QTest::newRow("one pixel of a third") << 0LL << 449 << 0LL << 2LL;
    QTest::newRow("one pixel down") << 1LL << 448 << 0LL << 2LL;
    QTest::newRow("a row down") << 224LL << 448 << 1LL << 2LL;
    QTest::newRow("the end") << 2240000LL - 448 << 448 << 9998LL << 9999LL;
    QTest::newRow("beyond the end") << 2240000LL - 100 << 448 << 9999LL << 9999LL;
    QTest::newRow("no height") << 0LL << 0 << 0LL << -1LL;
}

void GridArithmeticTest::rowsInViewAreThoseThatAnyPixelShows()
{
    QFETCH(qlonglong, top);
    QFETCH(int, height);
    QFETCH(qlonglong, first);
    QFETCH(qlonglong, last);
    const GridGeometry grid{{6, 295}, 10000, 200, QSize(1944, height), false};
    QCOMPARE(grid.visibleRows(top), (GridRows{first, last}));
    QVERIFY((GridGeometry{{6, 295}, 0, 200, QSize(1944, 448), false}.visibleRows(0).isEmpty()));
}

void GridArithmeticTest::everyPointOfACellLeadsToIt()
{
    const GridGeometry grid{{3, 290}, 4, 200, QSize(960, 500), false};
    for (qint64 row = 0; row < 4; ++row) {
        for (int column = 0; column < 3; ++column) {
            const QRect cell = grid.cellRect({row, column}, 50);
            for (const QPoint point : {cell.topLeft(), cell.center(), cell.bottomRight()}) {
                QCOMPARE(grid.placeAt(point, 50), (GridPlace{row, column}));
            }
        }
    }
    QCOMPARE(grid.placeAt(QPoint(3, 100), 0), std::nullopt);
    QCOMPARE(grid.placeAt(QPoint(957, 100), 0), std::nullopt);
    QCOMPARE(grid.placeAt(QPoint(100, 4 * 224), 0), std::nullopt);
}

void GridArithmeticTest::aRowIsScrolledIntoViewByTheShortestWay_data()
{
    QTest::addColumn<qlonglong>("row");
    QTest::addColumn<qlonglong>("top");
    QTest::addColumn<int>("height");
    QTest::addColumn<qlonglong>("expected");
    QTest::newRow("in view") << 1LL << 100LL << 500 << 100LL;
    QTest::newRow("above") << 1LL << 500LL << 500 << 224LL;
    QTest::newRow("partly above") << 2LL << 500LL << 500 << 448LL;
    QTest::newRow("below") << 5LL << 0LL << 500 << 6LL * 224 - 500;
    QTest::newRow("a view lower than a row") << 5LL << 0LL << 100 << 5LL * 224;
}

void GridArithmeticTest::aRowIsScrolledIntoViewByTheShortestWay()
{
    QFETCH(qlonglong, row);
    QFETCH(qlonglong, top);
    QFETCH(int, height);
    QFETCH(qlonglong, expected);
    const GridGeometry grid{{3, 290}, 100, 200, QSize(960, height), false};
    QCOMPARE(grid.topToShow(row, top), expected);
}

void GridArithmeticTest::keysLeadFromFileToFile_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<qlonglong>("from");
    QTest::addColumn<qlonglong>("to");
    // 13 files in rows of five, two rows to a page:  0..4 / 5..9 / 10..12
    const auto row = [](const char* name, Qt::Key key, qint64 from, qint64 to) {
        QTest::newRow(name) << int(key) << qlonglong(from) << qlonglong(to);
    };
    row("right", Qt::Key_Right, 3, 4);
    row("right to the next row", Qt::Key_Right, 4, 5);
    row("right at the end", Qt::Key_Right, 12, 12);
    row("left to the row before", Qt::Key_Left, 5, 4);
    row("left at the beginning", Qt::Key_Left, 0, 0);
    row("down", Qt::Key_Down, 1, 6);
    row("down to a row that is not full", Qt::Key_Down, 9, 12);
    row("down in the last row", Qt::Key_Down, 11, 11);
    row("up", Qt::Key_Up, 12, 7);
    row("up in the first row", Qt::Key_Up, 3, 3);
    row("page down", Qt::Key_PageDown, 1, 11);
    row("page down beyond the end", Qt::Key_PageDown, 6, 11);
    row("page up", Qt::Key_PageUp, 12, 2);
    row("page up beyond the beginning", Qt::Key_PageUp, 7, 2);
    row("home", Qt::Key_Home, 8, 0);
    row("end", Qt::Key_End, 3, 12);
    row("any other", Qt::Key_A, 3, -1);
    row("escape", Qt::Key_Escape, 3, -1);
}

void GridArithmeticTest::keysLeadFromFileToFile()
{
    QFETCH(int, key);
    QFETCH(qlonglong, from);
    QFETCH(qlonglong, to);
    const GridNavigation grid{13, 5, 2, 0, false};
    QCOMPARE(selectionAfterKey(key, from, grid), to < 0 ? std::nullopt : std::optional<qint64>(to));
}

void GridArithmeticTest::aMirroredGridMirrorsItsKeys()
{
    const GridNavigation grid{13, 5, 2, 0, true};
    QCOMPARE(selectionAfterKey(Qt::Key_Left, 3, grid), std::optional<qint64>(4));
    QCOMPARE(selectionAfterKey(Qt::Key_Right, 3, grid), std::optional<qint64>(2));
    QCOMPARE(selectionAfterKey(Qt::Key_Down, 3, grid), std::optional<qint64>(8));
}

void GridArithmeticTest::withoutASelectionAKeyBeginsInView()
{
    const GridNavigation grid{1000, 5, 2, 500, false};
    QCOMPARE(selectionAfterKey(Qt::Key_Down, std::nullopt, grid), std::optional<qint64>(500));
    QCOMPARE(selectionAfterKey(Qt::Key_End, std::nullopt, grid), std::optional<qint64>(999));
}

void GridArithmeticTest::withoutFilesNoKeyLeadsAnywhere()
{
    const GridNavigation grid{0, 5, 2, 0, false};
    for (const Qt::Key key : {Qt::Key_Left, Qt::Key_Down, Qt::Key_End, Qt::Key_Home, Qt::Key_PageUp}) {
        QCOMPARE(selectionAfterKey(key, std::nullopt, grid), std::nullopt);
    }
}

void GridArithmeticTest::aStoredFrameIsBroughtToWhereItCanBeReached_data()
{
    QTest::addColumn<QRectF>("stored");
    QTest::addColumn<QRect>("frame"); // null: nothing usable
    QTest::newRow("as it is") << QRectF(100, 50, 800, 600) << QRect(100, 50, 800, 600);
    QTest::newRow("on the second display") << QRectF(2000, 50, 800, 600) << QRect(2000, 50, 800, 600);
    QTest::newRow("partly outside") << QRectF(-700, 50, 800, 600) << QRect(-700, 50, 800, 600);
    QTest::newRow("on no display") << QRectF(9000, 9000, 800, 600) << QRect(560, 240, 800, 600);
    QTest::newRow("its title out of reach") << QRectF(100, -300, 800, 600) << QRect(560, 240, 800, 600);
    QTest::newRow("too large") << QRectF(0, 0, 1e12, 1e12) << QRect(0, 0, 1920, 1080);
    QTest::newRow("far away") << QRectF(-1e300, 1e300, 800, 600) << QRect(560, 240, 800, 600);
    QTest::newRow("empty") << QRectF() << QRect();
    QTest::newRow("negative") << QRectF(0, 0, -800, 600) << QRect();
    QTest::newRow("less than a pixel") << QRectF(0, 0, 0.5, 600) << QRect();
}

void GridArithmeticTest::aStoredFrameIsBroughtToWhereItCanBeReached()
{
    QFETCH(QRectF, stored);
    QFETCH(QRect, frame);
    const auto reached = reachableFrame(stored, {QRect(0, 0, 1920, 1080), QRect(1920, 0, 1280, 1024)});
    QCOMPARE(reached.has_value(), !frame.isNull());
    QCOMPARE(reached.value_or(QRect()), frame);
}

QTEST_APPLESS_MAIN(GridArithmeticTest)
#include "GridArithmeticTest.moc"
