#include "ChooseScreenWindow.h"
#include "ControlPanel.h"
#include "ControllerFixture.h"
#include "KLGridWindowController.h"
#include "PreferenceController.h"

#include <QAbstractButton>
#include <QAction>
#include <QLabel>
#include <QMenuBar>
#include <QSet>
#include <QShortcut>
#include <QTest>

using namespace frameflow;

// In each window of the program a key, or a letter with Alt, leads to one thing only.
class KeysTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { mFixture.reset(); }

    void aKeyIsGivenOnceInEachWindow_data();
    void aKeyIsGivenOnceInEachWindow();
    void aLetterIsGivenOnceInEachWindowWithMenus_data();
    void aLetterIsGivenOnceInEachWindowWithMenus();
    void everyWindowWithMenusHasThemAll_data();
    void everyWindowWithMenusHasThemAll();
    void keysWithoutControlActInTheShowAlone();

private:
    QWidget* window(const QString& name) const;
    static void addWindows(bool withMenusOnly);

    std::unique_ptr<ControllerFixture> mFixture;
};

void KeysTest::init()
{
    mFixture = std::make_unique<ControllerFixture>();
    mFixture->addPictures({"1.png", "2.png"});
    auto& controller = mFixture->start();
    QVERIFY(mFixture->openFolder());
    controller.ShowGridScreen();
    controller.ShowControls();
    controller.ShowChooseScreen();
    controller.ShowPreferences();
    controller.ShowWelcomeScreen();
}

void KeysTest::addWindows(bool withMenusOnly)
{
    QTest::addColumn<QString>("name");
    for (const char* name : {"show", "welcome", "grid", "controls"}) {
        QTest::newRow(name) << QString::fromLatin1(name);
    }
    if (!withMenusOnly) {
        QTest::newRow("choose display") << QStringLiteral("choose display");
        QTest::newRow("preferences") << QStringLiteral("preferences");
    }
}

QWidget* KeysTest::window(const QString& name) const
{
    const auto& controller = mFixture->controller();
    const QMap<QString, QWidget*> windows{{QStringLiteral("show"), controller.screenWindow()},
        {QStringLiteral("welcome"), controller.welcomeController()->window()},
        {QStringLiteral("grid"), controller.gridController()->window()},
        {QStringLiteral("controls"), controller.controlWindow()},
        {QStringLiteral("choose display"), controller.chooseScreenWindow()},
        {QStringLiteral("preferences"), controller.preferenceController()->window()}};
    return windows.value(name);
}

void KeysTest::aKeyIsGivenOnceInEachWindow_data()
{
    addWindows(false);
}

void KeysTest::aKeyIsGivenOnceInEachWindow()
{
    QFETCH(const QString, name);
    QWidget* const top = window(name);
    QVERIFY(top != nullptr);
    // By the widget in which it holds, the window itself for all of it.
    QMap<QString, QSet<const QObject*>> givers;
    QList<QWidget*> widgets = top->findChildren<QWidget*>();
    widgets.append(top);
    for (const QWidget* widget : widgets) {
        if (qobject_cast<const QMenu*>(widget) != nullptr || qobject_cast<const QMenuBar*>(widget) != nullptr) {
            continue;
        }
        for (const QAction* action : widget->actions()) {
            for (const QKeySequence& key : action->shortcuts()) {
                givers[key.toString()].insert(action);
            }
        }
    }
    for (const QShortcut* shortcut : top->findChildren<QShortcut*>()) {
        if (shortcut->context() != Qt::WidgetShortcut) {
            givers[shortcut->key().toString()].insert(shortcut);
        }
    }
    QVERIFY(givers.contains(QStringLiteral("Ctrl+Q")));
    for (auto key = givers.begin(); key != givers.end(); ++key) {
        QVERIFY2(key->size() == 1, qPrintable(key.key()));
    }
}

void KeysTest::aLetterIsGivenOnceInEachWindowWithMenus_data()
{
    addWindows(true);
}

void KeysTest::aLetterIsGivenOnceInEachWindowWithMenus()
{
    QFETCH(const QString, name);
    QWidget* const top = window(name);
    QList<QKeySequence> letters;
    for (const QAction* entry : top->findChild<QMenuBar*>()->actions()) {
        letters.append(QKeySequence::mnemonic(entry->text()));
    }
    for (const auto* button : top->findChildren<QAbstractButton*>()) {
        letters.append(QKeySequence::mnemonic(button->text()));
    }
    for (const auto* label : top->findChildren<QLabel*>()) {
        if (label->buddy() != nullptr) {
            letters.append(QKeySequence::mnemonic(label->text()));
        }
    }
    letters.removeAll(QKeySequence());
    QVERIFY(letters.size() >= 5);
    for (const QKeySequence& letter : letters) {
        QVERIFY2(letters.count(letter) == 1, qPrintable(letter.toString()));
    }
}

void KeysTest::everyWindowWithMenusHasThemAll_data()
{
    addWindows(true);
}

void KeysTest::everyWindowWithMenusHasThemAll()
{
    QFETCH(const QString, name);
    const auto* const bar = window(name)->findChild<QMenuBar*>();
    QVERIFY(bar != nullptr);
    QCOMPARE(bar->actions().size(), 5);
    QCOMPARE(bar->actions(), mFixture->controller().screenWindow()->findChild<QMenuBar*>()->actions());
}

void KeysTest::keysWithoutControlActInTheShowAlone()
{
    const auto& menu = mFixture->controller().mainMenu();
    for (const char* id : {"trashSlide", "cancel", "nextSlide", "ZoomIn", "FullScreen", "showHelp"}) {
        QAction* const action = menu.action(QString::fromLatin1(id));
        QCOMPARE(action->shortcutContext(), Qt::WidgetShortcut);
        for (const char* name : {"welcome", "grid", "controls", "choose display", "preferences"}) {
            QVERIFY2(!window(QString::fromLatin1(name))->actions().contains(action), id);
        }
        QVERIFY(mFixture->controller().slideView()->actions().contains(action));
    }
}

QTEST_MAIN(KeysTest)
#include "KeysTest.moc"
