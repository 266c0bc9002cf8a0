#include "AssertionFailure.h"
#include "ProbeApplications.h"
#include "SettingsKeys.h"
#include "TestFiles.h"
#include "UserDefaults.h"
#include "WebAddresses.h"
#include "WelcomeController.h"

#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>

#include <optional>

using namespace frameflow;

namespace {

class Chosen final : public WelcomeControllerDelegate
{
public:
    void openSelected() override { ++opened; }
    void recentSelected(qsizetype index) override { rows.append(index); }

    int opened = 0;
    QList<qsizetype> rows;
};

// Source and message of the assertion that the function raises.
std::optional<QPair<QString, QString>> assertionOf(const std::function<void()>& function)
{
    try {
        function();
    } catch (const AssertionFailure& failure) {
        return QPair<QString, QString>(QString::fromStdString(failure.source()), QString::fromUtf8(failure.what()));
    }
    return std::nullopt;
}

} // namespace

class WelcomeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void withoutFoldersTheDescriptionStandsInTheirPlace();
    void foldersTakeThePlaceOfTheDescription();
    void clearingWhileTheWindowIsOpenBringsTheDescriptionBack();
    void eachFolderIsARow();
    void aClickOnARowOpensIt();
    void aDoubleClickIsOneClick();
    void aClickBelowTheLastRowDoesNothing();
    void keysOpenTheRowThatTheyStandOn_data();
    void keysOpenTheRowThatTheyStandOn();
    void theRowIsHandedOnAsItIs();
    void theButtonOpensTheOpenPanel();
    void theStorePageOpensInTheBrowser();
    void theVersionLineIsShown();
    void mistakesAreCaught_data();
    void mistakesAreCaught();
    void withoutADelegateNothingHappens();
    void closingHidesTheWindowAndTells();
    void theBoxIsTheSetting();
    void namesAreShownAsTextWhateverTheyHold();
    void everyControlHasANameAndAKey();
    void theTabKeyGoesRoundTheControls();
    void theWindowFitsASmallScreenInBothDirections_data();
    void theWindowFitsASmallScreenInBothDirections();

private:
    QTableView& table() const { return *mController->mRecentsTableView(); }
    QPoint rowCentre(int row) const { return table().visualRect(table().model()->index(row, 0)).center(); }
    // What is opened in a browser.
    QByteArrayList opened() const { return mBrowser->openedBy("browser"); }
    void showTwo()
    {
        mController->loadRecents({QStringLiteral("/pictures/b"), QStringLiteral("/pictures/a")});
        mController->showWindow();
        QVERIFY(QTest::qWaitForWindowActive(mController->window()));
    }

    std::unique_ptr<TestFolder> mFolder;
    std::unique_ptr<UserDefaults> mDefaults;
    std::unique_ptr<WelcomeController> mController;
    Chosen mChosen;
    std::unique_ptr<ProbeApplications> mBrowser;
};

void WelcomeTest::initTestCase()
{
    mBrowser = std::make_unique<ProbeApplications>();
    mBrowser->add("browser", "Network;", {"x-scheme-handler/https"}, "%u");
    mBrowser->setDefault("x-scheme-handler/https", "browser");
}

void WelcomeTest::init()
{
    mFolder = std::make_unique<TestFolder>();
    mDefaults = std::make_unique<UserDefaults>(QString::fromUtf8(mFolder->pathOf("frameflow.conf")));
    mController = std::make_unique<WelcomeController>(*mDefaults);
    mChosen = {};
    mController->setDelegate(&mChosen);
    mBrowser->forget();
}

void WelcomeTest::cleanup()
{
    mController.reset();
    mDefaults.reset();
}

void WelcomeTest::withoutFoldersTheDescriptionStandsInTheirPlace()
{
    mController->showWindow();
    QVERIFY(mController->mTableDescriptionLabel()->isVisible());
    QVERIFY(!mController->mTableDescriptionLabel()->text().isEmpty());
    QVERIFY(!table().isVisible());
    QCOMPARE(mController->numberOfRowsInTableView(), qsizetype(0));
}

void WelcomeTest::foldersTakeThePlaceOfTheDescription()
{
    showTwo();
    QVERIFY(!mController->mTableDescriptionLabel()->isVisible());
    QVERIFY(table().isVisible());
}

void WelcomeTest::clearingWhileTheWindowIsOpenBringsTheDescriptionBack()
{
    showTwo();
    mController->loadRecents({});
    QVERIFY(mController->mTableDescriptionLabel()->isVisible());
    QCOMPARE(table().model()->rowCount(), 0);
}

void WelcomeTest::eachFolderIsARow()
{
    showTwo();
    QCOMPARE(mController->numberOfRowsInTableView(), qsizetype(2));
    QCOMPARE(table().model()->rowCount(), 2);
    QCOMPARE(table().model()->columnCount(), 1);
    const QModelIndex second = table().model()->index(1, 0);
    QCOMPARE(mController->tableView(1), QStringLiteral("/pictures/a"));
    QCOMPARE(second.data().toString(), QStringLiteral("/pictures/a"));
    QCOMPARE(second.data(Qt::ToolTipRole).toString(), QStringLiteral("/pictures/a")); // where it is too long
    QCOMPARE(table().textElideMode(), Qt::ElideMiddle);
}

void WelcomeTest::aClickOnARowOpensIt()
{
    showTwo();
    QTest::mouseClick(table().viewport(), Qt::LeftButton, {}, rowCentre(1));
    QCOMPARE(mChosen.rows, QList<qsizetype>{1});
    QTest::mouseClick(table().viewport(), Qt::RightButton, {}, rowCentre(0));
    QCOMPARE(mChosen.rows, QList<qsizetype>{1});
}

void WelcomeTest::aDoubleClickIsOneClick()
{
    showTwo();
    for (int i = 0; i < 2; ++i) {
        QTest::mouseClick(table().viewport(), Qt::LeftButton, {}, rowCentre(1));
        mController->loadRecents({QStringLiteral("/pictures/a"), QStringLiteral("/pictures/b")}); // as an opening does
        QTest::mouseDClick(table().viewport(), Qt::LeftButton, {}, rowCentre(1));
        QTest::mouseRelease(table().viewport(), Qt::LeftButton, {}, rowCentre(1));
        QCOMPARE(mChosen.rows, QList<qsizetype>(i + 1, 1));
    }
}

void WelcomeTest::aClickBelowTheLastRowDoesNothing()
{
    showTwo();
    const QPoint below = rowCentre(1) + QPoint(0, table().rowHeight(1) * 2);
    QVERIFY(table().viewport()->rect().contains(below));
    QTest::mouseClick(table().viewport(), Qt::LeftButton, {}, below);
    QVERIFY(mChosen.rows.isEmpty());
}

void WelcomeTest::keysOpenTheRowThatTheyStandOn_data()
{
    QTest::addColumn<Qt::Key>("key");
    QTest::newRow("Return") << Qt::Key_Return;
    QTest::newRow("Enter") << Qt::Key_Enter;
    QTest::newRow("Space") << Qt::Key_Space;
}

void WelcomeTest::keysOpenTheRowThatTheyStandOn()
{
    QFETCH(Qt::Key, key);
    showTwo();
    table().setFocus();
    QTRY_VERIFY(table().hasFocus());
    QTest::keyClick(&table(), Qt::Key_Down);
    QTest::keyClick(&table(), Qt::Key_Down);
    QTest::keyClick(&table(), key);
    QCOMPARE(mChosen.rows, QList<qsizetype>{1});
    QCOMPARE(mChosen.opened, 0);
}

void WelcomeTest::theRowIsHandedOnAsItIs()
{
    mController->openRecent(-1);
    mController->openRecent(7);
    QCOMPARE(mChosen.rows, (QList<qsizetype>{-1, 7}));
}

void WelcomeTest::theButtonOpensTheOpenPanel()
{
    showTwo();
    mController->window()->findChild<QPushButton*>(QStringLiteral("OpenFolder"))->click();
    QCOMPARE(mChosen.opened, 1);
    QTest::keyClick(mController->window(), Qt::Key_O, Qt::AltModifier);
    QTRY_COMPARE(mChosen.opened, 2);
}

void WelcomeTest::theStorePageOpensInTheBrowser()
{
    mController->window()->findChild<QPushButton*>(QStringLiteral("OpenAppStore"))->click();
    QTRY_COMPARE(opened(), QByteArrayList{webAddresses::storePage});
    QVERIFY(opened().first().startsWith("https://"));
}

void WelcomeTest::theVersionLineIsShown()
{
    mController->loadVersionText(QStringLiteral("Version 2.4"));
    QCOMPARE(mController->mVersionText()->text(), QStringLiteral("Version 2.4"));
}

void WelcomeTest::mistakesAreCaught_data()
{
    using Mistake = std::function<void(WelcomeController&)>;
    const QString range
        = QStringLiteral("Invalid parameter not satisfying: rowIndex >= 0 && rowIndex < [self.mRecents count]");
    QTest::addColumn<Mistake>("mistake");
    QTest::addColumn<QString>("message");
    QTest::newRow("no version text") << Mistake([](auto& welcome) { welcome.loadVersionText(QString()); })
                                     << QStringLiteral("versionText should not be NULL");
    QTest::newRow("an empty version text")
        << Mistake([](auto& welcome) { welcome.loadVersionText(QString::fromUtf8("")); })
        << QStringLiteral("versionText should not be empty");
    QTest::newRow("a row before the first") << Mistake([](auto& welcome) { welcome.tableView(-1); }) << range;
    QTest::newRow("a row after the last") << Mistake([](auto& welcome) { welcome.tableView(2); }) << range;
    QTest::newRow("no window") << Mistake([](auto& welcome) {
        delete welcome.window();
        welcome.windowDidLoad();
    }) << QStringLiteral("Invalid parameter not satisfying: self.window != nil");
}

void WelcomeTest::mistakesAreCaught()
{
    QFETCH(std::function<void(WelcomeController&)>, mistake);
    QFETCH(QString, message);
    showTwo();
    const auto raised = assertionOf([&] { mistake(*mController); });
    QVERIFY(raised);
    QCOMPARE(raised->first, QStringLiteral("WelcomeController"));
    QCOMPARE(raised->second, message);
}

void WelcomeTest::withoutADelegateNothingHappens()
{
    mController->setDelegate(nullptr);
    mController->openRecent(0);
    mController->OpenFolder();
    QVERIFY(mController->delegate() == nullptr);
}

void WelcomeTest::closingHidesTheWindowAndTells()
{
    showTwo();
    const QSignalSpy closed(mController.get(), &WelcomeController::closed);
    mController->window()->close();
    QCOMPARE(closed.count(), 1);
    QVERIFY(!mController->window()->isVisible());
    mController->showWindow(); // it is used again
    QVERIFY(mController->window()->isVisible());
    QCOMPARE(mController->numberOfRowsInTableView(), qsizetype(2));
}

void WelcomeTest::theBoxIsTheSetting()
{
    auto* const box = mController->window()->findChild<QCheckBox*>(QStringLiteral("showWelcome"));
    QVERIFY(box->isChecked()); // absent
    mDefaults->setValue(keys::showWelcome, false);
    QVERIFY(!box->isChecked());
    box->click();
    QCOMPARE(mDefaults->value(keys::showWelcome), QVariant(true));
    box->click();
    QCOMPARE(mDefaults->value(keys::showWelcome), QVariant(false));
}

void WelcomeTest::namesAreShownAsTextWhateverTheyHold()
{
    const QString name = QStringLiteral("<h1>&a</h1>");
    mController->loadMessage(name, name, name);
    mController->loadVersionText(name);
    mController->showWindow();
    for (const char* label : {"title", "message", "mVersionText"}) {
        const auto* const shown = mController->window()->findChild<QLabel*>(QString::fromLatin1(label));
        QCOMPARE(shown->text(), name);
        QCOMPARE(shown->textFormat(), Qt::PlainText);
    }
}

void WelcomeTest::everyControlHasANameAndAKey()
{
    QSet<QString> keysSeen;
    for (const QAbstractButton* control :
        {mController->window()->findChild<QAbstractButton*>(QStringLiteral("OpenFolder")),
            mController->window()->findChild<QAbstractButton*>(QStringLiteral("OpenAppStore")),
            mController->window()->findChild<QAbstractButton*>(QStringLiteral("showWelcome"))}) {
        QVERIFY(!control->shortcut().isEmpty());
        keysSeen.insert(control->shortcut().toString());
    }
    QCOMPARE(keysSeen.size(), 3);
    QVERIFY(!table().accessibleName().isEmpty());
    QVERIFY(!mController->window()->windowTitle().isEmpty());
}

void WelcomeTest::theTabKeyGoesRoundTheControls()
{
    showTwo();
    const auto* const first = mController->window()->findChild<QWidget*>(QStringLiteral("OpenFolder"));
    QStringList names;
    const QWidget* widget = first;
    do {
        if ((widget->focusPolicy() & Qt::TabFocus) != 0 && widget->isVisible()) {
            names.append(widget->objectName());
        }
        widget = widget->nextInFocusChain();
    } while (widget != first);
    QCOMPARE(names,
        (QStringList{QStringLiteral("OpenFolder"), QStringLiteral("mRecentsTableView"), QStringLiteral("showWelcome"),
            QStringLiteral("OpenAppStore")}));
}

void WelcomeTest::theWindowFitsASmallScreenInBothDirections_data()
{
    QTest::addColumn<Qt::LayoutDirection>("direction");
    QTest::newRow("left to right") << Qt::LeftToRight;
    QTest::newRow("right to left") << Qt::RightToLeft;
}

void WelcomeTest::theWindowFitsASmallScreenInBothDirections()
{
    QFETCH(Qt::LayoutDirection, direction);
    mController->window()->setLayoutDirection(direction);
    mController->loadRecents({QString(4000, QLatin1Char('x')), QStringLiteral("/a")});
    mController->loadMessage(QStringLiteral("Nothing to show"), QString(60, QLatin1Char('x')), {});
    mController->loadVersionText(QStringLiteral("Version 2.4"));
    mController->showWindow();
    mController->window()->resize(10, 10);
    QVERIFY(mController->window()->width() <= 600);
    QVERIFY(mController->window()->height() <= 400);
    const QRect inside = mController->window()->rect();
    for (const QWidget* child : mController->window()->findChildren<QWidget*>(Qt::FindDirectChildrenOnly)) {
        QVERIFY2(!child->isVisible() || inside.contains(child->geometry()), qPrintable(child->objectName()));
    }
    const auto* const open = mController->window()->findChild<QWidget*>(QStringLiteral("showWelcome"));
    const auto* const store = mController->window()->findChild<QWidget*>(QStringLiteral("OpenAppStore"));
    QCOMPARE(open->x() < store->x(), direction == Qt::LeftToRight);
    // Paths are read from the left in both.
    const QString shown = table().model()->index(1, 0).data().toString();
    QCOMPARE(shown, direction == Qt::LeftToRight ? QStringLiteral("/a") : QStringLiteral("\u2066/a\u2069"));
}

QTEST_MAIN(WelcomeTest)
#include "WelcomeTest.moc"
