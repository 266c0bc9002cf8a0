#include "GridFixture.h"

#include "DecoderPool.h"
#include "KLThumbnailCache.h"
#include "PictureFiles.h"
#include "SettingsKeys.h"

#include <QTest>

namespace frameflow {

GridFixture::GridFixture()
    : settings(std::make_unique<UserDefaults>(QString::fromUtf8(settingsFolder.pathOf("frameflow.conf"))))
{
    settings->setValue(keys::sort, keys::sortByName);
    sequence = std::make_unique<FileSequence>(*settings);
    restart();
}

GridFixture::~GridFixture()
{
    mGrid.reset();
    KLThumbnailCache::purge();
}

KLGridWindowController& GridFixture::restart()
{
    mGrid.reset();
    mGrid = std::make_unique<KLGridWindowController>(*settings, clock, DecoderPool::instance());
    mGrid->setMyFileSequence(sequence.get());
    mGrid->setDelegate(this);
    return *mGrid;
}

void GridFixture::addPictures(int count) const
{
    const QByteArray picture = encoded(quartersPicture(QSize(400, 300)), "png");
    for (int number = 0; number < count; ++number) {
        folder.addFile(QByteArray::number(number).rightJustified(3, '0') + ".png", picture);
    }
}

void GridFixture::collect()
{
    sequence->addDirectory(folder.path());
    sequence->sort();
    sequence->first();
}

KLGridWindowController& GridFixture::show(QSize size)
{
    mGrid->window()->setWindowState(Qt::WindowNoState);
    mGrid->window()->resize(size);
    mGrid->adjustColumns();
    mGrid->showWindow();
    if (!QTest::qWaitForWindowExposed(mGrid->window())) {
        qFatal("the window does not come");
    }
    return *mGrid;
}

std::vector<KLThumbnailView*> GridFixture::cells() const
{
    std::vector<KLThumbnailView*> all;
    for (QWidget* cell : mGrid->tableView()->visibleCells()) {
        all.push_back(static_cast<KLThumbnailView*>(cell));
    }
    return all;
}

KLThumbnailView* GridFixture::cellOf(const QByteArray& name) const
{
    for (KLThumbnailView* cell : cells()) {
        if (cell->url().fileName() == name) {
            return cell;
        }
    }
    return nullptr;
}

QList<QByteArray> GridFixture::namesInView() const
{
    QList<QByteArray> names;
    for (const KLThumbnailView* cell : cells()) {
        names.append(cell->url().fileName().toByteArray());
    }
    return names;
}

} // namespace frameflow
