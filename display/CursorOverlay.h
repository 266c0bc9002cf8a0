#pragma once

#include <QImage>
#include <QWidget>

namespace frameflow {

// Shows the picture of the pointer above the widgets that stand on the slide view, a movie above all: the view's own
// layers are below those. Lets the mouse through.
class CursorOverlay : public QWidget
{
    Q_OBJECT

public:
    explicit CursorOverlay(QWidget* parent);

    // Puts a picture where it is to stand, in device pixels from the upper left of the parent, above all siblings.
    void showPicture(const QImage& picture, QPoint at);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QImage mPicture;
    QPoint mAt;
};

} // namespace frameflow
