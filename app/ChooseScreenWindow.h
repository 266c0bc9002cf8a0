#pragma once

#include <QWidget>

namespace frameflow {

class MainMenu;

// The small window that is moved to the display on which the show is to run.
class ChooseScreenWindow : public QWidget
{
    Q_OBJECT

public:
    explicit ChooseScreenWindow(const MainMenu& menu);

Q_SIGNALS:
    // The display under the window is the wanted one.
    void chosen();
    // The person closed the window without choosing.
    void closed();

protected:
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
};

} // namespace frameflow
