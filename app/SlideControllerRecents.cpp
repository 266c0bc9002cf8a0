#include "PrintableText.h"
#include "SlideController.h"
#include "WelcomeController.h"

#include <QFontMetrics>
#include <QMenu>

namespace frameflow {

// ---- The folders opened last

namespace {

// As a menu shows it, in one line of which no letter is a key; long ones lose their middle.
QString menuText(const QMenu& menu, const QString& path)
{
    constexpr int widest = 480;
    QString text = menu.fontMetrics().elidedText(path, Qt::ElideMiddle, widest);
    text.replace(QLatin1Char('&'), QStringLiteral("&&"));
    return menu.isRightToLeft() ? readFromTheLeft(text) : text;
}

} // namespace

void SlideController::rememberRecentFolders(const QList<FileUrl>& paths)
{
    if (paths.size() == 1) {
        rememberRecentFolder(paths.first());
    }
}

void SlideController::rememberRecentURLs(const QList<FileUrl>& urls)
{
    rememberRecentFolders(urls);
}

void SlideController::rememberRecentFolder(const FileUrl& path)
{
    if (mRecentFolders.remember(path)) {
        recentFoldersChanged();
    }
}

QList<FileUrl> SlideController::recentPaths()
{
    return mRecentFolders.paths();
}

void SlideController::recentFoldersChanged()
{
    mHasRecentsMenu = true;
    showRecentFolders();
}

// Looking may shorten the list. Menu and window always show the same one, or a row of one would lead elsewhere.
void SlideController::showRecentFolders()
{
    const QStringList texts = recentPathTexts();
    if (mMainMenu && mHasRecentsMenu) {
        fillRecentMenu(texts);
    }
    if (mWelcomeController) {
        mWelcomeController->loadRecents(texts);
    }
}

QStringList SlideController::recentPathTexts()
{
    QStringList texts;
    for (const FileUrl& folder : recentPaths()) {
        texts.append(printable(folder.displayPath()));
    }
    return texts;
}

QAction* SlideController::recentsMenuItem()
{
    mainMenu();
    return mRecentsMenuItem;
}

void SlideController::updateRecentMenu()
{
    if (mMainMenu && mHasRecentsMenu) {
        showRecentFolders();
    }
}

void SlideController::fillRecentMenu(const QStringList& paths)
{
    if (!mRecentsMenuItem) {
        mRecentsMenuItem = mainMenu().insertIntoFileMenu(2, tr("&Recent Folders"));
    }
    auto* const menu = new QMenu;
    menu->setWindowTitle(QStringLiteral("Recent mFolders")); // never shown: a menu's text is that of its item
    menu->setAccessibleName(tr("Recent Folders"));
    menu->setToolTipsVisible(true);
    for (const QString& path : paths) {
        QAction* const item = menu->addAction(menuText(*menu, path));
        item->setToolTip(path);
        connect(item, &QAction::triggered, this, [this, item] { OpenRecentFolder(item); });
    }
    const QAction* const clear = menu->addAction(tr("&Clear Menu"));
    connect(clear, &QAction::triggered, this, &SlideController::ClearRecentsMenu);
    // One of the old menu's own items may have led here.
    if (QMenu* const old = mRecentsMenuItem->menu()) {
        old->deleteLater();
    }
    mRecentsMenuItem->setMenu(menu);
}

// The items stand in the order of the list.
void SlideController::OpenRecentFolder(QAction* item)
{
    openRecentFolderAtIndex(mRecentsMenuItem->menu()->actions().indexOf(item));
}

void SlideController::recentSelected(qsizetype index)
{
    openRecentFolderAtIndex(index);
}

void SlideController::openRecentFolderAtIndex(qsizetype index)
{
    if (static_cast<size_t>(index) >= mRecentFolders.count()) {
        return;
    }
    const FileUrl folder = mRecentFolders.folderAt(static_cast<size_t>(index));
    if (folder.isEmpty()) {
        return;
    }
    endSlideShow();
    mSecurityScopedResourceURL = folder;
    collect(CollectionRequest::Adder::Directory, {folder});
    rememberRecentFolder(folder);
}

void SlideController::ClearRecentsMenu()
{
    mRecentFolders.clear();
    recentFoldersChanged();
}

} // namespace frameflow
