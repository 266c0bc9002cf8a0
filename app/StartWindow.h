#pragma once

#include "FileUrl.h"

#include <QList>
#include <QWidget>

class QLabel;

namespace frameflow {

class MainMenu;

// What stands on screen while there is nothing to show: one sentence that says so, and a button to open something.
class StartWindow : public QWidget
{
    Q_OBJECT

public:
    explicit StartWindow(const MainMenu& menu);

    // What was opened without anything displayable in it; empty when nothing has been opened yet.
    void setNothingFound(const QList<FileUrl>& opened);

Q_SIGNALS:
    void openSelected();
    // The person closed the window.
    void closed();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    QLabel* mTitle;
    QLabel* mMessage;
};

} // namespace frameflow
