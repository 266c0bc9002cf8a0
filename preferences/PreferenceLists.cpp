#include "AssertionFailure.h"
#include "CursorTable.h"
#include "PreferenceController.h"
#include "PropertyList.h"
#include "SettingsKeys.h"
#include "TransitionPreview.h"
#include "ui_Preferences.h"

#include <QCoreApplication>
#include <QFile>
#include <QImageReader>

#include <algorithm>
#include <array>

namespace frameflow {

// ---- Transitions

namespace {

constexpr std::array transitionTitles{
    QT_TRANSLATE_NOOP("Transition", "None"),
    QT_TRANSLATE_NOOP("Transition", "Cross Fade"),
    QT_TRANSLATE_NOOP("Transition", "Fast Cross Fade"),
    QT_TRANSLATE_NOOP("Transition", "Flip"),
    QT_TRANSLATE_NOOP("Transition", "Slide"),
    QT_TRANSLATE_NOOP("Transition", "Rotate Left Right"),
    QT_TRANSLATE_NOOP("Transition", "Rotate Left"),
    QT_TRANSLATE_NOOP("Transition", "Shrink"),
    QT_TRANSLATE_NOOP("Transition", "Expand"),
    QT_TRANSLATE_NOOP("Transition", "Bar Swipe"),
    QT_TRANSLATE_NOOP("Transition", "Swipe"),
    QT_TRANSLATE_NOOP("Transition", "Mod"),
    QT_TRANSLATE_NOOP("Transition", "All"),
};

constexpr std::array cursorTitles{
    QT_TRANSLATE_NOOP("Cursor", "Arrow"),
    QT_TRANSLATE_NOOP("Cursor", "Hand"),
    QT_TRANSLATE_NOOP("Cursor", "Dot"),
    QT_TRANSLATE_NOOP("Cursor", "Ring"),
    QT_TRANSLATE_NOOP("Cursor", "Spotlight"),
    QT_TRANSLATE_NOOP("Cursor", "Cross"),
};

// What is in no table is called as its file is.
QString titleOfCursor(const QString& name)
{
    const auto known = std::find_if(
        cursorTitles.begin(), cursorTitles.end(), [&](const char* title) { return name == QLatin1String(title); });
    return known != cursorTitles.end() ? QCoreApplication::translate("Cursor", *known) : name;
}

} // namespace

void PreferenceController::setupTransitionMenu()
{
    mUi->mTransitionMenu->clear();
    for (const char* title : transitionTitles) {
        mUi->mTransitionMenu->addItem(QCoreApplication::translate("Transition", title), QString::fromLatin1(title));
    }
}

void PreferenceController::selectTransition()
{
    const QString title = mDefaults.stringValue(keys::transition);
    const int index = title.isEmpty() ? 0 : mUi->mTransitionMenu->findData(title);
    mUi->mTransitionMenu->setCurrentIndex(index);
    mUi->playButton->setEnabled(index >= 0);
}

void PreferenceController::TransitionChange()
{
    const QString title = mUi->mTransitionMenu->currentData().toString();
    mDefaults.setValue(keys::transition, title);
    mPreview->play(title);
}

// ---- Order

void PreferenceController::setupOrderingMenu()
{
    mUi->mOrderingMenu->clear();
    mUi->mOrderingMenu->addItems({tr("By Filename"), tr("By Filepath"), tr("By Date"), tr("Random")});
}

void PreferenceController::selectOrder()
{
    const QStringList orders{keys::sortByName, keys::sortByUrl, keys::sortByDate};
    const auto index = static_cast<int>(orders.indexOf(mDefaults.stringValue(keys::sort)));
    mUi->mOrderingMenu->setCurrentIndex(index >= 0 ? index : 3);
}

void PreferenceController::switchSort()
{
    const QStringList orders{keys::sortByName, keys::sortByUrl, keys::sortByDate, keys::sortRandom};
    mDefaults.setValue(keys::sort, orders.value(mUi->mOrderingMenu->currentIndex(), keys::sortByName));
    if (mDelegate != nullptr) {
        mDelegate->sortOrderChanged();
    }
}

// ---- The end of a show

void PreferenceController::selectEndMode()
{
    const QStringList modes{keys::endModeRewind, keys::endModeWait, keys::endModeClose};
    const QVariant stored = mDefaults.value(keys::endMode);
    const auto row = static_cast<int>(stored.isValid() ? modes.indexOf(stored.toString()) : 0);
    if (row >= 0) {
        mUi->mEndRadio->button(row)->setChecked(true);
    }
}

void PreferenceController::switchEnd()
{
    const QStringList modes{keys::endModeRewind, keys::endModeWait, keys::endModeClose};
    mDefaults.setValue(keys::endMode, modes.value(mUi->mEndRadio->checkedId(), keys::endModeRewind));
}

// ---- Pictures for the pointer

void PreferenceController::loadCursors()
{
    QFile list(mResources + QStringLiteral("/Cursors.plist"));
    if (list.open(QIODevice::ReadOnly)) {
        mFactoryCursors = readPropertyList(list.readAll()).value_or(QVariant()).toMap();
    }
    const QVariantList entries = mFactoryCursors.value(QStringLiteral("Cursors")).toList();
    mCursors.reserve(static_cast<size_t>(entries.size()));
    for (const QVariant& entry : entries) {
        const QString name = entry.toMap().value(QStringLiteral("Name")).toString();
        const QString path = QStringLiteral("%1/cursors/%2.svg").arg(mResources, name);
        if (QImageReader(path).canRead()) {
            mCursors.emplace_back(path);
            mCursorTitles.push_back(titleOfCursor(name));
        }
    }
    mCursorRows = new CursorTable(*this, mWindow.get());
    QTableView* table = mUi->mCursorTable;
    table->setModel(mCursorRows);
    table->setItemDelegate(new CursorPainter(table));
    table->setColumnHidden(0, true);
    table->verticalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
}

// A position in the list, which is the row as long as every picture is there; of two that have the name the last.
void PreferenceController::selectCursor()
{
    const QString name = mDefaults.stringValue(keys::cursor);
    const QVariantList entries = mFactoryCursors.value(QStringLiteral("Cursors")).toList();
    int remembered = 0;
    for (int position = 0; position < entries.size(); ++position) {
        if (entries.at(position).toMap().value(QStringLiteral("Name")).toString() == name) {
            remembered = position;
        }
    }
    mIsSelectingCursor = true;
    if (remembered < numberOfRowsInTableView()) {
        mUi->mCursorTable->selectRow(remembered);
    } else {
        mUi->mCursorTable->clearSelection();
    }
    mIsSelectingCursor = false;
}

void PreferenceController::CursorChange()
{
    const QModelIndexList rows = mUi->mCursorTable->selectionModel()->selectedRows(1);
    const QVariantList entries = mFactoryCursors.value(QStringLiteral("Cursors")).toList();
    if (rows.isEmpty() || rows.first().row() >= entries.size()) {
        return;
    }
    mActiveCursor = rows.first().row();
    mDefaults.setValue(keys::cursor, entries.at(mActiveCursor).toMap().value(QStringLiteral("Name")).toString());
}

QVariant PreferenceController::tableView(const QString& columnIdentifier, int rowIndex) const
{
    if (rowIndex < 0 || rowIndex >= numberOfRowsInTableView()) {
        throw AssertionFailure("PreferenceController", __LINE__,
            "Invalid parameter not satisfying: rowIndex >= 0 && rowIndex < [mCursors count]");
    }
    return columnIdentifier == QLatin1String("image") ? QVariant(mCursors.at(static_cast<size_t>(rowIndex)))
                                                      : QVariant();
}

QString PreferenceController::cursorTitle(int rowIndex) const
{
    return mCursorTitles.at(static_cast<size_t>(rowIndex));
}

} // namespace frameflow
