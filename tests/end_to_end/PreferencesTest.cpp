#include "SettingsKeys.h"
#include "ShowDriver.h"

#include <QTest>

using namespace frameflow;
using namespace frameflow::e2e;

// The preferences over a running show, with nothing but the keyboard.
class PreferencesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        mShow = std::make_unique<ShowDriver>();
        mShow->set(keys::slideInterval, 5);
    }
    void cleanup() { mShow.reset(); }

    void theKeyOpensTheWindowOverTheShow();
    void theMenuOpensIt();
    void aTransitionIsChosenAndPlays();
    void anOrderBeginsTheShowAnew();
    void aNumberThatIsTooSmallIsNotTaken();
    void everyPageIsReached();
    void theOpenPanelGivesTheKeyboardBack();
    void anApplicationPanelOpensAndCloses();
    void theWindowManagerClosesIt();
    void aSignalEndsTheProgramWithTheWindowOpen();
    void keysOfTheShowDoNothingHere();
    void damagedSettingsOpenAllTheSame();

private:
    const QColor mFirst{200, 30, 30};
    const QColor mSecond{30, 160, 30};

    bool start()
    {
        mShow->addColour("a.png", mFirst);
        mShow->addColour("b.png", mSecond);
        mShow->folder.setModified("a.png", 2000000000);
        mShow->folder.setModified("b.png", 1000000000);
        return mShow->startAndRest() && mShow->waitForColour(mFirst);
    }
    const XServer& server() const { return mShow->server(); }
    std::optional<WindowId> find(const QString& title) const
    {
        const auto window = server().waitForWindow(mShow->program().processId(), title);
        // The program learns a moment after the window manager that the window has the keyboard.
        const bool isThere = window && waitFor([&] { return server().isActive(*window); })
            && mShow->waitUntilAtRest(std::chrono::milliseconds(150));
        return isThere ? window : std::nullopt;
    }
    std::optional<WindowId> open() const
    {
        mShow->press(QStringLiteral("ctrl+comma"));
        return find(QStringLiteral("Preferences — Frameflow"));
    }
    bool isGone(WindowId window) const
    {
        return waitFor([&] { return !server().isVisible(window); });
    }
    static bool isStored(const QString& key, const QVariant& value)
    {
        return waitFor([&] { return storedSetting(key).toString() == value.toString(); });
    }
    void press(std::initializer_list<const char*> names) const
    {
        for (const char* name : names) {
            mShow->press(QString::fromLatin1(name));
        }
    }

    std::unique_ptr<ShowDriver> mShow;
};

void PreferencesTest::theKeyOpensTheWindowOverTheShow()
{
    QVERIFY(start());
    const auto window = open();
    QVERIFY(window);
    // It is seen, whole, over the slide.
    const QRect place = server().geometry(*window);
    QVERIFY(server().bounds().contains(place));
    QVERIFY(waitFor([&] {
        const QImage now = server().grab(place);
        return QColor(now.pixel(4, 4)) != mFirst && QColor(now.pixel(now.width() - 5, now.height() - 5)) != mFirst;
    }));
    press({"ctrl+comma"});
    QVERIFY(find(QStringLiteral("Preferences — Frameflow")) == window);
    // The keys of the slides do nothing here.
    press({"Right", "Next", "space"});
    press({"Escape"});
    QVERIFY(isGone(*window));
    QVERIFY(mShow->waitForColour(mFirst));
    // The show has the keyboard again.
    press({"Right"});
    QVERIFY(mShow->waitForColour(mSecond));
    QVERIFY(open());
}

void PreferencesTest::theOpenPanelGivesTheKeyboardBack()
{
    QVERIFY(start());
    const auto window = open();
    QVERIFY(window);
    press({"ctrl+o"});
    const auto panel = find(QStringLiteral("Open — Frameflow"));
    QVERIFY(panel);
    press({"Escape"});
    QVERIFY(isGone(*panel));
    QVERIFY(waitFor([&] { return server().isActive(*window); }));
    QVERIFY(mShow->waitUntilAtRest());
    QVERIFY(server().isActive(*window)); // not for a moment alone
}

void PreferencesTest::theMenuOpensIt()
{
    QVERIFY(start());
    press({"alt+r"});
    QVERIFY(waitFor([&] { return QColor(server().pixel(QPoint(1200, 5))) != mFirst; })); // the bar has come
    press({"p"});
    const auto window = find(QStringLiteral("Preferences — Frameflow"));
    QVERIFY(window);
    press({"Escape"});
    QVERIFY(isGone(*window));
    QVERIFY(mShow->waitForColour(mFirst));
}

void PreferencesTest::aTransitionIsChosenAndPlays()
{
    QVERIFY(start());
    const auto window = open();
    QVERIFY(window);
    // Where the preview stands: the middle of the upper half.
    const QRect place = server().geometry(*window);
    QVERIFY(mShow->waitUntilAtRest());
    const QImage before = server().grab(place);
    press({"alt+t", "Down"});
    QVERIFY(isStored(keys::transition, QStringLiteral("Cross Fade")));
    QVERIFY(mShow->waitUntilAtRest());
    const QImage after = server().grab(place);
    int changed = 0;
    for (int y = 0; y < before.height(); ++y) {
        for (int x = 0; x < before.width(); ++x) {
            changed += before.pixel(x, y) != after.pixel(x, y) ? 1 : 0;
        }
    }
    QVERIFY2(changed > 20000, qPrintable(QString::number(changed)));
}

void PreferencesTest::anOrderBeginsTheShowAnew()
{
    QVERIFY(start());
    press({"Right"});
    QVERIFY(mShow->waitForColour(mSecond));
    press({"Left"});
    QVERIFY(mShow->waitForColour(mFirst));
    const auto window = open();
    QVERIFY(window);
    press({"alt+o", "Down", "Down"});
    QVERIFY(isStored(keys::sort, keys::sortByDate));
    press({"alt+d"});
    QVERIFY(isStored(keys::endMode, keys::endModeClose));
    press({"Escape"});
    QVERIFY(isGone(*window));
    QVERIFY(mShow->waitForColour(mSecond)); // the older file
}

void PreferencesTest::aNumberThatIsTooSmallIsNotTaken()
{
    QVERIFY(start());
    const auto window = open();
    QVERIFY(window);
    press({"alt+e", "1", "Tab"});
    // The field keeps the focus, so that what follows replaces what was refused.
    press({"7", "Tab"});
    QVERIFY(isStored(keys::slideInterval, 7));
    press({"alt+e", "1", "Escape"});
    QVERIFY(isGone(*window));
    QVERIFY(open());
    press({"alt+r"}); // whatever else is stored is stored after it
    QVERIFY(isStored(keys::autoStart, QStringLiteral("true")));
    QCOMPARE(storedSetting(keys::slideInterval).toInt(), 7);
}

void PreferencesTest::everyPageIsReached()
{
    QVERIFY(start());
    QVERIFY(open());
    press({"alt+f", "alt+l", "Up", "Up", "Return"});
    QVERIFY(isStored(keys::maxFolderLevel, 2));
    press({"alt+d"});
    QVERIFY(isStored(keys::showAdds, QStringLiteral("true")));
    press({"alt+p", "alt+i", "Down"});
    QVERIFY(isStored(keys::cursor, QStringLiteral("Hand")));
    press({"alt+g", "alt+w"});
    QVERIFY(isStored(keys::showWelcome, QStringLiteral("false")));
    press({"alt+n"});
    QVERIFY(isStored(keys::autoCheckNewVersion, QStringLiteral("false")));
    press({"alt+s", "alt+w"});
    QVERIFY(isStored(keys::endMode, keys::endModeWait));
}

void PreferencesTest::anApplicationPanelOpensAndCloses()
{
    QVERIFY(start());
    const auto window = open();
    QVERIFY(window);
    press({"alt+g", "alt+c"});
    const auto panel = find(QStringLiteral("Applications — Frameflow"));
    QVERIFY(panel);
    press({"Escape"});
    QVERIFY(isGone(*panel));
    QVERIFY(waitFor([&] { return server().isActive(*window); }));
    press({"alt+f", "alt+c"});
    const auto folders = find(QStringLiteral("Choose an Ad Folder. — Frameflow"));
    QVERIFY(folders);
    press({"Escape"});
    QVERIFY(isGone(*folders));
    QVERIFY(waitFor([&] { return server().isActive(*window); }));
    press({"Escape"});
    QVERIFY(isGone(*window));
    QVERIFY(mShow->waitForColour(mFirst));
}

void PreferencesTest::theWindowManagerClosesIt()
{
    QVERIFY(start());
    const auto window = open();
    QVERIFY(window);
    server().close(*window);
    QVERIFY(isGone(*window));
    QVERIFY(mShow->waitForColour(mFirst));
    QVERIFY(open());
    press({"ctrl+q"});
    QVERIFY(mShow->program().waitForExit());
    QCOMPARE(mShow->program().exitCode().value_or(-1), 0);
}

void PreferencesTest::aSignalEndsTheProgramWithTheWindowOpen()
{
    QVERIFY(start());
    QVERIFY(open());
    mShow->program().end();
    QCOMPARE(mShow->program().exitCode().value_or(-1), 0);
}

void PreferencesTest::keysOfTheShowDoNothingHere()
{
    QVERIFY(start());
    QVERIFY(open());
    QVERIFY(mShow->waitUntilAtRest());
    // A digit typed where no field has the focus changes nothing.
    press({"9"});
    press({"alt+r"});
    QVERIFY(isStored(keys::autoStart, QStringLiteral("true")));
    QCOMPARE(storedSetting(keys::slideInterval).toInt(), 5);
}

void PreferencesTest::damagedSettingsOpenAllTheSame()
{
    const QString garbage = QString(2000, QLatin1Char('%')) + QStringLiteral("\n\x01<b>");
    for (const QString& key : {keys::slideInterval, keys::cursor, keys::imageEditorPath, keys::movieEditorPath,
             keys::addFolder, keys::maxFolderLevel, keys::addInterval, keys::endMode, keys::showAdds}) {
        mShow->set(key, garbage);
    }
    QVERIFY(start());
    const auto window = open();
    QVERIFY(window);
    const QSize size = server().geometry(*window).size();
    QVERIFY(size.width() < 800 && size.height() < 700);
    press({"alt+f", "alt+p", "alt+g", "Escape"});
    QVERIFY(isGone(*window));
    QVERIFY(mShow->program().isRunning());
}

QTEST_GUILESS_MAIN(PreferencesTest)
#include "PreferencesTest.moc"
