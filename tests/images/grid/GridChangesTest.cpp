#include "GridFixture.h"
#include "SettingsKeys.h"

#include <QAbstractButton>
#include <QScrollBar>
#include <QTest>

using namespace frameflow;
using namespace std::chrono_literals;

// A sequence that changes while its thumbnails are on screen, and the selection in it.
class GridChangesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { mGrid = std::make_unique<GridFixture>(); }
    void cleanup() { mGrid.reset(); }

    void theCurrentSlideIsSelectedAndInViewWhenTheGridOpens();
    void theSelectionGoesWithTheShow();
    void aSelectionThatWasMovedStays();
    void aGridThatWasScrolledAwayIsNotScrolledByTheShow();
    void newFilesAppear();
    void removedFilesDisappear();
    void theFirstChangeIsShownAtOnceAndOthersAreCollected();
    void withoutAChangeNothingIsReloaded();
    void theSelectionStaysOnItsFile();
    void theSelectionOfAFileThatIsGoneGoesToItsNeighbour();
    void aClickChoosesTheFileThatIsSeen();
    void aClickOnAFileThatIsGoneChoosesNothing();
    void anotherOrderIsShown();
    void aClearedSequenceIsShownAsEmpty();
    void theDelegateMayHideTheGrid();
    void manyFilesComeAndGo();

private:
    void open(int pictures, QSize size = {1000, 700})
    {
        mGrid->addPictures(pictures);
        mGrid->collect();
        mGrid->show(size);
        mGrid->clock.advance(1s);
    }
    FileUrl url(const char* name) const { return mGrid->folder.urlOf(name); }
    std::optional<size_t> selected() const { return mGrid->table().selected(); }
    static void click(KLThumbnailView* cell) { QTest::mouseClick(cell->findChild<QAbstractButton*>(), Qt::LeftButton); }

    std::unique_ptr<GridFixture> mGrid;
};

void GridChangesTest::theCurrentSlideIsSelectedAndInViewWhenTheGridOpens()
{
    mGrid->addPictures(200);
    mGrid->collect();
    mGrid->sequence->gotoIndex(150);
    mGrid->show();
    QCOMPARE(selected(), std::optional<size_t>(150));
    QVERIFY(mGrid->cellOf("150.png") != nullptr);
    QVERIFY(mGrid->table().hasFocus());
    // And when it is opened again.
    mGrid->grid().hideWindow();
    mGrid->sequence->gotoIndex(10);
    mGrid->grid().adjustColumns();
    mGrid->grid().showWindow();
    QCOMPARE(selected(), std::optional<size_t>(10));
    QTRY_VERIFY(mGrid->cellOf("010.png") != nullptr);
}

void GridChangesTest::theSelectionGoesWithTheShow()
{
    open(200);
    for (int step = 0; step < 40; ++step) {
        mGrid->sequence->next();
        mGrid->grid().currentSlideChanged();
    }
    QCOMPARE(selected(), std::optional<size_t>(40));
    QVERIFY(mGrid->cellOf("040.png") != nullptr);
}

void GridChangesTest::aSelectionThatWasMovedStays()
{
    open(200);
    QTest::keyClick(&mGrid->table(), Qt::Key_Down);
    mGrid->sequence->next();
    mGrid->grid().currentSlideChanged();
    QCOMPARE(selected(), std::optional<size_t>(3));
}

void GridChangesTest::aGridThatWasScrolledAwayIsNotScrolledByTheShow()
{
    open(200);
    mGrid->table().verticalScrollBar()->setValue(5000);
    mGrid->sequence->next();
    mGrid->grid().currentSlideChanged();
    QCOMPARE(selected(), std::optional<size_t>(1));
    QCOMPARE(mGrid->table().verticalScrollBar()->value(), 5000);
}

void GridChangesTest::newFilesAppear()
{
    open(4);
    mGrid->sequence->addFile(mGrid->folder.addFile("new.png"));
    mGrid->grid().adjustColumns();
    QCOMPARE(
        mGrid->namesInView().mid(0, 5), (QList<QByteArray>{"000.png", "001.png", "002.png", "003.png", "new.png"}));
}

void GridChangesTest::removedFilesDisappear()
{
    open(7);
    QCOMPARE(mGrid->grid().numberOfRowsInTableView(), 3LL);
    mGrid->sequence->remove(url("002.png"));
    mGrid->grid().sequenceChanged();
    QCOMPARE(mGrid->table().numberOfRows(), 2LL);
    QVERIFY(mGrid->cellOf("002.png") == nullptr);
    QVERIFY(mGrid->cellOf("003.png") != nullptr);
}

void GridChangesTest::theFirstChangeIsShownAtOnceAndOthersAreCollected()
{
    open(7);
    mGrid->sequence->remove(url("000.png"));
    mGrid->grid().sequenceChanged();
    QVERIFY(mGrid->cellOf("000.png") == nullptr);
    for (const char* name : {"001.png", "002.png", "003.png"}) {
        mGrid->sequence->remove(url(name));
        mGrid->grid().sequenceChanged();
        mGrid->clock.advance(30ms);
        QVERIFY(mGrid->cellOf(name) != nullptr);
    }
    mGrid->clock.advance(10ms); // however many they are, they are not put off for longer
    QVERIFY(mGrid->cellOf("003.png") == nullptr);
    QVERIFY(mGrid->cellOf("004.png") != nullptr);
}

void GridChangesTest::withoutAChangeNothingIsReloaded()
{
    open(7);
    KLThumbnailView* const cell = mGrid->cellOf("003.png");
    cell->setText(QStringLiteral("as it was"));
    mGrid->grid().sequenceChanged();
    mGrid->clock.advance(1s);
    QCOMPARE(cell->text(), QStringLiteral("as it was"));
}

void GridChangesTest::theSelectionStaysOnItsFile()
{
    open(30);
    for (int step = 0; step < 8; ++step) {
        QTest::keyClick(&mGrid->table(), Qt::Key_Right);
    }
    mGrid->sequence->remove(url("003.png"));
    mGrid->sequence->remove(url("020.png"));
    mGrid->grid().sequenceChanged();
    QCOMPARE(selected(), std::optional<size_t>(7));
    QCOMPARE(mGrid->sequence->URLAtIndex(7), url("008.png"));
}

void GridChangesTest::theSelectionOfAFileThatIsGoneGoesToItsNeighbour()
{
    open(5);
    QTest::keyClick(&mGrid->table(), Qt::Key_End);
    mGrid->sequence->remove(url("004.png"));
    mGrid->grid().sequenceChanged();
    QCOMPARE(selected(), std::optional<size_t>(3));
    QTest::keyClick(&mGrid->table(), Qt::Key_Return);
    QCOMPARE(mGrid->chosen, QList<size_t>{3});
}

void GridChangesTest::aClickChoosesTheFileThatIsSeen()
{
    open(9);
    QTRY_VERIFY(mGrid->cellOf("005.png")->hasImage());
    mGrid->sequence->remove(url("001.png")); // nobody has told the grid yet
    click(mGrid->cellOf("005.png"));
    QCOMPARE(mGrid->chosen, QList<size_t>{4});
    QCOMPARE(mGrid->sequence->URLAtIndex(4), url("005.png"));
    QVERIFY(mGrid->cellOf("001.png") == nullptr);
}

void GridChangesTest::aClickOnAFileThatIsGoneChoosesNothing()
{
    open(9);
    QTRY_VERIFY(mGrid->cellOf("005.png")->hasImage());
    mGrid->sequence->remove(url("005.png"));
    click(mGrid->cellOf("005.png"));
    QVERIFY(mGrid->chosen.isEmpty());
    QVERIFY(mGrid->cellOf("005.png") == nullptr);
}

void GridChangesTest::anotherOrderIsShown()
{
    open(6);
    mGrid->folder.setModified("005.png", 1000);
    mGrid->settings->setValue(keys::sort, keys::sortByDate);
    mGrid->sequence->shuffle();
    mGrid->grid().adjustColumns();
    QList<QByteArray> wanted;
    for (size_t index = 0; index < 6; ++index) {
        wanted.append(mGrid->sequence->URLAtIndex(index).fileName().toByteArray());
    }
    QCOMPARE(mGrid->namesInView().mid(0, 6), wanted);
}

void GridChangesTest::aClearedSequenceIsShownAsEmpty()
{
    open(60);
    QTest::keyClick(&mGrid->table(), Qt::Key_End);
    mGrid->sequence->clear();
    mGrid->grid().sequenceChanged();
    QVERIFY(mGrid->cells().empty());
    QCOMPARE(selected(), std::nullopt);
    mGrid->grid().gotoImageIndex(0);
    QVERIFY(mGrid->chosen.isEmpty());
}

void GridChangesTest::theDelegateMayHideTheGrid()
{
    struct Hiding : KLImageGridDelegate
    {
        void gotoImageIndex(size_t /*index*/) override
        {
            sequence->clear();
            grid->hideWindow();
            grid->adjustColumns();
        }
        KLGridWindowController* grid = nullptr;
        FileSequence* sequence = nullptr;
    } hiding;
    open(60);
    QTRY_VERIFY(mGrid->cellOf("005.png")->hasImage());
    hiding.grid = &mGrid->grid();
    hiding.sequence = mGrid->sequence.get();
    mGrid->grid().setDelegate(&hiding);
    click(mGrid->cellOf("005.png"));
    QVERIFY(mGrid->grid().window()->isHidden());
    QVERIFY(mGrid->cells().empty());
    mGrid->grid().setDelegate(nullptr);
}

void GridChangesTest::manyFilesComeAndGo()
{
    open(100);
    for (int round = 0; round < 20; ++round) {
        mGrid->table().verticalScrollBar()->setValue(mGrid->table().verticalScrollBar()->maximum());
        while (mGrid->sequence->count() > 5) {
            mGrid->sequence->remove(mGrid->sequence->URLAtIndex(round % 3));
        }
        mGrid->grid().sequenceChanged();
        QCoreApplication::processEvents();
        mGrid->clock.advance(100ms);
        QCOMPARE(mGrid->table().numberOfRows(), 2LL);
        mGrid->sequence->clear();
        mGrid->grid().sequenceChanged();
        mGrid->clock.advance(100ms);
        QVERIFY(mGrid->cells().empty());
        mGrid->sequence = std::make_unique<FileSequence>(*mGrid->settings);
        mGrid->grid().setMyFileSequence(mGrid->sequence.get());
        mGrid->collect();
        mGrid->grid().adjustColumns();
        QVERIFY(mGrid->cellOf("000.png") != nullptr);
    }
}

QTEST_MAIN(GridChangesTest)
#include "GridChangesTest.moc"
