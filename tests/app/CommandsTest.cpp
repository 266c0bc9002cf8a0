#include "ControllerFixture.h"
#include "OpenPanel.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QStandardPaths>
#include <QTest>

using namespace frameflow;
using namespace std::chrono_literals;

class CommandsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { mFixture = std::make_unique<ControllerFixture>(); }
    void cleanup() { mFixture.reset(); }

    void aDigitSetsTheIntervalAndStarts();
    void aDigitWhileRunningOnlyRetimes();
    void keysOtherThanOneToNineStopTheShow_data();
    void keysOtherThanOneToNineStopTheShow();
    void spaceStopsAndSteps();
    void modifiersAloneChangeNothing();
    void anUnboundKeyIsPassedOn();
    void theKeyOfADisabledCommandIsSwallowed();
    void f11TogglesBetweenWindowAndFullScreen();

    void fitCommandsStoreTheModeAndPostpone_data();
    void fitCommandsStoreTheModeAndPostpone();
    void fitModesAreCheckedInTheMenu();
    void playIsNamedForWhatItDoes();
    void stepsNeedSlides();
    void theFullScreenItemNeedsTheWindow();
    void zoomingPostponesTheNextSlideButZoomingOffDoesNot_data();
    void zoomingPostponesTheNextSlideButZoomingOffDoesNot();
    void zoomingWithoutAShowDoesNothing();
    void aHeldF11TogglesOnce();
    void shufflingStartsFromTheFirst();
    void aNewOrderStartsFromTheFirst();
    void escapeEndsTheShow();

    void theOpenPanelSaysWhatToChoose();
    void theOpenPanelBeginsWhereItLastEnded_data();
    void theOpenPanelBeginsWhereItLastEnded();
    void theOpenPanelOffersFoldersAndDisplayableFiles();
    void confirmingThePanelReplacesTheShow();
    void aSelectedFolderIsOpened();
    void whatIsTypedIntoThePanelIsOpened_data();
    void whatIsTypedIntoThePanelIsOpened();
    void aTypedNameThatDoesNotExistIsSaid();
    void namesInTheFieldAreOneOrQuoted();
    void cancellingThePanelChangesNothing();

private:
    SlideController& openThree()
    {
        mOpened = mFixture->openThree();
        return mFixture->controller();
    }
    QAction* action(const char* id) { return mFixture->controller().mainMenu().action(QString::fromLatin1(id)); }
    QByteArray shown() const { return mFixture->shown(); }
    // Into the panel's field, which has the focus as it has for a person.
    void typeName(const QString& text)
    {
        auto* panel = mFixture->controller().openPanel();
        auto* field = panel->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
        QApplication::setActiveWindow(panel);
        field->setFocus();
        QTest::keyClicks(field, text);
    }
    // What happens before every key, and before a menu opens.
    void lookUp()
    {
        QKeyEvent event(QEvent::ShortcutOverride, Qt::Key_Z, Qt::NoModifier);
        QApplication::sendEvent(mFixture->controller().slideView(), &event);
    }

    bool mOpened = false;
    std::unique_ptr<ControllerFixture> mFixture;
};

void CommandsTest::aDigitSetsTheIntervalAndStarts()
{
    auto& controller = openThree();
    mFixture->press(Qt::Key_5, QStringLiteral("5"));
    QVERIFY(controller.timerRuns());
    QVERIFY(controller.nextSlideChange() == mFixture->clock.now() + 5s);
    QCOMPARE(mFixture->settings().floatValue(keys::slideInterval), 5.0F);
    QCOMPARE(shown(), QByteArray("1.png"));
}

void CommandsTest::aDigitWhileRunningOnlyRetimes()
{
    auto& controller = openThree();
    mFixture->press(Qt::Key_5, QStringLiteral("5"));
    mFixture->clock.advance(2s);
    mFixture->press(Qt::Key_5, QStringLiteral("5"));
    QVERIFY(controller.nextSlideChange() == mFixture->clock.now() + 3s);
    mFixture->press(Qt::Key_9, QStringLiteral("9"));
    QVERIFY(controller.nextSlideChange() == mFixture->clock.now() + 7s);
}

void CommandsTest::keysOtherThanOneToNineStopTheShow_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<QString>("text");
    QTest::newRow("0") << int(Qt::Key_0) << QStringLiteral("0");
    QTest::newRow("a letter") << int(Qt::Key_X) << QStringLiteral("x");
    QTest::newRow("an arrow without a command") << int(Qt::Key_Up) << QString();
    QTest::newRow("return") << int(Qt::Key_Return) << QStringLiteral("\r");
}

void CommandsTest::keysOtherThanOneToNineStopTheShow()
{
    QFETCH(int, key);
    QFETCH(QString, text);
    auto& controller = openThree();
    controller.Start();
    mFixture->press(key, text);
    QVERIFY(!controller.timerRuns());
    QCOMPARE(shown(), QByteArray("1.png"));
}

void CommandsTest::spaceStopsAndSteps()
{
    auto& controller = openThree();
    controller.Start();
    mFixture->press(Qt::Key_Space, QStringLiteral(" "));
    QVERIFY(!controller.timerRuns());
    QCOMPARE(shown(), QByteArray("2.png"));
}

void CommandsTest::modifiersAloneChangeNothing()
{
    auto& controller = openThree();
    controller.Start();
    mFixture->press(Qt::Key_Shift, {}, Qt::ShiftModifier);
    mFixture->press(Qt::Key_VolumeUp);
    QVERIFY(controller.timerRuns());
}

void CommandsTest::anUnboundKeyIsPassedOn()
{
    auto& controller = openThree();
    QKeyEvent ignored(QEvent::KeyPress, Qt::Key_Up, Qt::NoModifier);
    ignored.ignore();
    controller.keyDown(&ignored);
    QVERIFY(!ignored.isAccepted());
    QKeyEvent space(QEvent::KeyPress, Qt::Key_Space, Qt::NoModifier, QStringLiteral(" "));
    space.ignore();
    controller.keyDown(&space);
    QVERIFY(space.isAccepted());
}

void CommandsTest::theKeyOfADisabledCommandIsSwallowed()
{
    auto& controller = openThree();
    controller.Start();
    controller.fileSequence().clear();
    QVERIFY(controller.timerRuns());
    mFixture->press(Qt::Key_Right);
    QVERIFY(controller.timerRuns()); // not taken for a key that stops
}

void CommandsTest::f11TogglesBetweenWindowAndFullScreen()
{
    auto& controller = openThree();
    QTest::keyClick(controller.slideView(), Qt::Key_F11);
    QVERIFY(controller.isWindowMode());
    QTest::keyClick(controller.slideView(), Qt::Key_F11);
    QVERIFY(!controller.isWindowMode());
}

void CommandsTest::fitCommandsStoreTheModeAndPostpone_data()
{
    QTest::addColumn<QByteArray>("id");
    QTest::addColumn<QString>("mode");
    QTest::newRow("shrink") << QByteArray("ShrinkToFit") << keys::fitModeFit;
    QTest::newRow("zoom") << QByteArray("ZoomToFit") << keys::fitModeZoom;
    QTest::newRow("fill") << QByteArray("FillScreen") << keys::fitModeFill;
    QTest::newRow("stretch") << QByteArray("Stretch") << keys::fitModeStretch;
}

void CommandsTest::fitCommandsStoreTheModeAndPostpone()
{
    QFETCH(QByteArray, id);
    QFETCH(QString, mode);
    auto& controller = openThree();
    controller.Start();
    mFixture->clock.advance(3s);
    QVERIFY(mFixture->trigger(id.constData()));
    QCOMPARE(mFixture->settings().stringValue(keys::imageFitMode), mode);
    QVERIFY(controller.nextSlideChange() == mFixture->clock.now() + 5s);
    const auto* view = controller.slideView();
    QCOMPARE(view->currentLayer()->frame(), view->rectForImage(view->currentImage()));
}

void CommandsTest::fitModesAreCheckedInTheMenu()
{
    openThree();
    QVERIFY(mFixture->trigger("FillScreen"));
    lookUp();
    QVERIFY(action("FillScreen")->isChecked());
    QVERIFY(!action("ShrinkToFit")->isChecked());
}

void CommandsTest::playIsNamedForWhatItDoes()
{
    auto& controller = openThree();
    lookUp();
    QCOMPARE(action("Play")->text(), QStringLiteral("&Start Slideshow"));
    QVERIFY(action("Play")->isEnabled());
    QTest::keyClick(controller.slideView(), Qt::Key_P, Qt::ControlModifier);
    QVERIFY(controller.timerRuns());
    lookUp();
    QCOMPARE(action("Play")->text(), QStringLiteral("&Stop Slideshow"));
}

void CommandsTest::stepsNeedSlides()
{
    mFixture->start();
    for (const char* id : {"Play", "nextSlide", "previousSlide", "firstSlide"}) {
        QVERIFY2(!action(id)->isEnabled(), id);
    }
}

void CommandsTest::theFullScreenItemNeedsTheWindow()
{
    auto& controller = openThree();
    lookUp();
    QVERIFY(!action("FullScreen")->isEnabled());
    controller.WindowMode();
    lookUp();
    QVERIFY(action("FullScreen")->isEnabled());
    controller.screenWindow()->setWindowState(Qt::WindowFullScreen); // the window manager's doing
    lookUp();
    QVERIFY(!action("FullScreen")->isEnabled());
    controller.screenWindow()->setWindowState(Qt::WindowNoState);
    lookUp();
    QVERIFY(action("FullScreen")->isEnabled());
}

void CommandsTest::zoomingPostponesTheNextSlideButZoomingOffDoesNot_data()
{
    QTest::addColumn<QByteArray>("id");
    QTest::addColumn<int>("seconds");
    QTest::newRow("in") << QByteArray("ZoomIn") << 5;
    QTest::newRow("actual size") << QByteArray("ZoomOne") << 5;
    QTest::newRow("off") << QByteArray("ZoomOff") << 2;
}

void CommandsTest::zoomingPostponesTheNextSlideButZoomingOffDoesNot()
{
    QFETCH(QByteArray, id);
    QFETCH(int, seconds);
    auto& controller = openThree();
    controller.Start();
    mFixture->clock.advance(3s);
    QVERIFY(mFixture->trigger(id.constData()));
    QVERIFY(controller.nextSlideChange() == mFixture->clock.now() + std::chrono::seconds(seconds));
}

void CommandsTest::zoomingWithoutAShowDoesNothing()
{
    auto& controller = mFixture->start();
    controller.ZoomIn();
    controller.ZoomOne();
    controller.ZoomOff();
    controller.WindowMode();
    controller.FullScreen();
    QVERIFY(controller.screenWindow() == nullptr && !controller.isWindowMode());
    controller.FillScreen();
    QCOMPARE(mFixture->settings().stringValue(keys::imageFitMode), keys::fitModeFill);
}

void CommandsTest::aHeldF11TogglesOnce()
{
    auto& controller = openThree();
    auto* const view = controller.slideView();
    QTRY_VERIFY(view->hasFocus());
    QTest::simulateEvent(view, true, Qt::Key_F11, Qt::NoModifier, {}, false);
    for (int i = 0; i < 5; ++i) {
        QTest::simulateEvent(view, false, Qt::Key_F11, Qt::NoModifier, {}, true);
        QTest::simulateEvent(view, true, Qt::Key_F11, Qt::NoModifier, {}, true);
    }
    QTest::simulateEvent(view, false, Qt::Key_F11, Qt::NoModifier, {}, false);
    QVERIFY(controller.isWindowMode());
}

void CommandsTest::shufflingStartsFromTheFirst()
{
    auto& controller = openThree();
    controller.nextSlide();
    controller.shuffle();
    QCOMPARE(controller.fileSequence().currentIndex(), size_t(0));
    QCOMPARE(controller.imageURL(), controller.fileSequence().URLAtIndex(0));
}

void CommandsTest::aNewOrderStartsFromTheFirst()
{
    mFixture->addPictures({"img2.png", "img10.png"});
    mFixture->start();
    QVERIFY(mFixture->openFolder());
    QCOMPARE(shown(), QByteArray("img2.png"));
    mFixture->set(keys::sort, keys::sortByUrl);
    mFixture->controller().sortOrderChanged();
    QCOMPARE(shown(), QByteArray("img10.png"));
}

void CommandsTest::escapeEndsTheShow()
{
    auto& controller = openThree();
    QTest::keyClick(controller.slideView(), Qt::Key_Escape);
    QVERIFY(controller.screenWindow() == nullptr);
}

void CommandsTest::theOpenPanelSaysWhatToChoose()
{
    auto& controller = mFixture->start();
    controller.openMenu();
    QCOMPARE(controller.openPanel()->findChild<QLabel*>(QStringLiteral("message"))->text(),
        QStringLiteral("Choose a folder or some files to display."));
}

void CommandsTest::theOpenPanelBeginsWhereItLastEnded_data()
{
    QTest::addColumn<QString>("stored");
    QTest::addColumn<QString>("folder");
    const QString home = QDir::homePath();
    const QString pictures = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    QVERIFY(QDir().mkpath(pictures) && QDir().mkpath(home + QStringLiteral("/last folder")));
    QTest::newRow("never opened") << QString() << pictures;
    QTest::newRow("opened") << QUrl::fromLocalFile(home + QStringLiteral("/last folder")).toString(QUrl::FullyEncoded)
                            << home + QStringLiteral("/last folder");
    QTest::newRow("gone") << QStringLiteral("file:///nowhere/at/all") << home;
    QTest::newRow("no file's address") << QStringLiteral("http://frameflow.example/") << pictures;
}

void CommandsTest::theOpenPanelBeginsWhereItLastEnded()
{
    QFETCH(QString, stored);
    QFETCH(QString, folder);
    if (!stored.isEmpty()) {
        mFixture->set(keys::lastUsedOpenDirectory, stored);
    }
    auto& controller = mFixture->start();
    controller.openMenu();
    QCOMPARE(controller.openPanel()->directory().absolutePath(), folder);
}

void CommandsTest::theOpenPanelOffersFoldersAndDisplayableFiles()
{
    mFixture->addPictures({"b.png"});
    mFixture->folder.addFile("a.txt");
    mFixture->folder.addFile("m.mp4");
    mFixture->folder.addFolder("z folder");
    auto& controller = mFixture->start();
    mFixture->set(keys::lastUsedOpenDirectory, QString::fromUtf8(mFixture->folder.url().toUrl().toEncoded()));
    controller.openMenu();
    auto* list = controller.openPanel()->findChild<QListView*>(QStringLiteral("listView"));
    const auto names = [list] {
        QStringList found;
        for (int row = 0; row < list->model()->rowCount(list->rootIndex()); ++row) {
            found.append(list->model()->index(row, 0, list->rootIndex()).data().toString());
        }
        return found;
    };
    const QStringList expected{QStringLiteral("z folder"), QStringLiteral("b.png"), QStringLiteral("m.mp4")};
    QTRY_COMPARE(names(), expected);
}

void CommandsTest::confirmingThePanelReplacesTheShow()
{
    auto& controller = openThree();
    TestFolder other;
    QImage picture(4, 4, QImage::Format_RGB32);
    picture.fill(Qt::blue);
    QVERIFY(picture.save(QString::fromUtf8(other.addFile("new.png"))));
    controller.openMenu();
    controller.openPanel()->setDirectory(QString::fromUtf8(other.path()));
    auto* name = controller.openPanel()->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
    QTest::keyClicks(name, QStringLiteral("new.png"));
    QMetaObject::invokeMethod(controller.openPanel(), "accept");
    QTRY_COMPARE(shown(), QByteArray("new.png"));
    QTRY_COMPARE(controller.fileSequence().count(), size_t(1));
    QCOMPARE(mFixture->settings().stringValue(keys::lastUsedOpenDirectory),
        QUrl::fromLocalFile(QString::fromUtf8(other.path())).toString(QUrl::FullyEncoded));
}

void CommandsTest::aSelectedFolderIsOpened()
{
    auto& controller = mFixture->start();
    mFixture->addPictures({"album/1.png", "album/2.png", "other/3.png"});
    controller.openMenu();
    controller.openPanel()->setDirectory(QString::fromUtf8(mFixture->folder.path()));
    auto* list = controller.openPanel()->findChild<QListView*>(QStringLiteral("listView"));
    QTRY_COMPARE(list->model()->rowCount(list->rootIndex()), 2);
    list->selectionModel()->select(
        list->model()->index(0, 0, list->rootIndex()), QItemSelectionModel::Select | QItemSelectionModel::Rows);
    QMetaObject::invokeMethod(controller.openPanel(), "accept");
    QTRY_COMPARE(controller.fileSequence().count(), size_t(2));
    QTRY_VERIFY(controller.imageURL().path().startsWith(mFixture->folder.pathOf("album")));
}

void CommandsTest::whatIsTypedIntoThePanelIsOpened_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("count");
    QTest::newRow("nothing: the folder in view") << QString() << 4;
    QTest::newRow("a file") << QStringLiteral("1.png") << 1;
    QTest::newRow("two files") << QStringLiteral("\"1.png\" \"3.png\"") << 2;
    QTest::newRow("a folder") << QStringLiteral("album") << 2;
    QTest::newRow("a folder and a file") << QStringLiteral("\"album\" \"3.png\"") << 3;
    QTest::newRow("the folder itself") << QStringLiteral(".") << 4;
}

void CommandsTest::whatIsTypedIntoThePanelIsOpened()
{
    QFETCH(QString, text);
    QFETCH(int, count);
    auto& controller = mFixture->start();
    mFixture->addPictures({"1.png", "3.png", "album/4.png", "album/5.png"});
    controller.openMenu();
    controller.openPanel()->setDirectory(QString::fromUtf8(mFixture->folder.path()));
    typeName(text);
    auto* open = controller.openPanel()->findChild<QPushButton*>(QStringLiteral("openButton"));
    QVERIFY(open->isEnabled());
    open->click();
    QTRY_VERIFY(!controller.fileSequence().isCollecting() && controller.fileSequence().count() > 0);
    QCOMPARE(controller.fileSequence().count(), size_t(count));
}

void CommandsTest::aTypedNameThatDoesNotExistIsSaid()
{
    auto& controller = openThree();
    controller.openMenu();
    controller.openPanel()->setDirectory(QString::fromUtf8(mFixture->folder.path()));
    typeName(QStringLiteral("no such.png"));
    controller.openPanel()->findChild<QPushButton*>(QStringLiteral("openButton"))->click();
    QVERIFY(controller.openPanel() != nullptr && controller.openPanel()->isVisible());
    QCOMPARE(controller.openPanel()->findChild<QLabel*>(QStringLiteral("message"))->text(),
        QStringLiteral("“no such.png” was not found."));
    QCOMPARE(controller.fileSequence().count(), size_t(3));
}

void CommandsTest::namesInTheFieldAreOneOrQuoted()
{
    QCOMPARE(OpenPanel::namesIn(QStringLiteral("  a b.png ")), QStringList{QStringLiteral("a b.png")});
    QCOMPARE(OpenPanel::namesIn(QStringLiteral("\"a b.png\" \"c.png\"")),
        (QStringList{QStringLiteral("a b.png"), QStringLiteral("c.png")}));
    QCOMPARE(OpenPanel::namesIn(QStringLiteral("\"open end")), QStringList{QStringLiteral("open end")});
    QCOMPARE(OpenPanel::namesIn(QStringLiteral("\"\"")), QStringList());
    QCOMPARE(OpenPanel::namesIn(QString()), QStringList());
}

void CommandsTest::cancellingThePanelChangesNothing()
{
    auto& controller = openThree();
    controller.nextSlide();
    controller.openMenu();
    controller.openPanel()->reject();
    QCoreApplication::processEvents();
    QCOMPARE(shown(), QByteArray("2.png"));
    QCOMPARE(controller.fileSequence().count(), size_t(3));
    QVERIFY(!mFixture->settings().contains(keys::lastUsedOpenDirectory));
}

QTEST_MAIN(CommandsTest)
#include "CommandsTest.moc"
