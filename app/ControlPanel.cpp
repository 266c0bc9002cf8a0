#include "ControlPanel.h"

#include "ControlIcons.h"
#include "MainMenu.h"
#include "ui_ControlPanel.h"

#include <QAction>
#include <QCloseEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QWindow>

namespace frameflow {

namespace {

// Between the panel and the lower edge of the area in which it is shown first, in points.
constexpr int distanceFromEdge = 72;

QString titleOf(const QAction& action)
{
    QString title = action.text();
    return title.remove(QLatin1Char('&'));
}

QString toolTipOf(const QAction& action)
{
    const QString key = action.shortcut().toString(QKeySequence::NativeText);
    return key.isEmpty() ? titleOf(action) : ControlPanel::tr("%1 (%2)").arg(titleOf(action), key);
}

} // namespace

ControlPanel::ControlPanel(MainMenu& menu)
    : QWidget(nullptr,
        Qt::Tool | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint
            | Qt::WindowDoesNotAcceptFocus),
      mUi(std::make_unique<Ui::ControlPanel>())
{
    setAttribute(Qt::WA_ShowWithoutActivating);
    mUi->setupUi(this);
    layout()->setMenuBar(menu.makeMenuBar());
    menu.addKeysTo(this);
    for (QToolButton* button : mUi->buttons->findChildren<QToolButton*>()) {
        connectButton(button, menu);
    }
}

ControlPanel::~ControlPanel() = default;

void ControlPanel::connectButton(QToolButton* button, MainMenu& menu)
{
    const QString command = button->property("command").toString();
    QAction* const action = menu.action(command);
    button->setIcon(controlIcon(command));
    const auto follow = [button, action] {
        button->setEnabled(action->isEnabled());
        button->setToolTip(toolTipOf(*action));
        button->setAccessibleName(titleOf(*action));
    };
    follow();
    connect(action, &QAction::changed, button, follow);
    connect(button, &QToolButton::clicked, this, [this, action] {
        action->trigger();
        setPlaying(mIsPlaying); // the click alone changes nothing
    });
}

void ControlPanel::setPlaying(bool playing)
{
    mIsPlaying = playing;
    mUi->mPlayButton->setChecked(playing);
}

QToolButton* ControlPanel::mPlayButton() const
{
    return mUi->mPlayButton;
}

void ControlPanel::showAbove(const QWidget* window)
{
    // What it stands above is told when it is shown.
    hide();
    winId(); // there is a handle from here on
    windowHandle()->setTransientParent(window != nullptr ? window->windowHandle() : nullptr);
    show();
    raise();
}

void ControlPanel::placeIn(const QRect& area)
{
    if (mIsPlaced && QGuiApplication::screenAt(frameGeometry().center()) != nullptr) {
        return;
    }
    mIsPlaced = true;
    const QSize size = sizeHint();
    move(area.center().x() - size.width() / 2, area.bottom() - size.height() - distanceFromEdge);
}

void ControlPanel::closeEvent(QCloseEvent* event)
{
    event->accept();
    Q_EMIT closed();
}

} // namespace frameflow
