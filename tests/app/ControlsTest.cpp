#include "ControlPanel.h"
#include "ControllerFixture.h"

#include <QAction>
#include <QApplication>
#include <QMenuBar>
#include <QTest>

using namespace frameflow;
using namespace std::chrono_literals;

// The floating panel with the commands of a show.
class ControlsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { mFixture = std::make_unique<ControllerFixture>(); }
    void cleanup() { mFixture.reset(); }

    void theyAreHiddenAtTheStart();
    void theCommandShowsAndHidesThem();
    void theTitleFollowsThem();
    void theyComeAboveTheShowAndLeaveItTheKeyboard();
    void theyStayAboveTheNextShow();
    void theyHaveTheMenus();
    void eachButtonDoesWhatItsCommandDoes_data();
    void eachButtonDoesWhatItsCommandDoes();
    void thePlayButtonIsPressedWhileTheTimerRuns();
    void aClickThatStartsNothingLeavesThePlayButtonAsItWas();
    void stepsNeedSlides();
    void buttonsSayWhatTheyDo();
    void everyButtonHasASignInTheColoursOfTheMoment();
    void thePlaybackRowReadsFromTheLeftEverywhere();
    void closedByTheWindowManagerTheyComeBackWhereTheyWere();
    void aloneTheyAreNoWindowToStayFor();

private:
    SlideController& openThree()
    {
        mOpened = mFixture->openThree();
        return mFixture->controller();
    }
    ControlPanel* panel() const { return mFixture->controller().controlWindow(); }
    ControlPanel* show()
    {
        mFixture->controller().ShowControls();
        return panel();
    }
    QToolButton* button(const char* name) const { return panel()->findChild<QToolButton*>(QString::fromLatin1(name)); }
    QString title() const
    {
        QKeyEvent lookUp(QEvent::ShortcutOverride, Qt::Key_unknown, Qt::NoModifier);
        QApplication::sendEvent(qApp, &lookUp);
        QString text = mFixture->controller().mainMenu().action(QStringLiteral("ShowControls"))->text();
        return text.remove(QLatin1Char('&'));
    }

    bool mOpened = false;
    std::unique_ptr<ControllerFixture> mFixture;
};

void ControlsTest::theyAreHiddenAtTheStart()
{
    openThree();
    QVERIFY(panel() == nullptr);
}

void ControlsTest::theCommandShowsAndHidesThem()
{
    openThree();
    for (int round = 0; round < 2; ++round) {
        QVERIFY(mFixture->trigger("ShowControls"));
        QVERIFY(panel()->isVisible());
        QVERIFY(mFixture->trigger("ShowControls"));
        QVERIFY(!panel()->isVisible());
    }
}

void ControlsTest::theTitleFollowsThem()
{
    openThree();
    QCOMPARE(title(), QStringLiteral("Show Controls"));
    show();
    QCOMPARE(title(), QStringLiteral("Hide Controls"));
    panel()->close();
    QCOMPARE(title(), QStringLiteral("Show Controls"));
}

void ControlsTest::theyComeAboveTheShowAndLeaveItTheKeyboard()
{
    auto& controller = openThree();
    QTRY_VERIFY(controller.slideView()->hasFocus());
    show();
    QCOMPARE(panel()->windowHandle()->transientParent(), controller.screenWindow()->windowHandle());
    QVERIFY(panel()->windowFlags().testFlag(Qt::WindowDoesNotAcceptFocus));
    QVERIFY(controller.slideView()->hasFocus());
    QVERIFY(controller.screenWindow()->geometry().contains(panel()->geometry()));
    QTest::mouseClick(button("nextButton"), Qt::LeftButton);
    QVERIFY(controller.slideView()->hasFocus());
}

void ControlsTest::theyStayAboveTheNextShow()
{
    auto& controller = openThree();
    show();
    controller.endSlideShow();
    QTRY_COMPARE(controller.fileSequence().count(), size_t(0));
    QVERIFY(panel()->isVisible());
    QVERIFY(mFixture->openFolder());
    QVERIFY(panel()->isVisible());
    QCOMPARE(panel()->windowHandle()->transientParent(), controller.screenWindow()->windowHandle());
}

void ControlsTest::theyHaveTheMenus()
{
    openThree();
    const auto* const bar = show()->findChild<QMenuBar*>();
    QVERIFY(bar != nullptr);
    QCOMPARE(bar->actions(), mFixture->controller().screenWindow()->findChild<QMenuBar*>()->actions());
}

void ControlsTest::eachButtonDoesWhatItsCommandDoes_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("command");
    QTest::newRow("first") << QByteArray("firstButton") << QByteArray("firstSlide");
    QTest::newRow("previous") << QByteArray("previousButton") << QByteArray("previousSlide");
    QTest::newRow("play") << QByteArray("mPlayButton") << QByteArray("Play");
    QTest::newRow("next") << QByteArray("nextButton") << QByteArray("nextSlide");
    QTest::newRow("zoom off") << QByteArray("zoomOffButton") << QByteArray("ZoomOff");
    QTest::newRow("actual size") << QByteArray("zoomOneButton") << QByteArray("ZoomOne");
    QTest::newRow("zoom in") << QByteArray("zoomInButton") << QByteArray("ZoomIn");
    QTest::newRow("thumbnails") << QByteArray("thumbnailsButton") << QByteArray("ShowGridScreen");
    QTest::newRow("end") << QByteArray("endButton") << QByteArray("cancel");
}

void ControlsTest::eachButtonDoesWhatItsCommandDoes()
{
    QFETCH(const QByteArray, name);
    QFETCH(const QByteArray, command);
    openThree();
    show();
    int count = 0;
    connect(mFixture->controller().mainMenu().action(QString::fromLatin1(command)), &QAction::triggered, this,
        [&count] { ++count; });
    QTest::mouseClick(button(name.constData()), Qt::LeftButton);
    QCOMPARE(count, 1);
}

void ControlsTest::thePlayButtonIsPressedWhileTheTimerRuns()
{
    auto& controller = openThree();
    controller.Start();
    QVERIFY(show()->mPlayButton()->isChecked());
    QTest::mouseClick(panel()->mPlayButton(), Qt::LeftButton);
    QVERIFY(!controller.timerRuns());
    QVERIFY(!panel()->mPlayButton()->isChecked());
    QTest::mouseClick(panel()->mPlayButton(), Qt::LeftButton);
    QVERIFY(controller.timerRuns());
    QVERIFY(panel()->mPlayButton()->isChecked());
    controller.Stop();
    QVERIFY(!panel()->mPlayButton()->isChecked());
    mFixture->press(Qt::Key_7, QStringLiteral("7"));
    QVERIFY(panel()->mPlayButton()->isChecked());
    controller.endSlideShow();
    QVERIFY(!panel()->mPlayButton()->isChecked());
}

void ControlsTest::aClickThatStartsNothingLeavesThePlayButtonAsItWas()
{
    auto& controller = openThree();
    show();
    // As while a movie holds the show up, when starting only marks it to go on later.
    controller.mainMenu().action(QStringLiteral("Play"))->disconnect();
    QTest::mouseClick(panel()->mPlayButton(), Qt::LeftButton);
    QVERIFY(!panel()->mPlayButton()->isChecked());
}

void ControlsTest::stepsNeedSlides()
{
    auto& controller = openThree();
    show();
    const auto enabled = [&] {
        QStringList names;
        for (const char* name : {"firstButton", "previousButton", "mPlayButton", "nextButton", "endButton"}) {
            if (button(name)->isEnabled()) {
                names.append(QString::fromLatin1(name));
            }
        }
        return names.join(QLatin1Char(' '));
    };
    QCOMPARE(enabled(), QStringLiteral("firstButton previousButton mPlayButton nextButton endButton"));
    controller.endSlideShow();
    QTRY_COMPARE(enabled(), QStringLiteral("endButton"));
    QVERIFY(mFixture->openFolder());
    QTRY_COMPARE(enabled(), QStringLiteral("firstButton previousButton mPlayButton nextButton endButton"));
}

void ControlsTest::buttonsSayWhatTheyDo()
{
    auto& controller = openThree();
    show();
    QCOMPARE(button("nextButton")->toolTip(), QStringLiteral("Next (Right)"));
    QCOMPARE(button("nextButton")->accessibleName(), QStringLiteral("Next"));
    QCOMPARE(button("mPlayButton")->toolTip(), QStringLiteral("Start Slideshow (Ctrl+P)"));
    controller.Start();
    QCOMPARE(button("mPlayButton")->toolTip(), QStringLiteral("Stop Slideshow (Ctrl+P)"));
    QCOMPARE(button("mPlayButton")->accessibleName(), QStringLiteral("Stop Slideshow"));
    for (const auto* each : panel()->findChildren<QToolButton*>()) {
        if (each->property("command").isValid()) {
            QVERIFY2(!each->accessibleName().isEmpty() && !each->toolTip().contains(QLatin1Char('&')),
                qPrintable(each->objectName()));
        }
    }
}

void ControlsTest::everyButtonHasASignInTheColoursOfTheMoment()
{
    openThree();
    show();
    const QPalette before = QApplication::palette();
    for (const QColor text : {QColor(Qt::black), QColor(240, 240, 240)}) {
        QPalette scheme = before;
        scheme.setColor(QPalette::ButtonText, text);
        QApplication::setPalette(scheme);
        for (const auto* each : panel()->findChildren<QToolButton*>()) {
            if (!each->property("command").isValid()) {
                continue;
            }
            for (const auto state : {QIcon::Off, QIcon::On}) {
                const QImage sign = each->icon().pixmap(QSize(40, 40), QIcon::Normal, state).toImage();
                int drawn = 0;
                for (int y = 0; y < sign.height(); ++y) {
                    for (int x = 0; x < sign.width(); ++x) {
                        drawn += sign.pixelColor(x, y) == text ? 1 : 0;
                    }
                }
                QVERIFY2(drawn > 60, qPrintable(each->objectName()));
            }
        }
    }
    QApplication::setPalette(before);
}

void ControlsTest::thePlaybackRowReadsFromTheLeftEverywhere()
{
    QApplication::setLayoutDirection(Qt::RightToLeft);
    openThree();
    show();
    const int first = button("firstButton")->x();
    const int next = button("nextButton")->x();
    const bool isMenuMirrored = panel()->findChild<QMenuBar*>()->isRightToLeft();
    QApplication::setLayoutDirection(Qt::LeftToRight);
    QVERIFY(first < next);
    QVERIFY(isMenuMirrored);
}

void ControlsTest::closedByTheWindowManagerTheyComeBackWhereTheyWere()
{
    openThree();
    show();
    panel()->move(30, 40);
    panel()->close();
    QVERIFY(!panel()->isVisible());
    show();
    QVERIFY(panel()->isVisible());
    QCOMPARE(panel()->pos(), QPoint(30, 40));
}

// A show that ends leaves them; the welcome window comes all the same.
void ControlsTest::aloneTheyAreNoWindowToStayFor()
{
    auto& controller = openThree();
    show();
    controller.endSlideShow();
    QTRY_VERIFY(controller.welcomeController() != nullptr && controller.welcomeController()->window()->isVisible());
    QVERIFY(panel()->isVisible());
}

QTEST_MAIN(ControlsTest)
#include "ControlsTest.moc"
