#include "ApplicationPanel.h"

#include "PrintableText.h"
#include "ui_ApplicationPanel.h"

#include <QFileInfo>
#include <QIcon>
#include <QKeyEvent>
#include <QPushButton>

#include <algorithm>

namespace frameflow {

namespace {

constexpr int pathRole = Qt::UserRole;
constexpr int rowHeight = 38; // with an icon or without
constexpr qint64 largestIcon = 4 << 20;
constexpr size_t mostShown = 5000;

QIcon iconOf(const Application& application)
{
    const QIcon usual = QIcon::fromTheme(
        QStringLiteral("application-x-executable"), QIcon::fromTheme(QStringLiteral("application-default-icon")));
    if (!application.icon.startsWith(QLatin1Char('/'))) {
        return QIcon::fromTheme(application.icon, usual);
    }
    const QFileInfo file(application.icon);
    return file.isFile() && file.size() <= largestIcon ? QIcon(application.icon) : usual;
}

} // namespace

ApplicationPanel::ApplicationPanel(OpenedKind kind, QWidget* parent)
    : QDialog(parent), mKind(kind), mUi(std::make_unique<Ui::ApplicationPanel>())
{
    mUi->setupUi(this);
    mUi->note->setText(tr("Looking for applications…"));
    mUi->buttons->button(QDialogButtonBox::Ok)->setText(tr("&Choose"));
    mUi->search->installEventFilter(this);
    connect(mUi->search, &QLineEdit::textChanged, this, &ApplicationPanel::narrow);
    connect(mUi->list, &QListWidget::itemSelectionChanged, this, &ApplicationPanel::validate);
    connect(mUi->list, &QListWidget::itemActivated, this, &ApplicationPanel::accept);
    validate();
}

ApplicationPanel::~ApplicationPanel() = default;

std::vector<ApplicationPanel::Entry> ApplicationPanel::entriesFrom(
    std::vector<Application> applications, OpenedKind kind)
{
    applications.resize(std::min(applications.size(), mostShown));
    std::vector<Entry> entries;
    entries.reserve(applications.size());
    for (Application& application : applications) {
        const bool canBeChosen = canOpen(application, kind);
        entries.push_back({std::move(application), canBeChosen});
    }
    std::stable_partition(entries.begin(), entries.end(), [](const Entry& entry) { return entry.canBeChosen; });
    return entries;
}

void ApplicationPanel::setEntries(const std::vector<Entry>& entries)
{
    mIsLoaded = true;
    mUi->list->clear();
    for (const Entry& entry : entries) {
        const Application& application = entry.application;
        auto* item = new QListWidgetItem(iconOf(application), printable(application.name), mUi->list);
        item->setData(pathRole, application.path);
        item->setSizeHint(QSize(0, rowHeight));
        if (entry.canBeChosen) {
            item->setToolTip(printable(application.path).toHtmlEscaped());
        } else {
            item->setFlags(Qt::NoItemFlags);
            item->setToolTip(mKind == OpenedKind::Images ? tr("This application does not say that it opens images.")
                                                         : tr("This application does not say that it opens movies."));
        }
    }
    narrow();
}

QString ApplicationPanel::chosenPath() const
{
    const auto selected = mUi->list->selectedItems();
    return selected.isEmpty() ? QString() : selected.first()->data(pathRole).toString();
}

// Hides what does not hold the searched text, and selects the first that can be chosen.
void ApplicationPanel::narrow()
{
    const QString wanted = mUi->search->text().trimmed();
    QListWidgetItem* first = nullptr;
    bool isAnyChoosable = false;
    for (int i = 0; i < mUi->list->count(); ++i) {
        QListWidgetItem* item = mUi->list->item(i);
        const bool isChoosable = item->flags().testFlag(Qt::ItemIsSelectable);
        const bool isHidden = !item->text().contains(wanted, Qt::CaseInsensitive);
        item->setHidden(isHidden);
        isAnyChoosable = isAnyChoosable || isChoosable;
        if (first == nullptr && isChoosable && !isHidden) {
            first = item;
        }
    }
    mUi->list->setCurrentItem(first);
    if (mIsLoaded && !isAnyChoosable) {
        mUi->note->setText(mKind == OpenedKind::Images
                ? tr("No application here says that it opens images. Install one, then choose again.")
                : tr("No application here says that it opens movies. Install one, then choose again."));
    } else if (mIsLoaded) {
        mUi->note->setText(first != nullptr ? QString() : tr("No application of that name can be chosen."));
    }
    mUi->note->setVisible(!mUi->note->text().isEmpty());
    validate();
}

void ApplicationPanel::validate()
{
    mUi->buttons->button(QDialogButtonBox::Ok)->setEnabled(!chosenPath().isEmpty());
}

void ApplicationPanel::accept()
{
    if (!chosenPath().isEmpty()) {
        QDialog::accept();
    }
}

// The arrows lead through the list while a name is being typed.
bool ApplicationPanel::eventFilter(QObject* object, QEvent* event)
{
    if (object == mUi->search && event->type() == QEvent::KeyPress) {
        const auto* key = static_cast<QKeyEvent*>(event);
        if (key->key() == Qt::Key_Down || key->key() == Qt::Key_Up) {
            QCoreApplication::sendEvent(mUi->list, event);
            return true;
        }
    }
    return QDialog::eventFilter(object, event);
}

} // namespace frameflow
