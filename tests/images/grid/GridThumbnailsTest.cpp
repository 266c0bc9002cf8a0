#include "GridFixture.h"
#include "HeldPictures.h"
#include "KLImageView.h"
#include "KLThumbnailCache.h"
#include "PictureFiles.h"
#include "StaysTrue.h"

#include <QAbstractButton>
#include <QLabel>
#include <QScrollBar>
#include <QTest>
#include <QThread>

using namespace frameflow;
using namespace std::chrono_literals;

// What the cells show: the thumbnails of the files in view, made when they are seen.
class GridThumbnailsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { HeldPictures::useDecoder(); }
    void init() { mGrid = std::make_unique<GridFixture>(); }
    void cleanup() { mGrid.reset(); }

    void everyFileInViewGetsItsThumbnailAndItsName();
    void rowAndColumnGiveTheIndex();
    void theLastRowHasEmptyPlaces();
    void aPlaceBehindTheLastFileKeepsTheTextOfItsCell();
    void aCachedThumbnailIsThereAtOnce();
    void compressedThumbnailsAreNotWaitedFor();
    void fewAreUncompressedWhileItIsScrolledFast();
    void onlyWhatIsInViewIsMadeUntilTheGridRests();
    void atRestTheThumbnailsAroundAreMadeReady();
    void whatIsScrolledAwayIsGivenUp();
    void whatTakesLongIsGivenUpAtRest();
    void whatTakesLongIsGivenUpThoughTheGridNeverRests();
    void aReloadKeepsThePicturesThatAreThere();
    void aHiddenGridMakesNoThumbnails();
    void aThumbnailGoesOnlyToACellThatStillShowsItsFile();
    void aDamagedFileLeavesItsPlaceWithoutAPicture();
    void aDamagedFileIsTriedAgainWhenItIsShownAgain();
    void aDamagedFileIsTriedAgainAfterAReload();
    void aFileThatVanishesLeavesItsPlaceWithoutAPicture();
    void moviesAreMarked();
    void namesThatAreNoTextAreShown();
    void aClickChoosesTheFile();
    void returnChoosesTheSelectedFile();
    void aClickOnAnEmptyPlaceChoosesNothing();
    void aGridThatIsGoneGetsNoThumbnails();

private:
    bool allInViewHavePictures() const
    {
        const auto cells = mGrid->cells();
        return std::all_of(cells.begin(), cells.end(),
            [](const KLThumbnailView* cell) { return cell->url().isEmpty() || cell->hasImage(); });
    }
    bool isCached(const QByteArray& name) const
    {
        return !KLThumbnailCache::imageWithURL(mGrid->folder.urlOf(name)).isNull();
    }
    void open(int pictures, QSize size = {1000, 700})
    {
        mGrid->addPictures(pictures);
        mGrid->collect();
        mGrid->show(size);
    }
    qsizetype picturesInView() const
    {
        const auto cells = mGrid->cells();
        return std::count_if(cells.begin(), cells.end(), [](const KLThumbnailView* cell) { return cell->hasImage(); });
    }
    QList<FileUrl> cacheAll(int pictures) const
    {
        QList<FileUrl> files;
        for (int number = 0; number < pictures; ++number) {
            files.append(mGrid->folder.urlOf(QByteArray::number(number).rightJustified(3, '0') + ".png"));
            KLThumbnailCache::cacheImageWithURL(files.last());
        }
        return files;
    }
    // As many as are at work at a time take until they are let go, and are in view; others follow.
    void openWithHeld(HeldPictures& held)
    {
        const int places = std::max(QThread::idealThreadCount(), 1);
        QByteArrayList names;
        for (int number = 0; number < places; ++number) {
            names.append('-' + QByteArray::number(number) + ".png"); // before all others
            held.add(names.last(), Qt::red);
        }
        open(200, QSize(1944, 1000));
        for (const QByteArray& name : std::as_const(names)) {
            QVERIFY(mGrid->cellOf(name) != nullptr);
            QTRY_VERIFY(!held.decodersOf(name).isEmpty());
        }
    }
    // What is cached so far is there compressed alone from then on.
    static void compressAll()
    {
        QImage large(5000, 5200, QImage::Format_RGB32); // more than all bitmaps may take
        large.fill(Qt::red);
        KLThumbnailCache& cache = KLThumbnailCache::instance();
        cache.addImage(std::make_shared<const KLThumbnail>(FileUrl::fromPath(QByteArray("/large")), large));
        QVERIFY(cache.bytes() > 0); // which waits for that
    }
    static void click(KLThumbnailView* cell) { QTest::mouseClick(cell->findChild<QAbstractButton*>(), Qt::LeftButton); }

    std::unique_ptr<GridFixture> mGrid;
};

void GridThumbnailsTest::everyFileInViewGetsItsThumbnailAndItsName()
{
    open(9);
    QTRY_VERIFY(allInViewHavePictures());
    const auto cells = mGrid->cells();
    QCOMPARE(cells.size(), size_t(9));
    for (size_t i = 0; i < cells.size(); ++i) {
        QCOMPARE(cells[i]->index(), i);
        QCOMPARE(cells[i]->text(), QStringLiteral("00%1.png").arg(i));
        // 300 by 225 pixels in a cell of 301 by 200.
        QCOMPARE(cells[i]->button()->size(), QSize(267, 200));
        QVERIFY(cells[i]->button()->isVisible());
    }
}

void GridThumbnailsTest::rowAndColumnGiveTheIndex()
{
    open(40, QSize(1944, 700));
    QCOMPARE(mGrid->grid().indexFromRow(2, 3), size_t(15));
    QCOMPARE(mGrid->grid().viewForTableColumn(3, 2)->index(), size_t(15));
    QCOMPARE(mGrid->cells().at(15)->text(), QStringLiteral("015.png"));
}

void GridThumbnailsTest::theLastRowHasEmptyPlaces()
{
    open(13, QSize(1944, 700));
    QCOMPARE(mGrid->grid().numberOfRowsInTableView(), 3LL);
    const auto cells = mGrid->cells();
    QCOMPARE(cells.size(), size_t(18));
    QTRY_VERIFY(cells.at(12)->hasImage());
    for (size_t place = 13; place < 18; ++place) {
        QVERIFY(cells.at(place)->url().isEmpty());
        QVERIFY(cells.at(place)->button()->isHidden());
    }
}

void GridThumbnailsTest::aPlaceBehindTheLastFileKeepsTheTextOfItsCell()
{
    open(6);
    QTRY_VERIFY(allInViewHavePictures());
    KLThumbnailView* const cell = mGrid->cellOf("005.png");
    mGrid->sequence->remove(mGrid->folder.urlOf("005.png"));
    mGrid->grid().reload();
    QVERIFY(cell->url().isEmpty());
    QVERIFY(cell->button()->isHidden());
    QCOMPARE(cell->text(), QStringLiteral("005.png"));
}

void GridThumbnailsTest::aCachedThumbnailIsThereAtOnce()
{
    mGrid->addPictures(4);
    for (const char* name : {"000.png", "001.png", "002.png", "003.png"}) {
        KLThumbnailCache::cacheImageWithURL(mGrid->folder.urlOf(name));
    }
    mGrid->collect();
    mGrid->grid().adjustColumns();
    QVERIFY(!mGrid->cells().empty());
    QVERIFY(allInViewHavePictures());
}

void GridThumbnailsTest::compressedThumbnailsAreNotWaitedFor()
{
    mGrid->addPictures(30);
    const QList<FileUrl> files = cacheAll(30);
    compressAll();
    QVERIFY(KLThumbnailCache::bitmapWithURL(files.first()).isNull());
    mGrid->collect();
    mGrid->grid().adjustColumns();
    QVERIFY(mGrid->cells().size() > 4);
    QCOMPARE(picturesInView(), 4);
    QVERIFY(mGrid->cells().front()->hasImage());
    mGrid->show();
    QVERIFY(mGrid->cells().size() > 8);
    QVERIFY(std::all_of(files.begin(), files.end(), KLThumbnailCache::hasImageWithURL));
    // No file is read again for that.
    for (const FileUrl& url : std::as_const(files)) {
        QVERIFY(QFile::remove(QString::fromUtf8(url.path())));
    }
    QTRY_VERIFY(allInViewHavePictures());
}

void GridThumbnailsTest::fewAreUncompressedWhileItIsScrolledFast()
{
    mGrid->addPictures(100);
    cacheAll(100);
    compressAll();
    mGrid->collect();
    mGrid->show();
    QTRY_VERIFY(allInViewHavePictures());
    compressAll();
    auto* const bar = mGrid->table().verticalScrollBar();
    bar->setValue(10 * 224);
    bar->setValue(20 * 224);
    QVERIFY(mGrid->cells().size() > 8);
    QTRY_COMPARE(picturesInView(), 8);
    QVERIFY(staysTrueFor(200ms, [this] { return picturesInView() == 8; }));
    mGrid->clock.advance(GridThumbnails::restingTime);
    QTRY_VERIFY(allInViewHavePictures());
    // Who goes on slowly has all of them.
    compressAll();
    mGrid->clock.advance(1s);
    bar->setValue(10 * 224);
    QTRY_VERIFY(allInViewHavePictures());
}

void GridThumbnailsTest::onlyWhatIsInViewIsMadeUntilTheGridRests()
{
    open(100);
    QTRY_VERIFY(allInViewHavePictures());
    QVERIFY(isCached("011.png")); // four rows of three are in view, the last of them in part
    QVERIFY(staysTrueFor(200ms, [this] { return !isCached("012.png"); }));
}

void GridThumbnailsTest::atRestTheThumbnailsAroundAreMadeReady()
{
    open(100);
    mGrid->table().verticalScrollBar()->setValue(10 * 224);
    QTRY_VERIFY(allInViewHavePictures());
    mGrid->clock.advance(GridThumbnails::restingTime);
    QTRY_VERIFY(mGrid->grid().isIdle());
    const int first = mGrid->namesInView().first().left(3).toInt();
    const int last = mGrid->namesInView().last().left(3).toInt();
    const int page = last - first + 1;
    for (const int number : {first - page, first - 1, last + 1, last + page}) {
        QVERIFY2(isCached(QByteArray::number(number).rightJustified(3, '0') + ".png"), QByteArray::number(number));
    }
    QVERIFY(!isCached("099.png"));
    // Nor one that was never near: those at the top were in view for a moment.
    QVERIFY(first - page > 13);
    QVERIFY(!isCached("013.png"));
}

void GridThumbnailsTest::whatIsScrolledAwayIsGivenUp()
{
    open(400);
    auto* const bar = mGrid->table().verticalScrollBar();
    for (int row = 1; row < 100; ++row) {
        bar->setValue(row * 224);
    }
    bar->setValue(bar->maximum());
    QTRY_VERIFY(allInViewHavePictures());
    int made = 0;
    for (int number = 20; number < 380; ++number) {
        made += isCached(QByteArray::number(number).rightJustified(3, '0') + ".png") ? 1 : 0;
    }
    const int mostBegun = 2 * std::max(QThread::idealThreadCount(), 1);
    QVERIFY2(made <= mostBegun, QByteArray::number(made).constData());
}

void GridThumbnailsTest::whatTakesLongIsGivenUpAtRest()
{
    HeldPictures held(mGrid->folder);
    openWithHeld(held);
    auto* const bar = mGrid->table().verticalScrollBar();
    bar->setValue(bar->maximum());
    QVERIFY(staysTrueFor(200ms, [this] { return !allInViewHavePictures(); })); // all places are taken
    mGrid->clock.advance(GridThumbnails::restingTime);
    QTRY_VERIFY(allInViewHavePictures());
}

void GridThumbnailsTest::whatTakesLongIsGivenUpThoughTheGridNeverRests()
{
    HeldPictures held(mGrid->folder);
    openWithHeld(held);
    auto* const bar = mGrid->table().verticalScrollBar();
    bar->setValue(bar->maximum());
    for (Duration passed{}; passed < GridThumbnails::longestLeniency; passed += 100ms) {
        QVERIFY(!allInViewHavePictures());
        mGrid->clock.advance(100ms);
        mGrid->grid().reload();
    }
    QTRY_VERIFY(allInViewHavePictures());
}

void GridThumbnailsTest::aReloadKeepsThePicturesThatAreThere()
{
    open(12);
    QTRY_VERIFY(allInViewHavePictures());
    compressAll();
    mGrid->grid().reload();
    QVERIFY(allInViewHavePictures());
    KLThumbnailCache::purge();
    mGrid->grid().reload();
    QVERIFY(!allInViewHavePictures()); // they are made anew
    QTRY_VERIFY(allInViewHavePictures());
}

void GridThumbnailsTest::aHiddenGridMakesNoThumbnails()
{
    mGrid->addPictures(30);
    mGrid->collect();
    mGrid->grid().adjustColumns();
    QVERIFY(mGrid->grid().isIdle());
    mGrid->show();
    mGrid->grid().hideWindow();
    QVERIFY(mGrid->grid().isIdle());
    mGrid->grid().adjustColumns();
    mGrid->clock.advance(1s);
    QVERIFY(mGrid->grid().isIdle());
    mGrid->grid().showWindow();
    QTRY_VERIFY(allInViewHavePictures());
}

void GridThumbnailsTest::aThumbnailGoesOnlyToACellThatStillShowsItsFile()
{
    mGrid->folder.addFile("a.png", encoded(quartersPicture(QSize(400, 300)), "png"));
    QImage blue(400, 300, QImage::Format_RGB32);
    blue.fill(Qt::blue);
    for (int number = 0; number < 60; ++number) {
        mGrid->folder.addFile("b" + QByteArray::number(number) + ".png", encoded(blue, "png"));
    }
    mGrid->collect();
    mGrid->show();
    QVERIFY(mGrid->cellOf("a.png") != nullptr);
    auto* const bar = mGrid->table().verticalScrollBar();
    bar->setValue(bar->maximum()); // its cell is used again while the thumbnail is made
    QTRY_VERIFY(allInViewHavePictures());
    for (KLThumbnailView* cell : mGrid->cells()) {
        if (!cell->url().isEmpty()) {
            const QImage now = cell->grab(cell->button()->geometry()).toImage();
            QVERIFY(now.pixelColor(now.rect().center()).blue() > 200);
            QVERIFY(now.pixelColor(now.width() / 4, now.height() / 4).red() < 60);
        }
    }
}

void GridThumbnailsTest::aDamagedFileLeavesItsPlaceWithoutAPicture()
{
    mGrid->addPictures(3);
    mGrid->folder.addFile("001a.png", "no picture");
    mGrid->folder.addFile("001b.jpg", "");
    mGrid->folder.addFile("001c.mp4", "no movie");
    mGrid->collect();
    mGrid->show();
    mGrid->clock.advance(1s);
    QTRY_VERIFY(mGrid->grid().isIdle());
    QCOMPARE(mGrid->sequence->count(), size_t(6)); // nothing is dropped for that
    for (const char* name : {"001a.png", "001b.jpg", "001c.mp4"}) {
        QVERIFY(!mGrid->cellOf(name)->hasImage());
        QVERIFY(mGrid->cellOf(name)->button()->isHidden());
    }
    QVERIFY(mGrid->cellOf("002.png")->hasImage());
}

void GridThumbnailsTest::aDamagedFileIsTriedAgainWhenItIsShownAgain()
{
    mGrid->addPictures(60);
    mGrid->folder.addFile("000.png", "no picture");
    mGrid->collect();
    mGrid->show();
    mGrid->clock.advance(1s);
    QTRY_VERIFY(mGrid->grid().isIdle());
    QVERIFY(!mGrid->cellOf("000.png")->hasImage());
    mGrid->folder.addFile("000.png", encoded(quartersPicture(QSize(400, 300)), "png"));
    auto* const bar = mGrid->table().verticalScrollBar();
    bar->setValue(bar->maximum());
    QTRY_VERIFY(allInViewHavePictures());
    bar->setValue(0);
    QTRY_VERIFY(mGrid->cellOf("000.png")->hasImage());
}

void GridThumbnailsTest::aDamagedFileIsTriedAgainAfterAReload()
{
    mGrid->addPictures(3);
    mGrid->folder.addFile("000.png", "no picture");
    mGrid->collect();
    mGrid->show();
    mGrid->clock.advance(1s);
    QTRY_VERIFY(mGrid->grid().isIdle());
    mGrid->folder.addFile("000.png", encoded(quartersPicture(QSize(400, 300)), "png"));
    mGrid->grid().reload();
    QTRY_VERIFY(mGrid->cellOf("000.png")->hasImage());
}

void GridThumbnailsTest::aFileThatVanishesLeavesItsPlaceWithoutAPicture()
{
    mGrid->addPictures(12);
    mGrid->collect();
    for (int number = 0; number < 12; number += 2) {
        const QByteArray name = QByteArray::number(number).rightJustified(3, '0') + ".png";
        QVERIFY(QFile::remove(QString::fromUtf8(mGrid->folder.pathOf(name))));
    }
    mGrid->show();
    mGrid->clock.advance(1s);
    QTRY_VERIFY(mGrid->grid().isIdle());
    QVERIFY(!mGrid->cellOf("004.png")->hasImage());
    QVERIFY(mGrid->cellOf("005.png")->hasImage());
    QCOMPARE(mGrid->cellOf("004.png")->text(), QStringLiteral("004.png"));
}

void GridThumbnailsTest::moviesAreMarked()
{
    mGrid->addPictures(1);
    mGrid->folder.addFile("a.mp4", "no movie");
    mGrid->collect();
    mGrid->show();
    QVERIFY(mGrid->cellOf("000.png")->movieIcon() == nullptr);
    const KLThumbnailView* const movie = mGrid->cellOf("a.mp4");
    QVERIFY(movie->movieIcon() != nullptr);
    QVERIFY(!movie->movieIcon()->isHidden());
}

void GridThumbnailsTest::namesThatAreNoTextAreShown()
{
    const QByteArray picture = encoded(quartersPicture(QSize(400, 300)), "png");
    const QByteArray longName = QByteArray(251, 'n') + ".png";
    for (const QByteArray& name : {QByteArray("a\xff\xfe.png"), QByteArray("b\nline;%#?.png"),
             QByteArray("c \xf0\x9f\x8c\x8d.png"), QByteArray("d<img src=x>.png"), QByteArray(longName)}) {
        mGrid->folder.addFile(name, picture);
    }
    mGrid->collect();
    mGrid->show();
    QTRY_VERIFY(allInViewHavePictures());
    QCOMPARE(mGrid->cellOf("a\xff\xfe.png")->text(), QString::fromUtf8("a\xEF\xBF\xBD\xEF\xBF\xBD.png"));
    QVERIFY(!mGrid->cellOf("b\nline;%#?.png")->text().contains(QLatin1Char('\n')));
    QCOMPARE(mGrid->cellOf("c \xf0\x9f\x8c\x8d.png")->text(), QString::fromUtf8("c \xf0\x9f\x8c\x8d.png"));
    QCOMPARE(mGrid->cellOf("d<img src=x>.png")->label()->text(), QStringLiteral("d<img src=x>.png"));
    const KLThumbnailView* const cell = mGrid->cellOf(longName);
    QVERIFY(cell->label()->width() <= cell->button()->width());
    QCOMPARE(cell->text().size(), 255);
}

void GridThumbnailsTest::aClickChoosesTheFile()
{
    open(9);
    QTRY_VERIFY(allInViewHavePictures());
    click(mGrid->cellOf("004.png"));
    QCOMPARE(mGrid->chosen, QList<size_t>{4});
    QCOMPARE(mGrid->table().selected(), std::optional<size_t>(4));
}

void GridThumbnailsTest::returnChoosesTheSelectedFile()
{
    open(200);
    QCOMPARE(mGrid->table().selected(), std::optional<size_t>(0));
    QTest::keyClick(&mGrid->table(), Qt::Key_End);
    QTest::keyClick(&mGrid->table(), Qt::Key_Left);
    QTest::keyClick(&mGrid->table(), Qt::Key_Return);
    QCOMPARE(mGrid->chosen, QList<size_t>{198});
    // One that is not in view any more is chosen all the same.
    mGrid->table().verticalScrollBar()->setValue(0);
    QTest::keyClick(&mGrid->table(), Qt::Key_Space);
    QCOMPARE(mGrid->chosen, (QList<size_t>{198, 198}));
}

void GridThumbnailsTest::aClickOnAnEmptyPlaceChoosesNothing()
{
    open(4);
    const QPoint place = mGrid->cells().at(5)->geometry().center();
    QTest::mouseClick(mGrid->table().viewport(), Qt::LeftButton, {}, place);
    QTest::mouseDClick(mGrid->table().viewport(), Qt::LeftButton, {}, place);
    QVERIFY(mGrid->chosen.isEmpty());
}

void GridThumbnailsTest::aGridThatIsGoneGetsNoThumbnails()
{
    open(60);
    mGrid->restart();
    QVERIFY(staysTrueFor(200ms, [this] { return !isCached("011.png"); }));
}

QTEST_MAIN(GridThumbnailsTest)
#include "GridThumbnailsTest.moc"
