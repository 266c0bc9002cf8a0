#pragma once

#include <QAbstractButton>
#include <QImage>

namespace frameflow {

// A picture that can be clicked, with a thin black edge.
class ThumbnailButton : public QAbstractButton
{
public:
    explicit ThumbnailButton(QWidget* parent);

    // As large as the button, whatever its own size.
    void setImage(const QImage& image);
    const QImage& image() const { return mImage; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QImage mImage;
};

} // namespace frameflow
