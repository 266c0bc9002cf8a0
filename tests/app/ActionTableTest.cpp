#include "ActionTable.h"

#include "MainMenu.h"
#include "SettingsKeys.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>
#include <QSet>
#include <QTest>

#include <algorithm>

using namespace frameflow;

namespace {

const ActionRow* rowOf(const QString& id)
{
    const auto& rows = actionTable();
    const auto row = std::find_if(
        rows.begin(), rows.end(), [&](const ActionRow& candidate) { return id == QLatin1String(candidate.id); });
    return row != rows.end() ? &*row : nullptr;
}

// The letter that a title is opened with; null for none.
QChar mnemonicOf(const QString& title)
{
    const qsizetype at = title.indexOf(QLatin1Char('&'));
    return at >= 0 && at + 1 < title.size() ? title.at(at + 1).toLower() : QChar();
}

QString withoutMnemonic(QString title)
{
    return title.remove(QLatin1Char('&'));
}

} // namespace

class ActionTableTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void idsAreUniqueAndKeysDoNotCollide();
    void everyActionOfTheMenuHasARowAndEveryRowAnAction();
    void menusHoldTheirItemsInOrder_data();
    void menusHoldTheirItemsInOrder();
    void itemsHaveTheirTitleAndKeys_data();
    void itemsHaveTheirTitleAndKeys();
    void mnemonicsAreUniqueInEachMenu();
    void noSeparatorStandsAtAnEndOrBesideAnother();
    void theUpdateItemStandsAtIndexThree();
    void commandsAreEnabledAsTheTableSays_data();
    void commandsAreEnabledAsTheTableSays();
    void theFitCommandOfTheStoredModeIsChecked_data();
    void theFitCommandOfTheStoredModeIsChecked();
    void theLabelThatIsShownIsChecked_data();
    void theLabelThatIsShownIsChecked();
    void fullScreenNeedsAWindowThatIsNotFullScreenAlready_data();
    void fullScreenNeedsAWindowThatIsNotFullScreenAlready();
    void theTitleOfPlayFollowsTheTimer();
    void theTitleOfTheControlsFollowsThePanel();
    void onlySteppingAndZoomingRepeatWhileTheKeyIsHeld();
};

void ActionTableTest::idsAreUniqueAndKeysDoNotCollide()
{
    QSet<QString> ids;
    QSet<QString> keysSeen;
    for (const ActionRow& row : actionTable()) {
        const QString id = QString::fromLatin1(row.id);
        QVERIFY2(!ids.contains(id), row.id);
        ids.insert(id);
        for (const QKeySequence& key : row.keys) {
            QVERIFY2(!keysSeen.contains(key.toString()), qPrintable(key.toString()));
            keysSeen.insert(key.toString());
            QCOMPARE(key.count(), 1); // a key that begins with another would hide it
        }
    }
}

void ActionTableTest::everyActionOfTheMenuHasARowAndEveryRowAnAction()
{
    const MainMenu menu;
    QSet<QString> rows;
    for (const ActionRow& row : actionTable()) {
        rows.insert(QString::fromLatin1(row.id));
        QVERIFY2(menu.action(QString::fromLatin1(row.id)) != nullptr, row.id);
        QVERIFY(row.handler != nullptr);
    }
    for (const QAction* action : menu.actions()) {
        QVERIFY2(rows.contains(action->objectName()), qPrintable(action->objectName()));
    }
}

void ActionTableTest::menusHoldTheirItemsInOrder_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("items"); // by id; a dash is a separator
    const auto row = [](int index, const char* title, const char* items) {
        QTest::newRow(title) << index << QString::fromLatin1(title) << QString::fromLatin1(items);
    };
    row(0, "Frameflow", "AboutFrameflow - ShowPreferences CheckUpdate - quit");
    row(1, "File", "openMenu - CopyFilePath openSlide trashSlide - cancel");
    row(2, "Slideshow", "Play nextSlide previousSlide firstSlide - shuffle");
    row(3, "View",
        "ShrinkToFit ZoomToFit FillScreen Stretch - ZoomIn ZoomOne ZoomOff - ShowFilePath ShowFileName - "
        "ShowGridScreen ShowControls ShowChooseScreen - WindowMode FullScreen");
    row(4, "Help", "showHelp ShowWelcomeScreen");
}

void ActionTableTest::menusHoldTheirItemsInOrder()
{
    QFETCH(const int, index);
    QFETCH(const QString, title);
    QFETCH(const QString, items);
    const MainMenu menu;
    const std::unique_ptr<QMenuBar> bar(menu.makeMenuBar());
    QCOMPARE(bar->actions().size(), 5);
    const QAction* const entry = bar->actions().at(index);
    QCOMPARE(withoutMnemonic(entry->text()), title);
    QStringList found;
    for (const QAction* action : entry->menu()->actions()) {
        found.append(action->isSeparator() ? QStringLiteral("-") : action->objectName());
    }
    QCOMPARE(found.join(QLatin1Char(' ')), items);
}

void ActionTableTest::itemsHaveTheirTitleAndKeys_data()
{
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("itemKeys");
    const auto row = [](const char* id, const char* title, const char* itemKeys) {
        QTest::newRow(id) << QString::fromUtf8(title) << QString::fromLatin1(itemKeys);
    };
    row("AboutFrameflow", "About Frameflow", "");
    row("ShowPreferences", "Preferences…", "Ctrl+,");
    row("CheckUpdate", "Check for Updates...", "");
    row("quit", "Quit", "Ctrl+Q");
    row("openMenu", "Open…", "Ctrl+O");
    row("CopyFilePath", "Copy File Path", "Ctrl+C");
    row("openSlide", "Open in Editor", "Ctrl+E");
    row("trashSlide", "Move to Trash", "Del");
    row("cancel", "End Slideshow", "Esc");
    row("Play", "Start Slideshow", "Ctrl+P");
    row("nextSlide", "Next", "Right PgDown");
    row("previousSlide", "Previous", "Left PgUp");
    row("firstSlide", "First", "Home");
    row("shuffle", "Shuffle", "Ctrl+R");
    row("ShrinkToFit", "Shrink to Fit", "Ctrl+1");
    row("ZoomToFit", "Zoom to Fit", "Ctrl+2");
    row("FillScreen", "Fill Screen", "Ctrl+3");
    row("Stretch", "Stretch", "Ctrl+4");
    row("ZoomIn", "Zoom In", "+");
    row("ZoomOne", "Actual Size", "Ctrl+0");
    row("ZoomOff", "Zoom Off", "-");
    row("ShowFilePath", "Show File Path", "Ctrl+Shift+P");
    row("ShowFileName", "Show File Name", "Ctrl+Shift+N");
    row("ShowGridScreen", "Show Thumbnails", "Ctrl+T");
    row("ShowControls", "Show Controls", "Ctrl+Shift+C");
    row("ShowChooseScreen", "Choose Display…", "");
    row("WindowMode", "Window Mode", "Ctrl+Shift+W");
    row("FullScreen", "Full Screen", "F11");
    row("showHelp", "Frameflow Guide", "F1");
    row("ShowWelcomeScreen", "Welcome", "");
}

void ActionTableTest::itemsHaveTheirTitleAndKeys()
{
    QFETCH(const QString, title);
    QFETCH(const QString, itemKeys);
    const QString id = QString::fromLatin1(QTest::currentDataTag());
    const MainMenu menu;
    QVERIFY(menu.action(id) != nullptr && rowOf(id) != nullptr);
    QCOMPARE(withoutMnemonic(menu.action(id)->text()), title);
    QStringList keys;
    for (const QKeySequence& key : rowOf(id)->keys) {
        keys.append(key.toString());
    }
    QCOMPARE(keys.join(QLatin1Char(' ')), itemKeys);
}

void ActionTableTest::mnemonicsAreUniqueInEachMenu()
{
    const MainMenu menu;
    const std::unique_ptr<QMenuBar> bar(menu.makeMenuBar());
    CommandState changed;
    changed.timerRuns = changed.controlsVisible = true;
    const auto isUnique = [](const QStringList& titles) {
        QSet<QChar> letters;
        for (const QString& title : titles) {
            const QChar letter = mnemonicOf(title);
            if (letter.isNull() || letters.contains(letter)) {
                qWarning("%s", qPrintable(title));
                return false;
            }
            letters.insert(letter);
        }
        return true;
    };
    QStringList bars;
    for (const QAction* entry : bar->actions()) {
        bars.append(entry->text());
        QStringList titles;
        QStringList changedTitles;
        for (const QAction* action : entry->menu()->actions()) {
            if (!action->isSeparator()) {
                titles.append(action->text());
                const QString other = changingTitle(action->objectName(), changed);
                changedTitles.append(other.isEmpty() ? action->text() : other);
            }
        }
        if (entry->menu()->objectName() == QLatin1String("mFileMenu")) {
            titles.append(QStringLiteral("&Recent Folders")); // inserted when there are some
        }
        QVERIFY(isUnique(titles));
        QVERIFY(isUnique(changedTitles));
    }
    QVERIFY(isUnique(bars));
}

void ActionTableTest::noSeparatorStandsAtAnEndOrBesideAnother()
{
    const MainMenu menu;
    const std::unique_ptr<QMenuBar> bar(menu.makeMenuBar());
    const auto separators = [](const QMenu* of) {
        QString row;
        for (const QAction* action : of->actions()) {
            row += action->isSeparator() ? QLatin1Char('-') : QLatin1Char('.');
        }
        return row;
    };
    for (int round = 0; round < 2; ++round) { // without the recent folders, and with them
        for (const QAction* entry : bar->actions()) {
            const QString row = separators(entry->menu());
            QVERIFY2(!row.contains(QLatin1String("--")), qPrintable(entry->text()));
            QVERIFY(!row.startsWith(QLatin1Char('-')) && !row.endsWith(QLatin1Char('-')));
        }
        menu.insertIntoFileMenu(2, QStringLiteral("Recent Folders"));
    }
    QCOMPARE(bar->actions().at(1)->menu()->actions().at(2)->text(), QStringLiteral("Recent Folders"));
}

void ActionTableTest::theUpdateItemStandsAtIndexThree()
{
    const MainMenu menu;
    const std::unique_ptr<QMenuBar> bar(menu.makeMenuBar());
    const QAction* const item = bar->actions().first()->menu()->actions().at(3);
    QCOMPARE(item->objectName(), QStringLiteral("CheckUpdate"));
    QVERIFY(rowOf(item->objectName())->keys.isEmpty());
}

void ActionTableTest::commandsAreEnabledAsTheTableSays_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<bool>("withoutSlides");
    QTest::addColumn<bool>("withSlides");
    QTest::addColumn<bool>("inWindowMode");
    const QStringList needSlides{QStringLiteral("Play"), QStringLiteral("nextSlide"), QStringLiteral("previousSlide"),
        QStringLiteral("firstSlide")};
    for (const ActionRow& row : actionTable()) {
        const QString id = QString::fromLatin1(row.id);
        const bool needsSlides = needSlides.contains(id);
        const bool needsWindow = id == QLatin1String("FullScreen");
        QTest::newRow(row.id) << id << (!needsSlides && !needsWindow) << !needsWindow << true;
    }
}

void ActionTableTest::commandsAreEnabledAsTheTableSays()
{
    QFETCH(QString, id);
    QFETCH(bool, withoutSlides);
    QFETCH(bool, withSlides);
    QFETCH(bool, inWindowMode);
    const Needs needs = rowOf(id)->needs;
    CommandState state;
    QCOMPARE(isEnabled(needs, state), withoutSlides);
    state.slideCount = 3;
    QCOMPARE(isEnabled(needs, state), withSlides);
    state.windowMode = true;
    QCOMPARE(isEnabled(needs, state), inWindowMode);
}

void ActionTableTest::theFitCommandOfTheStoredModeIsChecked_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QString>("checked");
    QTest::newRow("fit") << keys::fitModeFit << QStringLiteral("ShrinkToFit");
    QTest::newRow("zoom") << keys::fitModeZoom << QStringLiteral("ZoomToFit");
    QTest::newRow("fill") << keys::fitModeFill << QStringLiteral("FillScreen");
    QTest::newRow("stretch") << keys::fitModeStretch << QStringLiteral("Stretch");
    QTest::newRow("unknown") << QStringLiteral("FitModeOther") << QString();
}

void ActionTableTest::theFitCommandOfTheStoredModeIsChecked()
{
    QFETCH(QString, mode);
    QFETCH(QString, checked);
    CommandState state;
    state.fitMode = mode;
    for (const ActionRow& row : actionTable()) {
        const QString id = QString::fromLatin1(row.id);
        QCOMPARE(isChecked(id, state), id == checked);
    }
}

void ActionTableTest::theLabelThatIsShownIsChecked_data()
{
    QTest::addColumn<bool>("path");
    QTest::addColumn<bool>("name");
    QTest::newRow("neither") << false << false;
    QTest::newRow("path") << true << false;
    QTest::newRow("name") << false << true;
    QTest::newRow("both, as somebody has written it") << true << true;
}

void ActionTableTest::theLabelThatIsShownIsChecked()
{
    QFETCH(bool, path);
    QFETCH(bool, name);
    CommandState state;
    state.showsFilePath = path;
    state.showsFileName = name;
    for (const ActionRow& row : actionTable()) {
        const QString id = QString::fromLatin1(row.id);
        const bool expected
            = (id == QLatin1String("ShowFilePath") && path) || (id == QLatin1String("ShowFileName") && name);
        QCOMPARE(isChecked(id, state), expected);
    }
}

void ActionTableTest::fullScreenNeedsAWindowThatIsNotFullScreenAlready_data()
{
    QTest::addColumn<bool>("windowMode");
    QTest::addColumn<bool>("isWindowFullScreen");
    QTest::addColumn<bool>("enabled");
    QTest::newRow("full screen") << false << true << false;
    QTest::newRow("no window") << false << false << false;
    QTest::newRow("window") << true << false << true;
    QTest::newRow("window that the window manager has made full screen") << true << true << false;
}

void ActionTableTest::fullScreenNeedsAWindowThatIsNotFullScreenAlready()
{
    QFETCH(bool, windowMode);
    QFETCH(bool, isWindowFullScreen);
    CommandState state;
    state.slideCount = 1;
    state.windowMode = windowMode;
    state.isWindowFullScreen = isWindowFullScreen;
    QTEST(isEnabled(rowOf(QStringLiteral("FullScreen"))->needs, state), "enabled");
}

void ActionTableTest::theTitleOfPlayFollowsTheTimer()
{
    CommandState state;
    QCOMPARE(withoutMnemonic(changingTitle(QStringLiteral("Play"), state)), QStringLiteral("Start Slideshow"));
    state.timerRuns = true;
    QCOMPARE(withoutMnemonic(changingTitle(QStringLiteral("Play"), state)), QStringLiteral("Stop Slideshow"));
    QVERIFY(changingTitle(QStringLiteral("nextSlide"), state).isEmpty());
}

void ActionTableTest::theTitleOfTheControlsFollowsThePanel()
{
    CommandState state;
    QCOMPARE(withoutMnemonic(changingTitle(QStringLiteral("ShowControls"), state)), QStringLiteral("Show Controls"));
    state.controlsVisible = true;
    QCOMPARE(withoutMnemonic(changingTitle(QStringLiteral("ShowControls"), state)), QStringLiteral("Hide Controls"));
}

void ActionTableTest::onlySteppingAndZoomingRepeatWhileTheKeyIsHeld()
{
    QStringList repeated;
    for (const ActionRow& row : actionTable()) {
        if (row.whileHeld == WhileHeld::Repeats) {
            repeated.append(QString::fromLatin1(row.id));
        }
    }
    QCOMPARE(repeated.join(QLatin1Char(' ')), QStringLiteral("nextSlide previousSlide ZoomIn"));
}

QTEST_MAIN(ActionTableTest)
#include "ActionTableTest.moc"
