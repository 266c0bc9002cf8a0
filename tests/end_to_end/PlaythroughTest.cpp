#include "Bookmark.h"
#include "SettingsKeys.h"
#include "ShowDriver.h"
#include "SlideLog.h"
#include "StaysTrue.h"

#include <QFile>
#include <QTest>

#include <dirent.h>

using namespace frameflow;
using namespace frameflow::e2e;
using namespace std::chrono_literals;

namespace {

const QMap<QByteArray, QColor> colours{{"1", QColor(200, 30, 30)}, {"2", QColor(30, 160, 30)},
    {"3", QColor(30, 30, 200)}, {"4", QColor(200, 200, 40)}, {"5", QColor(120, 60, 20)},
    {"2 again", QColor(20, 80, 60)}, {"A", QColor(200, 40, 200)}, {"B", QColor(40, 200, 200)},
    {"C", QColor(240, 150, 60)}};

// What is in the folder, in the order in which the file system tells it.
QByteArrayList listed(const QByteArray& folder)
{
    QByteArrayList names;
    DIR* const entries = opendir(folder.constData());
    while (const dirent* const entry = entries != nullptr ? readdir(entries) : nullptr) {
        if (entry->d_name[0] != '.') {
            names.append(QByteArray(entry->d_name).chopped(4));
        }
    }
    closedir(entries);
    return names;
}

// Slides and ads as they are to come, worked out step by step.
class Course
{
public:
    Course(QByteArrayList slides, QByteArrayList ads, int interval, QString endMode)
        : mSlides(std::move(slides)), mAds(std::move(ads)), mInterval(interval), mEndMode(std::move(endMode))
    {
    }

    // What so many steps lead through, the first slide before them; what a step finds nothing after stays. Fewer where
    // the show ends.
    QByteArrayList steps(int count)
    {
        QByteArrayList names{mSlides.first()};
        for (int i = 0; i < count; ++i) {
            const QByteArray name = step();
            if (name.isEmpty() && mEndMode == keys::endModeClose) {
                break;
            }
            names.append(name.isEmpty() ? names.last() : name);
        }
        return names;
    }

private:
    QByteArray step()
    {
        if (mSinceAd < mInterval) {
            ++mSinceAd;
        } else {
            mSinceAd = 0;
            const QByteArray ad = next(mAds, mAd);
            if (!ad.isEmpty()) {
                return ad;
            }
        }
        return next(mSlides, mSlide);
    }

    QByteArray next(QByteArrayList& names, qsizetype& place) const
    {
        if (place + 1 < names.size()) {
            return names[++place];
        }
        if (mEndMode != keys::endModeRewind) {
            return {};
        }
        std::sort(names.begin(), names.end());
        place = 0;
        return names.first();
    }

    QByteArrayList mSlides;
    QByteArrayList mAds;
    const int mInterval;
    const QString mEndMode;
    qsizetype mSlide = 0;
    qsizetype mAd = 0;
    int mSinceAd = 0;
};

} // namespace

// A folder from its first slide to its last and beyond, as a person sees it.
class PlaythroughTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void theTimerLeadsThroughSlidesAndAds_data();
    void theTimerLeadsThroughSlidesAndAds();
    void keysLeadThroughSlidesAndAds_data();
    void keysLeadThroughSlidesAndAds();
    void withTransitionsNoSlideIsLeftOut();
    void unloadableFilesAndAdsAreLeftOut();
    void filesThatChangeBeforeTheirTurnAreShownAsTheyAre();
    void filesComeAndGoDuringTheShow_data();
    void filesComeAndGoDuringTheShow();
    void filesComeAtTheEndOfAWaitingShow();

private:
    void addSlides(const QByteArrayList& names) const
    {
        for (const QByteArray& name : names) {
            mShow->addColour(name + ".png", colours.value(name));
        }
    }
    void addAds(const QByteArrayList& names, int interval)
    {
        for (const QByteArray& name : names) {
            mShow->addColourTo(*mAds, name + ".png", colours.value(name));
        }
        mShow->set(keys::showAdds, true);
        mShow->set(keys::addInterval, interval);
        mShow->set(keys::addFolder, bookmarkForFolder(mAds->url()));
    }
    void play(double interval)
    {
        mShow->set(keys::slideInterval, interval);
        mShow->set(keys::autoStart, true);
    }
    bool isShowOver() const
    {
        const auto windows = mShow->server().windowsOf(mShow->program().processId());
        return windows.size() == 1 && !mShow->server().isFullScreen(windows.first());
    }
    static void addEndModes()
    {
        QTest::addColumn<QString>("mode");
        QTest::newRow("wait") << keys::endModeWait;
        QTest::newRow("rewind") << keys::endModeRewind;
        QTest::newRow("close") << keys::endModeClose;
    }

    std::unique_ptr<ShowDriver> mShow;
    std::unique_ptr<TestFolder> mAds;
};

void PlaythroughTest::init()
{
    mShow = std::make_unique<ShowDriver>();
    mAds = std::make_unique<TestFolder>();
}

void PlaythroughTest::cleanup()
{
    mShow.reset();
    mAds.reset();
}

void PlaythroughTest::theTimerLeadsThroughSlidesAndAds_data()
{
    addEndModes();
}

void PlaythroughTest::theTimerLeadsThroughSlidesAndAds()
{
    QFETCH(const QString, mode);
    addSlides({"1", "2", "3", "4"});
    addAds({"A", "B", "C"}, 2);
    mShow->set(keys::endMode, mode);
    play(0.5);
    Course course({"1", "2", "3", "4"}, listed(mAds->path()), 2, mode);
    QByteArrayList expected = course.steps(14);
    expected.erase(std::unique(expected.begin(), expected.end()), expected.end());
    SlideLog log(mShow->server(), colours);
    QVERIFY(mShow->startWithFolder());
    QVERIFY2(waitFor([&] { return log.count() >= expected.size(); }, 30s), log.text().constData());
    QCOMPARE(log.names().mid(0, expected.size()), expected);
    if (mode == keys::endModeWait) {
        QVERIFY(staysTrueFor(1500ms, [&] { return log.count() == expected.size(); }));
    } else if (mode == keys::endModeClose) {
        QVERIFY(waitFor([&] { return isShowOver(); }));
        QCOMPARE(log.names(), expected);
    }
    QVERIFY(mShow->program().isRunning());
}

void PlaythroughTest::keysLeadThroughSlidesAndAds_data()
{
    addEndModes();
}

void PlaythroughTest::keysLeadThroughSlidesAndAds()
{
    QFETCH(const QString, mode);
    addSlides({"1", "2", "3", "4"});
    addAds({"A", "B", "C"}, 1);
    mShow->set(keys::endMode, mode);
    Course course({"1", "2", "3", "4"}, listed(mAds->path()), 1, mode);
    const QByteArrayList expected = course.steps(9);
    QVERIFY(mShow->startAndRest());
    for (const QByteArray& name : expected) {
        QVERIFY2(mShow->waitForColour(colours.value(name)), name.constData());
        mShow->press(QStringLiteral("Right"));
    }
    if (mode == keys::endModeClose) {
        QVERIFY(waitFor([&] { return isShowOver(); }));
    } else if (mode == keys::endModeWait) {
        // Back to the slide before the last one, whatever stood on the screen.
        QVERIFY(mShow->waitForColour(colours.value(expected.last())));
        mShow->press(QStringLiteral("Left"));
        QVERIFY(mShow->waitForColour(colours.value("3")));
    }
}

void PlaythroughTest::withTransitionsNoSlideIsLeftOut()
{
    addSlides({"1", "2", "3", "4"});
    addAds({"A", "B"}, 3);
    mShow->set(keys::transition, QStringLiteral("Fast Cross Fade"));
    mShow->set(keys::endMode, keys::endModeRewind);
    play(1.5);
    Course course({"1", "2", "3", "4"}, listed(mAds->path()), 3, keys::endModeRewind);
    const QByteArrayList expected = course.steps(6);
    auto shown = colours;
    shown.remove("2 again"); // what a fade may look like on its way
    SlideLog log(mShow->server(), shown);
    QVERIFY(mShow->startWithFolder());
    QVERIFY2(waitFor([&] { return log.count() >= expected.size(); }, 30s), log.text().constData());
    QCOMPARE(log.names().mid(0, expected.size()), expected);
}

void PlaythroughTest::unloadableFilesAndAdsAreLeftOut()
{
    addSlides({"1", "2", "3"});
    mShow->folder.addFile("2a.jpg", "");
    mShow->folder.addFile("4.png", "no picture either");
    addAds({"A", "B", "C"}, 0);
    const QByteArrayList ads = listed(mAds->path());
    mAds->addFile(ads[1] + ".png", "no picture");
    mShow->set(keys::endMode, keys::endModeWait);
    QVERIFY(mShow->startAndRest());
    for (const QByteArray& name : QByteArrayList{"1", ads[2], "2", "3"}) {
        QVERIFY2(mShow->waitForColour(colours.value(name)), name.constData());
        mShow->press(QStringLiteral("Right"));
    }
    mShow->press(QStringLiteral("Left"));
    QVERIFY(mShow->waitForColour(colours.value("2"))); // past the end there was nothing
    const auto windows = mShow->server().windowsOf(mShow->program().processId());
    QCOMPARE(windows.size(), 1);
}

void PlaythroughTest::filesThatChangeBeforeTheirTurnAreShownAsTheyAre()
{
    addSlides({"1", "2", "3", "4"});
    QVERIFY(mShow->startAndRest());
    QVERIFY(mShow->waitForColour(colours.value("1")));
    // Both are decoded ahead by now.
    mShow->addColour("2.png", colours.value("2 again"));
    QVERIFY(QFile::remove(QString::fromUtf8(mShow->folder.pathOf("3.png"))));
    mShow->press(QStringLiteral("Right"));
    QVERIFY(mShow->waitForColour(colours.value("2 again")));
    mShow->press(QStringLiteral("Right"));
    QVERIFY(mShow->waitForColour(colours.value("4")));
    mShow->press(QStringLiteral("Left"));
    QVERIFY(mShow->waitForColour(colours.value("2 again")));
}

void PlaythroughTest::filesComeAndGoDuringTheShow_data()
{
    QTest::addColumn<bool>("byTimer");
    QTest::addColumn<int>("ads");
    QTest::newRow("by timer") << true << 0;
    QTest::newRow("by timer, with ads") << true << 1;
    QTest::newRow("by key") << false << 0;
    QTest::newRow("by key, with ads") << false << 1;
}

// In a show that goes round. What was seen of a change is told by what comes afterwards.
void PlaythroughTest::filesComeAndGoDuringTheShow()
{
    QFETCH(const bool, byTimer);
    QFETCH(const int, ads);
    addSlides({"1", "2", "3", "4"});
    if (ads > 0) {
        addAds({"A"}, 2);
    }
    mShow->set(keys::showNewItemsASAP, false);
    mShow->set(keys::endMode, keys::endModeRewind);
    if (byTimer) {
        play(0.4);
    }
    SlideLog log(mShow->server(), colours);
    QVERIFY(mShow->startWithFolder());
    // Steps until the last slides but for ads are these, each once round.
    const auto goesRound = [&](const QByteArray& slides) {
        const auto isSeen = [&] {
            QByteArrayList seen = log.names();
            const qsizetype shown = seen.size();
            seen.removeAll("A");
            const bool hasAds = ads == 0 || shown - seen.size() >= 2;
            return hasAds && seen.join(' ').endsWith(slides);
        };
        return waitFor(
            [&] {
                if (!byTimer && !isSeen()) {
                    const int before = log.count();
                    mShow->press(QStringLiteral("Right"));
                    static_cast<void>(waitFor([&] { return log.count() > before; }, 2s));
                }
                return isSeen();
            },
            40s);
    };
    QVERIFY2(goesRound("1 2 3 4 1"), log.text().constData());
    log.clear();
    mShow->addColour("5.png", colours.value("5"));
    QVERIFY2(goesRound("1 2 3 4 5 1"), log.text().constData());
    log.clear();
    mShow->addColour("2.png", colours.value("2 again"));
    QVERIFY2(goesRound("1 2 again 3 4 5 1"), log.text().constData());
    log.clear();
    QVERIFY(QFile::remove(QString::fromUtf8(mShow->folder.pathOf("3.png"))));
    QVERIFY(QFile::remove(QString::fromUtf8(mShow->folder.pathOf("1.png"))));
    QVERIFY2(goesRound("2 again 4 5 2 again"), log.text().constData());
    QCOMPARE(mShow->server().windowsOf(mShow->program().processId()).size(), 1);
}

void PlaythroughTest::filesComeAtTheEndOfAWaitingShow()
{
    addSlides({"1", "2"});
    mShow->set(keys::showNewItemsASAP, false);
    mShow->set(keys::endMode, keys::endModeWait);
    play(0.4);
    SlideLog log(mShow->server(), colours);
    QVERIFY(mShow->startWithFolder());
    QVERIFY(waitFor([&] { return log.text() == "1 2"; }));
    QVERIFY(staysTrueFor(1500ms, [&] { return log.text() == "1 2"; }));
    mShow->addColour("3.png", colours.value("3"));
    QVERIFY(waitFor([&] { return log.text() == "1 2 3"; }));
    QVERIFY(staysTrueFor(1500ms, [&] { return log.text() == "1 2 3"; }));
    mShow->addColour("4.png", colours.value("4"));
    QVERIFY(waitFor([&] { return log.text() == "1 2 3 4"; }));
}

QTEST_GUILESS_MAIN(PlaythroughTest)
#include "PlaythroughTest.moc"
