#include "KLGridWindowController.h"

#include "AssertionFailure.h"
#include "DecoderPool.h"
#include "GridWindowFrame.h"
#include "KLImage.h"
#include "KLThumbnailCache.h"
#include "KLThumbnailView.h"
#include "PrintableText.h"
#include "RectText.h"
#include "SettingsKeys.h"
#include "ThumbnailTable.h"
#include "UserDefaults.h"
#include "ui_KLGridWindowController.h"

#include <QEvent>
#include <QGuiApplication>
#include <QMenuBar>
#include <QScreen>
#include <QShortcut>
#include <QWindow>

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace frameflow {

namespace {

constexpr int rowHeight = 200;
// A window that has kept its size for that long is not being resized any more.
constexpr Duration liveResizeRest = std::chrono::milliseconds(150);
// A window that has changed its display is refitted when it has rested for longer than that, in seconds.
constexpr double screenRest = 0.4000000059604645;
constexpr Duration screenRestCheck = std::chrono::milliseconds(400);
// The shortest time between two reloads that a changing sequence causes.
constexpr Duration followingTime = std::chrono::milliseconds(100);
// How many thumbnails a frame uncompresses itself, some milliseconds; the others come from another thread.
constexpr int mostUncompressedAtOnce = 4;
// Cells that move by more than a row again within this time are gone before anybody can look at them. A frame
// uncompresses none of them itself then, and so many are uncompressed beside it, which leaves it the cores.
constexpr Duration scrollingTime = std::chrono::milliseconds(50);
constexpr size_t mostWhileFast = 8;

} // namespace

KLGridWindowController::KLGridWindowController(UserDefaults& defaults, Clock& clock, DecoderPool& pool)
    : mSharedUserDefaults(defaults), mClock(clock), mLiveResize(clock), mScreenRest(clock), mFollowing(clock),
      mThumbnails(pool, clock, [this](const FileUrl& url, const QImage& picture) { thumbnailArrived(url, picture); })
{
    loadWindow();
    windowDidLoad();
}

KLGridWindowController::~KLGridWindowController()
{
    if (mWindow) {
        mWindow->removeEventFilter(this);
        delete mWindow;
    }
}

// ---- The window

void KLGridWindowController::loadWindow()
{
    mWindow = new QWidget;
    Ui::KLGridWindowController form;
    form.setupUi(mWindow);
    QFont large = form.emptyTitle->font();
    large.setPointSizeF(large.pointSizeF() * 1.8);
    large.setBold(true);
    form.emptyTitle->setFont(large);
    myTableView = form.myTableView;
    mEmptyPage = form.emptyPage;
    mWindow->installEventFilter(this);
    mWindow->winId(); // so that its displays are told of from the beginning
    connect(mWindow->windowHandle(), &QWindow::screenChanged, this, [this] { windowDidChangeScreen(); });
    connect(form.openButton, &QPushButton::clicked, this, &KLGridWindowController::openSelected);
    connect(myTableView, &ThumbnailTable::opened, this, &KLGridWindowController::gotoImageIndex);
    connect(myTableView, &ThumbnailTable::selectionMoved, this, [this](size_t index) { select(index); });
    connect(myTableView, &ThumbnailTable::visibleCellsChanged, this, &KLGridWindowController::visibleCellsChanged);
    auto* const closing = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_W), mWindow);
    connect(closing, &QShortcut::activated, mWindow, &QWidget::close);
}

void KLGridWindowController::windowDidLoad()
{
    if (!mWindow) {
        throw AssertionFailure("KLGridWindowController", 51, "Invalid parameter not satisfying: self.window != nil");
    }
    myTableView->setRowHeight(rowHeight);
    myTableView->setDataSource({[this] { return numberOfRowsInTableView(); }, [this] { return fileCount(); },
        [this](int column, qint64 row) { return viewForTableColumn(column, row); }});
    restoreFrame();
}

void KLGridWindowController::restoreFrame()
{
    QList<QRect> displays;
    for (const QScreen* screen : QGuiApplication::screens()) {
        displays.append(screen->availableGeometry());
    }
    const QString stored = mSharedUserDefaults.stringValue(keys::gridWindowRect);
    if (const auto frame = reachableFrame(rectFromText(stored), displays)) {
        mWindow->setWindowState(mWindow->windowState() & ~Qt::WindowMaximized);
        mWindow->setGeometry(*frame);
    }
    fillScreen();
    mDidChangeScreen = false;
}

void KLGridWindowController::setMyFileSequence(FileSequence* sequence)
{
    myFileSequence = sequence;
}

void KLGridWindowController::setMenuBar(QMenuBar* menuBar)
{
    mWindow->layout()->setMenuBar(menuBar);
}

void KLGridWindowController::showWindow()
{
    if (std::exchange(mWasHidden, false)) {
        restoreFrame(); // window managers forget what a maximised window returned to when it is hidden
    }
    mCurrentSlideURL = myFileSequence != nullptr ? myFileSequence->current() : FileUrl();
    if (fileCount() > 0) {
        const size_t current = std::min(myFileSequence->currentIndex(), fileCount() - 1);
        select(current);
        myTableView->scrollToMiddle(current);
    }
    mWindow->setWindowState(mWindow->windowState() & ~Qt::WindowMinimized);
    mWindow->show();
    mWindow->raise();
    mWindow->activateWindow();
    myTableView->setFocus();
    visibleCellsChanged();
}

void KLGridWindowController::hideWindow()
{
    mWindow->hide();
    mWasHidden = true;
    mLiveResize.stop();
    mScreenRest.stop();
    mFollowing.stop();
    mThumbnails.giveUp();
}

void KLGridWindowController::fillScreen()
{
    if (!mWindow->isMaximized()) {
        mWindow->setWindowState(mWindow->windowState() | Qt::WindowMaximized);
    }
}

void KLGridWindowController::saveWindowSize()
{
    QRect frame;
    if (mWindow) {
        const QRect normal = mWindow->isMaximized() ? mWindow->normalGeometry() : QRect();
        frame = normal.isValid() ? normal : mWindow->geometry();
    }
    mSharedUserDefaults.setValue(keys::gridWindowRect, textFromRect(QRectF(frame)));
}

bool KLGridWindowController::eventFilter(QObject* object, QEvent* event)
{
    if (object == mWindow) {
        switch (event->type()) {
        case QEvent::Resize:
            if (mWindow->isVisible()) {
                mLiveResize.start(mClock.now() + liveResizeRest, [this] { windowDidEndLiveResize(); });
            }
            break;
        case QEvent::Move:
            windowDidMove();
            break;
        case QEvent::WindowActivate:
            sequenceChanged();
            break;
        case QEvent::Close:
            windowWillClose();
            break;
        default:
            break;
        }
    }
    return QObject::eventFilter(object, event);
}

void KLGridWindowController::windowDidMove()
{
    mLastMovedTime = mClock.now();
}

void KLGridWindowController::windowDidChangeScreen()
{
    mLastMovedTime = mClock.now();
    mDidChangeScreen = true;
    adjustToScreenAferMoving();
}

void KLGridWindowController::windowWillClose()
{
    saveWindowSize();
    hideWindow();
    Q_EMIT closed();
}

void KLGridWindowController::adjustToScreenAferMoving()
{
    if (!mDidChangeScreen) {
        return;
    }
    if (mClock.now() - mLastMovedTime > durationFromSeconds(screenRest)) {
        mDidChangeScreen = false;
        fillScreen();
        adjustColumns();
    } else {
        mScreenRest.start(mClock.now() + screenRestCheck, [this] { adjustToScreenAferMoving(); });
    }
}

// ---- Columns and cells

// A window that is about to be maximised has the width that it will have then.
double KLGridWindowController::windowWidth() const
{
    const bool isBeforeFirstShow = mWindow->isMaximized() && !mWindow->isVisible();
    return isBeforeFirstShow ? mWindow->screen()->availableGeometry().width() : mWindow->width();
}

void KLGridWindowController::adjustColumns()
{
    myTableView->setColumns(columnsForWidth(windowWidth(), myTableView->rowHeight()));
    reload();
    saveWindowSize();
}

void KLGridWindowController::reload()
{
    mLastReload = mClock.now();
    mFollowing.stop();
    mShownRevision = myFileSequence != nullptr ? myFileSequence->revision() : 0;
    mThumbnails.forgetFailures();
    auto* const pages = qobject_cast<QStackedWidget*>(mEmptyPage->parentWidget());
    pages->setCurrentWidget(fileCount() == 0 ? mEmptyPage.data() : static_cast<QWidget*>(myTableView));
    myTableView->reload();
    keepSelection();
}

qint64 KLGridWindowController::numberOfRowsInTableView() const
{
    return rowsFor(fileCount(), myTableView->numberOfColumns());
}

size_t KLGridWindowController::indexFromRow(qint64 row, int column) const
{
    return static_cast<size_t>(row * myTableView->numberOfColumns() + column);
}

KLThumbnailView* KLGridWindowController::viewForTableColumn(int column, qint64 row)
{
    auto* cell = static_cast<KLThumbnailView*>(myTableView->takeSpareCell());
    if (cell == nullptr) {
        cell = new KLThumbnailView(QRect(0, 0, 100, 100));
        cell->setMyDelegate(this);
    }
    const size_t index = indexFromRow(row, column);
    const FileUrl url = urlAtIndex(index);
    const bool showsIt = cell->hasImage() && cell->url() == url;
    cell->setIndex(index);
    cell->setURL(url);
    if (url.isEmpty()) {
        cell->setImage({});
        return cell;
    }
    cell->setIsMovie(KLImage::isMovieURL(url));
    // A picture that is there does not go while it is being uncompressed.
    const QImage picture = thumbnailForURL(url);
    if (!picture.isNull() || !showsIt || !KLThumbnailCache::hasImageWithURL(url)) {
        cell->setImage(picture);
    }
    cell->setText(printable(QString::fromUtf8(url.fileName())));
    return cell;
}

QImage KLGridWindowController::thumbnailForURL(const FileUrl& url)
{
    const QImage bitmap = KLThumbnailCache::bitmapWithURL(url);
    const bool isFast = mIsFast && mClock.now() < mCellsChanged + scrollingTime;
    const int most = isFast ? 0 : mostUncompressedAtOnce;
    if (!bitmap.isNull() || mUncompressed >= most || !KLThumbnailCache::hasImageWithURL(url)) {
        return bitmap;
    }
    ++mUncompressed;
    return KLThumbnailCache::imageWithURL(url);
}

size_t KLGridWindowController::fileCount() const
{
    return myFileSequence != nullptr ? myFileSequence->count() : 0;
}

FileUrl KLGridWindowController::urlAtIndex(size_t index) const
{
    return myFileSequence != nullptr ? myFileSequence->URLAtIndex(index) : FileUrl();
}

std::vector<KLThumbnailView*> KLGridWindowController::cells() const
{
    std::vector<KLThumbnailView*> views;
    for (QWidget* cell : myTableView->visibleCells()) {
        views.push_back(static_cast<KLThumbnailView*>(cell));
    }
    return views;
}

// ---- Thumbnails

void KLGridWindowController::visibleCellsChanged()
{
    mUncompressed = 0;
    if (!mWindow->isVisible()) {
        return;
    }
    std::vector<FileUrl> missing;
    for (const KLThumbnailView* cell : cells()) {
        if (!cell->hasImage() && !cell->url().isEmpty()) {
            missing.push_back(cell->url());
        }
    }
    const qint64 firstRow = myTableView->visibleRows().first;
    const qint64 moved = firstRow - std::exchange(mFirstRow, firstRow);
    const TimePoint now = mClock.now();
    const bool isSoon = now < std::exchange(mCellsChanged, now) + scrollingTime;
    mIsFast = isSoon && std::abs(moved) > 1;
    std::vector<FileUrl> soon = missing;
    if (mIsFast) {
        soon.resize(std::min(soon.size(), mostWhileFast));
    } else {
        const std::vector<FileUrl> coming = filesThatCome(moved);
        soon.insert(soon.end(), coming.begin(), coming.end());
    }
    mThumbnails.setVisible(missing, soon, [this] { return filesAround(); });
}

// As many rows as have just come into view, and one, in the direction of scrolling.
std::vector<FileUrl> KLGridWindowController::filesThatCome(qint64 moved) const
{
    std::vector<FileUrl> files;
    const GridRows rows = myTableView->visibleRows();
    if (moved == 0 || rows.isEmpty()) {
        return files;
    }
    const qint64 count = std::min(std::abs(moved), rows.last - rows.first) + 1;
    const qint64 from = moved > 0 ? rows.last + 1 : std::max<qint64>(rows.first - count, 0);
    const qint64 to = moved > 0 ? std::min(from + count, numberOfRowsInTableView()) : rows.first;
    const auto end = std::min(indexFromRow(std::max(from, to), 0), fileCount());
    for (size_t index = indexFromRow(from, 0); index < end; ++index) {
        files.push_back(urlAtIndex(index));
    }
    return files;
}

// A view's height after what is in view, and then before it.
std::vector<FileUrl> KLGridWindowController::filesAround() const
{
    std::vector<FileUrl> files;
    const GridRows rows = myTableView->visibleRows();
    if (rows.isEmpty()) {
        return files;
    }
    const qint64 page = (rows.last - rows.first + 1) * myTableView->numberOfColumns();
    const auto first = static_cast<qint64>(indexFromRow(rows.first, 0));
    const auto count = static_cast<qint64>(fileCount());
    for (qint64 index = first + page; index < std::min(first + 2 * page, count); ++index) {
        files.push_back(urlAtIndex(static_cast<size_t>(index)));
    }
    for (qint64 index = first - 1; index >= std::max<qint64>(first - page, 0); --index) {
        files.push_back(urlAtIndex(static_cast<size_t>(index)));
    }
    return files;
}

void KLGridWindowController::thumbnailArrived(const FileUrl& url, const QImage& picture)
{
    for (KLThumbnailView* cell : cells()) {
        if (cell->url() == url) {
            cell->setImage(picture);
        }
    }
}

// ---- The choice, and a sequence that changes

void KLGridWindowController::gotoImageIndex(size_t index)
{
    const auto shown = cells();
    const auto cell = std::find_if(
        shown.begin(), shown.end(), [index](const KLThumbnailView* view) { return view->index() == index; });
    const FileUrl notInView = myTableView->selected() == index ? mSelectedURL : urlAtIndex(index);
    const FileUrl chosen = cell != shown.end() ? (*cell)->url() : notInView;
    if (chosen.isEmpty()) {
        return;
    }
    auto place = std::optional(index);
    if (urlAtIndex(index) != chosen) {
        place = myFileSequence->indexOf(chosen, index);
        reload();
    }
    if (place) {
        select(*place);
        if (myDelegate != nullptr) {
            myDelegate->gotoImageIndex(*place);
        }
    }
}

void KLGridWindowController::sequenceChanged()
{
    if (!mWindow->isVisible() || myFileSequence == nullptr || myFileSequence->revision() == mShownRevision) {
        return;
    }
    const TimePoint next = mLastReload + followingTime;
    if (mClock.now() >= next) {
        reload();
    } else if (!mFollowing.isActive()) {
        mFollowing.start(next, [this] { reload(); });
    }
}

void KLGridWindowController::currentSlideChanged()
{
    if (myFileSequence == nullptr) {
        return;
    }
    const bool follows = mSelectedURL == mCurrentSlideURL;
    mCurrentSlideURL = myFileSequence->current();
    if (!follows || mCurrentSlideURL.isEmpty() || !mWindow->isVisible()) {
        return;
    }
    const auto before = myTableView->selected();
    const bool wasInView = before && myTableView->isInView(*before);
    select(myFileSequence->currentIndex());
    if (wasInView) {
        myTableView->scrollTo(myFileSequence->currentIndex());
    }
}

void KLGridWindowController::select(std::optional<size_t> index)
{
    mSelectedURL = index ? urlAtIndex(*index) : FileUrl();
    myTableView->select(index);
}

// On its file, wherever that is now.
void KLGridWindowController::keepSelection()
{
    const auto selected = myTableView->selected();
    if (!selected || urlAtIndex(*selected) == mSelectedURL) {
        return;
    }
    // A window that is opened selects the current slide.
    if (fileCount() == 0 || !mWindow->isVisible()) {
        select(std::nullopt);
        return;
    }
    const bool wasInView = myTableView->isInView(*selected);
    const auto place = myFileSequence->indexOf(mSelectedURL, *selected);
    select(place.value_or(std::min(*selected, fileCount() - 1)));
    if (wasInView) {
        myTableView->scrollTo(*myTableView->selected());
    }
}

} // namespace frameflow
