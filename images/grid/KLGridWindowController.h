#pragma once

#include "FileSequence.h"
#include "GridThumbnails.h"
#include "KLImageGridDelegate.h"

#include <QObject>
#include <QPointer>
#include <QWidget>

#include <memory>

class QMenuBar;

namespace frameflow {

class DecoderPool;
class KLThumbnailView;
class ThumbnailTable;
class UserDefaults;

// The window with the thumbnails of a slideshow. Its frame is kept in the settings; it opens maximised. Lengths are
// logical pixels, with y downwards. Main thread only.
class KLGridWindowController final : public QObject, public KLImageGridDelegate
{
    Q_OBJECT

public:
    // All outlive the controller. Loads the window, hidden.
    KLGridWindowController(UserDefaults& defaults, Clock& clock, DecoderPool& pool);
    ~KLGridWindowController() override;

    // Not owned; null for none.
    void setImages(FileSequence* sequence) { setMyFileSequence(sequence); }
    void setMyFileSequence(FileSequence* sequence);
    void setDelegate(KLImageGridDelegate* delegate) { myDelegate = delegate; }
    // Takes ownership.
    void setMenuBar(QMenuBar* menuBar);

    // With the current slide selected, and the keyboard in the grid.
    void showWindow();
    void hideWindow();
    // As many columns as the window has room for; fills all cells again, and stores the window's frame.
    void adjustColumns();
    void reload();
    void refresh() { reload(); }
    // Maximises the window unless it is so already.
    void fillScreen();
    // The frame that the window has while it is not maximised.
    void saveWindowSize();
    void adjustToScreenAferMoving();
    size_t indexFromRow(qint64 row, int column) const;
    // Passes the choice on. What was chosen is the file that is shown at that place, also where the sequence has
    // changed since.
    void gotoImageIndex(size_t index) override;

    // The list of the sequence may have changed: what is shown follows soon, and not too often.
    void sequenceChanged();
    // Another slide is the current one. The selection goes with it, unless a person has moved it away.
    void currentSlideChanged();

    // What the window and its table tell and ask.
    void windowDidLoad();
    void windowDidEndLiveResize() { adjustColumns(); }
    void windowDidMove();
    void windowDidChangeScreen();
    void windowWillClose();
    qint64 numberOfRowsInTableView() const;
    KLThumbnailView* viewForTableColumn(int column, qint64 row);

    QWidget* window() const { return mWindow; }
    ThumbnailTable* tableView() const { return myTableView; }
    bool didChangeScreen() const { return mDidChangeScreen; }
    // Whether all thumbnails that are wanted have been made or have failed.
    bool isIdle() const { return mThumbnails.isIdle(); }

Q_SIGNALS:
    // A person wants to open something else.
    void openSelected();
    // A person closed the window.
    void closed();

protected:
    bool eventFilter(QObject* object, QEvent* event) override;

private:
    void loadWindow();
    void restoreFrame();
    double windowWidth() const;
    size_t fileCount() const;
    FileUrl urlAtIndex(size_t index) const;
    QImage thumbnailForURL(const FileUrl& url);
    void select(std::optional<size_t> index);
    void keepSelection();
    void thumbnailArrived(const FileUrl& url, const QImage& picture);
    void visibleCellsChanged();
    std::vector<FileUrl> filesThatCome(qint64 moved) const;
    std::vector<FileUrl> filesAround() const;
    std::vector<KLThumbnailView*> cells() const;

    UserDefaults& mSharedUserDefaults;
    Clock& mClock;
    QPointer<QWidget> mWindow;
    ThumbnailTable* myTableView = nullptr; // owned by the window
    QPointer<QWidget> mEmptyPage; // what is shown instead when there are no files
    bool mDidChangeScreen = false;
    bool mWasHidden = false; // since it was shown last
    TimePoint mLastMovedTime{};
    FileSequence* myFileSequence = nullptr;
    KLImageGridDelegate* myDelegate = nullptr;

    FileUrl mSelectedURL;
    FileUrl mCurrentSlideURL; // as it was told last
    quint64 mShownRevision = 0; // of the sequence
    qint64 mFirstRow = 0; // in view, when the cells changed last
    int mUncompressed = 0; // since then
    TimePoint mCellsChanged{}; // that time
    bool mIsFast = false; // by more than a row, and again
    TimePoint mLastReload{};
    OneShotTimer mLiveResize;
    OneShotTimer mScreenRest;
    OneShotTimer mFollowing;
    GridThumbnails mThumbnails;
};

} // namespace frameflow
