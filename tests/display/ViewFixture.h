#pragma once

#include "KLImageCache.h"
#include "KLLayerView.h"
#include "ManualClock.h"
#include "Pictures.h"
#include "SettingsKeys.h"
#include "UserDefaults.h"

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
