#include "MainMenu.h"

#include "ui_MainMenu.h"

#include <QApplication>
#include <QKeyEvent>

#include <algorithm>

namespace frameflow {

namespace {

bool holdsEverywhere(const QAction* action)
{
    const auto keys = action->shortcuts();
    return !keys.isEmpty() && std::all_of(keys.begin(), keys.end(), [](const QKeySequence& key) {
        return key[0].keyboardModifiers().testFlag(Qt::ControlModifier);
    });
}

} // namespace

MainMenu::MainMenu() : mForm(std::make_unique<QMainWindow>()), mUi(std::make_unique<Ui::MainMenu>())
{
    mUi->setupUi(mForm.get());
    qApp->installEventFilter(this);
    for (const QAction* entry : mUi->menubar->actions()) {
        connect(entry->menu(), &QMenu::aboutToShow, this, [this] {
            if (mRefresh) {
                mRefresh();
            }
        });
    }
}

MainMenu::~MainMenu() = default;

QAction* MainMenu::action(const QString& id) const
{
    return mForm->findChild<QAction*>(id, Qt::FindDirectChildrenOnly);
}

QList<QAction*> MainMenu::actions() const
{
    return mForm->findChildren<QAction*>(Qt::FindDirectChildrenOnly);
}

QAction* MainMenu::insertIntoFileMenu(qsizetype index, const QString& text) const
{
    auto* const item = new QAction(text, mUi->mFileMenu);
    mUi->mFileMenu->insertAction(mUi->mFileMenu->actions().value(index), item);
    return item;
}

QMenuBar* MainMenu::makeMenuBar() const
{
    auto* bar = new QMenuBar;
    bar->addActions(mUi->menubar->actions());
    return bar;
}

void MainMenu::addKeysTo(QWidget* window) const
{
    for (QAction* action : actions()) {
        if (holdsEverywhere(action)) {
            window->addAction(action);
        }
    }
}

void MainMenu::addSlideKeysTo(QWidget* view) const
{
    for (QAction* action : actions()) {
        if (!action->shortcuts().isEmpty() && !holdsEverywhere(action)) {
            action->setShortcutContext(Qt::WidgetShortcut);
            view->addAction(action);
        }
    }
}

bool MainMenu::eventFilter(QObject* object, QEvent* event)
{
    switch (event->type()) {
    case QEvent::ShortcutOverride:
        mKeyIsRepeated = static_cast<const QKeyEvent*>(event)->isAutoRepeat();
        if (mRefresh) {
            mRefresh();
        }
        break;
    case QEvent::KeyRelease:
        mKeyIsRepeated = mKeyIsRepeated && static_cast<const QKeyEvent*>(event)->isAutoRepeat();
        break;
    case QEvent::MouseButtonPress:
        mKeyIsRepeated = false;
        break;
    default:
        break;
    }
    return QObject::eventFilter(object, event);
}

} // namespace frameflow
