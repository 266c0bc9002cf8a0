#include "StartWindow.h"

#include "MainMenu.h"
#include "PrintableText.h"

#include <QCloseEvent>
#include <QFontMetrics>
#include <QGuiApplication>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>

#include <sys/stat.h>

namespace frameflow {

namespace {

// Long names are cut in the middle at this many pixels; the tool tip has the whole.
constexpr int longestName = 420;

QString sentenceAbout(const FileUrl& file)
{
    struct stat attributes
    {
    };
    if (stat(file.path().constData(), &attributes) != 0) {
        return StartWindow::tr("“%1” was not found.");
    }
    return S_ISDIR(attributes.st_mode) ? StartWindow::tr("No pictures or movies were found in “%1”.")
                                       : StartWindow::tr("“%1” cannot be shown.");
}

} // namespace

StartWindow::StartWindow(const MainMenu& menu) : mTitle(new QLabel(this)), mMessage(new QLabel(this))
{
    setObjectName(QStringLiteral("StartWindow"));
    setWindowTitle(QGuiApplication::applicationDisplayName());
    menu.addKeysTo(this);

    QFont large = mTitle->font();
    large.setPointSizeF(large.pointSizeF() * 1.8);
    large.setBold(true);
    mTitle->setFont(large);
    mTitle->setAlignment(Qt::AlignCenter);
    mTitle->setTextFormat(Qt::PlainText);
    mMessage->setAlignment(Qt::AlignCenter);
    mMessage->setWordWrap(true);
    mMessage->setTextFormat(Qt::PlainText);

    auto* open = new QPushButton(tr("&Open…"), this);
    open->setObjectName(QStringLiteral("openButton"));
    open->setDefault(true);
    open->setMinimumWidth(140);
    open->setMinimumHeight(36);
    connect(open, &QPushButton::clicked, this, &StartWindow::openSelected);

    auto* column = new QVBoxLayout;
    column->setContentsMargins(40, 24, 40, 36);
    column->setSpacing(14);
    column->addStretch();
    column->addWidget(mTitle);
    column->addWidget(mMessage);
    column->addSpacing(10);
    column->addWidget(open, 0, Qt::AlignHCenter);
    column->addStretch();
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins({});
    auto* bar = menu.makeMenuBar();
    outer->setMenuBar(bar);
    outer->addLayout(column);
    setMinimumSize(280, 200);
    resize(QSize(560, 320).boundedTo(screen()->availableSize() * 9 / 10));
    setNothingFound({});
    open->setFocus();
}

void StartWindow::setNothingFound(const QList<FileUrl>& opened)
{
    if (opened.isEmpty()) {
        mTitle->setText(tr("Welcome to Frameflow"));
        mMessage->setText(tr("Open a folder or some files to start a slideshow."));
        mMessage->setToolTip({});
        return;
    }
    mTitle->setText(tr("Nothing to show"));
    if (opened.size() == 1) {
        const QString path = printable(opened.first().displayPath());
        const QString name = fontMetrics().elidedText(path, Qt::ElideMiddle, longestName);
        mMessage->setText(sentenceAbout(opened.first()).arg(name));
        mMessage->setToolTip(path);
    } else {
        mMessage->setText(tr("No pictures or movies were found in what was opened."));
        mMessage->setToolTip({});
    }
}

void StartWindow::closeEvent(QCloseEvent* event)
{
    hide();
    event->accept();
    Q_EMIT closed();
}

} // namespace frameflow
