#pragma once

#include <QMainWindow>
#include <QMenuBar>

#include <functional>
#include <memory>

namespace Ui {
class MainMenu;
}

namespace frameflow {

// The actions of the program and the menus that hold them, read from the interface file of the same name. There is one
// set of actions; every window gets a menu bar of its own with the same menus. Main thread only.
class MainMenu : public QObject
{
    Q_OBJECT

public:
    MainMenu();
    ~MainMenu() override;

    // An action by its object name; null when there is none of that name.
    QAction* action(const QString& id) const;
    QList<QAction*> actions() const;

    // A new item, without an action of its own, before what stands at that index now, or at the end. The menu owns it.
    QAction* insertIntoFileMenu(qsizetype index, const QString& text) const;

    // A new bar with all menus, owned by the caller.
    QMenuBar* makeMenuBar() const;
    // Gives a window the keys that hold everywhere (those with Control).
    void addKeysTo(QWidget* window) const;
    // Gives the slide view, while it has the focus, the keys that hold there alone as well.
    void addSlideKeysTo(QWidget* view) const;

    // Called before a menu opens and before a key is looked up, so that no action is out of date when it is used.
    void setRefresher(std::function<void()> refresh) { mRefresh = std::move(refresh); }

    // Whether the action that is being triggered is so because its key is held down, not for the first time.
    bool isKeyRepeated() const { return mKeyIsRepeated; }

protected:
    bool eventFilter(QObject* object, QEvent* event) override;

private:
    std::unique_ptr<QMainWindow> mForm; // never shown: it only owns what the interface file describes
    std::unique_ptr<Ui::MainMenu> mUi;
    std::function<void()> mRefresh;
    bool mKeyIsRepeated = false;
};

} // namespace frameflow
