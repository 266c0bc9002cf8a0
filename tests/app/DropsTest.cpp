#include "ChooseScreenWindow.h"
#include "ControlPanel.h"
#include "ControllerFixture.h"
#include "KLGridWindowController.h"
#include "OpenPanel.h"
#include "PreferenceController.h"
#include "UpdateWindowController.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeData>
#include <QTest>

using namespace frameflow;

// Files and folders that are dragged onto the program's windows from other programs.
class DropsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        mFixture = std::make_unique<ControllerFixture>();
        mFixture->addPictures({"1.png", "2.png"});
        mDropped = std::make_unique<ControllerFixture>();
        mDropped->addPictures({"9.png", "8.png"});
        mFixture->start();
    }
    void cleanup()
    {
        mFixture.reset();
        mDropped.reset();
    }

    void everyWindowTakesFiles_data();
    void everyWindowTakesFiles();
    void aFolderIsRememberedAsARecentOne();
    void aDropEndsTheShowBefore();
    void pathsOfAnyBytesAreTaken();
    void theFrameShowsWhatWouldBeTaken();
    void theFrameGoesWithTheProgramThatDraggedHere_data();
    void theFrameGoesWithTheProgramThatDraggedHere();
    void whatIsNoFileIsRefused_data();
    void whatIsNoFileIsRefused();
    void filesAreNeverMoved_data();
    void filesAreNeverMoved();
    void aFieldTakesNoFilesAsText();
    void anOpenPanelGivesWay();
    void aMessageThatWaitsForAnAnswerRefusesDrops();

private:
    QByteArray droppedUrls() const
    {
        return mDropped->folder.urlOf("9.png").toUrl().toEncoded() + "\r\n"
            + mDropped->folder.urlOf("8.png").toUrl().toEncoded() + "\r\n";
    }
    static std::unique_ptr<QMimeData> mimeOf(const QByteArray& urls)
    {
        auto data = std::make_unique<QMimeData>();
        data->setData(QStringLiteral("text/uri-list"), urls);
        return data;
    }
    // What became of it.
    static Qt::DropAction enter(QWidget* widget, const QMimeData& data, Qt::DropActions offered = Qt::CopyAction)
    {
        QDragEnterEvent event(widget->rect().center(), offered, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(widget, &event);
        return event.isAccepted() ? event.dropAction() : Qt::IgnoreAction;
    }
    static bool drop(QWidget* widget, const QMimeData& data, Qt::DropActions offered = Qt::CopyAction)
    {
        if (enter(widget, data, offered) == Qt::IgnoreAction) {
            return false;
        }
        QDropEvent event(widget->rect().center(), offered, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(widget, &event);
        return event.isAccepted();
    }
    QWidget* open(const QByteArray& name);
    SlideController& controller() const { return mFixture->controller(); }

    std::unique_ptr<ControllerFixture> mFixture;
    std::unique_ptr<ControllerFixture> mDropped; // only for its folder
};

QWidget* DropsTest::open(const QByteArray& name)
{
    if (name == "welcome") {
        controller().ShowWelcomeScreen();
        return controller().welcomeController()->window();
    }
    if (name == "preferences") {
        controller().ShowPreferences();
        return controller().preferenceController()->window();
    }
    if (name == "update") {
        controller().updateAvailable(1, true, QStringLiteral("99.0"));
        return controller().updateWindow()->window();
    }
    if (name == "display") {
        controller().ShowChooseScreen();
        return controller().chooseScreenWindow();
    }
    if (!mFixture->openFolder()) {
        return nullptr;
    }
    if (name == "controls") {
        controller().ShowControls();
        return controller().controlWindow();
    }
    if (name == "thumbnails") {
        controller().ShowGridScreen();
        return controller().gridController()->window();
    }
    if (name == "slide in a window") {
        controller().WindowMode();
    }
    return controller().screenWindow();
}

void DropsTest::everyWindowTakesFiles_data()
{
    QTest::addColumn<QByteArray>("name");
    for (const char* name :
        {"welcome", "preferences", "update", "display", "controls", "thumbnails", "slide", "slide in a window"}) {
        QTest::newRow(name) << QByteArray(name);
    }
}

void DropsTest::everyWindowTakesFiles()
{
    QFETCH(const QByteArray, name);
    QWidget* const window = open(name);
    QVERIFY(window != nullptr);
    QVERIFY(drop(window, *mimeOf(droppedUrls())));
    QTRY_COMPARE(controller().fileSequence().URLAtIndex(0), mDropped->folder.urlOf("8.png"));
    QTRY_COMPARE(controller().fileSequence().count(), size_t(2));
    QTRY_VERIFY(!mFixture->onScreen().isEmpty());
    QVERIFY(mFixture->rest());
}

void DropsTest::aFolderIsRememberedAsARecentOne()
{
    QVERIFY(drop(open("welcome"), *mimeOf(mDropped->folder.url().toUrl().toEncoded())));
    QTRY_COMPARE(controller().fileSequence().count(), size_t(2));
    QCOMPARE(controller().recentPaths(), QList<FileUrl>{mDropped->folder.url()});
}

void DropsTest::aDropEndsTheShowBefore()
{
    QWidget* const window = open("slide");
    controller().Start();
    QVERIFY(drop(window, *mimeOf(mDropped->folder.urlOf("9.png").toUrl().toEncoded())));
    QTRY_COMPARE(mFixture->onScreen(), QByteArray("9.png"));
    QVERIFY(!controller().timerRuns());
    QCOMPARE(controller().fileSequence().count(), size_t(1));
}

void DropsTest::pathsOfAnyBytesAreTaken()
{
    const QByteArray name("a\xff;%#?\n.png");
    QVERIFY(rename(mDropped->folder.pathOf("9.png").constData(), mDropped->folder.pathOf(name).constData()) == 0);
    QVERIFY(drop(open("welcome"), *mimeOf("file://" + mDropped->folder.pathOf(name).toPercentEncoding("/"))));
    QTRY_COMPARE(mFixture->onScreen(), name);
}

void DropsTest::theFrameShowsWhatWouldBeTaken()
{
    QWidget* const window = open("welcome");
    const auto frame = [&] { return window->findChild<QWidget*>(QStringLiteral("dropFrame")); };
    QVERIFY(frame() == nullptr);
    QCOMPARE(enter(window, *mimeOf(droppedUrls())), Qt::CopyAction);
    QVERIFY(frame() != nullptr);
    QVERIFY(frame()->isVisible());
    QCOMPARE(frame()->geometry(), window->rect());
    const QImage picture = window->grab().toImage();
    QCOMPARE(picture.pixelColor(1, window->height() / 2), window->palette().color(QPalette::Highlight));
    QDragLeaveEvent leave;
    QApplication::sendEvent(window, &leave);
    QVERIFY(frame() == nullptr);
    enter(window, *mimeOf("https://frameflow.example/1.png"));
    QVERIFY(frame() == nullptr);
}

void DropsTest::theFrameGoesWithTheProgramThatDraggedHere_data()
{
    QTest::addColumn<int>("type");
    QTest::newRow("mouse moved") << int(QEvent::MouseMove);
    QTest::newRow("mouse pressed") << int(QEvent::MouseButtonPress);
}

// That crashed, say: nobody tells of it, but the mouse is here again.
void DropsTest::theFrameGoesWithTheProgramThatDraggedHere()
{
    QFETCH(const int, type);
    QWidget* const window = open("slide");
    const auto mime = mimeOf(droppedUrls());
    enter(window, *mime);
    QVERIFY(window->findChild<QWidget*>(QStringLiteral("dropFrame")) != nullptr);
    const QPointF place = window->rect().center();
    QMouseEvent event(QEvent::Type(type), place, window->mapToGlobal(place), Qt::RightButton, Qt::RightButton, {});
    QApplication::sendEvent(window, &event);
    QVERIFY(window->findChild<QWidget*>(QStringLiteral("dropFrame")) == nullptr);
    // A drop may come after the mouse that it lets go.
    QDropEvent dropped(place, Qt::CopyAction, mime.get(), Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(window, &dropped);
    QTRY_COMPARE(controller().fileSequence().URLAtIndex(0), mDropped->folder.urlOf("8.png"));
}

void DropsTest::whatIsNoFileIsRefused_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QByteArray>("data");
    const QString urls = QStringLiteral("text/uri-list");
    QTest::newRow("web address") << urls << QByteArray("https://frameflow.example/1.png\r\n");
    QTest::newRow("another machine") << urls << QByteArray("file://elsewhere/1.png\r\n");
    QTest::newRow("relative") << urls << QByteArray("1.png\r\n");
    QTest::newRow("a comment") << urls << QByteArray("#file:///1.png\r\n");
    QTest::newRow("NUL") << urls << QByteArray("file:///%00\r\n");
    QTest::newRow("nothing") << urls << QByteArray();
    QTest::newRow("garbage") << urls << QByteArray(100000, '\xff');
    QTest::newRow("text") << QStringLiteral("text/plain") << QByteArray("/etc/passwd");
    QTest::newRow("a picture itself") << QStringLiteral("image/png") << QByteArray("\x89PNG");
}

void DropsTest::whatIsNoFileIsRefused()
{
    QFETCH(const QString, type);
    QFETCH(const QByteArray, data);
    QWidget* const window = open("slide");
    QMimeData mime;
    mime.setData(type, data);
    QVERIFY(!drop(window, mime));
    QVERIFY(mFixture->rest());
    QCOMPARE(mFixture->onScreen(), QByteArray("1.png"));
}

void DropsTest::filesAreNeverMoved_data()
{
    QTest::addColumn<int>("offered");
    QTest::addColumn<int>("taken");
    QTest::newRow("copy") << int(Qt::CopyAction) << int(Qt::CopyAction);
    QTest::newRow("copy or move") << int(Qt::CopyAction | Qt::MoveAction) << int(Qt::CopyAction);
    QTest::newRow("all") << int(Qt::CopyAction | Qt::MoveAction | Qt::LinkAction) << int(Qt::CopyAction);
    QTest::newRow("link or move") << int(Qt::LinkAction | Qt::MoveAction) << int(Qt::LinkAction);
    QTest::newRow("move") << int(Qt::MoveAction) << int(Qt::IgnoreAction);
}

void DropsTest::filesAreNeverMoved()
{
    QFETCH(const int, offered);
    QFETCH(const int, taken);
    QWidget* const window = open("welcome");
    QCOMPARE(int(enter(window, *mimeOf(droppedUrls()), Qt::DropActions(offered))), taken);
}

void DropsTest::aFieldTakesNoFilesAsText()
{
    QWidget* const window = open("preferences");
    auto* const field = new QLineEdit(window);
    field->show();
    QVERIFY(field->acceptDrops());
    QVERIFY(drop(field, *mimeOf(droppedUrls())));
    QCOMPARE(field->text(), QString());
    QTRY_COMPARE(controller().fileSequence().count(), size_t(2));
    QMimeData text;
    text.setText(QStringLiteral("words"));
    QVERIFY(drop(field, text));
    QCOMPARE(field->text(), QStringLiteral("words"));
}

void DropsTest::anOpenPanelGivesWay()
{
    open("welcome");
    controller().openMenu();
    QVERIFY(drop(controller().openPanel(), *mimeOf(droppedUrls())));
    QTRY_VERIFY(!mFixture->onScreen().isEmpty());
    QVERIFY(controller().openPanel() == nullptr);
}

void DropsTest::aMessageThatWaitsForAnAnswerRefusesDrops()
{
    QWidget* const window = open("welcome");
    controller().updateAvailable(0, true, {});
    QVERIFY(controller().updateAlert() != nullptr);
    QVERIFY(!drop(window, *mimeOf(droppedUrls())));
    QVERIFY(!drop(controller().updateAlert(), *mimeOf(droppedUrls())));
}

QTEST_MAIN(DropsTest)
#include "DropsTest.moc"
