#include "Bookmark.h"
#include "ControllerFixture.h"
#include "MainMenu.h"
#include "OpenPanel.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QTableView>
#include <QTest>

#include <cstdio>

using namespace frameflow;

// The folders opened last, their menu, and what is kept of them.
class RecentsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { mFixture = std::make_unique<ControllerFixture>(); }
    void cleanup() { mFixture.reset(); }

    void aFolderHandedOverIsRemembered();
    void severalItemsOrAFileLeaveTheListAlone();
    void whatIsChosenInThePanelIsRemembered_data();
    void whatIsChosenInThePanelIsRemembered();
    void anotherOpeningMovesAFolderToTheTop();
    void theEleventhFolderDropsTheOldest();
    void aFolderIsRememberedWhateverItsName_data();
    void aFolderIsRememberedWhateverItsName();

    void withoutAStoredListThereIsNoMenu();
    void theMenuStandsThirdInTheFileMenu();
    void theMenuListsTheFoldersAndClearing();
    void longPathsAreCutInTheMiddleOfTheMenu();
    void clearingLeavesTheOneItem();

    void theListOutlivesTheProgram_data();
    void theListOutlivesTheProgram();
    void vanishedFoldersLeaveTheList_data();
    void vanishedFoldersLeaveTheList();
    void aRenamedFolderStaysUnderItsNewName();
    void garbageInTheSettingsIsNoList_data();
    void garbageInTheSettingsIsNoList();
    void aListThatIsTooLongIsCut();

    void anItemOfTheMenuOpensItsFolder();
    void anItemOpensItsFolderAfterOneAboveItHasGone();
    void aDoubleClickInTheWelcomeOpensTheFolderUnderIt();
    void aFolderThatIsGoneLeavesTheShowAlone();
    void anIndexOutOfRangeDoesNothing_data();
    void anIndexOutOfRangeDoesNothing();
    void openingEndsTheShowAndBeginsTheOther();
    void companionsOfJpegsAreLeftOut();
    void theOpenFolderIsForgottenAtTheEndOfTheShow();
    void theLastFolderIsReopenedAtTheStart();
    void theLastFolderThatIsStillThereIsReopened();
    void filesAtTheStartComeBeforeTheLastFolder();
    void afterAShowItsFolderIsTheFirstOfTheWelcome();
    void theKeysOfTheWelcomeAreNotThoseOfItsMenus();

private:
    QByteArray pictureFolder(const QByteArray& name) const
    {
        mFixture->addPicture(name + "/" + name + ".png");
        return mFixture->folder.pathOf(name);
    }
    void remember(const QByteArray& name)
    {
        mFixture->folder.addFolder(name);
        controller().rememberRecentFolder(mFixture->folder.urlOf(name));
    }
    SlideController& controller() { return mFixture->controller(); }
    QList<QByteArray> names()
    {
        QList<QByteArray> all;
        for (const FileUrl& folder : controller().recentPaths()) {
            all.append(folder.fileName().toByteArray());
        }
        return all;
    }
    QStringList menuTexts()
    {
        QStringList texts;
        for (const QAction* item : controller().recentsMenuItem()->menu()->actions()) {
            texts.append(item->toolTip().isEmpty() ? item->text() : item->toolTip());
        }
        return texts;
    }
    qsizetype stored() const { return mFixture->settings().value(keys::recentFolderBookmarks).toList().size(); }
    QString text(const QByteArray& name) const { return QString::fromUtf8(mFixture->folder.pathOf(name)); }
    bool waitFor(const QByteArray& name)
    {
        return QTest::qWaitFor([&] { return mFixture->shown() == name; }, 20000) && mFixture->rest();
    }

    const QString mClear = QStringLiteral("Clear Menu");
    std::unique_ptr<ControllerFixture> mFixture;
};

void RecentsTest::aFolderHandedOverIsRemembered()
{
    pictureFolder("a");
    mFixture->start();
    QVERIFY(mFixture->open({mFixture->folder.urlOf("a")}));
    QCOMPARE(names(), QList<QByteArray>{"a"});
    QCOMPARE(stored(), 1);
}

void RecentsTest::severalItemsOrAFileLeaveTheListAlone()
{
    pictureFolder("a");
    pictureFolder("b");
    mFixture->start();
    QVERIFY(mFixture->open({mFixture->folder.urlOf("a"), mFixture->folder.urlOf("b")}));
    controller().rememberRecentURLs({mFixture->folder.urlOf("a"), mFixture->folder.urlOf("b")});
    controller().rememberRecentFolders({mFixture->folder.urlOf("a/a.png")});
    controller().rememberRecentURLs({mFixture->folder.urlOf("gone")});
    controller().rememberRecentURLs({});
    QCOMPARE(names(), QList<QByteArray>());
    QCOMPARE(stored(), 0);
}

void RecentsTest::whatIsChosenInThePanelIsRemembered_data()
{
    QTest::addColumn<QStringList>("chosen");
    QTest::addColumn<bool>("remembered");
    QTest::newRow("a folder") << QStringList{QStringLiteral("a")} << true;
    QTest::newRow("a file") << QStringList{QStringLiteral("a/a.png")} << false;
    QTest::newRow("two folders") << QStringList{QStringLiteral("a"), QStringLiteral("b")} << false;
}

void RecentsTest::whatIsChosenInThePanelIsRemembered()
{
    QFETCH(const QStringList, chosen);
    QFETCH(const bool, remembered);
    pictureFolder("a");
    pictureFolder("b");
    mFixture->start();
    controller().openMenu();
    auto* const panel = controller().openPanel();
    panel->setDirectory(QString::fromUtf8(mFixture->folder.path()));
    auto* const field = panel->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
    QApplication::setActiveWindow(panel);
    field->setFocus();
    QTest::keyClicks(field, QLatin1Char('"') + chosen.join(QStringLiteral("\" \"")) + QLatin1Char('"'));
    panel->findChild<QPushButton*>(QStringLiteral("openButton"))->click();
    QVERIFY(waitFor("a.png"));
    QCOMPARE(names(), remembered ? QList<QByteArray>{"a"} : QList<QByteArray>());
}

void RecentsTest::anotherOpeningMovesAFolderToTheTop()
{
    mFixture->start();
    for (const char* name : {"a", "b", "c", "a"}) {
        remember(name);
    }
    QCOMPARE(names(), (QList<QByteArray>{"a", "c", "b"}));
    QCOMPARE(stored(), 3);
}

void RecentsTest::theEleventhFolderDropsTheOldest()
{
    mFixture->start();
    for (int i = 0; i < 11; ++i) {
        remember(QByteArray::number(i));
    }
    QCOMPARE(names().size(), 10);
    QCOMPARE(names().first(), QByteArray("10"));
    QCOMPARE(names().last(), QByteArray("1"));
    QCOMPARE(stored(), 10);
}

void RecentsTest::aFolderIsRememberedWhateverItsName_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("line end") << QByteArray("a\nb");
    QTest::newRow("not UTF-8") << QByteArray("a\xff");
    QTest::newRow("ampersand and comma") << QByteArray("a, b & c;#%20");
    QTest::newRow("at sign") << QByteArray("@ByteArray(x)");
}

void RecentsTest::aFolderIsRememberedWhateverItsName()
{
    QFETCH(QByteArray, name);
    mFixture->addPicture("plain/1.png");
    QVERIFY(rename(mFixture->folder.pathOf("plain").constData(), mFixture->folder.pathOf(name).constData()) == 0);
    mFixture->start();
    controller().rememberRecentFolder(mFixture->folder.urlOf(name));
    QCOMPARE(names(), QList<QByteArray>{name});
    QVERIFY(!menuTexts().first().contains(QLatin1Char('\n')));
    controller().OpenRecentFolder(controller().recentsMenuItem()->menu()->actions().first());
    QVERIFY(waitFor("1.png"));
}

void RecentsTest::withoutAStoredListThereIsNoMenu()
{
    QVERIFY(!mFixture->start().recentsMenuItem());
}

void RecentsTest::theMenuStandsThirdInTheFileMenu()
{
    mFixture->set(keys::recentFolderBookmarks, QVariantList());
    mFixture->start();
    QAction* const item = controller().recentsMenuItem();
    QVERIFY(item != nullptr);
    QCOMPARE(QString(item->text()).remove(QLatin1Char('&')), QStringLiteral("Recent Folders"));
    QVERIFY(item->shortcuts().isEmpty());
    const std::unique_ptr<QMenuBar> bar(controller().mainMenu().makeMenuBar());
    QCOMPARE(bar->actions().at(1)->menu()->actions().at(2), item);
    QCOMPARE(item->menu()->windowTitle(), QStringLiteral("Recent mFolders"));
    QCOMPARE(item->menu()->accessibleName(), QStringLiteral("Recent Folders"));
    QCOMPARE(menuTexts(), QStringList{mClear});
}

void RecentsTest::theMenuListsTheFoldersAndClearing()
{
    mFixture->start();
    remember("a");
    remember("b & c");
    QCOMPARE(menuTexts(), (QStringList{text("b & c"), text("a"), mClear}));
    const auto items = controller().recentsMenuItem()->menu()->actions();
    for (const QAction* item : items) {
        QVERIFY(!item->isSeparator());
        QVERIFY(item->shortcuts().isEmpty());
    }
    QVERIFY(items.first()->text().endsWith(QStringLiteral("b && c"))); // no letter of a path is a key
}

void RecentsTest::longPathsAreCutInTheMiddleOfTheMenu()
{
    mFixture->start();
    const QByteArray name = QByteArray(200, 'x') + "/" + QByteArray(200, 'y') + "/end";
    remember(name);
    const QAction* const item = controller().recentsMenuItem()->menu()->actions().first();
    QVERIFY(item->text().size() < 150);
    QVERIFY(item->text().endsWith(QStringLiteral("end")));
    QCOMPARE(item->toolTip(), text(name));
}

void RecentsTest::clearingLeavesTheOneItem()
{
    mFixture->start();
    remember("a");
    controller().ShowWelcomeScreen();
    auto& welcome = *controller().welcomeController();
    QCOMPARE(welcome.mRecents(), QStringList{text("a")});
    QAction* const clear = controller().recentsMenuItem()->menu()->actions().last();
    QCOMPARE(QString(clear->text()).remove(QLatin1Char('&')), mClear);
    clear->trigger();
    QCOMPARE(menuTexts(), QStringList{mClear});
    QCOMPARE(names(), QList<QByteArray>());
    QCOMPARE(welcome.mRecents(), QStringList());
    QVERIFY(!welcome.mTableDescriptionLabel()->isHidden());
    QCOMPARE(stored(), 0);
    QVERIFY(mFixture->settings().contains(keys::recentFolderBookmarks));
}

void RecentsTest::theListOutlivesTheProgram_data()
{
    QTest::addColumn<QList<QByteArray>>("folders");
    QTest::newRow("none") << QList<QByteArray>();
    QTest::newRow("one") << QList<QByteArray>{"a"};
    QTest::newRow("several") << QList<QByteArray>{"c", "b", "a"};
}

void RecentsTest::theListOutlivesTheProgram()
{
    QFETCH(QList<QByteArray>, folders);
    mFixture->start();
    remember("a");
    controller().ClearRecentsMenu();
    for (auto folder = folders.rbegin(); folder != folders.rend(); ++folder) {
        remember(*folder);
    }
    QVERIFY(mFixture->readSettingsAnew());
    mFixture->start();
    QCOMPARE(names(), folders);
    if (!folders.isEmpty()) {
        QCOMPARE(menuTexts().size(), folders.size() + 1);
    }
}

void RecentsTest::vanishedFoldersLeaveTheList_data()
{
    QTest::addColumn<bool>("isReplaced");
    QTest::newRow("gone") << false;
    QTest::newRow("another folder in its place") << true;
}

void RecentsTest::vanishedFoldersLeaveTheList()
{
    QFETCH(bool, isReplaced);
    mFixture->start();
    for (const char* name : {"a", "b", "c"}) {
        remember(name);
    }
    const QString gone = text("b");
    if (isReplaced) {
        // Elsewhere, so that no new folder gets its number.
        mFixture->folder.addFolder("elsewhere");
        QVERIFY(QDir().rename(gone, text("elsewhere/b")));
        mFixture->folder.addFolder("b");
    } else {
        QVERIFY(QDir().rmdir(gone));
    }
    controller().ShowWelcomeScreen();
    QCOMPARE(controller().welcomeController()->mRecents(), (QStringList{text("c"), text("a")}));
    QCOMPARE(stored(), 2);
}

void RecentsTest::aRenamedFolderStaysUnderItsNewName()
{
    mFixture->start();
    remember("a");
    QVERIFY(QDir().rename(text("a"), text("renamed")));
    QCOMPARE(names(), QList<QByteArray>{"renamed"});
    // Opened under its new name it is the same entry.
    controller().rememberRecentFolder(mFixture->folder.urlOf("renamed"));
    QCOMPARE(names(), QList<QByteArray>{"renamed"});
}

void RecentsTest::garbageInTheSettingsIsNoList_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::newRow("a text") << QVariant(QStringLiteral("hello"));
    QTest::newRow("texts") << QVariant(QStringList{QStringLiteral("a"), QStringLiteral("/tmp")});
    QTest::newRow("a number") << QVariant(7);
    QTest::newRow("bytes") << QVariant(QByteArray("\0\xff", 2));
    QTest::newRow("other things") << QVariant(QVariantList{7, QVariant(), QByteArray(), QVariantMap()});
    QTest::newRow("a large entry") << QVariant(QVariantList{QByteArray(5'000'000, 'x')});
}

void RecentsTest::garbageInTheSettingsIsNoList()
{
    QFETCH(QVariant, value);
    mFixture->set(keys::recentFolderBookmarks, value);
    mFixture->start();
    QCOMPARE(names(), QList<QByteArray>());
    QCOMPARE(menuTexts(), QStringList{mClear});
    QCOMPARE(stored(), 0);
    remember("a");
    QCOMPARE(names(), QList<QByteArray>{"a"});
}

void RecentsTest::aListThatIsTooLongIsCut()
{
    QVariantList list;
    for (int i = 0; i < 1000; ++i) {
        mFixture->folder.addFolder(QByteArray::number(i));
        list.append(bookmarkForFolder(mFixture->folder.urlOf(QByteArray::number(i))));
    }
    mFixture->set(keys::recentFolderBookmarks, list);
    mFixture->start();
    QCOMPARE(names().size(), 10);
    QCOMPARE(names().first(), QByteArray("0"));
}

void RecentsTest::anItemOfTheMenuOpensItsFolder()
{
    pictureFolder("a");
    pictureFolder("b");
    mFixture->start();
    remember("a");
    remember("b");
    controller().recentsMenuItem()->menu()->actions().at(1)->trigger();
    QVERIFY(waitFor("a.png"));
    QCOMPARE(controller().fileSequence().count(), size_t(1));
    QCOMPARE(names(), (QList<QByteArray>{"a", "b"})); // at the top now
    QCOMPARE(menuTexts().first(), text("a"));
    QCOMPARE(controller().securityScopedResourceURL(), mFixture->folder.urlOf("a"));
}

// The welcome window drops the folder that is gone from the list; the menu was made before.
void RecentsTest::anItemOpensItsFolderAfterOneAboveItHasGone()
{
    pictureFolder("b");
    pictureFolder("c");
    mFixture->start();
    for (const char* name : {"c", "b", "a"}) {
        remember(name);
    }
    QCOMPARE(menuTexts(), (QStringList{text("a"), text("b"), text("c"), mClear}));
    QVERIFY(QDir().rmdir(text("a")));
    controller().ShowWelcomeScreen();
    QCOMPARE(menuTexts(), (QStringList{text("b"), text("c"), mClear}));
    controller().recentsMenuItem()->menu()->actions().first()->trigger();
    QVERIFY(waitFor("b.png"));
}

// The first click moves the folder to the top of the list, so that another one stands under the second.
void RecentsTest::aDoubleClickInTheWelcomeOpensTheFolderUnderIt()
{
    for (const char* name : {"a", "b", "c"}) {
        pictureFolder(name);
    }
    mFixture->start();
    for (const char* name : {"c", "b", "a"}) {
        remember(name);
    }
    controller().ShowWelcomeScreen();
    QTableView* const table = controller().welcomeController()->mRecentsTableView();
    const QPoint second = table->visualRect(table->model()->index(1, 0)).center();
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, second);
    QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, second);
    QTest::mouseRelease(table->viewport(), Qt::LeftButton, {}, second);
    QVERIFY(waitFor("b.png"));
    QCOMPARE(names(), (QList<QByteArray>{"b", "a", "c"}));
}

void RecentsTest::aFolderThatIsGoneLeavesTheShowAlone()
{
    pictureFolder("a");
    mFixture->start();
    remember("gone");
    QVERIFY(mFixture->open({mFixture->folder.urlOf("a")}));
    QVERIFY(QDir().rmdir(text("gone")));
    controller().recentSelected(1);
    QVERIFY(mFixture->rest());
    QCOMPARE(mFixture->shown(), QByteArray("a.png"));
}

void RecentsTest::anIndexOutOfRangeDoesNothing_data()
{
    QTest::addColumn<int>("index");
    QTest::newRow("below") << -1;
    QTest::newRow("above") << 1;
    QTest::newRow("far above") << 1000000;
}

void RecentsTest::anIndexOutOfRangeDoesNothing()
{
    QFETCH(int, index);
    pictureFolder("a");
    mFixture->start();
    QVERIFY(mFixture->open({mFixture->folder.urlOf("a")}));
    controller().recentSelected(index);
    controller().openRecentFolderAtIndex(index);
    QVERIFY(mFixture->rest());
    QCOMPARE(mFixture->shown(), QByteArray("a.png"));
    QCOMPARE(controller().fileSequence().count(), size_t(1));
}

void RecentsTest::openingEndsTheShowAndBeginsTheOther()
{
    pictureFolder("a");
    mFixture->addPictures({"b/1.png", "b/2.png"});
    mFixture->start();
    QVERIFY(mFixture->open({mFixture->folder.urlOf("a")}));
    controller().Start();
    remember("b");
    controller().recentSelected(0);
    QVERIFY(!controller().timerRuns());
    QVERIFY(waitFor("1.png"));
    QTRY_COMPARE(controller().fileSequence().count(), size_t(2)); // those of the other are gone
}

void RecentsTest::companionsOfJpegsAreLeftOut()
{
    mFixture->addPictures({"b/1.jpg", "b/1.png", "b/2.png"});
    mFixture->start();
    remember("b");
    controller().recentSelected(0);
    QVERIFY(waitFor("1.jpg"));
    QTRY_COMPARE(controller().fileSequence().count(), size_t(2));
}

void RecentsTest::theOpenFolderIsForgottenAtTheEndOfTheShow()
{
    pictureFolder("a");
    mFixture->start();
    remember("a");
    controller().recentSelected(0);
    QVERIFY(waitFor("a.png"));
    controller().cancel();
    QVERIFY(controller().securityScopedResourceURL().isEmpty());
    QCOMPARE(names(), QList<QByteArray>{"a"});
}

void RecentsTest::theLastFolderIsReopenedAtTheStart()
{
    pictureFolder("a");
    mFixture->start();
    remember("b");
    remember("a");
    mFixture->destroyController();
    mFixture->set(keys::openLastUsedFolder, true);
    mFixture->start().applicationDidFinishLaunching();
    QVERIFY(waitFor("a.png"));
    QCOMPARE(mFixture->visibleWindows(), QStringList{QStringLiteral("SlideWindow")});
}

void RecentsTest::theLastFolderThatIsStillThereIsReopened()
{
    pictureFolder("a");
    mFixture->start();
    remember("a");
    remember("b");
    mFixture->destroyController();
    QVERIFY(QDir().rmdir(text("b")));
    mFixture->set(keys::openLastUsedFolder, true);
    mFixture->start().applicationDidFinishLaunching();
    QVERIFY(waitFor("a.png"));
    QCOMPARE(stored(), 1);
}

void RecentsTest::filesAtTheStartComeBeforeTheLastFolder()
{
    pictureFolder("a");
    pictureFolder("b");
    mFixture->start();
    remember("a");
    mFixture->destroyController();
    mFixture->set(keys::openLastUsedFolder, true);
    mFixture->start();
    QVERIFY(mFixture->open({mFixture->folder.urlOf("b")}));
    controller().applicationDidFinishLaunching();
    QVERIFY(mFixture->rest());
    QCOMPARE(mFixture->shown(), QByteArray("b.png"));
    QCOMPARE(controller().fileSequence().count(), size_t(1));
}

void RecentsTest::afterAShowItsFolderIsTheFirstOfTheWelcome()
{
    pictureFolder("a");
    mFixture->start().ShowWelcomeScreen();
    QVERIFY(!controller().welcomeController()->mTableDescriptionLabel()->isHidden());
    QVERIFY(mFixture->open({mFixture->folder.urlOf("a")}));
    QVERIFY(!controller().welcomeController()->window()->isVisible());
    controller().cancel();
    QTRY_VERIFY(controller().welcomeController()->window()->isVisible());
    QVERIFY(controller().welcomeController()->mTableDescriptionLabel()->isHidden());
    QCOMPARE(controller().welcomeController()->mRecents(), QStringList{text("a")});
    QVERIFY(!controller().welcomeController()->mVersionText()->text().isEmpty());
    QCOMPARE(controller().welcomeController()->delegate(), static_cast<WelcomeControllerDelegate*>(&controller()));
}

void RecentsTest::theKeysOfTheWelcomeAreNotThoseOfItsMenus()
{
    mFixture->start().ShowWelcomeScreen();
    const QWidget* const window = controller().welcomeController()->window();
    QStringList texts;
    for (const QAction* menu : window->findChild<QMenuBar*>()->actions()) {
        texts.append(menu->text());
    }
    for (const QAbstractButton* button : window->findChildren<QAbstractButton*>()) {
        texts.append(button->text());
    }
    texts.append(window->findChild<QLabel*>(QStringLiteral("recentsTitle"))->text());
    QSet<QString> keysSeen;
    for (const QString& entry : texts) {
        const QString key = QKeySequence::mnemonic(entry).toString();
        QVERIFY2(key.isEmpty() || !keysSeen.contains(key), qPrintable(entry));
        keysSeen.insert(key);
    }
    QVERIFY(keysSeen.size() > 7);
}

QTEST_MAIN(RecentsTest)
#include "RecentsTest.moc"
