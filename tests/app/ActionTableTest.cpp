#include "ActionTable.h"

#include "MainMenu.h"
#include "SettingsKeys.h"

#include <QAction>
#include <QSet>
#include <QTest>

using namespace frameflow;

class ActionTableTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void idsAreUniqueAndKeysDoNotCollide()
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
            }
        }
    }

    void everyActionOfTheMenuHasARowAndEveryRowAnAction()
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

    void commandsAreEnabledAsTheTableSays_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<bool>("withoutSlides");
        QTest::addColumn<bool>("withSlides");
        QTest::addColumn<bool>("inWindowMode");
        for (const char* id : {"Play", "nextSlide", "previousSlide", "firstSlide"}) {
            QTest::newRow(id) << QString::fromLatin1(id) << false << true << true;
        }
        QTest::newRow("FullScreen") << QStringLiteral("FullScreen") << false << false << true;
        for (const char* id :
            {"ShrinkToFit", "ZoomToFit", "FillScreen", "Stretch", "WindowMode", "openMenu", "cancel", "shuffle",
                "ShowGridScreen", "ShowChooseScreen", "quit", "AboutFrameflow", "CheckUpdate", "ShowPreferences"}) {
            QTest::newRow(id) << QString::fromLatin1(id) << true << true << true;
        }
    }

    void commandsAreEnabledAsTheTableSays()
    {
        QFETCH(QString, id);
        QFETCH(bool, withoutSlides);
        QFETCH(bool, withSlides);
        QFETCH(bool, inWindowMode);
        const auto& rows = actionTable();
        const auto row = std::find_if(
            rows.begin(), rows.end(), [&](const ActionRow& candidate) { return id == QLatin1String(candidate.id); });
        QVERIFY(row != rows.end());
        CommandState state;
        QCOMPARE(isEnabled(row->needs, state), withoutSlides);
        state.slideCount = 3;
        QCOMPARE(isEnabled(row->needs, state), withSlides);
        state.windowMode = true;
        QCOMPARE(isEnabled(row->needs, state), inWindowMode);
    }

    void theFitCommandOfTheStoredModeIsChecked_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<QString>("checked");
        QTest::newRow("fit") << keys::fitModeFit << QStringLiteral("ShrinkToFit");
        QTest::newRow("zoom") << keys::fitModeZoom << QStringLiteral("ZoomToFit");
        QTest::newRow("fill") << keys::fitModeFill << QStringLiteral("FillScreen");
        QTest::newRow("stretch") << keys::fitModeStretch << QStringLiteral("Stretch");
        QTest::newRow("unknown") << QStringLiteral("FitModeOther") << QString();
    }

    void theFitCommandOfTheStoredModeIsChecked()
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

    void theTitleOfPlayFollowsTheTimer()
    {
        CommandState state;
        QCOMPARE(changingTitle(QStringLiteral("Play"), state), QStringLiteral("Start Slideshow"));
        state.timerRuns = true;
        QCOMPARE(changingTitle(QStringLiteral("Play"), state), QStringLiteral("Stop Slideshow"));
        QVERIFY(changingTitle(QStringLiteral("nextSlide"), state).isEmpty());
    }
};

QTEST_MAIN(ActionTableTest)
#include "ActionTableTest.moc"
