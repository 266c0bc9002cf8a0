#pragma once

#include "FileUrl.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QWidget>

#include <functional>

class QDropEvent;
class QMimeData;

namespace frameflow {

// Takes files and folders that are dragged from other programs onto any window of this one, and shows a frame in the
// window while it would take them. All else is left to the window's own fields, or refused. Main thread only.
class FileDrops : public QObject
{
    Q_OBJECT

public:
    // The handler is called from the event loop, after the drop.
    explicit FileDrops(std::function<void(const QList<FileUrl>&)> dropped);
    ~FileDrops() override;

protected:
    bool eventFilter(QObject* object, QEvent* event) override;

private:
    bool entered(QWidget* window, QDropEvent* event);
    bool dropped(QDropEvent* event);
    void left();
    void mouseCameBack();
    void forget();

    const std::function<void(const QList<FileUrl>&)> mDropped;
    QPointer<QWidget> mWindowOver; // over which something is dragged, taken or not
    QList<FileUrl> mFilesOver; // while they are dragged over a window that would take them
    QPointer<QWidget> mFrame; // a child of the window
    QTimer mAbandoned; // the mouse is here again
};

} // namespace frameflow
