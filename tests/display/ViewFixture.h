#pragma once

#include "KLImageCache.h"
#include "KLLayerView.h"
#include "ManualClock.h"
#include "Pictures.h"
#include "SettingsKeys.h"
#include "UserDefaults.h"

#include <QTest>

#include <memory>

namespace frameflow {

// A view with settings, files and a clock of its own.
struct ViewFixture
{
    explicit ViewFixture(QSize size = QSize(200, 100))
    {
        KLImageCache::purge();
        view = std::make_unique<KLLayerView>(defaults, clock);
        view->resize(size);
    }

    void setFitMode(const QVariant& mode) { defaults.setValue(keys::imageFitMode, mode); }
    void setTransition(const QString& title) { defaults.setValue(keys::transition, title); }
    FileUrl picture(const QByteArray& name, const QImage& image) const { return writePicture(folder, name, image); }

    // Makes the view's window the one that has the keyboard. False when it does not come to that.
    bool activate() const
    {
        view->setFocusPolicy(Qt::StrongFocus);
        view->show();
        const bool isExposed = QTest::qWaitForWindowExposed(view.get());
        view->activateWindow();
        const bool isActive = QTest::qWaitForWindowActive(view.get());
        view->setFocus();
        return isExposed && isActive;
    }

    // As a handler does it that shows a slide and returns.
    void show(const FileUrl& url, bool forward = true)
    {
        view->setImageWithURL(url, forward);
        view->compositor().deliverPending();
    }
    void show(const QImage& image, bool forward = true)
    {
        view->setImage(KLImage::imageWithImage(image), forward);
        view->compositor().deliverPending();
    }

    QImage grab() const { return view->grab().toImage(); }
    QColor colorAt(int x, int y) const { return grab().pixelColor(x, y); }

    TestFolder folder;
    UserDefaults defaults{QString::fromUtf8(folder.pathOf("settings.conf"))};
    ManualClock clock;
    std::unique_ptr<KLLayerView> view;
};

} // namespace frameflow
