#pragma once

#include "FileSequence.h"
#include "KLGridWindowController.h"
#include "KLThumbnailView.h"
#include "ManualClock.h"
#include "TestFiles.h"
#include "ThumbnailTable.h"
#include "UserDefaults.h"

#include <memory>

namespace frameflow {

// A grid over real files, ordered by name, with a clock that stands still.
class GridFixture : public KLImageGridDelegate
{
public:
    GridFixture();
    ~GridFixture() override;

    void gotoImageIndex(size_t index) override { chosen.append(index); }

    // Pictures of 400 by 300 pixels, named 000.png, 001.png and so on.
    void addPictures(int count) const;
    // Adds what the folder holds to the sequence.
    void collect();
    // The window of that size, not maximised, with its columns.
    KLGridWindowController& show(QSize size = {1000, 700});
    // A new controller, as in another run of the program.
    KLGridWindowController& restart();

    KLGridWindowController& grid() { return *mGrid; }
    ThumbnailTable& table() { return *mGrid->tableView(); }
    std::vector<KLThumbnailView*> cells() const;
    // The cell in view that shows the file of that name; null when there is none.
    KLThumbnailView* cellOf(const QByteArray& name) const;
    QList<QByteArray> namesInView() const;
    QString storedFrame() const { return settings->stringValue(QStringLiteral("KLGridWindowRect")); }

    TestFolder folder;
    TestFolder settingsFolder;
    ManualClock clock;
    QList<size_t> chosen;
    std::unique_ptr<UserDefaults> settings;
    std::unique_ptr<FileSequence> sequence;

private:
    std::unique_ptr<KLGridWindowController> mGrid;
};

} // namespace frameflow
