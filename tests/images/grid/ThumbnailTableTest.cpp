#include "ThumbnailTable.h"

#include <QLabel>
#include <QPainter>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>

using namespace frameflow;

// Cells that are made for what is in view, and used again for what comes into view.
class ThumbnailTableTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { mTable.reset(); }

    void onlyCellsInViewExist();
    void scrollingUsesTheSameCellsAgain();
    void everyCellInViewShowsItsPlace();
    void aSmallStepFillsOneRowAlone();
    void neverMoreThanAHundredSpareCells();
    void aReloadFillsEveryCellWhereItIs();
    void otherColumnsKeepTheFirstFileInView();
    void fewerRowsLeadBackToTheLast();
    void withoutRowsThereAreNoCells();
    void theWholeListCanBeReached();
    void aTinyTableScrollsSideways();
    void keysMoveTheSelectionAndBringItIntoView();
    void returnAndSpaceOpenTheSelection();
    void keysWithModifiersAndOthersAreLeftToTheWindow();
    void aClickBesideAPictureSelectsAndADoubleClickOpens();
    void aClickBesideTheFilesChangesNothing();
    void theSelectionIsToBeSeen();
    void aRowInTheMiddleStaysThereWhenTheViewIsResized();

private:
    QList<int> shown() const
    {
        QList<int> numbers;
        for (const QWidget* cell : mTable->visibleCells()) {
            numbers.append(static_cast<const QLabel*>(cell)->text().toInt());
        }
        return numbers;
    }
    // From the first to the last.
    static QList<int> numbers(int first, int last)
    {
        QList<int> all;
        for (int number = first; number <= last; ++number) {
            all.append(number);
        }
        return all;
    }
    int allCells() const { return mTable->viewport()->findChildren<QLabel*>(Qt::FindDirectChildrenOnly).size(); }
    void scrollBy(int distance) const
    {
        mTable->verticalScrollBar()->setValue(mTable->verticalScrollBar()->value() + distance);
    }

    size_t mFiles = 0;
    int mMade = 0;
    int mFilled = 0;
    std::unique_ptr<ThumbnailTable> mTable;
};

void ThumbnailTableTest::init()
{
    mFiles = 100000;
    mMade = 0;
    mFilled = 0;
    mTable = std::make_unique<ThumbnailTable>();
    mTable->setRowHeight(200);
    mTable->setDataSource({[this] { return rowsFor(mFiles, mTable->numberOfColumns()); }, [this] { return mFiles; },
        [this](int column, qint64 row) -> QWidget* {
            auto* cell = static_cast<QLabel*>(mTable->takeSpareCell());
            if (cell == nullptr) {
                cell = new QLabel;
                ++mMade;
            }
            ++mFilled;
            cell->setText(QString::number(row * mTable->numberOfColumns() + column));
            return cell;
        }});
    mTable->resize(1000, 2 * 224);
    mTable->show();
    QVERIFY(QTest::qWaitForWindowExposed(mTable.get()));
    mTable->setColumns({3, 275});
    mTable->reload();
    mMade = allCells(); // some were made for the window as it came up
}

void ThumbnailTableTest::onlyCellsInViewExist()
{
    QCOMPARE(shown(), numbers(0, 5));
    QCOMPARE(allCells(), 6 + int(mTable->spareCells()));
}

void ThumbnailTableTest::scrollingUsesTheSameCellsAgain()
{
    for (int step = 0; step < 2000; ++step) {
        scrollBy(112);
    }
    QCOMPARE(shown(), numbers(3000, 3005));
    QVERIFY2(mMade <= 9, QByteArray::number(mMade).constData()); // three rows at a time at most
    mTable->verticalScrollBar()->setValue(mTable->verticalScrollBar()->maximum());
    QCOMPARE(shown().last(), 100001); // two places of the last row are behind the last file
    QVERIFY(mMade <= 9);
}

void ThumbnailTableTest::everyCellInViewShowsItsPlace()
{
    for (const int distance : {100, 224, 500, -300, 5000, -5200, 7, 40000}) {
        scrollBy(distance);
        const int top = mTable->verticalScrollBar()->value();
        const auto cells = mTable->visibleCells();
        QCOMPARE(qint64(cells.size()), 3 * (mTable->visibleRows().last - mTable->visibleRows().first + 1));
        for (const QWidget* cell : cells) {
            const int number = static_cast<const QLabel*>(cell)->text().toInt();
            QVERIFY(cell->isVisible());
            QCOMPARE(cell->y(), number / 3 * 224 + 12 - top);
            QCOMPARE(cell->size(), QSize(275, 200));
        }
    }
}

void ThumbnailTableTest::aSmallStepFillsOneRowAlone()
{
    scrollBy(100); // three rows in view
    mFilled = 0;
    scrollBy(20);
    QCOMPARE(mFilled, 0);
    scrollBy(224);
    QCOMPARE(mFilled, 3);
}

void ThumbnailTableTest::neverMoreThanAHundredSpareCells()
{
    mTable->setColumns({30, 20});
    mTable->resize(2000, 10 * 224);
    mTable->reload();
    QTRY_COMPARE(mTable->visibleCells().size(), size_t(300));
    mTable->resize(400, 224);
    mTable->setColumns({1, 275});
    mTable->reload();
    QTRY_COMPARE(allCells(), 101);
    QCOMPARE(mTable->visibleCells().size(), size_t(1));
    QCOMPARE(mTable->spareCells(), size_t(100));
}

void ThumbnailTableTest::aReloadFillsEveryCellWhereItIs()
{
    const auto before = mTable->visibleCells();
    mFilled = 0;
    mTable->reload();
    QCOMPARE(mFilled, 6);
    QCOMPARE(mTable->visibleCells(), before);
}

void ThumbnailTableTest::otherColumnsKeepTheFirstFileInView()
{
    scrollBy(1000 * 224);
    QCOMPARE(shown().first(), 3000);
    mTable->setColumns({2, 400});
    mTable->reload();
    QCOMPARE(shown(), numbers(3000, 3003));
    mTable->setColumns({7, 100});
    mTable->reload();
    QVERIFY(shown().contains(3000));
}

void ThumbnailTableTest::fewerRowsLeadBackToTheLast()
{
    mTable->verticalScrollBar()->setValue(mTable->verticalScrollBar()->maximum());
    mFiles = 100;
    mTable->reload();
    QCOMPARE(shown(), numbers(96, 101));
}

void ThumbnailTableTest::withoutRowsThereAreNoCells()
{
    QSignalSpy changes(mTable.get(), &ThumbnailTable::visibleCellsChanged);
    mFiles = 0;
    mTable->reload();
    QVERIFY(mTable->visibleCells().empty());
    QVERIFY(!changes.isEmpty());
    QTest::keyClick(mTable.get(), Qt::Key_Down);
    QCOMPARE(mTable->selected(), std::nullopt);
}

void ThumbnailTableTest::theWholeListCanBeReached()
{
    mFiles = 9'000'000; // as high as two thousand million pixels in one column
    mTable->setColumns({1, 276});
    mTable->reload();
    mTable->verticalScrollBar()->setValue(mTable->verticalScrollBar()->maximum());
    QCOMPARE(shown().last(), 8'999'999);
    // More than a scroll bar can count: nothing is lost but the end.
    mFiles = 20'000'000;
    mTable->reload();
    mTable->verticalScrollBar()->setValue(mTable->verticalScrollBar()->maximum());
    QVERIFY(shown().last() > 9'000'000);
}

void ThumbnailTableTest::aTinyTableScrollsSideways()
{
    mTable->setColumns({1, 276});
    mTable->resize(200, 100);
    mTable->reload();
    QTRY_VERIFY(mTable->horizontalScrollBar()->maximum() > 0);
    const int before = mTable->visibleCells().front()->x();
    mTable->horizontalScrollBar()->setValue(50);
    QCOMPARE(mTable->visibleCells().front()->x(), before - 50);
    mTable->resize(1, 1);
    QTRY_VERIFY(mTable->visibleCells().size() <= 1);
}

void ThumbnailTableTest::keysMoveTheSelectionAndBringItIntoView()
{
    mTable->select(0);
    QSignalSpy moves(mTable.get(), &ThumbnailTable::selectionMoved);
    QTest::keyClick(mTable.get(), Qt::Key_Right);
    QTest::keyClick(mTable.get(), Qt::Key_Down);
    QTest::keyClick(mTable.get(), Qt::Key_Down);
    QCOMPARE(mTable->selected(), std::optional<size_t>(7));
    QCOMPARE(moves.size(), 3);
    QVERIFY(shown().contains(7));
    QCOMPARE(mTable->verticalScrollBar()->value(), 224);
    QTest::keyClick(mTable.get(), Qt::Key_End);
    QCOMPARE(mTable->selected(), std::optional<size_t>(99999));
    QVERIFY(shown().contains(99999));
    QTest::keyClick(mTable.get(), Qt::Key_PageUp);
    QCOMPARE(mTable->selected(), std::optional<size_t>(99993));
    QTest::keyClick(mTable.get(), Qt::Key_Home);
    QVERIFY(shown().contains(0));
}

void ThumbnailTableTest::returnAndSpaceOpenTheSelection()
{
    QSignalSpy opened(mTable.get(), &ThumbnailTable::opened);
    QTest::keyClick(mTable.get(), Qt::Key_Return);
    QVERIFY(opened.isEmpty());
    mTable->select(4);
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Space}) {
        QTest::keyClick(mTable.get(), key);
    }
    QCOMPARE(opened.size(), 3);
    QCOMPARE(opened.first().first().value<size_t>(), size_t(4));
}

void ThumbnailTableTest::keysWithModifiersAndOthersAreLeftToTheWindow()
{
    mTable->select(4);
    for (const auto& [key, modifier] : {std::pair{Qt::Key_Escape, Qt::NoModifier}, {Qt::Key_Delete, Qt::NoModifier},
             {Qt::Key_Right, Qt::ControlModifier}, {Qt::Key_Return, Qt::AltModifier}}) {
        QKeyEvent event(QEvent::KeyPress, key, modifier);
        QCoreApplication::sendEvent(mTable.get(), &event);
        QVERIFY(!event.isAccepted());
    }
    QCOMPARE(mTable->selected(), std::optional<size_t>(4));
}

void ThumbnailTableTest::aClickBesideAPictureSelectsAndADoubleClickOpens()
{
    QSignalSpy opened(mTable.get(), &ThumbnailTable::opened);
    const QPoint inFifth = mTable->visibleCells().at(4)->geometry().center();
    QTest::mouseClick(mTable->viewport(), Qt::LeftButton, {}, inFifth);
    QCOMPARE(mTable->selected(), std::optional<size_t>(4));
    QVERIFY(opened.isEmpty());
    QTest::mouseDClick(mTable->viewport(), Qt::LeftButton, {}, inFifth);
    QCOMPARE(opened.size(), 1);
    QTest::mouseClick(mTable->viewport(), Qt::RightButton, {}, mTable->visibleCells().at(1)->geometry().center());
    QCOMPARE(mTable->selected(), std::optional<size_t>(4));
}

void ThumbnailTableTest::aClickBesideTheFilesChangesNothing()
{
    mFiles = 4; // two places of the second row are empty
    mTable->reload();
    mTable->select(1);
    const QPoint empty = mTable->visibleCells().at(5)->geometry().center();
    QTest::mouseClick(mTable->viewport(), Qt::LeftButton, {}, empty);
    QTest::mouseClick(mTable->viewport(), Qt::LeftButton, {}, QPoint(2, 2));
    QCOMPARE(mTable->selected(), std::optional<size_t>(1));
}

void ThumbnailTableTest::theSelectionIsToBeSeen()
{
    const auto edgeOf = [this](size_t cell) {
        const QImage picture = mTable->viewport()->grab().toImage();
        return picture.pixelColor(mTable->visibleCells().at(cell)->geometry().center() - QPoint(0, 107));
    };
    const QColor plain = edgeOf(1);
    mTable->select(1);
    QVERIFY(edgeOf(1) != plain);
    QCOMPARE(edgeOf(2), plain);
    mTable->select(2);
    QCOMPARE(edgeOf(1), plain);
}

void ThumbnailTableTest::aRowInTheMiddleStaysThereWhenTheViewIsResized()
{
    mTable->scrollToMiddle(3001);
    mTable->resize(1000, 5 * 224);
    QTRY_COMPARE(mTable->visibleRows(), (GridRows{998, 1002}));
    scrollBy(224);
    mTable->resize(1000, 3 * 224);
    QTRY_COMPARE(mTable->visibleRows(), (GridRows{999, 1001}));
}

QTEST_MAIN(ThumbnailTableTest)
#include "ThumbnailTableTest.moc"
