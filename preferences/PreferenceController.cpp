#include "PreferenceController.h"

#include "ApplicationPanel.h"
#include "BoundCheckBox.h"
#include "CursorTable.h"
#include "SettingsKeys.h"
#include "TransitionPreview.h"
#include "ui_Preferences.h"

#include <QDialog>
#include <QFileDialog>
#include <QScreen>
#include <QShortcut>

namespace frameflow {

namespace {

constexpr qint64 fewestSeconds = 2;

// Lines of text that come and go below a control.
void setNote(QLabel* note, const QString& text)
{
    note->setText(text);
    note->setVisible(!text.isEmpty());
}

} // namespace

PreferenceController::PreferenceController(UserDefaults& defaults, Clock& clock, const QString& resources)
    : mDefaults(defaults), mClock(clock), mResources(resources), mWindow(std::make_unique<QDialog>()),
      mUi(std::make_unique<Ui::Preferences>()), mBindings(defaults), mQueue("com.quillory.preferences")
{
    mUi->setupUi(mWindow.get());
    windowDidLoad();
}

PreferenceController::~PreferenceController()
{
    mQueue.abandonRunning();
    if (mApplicationPanel) {
        putNavLastRootDirectoryBack();
        delete mApplicationPanel;
    }
    delete mFolderPanel;
    mWindow->removeEventFilter(this);
    mWindow.reset(); // what its controls say on the way is heard while all else is there
}

void PreferenceController::windowDidLoad()
{
    mImageEditor = {keys::imageEditorPath, mUi->imageAppLabel, mUi->imageAppNote, {}};
    mMovieEditor = {keys::movieEditorPath, mUi->movieAppLabel, mUi->movieAppNote, {}};
    mNoAddFolder = mUi->addFolderLabel->text();
    mUi->mEndRadio->setId(mUi->endRewind, 0);
    mUi->mEndRadio->setId(mUi->endWait, 1);
    mUi->mEndRadio->setId(mUi->endClose, 2);
    mPreview = new TransitionPreview(mClock);
    mPreview->setObjectName(QStringLiteral("preview"));
    mPreview->setAccessibleName(tr("Preview of the transition"));
    mUi->previewLayout->addWidget(mPreview, 0, Qt::AlignLeading);

    setupTransitionMenu();
    loadCursors();
    setupOrderingMenu();
    setupIntervalField();
    bindControls();
    connectControls();

    mWindow->installEventFilter(this);
    const QSize room = mWindow->screen()->availableSize() * 9 / 10;
    mWindow->resize(mWindow->sizeHint().expandedTo(mWindow->size()).boundedTo(room));
}

void PreferenceController::connectControls()
{
    auto* const closing = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_W), mWindow.get());
    connect(closing, &QShortcut::activated, mWindow.get(), &QWidget::close);
    connect(mUi->mTransitionMenu, &QComboBox::activated, this, &PreferenceController::TransitionChange);
    const auto play = [this] {
        if (mUi->mTransitionMenu->currentIndex() >= 0) {
            mPreview->play(mUi->mTransitionMenu->currentData().toString());
        }
    };
    connect(mUi->playButton, &QPushButton::clicked, this, play);
    connect(mPreview, &TransitionPreview::clicked, this, play);
    connect(mUi->mOrderingMenu, &QComboBox::activated, this, &PreferenceController::switchSort);
    connect(mUi->mEndRadio, &QButtonGroup::idClicked, this, &PreferenceController::switchEnd);
    connect(mUi->mCursorTable->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
        if (!mIsSelectingCursor) {
            CursorChange();
        }
    });
    connect(mUi->chooseImageApp, &QPushButton::clicked, this, &PreferenceController::chooseImageApp);
    connect(mUi->chooseMovieApp, &QPushButton::clicked, this, &PreferenceController::chooseMovieApp);
    connect(mUi->resetImageApp, &QPushButton::clicked, this, &PreferenceController::resetImageApp);
    connect(mUi->resetMovieApp, &QPushButton::clicked, this, &PreferenceController::resetMovieApp);
    connect(mUi->chooseAddFolder, &QPushButton::clicked, this, &PreferenceController::chooseAddFolder);
    connect(mWindow.get(), &QDialog::finished, this, &PreferenceController::closed);
}

void PreferenceController::bindControls()
{
    mBindings.bind(mUi->slideInterval, keys::slideInterval);
    mBindings.bind(mUi->MaxFolderLevel, keys::maxFolderLevel);
    bindCheckBox(mUi->showNewItemsASAP, mDefaults, keys::showNewItemsASAP, WhenAbsent::Off);
    bindCheckBox(mUi->autoStart, mDefaults, keys::autoStart, WhenAbsent::Off);
    bindCheckBox(mUi->ShowAdds, mDefaults, keys::showAdds, WhenAbsent::Off);
    mBindings.bind(mUi->AddInterval, keys::addInterval);
    bindCheckBox(mUi->OpenLastUsedFolder, mDefaults, keys::openLastUsedFolder, WhenAbsent::Off);
    bindCheckBox(mUi->ShowWelcome, mDefaults, keys::showWelcome, WhenAbsent::On);
    bindCheckBox(mUi->AutoCheckNewVersion, mDefaults, keys::autoCheckNewVersion, WhenAbsent::On);

    mBindings.follow(keys::transition, [this] { selectTransition(); });
    mBindings.follow(keys::sort, [this] { selectOrder(); });
    mBindings.follow(keys::endMode, [this] { selectEndMode(); });
    mBindings.follow(keys::cursor, [this] { selectCursor(); });
    mBindings.follow(keys::imageEditorPath, [this] { showEditor(mImageEditor); });
    mBindings.follow(keys::movieEditorPath, [this] { showEditor(mMovieEditor); });
    mBindings.follow(keys::addFolder, [this] { showAddFolder(); });
    mBindings.follow(keys::showAdds, [this] { updateAddFolderNote(); });
}

void PreferenceController::setupIntervalField()
{
    const auto explain = [this](const QString& text, QFont::Weight weight) {
        QFont font = mUi->intervalTitle->font();
        font.setWeight(weight);
        mUi->intervalNote->setFont(font);
        mUi->intervalNote->setText(text);
        mUi->slideInterval->setAccessibleDescription(text);
    };
    const auto usual = [explain] { explain(tr("At least %1 seconds").arg(fewestSeconds), QFont::Normal); };
    usual();
    mUi->slideInterval->setRule(&PreferenceController::control);
    connect(mUi->slideInterval, &NumberField::settled, this, usual);
    connect(mUi->slideInterval, &NumberField::refused, this, [explain](const QString& text) {
        const bool isNumber = !text.trimmed().isEmpty() && text.trimmed().at(0).isDigit();
        explain(isNumber ? tr("A slide stays for at least %1 seconds.").arg(fewestSeconds)
                         : tr("Enter a number of seconds, at least %1.").arg(fewestSeconds),
            QFont::Bold);
    });
}

bool PreferenceController::control(const QString& text)
{
    return NumberField::integerIn(text) >= fewestSeconds;
}

void PreferenceController::showWindow()
{
    mWindow->show();
    mWindow->raise();
    mWindow->activateWindow();
}

// What is installed and which folders there are may have changed while another program had the keyboard.
bool PreferenceController::eventFilter(QObject* object, QEvent* event)
{
    if (object == mWindow.get() && event->type() == QEvent::WindowActivate) {
        updateOpenInAppLabels();
        showAddFolder();
    }
    return QObject::eventFilter(object, event);
}

void PreferenceController::updateAddFolderNote()
{
    if (mIsAddFolderMissing) {
        setNote(mUi->addFolderNote, tr("The chosen folder is not there any more. Choose another one."));
    } else if (mDefaults.boolValue(keys::showAdds) && mDefaults.dataValue(keys::addFolder).isEmpty()) {
        setNote(mUi->addFolderNote, tr("Choose the folder that the ads are in."));
    } else {
        setNote(mUi->addFolderNote, {});
    }
}

} // namespace frameflow
