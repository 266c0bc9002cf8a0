#pragma once

#include <QLabel>

namespace frameflow {

// One line of plain text that is cut in its middle where it does not fit; text() stays whole. While it is cut, and no
// other tool tip is set, the whole is its tool tip.
class ElidedLabel : public QLabel
{
    Q_OBJECT

public:
    explicit ElidedLabel(QWidget* parent = nullptr);

    // As it is seen now.
    QString shownText() const;
    QSize minimumSizeHint() const override;
    QSize sizeHint() const override;

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
};

} // namespace frameflow
