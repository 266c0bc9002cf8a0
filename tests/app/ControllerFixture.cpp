#include "ControllerFixture.h"

#include "ReadAhead.h"

#include <QAction>
#include <QApplication>
#include <QImage>
#include <QKeyEvent>
#include <QTest>

#include <algorithm>

namespace frameflow {

ControllerFixture::ControllerFixture()
    : mDefaults(std::make_unique<UserDefaults>(QString::fromUtf8(mSettingsFolder.pathOf("frameflow.conf"))))
{
    set(keys::hintsShown, true);
    set(keys::autoStart, false);
    set(keys::sort, keys::sortByName);
    set(keys::transition, QStringLiteral("None"));
}

ControllerFixture::~ControllerFixture()
{
    mController.reset();
    // Windows are deleted later.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

FileUrl ControllerFixture::addPicture(const QByteArray& name, QColor color, QSize size) const
{
    const QByteArray path = folder.addFile(name);
    QImage picture(size, QImage::Format_RGB32);
    picture.fill(color);
    if (!picture.save(QString::fromUtf8(path))) {
        qFatal("cannot save %s", path.constData());
    }
    return FileUrl::fromPath(path);
}

void ControllerFixture::addPictures(const QList<QByteArray>& names) const
{
    for (const QByteArray& name : names) {
        addPicture(name);
    }
}

SlideController& ControllerFixture::start()
{
    mController
        = std::make_unique<SlideController>(*mDefaults, clock, QString::fromUtf8(resourceFolder.path()), updateServer);
    mController->awakeFromNib();
    return *mController;
}

bool ControllerFixture::readSettingsAnew()
{
    mController.reset();
    const bool isWritten = mDefaults->synchronize();
    mDefaults = std::make_unique<UserDefaults>(QString::fromUtf8(mSettingsFolder.pathOf("frameflow.conf")));
    return isWritten;
}

bool ControllerFixture::openFolder()
{
    return open({folder.url()});
}

bool ControllerFixture::openThree()
{
    addPictures({"1.png", "2.png", "3.png"});
    start();
    return openFolder();
}

bool ControllerFixture::open(const QList<FileUrl>& files)
{
    return collect(files) && rest();
}

bool ControllerFixture::collectFolder()
{
    return collect({folder.url()});
}

bool ControllerFixture::collect(const QList<FileUrl>& files)
{
    mController->applicationOpenFiles(files);
    const bool collected = QTest::qWaitFor([this] { return !mController->fileSequence().isCollecting(); }, 10000);
    QCoreApplication::processEvents(); // the show begins in the turn after
    return collected;
}

bool ControllerFixture::rest()
{
    return QTest::qWaitFor(
        [this] {
            if (mController->isWaitingForSlide()) {
                return false;
            }
            const auto* const view = mController->slideView();
            const auto files = ReadAhead::instance().files();
            return view == nullptr || std::all_of(files.begin(), files.end(), [&](const FileUrl& url) {
                return ReadAhead::instance().isReady({url, view->frameRule()});
            });
        },
        30000);
}

QList<QByteArray> ControllerFixture::filesAhead() const
{
    QList<QByteArray> names;
    for (const FileUrl& url : ReadAhead::instance().files()) {
        names.append(url.fileName().toByteArray());
    }
    return names;
}

bool ControllerFixture::waitUntilAhead(const QByteArray& name) const
{
    const AheadFile file{folder.urlOf(name), mController->slideView()->frameRule()};
    return QTest::qWaitFor([&] { return ReadAhead::instance().isReady(file); }, 20000);
}

QByteArray ControllerFixture::onScreen() const
{
    const KLLayerView* const view = mController->slideView();
    const KLImagePtr image = view != nullptr ? view->currentImage() : nullptr;
    return image ? image->mURL().fileName().toByteArray() : QByteArray();
}

void ControllerFixture::letTransitionEnd()
{
    QCoreApplication::processEvents();
    clock.advance(std::chrono::seconds(3));
    QCoreApplication::processEvents();
}

void ControllerFixture::press(int key, const QString& text, Qt::KeyboardModifiers modifiers)
{
    QKeyEvent event(QEvent::KeyPress, key, modifiers, text);
    QApplication::sendEvent(mController->slideView(), &event);
}

bool ControllerFixture::trigger(const char* id)
{
    QKeyEvent lookUp(QEvent::ShortcutOverride, Qt::Key_unknown, Qt::NoModifier);
    QApplication::sendEvent(mController->slideView(), &lookUp);
    QAction* action = mController->mainMenu().action(QString::fromLatin1(id));
    if (!action->isEnabled()) {
        return false;
    }
    action->trigger();
    return true;
}

QStringList ControllerFixture::visibleWindows() const
{
    QStringList names;
    for (const QWidget* widget : QApplication::topLevelWidgets()) {
        if (widget->isVisible()) {
            names.append(widget->objectName());
        }
    }
    names.sort();
    return names;
}

} // namespace frameflow
