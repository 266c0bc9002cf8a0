// A small program for the tests of what drives programs: it shows known colours and says what reaches it.

#include <QApplication>
#include <QDrag>
#include <QKeyEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QTimer>
#include <QWheelEvent>
#include <QWidget>

#include <cstdio>
#include <cstdlib>

namespace {

template <typename... Values>
void say(const char* format, Values... values)
{
    std::printf(format, values...);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

class Window : public QWidget
{
protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.fillRect(rect(), QColor(200, 30, 40));
        painter.fillRect(QRect(10, 20, 50, 60), QColor(10, 120, 250));
    }

    void keyPressEvent(QKeyEvent* event) override
    {
        const auto keys = QKeySequence(event->keyCombination()).toString();
        say("key %s", qPrintable(keys));
        if (event->key() == Qt::Key_F) {
            setWindowState(windowState() ^ Qt::WindowFullScreen);
        }
        if (event->key() == Qt::Key_Q) {
            std::exit(42);
        }
    }

    void mousePressEvent(QMouseEvent* event) override
    {
        say("press %d at %d,%d", int(event->button()), int(event->position().x()), int(event->position().y()));
        // "TEXT TYPE": what is dragged away from here.
        const QStringList dragged = QApplication::arguments().mid(2, 2);
        if (dragged.size() == 2) {
            auto* const mime = new QMimeData;
            mime->setData(dragged.at(1), dragged.at(0).toUtf8());
            auto* const drag = new QDrag(this);
            drag->setMimeData(mime);
            const auto action = drag->exec(Qt::CopyAction | Qt::MoveAction, Qt::MoveAction);
            QGuiApplication::sync(); // who reads the line may end this program before the drop is sent
            say("dropped %d", int(action));
        }
    }
    void mouseReleaseEvent(QMouseEvent* event) override
    {
        say("release at %d,%d", int(event->position().x()), int(event->position().y()));
    }
    void mouseDoubleClickEvent(QMouseEvent*) override { say("double click"); }
    void wheelEvent(QWheelEvent* event) override { say("wheel %d", event->angleDelta().y() / 120); }
    void closeEvent(QCloseEvent*) override { say("close"); }
};

} // namespace

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    const QStringList arguments = QApplication::arguments();
    Window window;
    window.setWindowTitle(arguments.value(1, QStringLiteral("Stand-in")));
    window.resize(300, 200);
    const auto screens = QGuiApplication::screens();
    for (const auto* screen : screens) {
        const QRect place = screen->geometry();
        say("screen %d,%d %dx%d", place.x(), place.y(), place.width(), place.height());
    }
    say("variable %s", qPrintable(qEnvironmentVariable("STAND_IN_VARIABLE")));
    QTimer busy;
    if (arguments.contains(QStringLiteral("busy"))) {
        busy.start(5);
    }
    window.show();
    return QApplication::exec();
}
