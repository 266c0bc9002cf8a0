#pragma once

#include <QToolButton>
#include <QWidget>

#include <memory>

namespace Ui {
class ControlPanel;
}

namespace frameflow {

class MainMenu;

// The floating panel with buttons for the commands of a show. It is for the mouse: the keyboard stays with the show,
// whose keys do the same.
class ControlPanel : public QWidget
{
    Q_OBJECT

public:
    // The menu must outlive it.
    explicit ControlPanel(MainMenu& menu);
    ~ControlPanel() override;

    // Pressed while the timer runs.
    void setPlaying(bool playing);
    QToolButton* mPlayButton() const;

    // Shows it in front of that window, which may go before it does, or of none.
    void showAbove(const QWidget* window);
    // Where it is shown at first: in the middle of the lower part of that area, in global coordinates. Later it comes
    // back where it was, unless there is no display any more.
    void placeIn(const QRect& area);

Q_SIGNALS:
    // The person closed it.
    void closed();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void connectButton(QToolButton* button, MainMenu& menu);

    std::unique_ptr<Ui::ControlPanel> mUi;
    bool mIsPlaying = false;
    bool mIsPlaced = false;
};

} // namespace frameflow
