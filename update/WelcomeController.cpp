#include "WelcomeController.h"

#include "AssertionFailure.h"
#include "BoundCheckBox.h"
#include "OpenWith.h"
#include "PrintableText.h"
#include "SettingsKeys.h"
#include "UserDefaults.h"
#include "WebAddresses.h"
#include "ui_Welcome.h"

#include <QAbstractTableModel>
#include <QEvent>
#include <QMenuBar>
#include <QScreen>
#include <QShortcut>
#include <QStyle>

#include <utility>

namespace frameflow {

namespace {

void require(bool condition, int line, const char* message)
{
    if (!condition) {
        throw AssertionFailure("WelcomeController", line, message);
    }
}

} // namespace

// The rows of the table, as its view asks for them.
class WelcomeController::Rows : public QAbstractTableModel
{
public:
    explicit Rows(const WelcomeController& controller)
        : mController(controller), mIcon(controller.window()->style()->standardIcon(QStyle::SP_DirIcon))
    {
    }

    void reload()
    {
        beginResetModel();
        endResetModel();
    }
    int rowCount(const QModelIndex& parent) const override
    {
        return parent.isValid() ? 0 : static_cast<int>(mController.numberOfRowsInTableView());
    }
    int columnCount(const QModelIndex& parent) const override { return parent.isValid() ? 0 : 1; }
    QVariant data(const QModelIndex& index, int role) const override
    {
        if (role == Qt::DisplayRole || role == Qt::ToolTipRole) {
            const QString path = mController.tableView(index.row());
            return mController.window()->isRightToLeft() ? readFromTheLeft(path) : path;
        }
        return role == Qt::DecorationRole ? QVariant(mIcon) : QVariant();
    }

private:
    const WelcomeController& mController;
    const QIcon mIcon;
};

WelcomeController::WelcomeController(UserDefaults& defaults)
    : mUi(std::make_unique<Ui::Welcome>()), mWindow(new QWidget)
{
    mUi->setupUi(mWindow);
    QFont large = mUi->title->font();
    large.setPointSizeF(large.pointSizeF() * 1.8);
    large.setBold(true);
    mUi->title->setFont(large);
    setUpTable();
    bindCheckBox(mUi->showWelcome, defaults, keys::showWelcome, WhenAbsent::On);
    connect(mUi->OpenFolder, &QPushButton::clicked, this, &WelcomeController::OpenFolder);
    connect(mUi->OpenAppStore, &QPushButton::clicked, this, &WelcomeController::OpenAppStore);
    mWindow->installEventFilter(this);
    mWindow->resize(mWindow->size().boundedTo(mWindow->screen()->availableSize() * 9 / 10));
    mUi->OpenFolder->setFocus();
    windowDidLoad();
}

WelcomeController::~WelcomeController()
{
    mRecentPaths.clear();
    delete mWindow;
}

void WelcomeController::setUpTable()
{
    mRows = std::make_unique<Rows>(*this);
    QTableView* const table = mUi->mRecentsTableView;
    table->setModel(mRows.get());
    table->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    table->verticalHeader()->setDefaultSectionSize(table->fontMetrics().height() * 2);
    table->viewport()->installEventFilter(this);
    connect(table, &QTableView::clicked, this, [this](const QModelIndex& index) { openRecent(index.row()); });
    for (const int key : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Space}) {
        auto* const open = new QShortcut(key, table);
        open->setContext(Qt::WidgetShortcut);
        connect(open, &QShortcut::activated, this, [this, table] { openRecent(table->currentIndex().row()); });
    }
}

void WelcomeController::windowDidLoad()
{
    require(mWindow != nullptr, __LINE__, "Invalid parameter not satisfying: self.window != nil");
    showRecents();
}

void WelcomeController::loadRecents(const QStringList& recents)
{
    mRecentPaths = recents;
    showRecents();
    mRows->reload();
}

void WelcomeController::showRecents()
{
    mUi->mTableDescriptionLabel->setVisible(mRecentPaths.isEmpty());
    mUi->mRecentsTableView->setVisible(!mRecentPaths.isEmpty());
}

void WelcomeController::loadVersionText(const QString& versionText)
{
    require(!versionText.isNull(), __LINE__, "versionText should not be NULL");
    require(!versionText.isEmpty(), __LINE__, "versionText should not be empty");
    mUi->mVersionText->setText(versionText);
}

void WelcomeController::loadMessage(const QString& title, const QString& message, const QString& toolTip)
{
    mUi->title->setText(title);
    mUi->message->setText(message);
    mUi->message->setToolTip(toolTip);
}

void WelcomeController::setMenuBar(QMenuBar* bar)
{
    mWindow->layout()->setMenuBar(bar);
}

void WelcomeController::showWindow()
{
    mWindow->show();
    mWindow->raise();
    mWindow->activateWindow();
}

QString WelcomeController::tableView(qsizetype row) const
{
    require(row >= 0 && row < mRecentPaths.size(), __LINE__,
        "Invalid parameter not satisfying: rowIndex >= 0 && rowIndex < [self.mRecents count]");
    return mRecentPaths.at(row);
}

void WelcomeController::openRecent(int clickedRow)
{
    if (mDelegate != nullptr) {
        mDelegate->recentSelected(clickedRow);
    }
}

void WelcomeController::OpenFolder()
{
    if (mDelegate != nullptr) {
        mDelegate->openSelected();
    }
}

void WelcomeController::OpenAppStore()
{
    openInBrowser(webAddresses::storePage);
}

bool WelcomeController::eventFilter(QObject* object, QEvent* event)
{
    if (object == mWindow && event->type() == QEvent::Close) {
        mWindow->hide();
        Q_EMIT closed();
    }
    // What is no event of the window is one of the table's inside. While the window goes, the table has gone already.
    return (object != mWindow && isSecondClick(*event)) || QObject::eventFilter(object, event);
}

// The first click moves its folder to the top, so that the second one would open another folder.
bool WelcomeController::isSecondClick(const QEvent& event)
{
    switch (event.type()) {
    case QEvent::MouseButtonPress:
        mIsClickedTwice = false;
        return false;
    case QEvent::MouseButtonDblClick:
        mIsClickedTwice = true;
        return true;
    case QEvent::MouseButtonRelease:
        return std::exchange(mIsClickedTwice, false);
    default:
        return false;
    }
}

QTableView* WelcomeController::mRecentsTableView() const
{
    return mUi->mRecentsTableView;
}

QLabel* WelcomeController::mVersionText() const
{
    return mUi->mVersionText;
}

QLabel* WelcomeController::mTableDescriptionLabel() const
{
    return mUi->mTableDescriptionLabel;
}

} // namespace frameflow
