#include "Bookmark.h"
#include "ControllerFixture.h"
#include "ProbeApplications.h"
#include "StaysTrue.h"

#include <QAction>
#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QMimeData>
#include <QTest>

#include <cstdio>

#include <unistd.h>

using namespace frameflow;
using namespace std::chrono_literals;

// The commands that are about the file of the slide: its path, its label, the Trash, other applications.
class FileCommandsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup() { mFixture.reset(); }

    void copyingPutsThePathOnTheClipboard_data();
    void copyingPutsThePathOnTheClipboard();
    void withoutAFileCopyingLeavesTheClipboard();
    void copyingAfterTheEndOfAShowLeavesTheClipboard();
    void copyingDuringAnAdIsAboutTheSlide();

    void showingTheNameReplacesThePath();
    void labelCommandsNeverShowBoth_data();
    void labelCommandsNeverShowBoth();
    void labelCommandsPostponeTheNextSlide_data();
    void labelCommandsPostponeTheNextSlide();
    void labelsAreCheckedInTheMenu();
    void labelCommandsWithoutAShowOnlyStore();
    void aLongPathLosesItsMiddleOnly();

    void trashingShowsTheNext();
    void trashingTheLastFileEndsWithNone();
    void trashingWithoutAFileDoesNothing();
    void trashingAfterTheEndOfAShowDoesNothing();
    void whatCannotBeTrashedStaysWhereItIs_data();
    void whatCannotBeTrashedStaysWhereItIs();
    void trashingDuringAnAdIsAboutTheSlide();

    void theChosenEditorOpensTheSlide_data();
    void theChosenEditorOpensTheSlide();
    void withoutAChoiceTheDesktopsEditorOpensIt();
    void anEditorThatIsGoneIsQuiet_data();
    void anEditorThatIsGoneIsQuiet();
    void aFileThatIsGoneIsNotOpened();
    void openingWithoutAFileDoesNothing();
    void openingDuringAnAdIsAboutTheSlide();
    void aHeldKeyOpensOnlyOnce();

    void theGuideIsOpenedInTheBrowser();

private:
    SlideController& openThree()
    {
        mOpened = mFixture->openThree();
        return mFixture->controller();
    }
    // A show of two slides with an ad on screen.
    SlideController& openWithAd();
    QString label() const
    {
        const auto* const label = mFixture->controller().label();
        return label != nullptr && label->isVisible() ? label->text() : QString();
    }
    QString clipboard() const { return QGuiApplication::clipboard()->text(); }
    QByteArray shown() const { return mFixture->shown(); }
    bool exists(const QByteArray& name) const { return access(mFixture->folder.pathOf(name).constData(), F_OK) == 0; }

    bool mOpened = false;
    std::unique_ptr<ControllerFixture> mFixture;
    std::unique_ptr<ProbeApplications> mProbes;
    std::unique_ptr<TestFolder> mAds;
};

void FileCommandsTest::initTestCase()
{
    mProbes = std::make_unique<ProbeApplications>();
    mProbes->add("images", "Graphics;RasterGraphics;", {"image/png"});
    mProbes->add("movies", "AudioVideo;AudioVideoEditing;", {"video/mp4"});
    mProbes->add("chosen", "Utility;", {});
    mProbes->add("browser", "Network;", {"x-scheme-handler/http"}, "%u");
    mProbes->setDefault("image/png", "images");
    mProbes->setDefault("video/mp4", "movies");
    mProbes->setDefault("x-scheme-handler/http", "browser");
}

void FileCommandsTest::init()
{
    mFixture = std::make_unique<ControllerFixture>();
    mProbes->forget();
    QGuiApplication::clipboard()->setText(QStringLiteral("before"));
}

SlideController& FileCommandsTest::openWithAd()
{
    mAds = std::make_unique<TestFolder>();
    QImage picture(40, 30, QImage::Format_RGB32);
    picture.fill(Qt::blue);
    for (const char* name : {"ad 1.png", "ad 2.png"}) {
        if (!picture.save(QString::fromUtf8(mAds->addFile(name)))) {
            qFatal("no ad");
        }
    }
    mFixture->set(keys::showAdds, true);
    mFixture->set(keys::addInterval, 0);
    mFixture->set(keys::addFolder, bookmarkForFolder(mAds->url()));
    auto& controller = openThree();
    if (!QTest::qWaitFor([&] {
            return controller.addSequence() != nullptr && controller.addSequence()->count() == 2
                && !controller.addSequence()->isCollecting();
        })
        || !mFixture->rest()) {
        qFatal("no ads");
    }
    controller.nextSlide();
    mFixture->rest();
    return controller;
}

// ---- The path on the clipboard

void FileCommandsTest::copyingPutsThePathOnTheClipboard_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("plain") << QByteArray("a.png");
    QTest::newRow("spaces") << QByteArray(" a  b .png");
    QTest::newRow("signs") << QByteArray("a;%25#?&<b>.png");
    QTest::newRow("line end") << QByteArray("a\nb.png");
    QTest::newRow("emoji") << QByteArray("\xf0\x9f\x8c\x84.png");
    QTest::newRow("not UTF-8") << QByteArray("a\xff\xfe.png");
}

void FileCommandsTest::copyingPutsThePathOnTheClipboard()
{
    QFETCH(const QByteArray, name);
    mFixture->addPictures({"plain.png"});
    QCOMPARE(rename(mFixture->folder.pathOf("plain.png").constData(), mFixture->folder.pathOf(name).constData()), 0);
    mFixture->start();
    QVERIFY(mFixture->openFolder());
    QVERIFY(mFixture->trigger("CopyFilePath"));
    QCOMPARE(clipboard(), mFixture->folder.urlOf(name).displayPath());
    const QMimeData* const data = QGuiApplication::clipboard()->mimeData();
    QCOMPARE(data->data(QStringLiteral("text/plain")), mFixture->folder.pathOf(name));
    QCOMPARE(data->formats(), QStringList{QStringLiteral("text/plain")}); // a path, not the file
}

void FileCommandsTest::withoutAFileCopyingLeavesTheClipboard()
{
    mFixture->start();
    mFixture->controller().CopyFilePath();
    QCOMPARE(clipboard(), QStringLiteral("before"));
}

void FileCommandsTest::copyingAfterTheEndOfAShowLeavesTheClipboard()
{
    auto& controller = openThree();
    controller.endSlideShow();
    controller.CopyFilePath();
    QCOMPARE(clipboard(), QStringLiteral("before"));
}

void FileCommandsTest::copyingDuringAnAdIsAboutTheSlide()
{
    auto& controller = openWithAd();
    QVERIFY(shown().startsWith("ad"));
    controller.CopyFilePath();
    QCOMPARE(clipboard().toUtf8(), mFixture->folder.pathOf("1.png"));
}

// ---- The label

void FileCommandsTest::showingTheNameReplacesThePath()
{
    openThree();
    QVERIFY(mFixture->trigger("ShowFilePath"));
    QCOMPARE(label().toUtf8(), mFixture->folder.pathOf("1.png"));
    QVERIFY(mFixture->trigger("ShowFileName"));
    QCOMPARE(label(), QStringLiteral("1"));
    QVERIFY(mFixture->trigger("ShowFileName"));
    QCOMPARE(label(), QString());
    QCOMPARE(mFixture->controller().label()->text(), QString());
}

void FileCommandsTest::labelCommandsNeverShowBoth_data()
{
    QTest::addColumn<bool>("path");
    QTest::addColumn<bool>("name");
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<bool>("pathAfterwards");
    QTest::addColumn<bool>("nameAfterwards");
    const QByteArray showPath("ShowFilePath");
    const QByteArray showName("ShowFileName");
    QTest::newRow("path from none") << false << false << showPath << true << false;
    QTest::newRow("path from name") << false << true << showPath << true << false;
    QTest::newRow("path off") << true << false << showPath << false << false;
    QTest::newRow("path off, of both") << true << true << showPath << false << true;
    QTest::newRow("name from none") << false << false << showName << false << true;
    QTest::newRow("name from path") << true << false << showName << false << true;
    QTest::newRow("name off") << false << true << showName << false << false;
    QTest::newRow("name off, of both") << true << true << showName << true << false;
}

void FileCommandsTest::labelCommandsNeverShowBoth()
{
    QFETCH(const bool, path);
    QFETCH(const bool, name);
    QFETCH(const QByteArray, command);
    QFETCH(const bool, pathAfterwards);
    QFETCH(const bool, nameAfterwards);
    mFixture->set(keys::showFilePath, path);
    mFixture->set(keys::showFileName, name);
    openThree();
    QVERIFY(mFixture->trigger(command.constData()));
    QCOMPARE(mFixture->settings().boolValue(keys::showFilePath), pathAfterwards);
    QCOMPARE(mFixture->settings().boolValue(keys::showFileName), nameAfterwards);
    const QByteArray expected
        = pathAfterwards ? mFixture->folder.pathOf("1.png") : QByteArray(nameAfterwards ? "1" : "");
    QCOMPARE(label().toUtf8(), expected);
}

void FileCommandsTest::labelCommandsPostponeTheNextSlide_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::newRow("path") << QByteArray("ShowFilePath");
    QTest::newRow("name") << QByteArray("ShowFileName");
}

void FileCommandsTest::labelCommandsPostponeTheNextSlide()
{
    QFETCH(const QByteArray, command);
    auto& controller = openThree();
    controller.Start();
    mFixture->clock.advance(3s);
    QVERIFY(mFixture->trigger(command.constData()));
    QVERIFY(controller.nextSlideChange() == mFixture->clock.now() + 5s);
}

void FileCommandsTest::labelsAreCheckedInTheMenu()
{
    auto& controller = openThree();
    const auto checked = [&] {
        QKeyEvent lookUp(QEvent::ShortcutOverride, Qt::Key_unknown, Qt::NoModifier);
        QCoreApplication::sendEvent(controller.slideView(), &lookUp);
        QStringList ids;
        for (const char* id : {"ShowFilePath", "ShowFileName"}) {
            if (controller.mainMenu().action(QString::fromLatin1(id))->isChecked()) {
                ids.append(QString::fromLatin1(id));
            }
        }
        return ids.join(QLatin1Char(' '));
    };
    QCOMPARE(checked(), QString());
    QVERIFY(mFixture->trigger("ShowFilePath"));
    QCOMPARE(checked(), QStringLiteral("ShowFilePath"));
    QVERIFY(mFixture->trigger("ShowFileName"));
    QCOMPARE(checked(), QStringLiteral("ShowFileName"));
    QVERIFY(mFixture->trigger("ShowFileName"));
    QCOMPARE(checked(), QString());
}

void FileCommandsTest::labelCommandsWithoutAShowOnlyStore()
{
    auto& controller = mFixture->start();
    controller.ShowFileName();
    QVERIFY(mFixture->settings().boolValue(keys::showFileName));
    QVERIFY(controller.label() == nullptr);
}

void FileCommandsTest::aLongPathLosesItsMiddleOnly()
{
    mFixture->set(keys::showFilePath, true);
    const QByteArray name = QByteArray(120, 'a') + "/" + QByteArray(120, 'b') + "/the end.png";
    mFixture->addPictures({name});
    auto& controller = mFixture->start();
    QVERIFY(mFixture->openFolder());
    QCOMPARE(label().toUtf8(), mFixture->folder.pathOf(name));
    QCOMPARE(controller.label()->width(), controller.slideView()->width());
    QVERIFY(controller.label()->shownText().endsWith(QLatin1String("the end.png")));
    QVERIFY(controller.label()->shownText().startsWith(label().left(8)));
    QVERIFY(controller.label()->shownText().contains(QChar(0x2026)));
}

// ---- The Trash

void FileCommandsTest::trashingShowsTheNext()
{
    auto& controller = openThree();
    QVERIFY(mFixture->trigger("trashSlide"));
    QVERIFY(mFixture->rest());
    QCOMPARE(shown(), QByteArray("2.png"));
    QVERIFY(!exists("1.png"));
    QVERIFY(QFile::exists(qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/Trash/files/1.png")));
    QCOMPARE(controller.fileSequence().count(), size_t(2));
}

void FileCommandsTest::trashingTheLastFileEndsWithNone()
{
    mFixture->addPictures({"only.png"});
    auto& controller = mFixture->start();
    QVERIFY(mFixture->openFolder());
    QVERIFY(mFixture->trigger("trashSlide"));
    QCOMPARE(controller.fileSequence().count(), size_t(0));
    QVERIFY(!exists("only.png"));
    QVERIFY(mFixture->trigger("trashSlide")); // there is nothing any more
    QVERIFY(!mFixture->trigger("nextSlide"));
}

void FileCommandsTest::trashingWithoutAFileDoesNothing()
{
    auto& controller = mFixture->start();
    controller.trashSlide();
    QVERIFY(controller.screenWindow() == nullptr);
}

void FileCommandsTest::trashingAfterTheEndOfAShowDoesNothing()
{
    auto& controller = openThree();
    controller.endSlideShow();
    controller.trashSlide();
    QVERIFY(exists("1.png"));
    QVERIFY(controller.screenWindow() == nullptr);
}

void FileCommandsTest::whatCannotBeTrashedStaysWhereItIs_data()
{
    QTest::addColumn<QByteArray>("trouble");
    QTest::newRow("there is no Trash on its volume") << QByteArray("volume");
    QTest::newRow("the file is gone") << QByteArray("gone");
}

void FileCommandsTest::whatCannotBeTrashedStaysWhereItIs()
{
    QFETCH(const QByteArray, trouble);
    auto& controller = openThree();
    const QByteArray trash = qgetenv("XDG_DATA_HOME") + "/Trash";
    QDir(QFile::decodeName(trash)).removeRecursively();
    TestFolder blocked;
    if (trouble == "gone") {
        QVERIFY(QFile::remove(QString::fromUtf8(mFixture->folder.pathOf("1.png"))));
    } else {
        QFile inTheWay(QFile::decodeName(trash)); // no folder can be made there
        QVERIFY(inTheWay.open(QIODevice::WriteOnly));
    }
    QVERIFY(mFixture->trigger("trashSlide"));
    QVERIFY(mFixture->rest());
    QFile::remove(QFile::decodeName(trash));
    QCOMPARE(mFixture->onScreen(), QByteArray("1.png"));
    QCOMPARE(controller.fileSequence().count(), size_t(3));
    QCOMPARE(exists("1.png"), trouble != "gone");
    QCOMPARE(mFixture->visibleWindows(), QStringList{QStringLiteral("SlideWindow")}); // nothing is said
}

void FileCommandsTest::trashingDuringAnAdIsAboutTheSlide()
{
    auto& controller = openWithAd();
    QVERIFY(shown().startsWith("ad"));
    QVERIFY(mFixture->trigger("trashSlide"));
    QVERIFY(mFixture->rest());
    QCOMPARE(shown(), QByteArray("2.png"));
    QVERIFY(!exists("1.png"));
    QCOMPARE(controller.addSequence()->count(), size_t(2));
}

// ---- Other applications

void FileCommandsTest::theChosenEditorOpensTheSlide_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("editor");
    QTest::newRow("an image") << keys::imageEditorPath << QByteArray("1.png") << QByteArray("chosen");
    QTest::newRow("a movie") << keys::movieEditorPath << QByteArray("m.mp4") << QByteArray("chosen");
    QTest::newRow("the one of movies, an image")
        << keys::movieEditorPath << QByteArray("1.png") << QByteArray("images");
    QTest::newRow("the one of images, a movie") << keys::imageEditorPath << QByteArray("m.mp4") << QByteArray("movies");
}

void FileCommandsTest::theChosenEditorOpensTheSlide()
{
    QFETCH(const QString, key);
    QFETCH(const QByteArray, name);
    QFETCH(const QByteArray, editor);
    mFixture->set(key, qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/applications/chosen.desktop"));
    mFixture->addPictures({"1.png"});
    mFixture->folder.addFile("m.mp4", "no movie, but one by its name");
    auto& controller = mFixture->start();
    // What it is is told by its name alone, so nothing has to be on screen.
    controller.fileSequence().addURL(mFixture->folder.urlOf(name));
    QCOMPARE(controller.fileSequence().current().fileName().toByteArray(), name);
    QVERIFY(controller.mainMenu().action(QStringLiteral("openSlide"))->isEnabled());
    controller.openSlide();
    QTRY_COMPARE(mProbes->openedBy(editor), QByteArrayList{mFixture->folder.pathOf(name)});
}

void FileCommandsTest::withoutAChoiceTheDesktopsEditorOpensIt()
{
    auto& controller = openThree();
    controller.nextSlide();
    QVERIFY(mFixture->rest());
    QVERIFY(mFixture->trigger("openSlide"));
    QTRY_COMPARE(mProbes->openedBy("images"), QByteArrayList{mFixture->folder.pathOf("2.png")});
    QCOMPARE(shown(), QByteArray("2.png"));
}

void FileCommandsTest::anEditorThatIsGoneIsQuiet_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("missing") << QStringLiteral("/nowhere/gone.desktop");
    QTest::newRow("folder") << QStringLiteral("/tmp");
    QTest::newRow("endless") << QStringLiteral("/dev/zero");
    QTest::newRow("no path") << QStringLiteral("gimp; touch x");
}

// And no other one is taken in its place.
void FileCommandsTest::anEditorThatIsGoneIsQuiet()
{
    QFETCH(const QString, path);
    mFixture->set(keys::imageEditorPath, path);
    openThree();
    QVERIFY(mFixture->trigger("openSlide"));
    mFixture->set(keys::imageEditorPath, QString());
    mFixture->controller().nextSlide();
    QVERIFY(mFixture->rest());
    QVERIFY(mFixture->trigger("openSlide")); // in its turn
    QTRY_COMPARE(mProbes->openedBy("images"), QByteArrayList{mFixture->folder.pathOf("2.png")});
    QCOMPARE(mFixture->visibleWindows(), QStringList{QStringLiteral("SlideWindow")});
}

void FileCommandsTest::aFileThatIsGoneIsNotOpened()
{
    openThree();
    QVERIFY(QFile::remove(QString::fromUtf8(mFixture->folder.pathOf("1.png"))));
    QVERIFY(mFixture->trigger("openSlide"));
    mFixture->controller().nextSlide();
    QVERIFY(mFixture->rest());
    QVERIFY(mFixture->trigger("openSlide"));
    QTRY_COMPARE(mProbes->openedBy("images"), QByteArrayList{mFixture->folder.pathOf("2.png")});
}

void FileCommandsTest::openingWithoutAFileDoesNothing()
{
    mFixture->start();
    mFixture->controller().openSlide();
    openThree();
    mFixture->controller().endSlideShow();
    mFixture->controller().openSlide();
    QVERIFY(staysTrueFor(200ms, [&] { return mProbes->openedBy("images").isEmpty(); }));
}

void FileCommandsTest::openingDuringAnAdIsAboutTheSlide()
{
    openWithAd();
    QVERIFY(shown().startsWith("ad"));
    QVERIFY(mFixture->trigger("openSlide"));
    QTRY_COMPARE(mProbes->openedBy("images"), QByteArrayList{mFixture->folder.pathOf("1.png")});
}

void FileCommandsTest::aHeldKeyOpensOnlyOnce()
{
    auto& controller = openThree();
    auto* const view = controller.slideView();
    QTRY_VERIFY(view->hasFocus());
    QTest::simulateEvent(view, true, Qt::Key_E, Qt::ControlModifier, {}, false);
    for (int i = 0; i < 20; ++i) {
        QTest::simulateEvent(view, false, Qt::Key_E, Qt::ControlModifier, {}, true);
        QTest::simulateEvent(view, true, Qt::Key_E, Qt::ControlModifier, {}, true);
    }
    QTest::simulateEvent(view, false, Qt::Key_E, Qt::ControlModifier, {}, false);
    QTRY_COMPARE(mProbes->openedBy("images").size(), 1);
    QVERIFY(staysTrueFor(300ms, [&] { return mProbes->openedBy("images").size() == 1; }));
}

void FileCommandsTest::theGuideIsOpenedInTheBrowser()
{
    mFixture->start();
    mFixture->controller().showHelp();
    QTRY_COMPARE(mProbes->openedBy("browser"), QByteArrayList{"http://frameflow.example/frameflow-guide.html"});
}

QTEST_MAIN(FileCommandsTest)
#include "FileCommandsTest.moc"
