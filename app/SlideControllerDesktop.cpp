#include "ControlPanel.h"
#include "OpenPanel.h"
#include "SlideController.h"
#include "WindowActivation.h"

#include <QApplication>

#include <algorithm>
#include <utility>

namespace frameflow {

namespace {

bool isWindow(const QWidget* widget)
{
    return widget->isVisible() && (widget->windowType() == Qt::Window || widget->windowType() == Qt::Dialog);
}

QList<QWidget*> visibleWindows()
{
    QList<QWidget*> windows = QApplication::topLevelWidgets();
    windows.removeIf([](const QWidget* widget) { return !isWindow(widget); });
    return windows;
}

} // namespace

// ---- What the desktop asks for, and later starts of the program

void SlideController::applicationActivate(const LaunchToken& token)
{
    mLaunchToken = token;
    if (isAnyWindowVisible() || mFileSequence.isCollecting() || mPendingClears > 0) {
        comeToFront(frontWindow());
    } else {
        applicationDidFinishLaunching();
    }
}

void SlideController::applicationOpen(const QList<FileUrl>& files, const LaunchToken& token)
{
    if (files.isEmpty()) {
        applicationActivate(token);
        return;
    }
    applicationOpenFiles(files);
    // Where there is no show yet, its window comes to the front.
    mLaunchToken = token;
    comeToFront(mScreenWindow.get());
}

bool SlideController::applicationPerform(const QByteArray& command, const LaunchToken& token)
{
    const auto& rows = actionTable();
    const auto row
        = std::find_if(rows.begin(), rows.end(), [&](const ActionRow& candidate) { return command == candidate.id; });
    // What is moved to the Trash is for the person to say who sees it.
    if (row == rows.end() || row->whileWaiting == WhileWaiting::Refused) {
        return false;
    }
    if (isEnabled(row->needs, commandState())) {
        const QList<QWidget*> before = visibleWindows();
        perform(*row);
        const auto after = visibleWindows();
        for (QWidget* window : after) {
            if (!before.contains(window)) {
                bringToFront(window, token);
            }
        }
    }
    scheduleVisibilityCheck();
    return true;
}

// Not every window manager moves what stood on a display that is gone. Full screen, a show covers its own.
void SlideController::bringWindowsIntoSight()
{
    const auto screens = QGuiApplication::screens();
    if (screens.isEmpty()) {
        return;
    }
    QList<QWidget*> windows = visibleWindows();
    if (QWidget* controls = controlWindow(); controls != nullptr && controls->isVisible()) {
        windows.append(controls);
    }
    for (QWidget* window : windows) {
        if (window == mScreenWindow.get() && !mWindowMode) {
            continue;
        }
        const QRect frame = window->frameGeometry();
        // Some managers leave an edge in sight.
        const bool isSeen = std::any_of(screens.begin(), screens.end(),
            [&](const QScreen* screen) { return screen->geometry().contains(frame.center()); });
        if (!isSeen) {
            const QRect room = QGuiApplication::primaryScreen()->availableGeometry();
            window->move(room.center() - QRect(QPoint(), frame.size()).center());
        }
    }
}

QWidget* SlideController::frontWindow() const
{
    if (QWidget* modal = QApplication::activeModalWidget()) {
        return modal;
    }
    if (mScreenWindow) {
        return mScreenWindow.get();
    }
    return visibleWindows().value(0);
}

void SlideController::comeToFront(QWidget* window)
{
    if (window != nullptr && mLaunchToken) {
        bringToFront(window, *std::exchange(mLaunchToken, std::nullopt));
    }
}

bool SlideController::isAnyWindowVisible()
{
    return !visibleWindows().isEmpty();
}

// ---- What a person chooses

void SlideController::openChosen(const QList<FileUrl>& chosen)
{
    Stop();
    endSlideShow();
    if (!chosen.isEmpty()) {
        collect(CollectionRequest::Adder::Urls, chosen);
        rememberRecentURLs(chosen);
    }
}

void SlideController::openDropped(const QList<FileUrl>& files)
{
    if (mOpenPanel) {
        mOpenPanel->reject();
    }
    openChosen(files);
}

} // namespace frameflow
