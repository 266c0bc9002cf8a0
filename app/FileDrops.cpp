#include "FileDrops.h"

#include "FileUrls.h"
#include "MainThread.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QMimeData>
#include <QPainter>
#include <QWindow>

#include <algorithm>
#include <chrono>
#include <initializer_list>
#include <utility>

namespace frameflow {

namespace {

// From when the other program lets go of the mouse until it says that it has dropped.
constexpr std::chrono::milliseconds lastDropTime(300);

// Above all that the window shows.
class DropFrame : public QWidget
{
public:
    explicit DropFrame(QWidget* window) : QWidget(window)
    {
        setObjectName(QStringLiteral("dropFrame"));
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setGeometry(window->rect());
        raise();
        show();
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        const QColor colour = palette().color(QPalette::Active, QPalette::Highlight);
        QColor veil = colour;
        veil.setAlphaF(0.15F);
        painter.fillRect(rect(), veil);
        // Light beside dark: it is seen over any picture.
        painter.setPen(QPen(Qt::white, 2 * (width + 1)));
        painter.drawRect(rect());
        painter.setPen(QPen(colour, 2 * width));
        painter.drawRect(rect());
    }

private:
    static constexpr int width = 5;
};

QList<FileUrl> filesIn(const QMimeData* data)
{
    QList<QByteArray> urls;
    const auto lines = data->data(QStringLiteral("text/uri-list")).split('\n');
    for (const QByteArray& line : lines) {
        urls.append(line.trimmed());
    }
    return filesFromUrls(urls);
}

bool isOneOf(Qt::WindowType type, std::initializer_list<Qt::WindowType> types)
{
    return std::find(types.begin(), types.end(), type) != types.end();
}

// Whether a message has to be answered first.
bool isBlocked()
{
    const QWidget* modal = QApplication::activeModalWidget();
    return modal != nullptr && modal->windowModality() == Qt::ApplicationModal;
}

// That leaves the files where they are; none when the other program wants them moved.
Qt::DropAction harmlessAction(const QDropEvent& event)
{
    for (const Qt::DropAction action : {Qt::CopyAction, Qt::LinkAction}) {
        if (event.possibleActions().testFlag(action)) {
            return action;
        }
    }
    return Qt::IgnoreAction;
}

bool accept(QDropEvent* event)
{
    event->setDropAction(harmlessAction(*event));
    event->accept();
    return true;
}

} // namespace

FileDrops::FileDrops(std::function<void(const QList<FileUrl>&)> dropped) : mDropped(std::move(dropped))
{
    mAbandoned.setSingleShot(true);
    mAbandoned.setInterval(lastDropTime);
    connect(&mAbandoned, &QTimer::timeout, this, &FileDrops::forget);
    qApp->installEventFilter(this);
}

FileDrops::~FileDrops()
{
    left();
}

bool FileDrops::eventFilter(QObject* object, QEvent* event)
{
    auto* const widget = object->isWidgetType() ? static_cast<QWidget*>(object) : nullptr;
    if (widget == nullptr) {
        return false;
    }
    switch (event->type()) {
    case QEvent::Show:
        if (isOneOf(widget->windowType(), {Qt::Window, Qt::Dialog, Qt::Tool})) {
            widget->setAcceptDrops(true);
        }
        return false;
    case QEvent::DragEnter:
        return entered(widget->window(), static_cast<QDropEvent*>(event));
    case QEvent::DragMove:
        if (mAbandoned.isActive()) {
            return entered(widget->window(), static_cast<QDropEvent*>(event)); // by another program
        }
        return !mFilesOver.isEmpty() && accept(static_cast<QDropEvent*>(event));
    case QEvent::DragLeave:
        left();
        return false;
    case QEvent::MouseMove:
    case QEvent::MouseButtonPress:
        mouseCameBack();
        return false;
    case QEvent::Drop:
        return !mFilesOver.isEmpty() && dropped(static_cast<QDropEvent*>(event));
    default:
        return false;
    }
}

// Asked once: the other program has to send all names for it, and may have gone at the end.
bool FileDrops::entered(QWidget* window, QDropEvent* event)
{
    left();
    event->ignore(); // the drag before may have been taken
    // What is dragged within this program is left to the window that it comes from.
    if (event->source() != nullptr) {
        return false;
    }
    mWindowOver = window;
    if (harmlessAction(*event) != Qt::IgnoreAction && !isBlocked()) {
        mFilesOver = filesIn(event->mimeData());
    }
    if (mFilesOver.isEmpty()) {
        return false;
    }
    mFrame = new DropFrame(window);
    return accept(event);
}

bool FileDrops::dropped(QDropEvent* event)
{
    // Later: the window may go with what it shows.
    postToMainThread([self = QPointer(this), files = mFilesOver] {
        if (self) {
            self->mDropped(files);
        }
    });
    left();
    return accept(event);
}

void FileDrops::left()
{
    mAbandoned.stop();
    mWindowOver = nullptr;
    mFilesOver.clear();
    delete mFrame;
}

// While something is dragged the other program has the mouse: it has ended without a word, or drops in this moment.
void FileDrops::mouseCameBack()
{
    delete mFrame;
    if (mWindowOver && !mAbandoned.isActive()) {
        mAbandoned.start();
    }
}

void FileDrops::forget()
{
    QWindow* const window = mWindowOver ? mWindowOver->windowHandle() : nullptr;
    left();
    // Without it the toolkit would take what another program drags here for the same drag.
    if (window != nullptr) {
        QDragLeaveEvent leave;
        QCoreApplication::sendEvent(window, &leave);
    }
}

} // namespace frameflow
