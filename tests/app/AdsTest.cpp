#include "Bookmark.h"
#include "ControllerFixture.h"
#include "MainThread.h"
#include "StaysTrue.h"

#include <QFile>
#include <QTest>

#include <cstdio>

#include <unistd.h>

using namespace frameflow;
using namespace std::chrono_literals;

// Files of the ad folder between the slides.
class AdsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    // The pattern
    void soManySlidesThenOneAd_data();
    void soManySlidesThenOneAd();
    void theTimerShowsAdsToo();
    void switchingAdsOffTakesEffectAtTheNextStep();
    void theIntervalIsReadAtEveryStep();
    void theCounterIsKeptOverShows();
    void goingBackShowsNoAdAndCountsNothing();
    void goingToTheFirstSlideCountsNothing();
    void theHintIsReplacedByItsSlideWithoutCounting();
    void fewAds_data();
    void fewAds();
    void anAdThatIsDueWhileAdsAreCollectedComesAfterwards();

    // The folder
    void withoutAdsNothingIsOpened_data();
    void withoutAdsNothingIsOpened();
    void aRenamedFolderIsFound();
    void aBookmarkThatDoesNotResolveLeavesTheAds_data();
    void aBookmarkThatDoesNotResolveLeavesTheAds();
    void anotherFolderIsLoadedWhenTheNextShowBegins();
    void theAdsBeginAnewWhenAShowBegins();
    void theFolderLevelHoldsForAdsToo();
    void adsComeAndGoDuringTheShow();
    void theEndOfTheShowEmptiesTheAds();
    void aShowThatEndsAtOnceOpensNoAds();
    void theControllerGoesWhileAdsAreLookedFor();

    // What can go wrong
    void anUnloadableAdIsDroppedAndTheNextSlideShown_data();
    void anUnloadableAdIsDroppedAndTheNextSlideShown();
    void anUnloadableLastAdEndsTheAds_data();
    void anUnloadableLastAdEndsTheAds();
    void unloadableAdsAloneLeaveTheSlides();
    void anAdThatVanishedIsSteppedOver();

    // While an ad is on screen
    void commandsActOnTheSlideBeforeTheAd();
    void theEndOfTheSlidesFollowsTheEndModeInSpiteOfAds_data();
    void theEndOfTheSlidesFollowsTheEndModeInSpiteOfAds();

    // Ahead
    void whatComesNextIsReadAhead_data();
    void whatComesNextIsReadAhead();

private:
    void addSlides(int count)
    {
        for (int i = 1; i <= count; ++i) {
            mFixture->addPicture(QByteArray::number(i) + ".png");
        }
    }
    static void addAdTo(const TestFolder& folder, const QByteArray& name)
    {
        QImage picture(40, 30, QImage::Format_RGB32);
        picture.fill(Qt::blue);
        QVERIFY(picture.save(QString::fromUtf8(folder.addFile(name)), "PNG"));
    }
    void addAd(const QByteArray& name) const { addAdTo(*mAds, name); }
    void useAds(const QVariant& interval)
    {
        mFixture->set(keys::showAdds, true);
        mFixture->set(keys::addInterval, interval);
        mFixture->set(keys::addFolder, bookmarkForFolder(mAds->url()));
    }
    const FileSequence* ads() { return mFixture->controller().addSequence(); }
    bool awaitAds()
    {
        return QTest::qWaitFor([this] { return ads() != nullptr && !ads()->isCollecting(); }) && mFixture->rest();
    }
    bool open()
    {
        mFixture->start();
        return mFixture->openFolder() && awaitAds();
    }
    // A show of so many slides with the ads A, B and C.
    bool openWithThreeAds(int slides, const QVariant& interval)
    {
        addSlides(slides);
        for (const char* const name : {"A.png", "B.png", "C.png"}) {
            addAd(name);
        }
        useAds(interval);
        return open();
    }
    QByteArray nameOfAd(size_t index) { return ads()->URLAtIndex(index).fileName().chopped(4).toByteArray(); }
    // What so many steps forward show, by name.
    QByteArray steps(int count)
    {
        QList<QByteArray> names;
        for (int i = 0; i < count; ++i) {
            mFixture->controller().nextSlide();
            mFixture->rest();
            names.append(shown());
        }
        return names.join(' ');
    }
    // The name on screen without its suffix.
    QByteArray shown() const { return mFixture->shown().split('.').first(); }

    std::unique_ptr<ControllerFixture> mFixture;
    std::unique_ptr<TestFolder> mAds;
};

void AdsTest::init()
{
    mFixture = std::make_unique<ControllerFixture>();
    mAds = std::make_unique<TestFolder>();
}

void AdsTest::cleanup()
{
    mFixture.reset();
    mAds.reset();
}

void AdsTest::soManySlidesThenOneAd_data()
{
    QTest::addColumn<QString>("endMode");
    QTest::addColumn<QVariant>("interval");
    QTest::addColumn<QByteArray>("expected"); // <1> and <2>: the ads in the order in which they were found
    const QString wait = keys::endModeWait;
    const QString rewind = keys::endModeRewind;
    // The slide on screen is the first; the first ad is the second one found.
    QTest::newRow("three, wait") << wait << QVariant(3) << QByteArray("2 3 4 <1> 5 6 7 <2> 8 9 10 11 12");
    QTest::newRow("three, rewind") << rewind << QVariant(3)
                                   << QByteArray("2 3 4 <1> 5 6 7 <2> 8 9 10 A 11 12 1 B 2 3 4 C 5 6 7 A");
    QTest::newRow("one, wait") << wait << QVariant(1) << QByteArray("2 <1> 3 <2> 4 5 6");
    QTest::newRow("zero, wait") << wait << QVariant(0) << QByteArray("<1> <2> 2 3 4");
    QTest::newRow("below zero, wait") << wait << QVariant(-7) << QByteArray("<1> <2> 2 3 4");
    QTest::newRow("absent, wait") << wait << QVariant(QStringLiteral("no number")) << QByteArray("<1> <2> 2 3 4");
    QTest::newRow("zero, rewind") << rewind << QVariant(0) << QByteArray("<1> <2> A B C A B");
    QTest::newRow("as text") << wait << QVariant(QStringLiteral("2")) << QByteArray("2 3 <1> 4 5 <2> 6 7 8 9");
}

void AdsTest::soManySlidesThenOneAd()
{
    QFETCH(const QString, endMode);
    QFETCH(const QVariant, interval);
    QFETCH(QByteArray, expected);
    mFixture->set(keys::endMode, endMode);
    QVERIFY(openWithThreeAds(12, interval));
    QCOMPARE(shown(), QByteArray("1"));
    expected.replace("<1>", nameOfAd(1)).replace("<2>", nameOfAd(2));
    QCOMPARE(steps(static_cast<int>(expected.count(' ')) + 1), expected);
}

void AdsTest::theTimerShowsAdsToo()
{
    mFixture->set(keys::slideInterval, 5);
    QVERIFY(openWithThreeAds(4, 2));
    mFixture->controller().Start();
    QList<QByteArray> names;
    for (int i = 0; i < 4; ++i) {
        mFixture->clock.advance(5s);
        QVERIFY(mFixture->rest());
        names.append(shown());
    }
    QCOMPARE(names, (QList<QByteArray>{"2", "3", nameOfAd(1), "4"}));
}

void AdsTest::switchingAdsOffTakesEffectAtTheNextStep()
{
    QVERIFY(openWithThreeAds(9, 2));
    QCOMPARE(steps(2), QByteArray("2 3"));
    mFixture->set(keys::showAdds, false);
    QCOMPARE(steps(2), QByteArray("4 5"));
    mFixture->set(keys::showAdds, true); // the ad that was due is due still
    QCOMPARE(steps(3), nameOfAd(1) + " 6 7");
}

void AdsTest::theIntervalIsReadAtEveryStep()
{
    QVERIFY(openWithThreeAds(9, 5));
    QCOMPARE(steps(3), QByteArray("2 3 4"));
    mFixture->set(keys::addInterval, 2);
    QCOMPARE(steps(3), nameOfAd(1) + " 5 6");
    mFixture->set(keys::addInterval, 4);
    QCOMPARE(steps(3), "7 8 " + nameOfAd(2));
}

void AdsTest::theCounterIsKeptOverShows()
{
    QVERIFY(openWithThreeAds(9, 3));
    QCOMPARE(steps(2), QByteArray("2 3"));
    mFixture->controller().endSlideShow();
    QTRY_COMPARE(mFixture->controller().fileSequence().count(), size_t(0));
    QVERIFY(mFixture->openFolder() && awaitAds());
    QCOMPARE(shown(), QByteArray("1"));
    QCOMPARE(steps(3), "2 " + nameOfAd(1) + " 3");
}

void AdsTest::goingBackShowsNoAdAndCountsNothing()
{
    QVERIFY(openWithThreeAds(9, 2));
    QCOMPARE(steps(2), QByteArray("2 3")); // an ad is due
    for (const char* const name : {"2", "1", "9", "8"}) {
        mFixture->controller().previousSlide();
        QVERIFY(mFixture->rest());
        QCOMPARE(shown(), QByteArray(name));
    }
    QCOMPARE(steps(2), nameOfAd(1) + " 9");
}

void AdsTest::goingToTheFirstSlideCountsNothing()
{
    QVERIFY(openWithThreeAds(9, 2));
    QCOMPARE(steps(1), QByteArray("2"));
    mFixture->controller().firstSlide();
    QCOMPARE(shown(), QByteArray("1"));
    QCOMPARE(steps(2), "2 " + nameOfAd(1));
}

void AdsTest::theHintIsReplacedByItsSlideWithoutCounting()
{
    QImage hint(64, 36, QImage::Format_RGB32);
    hint.fill(Qt::darkGray);
    QVERIFY(hint.save(QString::fromUtf8(mFixture->resourceFolder.addFile("hint screen.png"))));
    mFixture->set(keys::hintsShown, false);
    QVERIFY(openWithThreeAds(9, 1));
    QVERIFY(mFixture->controller().hintsScreenShown());
    QCOMPARE(steps(3), "1 2 " + nameOfAd(1));
}

void AdsTest::fewAds_data()
{
    QTest::addColumn<int>("ads");
    QTest::addColumn<QString>("endMode");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("none, rewind") << 0 << keys::endModeRewind << QByteArray("2 3 4 1 2");
    QTest::newRow("one, rewind") << 1 << keys::endModeRewind << QByteArray("2 0 3 0 4 0");
    // Stepping on from the first one there is none.
    QTest::newRow("one, wait") << 1 << keys::endModeWait << QByteArray("2 3 4");
}

void AdsTest::fewAds()
{
    QFETCH(const int, ads);
    QFETCH(const QString, endMode);
    QFETCH(const QByteArray, expected);
    mFixture->set(keys::endMode, endMode);
    addSlides(4);
    mAds->addFile("no picture.txt");
    for (int i = 0; i < ads; ++i) {
        addAd(QByteArray::number(i) + ".png");
    }
    useAds(1);
    QVERIFY(open());
    QCOMPARE(steps(static_cast<int>(expected.count(' ')) + 1), expected);
}

void AdsTest::anAdThatIsDueWhileAdsAreCollectedComesAfterwards()
{
    QVERIFY(openWithThreeAds(9, 0));
    // Enough for the search to take a while.
    for (int i = 0; i < 20000; ++i) {
        const QByteArray path = mAds->pathOf(QByteArray::number(i) + ".png");
        QCOMPARE(link(mAds->pathOf("A.png").constData(), path.constData()), 0);
    }
    mFixture->controller().openAddfolder();
    QTRY_VERIFY(ads()->isCollecting());
    mFixture->controller().nextSlide();
    QVERIFY(ads()->isCollecting());
    QCOMPARE(shown(), QByteArray("2"));
    QVERIFY(awaitAds());
    QCOMPARE(ads()->count(), size_t(20003));
    QCOMPARE(steps(1), nameOfAd(1));
}

void AdsTest::withoutAdsNothingIsOpened_data()
{
    QTest::addColumn<bool>("on");
    QTest::addColumn<QByteArray>("bookmark");
    QTest::newRow("switched off") << false << QByteArray("good");
    QTest::newRow("no folder") << true << QByteArray();
    QTest::newRow("no bookmark") << true << QByteArray("\xff\x00\n", 3);
}

void AdsTest::withoutAdsNothingIsOpened()
{
    QFETCH(const bool, on);
    QFETCH(const QByteArray, bookmark);
    addSlides(4);
    addAd("A.png");
    useAds(1);
    mFixture->set(keys::showAdds, on);
    mFixture->set(keys::addFolder, bookmark == "good" ? QVariant(bookmarkForFolder(mAds->url())) : QVariant(bookmark));
    mFixture->start();
    QVERIFY(mFixture->openFolder());
    QVERIFY(staysTrueFor(100ms, [&] { return ads() == nullptr; }));
    QCOMPARE(steps(4), QByteArray("2 3 4 1"));
}

void AdsTest::aRenamedFolderIsFound()
{
    addSlides(4);
    const TestFolder parent;
    addAdTo(parent, "before/A.png");
    addAdTo(parent, "before/B.png");
    useAds(1);
    mFixture->set(keys::addFolder, bookmarkForFolder(parent.urlOf("before")));
    const QByteArray after = parent.pathOf("after");
    QCOMPARE(::rename(parent.pathOf("before").constData(), after.constData()), 0);
    QVERIFY(open());
    QCOMPARE(ads()->count(), size_t(2));
    QVERIFY(ads()->URLAtIndex(0).path().startsWith(after));
}

void AdsTest::aBookmarkThatDoesNotResolveLeavesTheAds_data()
{
    QTest::addColumn<bool>("on");
    QTest::newRow("a folder that is gone") << true;
    QTest::newRow("switched off meanwhile") << false;
}

void AdsTest::aBookmarkThatDoesNotResolveLeavesTheAds()
{
    QFETCH(const bool, on);
    QVERIFY(openWithThreeAds(9, 0));
    QCOMPARE(steps(1), nameOfAd(1));
    mFixture->set(keys::showAdds, on);
    if (on) {
        const TestFolder gone;
        mFixture->set(keys::addFolder, bookmarkForFolder(gone.url()));
    }
    mFixture->controller().autoPlay();
    QVERIFY(staysTrueFor(100ms, [&] { return ads()->count() == 3 && ads()->currentIndex() == 1; }));
    mFixture->set(keys::showAdds, true);
    QCOMPARE(steps(1), nameOfAd(2));
}

void AdsTest::anotherFolderIsLoadedWhenTheNextShowBegins()
{
    QVERIFY(openWithThreeAds(9, 0));
    const TestFolder other;
    QVERIFY(QFile::copy(QString::fromUtf8(mAds->pathOf("A.png")), QString::fromUtf8(other.pathOf("X.png"))));
    mFixture->set(keys::addFolder, bookmarkForFolder(other.url()));
    QCOMPARE(steps(1), nameOfAd(1));
    mFixture->controller().endSlideShow();
    QTRY_COMPARE(mFixture->controller().fileSequence().count(), size_t(0));
    QVERIFY(mFixture->openFolder() && awaitAds());
    QTRY_COMPARE(ads()->count(), size_t(1));
    QCOMPARE(steps(1), QByteArray("X"));
}

void AdsTest::theAdsBeginAnewWhenAShowBegins()
{
    QVERIFY(openWithThreeAds(9, 0));
    QCOMPARE(steps(2), nameOfAd(1) + ' ' + nameOfAd(2));
    mFixture->controller().autoPlay();
    QTRY_COMPARE(ads()->currentIndex(), size_t(0));
    QVERIFY(awaitAds());
    QCOMPARE(ads()->count(), size_t(3));
    QCOMPARE(steps(1), nameOfAd(1));
}

void AdsTest::theFolderLevelHoldsForAdsToo()
{
    addSlides(2);
    addAd("A.png");
    addAd("below/B.png");
    addAd(".hidden/C.png");
    useAds(1);
    QVERIFY(open());
    QCOMPARE(ads()->count(), size_t(2));
    mFixture->set(keys::maxFolderLevel, 1);
    mFixture->controller().autoPlay();
    QTRY_COMPARE(ads()->count(), size_t(1));
}

// Their folder is watched as the one of the slides is.
void AdsTest::adsComeAndGoDuringTheShow()
{
    QVERIFY(openWithThreeAds(9, 0));
    const size_t slides = mFixture->controller().fileSequence().count();
    QCOMPARE(ads()->hotFolder(), mAds->url());
    const auto comesTrue = [this](size_t count) {
        return QTest::qWaitFor([&] {
            mFixture->clock.advanceSeconds(0.5);
            return ads()->count() == count && !ads()->isRescanning();
        });
    };
    addAd("B2.png");
    QVERIFY(comesTrue(4));
    QCOMPARE(steps(1), QByteArray("B2")); // it follows the ad that is the current one
    QVERIFY(QFile::remove(QString::fromUtf8(mAds->pathOf("C.png"))));
    QVERIFY(comesTrue(3));
    QCOMPARE(mFixture->controller().fileSequence().count(), slides);
}

void AdsTest::theEndOfTheShowEmptiesTheAds()
{
    QVERIFY(openWithThreeAds(3, 1));
    QCOMPARE(ads()->count(), size_t(3));
    mFixture->controller().endSlideShow();
    QTRY_COMPARE(ads()->count(), size_t(0));
    QVERIFY(mFixture->filesAhead().isEmpty());
}

void AdsTest::aShowThatEndsAtOnceOpensNoAds()
{
    addSlides(2);
    addAd("A.png");
    useAds(1);
    auto& controller = mFixture->start();
    QVERIFY(mFixture->openFolder());
    controller.openAddfolder();
    controller.endSlideShow(); // before anybody could tell where the folder is
    const auto hasNone = [&] { return ads() == nullptr || (ads()->count() == 0 && !ads()->isCollecting()); };
    QTRY_VERIFY(hasNone());
    QVERIFY(staysTrueFor(200ms, hasNone));
}

void AdsTest::theControllerGoesWhileAdsAreLookedFor()
{
    QVERIFY(openWithThreeAds(2, 1));
    mFixture->controller().openAddfolder();
    mFixture->destroyController();
    QVERIFY(staysTrueFor(100ms, [] { return true; })); // what was posted finds nobody
}

void AdsTest::anUnloadableAdIsDroppedAndTheNextSlideShown_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::newRow("no picture") << QByteArray("no picture");
    QTest::newRow("empty") << QByteArray();
}

void AdsTest::anUnloadableAdIsDroppedAndTheNextSlideShown()
{
    QFETCH(const QByteArray, contents);
    mFixture->set(keys::endMode, keys::endModeRewind);
    QVERIFY(openWithThreeAds(9, 2));
    const QByteArray bad = nameOfAd(1);
    const QByteArray good = nameOfAd(2);
    mAds->addFile(bad + ".png", contents);
    // Neither a slide twice nor one left out: the next slide takes the place of the ad, and is counted.
    QCOMPARE(steps(6), "2 3 4 5 " + good + " 6");
    QCOMPARE(ads()->count(), size_t(2));
    QCOMPARE(mFixture->controller().fileSequence().count(), size_t(9));
}

void AdsTest::anUnloadableLastAdEndsTheAds_data()
{
    QTest::addColumn<QString>("endMode");
    QTest::newRow("wait") << keys::endModeWait;
    QTest::newRow("rewind") << keys::endModeRewind;
}

void AdsTest::anUnloadableLastAdEndsTheAds()
{
    QFETCH(const QString, endMode);
    mFixture->set(keys::endMode, endMode);
    QVERIFY(openWithThreeAds(9, 1));
    const QByteArray bad = nameOfAd(2);
    mAds->addFile(bad + ".png", "no picture any more");
    QCOMPARE(steps(2), "2 " + nameOfAd(1));
    QList<QByteArray> left{"A", "B", "C"};
    left.removeOne(bad);
    // The slide in its place is counted: the next ad is due at once.
    const QByteArray after = endMode == keys::endModeWait ? "3 4 5 6 7" : "3 4 " + left.join(" 5 ") + " 6";
    QCOMPARE(steps(static_cast<int>(after.count(' ')) + 1), after);
    QCOMPARE(ads()->count(), size_t(2));
}

void AdsTest::unloadableAdsAloneLeaveTheSlides()
{
    addSlides(4);
    for (int i = 0; i < 20; ++i) {
        mAds->addFile(QByteArray::number(i) + ".jpg", "no picture");
    }
    useAds(0);
    QVERIFY(open());
    QCOMPARE(steps(3), QByteArray("2 3 4"));
    QCOMPARE(ads()->count(), size_t(0));
    QCOMPARE(mFixture->controller().fileSequence().count(), size_t(4));
}

void AdsTest::anAdThatVanishedIsSteppedOver()
{
    QVERIFY(openWithThreeAds(9, 1));
    const QByteArray gone = nameOfAd(1);
    const QByteArray good = nameOfAd(2);
    QCOMPARE(steps(1), QByteArray("2"));
    QVERIFY(QFile::remove(QString::fromUtf8(mAds->pathOf(gone + ".png"))));
    QCOMPARE(steps(3), "3 " + good + " 4");
}

void AdsTest::commandsActOnTheSlideBeforeTheAd()
{
    QVERIFY(openWithThreeAds(5, 1));
    auto& controller = mFixture->controller();
    QCOMPARE(steps(2), "2 " + nameOfAd(1));
    QCOMPARE(controller.fileSequence().current().fileName().toByteArray(), QByteArray("2.png"));
    controller.currentFileChanged();
    QVERIFY(mFixture->rest());
    QCOMPARE(shown(), QByteArray("2"));
    QCOMPARE(steps(2), "3 " + nameOfAd(2));
    controller.trashSlide();
    QVERIFY(mFixture->rest());
    QCOMPARE(shown(), QByteArray("4"));
    QVERIFY(!QFile::exists(QString::fromUtf8(mFixture->folder.pathOf("3.png"))));
    QCOMPARE(ads()->count(), size_t(3));
}

void AdsTest::theEndOfTheSlidesFollowsTheEndModeInSpiteOfAds_data()
{
    QTest::addColumn<QString>("endMode");
    QTest::addColumn<QByteArray>("after"); // the last slide and an ad
    QTest::newRow("wait") << keys::endModeWait << QByteArray("<2>");
    QTest::newRow("rewind") << keys::endModeRewind << QByteArray("1");
    QTest::newRow("close") << keys::endModeClose << QByteArray();
}

void AdsTest::theEndOfTheSlidesFollowsTheEndModeInSpiteOfAds()
{
    QFETCH(const QString, endMode);
    QFETCH(QByteArray, after);
    mFixture->set(keys::endMode, endMode);
    QVERIFY(openWithThreeAds(2, 1));
    after.replace("<2>", nameOfAd(2));
    QCOMPARE(steps(2), "2 " + nameOfAd(1));
    if (endMode == keys::endModeWait) {
        // A step that finds no slide counts as one all the same; the ad stays on screen.
        QCOMPARE(steps(1), nameOfAd(1));
    }
    mFixture->controller().nextSlide();
    QVERIFY(mFixture->rest());
    QCOMPARE(shown(), after);
    QCOMPARE(mFixture->controller().screenWindow() == nullptr, endMode == keys::endModeClose);
}

void AdsTest::whatComesNextIsReadAhead_data()
{
    QTest::addColumn<QString>("endMode");
    QTest::addColumn<int>("interval");
    for (const QString& mode : {keys::endModeWait, keys::endModeRewind}) {
        for (int interval = 0; interval <= 3; ++interval) {
            QTest::addRow("%s %d", qPrintable(mode), interval) << mode << interval;
        }
    }
}

void AdsTest::whatComesNextIsReadAhead()
{
    QFETCH(const QString, endMode);
    QFETCH(const int, interval);
    mFixture->set(keys::endMode, endMode);
    QVERIFY(openWithThreeAds(8, interval));
    auto& controller = mFixture->controller();
    for (int i = 0; i < 16; ++i) {
        const FileUrl before = controller.imageURL();
        const size_t index = controller.fileSequence().currentIndex();
        const size_t adIndex = ads()->currentIndex();
        controller.nextSlide();
        // Ads are sorted for the first time when they begin again: what is next then is not foreseen.
        const bool isNewOrder = endMode == keys::endModeRewind && adIndex == 2 && ads()->currentIndex() == 0;
        QVERIFY2(isNewOrder || !controller.isWaitingForSlide(), shown().constData());
        const bool isAtTheEnd = controller.imageURL() == before;
        QVERIFY(isAtTheEnd || controller.fileSequence().currentIndex() != index || ads()->currentIndex() != adIndex);
        const size_t indexAfter = controller.fileSequence().currentIndex();
        QVERIFY(mFixture->rest());
        QCOMPARE(controller.fileSequence().currentIndex(), indexAfter); // nothing of it moves a cursor
    }
}

QTEST_MAIN(AdsTest)
#include "AdsTest.moc"
