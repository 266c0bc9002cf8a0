#include "ControllerFixture.h"
#include "HeldPictures.h"

#include <QTest>

#include <cstdio>

using namespace frameflow;

// The path or name over a slide.
class LabelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { HeldPictures::useDecoder(); }
    void init() { mFixture = std::make_unique<ControllerFixture>(); }
    void cleanup() { mFixture.reset(); }

    void withoutTheSettingsThereIsNone();
    void theSlideThatMakesTheWindowCarriesNone();
    void anotherWindowHasItsOwn();
    void theFirstSlideOfAFolderIsOpenedTwice();
    void pathOrName_data();
    void pathOrName();
    void namesOfAllKinds_data();
    void namesOfAllKinds();
    void switchedOffItGoesWithTheNextSlide();
    void itComesWithItsSlide();
    void itStandsAtTheLowerLeftInWhiteOnDarkenedSlide();
    void itStaysInPlaceWhenTheWindowChangesItsSize();
    void itGoesWithItsWindow();
    void itLeavesTheMouseToTheSlide();
    void aPathReadsFromTheLeftEverywhere();

private:
    bool open(const QList<QByteArray>& names = {"1.png", "2.png", "3.png"})
    {
        mFixture->addPictures(names);
        mFixture->start();
        return mFixture->openFolder();
    }
    void step()
    {
        mFixture->controller().nextSlide();
        mFixture->rest();
    }
    // What stands over the slide; empty where nothing does.
    QString text() const
    {
        const auto* const label = mFixture->controller().label();
        return label != nullptr && label->isVisible() ? label->text() : QString();
    }

    std::unique_ptr<ControllerFixture> mFixture;
};

void LabelTest::withoutTheSettingsThereIsNone()
{
    QVERIFY(open());
    step();
    QVERIFY(mFixture->controller().label() == nullptr);
}

void LabelTest::theSlideThatMakesTheWindowCarriesNone()
{
    mFixture->set(keys::showFileName, true);
    mFixture->addPictures({"1.png", "2.png"});
    auto& controller = mFixture->start();
    for (int window = 0; window < 2; ++window) {
        controller.openImageURL(mFixture->folder.urlOf("1.png"), true);
        QVERIFY(mFixture->rest());
        QCOMPARE(text(), QString());
        controller.openImageURL(mFixture->folder.urlOf("2.png"), true);
        QVERIFY(mFixture->rest());
        QCOMPARE(text(), QStringLiteral("2"));
        controller.endSlideShow();
    }
}

// A window that takes another's place has its label at once, while the other one is still about to go.
void LabelTest::anotherWindowHasItsOwn()
{
    mFixture->set(keys::showFileName, true);
    QVERIFY(open());
    step();
    QCOMPARE(text(), QStringLiteral("2"));
    auto& controller = mFixture->controller();
    controller.WindowMode();
    controller.applicationWillBecomeActive();
    QVERIFY(mFixture->rest());
    QCOMPARE(text(), QStringLiteral("2"));
    QCOMPARE(controller.label()->window(), controller.screenWindow());
}

// As soon as it is found, and as the first of the order.
void LabelTest::theFirstSlideOfAFolderIsOpenedTwice()
{
    mFixture->set(keys::showFileName, true);
    QVERIFY(open());
    QCOMPARE(text(), QStringLiteral("1"));
    step();
    QCOMPARE(text(), QStringLiteral("2"));
    mFixture->controller().endSlideShow();
    QTRY_COMPARE(mFixture->controller().fileSequence().count(), size_t(0));
    QVERIFY(mFixture->openFolder());
    QCOMPARE(text(), QStringLiteral("1"));
}

void LabelTest::pathOrName_data()
{
    QTest::addColumn<bool>("path");
    QTest::addColumn<bool>("name");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("path") << true << false << QByteArray("path");
    QTest::newRow("name") << false << true << QByteArray("2");
    QTest::newRow("both") << true << true << QByteArray("path");
    QTest::newRow("neither") << false << false << QByteArray();
}

void LabelTest::pathOrName()
{
    QFETCH(const bool, path);
    QFETCH(const bool, name);
    QFETCH(const QByteArray, expected);
    mFixture->set(keys::showFilePath, path);
    mFixture->set(keys::showFileName, name);
    QVERIFY(open());
    step();
    QCOMPARE(text().toUtf8(), expected == "path" ? mFixture->folder.pathOf("2.png") : expected);
}

void LabelTest::namesOfAllKinds_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QString>("expected");
    QTest::newRow("dots") << QByteArray("a.b.png") << QStringLiteral("a.b");
    QTest::newRow("line end") << QByteArray("a\nb.png") << QStringLiteral(u"a\uFFFDb");
    QTest::newRow("not UTF-8") << QByteArray("a\xff.png") << QStringLiteral(u"a\uFFFD");
    QTest::newRow("markup") << QByteArray("<h1>a&amp;.png") << QStringLiteral("<h1>a&amp;");
    QTest::newRow("mnemonic") << QByteArray("a&b.png") << QStringLiteral("a&b");
    QTest::newRow("emoji") << QByteArray("\xf0\x9f\x8c\x84.png") << QString::fromUtf8("\xf0\x9f\x8c\x84");
    QTest::newRow("joiners") << QByteArray("\u0645\u06cc\u200c\u062e\u200d.png")
                             << QStringLiteral(u"\u0645\u06cc\u200c\u062e\u200d");
    QTest::newRow("turned direction") << QByteArray("a\u202e.png") << QStringLiteral(u"a\uFFFD");
    QTest::newRow("spaces") << QByteArray(" a  b .png") << QStringLiteral(" a  b ");
}

void LabelTest::namesOfAllKinds()
{
    QFETCH(const QByteArray, name);
    QFETCH(const QString, expected);
    mFixture->set(keys::showFileName, true);
    mFixture->addPictures({"plain.png"});
    QCOMPARE(rename(mFixture->folder.pathOf("plain.png").constData(), mFixture->folder.pathOf(name).constData()), 0);
    mFixture->start();
    QVERIFY(mFixture->openFolder());
    QTRY_COMPARE(text(), expected);
    const int line = mFixture->controller().label()->fontMetrics().lineSpacing();
    QVERIFY(mFixture->controller().label()->height() < 2 * line);
}

void LabelTest::switchedOffItGoesWithTheNextSlide()
{
    mFixture->set(keys::showFileName, true);
    QVERIFY(open());
    step();
    QCOMPARE(text(), QStringLiteral("2"));
    mFixture->set(keys::showFileName, false);
    step();
    QCOMPARE(text(), QString());
    QCOMPARE(mFixture->controller().label()->text(), QString());
}

void LabelTest::itComesWithItsSlide()
{
    mFixture->set(keys::showFileName, true);
    HeldPictures held(mFixture->folder);
    held.add("3 held.png", Qt::green);
    mFixture->addPictures({"1.png", "2.png"});
    auto& controller = mFixture->start();
    QVERIFY(mFixture->collectFolder());
    QTRY_VERIFY(controller.slideView() != nullptr && controller.slideView()->currentImage());
    controller.nextSlide();
    QTRY_COMPARE(text(), QStringLiteral("2"));
    controller.nextSlide();
    QVERIFY(controller.isWaitingForSlide());
    QCOMPARE(text(), QStringLiteral("2"));
    held.release("3 held.png");
    QTRY_COMPARE(text(), QStringLiteral("3 held"));
}

void LabelTest::itStandsAtTheLowerLeftInWhiteOnDarkenedSlide()
{
    mFixture->set(keys::showFileName, true);
    mFixture->set(keys::imageFitMode, keys::fitModeStretch);
    mFixture->addPicture("1.png", QColor(250, 200, 100));
    mFixture->addPicture("2.png", QColor(250, 200, 100));
    mFixture->start();
    QVERIFY(mFixture->openFolder());
    step();
    auto* const view = mFixture->controller().slideView();
    const QRect label = mFixture->controller().label()->geometry();
    QCOMPARE(label.bottomLeft(), view->rect().bottomLeft());
    QCOMPARE(mFixture->controller().label()->font().pixelSize(), 24);
    const QImage seen = view->grab().toImage().convertToFormat(QImage::Format_RGB32);
    QCOMPARE(QColor(seen.pixel(label.topRight() + QPoint(1, 0))), QColor(250, 200, 100));
    QCOMPARE(QColor(seen.pixel(label.topLeft() - QPoint(0, 1))), QColor(250, 200, 100));
    QCOMPARE(QColor(seen.pixel(label.topLeft())), QColor(150, 120, 60));
    int white = 0;
    for (int y = label.top(); y <= label.bottom(); ++y) {
        for (int x = label.left(); x <= label.right(); ++x) {
            white += seen.pixel(x, y) == 0xFFFFFFFF ? 1 : 0;
        }
    }
    QVERIFY(white > 10);
}

void LabelTest::itStaysInPlaceWhenTheWindowChangesItsSize()
{
    mFixture->set(keys::showFilePath, true);
    QVERIFY(open());
    step();
    mFixture->controller().WindowMode();
    for (const QSize size : {QSize(300, 200), QSize(700, 500)}) {
        mFixture->controller().screenWindow()->resize(size);
        QTRY_COMPARE(mFixture->controller().screenWindow()->size(), size);
        QTRY_COMPARE(mFixture->controller().label()->geometry().bottomLeft(),
            mFixture->controller().slideView()->rect().bottomLeft());
    }
}

void LabelTest::itGoesWithItsWindow()
{
    mFixture->set(keys::showFileName, true);
    QVERIFY(open());
    step();
    const QPointer<SlideLabel> label = mFixture->controller().label();
    QVERIFY(label);
    mFixture->controller().endSlideShow();
    QTRY_VERIFY(label.isNull());
    QVERIFY(mFixture->controller().label() == nullptr);
    mFixture->controller().updateInfoDisplayForURL(mFixture->folder.urlOf("1.png")); // no view, no label
    QVERIFY(mFixture->controller().label() == nullptr);
}

void LabelTest::itLeavesTheMouseToTheSlide()
{
    mFixture->set(keys::showFilePath, true);
    QVERIFY(open());
    step();
    auto* const view = mFixture->controller().slideView();
    const QPoint inside = mFixture->controller().label()->geometry().center();
    QVERIFY(view->childAt(inside) == nullptr);
}

void LabelTest::aPathReadsFromTheLeftEverywhere()
{
    mFixture->set(keys::showFilePath, true);
    QVERIFY(open());
    step();
    const QImage expected = mFixture->controller().label()->grab().toImage();
    mFixture->controller().endSlideShow();
    QTRY_COMPARE(mFixture->controller().fileSequence().count(), size_t(0));
    QGuiApplication::setLayoutDirection(Qt::RightToLeft);
    const bool opened = mFixture->openFolder();
    step();
    QGuiApplication::setLayoutDirection(Qt::LeftToRight);
    QVERIFY(opened);
    QCOMPARE(mFixture->controller().label()->text().toUtf8(), mFixture->folder.pathOf("2.png"));
    QCOMPARE(mFixture->controller().label()->grab().toImage(), expected);
}

QTEST_MAIN(LabelTest)
#include "LabelTest.moc"
