#include "KLThumbnailView.h"

#include "KLImageGridDelegate.h"
#include "KLImageView.h"
#include "PictureFiles.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QLabel>
#include <QTest>

#include <thread>

using namespace frameflow;

// One cell of the grid.
class KLThumbnailViewTest : public QObject, public KLImageGridDelegate
{
    Q_OBJECT

public:
    void gotoImageIndex(size_t index) override { mChosen.append(index); }

private Q_SLOTS:
    void init()
    {
        mChosen.clear();
        mCell = std::make_unique<KLThumbnailView>(QRect(0, 0, 300, 200));
        mCell->setMyDelegate(this);
        mCell->show();
    }
    void cleanup() { mCell.reset(); }

    void aNewCellIsEmpty();
    void aSmallPictureKeepsItsSizeInTheMiddle();
    void aLargePictureFillsTheCellOneWay_data();
    void aLargePictureFillsTheCellOneWay();
    void withoutAPictureTheButtonIsHidden();
    void aFileWithoutAPictureHasItsName();
    void aPictureFromAnotherThreadArrives();
    void aPictureForACellThatIsGoneIsDropped();
    void theNameStandsAtTheLowerLeftOfThePicture();
    void theNameIsWhiteOnDark();
    void aLongNameIsCutInItsMiddle();
    void markupInANameIsNoMarkup();
    void movieCellsHaveAPlaySymbolOverThePicture();
    void aCellUsedAgainForAPictureHidesThePlaySymbol();
    void theSymbolIsNeverLargerThanThePicture();
    void aClickTellsTheIndex();
    void aClickOnTheNameOrTheSymbolIsAClickOnThePicture();
    void theEdgeIsBlack();
    void readersOfTheScreenHearTheName();

private:
    QRect buttonPlace() const { return mCell->button()->geometry(); }
    static QImage picture(QSize size, QColor colour = Qt::red)
    {
        QImage image(size, QImage::Format_RGB32);
        image.fill(colour);
        return image;
    }

    QList<size_t> mChosen;
    std::unique_ptr<KLThumbnailView> mCell;
};

void KLThumbnailViewTest::aNewCellIsEmpty()
{
    const KLThumbnailView cell(QRect(0, 0, 100, 100));
    QCOMPARE(cell.index(), size_t(0));
    QVERIFY(cell.button()->isHidden());
    QCOMPARE(cell.button()->geometry(), QRect(0, 0, 100, 100));
    QVERIFY(cell.movieIcon() == nullptr);
    QVERIFY(cell.url().isEmpty());
}

void KLThumbnailViewTest::aSmallPictureKeepsItsSizeInTheMiddle()
{
    mCell->setImage(picture(QSize(40, 30)));
    QVERIFY(mCell->button()->isVisible());
    QCOMPARE(buttonPlace(), QRect(130, 85, 40, 30));
}

void KLThumbnailViewTest::aLargePictureFillsTheCellOneWay_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QRect>("place");
    QTest::newRow("exactly the cell's") << QSize(300, 200) << QRect(0, 0, 300, 200);
    QTest::newRow("high") << QSize(200, 300) << QRect(83, 0, 134, 200);
    QTest::newRow("wide") << QSize(600, 100) << QRect(0, 75, 300, 50);
    QTest::newRow("a line") << QSize(300, 1) << QRect(0, 100, 300, 1);
    QTest::newRow("a line too long") << QSize(3000, 1) << QRect(0, 100, 300, 1);
}

void KLThumbnailViewTest::aLargePictureFillsTheCellOneWay()
{
    QFETCH(QSize, size);
    QFETCH(QRect, place);
    mCell->setImage(picture(size));
    QCOMPARE(buttonPlace(), place);
}

void KLThumbnailViewTest::withoutAPictureTheButtonIsHidden()
{
    mCell->setImage(picture(QSize(40, 30)));
    mCell->setImage({});
    QVERIFY(mCell->button()->isHidden());
    QVERIFY(!mCell->hasImage());
}

void KLThumbnailViewTest::aFileWithoutAPictureHasItsName()
{
    const auto isBlank = [this] {
        const QImage now = mCell->grab().toImage();
        QImage plain = now;
        plain.fill(now.pixel(150, 1));
        return now == plain;
    };
    QVERIFY(isBlank());
    mCell->setURL(FileUrl::fromPath(QByteArray("/somewhere/damaged.jpg")));
    mCell->setText(QStringLiteral("damaged.jpg"));
    QVERIFY(!isBlank());
    mCell->setURL({});
    QVERIFY(isBlank());
}

void KLThumbnailViewTest::aPictureFromAnotherThreadArrives()
{
    std::thread([this] { mCell->setImage(picture(QSize(40, 30))); }).join();
    QVERIFY(!mCell->hasImage());
    QTRY_VERIFY(mCell->hasImage());
    QVERIFY(mCell->button()->isVisible());
}

void KLThumbnailViewTest::aPictureForACellThatIsGoneIsDropped()
{
    std::thread([this] { mCell->setImage(picture(QSize(40, 30))); }).join();
    mCell.reset();
    QCoreApplication::processEvents();
    QVERIFY(mCell == nullptr);
}

void KLThumbnailViewTest::theNameStandsAtTheLowerLeftOfThePicture()
{
    mCell->setText(QStringLiteral("Dunes.jpg"));
    mCell->setImage(picture(QSize(200, 100)));
    QCOMPARE(mCell->label()->parentWidget(), mCell->button());
    QCOMPARE(mCell->label()->geometry().bottomLeft(), QPoint(0, 99));
    QCOMPARE(mCell->label()->text(), QStringLiteral("Dunes.jpg"));
    QVERIFY(mCell->label()->width() < 200);
    mCell->setText(QStringLiteral("A longer name.jpg"));
    QCOMPARE(mCell->label()->geometry().bottomLeft(), QPoint(0, 99));
    QCOMPARE(mCell->label()->size(), mCell->label()->sizeHint());
}

void KLThumbnailViewTest::theNameIsWhiteOnDark()
{
    mCell->setText(QStringLiteral("MMMMMMMM"));
    mCell->setImage(picture(QSize(200, 100), Qt::white));
    const QRect label = mCell->label()->geometry().translated(buttonPlace().topLeft());
    const QImage now = mCell->grab(label).toImage();
    // Black at 0.4 over white, beside the letters.
    QVERIFY(qAbs(qRed(now.pixel(2, 2)) - 153) <= 1);
    bool hasWhite = false;
    for (int x = 0; x < now.width(); ++x) {
        hasWhite = hasWhite || qRed(now.pixel(x, now.height() / 2)) > 240;
    }
    QVERIFY(hasWhite);
}

void KLThumbnailViewTest::aLongNameIsCutInItsMiddle()
{
    const QString name = QStringLiteral("begin") + QString(250, QLatin1Char('x')) + QStringLiteral("end.jpg");
    mCell->setImage(picture(QSize(200, 100)));
    mCell->setText(name);
    QVERIFY(mCell->label()->width() <= 200);
    QVERIFY(mCell->label()->text().startsWith(QStringLiteral("begin")));
    QVERIFY(mCell->label()->text().endsWith(QStringLiteral("end.jpg")));
    QCOMPARE(mCell->text(), name);
    QCOMPARE(mCell->button()->toolTip(), name);
    // It has more room on a wider picture.
    const auto before = mCell->label()->text().size();
    mCell->setImage(picture(QSize(300, 100)));
    QVERIFY(mCell->label()->text().size() > before);
}

void KLThumbnailViewTest::markupInANameIsNoMarkup()
{
    mCell->setImage(picture(QSize(300, 100)));
    mCell->setText(QStringLiteral("<b>a</b>.jpg"));
    QCOMPARE(mCell->label()->textFormat(), Qt::PlainText);
    QCOMPARE(mCell->label()->text(), QStringLiteral("<b>a</b>.jpg"));
    QVERIFY(!mCell->button()->toolTip().contains(QStringLiteral("<b>")));
}

void KLThumbnailViewTest::movieCellsHaveAPlaySymbolOverThePicture()
{
    mCell->setIsMovie(true);
    mCell->setImage(picture(QSize(300, 150), Qt::blue));
    QVERIFY(mCell->movieIcon() != nullptr);
    QVERIFY(mCell->movieIcon()->hasImage());
    QVERIFY(mCell->movieIcon()->isVisible());
    QCOMPARE(mCell->movieIcon()->geometry(), mCell->button()->rect());
    const QImage now = mCell->grab().toImage();
    QVERIFY(now.pixelColor(150, 100).red() > 200); // a white triangle
    QCOMPARE(now.pixelColor(20, 100), QColor(Qt::blue));
}

void KLThumbnailViewTest::aCellUsedAgainForAPictureHidesThePlaySymbol()
{
    mCell->setIsMovie(true);
    mCell->setImage(picture(QSize(300, 150)));
    const KLImageView* const icon = mCell->movieIcon();
    mCell->setIsMovie(false);
    QVERIFY(icon->isHidden());
    QCOMPARE(mCell->movieIcon(), icon);
    mCell->setIsMovie(true);
    QCOMPARE(mCell->movieIcon(), icon);
    QVERIFY(icon->isVisible());
}

void KLThumbnailViewTest::theSymbolIsNeverLargerThanThePicture()
{
    mCell->setIsMovie(true);
    mCell->setImage(picture(QSize(20, 10), Qt::blue));
    const QImage now = mCell->grab(buttonPlace()).toImage();
    QCOMPARE(now.pixelColor(2, 5), QColor(Qt::blue)); // beside the symbol, which is ten pixels wide
    QVERIFY(now.pixelColor(10, 5) != QColor(Qt::blue));
}

void KLThumbnailViewTest::aClickTellsTheIndex()
{
    mCell->setIndex(15);
    mCell->setImage(picture(QSize(300, 150)));
    QTest::mouseClick(mCell->findChild<QAbstractButton*>(), Qt::LeftButton);
    QCOMPARE(mChosen, QList<size_t>{15});
    mCell->setMyDelegate(nullptr);
    QTest::mouseClick(mCell->findChild<QAbstractButton*>(), Qt::LeftButton);
    QCOMPARE(mChosen.size(), 1);
}

void KLThumbnailViewTest::aClickOnTheNameOrTheSymbolIsAClickOnThePicture()
{
    mCell->setIsMovie(true);
    mCell->setText(QStringLiteral("A film.mp4"));
    mCell->setImage(picture(QSize(300, 150)));
    const QPoint label = buttonPlace().bottomLeft() + QPoint(8, -6);
    for (const QPoint place : {label, buttonPlace().center()}) {
        QCOMPARE(mCell->childAt(place), static_cast<const QWidget*>(mCell->button()));
    }
}

void KLThumbnailViewTest::theEdgeIsBlack()
{
    mCell->setImage(picture(QSize(300, 150), Qt::white));
    const QImage now = mCell->grab(buttonPlace()).toImage();
    for (const QPoint place : {QPoint(0, 0), QPoint(299, 149), QPoint(150, 0), QPoint(0, 70)}) {
        QCOMPARE(now.pixelColor(place), QColor(Qt::black));
    }
    QCOMPARE(now.pixelColor(1, 1), QColor(Qt::white));
}

void KLThumbnailViewTest::readersOfTheScreenHearTheName()
{
    mCell->setText(QStringLiteral("A film.mp4"));
    mCell->setIsMovie(true);
    mCell->setImage(picture(QSize(300, 150)));
    QAccessibleInterface* const button = QAccessible::queryAccessibleInterface(mCell->findChild<QAbstractButton*>());
    QCOMPARE(button->text(QAccessible::Name), QStringLiteral("A film.mp4"));
    QCOMPARE(button->text(QAccessible::Description), QStringLiteral("Movie"));
    QCOMPARE(button->role(), QAccessible::Button);
    mCell->setIsMovie(false);
    QVERIFY(button->text(QAccessible::Description) != QStringLiteral("Movie"));
}

QTEST_MAIN(KLThumbnailViewTest)
#include "KLThumbnailViewTest.moc"
