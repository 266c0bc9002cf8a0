#include "ChooseScreenWindow.h"

#include "MainMenu.h"

#include <QCloseEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace frameflow {

ChooseScreenWindow::ChooseScreenWindow(const MainMenu& menu)
{
    setObjectName(QStringLiteral("ChooseScreenWindow"));
    setWindowTitle(tr("Choose Display"));
    menu.addKeysTo(this);

    auto* message = new QLabel(tr("Move this window to the display that is to show the slideshow."), this);
    message->setWordWrap(true);
    message->setAlignment(Qt::AlignCenter);
    auto* use = new QPushButton(tr("&Use This Display"), this);
    use->setObjectName(QStringLiteral("useButton"));
    use->setDefault(true);
    use->setMinimumHeight(34);
    connect(use, &QPushButton::clicked, this, &ChooseScreenWindow::chosen);

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(28, 24, 28, 24);
    column->setSpacing(18);
    column->addWidget(message);
    column->addWidget(use, 0, Qt::AlignHCenter);
    setMinimumSize(340, 140);
    use->setFocus();
}

void ChooseScreenWindow::closeEvent(QCloseEvent* event)
{
    event->accept();
    Q_EMIT closed();
}

void ChooseScreenWindow::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape) {
        close();
        return;
    }
    QWidget::keyPressEvent(event);
}

} // namespace frameflow
